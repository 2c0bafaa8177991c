#pragma once

#include <Quillon/platform/audio/mediaplayer.h>

#include <QElapsedTimer>
#include <QTimer>

#include <vector>

// A player for machines without a speaker: it decodes the item with libsndfile at the pace
// of the clock and plays it into nothing, reporting time, rate, duration, failure and end as
// the real output would.
class TULOMediaPlayerSndfile : public TULOMediaPlayer
{
    Q_OBJECT

public:
    explicit TULOMediaPlayerSndfile(const QUrl &url);
    ~TULOMediaPlayerSndfile() override;

    QUrl url() const override { return m_url; }
    void play() override;
    void pause() override;
    double currentTime() const override;
    double rate() const override { return m_playing ? 1.0 : 0.0; }
    double itemDuration() const override { return m_duration; }
    ItemStatus itemStatus() const override { return m_status; }
    TULOError itemError() const override { return m_error; }

private:
    void load();
    void decodeUpTo(double seconds);
    void tick();
    TULOError decodeError(const QString &text) const;

    QUrl m_url;
    void *m_file = nullptr; // SNDFILE
    int m_sampleRate = 0;
    int m_channels = 0;
    qint64 m_frames = 0;
    qint64 m_decoded = 0;
    double m_duration;
    ItemStatus m_status = ItemStatusUnknown;
    TULOError m_error;
    bool m_playing = false;
    bool m_wantsToPlay = false;
    double m_position = 0.0; // seconds played before the running stretch
    QElapsedTimer m_clock;
    QTimer m_ticker;
    std::vector<float> m_scratch;
};
