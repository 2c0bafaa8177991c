#include "mediaplayer_qmediaplayer.h"

#include <Quillon/platform/audio/voicecapture.h>

#include <cmath>
#include <limits>

TULOMediaPlayerQMediaPlayer::TULOMediaPlayerQMediaPlayer(const QUrl &url)
    : m_url(url)
{
    m_player.setAudioOutput(&m_output);
    connect(&m_player, &QMediaPlayer::mediaStatusChanged, this, &TULOMediaPlayerQMediaPlayer::mediaStatusChanged);
    connect(&m_player, &QMediaPlayer::errorOccurred, this, &TULOMediaPlayerQMediaPlayer::errorOccurred);
    connect(&m_player, &QMediaPlayer::playbackStateChanged, this, &TULOMediaPlayer::rateChanged);
    m_player.setSource(url);
}

TULOMediaPlayerQMediaPlayer::~TULOMediaPlayerQMediaPlayer()
{
    m_player.disconnect(this);
    m_player.stop();
}

void TULOMediaPlayerQMediaPlayer::play()
{
    m_played = true;
    m_player.play();
}

void TULOMediaPlayerQMediaPlayer::pause()
{
    m_player.pause();
}

double TULOMediaPlayerQMediaPlayer::currentTime() const
{
    return double(m_player.position()) / 1000.0;
}

double TULOMediaPlayerQMediaPlayer::rate() const
{
    return m_player.playbackState() == QMediaPlayer::PlayingState ? m_player.playbackRate() : 0.0;
}

double TULOMediaPlayerQMediaPlayer::itemDuration() const
{
    const qint64 ms = m_player.duration();
    return ms > 0 ? double(ms) / 1000.0 : std::numeric_limits<double>::quiet_NaN();
}

void TULOMediaPlayerQMediaPlayer::mediaStatusChanged(QMediaPlayer::MediaStatus status)
{
    switch (status) {
    case QMediaPlayer::LoadedMedia:
    case QMediaPlayer::BufferedMedia:
        if (m_status == ItemStatusUnknown) {
            m_status = ItemStatusReadyToPlay;
            Q_EMIT itemStatusChanged(m_status);
        }
        break;
    case QMediaPlayer::EndOfMedia:
        Q_EMIT itemPlayedToEnd();
        break;
    case QMediaPlayer::InvalidMedia:
        if (m_status != ItemStatusFailed) {
            m_status = ItemStatusFailed;
            if (m_error.isNull())
                m_error = TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorCannotOpen,
                                                     QStringLiteral("The media at %1 cannot be played.").arg(m_url.toString()));
            Q_EMIT itemStatusChanged(m_status);
        }
        break;
    default:
        break;
    }
}

void TULOMediaPlayerQMediaPlayer::errorOccurred(QMediaPlayer::Error error, const QString &text)
{
    if (error == QMediaPlayer::NoError)
        return;
    m_error = TULOError(TULOOSStatusErrorDomain, TULOOSStatusErrorPlaybackBase - qint64(error),
                        {{QString::fromLatin1(TULOLocalizedDescriptionKey), text.isEmpty() ? QStringLiteral("Playback failed.") : text},
                         {QString::fromLatin1(TULOURLErrorKey), m_url}});
    if (m_status == ItemStatusReadyToPlay && m_played) {
        Q_EMIT itemFailedToPlayToEnd(m_error);
    } else if (m_status != ItemStatusFailed) {
        m_status = ItemStatusFailed;
        Q_EMIT itemStatusChanged(m_status);
    }
}
