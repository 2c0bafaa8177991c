#include <Quillon/media/audioplayermanager.h>

#include <Quillon/media/playbutton.h>

#include <limits>

namespace {

// "The same object as, or equal to": QVariant equality covers both for values and pointers.
bool sameObject(const QVariant &a, const QVariant &b)
{
    return a.isValid() && b.isValid() && a == b;
}

} // namespace

TULOAudioPlayerManager::TULOAudioPlayerManager(QObject *parent)
    : QObject(parent)
{
}

TULOAudioPlayerManager::~TULOAudioPlayerManager()
{
    if (m_player) {
        m_player->setDelegate(nullptr);
        m_player->stop();
    }
}

TULOPlayButton *TULOAudioPlayerManager::playButtonForPlayer(TULOAudioPlayer *player)
{
    TULOAudioPlayerManagerDataSource *source = m_dataSource.get();
    return player && source ? source->audioPlayerManagerPlayButtonForRepresentedObject(this, player->representedObject()) : nullptr;
}

void TULOAudioPlayerManager::playAsset(const QUrl &asset, const QVariant &representedObject)
{
    const QVariant current = m_player ? m_player->representedObject() : QVariant();
    if (m_player) {
        if (TULOPlayButton *button = playButtonForPlayer(m_player.get()))
            button->hideProgressAnimated(true);
        stopPlayback();
    }
    if (sameObject(current, representedObject))
        return;
    m_player.reset(new TULOAudioPlayer(asset, this));
    m_player->setDelegate(this);
    m_player->setRepresentedObject(representedObject);
    m_player->play();
}

void TULOAudioPlayerManager::stopPlayback()
{
    if (!m_player)
        return;
    if (TULOPlayButton *button = playButtonForPlayer(m_player.get()))
        button->hideProgressAnimated(true);
    m_player->setDelegate(nullptr);
    m_player->stop();
    m_player.reset();
}

void TULOAudioPlayerManager::audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status)
{
    TULOPlayButton *button = playButtonForPlayer(player);
    switch (status.state()) {
    case TULOAudioPlayerStatus::Ended:
    case TULOAudioPlayerStatus::PlayedToEnd:
        if (button)
            button->hideProgressAnimated(true);
        stopPlayback();
        break;
    case TULOAudioPlayerStatus::Paused:
        if (button)
            button->showPlayIndicator(true);
        break;
    case TULOAudioPlayerStatus::Playing:
        if (button)
            showPlaybackStatus(status, button, true);
        break;
    default:
        break;
    }
}

void TULOAudioPlayerManager::audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error)
{
    Q_UNUSED(error);
    if (!player || player != m_player.get())
        return; // a player that is no longer current
    if (TULOPlayButton *button = playButtonForPlayer(player))
        button->hideProgressAnimated(true);
    stopPlayback();
}

void TULOAudioPlayerManager::showPlaybackStatus(const TULOAudioPlayerStatus &status, TULOPlayButton *button, bool animated)
{
    if (status.duration() > std::numeric_limits<double>::epsilon())
        button->setProgress(float(status.currentTime() / status.duration()), animated && button->isShowingProgress());
    button->showPlayIndicator(false);
}

void TULOAudioPlayerManager::personalizePlayButton(TULOPlayButton *button, const QVariant &representedObject, bool animated)
{
    if (!button)
        return;
    if (!m_player || !sameObject(m_player->representedObject(), representedObject))
        button->hideProgressAnimated(animated);
    else
        showPlaybackStatus(m_player->status(), button, animated);
}
