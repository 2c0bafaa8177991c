#include <Quillon/accounts/twitterauthenticationrequest.h>
#include <Quillon/accounts/unscrambledstring_p.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/deploymentconfiguration.h>

#include <QTemporaryDir>
#include <QTest>

class TestDeploymentConfiguration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_directory;

    QString write(const QString &name, const QByteArray &contents)
    {
        const QString path = m_directory.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
            return QString();
        return path;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_directory.isValid()); }
    void cleanup()
    {
        qunsetenv(TULODeploymentConfigurationEnvironmentVariable);
        TULODeploymentConfiguration::reload();
        TULOClientContext::setDefaultContext(TULOClientContext());
    }

    void unscrambling_data()
    {
        QTest::addColumn<QString>("scrambled");
        QTest::addColumn<QString>("clear");
        QTest::newRow("even positions lowered") << QStringLiteral("b2d4") << QStringLiteral("a2c4");
        QTest::newRow("odd length") << QStringLiteral("bcd") << QStringLiteral("acc");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("beyond Latin-1") << QStringLiteral("\u00e9x\u0101") << QStringLiteral("\u00e8x\u0100");
    }
    void unscrambling()
    {
        QFETCH(QString, scrambled);
        QFETCH(QString, clear);
        QCOMPARE(TULOUnscrambledString(scrambled), clear);
    }

    // The defaults have the lengths the services' credentials have.
    void defaultCredentials()
    {
        const TULODeploymentConfiguration defaults;
        QCOMPARE(TULOUnscrambledString(defaults.scrambledTwitterConsumerKey()).size(), 25);
        QCOMPARE(TULOUnscrambledString(defaults.scrambledTwitterConsumerSecret()).size(), 50);
        QCOMPARE(TULOUnscrambledString(defaults.scrambledFacebookAppId()).size(), 15);
        // Kept scrambled: the stored text is not the one used.
        QVERIFY(defaults.scrambledTwitterConsumerSecret() != TULOTwitterAuthenticationRequest::consumerSecret());
    }

    void addresses_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QUrl>("bag");
        QTest::addColumn<QUrl>("resolved");
        QTest::newRow("relative against the bag") << QStringLiteral("/twitter/oauth/access_token") << QUrl(QStringLiteral("http://127.0.0.1:4242/bag"))
                                                  << QUrl(QStringLiteral("http://127.0.0.1:4242/twitter/oauth/access_token"));
        QTest::newRow("absolute kept") << QStringLiteral("https://api.example.org/oauth/access_token") << QUrl(QStringLiteral("http://127.0.0.1:4242/bag"))
                                       << QUrl(QStringLiteral("https://api.example.org/oauth/access_token"));
        QTest::newRow("relative without a store") << QStringLiteral("/x") << QUrl() << QUrl();
        QTest::newRow("empty") << QString() << QUrl(QStringLiteral("http://127.0.0.1:4242/bag")) << QUrl();
    }
    void addresses()
    {
        QFETCH(QString, value);
        QFETCH(QUrl, bag);
        QFETCH(QUrl, resolved);
        TULODeploymentConfiguration configuration;
        configuration.setValue(QString::fromLatin1(TULODeploymentTwitterAccessTokenURLKey), value);
        if (!bag.isEmpty())
            TULOClientContext::setDefaultContext(TULOClientContext(bag));
        QCOMPARE(configuration.twitterAccessTokenURL(), resolved);
        // A context given explicitly wins over the default one.
        QCOMPARE(configuration.twitterAccessTokenURL(TULOClientContext(QUrl(QStringLiteral("http://10.0.0.1/b")))).host(),
                 value.startsWith(QLatin1Char('/')) ? QStringLiteral("10.0.0.1") : resolved.host());
    }

    void files_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("loads");
        QTest::newRow("some keys") << QByteArray("{\"facebookDialogURL\": \"https://dialog.example.org/dialog/oauth\", \"facebookAppId\": \"2\"}") << true;
        QTest::newRow("empty object") << QByteArray("{}") << true;
        QTest::newRow("not JSON") << QByteArray("facebookDialogURL = x") << false;
        QTest::newRow("a list") << QByteArray(R"(["facebookDialogURL"])") << false;
        QTest::newRow("a number value") << QByteArray(R"({"facebookAppId": 243867243867243})") << false;
        QTest::newRow("empty file") << QByteArray() << false;
    }
    void files()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, loads);
        const QString path = write(QStringLiteral("deployment.json"), contents);
        QVERIFY(!path.isEmpty());
        TULOError error;
        const auto configuration = TULODeploymentConfiguration::fromFile(path, &error);
        QCOMPARE(configuration.has_value(), loads);
        QCOMPARE(error.isNull(), loads);
        if (!loads) {
            QCOMPARE(error.domain(), TULOFileErrorDomain);
            QVERIFY(error.localizedDescription().contains(path));
        }

        // Through the environment: a bad file leaves the defaults in use, with its error.
        qputenv(TULODeploymentConfigurationEnvironmentVariable, path.toLocal8Bit());
        TULODeploymentConfiguration::reload();
        const TULODeploymentConfiguration current = TULODeploymentConfiguration::current();
        QCOMPARE(TULODeploymentConfiguration::loadError().isNull(), loads);
        const TULODeploymentConfiguration defaults;
        QCOMPARE(current.value(QString::fromLatin1(TULODeploymentTwitterConsumerKeyKey)), defaults.scrambledTwitterConsumerKey());
        const QString expectedDialog = loads && contents.contains("dialog.example.org")
            ? QStringLiteral("https://dialog.example.org/dialog/oauth")
            : defaults.value(QString::fromLatin1(TULODeploymentFacebookDialogURLKey));
        QCOMPARE(current.value(QString::fromLatin1(TULODeploymentFacebookDialogURLKey)), expectedDialog);
    }

    void missingFile()
    {
        TULOError error;
        QVERIFY(!TULODeploymentConfiguration::fromFile(m_directory.filePath(QStringLiteral("absent.json")), &error));
        QCOMPARE(error.domain(), TULOFileErrorDomain);
        qputenv(TULODeploymentConfigurationEnvironmentVariable, m_directory.filePath(QStringLiteral("absent.json")).toLocal8Bit());
        TULODeploymentConfiguration::reload();
        QCOMPARE(TULODeploymentConfiguration::current().scrambledFacebookAppId(), TULODeploymentConfiguration().scrambledFacebookAppId());
        QVERIFY(!TULODeploymentConfiguration::loadError().isNull());
    }
};

QTEST_GUILESS_MAIN(TestDeploymentConfiguration)
#include "tst_deploymentconfiguration.moc"
