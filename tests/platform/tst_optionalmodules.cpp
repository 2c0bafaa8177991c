#include <Quillon/core/quillon.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/optionalmodules.h>

#include <QDir>
#include <QFile>
#include <QAudioDevice>
#include <QCameraDevice>
#include <QMediaDevices>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>
#include <mutex>
#include <set>

namespace {

struct TULOModuleCase
{
    const char *name;
    void *(*handle)();
    const char *className;
};

const TULOModuleCase moduleCases[] = {
    {"photolibrary", TULOPhotoLibraryModuleHandle, "TULOPhotoLibraryService"},
    {"cameracapture", TULOCameraCaptureModuleHandle, "TULOCameraCaptureService"},
    {"voicememos", TULOVoiceMemosModuleHandle, "TULOVoiceMemosService"},
};

QString builtModulesPath()
{
    return QStringLiteral(QUILLON_BINARY_DIR "/lib/quillon/modules");
}

// Child mode: reports, per module, whether it opened and whether its class can be made.
int probe()
{
    for (const auto &module : moduleCases) {
        void *handle = module.handle();
        const QMetaObject *meta = TULOWeakLinkedClassForString(module.className, handle);
        std::unique_ptr<QObject> instance(meta ? meta->newInstance() : nullptr);
        std::printf("%s=%d%d\n", module.name, handle ? 1 : 0, instance ? 1 : 0);
    }
    return 0;
}

} // namespace

class TestOptionalModules : public QObject
{
    Q_OBJECT

private:
    // Runs this test program in child mode with only the files of `folder` as modules.
    static QMap<QString, QString> probeWith(const QString &folder)
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLON_MODULE_PATH"), folder);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--probe")});
        if (!child.waitForFinished(60000) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
            return {};
        QMap<QString, QString> result;
        for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> parts = line.trimmed().split('=');
            if (parts.size() == 2)
                result.insert(QString::fromLatin1(parts[0]), QString::fromLatin1(parts[1]));
        }
        return result;
    }

private Q_SLOTS:
    void modulesBesideTheLibraryOpenOnce()
    {
        for (const auto &module : moduleCases) {
            void *handle = module.handle();
            QVERIFY2(handle, module.name);
            QCOMPARE(module.handle(), handle);
        }
        // First use from many threads at once still opens each module once.
        TULOOperationQueue queue;
        std::mutex mutex;
        std::set<void *> seen;
        for (int i = 0; i < 12; ++i) {
            queue.addOperation([&] {
                void *handle = TULOVoiceMemosModuleHandle();
                std::lock_guard lock(mutex);
                seen.insert(handle);
            });
        }
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(seen.size(), size_t(1));
    }

    void classesAreMadeThroughTheirMetaObjects()
    {
        const QMetaObject *photos = TULOWeakLinkedClassForString("TULOPhotoLibraryService", TULOPhotoLibraryModuleHandle());
        QVERIFY(photos);
        std::unique_ptr<QObject> library(photos->newInstance());
        QVERIFY(library);
        QString path;
        QVERIFY(QMetaObject::invokeMethod(library.get(), "libraryPath", Q_RETURN_ARG(QString, path)));
        QCOMPARE(path, QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));

        const QMetaObject *camera = TULOWeakLinkedClassForString("TULOCameraCaptureService", TULOCameraCaptureModuleHandle());
        QVERIFY(camera);
        std::unique_ptr<QObject> capture(camera->newInstance());
        bool hasCamera = false;
        QVERIFY(QMetaObject::invokeMethod(capture.get(), "hasCamera", Q_RETURN_ARG(bool, hasCamera)));
        QCOMPARE(hasCamera, !QMediaDevices::videoInputs().isEmpty());
    }

    void voiceMemosListsAudioNewestFirst()
    {
        QStandardPaths::setTestModeEnabled(true);
        std::unique_ptr<QObject> memos(
            TULOWeakLinkedClassForString("TULOVoiceMemosService", TULOVoiceMemosModuleHandle())->newInstance());
        QString folder;
        QVERIFY(QMetaObject::invokeMethod(memos.get(), "memosPath", Q_RETURN_ARG(QString, folder)));
        QDir(folder).removeRecursively();
        QVERIFY(QDir().mkpath(folder));
        const QStringList names{QStringLiteral("old.m4a"), QStringLiteral("notes.txt"), QStringLiteral("new.caf")};
        QDateTime time = QDateTime::currentDateTime().addDays(-1);
        for (const QString &name : names) {
            QFile file(QDir(folder).filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("x");
            time = time.addSecs(60);
            QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        }
        QStringList paths;
        QVERIFY(QMetaObject::invokeMethod(memos.get(), "memoFilePaths", Q_RETURN_ARG(QStringList, paths)));
        QCOMPARE(paths, (QStringList{QDir(folder).filePath(QStringLiteral("new.caf")), QDir(folder).filePath(QStringLiteral("old.m4a"))}));
        QDir(folder).removeRecursively();
    }

    void lookupsWithoutAModule()
    {
        QVERIFY(!TULOWeakLinkedClassForString("TULOPhotoLibraryService", nullptr));
        QVERIFY(!TULOWeakLinkedSymbolForString("TULOModuleClassNamed", nullptr));
        void *handle = TULOPhotoLibraryModuleHandle();
        QVERIFY(TULOWeakLinkedSymbolForString("TULOModuleClassNamed", handle));
        QVERIFY(!TULOWeakLinkedSymbolForString("TULONoSuchSymbol", handle));
        QVERIFY(!TULOWeakLinkedClassForString("TULOCameraCaptureService", handle)); // another module's class
        QVERIFY(!TULOWeakLinkedClassForString(nullptr, handle));
    }

    void missingOrBrokenModuleRemovesOnlyItsFeature_data()
    {
        QTest::addColumn<QString>("module");
        QTest::addColumn<bool>("replaceWithGarbage");
        for (const auto &module : moduleCases) {
            QTest::addRow("%s missing", module.name) << QString::fromLatin1(module.name) << false;
            QTest::addRow("%s corrupt", module.name) << QString::fromLatin1(module.name) << true;
        }
    }
    void missingOrBrokenModuleRemovesOnlyItsFeature()
    {
        QFETCH(QString, module);
        QFETCH(bool, replaceWithGarbage);
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        for (const auto &other : moduleCases) {
            const QString fileName = QStringLiteral("libquillon-%1.so").arg(QLatin1String(other.name));
            const QString target = folder.filePath(fileName);
            if (QLatin1String(other.name) != module) {
                QVERIFY(QFile::copy(QDir(builtModulesPath()).filePath(fileName), target));
            } else if (replaceWithGarbage) {
                QFile file(target);
                QVERIFY(file.open(QIODevice::WriteOnly));
                file.write("not a shared object\n");
            }
        }
        const QMap<QString, QString> result = probeWith(folder.path());
        QCOMPARE(result.size(), 3);
        for (const auto &other : moduleCases) {
            const bool present = QLatin1String(other.name) != module;
            QCOMPARE(result.value(QLatin1String(other.name)), present ? QStringLiteral("11") : QStringLiteral("00"));
        }
    }
};

int main(int argc, char *argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "--probe") == 0) {
        QCoreApplication app(argc, argv);
        return probe();
    }
    QCoreApplication app(argc, argv);
    TestOptionalModules test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_optionalmodules.moc"
