#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/library/mediamodelobject.h>

// A store radio station, known by its string identifier.
class QUILLON_EXPORT TULOMediaRadioStation : public TULOMediaModelObject
{
public:
    QString name() const { return m_name; }
    void setName(const QString &value) { m_name = value; }
    QString stationStringIdentifier() const { return m_stationStringIdentifier; }
    void setStationStringIdentifier(const QString &value) { m_stationStringIdentifier = value; }

private:
    QString m_name;
    QString m_stationStringIdentifier;
};
