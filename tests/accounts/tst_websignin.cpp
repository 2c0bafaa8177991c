#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/accounts/facebookpermissions.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

// The web sign-in is a library opened when a Facebook sign-in starts. This program links the
// framework alone (not the web engine), so its own maps show what the framework pulls in.
// Each case runs in a child process, since a library opens once per process.

namespace {

bool mapsWebEngine()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        return true; // unreadable: never report a clean process
    const QByteArray text = maps.readAll();
    return text.contains("libQt6WebEngineCore") || text.contains("libQt6Qml");
}

// Child mode: asks for a sign-in screen, and through the account store for a sign-in, and
// prints what happened, one "key=value" a line.
int probe(int argc, char **argv)
{
    QApplication app(argc, argv);
    std::printf("mappedAtStart=%d\n", mapsWebEngine() ? 1 : 0);
    TULOError error;
    std::unique_ptr<TULOFacebookAuthenticationViewController> signIn(TULOFacebookAuthenticationViewController::create(
        QStringLiteral("12345"), TULOFacebookWritePermissions(), nullptr, &error));
    std::printf("made=%d\n", signIn ? 1 : 0);
    std::printf("class=%s\n", signIn ? signIn->metaObject()->className() : "");
    std::printf("permissions=%d\n", signIn && signIn->writePermissions() == TULOFacebookWritePermissions() ? 1 : 0);
    std::printf("error=%s/%lld\n", qPrintable(error.domain()), static_cast<long long>(error.code()));
    std::printf("mappedAfterCreate=%d\n", mapsWebEngine() ? 1 : 0);
    signIn.reset();

    // Without the library, a sign-in request fails at once and presents nothing.
    TULOAccountStore store(TULOPostAuthor(QStringLiteral("websignin"), QStringLiteral("Artist"), QStringLiteral("artist")));
    TULOViewController presenter;
    int calls = 0;
    bool granted = true;
    TULOError accessError;
    if (error.isNull()) {
        calls = -1; // with the library, the request would open a real dialog: not asked here
    } else {
        store.requestAccessToAccountForServiceIdentifier(QString::fromLatin1(TULOServiceIdentifierFacebook),
            TULOFacebookReadPermissions(), &presenter, [&](bool success, const TULOError &e) {
                ++calls;
                granted = success;
                accessError = e;
            });
    }
    std::printf("accessCalls=%d\n", calls);
    std::printf("accessGranted=%d\n", granted ? 1 : 0);
    std::printf("accessError=%lld\n", static_cast<long long>(accessError.code()));
    std::printf("presented=%d\n", presenter.presentedViewController() ? 1 : 0);
    std::fflush(stdout);
    return 0;
}

} // namespace

class TestWebSignIn : public QObject
{
    Q_OBJECT

    QTemporaryDir m_emptyFolder;
    QTemporaryDir m_home;

    QMap<QString, QString> probeWith(const QString &folder)
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLON_MODULE_PATH"), folder);
        // The account store's files and credentials stay in the test's own folder.
        environment.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral("data")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/quillon-test-bus"));
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--probe")});
        if (!child.waitForFinished(120000) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
            return {};
        QMap<QString, QString> result;
        for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
            const qsizetype equals = line.indexOf('=');
            if (equals > 0)
                result.insert(QString::fromUtf8(line.left(equals)), QString::fromUtf8(line.mid(equals + 1)));
        }
        return result;
    }

private Q_SLOTS:
    void signInLoadsOnDemand_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("made");
        QTest::addColumn<QString>("className");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("mappedAfterCreate");
        QTest::addColumn<QString>("accessCalls");
        QTest::newRow("library beside the framework")
            << true << QStringLiteral("1") << QStringLiteral("TULOFacebookAuthenticationWebViewController")
            << QStringLiteral("/0") << QStringLiteral("1") << QStringLiteral("-1");
        QTest::newRow("library missing")
            << false << QStringLiteral("0") << QString()
            << QStringLiteral("%1/%2").arg(TULOFacebookAuthenticationErrorDomain).arg(int(TULOFacebookAuthenticationErrorUnavailable))
            << QStringLiteral("0") << QStringLiteral("1");
    }
    void signInLoadsOnDemand()
    {
        QFETCH(bool, installed);
        QFETCH(QString, made);
        QFETCH(QString, className);
        QFETCH(QString, error);
        QFETCH(QString, mappedAfterCreate);
        QFETCH(QString, accessCalls);
        QVERIFY(m_emptyFolder.isValid() && m_home.isValid());
        const QMap<QString, QString> result
            = probeWith(installed ? QStringLiteral(QUILLON_BINARY_DIR "/lib/quillon/modules") : m_emptyFolder.path());
        QVERIFY2(!result.isEmpty(), "the probe did not finish");
        QCOMPARE(result.value(QStringLiteral("mappedAtStart")), QStringLiteral("0"));
        QCOMPARE(result.value(QStringLiteral("made")), made);
        QCOMPARE(result.value(QStringLiteral("class")), className);
        QCOMPARE(result.value(QStringLiteral("error")), error);
        QCOMPARE(result.value(QStringLiteral("mappedAfterCreate")), mappedAfterCreate);
        QCOMPARE(result.value(QStringLiteral("accessCalls")), accessCalls);
        if (!installed) {
            QCOMPARE(result.value(QStringLiteral("permissions")), QStringLiteral("0"));
            QCOMPARE(result.value(QStringLiteral("accessGranted")), QStringLiteral("0"));
            QCOMPARE(result.value(QStringLiteral("accessError")), QString::number(int(TULOFacebookAuthenticationErrorUnavailable)));
            QCOMPARE(result.value(QStringLiteral("presented")), QStringLiteral("0"));
        } else {
            QCOMPARE(result.value(QStringLiteral("permissions")), QStringLiteral("1"));
        }
    }
};

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--probe") == 0)
        return probe(argc, argv);
    QCoreApplication app(argc, argv);
    TestWebSignIn test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_websignin.moc"
