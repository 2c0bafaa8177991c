#include "command.h"

#include <QTextStream>

#include <algorithm>

static QList<TULOCommand> &commands()
{
    static QList<TULOCommand> list;
    return list;
}

TULOCommandRegistration::TULOCommandRegistration(TULOCommand command)
{
    commands().append(std::move(command));
    std::sort(commands().begin(), commands().end(),
              [](const TULOCommand &a, const TULOCommand &b) { return a.name < b.name; });
}

const QList<TULOCommand> &TULORegisteredCommands()
{
    return commands();
}

const TULOCommand *TULOCommandNamed(QStringView name)
{
    const auto found = std::find_if(commands().cbegin(), commands().cend(),
                                    [name](const TULOCommand &command) { return command.name == name; });
    return found == commands().cend() ? nullptr : &*found;
}

int TULOCommandFail(const QString &command, const QString &message, int exitCode)
{
    QTextStream(stderr) << "quillon " << command << ": " << message << Qt::endl;
    return exitCode;
}
