#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QVariant>

// The application preferences of one domain (a reverse-DNS name such as "com.vantor.Quillon"),
// kept by QSettings in the user's configuration folder. A value object: copies address the same
// domain. Safe from any thread; a value written is seen at once by every TULOPreferences of the
// same domain in the process.
class QUILLON_EXPORT TULOPreferences
{
public:
    explicit TULOPreferences(const QString &domain);

    // The framework's own domain, "com.vantor.Quillon".
    static TULOPreferences frameworkPreferences();

    QString domain() const { return m_domain; }

    bool contains(const QString &key) const;
    // An invalid QVariant when the key is absent.
    QVariant objectForKey(const QString &key) const;
    // false, 0 and a null string when the key is absent or its value is not of that kind.
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;

    void setObject(const QString &key, const QVariant &value);
    void setBool(const QString &key, bool value);
    void setInteger(const QString &key, qint64 value);
    void setString(const QString &key, const QString &value);
    void removeObjectForKey(const QString &key);

    // Writes pending changes to disk and reads changes other processes made. False when the
    // file could not be written or read.
    bool synchronize();

    // Path of the file that holds the domain.
    QString fileName() const;

private:
    QString m_domain;
};
