#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/media/audioplayerstatus.h>
#include <Quillon/platform/weakdelegate.h>

#include <QObject>
#include <QUrl>
#include <QVariant>

#include <memory>

class QTimer;
class TULOAudioPlayer;
class TULOMediaPlayer;

// Releases a QObject from the event loop, so that one dropped inside its own signal (a
// delegate stopping playback from a status update) is not deleted under the emitter.
struct QUILLON_EXPORT TULODeleteLater
{
    void operator()(QObject *object) const
    {
        if (object)
            object->deleteLater();
    }
};

class QUILLON_EXPORT TULOAudioPlayerDelegate
{
public:
    virtual ~TULOAudioPlayerDelegate() = default;
    // `status` is the player's status as a copy.
    virtual void audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status)
    {
        Q_UNUSED(player);
        Q_UNUSED(status);
    }
    virtual void audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error)
    {
        Q_UNUSED(player);
        Q_UNUSED(error);
    }
};

// Plays one media asset and reports its status to the delegate on every display refresh
// (usesDisplayRefresh) or once a second, starting when playback starts. Main thread only.
class QUILLON_EXPORT TULOAudioPlayer : public QObject
{
    Q_OBJECT

public:
    explicit TULOAudioPlayer(const QUrl &asset, QObject *parent = nullptr);
    ~TULOAudioPlayer() override;

    QUrl asset() const { return m_asset; }
    TULOAudioPlayerStatus status() const { return m_status; }

    TULOAudioPlayerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOAudioPlayerDelegate *delegate) { m_delegate.set(delegate); }
    QVariant representedObject() const { return m_representedObject; }
    void setRepresentedObject(const QVariant &object) { m_representedObject = object; }
    bool usesDisplayRefresh() const { return m_usesDisplayRefresh; }
    void setUsesDisplayRefresh(bool uses) { m_usesDisplayRefresh = uses; }

    void play();
    void pause();
    void stop();
    void togglePlayback();

    // Updates per second with usesDisplayRefresh: the primary screen's refresh rate.
    static double displayRefreshRate();

private:
    void playbackRateChanged();
    void displayRefreshTick();
    void updateStatusWithCurrentTime(double seconds);
    void setPlayerState(qint64 state);
    void sendStatusDidChange();
    void failWithError(const TULOError &error);
    void destroyPlayer();
    void itemPlayedToEndNotification();
    void itemFailedToPlayToEndNotification(const TULOError &error);

    QUrl m_asset;
    TULOAudioPlayerStatus m_status;
    TULOWeakDelegate<TULOAudioPlayerDelegate> m_delegate;
    QVariant m_representedObject;
    bool m_usesDisplayRefresh = false;
    std::unique_ptr<TULOMediaPlayer, TULODeleteLater> m_player;
    std::unique_ptr<QTimer, TULODeleteLater> m_displayRefreshTimer;
    std::unique_ptr<QTimer, TULODeleteLater> m_periodicTimeObserver;
};
