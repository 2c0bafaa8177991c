#pragma once

#include <Quillon/quillon_export.h>

#include <QString>

#include <map>
#include <memory>
#include <mutex>

class QTranslator;

// The framework's own texts for one locale, read from its compiled string tables
// (":/quillon/translations/<table in lower case>_<locale>.qm"). Tables load on first use.
// Safe from any thread.
class QUILLON_EXPORT TULOLocalizedStringDictionary
{
public:
    // `localeName` such as "de_DE" or "en". A locale without its own table falls back to the
    // table of its language ("de_AT" reads "de"); one with neither has no texts at all.
    explicit TULOLocalizedStringDictionary(const QString &localeName);
    ~TULOLocalizedStringDictionary();

    TULOLocalizedStringDictionary(const TULOLocalizedStringDictionary &) = delete;
    TULOLocalizedStringDictionary &operator=(const TULOLocalizedStringDictionary &) = delete;

    // Texts for the user's own locale, falling back to English, as a standard lookup does.
    static std::shared_ptr<TULOLocalizedStringDictionary> systemDictionary();

    QString localeName() const { return m_localeName; }

    // The text, or a null string when the table or the key is missing.
    QString stringForKey(const QString &key, const QString &table) const;
    bool hasTable(const QString &table) const;

    // Where the compiled tables live.
    static QString tablesDirectory();

private:
    const QTranslator *translatorFor(const QString &table) const;

    QString m_localeName;
    bool m_englishFallback = false;
    mutable std::mutex m_mutex;
    mutable std::map<QString, std::unique_ptr<QTranslator>> m_tables; // null: no such table
};
