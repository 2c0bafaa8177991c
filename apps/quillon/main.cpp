#include "command.h"

#include <Quillon/core/quillon.h>
#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/notificationcenter.h>

#include <QApplication>
#include <QTextStream>

#include <memory>
#include <string_view>

static void printUsage(QTextStream &out)
{
    out << "usage: quillon <command> [options]\n\ncommands:\n";
    for (const TULOCommand &command : TULORegisteredCommands())
        out << "  " << command.name.leftJustified(12) << command.summary << '\n';
    out << "\n'quillon <command> --help' describes a command's options.\n";
}

// Only a command that may show a window (the Facebook sign-in) runs in a GUI application; the
// others, and any command's --help, run without one: its platform plugin, fonts and theme cost
// more than their work (the font database alone reads the whole font configuration when it is
// destroyed).
static bool needsWindows(int argc, char **argv)
{
    if (argc < 2)
        return false;
    const TULOCommand *command = TULOCommandNamed(QString::fromLocal8Bit(argv[1]));
    if (!command || !command->opensWindows)
        return false;
    const std::string_view second(argc < 3 ? "" : argv[2]);
    return second != "--help" && second != "-h";
}

int main(int argc, char **argv)
{
    std::unique_ptr<QCoreApplication> application;
    if (!needsWindows(argc, argv)) {
        application = std::make_unique<QCoreApplication>(argc, argv);
    } else {
        // Without a display the offscreen platform keeps everything else working.
        if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
            && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        // The web sign-in's engine is opened only when a sign-in starts, long after the
        // application; it shares OpenGL contexts, which must be asked for before the application.
        QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
        application = std::make_unique<QApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("quillon"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("vantor.com"));

    // Where passwords and tokens go when no keyring answers: said once, the first time.
    TULONotificationCenter::defaultCenter()->addObserver(
        QString::fromLatin1(TULOCredentialStoreLocationNotification), nullptr, [](const TULONotification &notification) {
            const QVariantMap info = notification.userInfo();
            if (info.value(QStringLiteral("backend")) == QLatin1String("file") && info.value(QStringLiteral("firstNotice")).toBool())
                QTextStream(stderr) << "quillon: passwords and session tokens are kept in "
                                    << info.value(QStringLiteral("location")).toString()
                                    << " (see docs/credentials.md)\n";
        });

    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    QTextStream out(stdout);
    if (arguments.isEmpty() || arguments.first() == QLatin1String("--help") || arguments.first() == QLatin1String("-h")) {
        printUsage(out);
        return arguments.isEmpty() ? 2 : 0;
    }
    if (arguments.first() == QLatin1String("--version")) {
        out << "quillon " << QuillonVersionNumber << '\n';
        return 0;
    }
    const QString name = arguments.takeFirst();
    for (const TULOCommand &command : TULORegisteredCommands()) {
        if (command.name == name)
            return command.run(arguments);
    }
    QTextStream err(stderr);
    err << "quillon: unknown command '" << name << "'\n";
    printUsage(err);
    return 2;
}
