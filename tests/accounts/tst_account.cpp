#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accountentity_p.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/credentials/credentialstore.h>

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

static const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
static const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);

static QString unique(const QString &stem)
{
    return stem + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

static TULOAccount makeAccount(const QString &service, const QString &userName)
{
    TULOAccount account(service);
    account.setUserName(userName);
    return account;
}

// Credential-store cases use whatever store the process picks: the file under a temporary data
// folder here, the keyring under the Secret Service script test (which sets
// TULO_TEST_CREDENTIAL_BACKEND and keeps its private session bus).
class TestAccount : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
        if (qEnvironmentVariableIsEmpty("TULO_TEST_CREDENTIAL_BACKEND"))
            qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
    }

    void identity_data()
    {
        QTest::addColumn<QString>("firstService");
        QTest::addColumn<QString>("firstUser");
        QTest::addColumn<QString>("secondService");
        QTest::addColumn<QString>("secondUser");
        QTest::addColumn<bool>("equal");
        QTest::newRow("same user and service, different tokens")
            << twitter << "ann" << twitter << "ann" << true;
        QTest::newRow("same user on twitter and facebook") << twitter << "ann" << facebook << "ann" << false;
        QTest::newRow("other user, same service") << twitter << "ann" << twitter << "bob" << false;
        QTest::newRow("user names differing in case") << twitter << "ann" << twitter << "Ann" << false;
    }
    void identity()
    {
        QFETCH(QString, firstService);
        QFETCH(QString, firstUser);
        QFETCH(QString, secondService);
        QFETCH(QString, secondUser);
        QFETCH(bool, equal);
        TULOAccount first = makeAccount(firstService, firstUser);
        first.setAuthenticationToken(QStringLiteral("token-1"));
        first.setFullName(QStringLiteral("Ann A."));
        TULOAccount second = makeAccount(secondService, secondUser);
        second.setAuthenticationToken(QStringLiteral("token-2"));
        QCOMPARE(first == second, equal);
        QCOMPARE(second == first, equal);
        if (equal)
            QCOMPARE(qHash(first), qHash(second));
        const QSet<TULOAccount> set {first, second};
        QCOMPARE(set.size(), equal ? 1 : 2);
    }

    void fullName_data()
    {
        QTest::addColumn<QString>("userName");
        QTest::addColumn<QString>("storedFullName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no full name reports the user name") << "ann" << QString() << "ann";
        QTest::newRow("stored full name wins") << "ann"
                                               << "Ann Artist"
                                               << "Ann Artist";
        QTest::newRow("empty full name is a full name") << "ann"
                                                        << ""
                                                        << "";
        QTest::newRow("neither") << QString() << QString() << QString();
    }
    void fullName()
    {
        QFETCH(QString, userName);
        QFETCH(QString, storedFullName);
        QFETCH(QString, expected);
        TULOAccount account = makeAccount(twitter, userName);
        account.setFullName(storedFullName);
        QCOMPARE(account.fullName(), expected);
        QCOMPARE(account.fullName().isNull(), expected.isNull());
    }

    void preferredPage_data()
    {
        QTest::addColumn<QVariant>("pages");
        QTest::addColumn<QString>("preferred");
        QTest::addColumn<QString>("expectedName"); // null: no page
        const QList<TULOFacebookPage> pages {{QStringLiteral("1"), QStringLiteral("Band")},
            {QStringLiteral("2"), QStringLiteral("Label")},
            {QStringLiteral("2"), QStringLiteral("Label, again")}};
        QTest::newRow("no preferred identifier") << QVariant::fromValue(pages) << QString() << QString();
        QTest::newRow("identifier of a page") << QVariant::fromValue(pages) << "1"
                                              << "Band";
        QTest::newRow("first of two pages with the identifier") << QVariant::fromValue(pages) << "2"
                                                                << "Label";
        QTest::newRow("identifier no page bears") << QVariant::fromValue(pages) << "3" << QString();
        QTest::newRow("no pages") << QVariant() << "1" << QString();
        QTest::newRow("pages of the wrong type")
            << QVariant(QStringList {QStringLiteral("1")}) << "1" << QString();
    }
    void preferredPage()
    {
        QFETCH(QVariant, pages);
        QFETCH(QString, preferred);
        QFETCH(QString, expectedName);
        TULOAccount account = makeAccount(facebook, QStringLiteral("ann"));
        account.setValue(pages, QString::fromLatin1(TULOAccountPropertyPages));
        account.setPreferredPageIdentifier(preferred);
        const std::optional<TULOFacebookPage> page = account.preferredPage();
        QCOMPARE(page.has_value(), !expectedName.isNull());
        if (page) {
            QCOMPARE(page->identifier(), preferred);
            QCOMPARE(page->name(), expectedName);
        }
    }

    void facebookPageFromDictionary_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::addColumn<bool>("valid");
        QTest::newRow("string id and name")
            << QVariantMap {{"id", "104"}, {"name", "Band"}, {"category", "Musician"}} << true;
        QTest::newRow("numeric id") << QVariantMap {{"id", 104}, {"name", "Band"}} << false;
        QTest::newRow("numeric name") << QVariantMap {{"id", "104"}, {"name", 7}} << false;
        QTest::newRow("missing name") << QVariantMap {{"id", "104"}} << false;
        QTest::newRow("empty dictionary") << QVariantMap {} << false;
    }
    void facebookPageFromDictionary()
    {
        QFETCH(QVariantMap, dictionary);
        QFETCH(bool, valid);
        const std::optional<TULOFacebookPage> page = TULOFacebookPage::withDictionary(dictionary);
        QCOMPARE(page.has_value(), valid);
        if (page) {
            QCOMPARE(page->identifier(), dictionary.value("id").toString());
            QCOMPARE(page->name(), dictionary.value("name").toString());
            // Pages are the same page by identifier alone.
            QCOMPARE(*page, TULOFacebookPage(page->identifier(), QStringLiteral("renamed")));
            QCOMPARE(qHash(*page), qHash(TULOFacebookPage(page->identifier(), QString())));
        }
    }

    void copiesAndUpdatesAreIndependent()
    {
        TULOAccount original = makeAccount(facebook, QStringLiteral("ann"));
        original.setPages({TULOFacebookPage(QStringLiteral("1"), QStringLiteral("Band"))});
        original.setAuthenticationToken(QStringLiteral("token"));

        TULOAccount copy = original;
        copy.setUserName(QStringLiteral("bob"));
        copy.setPages({});
        QCOMPARE(original.userName(), QStringLiteral("ann"));
        QCOMPARE(original.pages().size(), 1);

        TULOAccount target = makeAccount(twitter, QStringLiteral("carl"));
        target.setFullName(QStringLiteral("Carl"));
        target.updateWithTULOAccount(original);
        // The whole bag is replaced: what the other account lacks is gone.
        QVERIFY(!target.valueForProperty(QString::fromLatin1(TULOAccountPropertyFullName)).isValid());
        QCOMPARE(target.serviceIdentifier(), facebook);
        QCOMPARE(target.authenticationToken(), QStringLiteral("token"));
        original.setAuthenticationToken(QStringLiteral("changed later"));
        QCOMPARE(target.authenticationToken(), QStringLiteral("token"));
    }

    void nilRemovesProperty_data()
    {
        QTest::addColumn<QVariant>("nil");
        QTest::newRow("invalid variant") << QVariant();
        QTest::newRow("null string") << QVariant(QString());
    }
    void nilRemovesProperty()
    {
        QFETCH(QVariant, nil);
        TULOAccount account = makeAccount(twitter, QStringLiteral("ann"));
        const QString userId = QString::fromLatin1(TULOAccountPropertyUserId);
        account.setValue(QStringLiteral("12345"), userId);
        QCOMPARE(account.valueForProperty(userId), QVariant(QStringLiteral("12345")));
        account.setValue(nil, userId);
        QVERIFY(!account.valueForProperty(userId).isValid());
        account.setUserName(QString());
        QVERIFY(account.userName().isNull());
        // An empty string is a value, not nil.
        account.setUserName(QStringLiteral(""));
        QVERIFY(account.valueForProperty(QString::fromLatin1(TULOAccountPropertyUserName)).isValid());
    }

    void descriptionNamesAccountButNotPassword()
    {
        TULOAccount account = makeAccount(twitter, QStringLiteral("ann"));
        account.setPassword(QStringLiteral("Secret-Pa55"));
        QVERIFY(account.description().endsWith(QStringLiteral(": [ID: ann, Service: twitter]")));
        QString streamed;
        QDebug(&streamed) << account;
        QVERIFY(streamed.contains(QStringLiteral("[ID: ann, Service: twitter]")));
        QVERIFY(!streamed.contains(QStringLiteral("Secret-Pa55")));
        QVERIFY(!account.description().contains(QStringLiteral("Secret-Pa55")));
    }

    void passwordComesFromCredentialStore_data()
    {
        QTest::addColumn<QString>("password");
        QTest::newRow("ascii") << "hunter2";
        QTest::newRow("non-ASCII") << QStringLiteral("p\u00e4\u00df \u5bc6\u7801 \U0001F511");
        QTest::newRow("empty") << "";
    }
    void passwordComesFromCredentialStore()
    {
        QFETCH(QString, password);
        const QString user = unique(QStringLiteral("ann"));
        TULOAccount saved = makeAccount(twitter, user);
        saved.setPassword(password);
        QVERIFY(saved.saveToCredentialStore());
        // The item holds UTF-8, addressed by (user name, service identifier).
        QCOMPARE(TULOCredentialStore::sharedStore()->findItem(user, twitter),
            std::optional<QByteArray>(password.toUtf8()));

        const TULOAccount loaded = makeAccount(twitter, user);
        const QString passwordKey = QString::fromLatin1(TULOAccountPropertyPassword);
        QVERIFY(!loaded.valueForProperty(passwordKey).isValid());
        QCOMPARE(loaded.password(), password);
        QCOMPARE(loaded.valueForProperty(passwordKey), QVariant(password)); // cached
        // Same user on another service has no password.
        QVERIFY(makeAccount(facebook, user).password().isNull());

        QVERIFY(saved.removeFromCredentialStore());
        QVERIFY(!saved.removeFromCredentialStore());
        QVERIFY(makeAccount(twitter, user).password().isNull());
    }

    void saveReplacesStoredPassword()
    {
        const QString user = unique(QStringLiteral("bob"));
        TULOAccount account = makeAccount(twitter, user);
        account.setPassword(QStringLiteral("first"));
        QVERIFY(account.saveToCredentialStore());
        account.setPassword(QStringLiteral("second"));
        QVERIFY(account.saveToCredentialStore());
        QCOMPARE(makeAccount(twitter, user).password(), QStringLiteral("second"));

        // Without a password in the bag nothing is written, and the stored one stays.
        const TULOAccount withoutPassword = makeAccount(twitter, user);
        QVERIFY(!withoutPassword.saveToCredentialStore());
        QCOMPARE(makeAccount(twitter, user).password(), QStringLiteral("second"));
        QVERIFY(account.removeFromCredentialStore());
    }

    void rowMapping_data()
    {
        QTest::addColumn<QVariantMap>("properties");
        QTest::addColumn<QVariantMap>("expectedColumns");
        QTest::newRow("every property")
            << QVariantMap {{TULOAccountPropertyUserName, "ann"}, {TULOAccountPropertyFullName, "Ann Artist"},
                   {TULOAccountPropertyAuthenticationToken, "tok"},
                   {TULOAccountPropertyAuthenticationSecret, "sec"},
                   {TULOAccountPropertyPreferredPageIdentifier, "104"}, {TULOAccountPropertyUserId, "9001"},
                   {TULOAccountPropertyPassword, "never stored"}}
            << QVariantMap {{"author_identity", "a1"}, {"author_type", "artist"},
                   {"service_identifier", "twitter"}, {"user_name", "ann"}, {"full_name", "Ann Artist"},
                   {"authentication_token", "tok"}, {"authentication_secret", "sec"},
                   {"page_identifier", "104"}, {"user_identifier", "9001"}};
        QTest::newRow("full name falls back to user name")
            << QVariantMap {{TULOAccountPropertyUserName, "ann"}}
            << QVariantMap {{"author_identity", "a1"}, {"author_type", "artist"},
                   {"service_identifier", "twitter"}, {"user_name", "ann"}, {"full_name", "ann"}};
        QTest::newRow("absent values are not written")
            << QVariantMap {}
            << QVariantMap {
                   {"author_identity", "a1"}, {"author_type", "artist"}, {"service_identifier", "twitter"}};
    }
    void rowMapping()
    {
        QFETCH(QVariantMap, properties);
        QFETCH(QVariantMap, expectedColumns);
        TULOAccount account(twitter);
        for (auto it = properties.cbegin(); it != properties.cend(); ++it)
            account.setValue(it.value(), it.key());
        const QVariantMap columns
            = TULOAccountEntity::valuesForAccount(account, QStringLiteral("a1"), QStringLiteral("artist"));
        QCOMPARE(columns, expectedColumns);

        TULOAccountDatabase database(
            m_folder.filePath(unique(QStringLiteral("mapping")) + QStringLiteral("/a.sqlitedb")));
        QVERIFY(TULOAccountEntity::insertIntoDatabase(&database, columns));
        std::optional<TULOAccount> readBack;
        QVERIFY(TULOAccountEntity::queryWithPredicate(
            &database, TULOSQLitePredicate(QStringLiteral("author_identity"), QStringLiteral("a1")))
                    .enumeratePersistentIDsAndProperties(TULOAccountEntity::accountProperties(),
                        [&](qint64, const QVariantList &values, bool *stop) {
                            readBack = TULOAccountEntity::accountWithValues(twitter, values);
                            *stop = true;
                        }));
        QVERIFY(readBack);
        QCOMPARE(readBack->serviceIdentifier(), twitter);
        QCOMPARE(readBack->userName(), account.userName());
        QCOMPARE(readBack->fullName(), account.fullName());
        QCOMPARE(readBack->authenticationToken(), account.authenticationToken());
        QCOMPARE(readBack->authenticationSecret(), account.authenticationSecret());
        QCOMPARE(readBack->preferredPageIdentifier(), account.preferredPageIdentifier());
        QCOMPARE(readBack->valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)),
            account.valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)));
        QVERIFY(!readBack->valueForProperty(QString::fromLatin1(TULOAccountPropertyPassword)).isValid());
    }

    void passwordNeverReachesDatabaseFile()
    {
        const QString folder = m_folder.filePath(unique(QStringLiteral("leak")));
        const QString path = folder + QStringLiteral("/SocialAccounts.sqlitedb");
        const QString user = unique(QStringLiteral("ann"));
        const QString password = unique(QStringLiteral("Pw"));
        {
            TULOAccountDatabase database(path);
            TULOAccount account = makeAccount(twitter, user);
            account.setPassword(password);
            account.setAuthenticationToken(QStringLiteral("token"));
            QVERIFY(database.performTransactionWithBlock([&] {
                return TULOAccountEntity::insertIntoDatabase(&database,
                    TULOAccountEntity::valuesForAccount(
                        account, QStringLiteral("a1"), QStringLiteral("artist")))
                    .has_value();
            }));
            QVERIFY(account.saveToCredentialStore());
            QCOMPARE(makeAccount(twitter, user).password(), password);
        }
        QByteArray bytes;
        for (const QString &name : QDir(folder).entryList(QDir::Files)) {
            QFile file(QDir(folder).filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            bytes += file.readAll();
        }
        // The row did reach the file, so a password written with it would be found.
        QVERIFY(bytes.contains(user.toUtf8()));
        QVERIFY(!bytes.contains(password.toUtf8()));
        QVERIFY(!bytes.contains(
            QByteArray(reinterpret_cast<const char *>(password.utf16()), password.size() * 2)));
        QVERIFY(makeAccount(twitter, user).removeFromCredentialStore());
    }
};

QTEST_GUILESS_MAIN(TestAccount)
#include "tst_account.moc"
