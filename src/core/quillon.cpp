#include <Quillon/core/quillon.h>

#include <Quillon/platform/optionalmodules.h>

#include <QDir>
#include <QStandardPaths>

const double QuillonVersionNumber = 1.0;
const char QuillonVersionString[] = "@(#)PROGRAM:Quillon  PROJECT:Quillon-1\n";

QString TULOTemporaryAssetsDirectoryPath()
{
    const QString shared = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return QDir(shared).filePath(QStringLiteral("Library/com.vantor.Quillon/Assets"));
}

const QMetaObject *TULOWeakLinkedClassForString(const char *name, void *handle)
{
    return TULOOptionalModules::classNamed(name, handle);
}

void *TULOWeakLinkedSymbolForString(const char *symbol, void *handle)
{
    return TULOOptionalModules::symbolNamed(symbol, handle);
}

void *TULOPhotoLibraryModuleHandle()
{
    return TULOOptionalModules::handle(TULOOptionalModules::PhotoLibrary);
}

void *TULOCameraCaptureModuleHandle()
{
    return TULOOptionalModules::handle(TULOOptionalModules::CameraCapture);
}

void *TULOVoiceMemosModuleHandle()
{
    return TULOOptionalModules::handle(TULOOptionalModules::VoiceMemos);
}
