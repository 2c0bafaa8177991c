#include <Quillon/platform/sqlite/sqlitedatabase_p.h>
#include <Quillon/platform/sqlite/sqliteentity_p.h>

#include <QTemporaryDir>
#include <QTest>
#include <sqlite3.h>

using TULOIDList = QList<qint64>;

class TestSQLiteEntity : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    std::unique_ptr<TULOSQLiteDatabase> m_database;
    QHash<QString, qint64> m_pids; // row name -> persistent id

    const QString m_table = QStringLiteral("account");

    void insertRow(const QString &name, const QVariantMap &values)
    {
        TULOError error;
        const std::optional<qint64> pid
            = TULOSQLiteEntity::insertIntoDatabase(m_database.get(), m_table, values, &error);
        QVERIFY2(pid, qPrintable(error.localizedDescription()));
        m_pids.insert(name, *pid);
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_folder.isValid());
        m_database
            = std::make_unique<TULOSQLiteDatabase>(m_folder.filePath(QStringLiteral("entities.sqlitedb")));
        QVERIFY(m_database->executeSQL(QStringLiteral(
            "DROP TABLE IF EXISTS account; CREATE TABLE account (pid INTEGER PRIMARY KEY, author_identity "
            "TEXT, "
            "author_type TEXT, service_identifier TEXT, user_name TEXT, \"odd \"\"name\"\"\" TEXT)")));
        m_pids.clear();
        const QString author = QStringLiteral("author_identity");
        const QString type = QStringLiteral("author_type");
        const QString service = QStringLiteral("service_identifier");
        const QString user = QStringLiteral("user_name");
        insertRow(QStringLiteral("a1-artist-twitter"),
            {{author, QStringLiteral("a1")}, {type, QStringLiteral("artist")},
                {service, QStringLiteral("twitter")}, {user, QStringLiteral("ann")}});
        insertRow(QStringLiteral("a1-curator-twitter"),
            {{author, QStringLiteral("a1")}, {type, QStringLiteral("curator")},
                {service, QStringLiteral("twitter")}, {user, QStringLiteral("ann")}});
        insertRow(QStringLiteral("a2-artist-twitter"),
            {{author, QStringLiteral("a2")}, {type, QStringLiteral("artist")},
                {service, QStringLiteral("twitter")}, {user, QStringLiteral("bob")}});
        insertRow(QStringLiteral("a1-artist-other"),
            {{author, QStringLiteral("a1")}, {type, QStringLiteral("artist")},
                {service, QStringLiteral("other")}, {user, QStringLiteral("ann")}});
        insertRow(QStringLiteral("no type"),
            {{author, QStringLiteral("a1")}, {service, QStringLiteral("twitter")}});
    }
    void cleanup() { m_database.reset(); }

    void query_data()
    {
        QTest::addColumn<QVariantList>("conditions"); // column, value, column, value...
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no condition matches all") << QVariantList {}
                                                  << QStringList {"a1-artist-twitter", "a1-curator-twitter",
                                                         "a2-artist-twitter", "a1-artist-other", "no type"};
        QTest::newRow("author, type and service") << QVariantList {"author_identity", "a1", "author_type",
            "artist", "service_identifier", "twitter"}
                                                  << QStringList {"a1-artist-twitter"};
        QTest::newRow("same author, other type is another row") << QVariantList {
            "author_identity", "a1", "author_type", "curator"} << QStringList {"a1-curator-twitter"};
        QTest::newRow("user name narrows further") << QVariantList {"author_identity", "a1", "author_type",
            "artist", "service_identifier", "twitter", "user_name", "someone else"}
                                                   << QStringList {};
        QTest::newRow("null value matches NULL")
            << QVariantList {"author_type", QVariant()} << QStringList {"no type"};
        QTest::newRow("value text is not SQL")
            << QVariantList {"author_identity", "a1' OR '1'='1"} << QStringList {};
        QTest::newRow("quoted column name") << QVariantList {"odd \"name\"", QVariant()}
                                            << QStringList {"a1-artist-twitter", "a1-curator-twitter",
                                                   "a2-artist-twitter", "a1-artist-other", "no type"};
    }
    void query()
    {
        QFETCH(QVariantList, conditions);
        QFETCH(QStringList, expected);
        TULOSQLitePredicate predicate;
        for (int i = 0; i + 1 < conditions.size(); i += 2)
            predicate = predicate.andEquals(conditions.at(i).toString(), conditions.at(i + 1));
        const TULOSQLiteQuery query(m_database.get(), m_table, predicate);

        TULOIDList expectedIDs;
        for (const QString &name : expected)
            expectedIDs.append(m_pids.value(name));
        std::sort(expectedIDs.begin(), expectedIDs.end());
        QCOMPARE(query.persistentIDs(), std::optional<TULOIDList>(expectedIDs));
        QCOMPARE(query.countOfEntities(), std::optional<qint64>(expected.size()));

        const std::optional<qint64> deleted = query.deleteAllEntities();
        QCOMPARE(deleted, std::optional<qint64>(expected.size()));
        QCOMPARE(TULOSQLiteQuery(m_database.get(), m_table).countOfEntities(),
            std::optional<qint64>(5 - expected.size()));
    }

    void enumerationHandsColumnsInOrderAndStops()
    {
        const TULOSQLiteQuery query(m_database.get(), m_table,
            TULOSQLitePredicate(QStringLiteral("user_name"), QStringLiteral("ann")));
        QList<QVariantList> rows;
        QVERIFY(query.enumeratePersistentIDsAndProperties(
            {QStringLiteral("author_type"), QStringLiteral("service_identifier")},
            [&](qint64 pid, const QVariantList &values, bool *stop) {
                rows.append(QVariantList {pid} + values);
                *stop = rows.size() == 2;
            }));
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows.at(0),
            (QVariantList {m_pids.value(QStringLiteral("a1-artist-twitter")), QStringLiteral("artist"),
                QStringLiteral("twitter")}));
        QCOMPARE(rows.at(1),
            (QVariantList {m_pids.value(QStringLiteral("a1-curator-twitter")), QStringLiteral("curator"),
                QStringLiteral("twitter")}));
    }

    void badColumnsFailAndChangeNothing_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::newRow("insert into unknown column") << "insert";
        QTest::newRow("query unknown column") << "query";
        QTest::newRow("enumerate unknown column") << "enumerate";
        QTest::newRow("unknown table") << "table";
    }
    void badColumnsFailAndChangeNothing()
    {
        QFETCH(QString, operation);
        TULOError error;
        bool ok = true;
        if (operation == QLatin1String("insert")) {
            ok = TULOSQLiteEntity::insertIntoDatabase(m_database.get(), m_table,
                {{QStringLiteral("user_name"), QStringLiteral("carl")},
                    {QStringLiteral("password"), QStringLiteral("x")}},
                &error)
                     .has_value();
        } else if (operation == QLatin1String("query")) {
            ok = TULOSQLiteQuery(m_database.get(), m_table, TULOSQLitePredicate(QStringLiteral("nope"), 1))
                     .deleteAllEntities(&error)
                     .has_value();
        } else if (operation == QLatin1String("enumerate")) {
            ok = TULOSQLiteQuery(m_database.get(), m_table)
                     .enumeratePersistentIDsAndProperties({QStringLiteral("nope")}, {}, &error);
        } else {
            ok = TULOSQLiteQuery(m_database.get(), QStringLiteral("missing"))
                     .countOfEntities(&error)
                     .has_value();
        }
        QVERIFY(!ok);
        QCOMPARE(error.domain(), TULOSQLiteErrorDomain);
        QCOMPARE(error.code() & 0xff, qint64(SQLITE_ERROR));
        QCOMPARE(TULOSQLiteQuery(m_database.get(), m_table).countOfEntities(), std::optional<qint64>(5));
    }

    void entityReadsWritesAndDeletesItsRow()
    {
        TULOSQLiteEntity entity(m_database.get(), m_table, m_pids.value(QStringLiteral("a2-artist-twitter")));
        QVERIFY(entity.existsInDatabase());
        QVERIFY(entity.setValuesForProperties({{QStringLiteral("user_name"), QStringLiteral("bobby")},
            {QStringLiteral("author_type"), QVariant()}}));
        const std::optional<QVariantMap> values
            = entity.valuesForProperties({QStringLiteral("user_name"), QStringLiteral("author_type")});
        QVERIFY(values);
        QCOMPARE(values->value(QStringLiteral("user_name")), QVariant(QStringLiteral("bobby")));
        QVERIFY(values->value(QStringLiteral("author_type")).isNull());
        // Only this row changed.
        QCOMPARE(TULOSQLiteQuery(m_database.get(), m_table,
                     TULOSQLitePredicate(QStringLiteral("user_name"), QStringLiteral("bobby")))
                     .countOfEntities(),
            std::optional<qint64>(1));

        QVERIFY(entity.deleteFromDatabase());
        QVERIFY(!entity.existsInDatabase());
        TULOError error;
        QVERIFY(!entity.valuesForProperties({QStringLiteral("user_name")}, &error));
        QCOMPARE(error.code(), qint64(SQLITE_NOTFOUND));
        QVERIFY(
            !entity.setValuesForProperties({{QStringLiteral("user_name"), QStringLiteral("ghost")}}, &error));
        QCOMPARE(TULOSQLiteQuery(m_database.get(), m_table).countOfEntities(), std::optional<qint64>(4));
    }

    void insertInsideRolledBackTransactionLeavesNoRow()
    {
        std::optional<qint64> pid;
        QVERIFY(!m_database->performTransactionWithBlock([&] {
            pid = TULOSQLiteEntity::insertIntoDatabase(
                m_database.get(), m_table, {{QStringLiteral("user_name"), QStringLiteral("dora")}});
            return false;
        }));
        QVERIFY(pid);
        QVERIFY(!TULOSQLiteEntity(m_database.get(), m_table, *pid).existsInDatabase());
    }
};

QTEST_GUILESS_MAIN(TestSQLiteEntity)
#include "tst_sqliteentity.moc"
