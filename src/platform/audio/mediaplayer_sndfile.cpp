#include <Quillon/platform/audio/mediaplayer_sndfile_p.h>

#include <Quillon/platform/audio/voicecapture.h>

#include <QFile>

#include <sndfile.h>

#include <cmath>
#include <limits>

TULOMediaPlayerSndfile::TULOMediaPlayerSndfile(const QUrl &url)
    : m_url(url), m_duration(std::numeric_limits<double>::quiet_NaN())
{
    m_ticker.setInterval(20); // a period of the silent output
    connect(&m_ticker, &QTimer::timeout, this, &TULOMediaPlayerSndfile::tick);
    // Items load asynchronously, as with a real player.
    QTimer::singleShot(0, this, &TULOMediaPlayerSndfile::load);
}

TULOMediaPlayerSndfile::~TULOMediaPlayerSndfile()
{
    if (m_file)
        sf_close(static_cast<SNDFILE *>(m_file));
}

TULOError TULOMediaPlayerSndfile::decodeError(const QString &text) const
{
    return TULOError(TULOOSStatusErrorDomain, TULOOSStatusErrorCannotOpen,
                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), text}, {QString::fromLatin1(TULOURLErrorKey), m_url}});
}

void TULOMediaPlayerSndfile::load()
{
    if (m_status != ItemStatusUnknown)
        return;
    SF_INFO info{};
    SNDFILE *file = m_url.isLocalFile() ? sf_open(QFile::encodeName(m_url.toLocalFile()).constData(), SFM_READ, &info) : nullptr;
    if (!file || info.samplerate <= 0 || info.channels <= 0) {
        if (file)
            sf_close(file);
        m_error = decodeError(QStringLiteral("The media at %1 cannot be played: %2")
                                  .arg(m_url.toDisplayString(), QString::fromLocal8Bit(sf_strerror(nullptr))));
        m_status = ItemStatusFailed;
        Q_EMIT itemStatusChanged(m_status);
        return;
    }
    m_file = file;
    m_sampleRate = info.samplerate;
    m_channels = info.channels;
    m_frames = info.frames;
    m_duration = double(info.frames) / double(info.samplerate);
    m_status = ItemStatusReadyToPlay;
    Q_EMIT itemStatusChanged(m_status);
    if (m_wantsToPlay)
        play();
}

double TULOMediaPlayerSndfile::currentTime() const
{
    double t = m_position;
    if (m_playing)
        t += double(m_clock.nsecsElapsed()) / 1e9;
    return std::isnan(m_duration) ? t : std::min(t, m_duration);
}

void TULOMediaPlayerSndfile::play()
{
    m_wantsToPlay = true;
    if (m_status != ItemStatusReadyToPlay || m_playing)
        return;
    if (currentTime() >= m_duration) {
        m_position = 0.0; // played to the end: start over
        sf_seek(static_cast<SNDFILE *>(m_file), 0, SEEK_SET);
        m_decoded = 0;
    }
    m_playing = true;
    m_clock.start();
    m_ticker.start();
    Q_EMIT rateChanged();
}

void TULOMediaPlayerSndfile::pause()
{
    m_wantsToPlay = false;
    if (!m_playing)
        return;
    m_position = currentTime();
    m_playing = false;
    m_ticker.stop();
    Q_EMIT rateChanged();
}

void TULOMediaPlayerSndfile::decodeUpTo(double seconds)
{
    const qint64 target = std::min(m_frames, qint64(seconds * m_sampleRate));
    while (m_decoded < target) {
        const qint64 chunk = std::min<qint64>(target - m_decoded, 4096);
        m_scratch.resize(size_t(chunk * m_channels));
        const sf_count_t got = sf_readf_float(static_cast<SNDFILE *>(m_file), m_scratch.data(), chunk);
        if (got <= 0) {
            // The data ends before the header said it would.
            m_position = double(m_decoded) / m_sampleRate;
            m_playing = false;
            m_ticker.stop();
            Q_EMIT rateChanged();
            m_error = decodeError(QStringLiteral("The media at %1 ended unexpectedly.").arg(m_url.toDisplayString()));
            Q_EMIT itemFailedToPlayToEnd(m_error);
            return;
        }
        m_decoded += got;
    }
}

void TULOMediaPlayerSndfile::tick()
{
    if (!m_playing)
        return;
    const double now = currentTime();
    decodeUpTo(now);
    if (!m_playing)
        return;
    if (now >= m_duration) {
        m_position = m_duration;
        m_playing = false;
        m_wantsToPlay = false;
        m_ticker.stop();
        Q_EMIT rateChanged();
        Q_EMIT itemPlayedToEnd();
    }
}
