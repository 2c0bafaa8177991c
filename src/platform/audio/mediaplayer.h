#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QObject>
#include <QUrl>

#include <memory>

// The platform's media player for one item: current time, rate, the item's duration, its
// failure and its end. Lives on the main thread; signals come from the main thread.
class QUILLON_EXPORT TULOMediaPlayer : public QObject
{
    Q_OBJECT

public:
    enum ItemStatus : qint64 { ItemStatusUnknown = 0, ItemStatusReadyToPlay = 1, ItemStatusFailed = 2 };

    // A player over Qt Multimedia (the multimedia module) for the asset at `url`; where no
    // audio output or no module exists (or QUILLON_AUDIO_OUTPUT=none), one that decodes with
    // libsndfile and plays into nothing.
    static std::unique_ptr<TULOMediaPlayer> create(const QUrl &url);

    ~TULOMediaPlayer() override;

    virtual QUrl url() const = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    // Seconds.
    virtual double currentTime() const = 0;
    // The rate of playback: 0 while paused or stopped.
    virtual double rate() const = 0;
    // Seconds; NaN while unknown.
    virtual double itemDuration() const = 0;
    virtual ItemStatus itemStatus() const = 0;
    virtual TULOError itemError() const = 0;

Q_SIGNALS:
    void itemStatusChanged(qint64 status);
    // Playback started or stopped: rate() moved from 0 or to 0.
    void rateChanged();
    void itemPlayedToEnd();
    void itemFailedToPlayToEnd(const TULOError &error);

protected:
    TULOMediaPlayer() = default;
};
