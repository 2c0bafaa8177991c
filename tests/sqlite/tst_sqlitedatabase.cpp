#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <sqlite3.h>
#include <stdexcept>
#include <QScopeGuard>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <thread>

static int modeOf(const QString &path)
{
    struct stat info
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return int(info.st_mode & 07777);
}

static qint64 rowCount(TULOSQLiteDatabase &database, const QString &table)
{
    qint64 count = -1;
    database.enumerateRowsForSQL(QStringLiteral("SELECT count(*) FROM ") + table, {},
        [&](const TULOSQLiteStatement &row, bool *) { count = row.columnInt64(0); });
    return count;
}

// Makes a file unwritable for this process, root included (root ignores the mode, not the
// immutable flag), or writable again.
static bool setWritable(const QString &path, bool writable)
{
    if (::geteuid() != 0)
        return ::chmod(QFile::encodeName(path).constData(), writable ? 0600 : 0400) == 0;
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    int flags = 0;
    bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags = writable ? flags & ~FS_IMMUTABLE_FL : flags | FS_IMMUTABLE_FL;
    ok = ok && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    ::close(fd);
    return ok;
}

static QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Child-process mode: hold the write lock of a file until told to let go on stdin.
static int holdLock(const QString &path)
{
    TULOSQLiteDatabase database(path);
    const bool ok = database.performTransactionWithBlock([&] {
        if (!database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QStringLiteral("child")}))
            return false;
        QFile out;
        out.open(stdout, QIODevice::WriteOnly);
        out.write("locked\n");
        out.flush();
        QFile in;
        in.open(stdin, QIODevice::ReadOnly);
        in.readLine();
        return true;
    });
    return ok ? 0 : 1;
}

