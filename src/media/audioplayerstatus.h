#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

// A player's state at its last update. A copy carries all four fields.
class QUILLON_EXPORT TULOAudioPlayerStatus
{
public:
    enum State : qint64 {
        Idle = 0,        // nothing played yet
        Playing = 1,
        Paused = 2,
        Ended = 3,       // reserved: never set by the player; clients treat it as PlayedToEnd
        PlayedToEnd = 4,
    };

    double currentTime() const { return m_currentTime; }
    void setCurrentTime(double seconds) { m_currentTime = seconds; }
    double duration() const { return m_duration; }
    void setDuration(double seconds) { m_duration = seconds; }
    TULOError error() const { return m_error; }
    void setError(const TULOError &error) { m_error = error; }
    qint64 state() const { return m_state; }
    void setState(qint64 state) { m_state = state; }

    bool operator==(const TULOAudioPlayerStatus &) const = default;

private:
    double m_currentTime = 0.0;
    double m_duration = 0.0;
    TULOError m_error;
    qint64 m_state = Idle;
};
