#include "posttext.h"

#include <Quillon/core/quillon.h>
#include <Quillon/core/tagtokenformat.h>

#include <QHash>
#include <QRegularExpression>

namespace {

TULOError tagError(const QString &description)
{
    return TULOError::withDescription(QString::fromLatin1(TULOErrorDomain), 1, description);
}

// The one tag whose name is `name`, ignoring case, written with or without its blanks.
std::optional<TULOTag> tagNamed(const QList<TULOTag> &tags, const QString &name)
{
    if (const auto exact = TULOExistingTagForString(tags, name))
        return exact;
    std::optional<TULOTag> found;
    for (const TULOTag &tag : tags) {
        if (QString(tag.name()).remove(QLatin1Char(' ')).compare(name, Qt::CaseInsensitive) != 0)
            continue;
        if (found)
            return std::nullopt; // ambiguous: never pick one by chance
        found = tag;
    }
    return found;
}

} // namespace

std::optional<QString> TULOPostTextWithResolvedTags(const QString &text, const TULOPostTagLookup &lookup, TULOError *error)
{
    // A written-out token, or an "@" at the start or after a blank or an opening bracket
    // followed by a quoted name or a word.
    static const char pattern[] = R"re(@\{[^}]*\}|(?<![\w@])@(?:"([^"]+)"|([\p{L}\p{N}_][\p{L}\p{N}_.'\-]*[\p{L}\p{N}_]|[\p{L}\p{N}_])))re";
    static const QRegularExpression inlineTag(QString::fromUtf8(pattern));
    QString result;
    QHash<QString, TULOTag> resolved;
    qsizetype last = 0;
    auto it = inlineTag.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        if (match.captured(0).startsWith(QLatin1String("@{")))
            continue; // already a token
        const QString name = match.hasCaptured(1) && !match.captured(1).isEmpty() ? match.captured(1) : match.captured(2);
        const QString key = name.toCaseFolded();
        if (!resolved.contains(key)) {
            if (!lookup) {
                TULOSetError(error, tagError(QStringLiteral("cannot look up the tag @%1: no tag lookup").arg(name)));
                return std::nullopt;
            }
            TULOError lookupError;
            const auto tags = lookup(name, &lookupError);
            if (!tags) {
                TULOSetError(error, tagError(QStringLiteral("could not look up the tag @%1: %2")
                                                 .arg(name, lookupError.localizedDescription())));
                return std::nullopt;
            }
            const auto tag = tagNamed(*tags, name);
            if (!tag) {
                TULOSetError(error, tagError(QStringLiteral("unknown tag @%1: the store knows no single tag of that name").arg(name)));
                return std::nullopt;
            }
            resolved.insert(key, *tag);
        }
        result += text.mid(last, match.capturedStart(0) - last);
        result += TULOTagTokenString(resolved.value(key));
        last = match.capturedEnd(0);
    }
    result += text.mid(last);
    return result;
}

QString TULOPostTextByAppendingTag(const QString &text, const TULOTag &tag)
{
    const QString tokenText = TULOTagTokenString(tag);
    if (text.isEmpty())
        return tokenText;
    return text + (text.back().isSpace() ? QString() : QStringLiteral(" ")) + tokenText;
}
