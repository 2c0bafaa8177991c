#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QStringList>

struct QMetaObject;

// The optional modules: shared libraries that carry features a system may lack (photo
// library, camera capture, voice memos) or that few jobs need (the web sign-in, the Qt
// Multimedia and Qt Sensors backends, metadata removal with Exiv2, tag reading with TagLib).
// Each is opened once, with lazy binding; a module whose file is missing or does not load
// yields a null handle, so its feature is absent instead of failing.
//
// A platform module exports, with C linkage, `const QMetaObject *TULOModuleClassNamed(const
// char *)` answering its QObject classes by name; the web sign-in exports its own factory.
class QUILLON_EXPORT TULOOptionalModules
{
public:
    enum Module { PhotoLibrary, CameraCapture, VoiceMemos, WebSignIn, Multimedia, Sensors, ImageMetadata, MediaTags, ModuleCount };

    // Opened on first use, thread-safely; the same handle afterwards.
    static void *handle(Module module);
    // The module's file name, such as "libquillon-photolibrary.so".
    static QString fileName(Module module);
    // Folders searched, in order: those in QUILLON_MODULE_PATH (colon-separated) when it is
    // set, else "quillon/modules" beside the Quillon library, then the installed location.
    static QStringList searchPaths();

    static const QMetaObject *classNamed(const char *name, void *handle);
    static void *symbolNamed(const char *symbol, void *handle);

    // What the module's C function `symbol`, which takes nothing, returns: a module's engine or
    // a new object. Null when the module or the function is missing.
    template <typename T>
    static T *call(Module module, const char *symbol)
    {
        using Function = T *(*)();
        const auto function = reinterpret_cast<Function>(symbolNamed(symbol, handle(module)));
        return function ? function() : nullptr;
    }
};