class TestSQLiteDatabase : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    int m_fileNumber = 0;

    QString freshPath()
    {
        return m_folder.filePath(QStringLiteral("db%1/test.sqlitedb").arg(++m_fileNumber));
    }

    static void createTable(TULOSQLiteDatabase &database)
    {
        QVERIFY(
            database.executeSQL(QStringLiteral("CREATE TABLE IF NOT EXISTS t (pid INTEGER PRIMARY KEY, v)")));
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_folder.isValid()); }

    void fileAndFolderAreOwnerOnly_data()
    {
        QTest::addColumn<int>("folderMode");
        QTest::addColumn<int>("fileMode");
        QTest::newRow("new folder and file") << -1 << -1;
        QTest::newRow("folder left open to others") << 0755 << -1;
        QTest::newRow("file left readable by others") << 0755 << 0644;
    }
    void fileAndFolderAreOwnerOnly()
    {
        QFETCH(int, folderMode);
        QFETCH(int, fileMode);
        const QString path
            = m_folder.filePath(QStringLiteral("perm%1/nested/deeper/x.sqlitedb").arg(++m_fileNumber));
        const QString folder = QFileInfo(path).absolutePath();
        if (folderMode >= 0) {
            QVERIFY(QDir().mkpath(folder));
            QVERIFY(::chmod(QFile::encodeName(folder).constData(), mode_t(folderMode)) == 0);
        }
        if (fileMode >= 0) {
            TULOSQLiteDatabase earlier(path);
            earlier.close();
            QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(fileMode)) == 0);
        }
        TULOSQLiteDatabase database(path);
        QVERIFY(database.isOpen());
        createTable(database);
        QCOMPARE(modeOf(folder), 0700);
        QCOMPARE(modeOf(path), 0600);
    }

    void unopenableFileReportsError()
    {
        // A folder where the file should be: nothing can open it, and nothing is moved away.
        const QString path = freshPath();
        QVERIFY(QDir().mkpath(path));
        TULOSQLiteDatabase database(path);
        QVERIFY(!database.isOpen());
        QVERIFY(!database.openError().isNull());
        TULOError error;
        QVERIFY(!database.executeSQL(QStringLiteral("SELECT 1"), &error));
        QCOMPARE(error.domain(), TULOSQLiteErrorDomain);
        // The message names the file and why it is not open.
        QVERIFY2(error.localizedDescription().contains(path), qPrintable(error.localizedDescription()));
        QVERIFY2(error.localizedDescription().contains(database.openError().localizedDescription()),
                 qPrintable(error.localizedDescription()));
        QVERIFY(database.setAsidePaths().isEmpty());
        QVERIFY(QFileInfo(path).isDir());
    }

    // A file that may be read but not written opens for reading: its rows stay visible, a
    // write fails, and the file is left as it was.
    void unwritableFileOpensForReading()
    {
        const QString path = freshPath();
        {
            TULOSQLiteDatabase earlier(path);
            createTable(earlier);
            QVERIFY(earlier.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QStringLiteral("kept")}));
        }
        const QByteArray before = readAll(path);
        QVERIFY(setWritable(path, false));
        const auto restore = qScopeGuard([&] { setWritable(path, true); });

        TULOSQLiteDatabase database(path);
        QVERIFY2(database.isOpen(), qPrintable(database.openError().localizedDescription()));
        QVERIFY(database.isReadOnly());
        QVERIFY(!database.readOnlyReason().isEmpty());
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(1));
        TULOError error;
        QVERIFY(!database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QStringLiteral("new")}, &error));
        QVERIFY(!error.isNull());
        QVERIFY(database.setAsidePaths().isEmpty());
        QCOMPARE(readAll(path), before);
    }

    void userVersion_data()
    {
        QTest::addColumn<qint64>("version");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("zero") << qint64(0) << true;
        QTest::newRow("four") << qint64(4) << true;
        QTest::newRow("largest 32-bit") << qint64(std::numeric_limits<qint32>::max()) << true;
        QTest::newRow("negative") << qint64(-7) << true;
        QTest::newRow("beyond 32 bits") << qint64(std::numeric_limits<qint32>::max()) + 1 << false;
    }
    void userVersion()
    {
        QFETCH(qint64, version);
        QFETCH(bool, accepted);
        const QString path = freshPath();
        {
            TULOSQLiteDatabase database(path);
            QVERIFY(database.setUserVersion(11));
            TULOError error;
            QCOMPARE(database.setUserVersion(version, &error), accepted);
            QCOMPARE(error.isNull(), accepted);
        }
        TULOSQLiteDatabase reopened(path);
        QCOMPARE(reopened.userVersion(), std::optional<qint64>(accepted ? version : 11));
    }

    void transaction_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<bool>("committed");
        QTest::addColumn<qint64>("rowsAfter");
        QTest::newRow("true commits") << "true" << true << qint64(2);
        QTest::newRow("false rolls back") << "false" << false << qint64(0);
        QTest::newRow("failed statement rolls everything back") << "failed statement" << false << qint64(0);
        QTest::newRow("failed constraint rolls everything back") << "failed constraint" << false << qint64(0);
        QTest::newRow("exception rolls back") << "exception" << false << qint64(0);
        QTest::newRow("inner savepoint rolled back, outer kept") << "inner false" << true << qint64(2);
        QTest::newRow("inner savepoint committed with outer") << "inner true" << true << qint64(3);
    }
    void transaction()
    {
        QFETCH(QString, ending);
        QFETCH(bool, committed);
        QFETCH(qint64, rowsAfter);
        TULOSQLiteDatabase database(freshPath());
        createTable(database);
        bool threw = false;
        TULOError error;
        bool result = false;
        std::optional<bool> innerResult;
        bool stillInOuter = false;
        try {
            result = database.performTransactionWithBlock(
                [&] {
                    for (const char *value : {"one", "two"}) {
                        if (!database.executeSQL(
                                QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QString::fromLatin1(value)}))
                            return false;
                    }
                    if (ending == QLatin1String("failed statement"))
                        return database.executeSQL(QStringLiteral("INSERT INTO missing (v) VALUES (1)"));
                    if (ending == QLatin1String("failed constraint"))
                        return database.executeSQL(
                            QStringLiteral("INSERT INTO t (pid, v) VALUES (1, 'dup')"), {});
                    if (ending == QLatin1String("exception"))
                        throw std::runtime_error("block failed");
                    if (ending.startsWith(QLatin1String("inner"))) {
                        const bool inner = database.performTransactionWithBlock([&] {
                            database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES ('inner')"));
                            return ending == QLatin1String("inner true");
                        });
                        innerResult = inner;
                        stillInOuter = database.isInTransaction();
                    }
                    return ending != QLatin1String("false");
                },
                &error);
        } catch (const std::runtime_error &) {
            threw = true;
        }
        QCOMPARE(threw, ending == QLatin1String("exception"));
        if (ending.startsWith(QLatin1String("inner"))) {
            QCOMPARE(innerResult, std::optional<bool>(ending == QLatin1String("inner true")));
            QVERIFY(stillInOuter);
        }
        if (!threw) {
            QCOMPARE(result, committed);
            QCOMPARE(error.isNull(), committed);
        }
        QVERIFY(!database.isInTransaction());
        QCOMPARE(rowCount(database, QStringLiteral("t")), rowsAfter);
        // The connection is usable afterwards, and a later transaction is not swallowed.
        QVERIFY(database.performTransactionWithBlock(
            [&] { return database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES ('later')")); }));
        QCOMPARE(rowCount(database, QStringLiteral("t")), rowsAfter + 1);
    }

    void valuesRoundTrip_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("largest integer") << QVariant(std::numeric_limits<qint64>::max())
                                         << QVariant(qlonglong(std::numeric_limits<qint64>::max()));
        QTest::newRow("negative integer") << QVariant(-42) << QVariant(qlonglong(-42));
        QTest::newRow("boolean") << QVariant(true) << QVariant(qlonglong(1));
        QTest::newRow("real") << QVariant(2.5) << QVariant(2.5);
        QTest::newRow("text outside the basic plane") << QVariant(QStringLiteral("caf\u00e9 \U0001F3B8"))
                                                      << QVariant(QStringLiteral("caf\u00e9 \U0001F3B8"));
        QTest::newRow("empty text is not NULL")
            << QVariant(QStringLiteral("")) << QVariant(QStringLiteral(""));
        QTest::newRow("null string is NULL") << QVariant(QString()) << QVariant();
        QTest::newRow("invalid variant is NULL") << QVariant() << QVariant();
        QTest::newRow("blob with NUL bytes")
            << QVariant(QByteArray("a\0b\xff", 4)) << QVariant(QByteArray("a\0b\xff", 4));
        QTest::newRow("empty blob") << QVariant(QByteArray("")) << QVariant(QByteArray(""));
        QTest::newRow("SQL in a value stays a value") << QVariant(QStringLiteral("x'); DROP TABLE t; --"))
                                                      << QVariant(QStringLiteral("x'); DROP TABLE t; --"));
    }
    void valuesRoundTrip()
    {
        QFETCH(QVariant, value);
        QFETCH(QVariant, expected);
        TULOSQLiteDatabase database(freshPath());
        createTable(database);
        const std::optional<qint64> pid
            = database.executeInsertSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {value});
        QVERIFY(pid);
        QVariant stored(QStringLiteral("not read"));
        QVERIFY(database.enumerateRowsForSQL(QStringLiteral("SELECT v FROM t WHERE pid = ?"), {*pid},
            [&](const TULOSQLiteStatement &row, bool *) { stored = row.columnValue(0); }));
        QCOMPARE(stored.typeId(), expected.typeId());
        QCOMPARE(stored, expected);
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(1));
    }

    void unsupportedValueIsRefused()
    {
        TULOSQLiteDatabase database(freshPath());
        createTable(database);
        TULOError error;
        QVERIFY(!database.executeSQL(
            QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QVariant::fromValue(QSize(1, 2))}, &error));
        QCOMPARE(error.code(), qint64(SQLITE_MISMATCH));
        QVERIFY(!database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {1, 2}, &error));
        QCOMPARE(error.code(), qint64(SQLITE_RANGE));
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(0));
    }

    void setupBlockRunsOnReopen()
    {
        TULOSQLiteDatabase database(freshPath());
        int runs = 0;
        database.setSetupBlock([&](TULOSQLiteDatabase &db) {
            ++runs;
            createTable(db);
        });
        QCOMPARE(runs, 0);
        QVERIFY(database.reopen());
        QCOMPARE(runs, 1);
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(0));
    }

    void damagedFileIsSetAside_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::newRow("not a database") << "text";
        QTest::newRow("header of a database, body of noise") << "header";
        QTest::newRow("malformed table pages") << "pages";
    }
    void damagedFileIsSetAside()
    {
        QFETCH(QString, damage);
        const QString path = freshPath();
        if (damage == QLatin1String("pages")) {
            TULOSQLiteDatabase database(path);
            createTable(database);
            database.performTransactionWithBlock([&] {
                for (int i = 0; i < 200; ++i)
                    database.executeSQL(
                        QStringLiteral("INSERT INTO t (v) VALUES (?)"), {QString(300, QLatin1Char('x'))});
                return true;
            });
            database.close();
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.size() > 3 * 4096);
            file.seek(4096);
            file.write(QByteArray(int(file.size()) - 4096, '\x5a'));
        } else {
            QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            if (damage == QLatin1String("header"))
                file.write(QByteArray("SQLite format 3\0", 16) + QByteArray(8192, '\x7f'));
            else
                file.write("these are the user's notes, not a database\n");
        }
        const QByteArray damagedBytes = readAll(path);

        TULOSQLiteDatabase database(path);
        int setups = 0;
        database.setSetupBlock([&](TULOSQLiteDatabase &db) {
            ++setups;
            createTable(db);
        });
        createTable(database);
        TULOError error;
        qint64 seen = 0;
        const bool read = database.enumerateRowsForSQL(
            QStringLiteral("SELECT v FROM t"), {}, [&](const TULOSQLiteStatement &, bool *) { ++seen; },
            &error);
        if (!read)
            QCOMPARE(error.code() & 0xff, qint64(SQLITE_CORRUPT));

        const QStringList aside = database.setAsidePaths();
        QCOMPARE(aside.size(), 1);
        QVERIFY(QFileInfo(aside.first()).fileName().startsWith(QStringLiteral("test.sqlitedb.corrupt-")));
        QCOMPARE(readAll(aside.first()), damagedBytes);
        QCOMPARE(setups, damage == QLatin1String("pages") ? 1 : 0);
        // The user keeps working on a fresh file.
        QVERIFY(database.isOpen());
        createTable(database);
        QVERIFY(database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES ('after')"), {}));
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(1));
        QCOMPARE(modeOf(path), 0600);
    }

    void threadsSharingAConnectionTakeTurns()
    {
        // One thread's statements must never land inside another thread's open transaction.
        TULOSQLiteDatabase database(freshPath());
        createTable(database);
        constexpr int threads = 4;
        constexpr int transactionsPerThread = 40;
        std::atomic<int> asAsked = 0;
        std::atomic<int> unexpected = 0;
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back([&, t] {
                for (int i = 0; i < transactionsPerThread; ++i) {
                    const bool keep = (i % 4) != 0;
                    const bool ok = database.performTransactionWithBlock([&] {
                        for (int row = 0; row < 2; ++row) {
                            if (!database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES (?)"), {t}))
                                return false;
                        }
                        return keep;
                    });
                    (ok == keep ? asAsked : unexpected)++;
                }
            });
        }
        for (std::thread &worker : workers)
            worker.join();
        QCOMPARE(unexpected.load(), 0); // no transaction ended other than its block asked
        QCOMPARE(asAsked.load(), threads * transactionsPerThread);
        const int kept = threads * transactionsPerThread * 3 / 4;
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(kept * 2));
    }

    void secondProcessWaitsForTheLock()
    {
        const QString path = freshPath();
        {
            TULOSQLiteDatabase database(path);
            createTable(database);
        }
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TULO_SQLITE_HOLD_LOCK"), path);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForStarted());
        QVERIFY(child.waitForReadyRead(30000));
        QCOMPARE(child.readLine(), QByteArray("locked\n"));

        TULOSQLiteDatabase database(path);
        bool committed = false;
        TULOError error;
        std::thread writer([&] {
            committed = database.performTransactionWithBlock(
                [&] {
                    return database.executeSQL(QStringLiteral("INSERT INTO t (v) VALUES ('parent')"), {});
                },
                &error);
        });
        // Give the writer time to run into the lock, then let the child commit.
        QThread::msleep(300);
        child.write("\n");
        QVERIFY(child.waitForBytesWritten(30000));
        writer.join();
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitCode(), 0);
        QVERIFY2(committed, qPrintable(error.localizedDescription()));
        QCOMPARE(rowCount(database, QStringLiteral("t")), qint64(2));
    }
};

int main(int argc, char **argv)
{
    const QByteArray holdPath = qgetenv("TULO_SQLITE_HOLD_LOCK");
    if (!holdPath.isEmpty())
        return holdLock(QString::fromLocal8Bit(holdPath));
    QCoreApplication app(argc, argv);
    TestSQLiteDatabase test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sqlitedatabase.moc"
