#include "posttext.h"

#include <Quillon/core/quillon.h>
#include <Quillon/core/tagtokenformat.h>

#include <QHash>
#include <QRegularExpression>

namespace {

TULOError tagError(const QString &description)
{
    return TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed, description);
}

// A name as the store's search compares it: decomposed, without marks, blanks or case, so
// "Zoë" typed precomposed or decomposed, or as "zoe", is the same name.
QString folded(const QString &name)
{
    const QString decomposed = name.normalized(QString::NormalizationForm_KD);
    QString result;
    result.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (!c.isMark() && !c.isSpace())
            result.append(c);
    }
    return result.toCaseFolded();
}

// The tags whose name (or tag string) folds to `name`.
QList<TULOTag> tagsNamed(const QList<TULOTag> &tags, const QString &name)
{
    const QString wanted = folded(name);
    QList<TULOTag> found;
    for (const TULOTag &tag : tags) {
        if (folded(tag.name()) == wanted || (!tag.tagString().isEmpty() && folded(tag.tagString()) == wanted))
            found << tag;
    }
    return found;
}

} // namespace

std::optional<QString> TULOPostTextWithResolvedTags(const QString &text, const TULOPostTagLookup &lookup, TULOError *error,
                                                    QStringList *notices)
{
    // A written-out token, or an "@" at the start or after a blank or an opening bracket
    // followed by a quoted name or a word. Marks belong to the word: a decomposed "ë" is a
    // letter and its combining diaeresis.
    static const char pattern[] = R"re(@\{[^}]*\}|(?<![\w@])@(?:"([^"]+)"|([\p{L}\p{N}_][\p{L}\p{M}\p{N}_.'\-]*[\p{L}\p{M}\p{N}_]|[\p{L}\p{N}_])))re";
    static const QRegularExpression inlineTag(QString::fromUtf8(pattern));
    QString result;
    QHash<QString, std::optional<TULOTag>> resolved; // by folded name; nullopt: stays text
    qsizetype last = 0;
    auto it = inlineTag.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        if (match.captured(0).startsWith(QLatin1String("@{")))
            continue; // already a token
        const bool quoted = match.hasCaptured(1) && !match.captured(1).isEmpty();
        const QString name = quoted ? match.captured(1) : match.captured(2);
        const QString key = folded(name);
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
            const QList<TULOTag> candidates = tagsNamed(*tags, name);
            if (candidates.size() > 1) {
                QStringList listed;
                for (const TULOTag &candidate : candidates)
                    listed << QStringLiteral("%1 (%2 %3)").arg(candidate.name(), candidate.entityType(), candidate.identifier());
                TULOSetError(error, tagError(QStringLiteral("the tag @%1 is ambiguous: it could be %2; use --tag ID for the one meant")
                                                 .arg(name, listed.join(QStringLiteral(", ")))));
                return std::nullopt;
            }
            if (candidates.isEmpty() && quoted) {
                TULOSetError(error, tagError(QStringLiteral("unknown tag @\"%1\": the store knows no tag of that name").arg(name)));
                return std::nullopt;
            }
            if (candidates.isEmpty() && notices)
                *notices << QStringLiteral("@%1 is not a tag the store knows; it stays plain text").arg(name);
            resolved.insert(key, candidates.isEmpty() ? std::nullopt : std::optional<TULOTag>(candidates.first()));
        }
        const std::optional<TULOTag> tag = resolved.value(key);
        if (!tag)
            continue; // plain text, copied with the text around it
        result += text.mid(last, match.capturedStart(0) - last);
        result += TULOTagTokenString(*tag);
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
