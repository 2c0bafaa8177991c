#include <Quillon/platform/optionalmodules.h>

#include <Quillon/platform/library/photolibrary.h>

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <mutex>

#include <dlfcn.h>

Q_LOGGING_CATEGORY(lcQuillonModules, "quillon.modules", QtWarningMsg)

#ifndef QUILLON_MODULE_INSTALL_DIR
#define QUILLON_MODULE_INSTALL_DIR ""
#endif

// What the modules resolve in the program that opens them. Named here, beside the loader, so
// that a program made of the framework's objects (tests, the command line) holds them even
// when nothing else of it uses them.
struct TULOModuleImports {
    const QMetaObject *photoLibraryClass;
    QString (*photoLibraryDefaultPath)();
};
extern const TULOModuleImports TULOModuleImportsKept;
const TULOModuleImports TULOModuleImportsKept{&TULOPhotoLibrary::staticMetaObject, &TULOPhotoLibrary::defaultLibraryPath};

namespace {

void *open(TULOOptionalModules::Module module)
{
    const QString name = TULOOptionalModules::fileName(module);
    for (const QString &folder : TULOOptionalModules::searchPaths()) {
        const QString path = QDir(folder).filePath(name);
        if (!QFileInfo::exists(path))
            continue;
        // RTLD_LAZY: a symbol the system lacks only matters once it is called.
        void *handle = dlopen(QFile::encodeName(path).constData(), RTLD_LAZY | RTLD_LOCAL);
        if (handle)
            return handle;
        qCWarning(lcQuillonModules) << "cannot load" << path << ":" << dlerror();
    }
    qCInfo(lcQuillonModules) << name << "is not installed; its feature is absent";
    return nullptr;
}

} // namespace

void *TULOOptionalModules::handle(Module module)
{
    // Each module opened once, whichever thread asks first; the others wait for it.
    static std::once_flag opened[ModuleCount];
    static void *handles[ModuleCount] = {};
    std::call_once(opened[module], [module] { handles[module] = open(module); });
    return handles[module];
}

QString TULOOptionalModules::fileName(Module module)
{
    static constexpr const char *names[ModuleCount] = {"libquillon-photolibrary.so", "libquillon-cameracapture.so",
        "libquillon-voicememos.so", "libquillon-websignin.so", "libquillon-multimedia.so", "libquillon-sensors.so",
        "libquillon-imagemetadata.so", "libquillon-mediatags.so"};
    return module >= 0 && module < ModuleCount ? QString::fromLatin1(names[module]) : QString();
}

QStringList TULOOptionalModules::searchPaths()
{
    const QByteArray override = qgetenv("QUILLON_MODULE_PATH");
    if (!override.isNull())
        return QFile::decodeName(override).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    QStringList paths;
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void *>(&TULOOptionalModules::searchPaths), &info) && info.dli_fname) {
        const QDir folder = QFileInfo(QFile::decodeName(info.dli_fname)).absoluteDir();
        paths << folder.filePath(QStringLiteral("quillon/modules"));
        // Programs of the build tree carry the framework in themselves, in bin/ beside lib/.
        paths << QDir::cleanPath(folder.filePath(QStringLiteral("../lib/quillon/modules")));
    }
    const QString installed = QString::fromUtf8(QUILLON_MODULE_INSTALL_DIR);
    if (!installed.isEmpty() && !paths.contains(installed))
        paths << installed;
    return paths;
}

const QMetaObject *TULOOptionalModules::classNamed(const char *name, void *handle)
{
    if (!name || !handle)
        return nullptr;
    using Lookup = const QMetaObject *(*)(const char *);
    const auto lookup = reinterpret_cast<Lookup>(symbolNamed("TULOModuleClassNamed", handle));
    return lookup ? lookup(name) : nullptr;
}

void *TULOOptionalModules::symbolNamed(const char *symbol, void *handle)
{
    if (!symbol || !handle)
        return nullptr;
    return dlsym(handle, symbol);
}
