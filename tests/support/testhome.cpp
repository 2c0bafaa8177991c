#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

// Every test process runs in a home of its own (HOME and the XDG folders in a temporary
// folder, and no session bus, so no keyring): the accounts database, the credential store,
// preferences and caches of one test never meet those of another, and tests run in parallel.
// Linked into each test as an object of its own, so it is set up before main().
namespace {

class TULOTestHome
{
public:
    TULOTestHome()
        : m_home(QDir::tempPath() + QStringLiteral("/quillon-test-home-XXXXXX"))
    {
        if (!m_home.isValid()) {
            std::fprintf(stderr, "cannot create a temporary home: %s\n", qPrintable(m_home.errorString()));
            std::abort();
        }
        const QDir home(m_home.path());
        set("HOME", home.path());
        set("XDG_DATA_HOME", home.filePath(QStringLiteral(".local/share")));
        set("XDG_CONFIG_HOME", home.filePath(QStringLiteral(".config")));
        set("XDG_CACHE_HOME", home.filePath(QStringLiteral(".cache")));
        set("XDG_STATE_HOME", home.filePath(QStringLiteral(".local/state")));
        set("XDG_RUNTIME_DIR", home.filePath(QStringLiteral("run")));
        QFile::setPermissions(home.filePath(QStringLiteral("run")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // The secret service test runs its binaries on a bus of its own (dbus-run-session) and
        // says so; every other test gets no bus.
        if (qgetenv("TULO_TEST_CREDENTIAL_BACKEND") != "secret-service")
            qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
    }

private:
    static void set(const char *variable, const QString &path)
    {
        QDir().mkpath(path);
        qputenv(variable, QFile::encodeName(path));
    }

    QTemporaryDir m_home;
};

const TULOTestHome testHome;

} // namespace
