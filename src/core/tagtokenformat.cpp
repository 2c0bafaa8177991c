#include <Quillon/core/tagtokenformat.h>

QString TULOTagTokenString(const TULOTag &tag)
{
    QString text = QStringLiteral("@{");
    text += tag.entityType(); // a null string appends nothing
    text += QLatin1Char(':');
    text += tag.identifier();
    text += QLatin1Char(':');
    if (!tag.name().isNull()) {
        text += QLatin1Char('"');
        text += QString(tag.name()).replace(QLatin1Char('"'), QStringLiteral("\\\""));
        text += QLatin1Char('"');
    }
    text += QLatin1Char('}');
    return text;
}

const QRegularExpression &TULOTagTokenRegularExpression()
{
    static const QRegularExpression expression(QString::fromLatin1(R"re(@\{[^:]+:[^:]+:"([^"]+)"\})re"));
    return expression;
}

QString TULOStringByReplacingTagTokensWithNames(const QString &text)
{
    return QString(text).replace(TULOTagTokenRegularExpression(), QStringLiteral("\\1"));
}
