#include "accountspassword.h"

#include <QByteArray>

#include <termios.h>
#include <unistd.h>

static std::optional<QByteArray> TULOReadLine(FILE *input)
{
    QByteArray line;
    int c = 0;
    while ((c = std::fgetc(input)) != EOF && c != '\n')
        line.append(char(c));
    if (c == EOF && line.isEmpty())
        return std::nullopt;
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

std::optional<QString> TULOAccountsReadSecret(const QString &prompt, FILE *input)
{
    const int fd = fileno(input);
    if (fd < 0 || !isatty(fd)) {
        const std::optional<QByteArray> line = TULOReadLine(input);
        if (!line)
            return std::nullopt;
        return QString::fromUtf8(*line);
    }
    std::fputs(prompt.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    termios saved{};
    const bool canHide = tcgetattr(fd, &saved) == 0;
    if (canHide) {
        termios hidden = saved;
        hidden.c_lflag &= ~tcflag_t(ECHO);
        hidden.c_lflag |= ECHONL;
        tcsetattr(fd, TCSAFLUSH, &hidden);
    }
    const std::optional<QByteArray> line = TULOReadLine(input);
    if (canHide)
        tcsetattr(fd, TCSAFLUSH, &saved);
    if (!line)
        return std::nullopt;
    return QString::fromUtf8(*line);
}
