#include <Quillon/platform/localization.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localizedstringdictionary.h>

const char *const TULOStringsTablePostComposition = "PostComposition";

TULOLocalization *TULOLocalization::defaultLocalization()
{
    static TULOLocalization *const localization = new TULOLocalization;
    return localization;
}

std::shared_ptr<TULOLocalizedStringDictionary> TULOLocalization::dictionaryForLocale(const QString &localeName) const
{
    std::lock_guard lock(m_mutex);
    if (!m_dictionary || m_dictionary->localeName() != localeName)
        m_dictionary = std::make_shared<TULOLocalizedStringDictionary>(localeName);
    return m_dictionary;
}

QString TULOLocalization::localizedStringForKey(const QString &key, const QString &table,
                                                const TULOClientContext &context) const
{
    if (key.isEmpty())
        return QStringLiteral("");
    const QString localeName = context.locale().trimmed();
    if (localeName.isEmpty()) {
        const QString text = TULOLocalizedStringDictionary::systemDictionary()->stringForKey(key, table);
        return text.isNull() ? key : text;
    }
    const QString text = dictionaryForLocale(localeName)->stringForKey(key, table);
    if (!text.isNull())
        return text;
    return context.localizedStringForKey(key, table);
}

QString TULOLocalization::localizedStringForCategoryName(const QString &name, const TULOClientContext &context) const
{
    const QString key = QStringLiteral("CATEGORY_") + name;
    const QString text = localizedStringForKey(key, QLatin1String(TULOStringsTablePostComposition), context);
    return text == key ? name : text;
}

QString TULOStringWithFormat(const QString &format, const QStringList &arguments)
{
    QString result;
    result.reserve(format.size() + 16 * arguments.size());
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != QLatin1Char('%') || i + 1 >= format.size()) {
            result += c;
            continue;
        }
        const QChar after = format.at(i + 1);
        if (after == QLatin1Char('%')) {
            result += QLatin1Char('%');
            ++i;
        } else if (after == QLatin1Char('@')) {
            result += arguments.value(next++);
            ++i;
        } else if (after.isDigit()) {
            qsizetype j = i + 1;
            int number = 0;
            while (j < format.size() && format.at(j).isDigit() && number < 1000)
                number = number * 10 + format.at(j++).digitValue();
            if (j + 1 < format.size() && format.at(j) == QLatin1Char('$') && format.at(j + 1) == QLatin1Char('@')) {
                result += arguments.value(number - 1);
                i = j + 1;
            } else {
                result += c; // not a placeholder: keep the text as written
            }
        } else {
            result += c;
        }
    }
    return result;
}
