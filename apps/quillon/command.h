#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// A subcommand of the quillon tool. `run` gets the arguments after the subcommand's name and
// returns the process exit code. Files register their command with a static TULOCommandRegistration.
struct TULOCommand
{
    QString name;
    QString summary;
    std::function<int(const QStringList &arguments)> run;
    // It may show a window (a web sign-in), so it runs in a GUI application; the others run
    // without one, which spares them the platform plugin, fonts and theme.
    bool opensWindows = false;
};

class TULOCommandRegistration
{
public:
    explicit TULOCommandRegistration(TULOCommand command);
};

const QList<TULOCommand> &TULORegisteredCommands();
// The command called `name`, or null.
const TULOCommand *TULOCommandNamed(QStringView name);

// One clear line on stderr, "quillon <command>: <message>"; returns the exit code to use.
int TULOCommandFail(const QString &command, const QString &message, int exitCode = 1);
