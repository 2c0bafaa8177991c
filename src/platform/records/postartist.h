#pragma once

#include <Quillon/quillon_export.h>

#include <QList>
#include <QMetaType>
#include <QString>

// An artist credited on a post attachment: store identifier (a decimal string) and name.
class QUILLON_EXPORT TULOPostArtist
{
public:
    TULOPostArtist() = default;
    TULOPostArtist(const QString &identifier, const QString &name)
        : m_identifier(identifier), m_name(name) {}

    QString identifier() const { return m_identifier; }
    void setIdentifier(const QString &identifier) { m_identifier = identifier; }
    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }

    bool operator==(const TULOPostArtist &other) const = default;

private:
    QString m_identifier;
    QString m_name;
};

Q_DECLARE_METATYPE(TULOPostArtist)
