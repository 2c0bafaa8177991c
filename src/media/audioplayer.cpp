#include <Quillon/media/audioplayer.h>

#include <Quillon/platform/audio/mediaplayer.h>

#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <cmath>
#include <limits>

namespace {

constexpr double PlayingRateThreshold = 1.1920929e-7; // single-precision epsilon

} // namespace

TULOAudioPlayer::TULOAudioPlayer(const QUrl &asset, QObject *parent)
    : QObject(parent), m_asset(asset)
{
}

TULOAudioPlayer::~TULOAudioPlayer()
{
    destroyPlayer();
}

double TULOAudioPlayer::displayRefreshRate()
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        if (const QScreen *screen = QGuiApplication::primaryScreen()) {
            if (screen->refreshRate() >= 1.0)
                return screen->refreshRate();
        }
    }
    return 60.0;
}

void TULOAudioPlayer::play()
{
    if (!m_player) {
        m_player.reset(TULOMediaPlayer::create(m_asset).release());
        m_player->setParent(this); // goes with the player if the event loop never runs again
        connect(m_player.get(), &TULOMediaPlayer::itemStatusChanged, this, [this](qint64 status) {
            if (status == TULOMediaPlayer::ItemStatusFailed)
                failWithError(m_player->itemError());
        });
        if (m_usesDisplayRefresh) {
            m_displayRefreshTimer.reset(new QTimer(this));
            m_displayRefreshTimer->setTimerType(Qt::PreciseTimer);
            m_displayRefreshTimer->setInterval(int(std::lround(1000.0 / displayRefreshRate())));
            connect(m_displayRefreshTimer.get(), &QTimer::timeout, this, &TULOAudioPlayer::displayRefreshTick);
            m_displayRefreshTimer->start();
        } else {
            m_periodicTimeObserver.reset(new QTimer(this));
            m_periodicTimeObserver->setInterval(1000);
            connect(m_periodicTimeObserver.get(), &QTimer::timeout, this, [weak = QPointer<TULOAudioPlayer>(this)] {
                if (weak && weak->m_player)
                    weak->updateStatusWithCurrentTime(weak->m_player->currentTime());
            });
            m_periodicTimeObserver->start();
            // The first update comes when playback starts, and the second a second later.
            connect(m_player.get(), &TULOMediaPlayer::rateChanged, this, &TULOAudioPlayer::playbackRateChanged,
                    Qt::QueuedConnection);
        }
        // Queued: the player's notifications are handled on the main queue, never inside it.
        connect(m_player.get(), &TULOMediaPlayer::itemFailedToPlayToEnd, this,
                &TULOAudioPlayer::itemFailedToPlayToEndNotification, Qt::QueuedConnection);
        connect(m_player.get(), &TULOMediaPlayer::itemPlayedToEnd, this, &TULOAudioPlayer::itemPlayedToEndNotification,
                Qt::QueuedConnection);
    }
    m_player->play();
}

void TULOAudioPlayer::pause()
{
    if (m_player)
        m_player->pause();
}

void TULOAudioPlayer::stop()
{
    pause();
    destroyPlayer();
}

void TULOAudioPlayer::togglePlayback()
{
    if (m_status.state() == TULOAudioPlayerStatus::Playing)
        pause();
    else
        play();
}

void TULOAudioPlayer::playbackRateChanged()
{
    if (!m_player || !m_periodicTimeObserver || !(m_player->rate() > PlayingRateThreshold))
        return;
    m_periodicTimeObserver->start();
    updateStatusWithCurrentTime(m_player->currentTime());
}

void TULOAudioPlayer::displayRefreshTick()
{
    updateStatusWithCurrentTime(m_player ? m_player->currentTime() : 0.0);
}

void TULOAudioPlayer::updateStatusWithCurrentTime(double seconds)
{
    m_status.setCurrentTime(seconds);
    const double duration = m_player ? m_player->itemDuration() : std::numeric_limits<double>::quiet_NaN();
    m_status.setDuration(std::isnan(duration) ? seconds : std::max(duration, seconds));
    const double rate = m_player ? m_player->rate() : 0.0;
    m_status.setState(rate > PlayingRateThreshold ? TULOAudioPlayerStatus::Playing : TULOAudioPlayerStatus::Paused);
    sendStatusDidChange();
}

void TULOAudioPlayer::setPlayerState(qint64 state)
{
    if (m_status.state() == state)
        return;
    m_status.setState(state);
    sendStatusDidChange();
}

void TULOAudioPlayer::sendStatusDidChange()
{
    if (TULOAudioPlayerDelegate *delegate = m_delegate.get()) {
        const TULOAudioPlayerStatus copy = m_status;
        delegate->audioPlayerDidChangeStatus(this, copy);
    }
}

void TULOAudioPlayer::failWithError(const TULOError &error)
{
    m_status.setError(error);
    if (TULOAudioPlayerDelegate *delegate = m_delegate.get())
        delegate->audioPlayerDidFailWithError(this, error);
}

void TULOAudioPlayer::itemPlayedToEndNotification()
{
    if (!m_player)
        return; // posted before the player was torn down
    setPlayerState(TULOAudioPlayerStatus::PlayedToEnd);
}

void TULOAudioPlayer::itemFailedToPlayToEndNotification(const TULOError &error)
{
    if (!m_player)
        return;
    failWithError(error);
}

void TULOAudioPlayer::destroyPlayer()
{
    if (m_player) {
        m_player->disconnect(this);
        m_player->pause();
    }
    if (m_displayRefreshTimer) {
        m_displayRefreshTimer->stop();
        m_displayRefreshTimer.reset();
    }
    if (m_periodicTimeObserver) {
        m_periodicTimeObserver->stop();
        m_periodicTimeObserver.reset();
    }
    m_player.reset();
}
