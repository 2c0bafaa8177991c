#include <Quillon/platform/privatefiles.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

static int modeOf(const QString &path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

// What the framework writes is private whatever the umask and whoever made a folder first.
class TestPrivateFiles : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    mode_t m_umask = 0;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        m_umask = ::umask(022); // a host that shares what it writes
    }
    void cleanupTestCase() { ::umask(m_umask); }

    void makeFolder_data()
    {
        QTest::addColumn<QStringList>("existing"); // made first, 0755, by someone else
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QStringList>("privateFolders");
        QTest::addColumn<QStringList>("leftAlone");
        QTest::newRow("fresh tree") << QStringList() << QStringLiteral("a/Library/com.vantor.Quillon/Assets")
                                    << QStringList {QStringLiteral("a"), QStringLiteral("a/Library"),
                                           QStringLiteral("a/Library/com.vantor.Quillon"),
                                           QStringLiteral("a/Library/com.vantor.Quillon/Assets")}
                                    << QStringList();
        QTest::newRow("framework folder made open by another part")
            << QStringList {QStringLiteral("b/Library/com.vantor.Quillon")}
            << QStringLiteral("b/Library/com.vantor.Quillon/Outbox/x.partial")
            << QStringList {QStringLiteral("b/Library/com.vantor.Quillon"),
                   QStringLiteral("b/Library/com.vantor.Quillon/Outbox"),
                   QStringLiteral("b/Library/com.vantor.Quillon/Outbox/x.partial")}
            << QStringList {QStringLiteral("b"), QStringLiteral("b/Library")};
        QTest::newRow("existing target") << QStringList {QStringLiteral("c/com.vantor.Quillon/Credentials")}
                                         << QStringLiteral("c/com.vantor.Quillon/Credentials")
                                         << QStringList {QStringLiteral("c/com.vantor.Quillon"),
                                                QStringLiteral("c/com.vantor.Quillon/Credentials")}
                                         << QStringList {QStringLiteral("c")};
    }
    void makeFolder()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, folder);
        QFETCH(QStringList, privateFolders);
        QFETCH(QStringList, leftAlone);
        const QDir root(m_root.path());
        for (const QString &path : existing)
            QVERIFY(root.mkpath(path));
        for (const QString &path : leftAlone + existing)
            QCOMPARE(modeOf(root.filePath(path)), 0755);

        TULOError error;
        QVERIFY2(TULOPrivateFiles::makeFolder(root.filePath(folder), &error), qPrintable(error.localizedDescription()));
        for (const QString &path : privateFolders)
            QVERIFY2(modeOf(root.filePath(path)) == 0700, qPrintable(path));
        // Folders of others (the user's data folder and its generic parts) keep their mode.
        for (const QString &path : leftAlone)
            QVERIFY2(modeOf(root.filePath(path)) == 0755, qPrintable(path));
    }

    void folderThatCannotBeMadeIsNamed()
    {
        const QString blocker = m_root.filePath(QStringLiteral("plain-file"));
        QFile file(blocker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        TULOError error;
        QVERIFY(!TULOPrivateFiles::makeFolder(blocker + QStringLiteral("/inside"), &error));
        QCOMPARE(error.domain(), TULOFileErrorDomain);
        QVERIFY2(error.localizedDescription().contains(blocker + QStringLiteral("/inside")),
            qPrintable(error.localizedDescription()));
    }

    void writeFile_data()
    {
        QTest::addColumn<int>("existingMode"); // -1: no file yet
        QTest::addColumn<bool>("writerSucceeds");
        QTest::newRow("new file") << -1 << true;
        QTest::newRow("replaces a file open to others") << 0644 << true;
        QTest::newRow("failed writer keeps the old file") << 0644 << false;
        QTest::newRow("failed writer leaves nothing") << -1 << false;
    }
    void writeFile()
    {
        QFETCH(int, existingMode);
        QFETCH(bool, writerSucceeds);
        const QString folder = m_root.filePath(QStringLiteral("w/%1").arg(QTest::currentDataTag()));
        const QString path = folder + QStringLiteral("/post.json");
        if (existingMode >= 0) {
            QVERIFY(QDir().mkpath(folder));
            QFile old(path);
            QVERIFY(old.open(QIODevice::WriteOnly));
            old.write("old");
            old.close();
            QCOMPARE(modeOf(path), existingMode);
        }
        TULOError error;
        const bool written = TULOPrivateFiles::writeFile(
            path,
            [&](QIODevice *file, TULOError *writeError) {
                file->write("{\"token\": \"secret\"}");
                if (!writerSucceeds)
                    *writeError = TULOError::withDescription(QStringLiteral("Test"), 7, QStringLiteral("gave up"));
                return writerSucceeds;
            },
            &error);
        QCOMPARE(written, writerSucceeds);
        QStringList expectedEntries;
        if (writerSucceeds || existingMode >= 0)
            expectedEntries << QStringLiteral("post.json");
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), expectedEntries);
        if (writerSucceeds) {
            QCOMPARE(modeOf(path), 0600);
            QCOMPARE(modeOf(folder), 0700);
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("{\"token\": \"secret\"}"));
        } else {
            QCOMPARE(error.code(), qint64(7)); // the writer's own reason comes through
            if (existingMode >= 0) {
                QFile file(path);
                QVERIFY(file.open(QIODevice::ReadOnly));
                QCOMPARE(file.readAll(), QByteArray("old"));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestPrivateFiles)
#include "tst_privatefiles.moc"
