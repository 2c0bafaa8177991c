#include "storetestsupport.h"

#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>
#include "support/testsupport.h"

#include <QNetworkReply>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

// A store whose certificate a private authority signed is reached once the deployer names
// that authority, and refused otherwise: verification is never turned off.
class TestTlsTrust : public QObject
{
    Q_OBJECT

    QTemporaryDir m_certificates;
    TULOSandboxStore m_store;
    QByteArray m_environment;

    QString certificate(const char *name) const { return m_certificates.filePath(QString::fromLatin1(name)); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_certificates.isValid());
        // An authority of this test's own, unknown to the system and to any other test.
        QProcess make;
        make.start(QStringLiteral("bash"), {TULOSourcePath(QStringLiteral("tests/support/tlscertificates.sh")), m_certificates.path()});
        QVERIFY(make.waitForFinished(60000));
        QCOMPARE(make.exitCode(), 0);
        m_store.setTlsCertificate(certificate("server.pem"), certificate("server.key"));
        QVERIFY(m_store.start());
        QVERIFY(m_store.isSecure());
        QCOMPARE(m_store.bagUrl().scheme(), QStringLiteral("https"));
        m_environment = qgetenv("QUILLON_TRUSTED_CERTIFICATES");
    }
    void cleanup()
    {
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
        qputenv("QUILLON_TRUSTED_CERTIFICATES", m_environment);
    }

    void trustComesFromTheDeployment_data()
    {
        QTest::addColumn<QString>("where");
        QTest::addColumn<bool>("trusted");
        QTest::newRow("nobody names the authority") << "" << false;
        QTest::newRow("the deployment file names it") << "deployment" << true;
        QTest::newRow("the environment names it") << "environment" << true;
        QTest::newRow("a file without certificates") << "not a certificate" << false;
    }
    void trustComesFromTheDeployment()
    {
        QFETCH(QString, where);
        QFETCH(bool, trusted);
        TULODeploymentConfiguration configuration;
        if (where == QLatin1String("deployment"))
            configuration.setValue(QString::fromLatin1(TULODeploymentTrustedCertificatesKey), certificate("ca.pem"));
        if (where == QLatin1String("not a certificate")) {
            configuration.setValue(QString::fromLatin1(TULODeploymentTrustedCertificatesKey), certificate("ca.key"));
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("no certificate could be read")));
        }
        TULODeploymentConfiguration::setCurrent(configuration);
        if (where == QLatin1String("environment"))
            qputenv("QUILLON_TRUSTED_CERTIFICATES", QFile::encodeName(certificate("ca.pem")));

        TULOUrlLoadOperation load(m_store.bagUrl());
        load.setClientContext(TULOSandboxContext(m_store));
        load.start();
        if (trusted) {
            QVERIFY2(load.error().isNull(), qPrintable(load.error().localizedDescription()));
            QCOMPARE(load.response().httpStatus, 200);
        } else {
            QCOMPARE(load.error().code(), qint64(TULOStoreErrorRequestFailed));
            QCOMPARE(load.networkError().code(), qint64(QNetworkReply::SslHandshakeFailedError));
            QCOMPARE(load.response().httpStatus, 0);
        }
    }
};

QTEST_GUILESS_MAIN(TestTlsTrust)
#include "tst_tlstrust.moc"
