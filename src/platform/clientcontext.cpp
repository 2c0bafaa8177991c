#include "platform/clientcontext.h"

#include <QCoreApplication>

const char *const TULOClientConfigurationLocaleKey = "locale";
const char *const TULOClientConfigurationStorefrontSuffixKey = "storefrontSuffix";

TULOClientContext::TULOClientContext() = default;

TULOClientContext::TULOClientContext(const QVariantMap &configuration)
    : m_configuration(configuration)
{
}

TULOClientContext::~TULOClientContext() = default;

QVariantMap TULOClientContext::configuration() const
{
    std::lock_guard lock(m_mutex);
    return m_configuration;
}

void TULOClientContext::setConfiguration(const QVariantMap &configuration)
{
    std::lock_guard lock(m_mutex);
    m_configuration = configuration;
}

QVariant TULOClientContext::valueForConfigurationKey(const QString &key) const
{
    std::lock_guard lock(m_mutex);
    return m_configuration.value(key);
}

void TULOClientContext::setValueForConfigurationKey(const QVariant &value, const QString &key)
{
    std::lock_guard lock(m_mutex);
    if (value.isValid())
        m_configuration.insert(key, value);
    else
        m_configuration.remove(key);
}

static QString stringValue(const QVariant &value)
{
    // Only text counts: a number or a list under the key is a host mistake, not a locale.
    if (value.typeId() != QMetaType::QString)
        return QString();
    const QString text = value.toString().trimmed();
    return text.isEmpty() ? QString() : text;
}

QString TULOClientContext::localeName() const
{
    return stringValue(valueForConfigurationKey(QLatin1String(TULOClientConfigurationLocaleKey)));
}

QString TULOClientContext::storefrontSuffix() const
{
    return stringValue(valueForConfigurationKey(QLatin1String(TULOClientConfigurationStorefrontSuffixKey)));
}

QString TULOClientContext::localizedStringForKey(const QString &key, const QString &table) const
{
    if (key.isEmpty())
        return key;
    const QByteArray keyBytes = key.toUtf8();
    const QByteArray tableBytes = table.toUtf8();
    const QString inTable = QCoreApplication::translate(tableBytes.constData(), keyBytes.constData());
    if (inTable != key)
        return inTable;
    const QString byID = qtTrId(keyBytes.constData());
    return byID.isEmpty() ? key : byID;
}
