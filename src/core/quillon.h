#pragma once

#include <Quillon/quillon_export.h>

// The framework's exported constants and functions.

#include <Quillon/platform/error.h> // TULOErrorDomain, the domain of every error the framework makes
#include <Quillon/platform/localization.h> // TULOStringsTablePostComposition

#include <QString>

struct QMetaObject;

extern QUILLON_EXPORT const double QuillonVersionNumber;
// "@(#)PROGRAM:Quillon  PROJECT:Quillon-1\n", findable in the binary with what(1).
extern QUILLON_EXPORT const char QuillonVersionString[];

// <shared resources directory>/Library/com.vantor.Quillon/Assets, where finished attachment
// files wait for upload. Not created here.
QUILLON_EXPORT QString TULOTemporaryAssetsDirectoryPath();

// The class `name` of an opened optional module, or null when `handle` is null or the
// module has no such class. Classes are QObjects; make one with QMetaObject::newInstance().
QUILLON_EXPORT const QMetaObject *TULOWeakLinkedClassForString(const char *name, void *handle);
// The symbol `symbol` of an opened optional module, or null when `handle` is null or the
// module lacks it.
QUILLON_EXPORT void *TULOWeakLinkedSymbolForString(const char *symbol, void *handle);

// The optional modules, each opened once on first use (from any thread). Null when the
// module's file is absent or cannot be loaded: the feature is then absent.
QUILLON_EXPORT void *TULOPhotoLibraryModuleHandle();
QUILLON_EXPORT void *TULOCameraCaptureModuleHandle();
QUILLON_EXPORT void *TULOVoiceMemosModuleHandle();
