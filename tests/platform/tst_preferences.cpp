#include <Quillon/platform/preferences.h>

#include <QFile>
#include <QStandardPaths>
#include <QTest>

class TestPreferences : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Keeps the test away from the user's own configuration.
        QStandardPaths::setTestModeEnabled(true);
    }

    void init()
    {
        QFile::remove(TULOPreferences(domain()).fileName());
        QFile::remove(TULOPreferences(otherDomain()).fileName());
    }

    void absentKeysGiveDefaults()
    {
        const TULOPreferences preferences(domain());
        QVERIFY(!preferences.contains(QStringLiteral("PreferredAuthorID")));
        QVERIFY(!preferences.objectForKey(QStringLiteral("PreferredAuthorID")).isValid());
        QVERIFY(preferences.stringForKey(QStringLiteral("PreferredAuthorID")).isNull());
        QCOMPARE(preferences.integerForKey(QStringLiteral("preferredFacebookAutopostingDestination")), 0);
        QVERIFY(!preferences.boolForKey(QStringLiteral("autoposting-twitter-enabled")));
    }

    void valuesSurviveAFreshProcessView_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("written");
        QTest::addColumn<bool>("expectedBool");
        QTest::addColumn<qint64>("expectedInteger");
        QTest::addColumn<QString>("expectedString");
        QTest::newRow("bool true") << QStringLiteral("autoposting-facebook-enabled") << QVariant(true) << true << qint64(1) << QStringLiteral("true");
        QTest::newRow("bool false") << QStringLiteral("autoposting-twitter-enabled") << QVariant(false) << false << qint64(0) << QStringLiteral("false");
        QTest::newRow("integer") << QStringLiteral("preferredFacebookAutopostingDestination") << QVariant(qint64(2)) << true << qint64(2) << QStringLiteral("2");
        QTest::newRow("64-bit integer") << QStringLiteral("big") << QVariant(qint64(1) << 40) << true << (qint64(1) << 40) << QStringLiteral("1099511627776");
        QTest::newRow("string") << QStringLiteral("PreferredAuthorID") << QVariant(QStringLiteral("1234567")) << true << qint64(1234567) << QStringLiteral("1234567");
        QTest::newRow("non-numeric string") << QStringLiteral("PreferredAuthorID") << QVariant(QStringLiteral("artist-x")) << false << qint64(0) << QStringLiteral("artist-x");
        QTest::newRow("key with slash-free reverse DNS") << QStringLiteral("com.vantor.Quillon.flag") << QVariant(true) << true << qint64(1) << QStringLiteral("true");
    }
    void valuesSurviveAFreshProcessView()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, written);
        QFETCH(bool, expectedBool);
        QFETCH(qint64, expectedInteger);
        QFETCH(QString, expectedString);
        {
            TULOPreferences preferences(domain());
            preferences.setObject(key, written);
            QVERIFY(preferences.synchronize());
        }
        // What is read straight after writing, and what another process reads from the file.
        for (const bool fromFile : {false, true}) {
            if (fromFile)
                QVERIFY(QFile::exists(TULOPreferences(domain()).fileName()));
            const TULOPreferences preferences(domain());
            QCOMPARE(preferences.boolForKey(key), expectedBool);
            QCOMPARE(preferences.integerForKey(key), expectedInteger);
            QCOMPARE(preferences.stringForKey(key), expectedString);
        }
    }

    void typedSettersAndRemoval()
    {
        TULOPreferences preferences(domain());
        preferences.setBool(QStringLiteral("autoposting-twitter-enabled"), true);
        preferences.setInteger(QStringLiteral("preferredFacebookAutopostingDestination"), 1);
        preferences.setString(QStringLiteral("PreferredAuthorID"), QStringLiteral("42"));
        QVERIFY(preferences.boolForKey(QStringLiteral("autoposting-twitter-enabled")));
        QCOMPARE(preferences.integerForKey(QStringLiteral("preferredFacebookAutopostingDestination")), 1);
        QCOMPARE(preferences.stringForKey(QStringLiteral("PreferredAuthorID")), QStringLiteral("42"));
        preferences.removeObjectForKey(QStringLiteral("PreferredAuthorID"));
        QVERIFY(!preferences.contains(QStringLiteral("PreferredAuthorID")));
        preferences.setObject(QStringLiteral("autoposting-twitter-enabled"), QVariant());
        QVERIFY(!preferences.contains(QStringLiteral("autoposting-twitter-enabled")));
    }

    void domainsAreSeparate()
    {
        TULOPreferences(domain()).setString(QStringLiteral("PreferredAuthorID"), QStringLiteral("1"));
        QVERIFY(!TULOPreferences(otherDomain()).contains(QStringLiteral("PreferredAuthorID")));
        QVERIFY(TULOPreferences(domain()).fileName() != TULOPreferences(otherDomain()).fileName());
        QCOMPARE(TULOPreferences::frameworkPreferences().domain(), QStringLiteral("com.vantor.Quillon"));
    }

    void corruptFileReadsAsEmpty()
    {
        const QString path = TULOPreferences(domain()).fileName();
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("\x00\x01\xff[[[=\n=broken", 16);
        }
        TULOPreferences preferences(domain());
        preferences.synchronize();
        QVERIFY(preferences.stringForKey(QStringLiteral("PreferredAuthorID")).isNull());
        preferences.setString(QStringLiteral("PreferredAuthorID"), QStringLiteral("7"));
        QCOMPARE(preferences.stringForKey(QStringLiteral("PreferredAuthorID")), QStringLiteral("7"));
    }

private:
    static QString domain() { return QStringLiteral("com.vantor.Quillon.tests.preferences"); }
    static QString otherDomain() { return QStringLiteral("com.vantor.Quillon.tests.other"); }
};

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"
