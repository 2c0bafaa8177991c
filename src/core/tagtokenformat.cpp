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

QList<TULOTagTokenMatch> TULOTagTokensInString(const QString &text)
{
    // Type and identifier hold no colon or brace; the name is quoted, with \" for a quote.
    static const QRegularExpression token(QString::fromLatin1(R"re(@\{([^:{}"]*):([^:{}"]*):(?:"((?:[^"\\]|\\.)*)")?\})re"));
    QList<TULOTagTokenMatch> matches;
    auto it = token.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        TULOTagTokenMatch found;
        found.start = match.capturedStart(0);
        found.length = match.capturedLength(0);
        // Empty fields were nil when written.
        if (match.capturedLength(1) > 0)
            found.tag.setEntityType(match.captured(1));
        if (match.capturedLength(2) > 0)
            found.tag.setIdentifier(match.captured(2));
        if (match.hasCaptured(3)) {
            // Quotes, even empty ones, mean a name: an empty one is not nil.
            QString name = match.captured(3).replace(QStringLiteral("\\\""), QStringLiteral("\""));
            found.tag.setName(name.isNull() ? QString(0, QChar()) : name);
        }
        matches.append(found);
    }
    return matches;
}
