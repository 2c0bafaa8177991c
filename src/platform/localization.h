#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>

class TULOClientContext;
class TULOLocalizedStringDictionary;

// "PostComposition": the table of all the framework's localised texts. Below core, because
// every module's messages come from it.
extern QUILLON_EXPORT const char *const TULOStringsTablePostComposition;

// Looks up the framework's localised texts by key and table ("PostComposition").
//
// With a locale in the client context's configuration the texts are those of that locale;
// a key the framework lacks for it is asked of the client context, whose own fallback answers
// the key itself. Without a context or locale the user's own locale is used, and a missing
// key answers the key.
class QUILLON_EXPORT TULOLocalization
{
public:
    // The one shared instance; made on first use, from any thread.
    static TULOLocalization *defaultLocalization();

    // A null `context` is no context.
    QString localizedStringForKey(const QString &key, const QString &table, const TULOClientContext &context) const;

    // The shown name of an audio category: the text of "CATEGORY_<name>" in "PostComposition",
    // or `name` itself when there is none.
    QString localizedStringForCategoryName(const QString &name, const TULOClientContext &context) const;

    TULOLocalization(const TULOLocalization &) = delete;
    TULOLocalization &operator=(const TULOLocalization &) = delete;

private:
    TULOLocalization() = default;

    std::shared_ptr<TULOLocalizedStringDictionary> dictionaryForLocale(const QString &localeName) const;

    // The dictionary last made, for the locale it was made for. Several threads look texts up
    // (operations make default titles), so it is guarded.
    mutable std::mutex m_mutex;
    mutable std::shared_ptr<TULOLocalizedStringDictionary> m_dictionary;
};

// Fills a localised format: each "%@" takes the next argument, "%1$@", "%2$@", ... take the
// argument of that number (so a translation may reorder them), "%%" is a percent sign.
// Missing arguments leave the placeholder empty.
QUILLON_EXPORT QString TULOStringWithFormat(const QString &format, const QStringList &arguments);
