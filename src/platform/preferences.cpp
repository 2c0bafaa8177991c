#include <Quillon/platform/preferences.h>

#include <Quillon/platform/privatefiles.h>

#include <QSettings>

namespace {

// One QSettings per call: QSettings objects are not shared between threads, and those of the
// same file share one cache inside the process, so this stays cheap and consistent.
QSettings settingsFor(const QString &domain)
{
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, domain);
}

} // namespace

TULOPreferences::TULOPreferences(const QString &domain)
    : m_domain(domain)
{
}

TULOPreferences TULOPreferences::frameworkPreferences()
{
    return TULOPreferences(QStringLiteral("com.vantor.Quillon"));
}

bool TULOPreferences::contains(const QString &key) const
{
    return settingsFor(m_domain).contains(key);
}

QVariant TULOPreferences::objectForKey(const QString &key) const
{
    return settingsFor(m_domain).value(key);
}

bool TULOPreferences::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    // The file keeps every value as text; "true"/"false" and numbers are what we wrote.
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString().trimmed().toLower();
    if (text == QLatin1String("true"))
        return true;
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    return isNumber && number != 0;
}

qint64 TULOPreferences::integerForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1 : 0;
    bool ok = false;
    const qint64 number = value.toLongLong(&ok);
    return ok ? number : 0;
}

QString TULOPreferences::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (!value.isValid() || value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QVariantMap
        || value.typeId() == QMetaType::QStringList)
        return QString();
    return value.toString();
}

void TULOPreferences::setObject(const QString &key, const QVariant &value)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    QSettings settings = settingsFor(m_domain);
    settings.setValue(key, value);
    settings.sync();
    // Rewrites keep the mode of the file they replace; the first one sets it.
    TULOPrivateFiles::makeFile(settings.fileName());
}

void TULOPreferences::setBool(const QString &key, bool value)
{
    setObject(key, value);
}

void TULOPreferences::setInteger(const QString &key, qint64 value)
{
    setObject(key, value);
}

void TULOPreferences::setString(const QString &key, const QString &value)
{
    setObject(key, value);
}

void TULOPreferences::removeObjectForKey(const QString &key)
{
    settingsFor(m_domain).remove(key);
}

bool TULOPreferences::synchronize()
{
    QSettings settings = settingsFor(m_domain);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

QString TULOPreferences::fileName() const
{
    return settingsFor(m_domain).fileName();
}
