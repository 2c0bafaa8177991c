#include <Quillon/platform/localizedstringdictionary.h>

#include <QLocale>
#include <QTranslator>

// The string tables are compiled into the module (see src/platform/CMakeLists.txt). Registered
// by name, so that a program linking the module's objects from an archive pulls them in too.
static void initTranslationsResource()
{
    Q_INIT_RESOURCE(quillon_translations);
}

TULOLocalizedStringDictionary::TULOLocalizedStringDictionary(const QString &localeName)
    : m_localeName(localeName)
{
}

TULOLocalizedStringDictionary::~TULOLocalizedStringDictionary() = default;

std::shared_ptr<TULOLocalizedStringDictionary> TULOLocalizedStringDictionary::systemDictionary()
{
    static const std::shared_ptr<TULOLocalizedStringDictionary> dictionary = [] {
        auto made = std::make_shared<TULOLocalizedStringDictionary>(QLocale().name());
        made->m_englishFallback = true;
        return made;
    }();
    return dictionary;
}

QString TULOLocalizedStringDictionary::tablesDirectory()
{
    static const bool registered = (initTranslationsResource(), true);
    Q_UNUSED(registered);
    return QStringLiteral(":/quillon/translations");
}

const QTranslator *TULOLocalizedStringDictionary::translatorFor(const QString &table) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_tables.find(table);
    if (found != m_tables.end())
        return found->second.get();
    auto translator = std::make_unique<QTranslator>();
    const QString fileName = table.toLower();
    bool loaded = false;
    // QLocale("") is the C locale, which has no table; names QLocale does not know likewise.
    const QLocale locale(m_localeName);
    if (!m_localeName.isEmpty() && locale.language() != QLocale::C)
        loaded = translator->load(locale, fileName, QStringLiteral("_"), tablesDirectory());
    if (!loaded && m_englishFallback)
        loaded = translator->load(fileName + QStringLiteral("_en"), tablesDirectory());
    if (!loaded)
        translator.reset();
    const QTranslator *result = translator.get();
    m_tables.emplace(table, std::move(translator));
    return result;
}

QString TULOLocalizedStringDictionary::stringForKey(const QString &key, const QString &table) const
{
    if (key.isEmpty() || table.isEmpty())
        return QString();
    const QTranslator *translator = translatorFor(table);
    if (!translator)
        return QString();
    // ID-based tables: the key is the message id, looked up without a context.
    const QString text = translator->translate(nullptr, key.toUtf8().constData());
    return text.isEmpty() ? QString() : text;
}

bool TULOLocalizedStringDictionary::hasTable(const QString &table) const
{
    return !table.isEmpty() && translatorFor(table);
}
