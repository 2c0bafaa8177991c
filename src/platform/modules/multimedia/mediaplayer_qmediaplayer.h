#pragma once

#include <Quillon/platform/audio/mediaplayer.h>

#include <QAudioOutput>
#include <QMediaPlayer>

// Qt Multimedia's player. It reports an item's failure before playback as a failed item, and
// a failure during playback as a failure to play to the end.
class TULOMediaPlayerQMediaPlayer : public TULOMediaPlayer
{
    Q_OBJECT

public:
    explicit TULOMediaPlayerQMediaPlayer(const QUrl &url);
    ~TULOMediaPlayerQMediaPlayer() override;

    QUrl url() const override { return m_url; }
    void play() override;
    void pause() override;
    double currentTime() const override;
    double rate() const override;
    double itemDuration() const override;
    ItemStatus itemStatus() const override { return m_status; }
    TULOError itemError() const override { return m_error; }

private:
    void mediaStatusChanged(QMediaPlayer::MediaStatus status);
    void errorOccurred(QMediaPlayer::Error error, const QString &text);

    QUrl m_url;
    QMediaPlayer m_player;
    QAudioOutput m_output;
    ItemStatus m_status = ItemStatusUnknown;
    TULOError m_error;
    bool m_played = false;
};
