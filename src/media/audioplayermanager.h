#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/media/audioplayer.h>
#include <Quillon/platform/weakdelegate.h>

#include <QObject>
#include <QUrl>
#include <QVariant>

#include <memory>

class TULOAudioPlayerManager;
class TULOPlayButton;

class QUILLON_EXPORT TULOAudioPlayerManagerDataSource
{
public:
    virtual ~TULOAudioPlayerManagerDataSource() = default;
    // The play button showing `object` now, or nullptr.
    virtual TULOPlayButton *audioPlayerManagerPlayButtonForRepresentedObject(TULOAudioPlayerManager *manager,
                                                                             const QVariant &object) = 0;
};

// Lets a list of items preview one item at a time and drives the play button of the row
// that plays. Main thread only.
class QUILLON_EXPORT TULOAudioPlayerManager : public QObject, public TULOAudioPlayerDelegate
{
    Q_OBJECT

public:
    explicit TULOAudioPlayerManager(QObject *parent = nullptr);
    ~TULOAudioPlayerManager() override;

    TULOAudioPlayerManagerDataSource *dataSource() const { return m_dataSource.get(); }
    void setDataSource(TULOAudioPlayerManagerDataSource *dataSource) { m_dataSource.set(dataSource); }
    TULOAudioPlayer *player() const { return m_player.get(); }

    // Tapping the playing item stops it; tapping another switches to it.
    void playAsset(const QUrl &asset, const QVariant &representedObject);
    void stopPlayback();
    // For a row being shown or reused.
    void personalizePlayButton(TULOPlayButton *button, const QVariant &representedObject, bool animated);

    void audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status) override;
    void audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error) override;

private:
    TULOPlayButton *playButtonForPlayer(TULOAudioPlayer *player);
    void showPlaybackStatus(const TULOAudioPlayerStatus &status, TULOPlayButton *button, bool animated);

    TULOWeakDelegate<TULOAudioPlayerManagerDataSource> m_dataSource;
    std::unique_ptr<TULOAudioPlayer, TULODeleteLater> m_player;
};
