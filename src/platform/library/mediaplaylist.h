#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/library/mediamodelobject.h>

// A playlist; a store playlist carries its global identifier, a local one none.
class QUILLON_EXPORT TULOMediaPlaylist : public TULOMediaModelObject
{
public:
    QString name() const { return m_name; }
    void setName(const QString &value) { m_name = value; }
    QString curatorName() const { return m_curatorName; }
    void setCuratorName(const QString &value) { m_curatorName = value; }
    QString globalPlaylistIdentifier() const { return m_globalPlaylistIdentifier; }
    void setGlobalPlaylistIdentifier(const QString &value) { m_globalPlaylistIdentifier = value; }

private:
    QString m_name;
    QString m_curatorName;
    QString m_globalPlaylistIdentifier;
};
