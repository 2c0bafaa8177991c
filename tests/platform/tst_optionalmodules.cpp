#include <Quillon/core/quillon.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/mediaplayer.h>
#include <Quillon/platform/audio/proximitysensor.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/multimediamodule_p.h>
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

// Child mode: what the Qt Multimedia and Qt Sensors backends give with the modules found.
int probeBackends()
{
    TULOError error;
    const bool microphone = TULOVoiceCapture::createMicrophone("no-such-input", {}, &error) != nullptr;
    const std::unique_ptr<TULOMediaPlayer> player = TULOMediaPlayer::create(QUrl::fromLocalFile(QStringLiteral("/no/such.wav")));
    void *sensors = TULOOptionalModules::handle(TULOOptionalModules::Sensors);
    std::printf("multimedia=%d\n", TULOMultimediaModule::shared() ? 1 : 0);
    std::printf("sensors=%d\n", TULOOptionalModules::symbolNamed("TULOCreateProximitySensor", sensors) ? 1 : 0);
    std::printf("microphone=%d\n", microphone ? 1 : 0);
    std::printf("microphoneError=%s\n", qPrintable(error.localizedDescription()));
    std::printf("player=%d\n", player ? 1 : 0);
    std::printf("audioInput=%d\n", TULOVoiceCaptureAvailability::shared()->hasAudioInput() ? 1 : 0);
    std::printf("proximity=%d\n", TULOProximitySensor::device() ? 1 : 0);
    return 0;
}

} // namespace

class TestOptionalModules : public QObject
{
    Q_OBJECT

private:
    // Fills `folder` with the built modules whose files are marked installed; the others are
    // left out, or replaced by a file that is no shared object.
    static bool installModules(const QString &folder, const QList<std::pair<QString, bool>> &files, bool replaceWithGarbage)
    {
        for (const auto &[fileName, installed] : files) {
            const QString target = QDir(folder).filePath(fileName);
            if (installed) {
                if (!QFile::copy(QDir(builtModulesPath()).filePath(fileName), target))
                    return false;
            } else if (replaceWithGarbage) {
                QFile file(target);
                if (!file.open(QIODevice::WriteOnly) || file.write("not a shared object\n") < 0)
                    return false;
            }
        }
        return true;
    }

    // Runs this test program in child mode with only the files of `folder` as modules.
    static QMap<QString, QString> probeWith(const QString &folder, const QString &mode = QStringLiteral("--probe"))
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLON_MODULE_PATH"), folder);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {mode});
        if (!child.waitForFinished(60000) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
            return {};
        QMap<QString, QString> result;
        for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
            const qsizetype equals = line.indexOf('=');
            if (equals > 0)
                result.insert(QString::fromLatin1(line.left(equals)), QString::fromUtf8(line.mid(equals + 1).trimmed()));
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
        QList<std::pair<QString, bool>> files;
        for (const auto &other : moduleCases)
            files.append({QStringLiteral("libquillon-%1.so").arg(QLatin1String(other.name)), QLatin1String(other.name) != module});
        QVERIFY(installModules(folder.path(), files, replaceWithGarbage));
        const QMap<QString, QString> result = probeWith(folder.path());
        QCOMPARE(result.size(), 3);
        for (const auto &other : moduleCases) {
            const bool present = QLatin1String(other.name) != module;
            QCOMPARE(result.value(QLatin1String(other.name)), present ? QStringLiteral("11") : QStringLiteral("00"));
        }
    }

    void multimediaBackendsComeFromTheirModule()
    {
        // Opened on first use, the same instance after; the module's answers are Qt Multimedia's.
        // (Its player is not made here: Qt's GStreamer player needs a sound output to exist.)
        TULOMultimediaModule *multimedia = TULOMultimediaModule::shared();
        QVERIFY(multimedia);
        QCOMPARE(TULOMultimediaModule::shared(), multimedia);
        QCOMPARE(multimedia->hasAudioInput(), !QMediaDevices::audioInputs().isEmpty());
        QCOMPARE(multimedia->hasAudioOutput(), !QMediaDevices::audioOutputs().isEmpty());
        QVERIFY(TULOOptionalModules::symbolNamed(
            "TULOCreateProximitySensor", TULOOptionalModules::handle(TULOOptionalModules::Sensors)));
    }

    void missingOrBrokenBackendModuleRemovesOnlyItsFeature_data()
    {
        QTest::addColumn<bool>("multimedia");
        QTest::addColumn<bool>("sensors");
        QTest::addColumn<bool>("replaceWithGarbage");
        QTest::newRow("both installed") << true << true << false;
        QTest::newRow("multimedia missing") << false << true << false;
        QTest::newRow("multimedia corrupt") << false << true << true;
        QTest::newRow("sensors missing") << true << false << false;
        QTest::newRow("sensors corrupt") << true << false << true;
    }
    void missingOrBrokenBackendModuleRemovesOnlyItsFeature()
    {
        QFETCH(bool, multimedia);
        QFETCH(bool, sensors);
        QFETCH(bool, replaceWithGarbage);
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        QVERIFY(installModules(folder.path(),
            {{QStringLiteral("libquillon-multimedia.so"), multimedia}, {QStringLiteral("libquillon-sensors.so"), sensors}},
            replaceWithGarbage));
        const QMap<QString, QString> result = probeWith(folder.path(), QStringLiteral("--probe-backends"));
        QCOMPARE(result.value(QStringLiteral("multimedia")), multimedia ? QStringLiteral("1") : QStringLiteral("0"));
        QCOMPARE(result.value(QStringLiteral("sensors")), sensors ? QStringLiteral("1") : QStringLiteral("0"));
        // No microphone goes by the name asked for, module or not: an error that says why.
        QCOMPARE(result.value(QStringLiteral("microphone")), QStringLiteral("0"));
        const bool notInstalled = result.value(QStringLiteral("microphoneError")).contains(QStringLiteral("not installed"));
        QCOMPARE(notInstalled, !multimedia);
        // Playback falls back to the clock-paced player; without the modules there is no
        // microphone and no proximity sensor.
        QCOMPARE(result.value(QStringLiteral("player")), QStringLiteral("1"));
        if (!multimedia)
            QCOMPARE(result.value(QStringLiteral("audioInput")), QStringLiteral("0"));
        else
            QCOMPARE(result.value(QStringLiteral("audioInput")) == QStringLiteral("1"), !QMediaDevices::audioInputs().isEmpty());
        if (!sensors)
            QCOMPARE(result.value(QStringLiteral("proximity")), QStringLiteral("0"));
    }
};

int main(int argc, char *argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "--probe") == 0) {
        QCoreApplication app(argc, argv);
        return probe();
    }
    if (argc > 1 && qstrcmp(argv[1], "--probe-backends") == 0) {
        QCoreApplication app(argc, argv);
        return probeBackends();
    }
    QCoreApplication app(argc, argv);
    TestOptionalModules test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_optionalmodules.moc"
