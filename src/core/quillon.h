#pragma once

// The framework's exported constants and functions.

#include <Quillon/platform/error.h> // TULOErrorDomain, the domain of every error the framework makes
#include <Quillon/platform/localization.h> // TULOStringsTablePostComposition

#include <QString>

struct QMetaObject;

extern const double QuillonVersionNumber;
// "@(#)PROGRAM:Quillon  PROJECT:Quillon-1\n", findable in the binary with what(1).
extern const char QuillonVersionString[];

// <shared resources directory>/Library/com.vantor.Quillon/Assets, where finished attachment
// files wait for upload. Not created here.
QString TULOTemporaryAssetsDirectoryPath();

// The class `name` of an opened optional module, or null when `handle` is null or the
// module has no such class. Classes are QObjects; make one with QMetaObject::newInstance().
const QMetaObject *TULOWeakLinkedClassForString(const char *name, void *handle);
// The symbol `symbol` of an opened optional module, or null when `handle` is null or the
// module lacks it.
void *TULOWeakLinkedSymbolForString(const char *symbol, void *handle);

// The optional modules, each opened once on first use (from any thread). Null when the
// module's file is absent or cannot be loaded: the feature is then absent.
void *TULOPhotoLibraryModuleHandle();
void *TULOCameraCaptureModuleHandle();
void *TULOVoiceMemosModuleHandle();
