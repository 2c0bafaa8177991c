#include <Quillon/platform/audio/mediaplayer.h>

#include <Quillon/platform/audio/mediaplayer_sndfile_p.h>
#include <Quillon/platform/multimediamodule_p.h>

std::unique_ptr<TULOMediaPlayer> TULOMediaPlayer::create(const QUrl &url)
{
    // Without a speaker (or without the multimedia module) the item plays into nothing at the
    // pace of the clock.
    if (qEnvironmentVariable("QUILLON_AUDIO_OUTPUT") != QLatin1String("none")) {
        TULOMultimediaModule *multimedia = TULOMultimediaModule::shared();
        if (multimedia && multimedia->hasAudioOutput())
            return multimedia->makePlayer(url);
    }
    return std::make_unique<TULOMediaPlayerSndfile>(url);
}

TULOMediaPlayer::~TULOMediaPlayer() = default;
