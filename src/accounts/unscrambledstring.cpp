#include <Quillon/accounts/unscrambledstring_p.h>

QString TULOUnscrambledString(const QString &scrambled)
{
    QString clear = scrambled;
    for (qsizetype i = 0; i < clear.size(); i += 2)
        clear[i] = QChar(char16_t(clear.at(i).unicode() - 1));
    return clear;
}
