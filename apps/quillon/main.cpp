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

// `quillon`, `quillon --help`, `quillon --version` and `quillon <command> --help` only print:
// they need no GUI application, whose platform plugin, fonts and theme cost more than the
// printing. (An option's value may read "--help" too, so only these places count.)
static bool onlyPrints(int argc, char **argv)
{
    if (argc < 2)
        return true;
    const std::string_view first(argv[1]);
    if (first == "--help" || first == "-h" || first == "--version")
        return true;
    if (argc < 3)
        return false;
    const std::string_view second(argv[2]);
    return second == "--help" || second == "-h";
}

int main(int argc, char **argv)
{
    std::unique_ptr<QCoreApplication> application;
    if (onlyPrints(argc, argv)) {
        application = std::make_unique<QCoreApplication>(argc, argv);
    } else {
        // Screens (the Facebook sign-in) need a GUI application; without a display the offscreen
        // platform keeps everything else working.
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
