#include <Quillon/platform/audio/voicecapture_sndfile_p.h>

#include <QFileInfo>

#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

constexpr double CaptureRate = 44100.0;

// Reads the source as mono floats at the capture rate. Resampling is linear interpolation,
// plenty for a voice fed in place of a microphone.
class SourceReader
{
public:
    explicit SourceReader(SNDFILE *file, const SF_INFO &info)
        : m_file(file), m_channels(std::max(1, info.channels)), m_step(double(info.samplerate) / CaptureRate)
    {
    }

    // Fills up to `count` samples; returns how many (0 at the end).
    qsizetype read(qint16 *out, qsizetype count)
    {
        qsizetype produced = 0;
        while (produced < count) {
            const auto index = qint64(m_position);
            ensure(index);
            const qint64 local = index - m_sourceStart;
            if (local >= qint64(m_source.size()))
                break;
            const float a = m_source[size_t(local)];
            const float b = local + 1 < qint64(m_source.size()) ? m_source[size_t(local + 1)] : a;
            const double frac = m_position - double(index);
            const double v = std::clamp(a + (b - a) * frac, -1.0, 32767.0 / 32768.0);
            out[produced++] = qint16(std::lround(v * 32768.0));
            m_position += m_step;
        }
        return produced;
    }

private:
    // Makes source frames `index` and `index + 1` available unless the file ends first.
    void ensure(qint64 index)
    {
        while (!m_atEnd && m_sourceStart + qint64(m_source.size()) <= index + 1) {
            const qint64 drop = std::clamp<qint64>(index - m_sourceStart, 0, qint64(m_source.size()));
            m_source.erase(m_source.begin(), m_source.begin() + drop);
            m_sourceStart += drop;
            std::vector<float> frames(size_t(4096 * m_channels));
            const sf_count_t got = sf_readf_float(m_file, frames.data(), 4096);
            if (got <= 0) {
                m_atEnd = true;
                return;
            }
            for (sf_count_t f = 0; f < got; ++f) {
                float sum = 0.0f;
                for (int c = 0; c < m_channels; ++c)
                    sum += frames[size_t(f * m_channels + c)];
                m_source.push_back(sum / float(m_channels));
            }
        }
    }

    SNDFILE *m_file;
    int m_channels;
    double m_step;
    double m_position = 0.0;
    std::vector<float> m_source;
    qint64 m_sourceStart = 0;
    bool m_atEnd = false;
};

} // namespace

bool TULOVoiceCapture::checkCaptureSourceFile(const QString &path, TULOError *error)
{
    const auto fail = [&](const QString &description) {
        TULOSetError(error, TULOError(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                      {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                                       {QString::fromLatin1(TULOFilePathErrorKey), path}}));
        return false;
    };
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable())
        return fail(QStringLiteral("The capture source file %1 cannot be read.").arg(path));
    if (info.size() == 0)
        return fail(QStringLiteral("The capture source file %1 is not audio: it is empty.").arg(path));
    SF_INFO format{};
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_READ, &format);
    if (!file) {
        return fail(QStringLiteral("The capture source file %1 is not audio (%2).")
                        .arg(path, QString::fromLocal8Bit(sf_strerror(nullptr))));
    }
    sf_close(file);
    // A header with no frames after it has no sound to play into the capture.
    if (format.samplerate <= 0 || format.channels <= 0 || format.frames <= 0)
        return fail(QStringLiteral("The capture source file %1 is not audio: it has an audio header but no sound.").arg(path));
    return true;
}

TULOVoiceCaptureSndfile::TULOVoiceCaptureSndfile(const QString &path, const TULOVoiceCaptureContext &context)
    : TULOVoiceCapture(context), m_path(path)
{
}

TULOVoiceCaptureSndfile::~TULOVoiceCaptureSndfile()
{
    setRecordDelegate(nullptr);
    stopRecording();
    finishThread();
}

bool TULOVoiceCaptureSndfile::prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error)
{
    if (!checkSettings(settings, error))
        return false;
    // Only what a microphone would tell at this point; a source that turns out to hold no audio
    // fails to start, as a device would (callers that want to know first ask
    // checkCaptureSourceFile()).
    const QFileInfo info(m_path);
    if (!info.isFile() || !info.isReadable()) {
        TULOSetError(error, TULOError(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                      {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The capture source file %1 cannot be read.").arg(m_path)},
                                       {QString::fromLatin1(TULOFilePathErrorKey), m_path}}));
        return false;
    }
    m_prepared = true;
    return true;
}

bool TULOVoiceCaptureSndfile::startRecording(TULOError *error)
{
    if (!m_prepared || m_thread.joinable()) {
        TULOSetError(error, TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                                       m_prepared ? QStringLiteral("The capture is already running.")
                                                                  : QStringLiteral("The capture was not prepared.")));
        return false;
    }
    {
        std::lock_guard lock(m_mutex);
        m_stopRequested = false;
    }
    m_thread = std::thread([this] { run(); });
    return true;
}

void TULOVoiceCaptureSndfile::stopRecording()
{
    std::lock_guard lock(m_mutex);
    m_stopRequested = true;
    m_wake.notify_all();
}

void TULOVoiceCaptureSndfile::finishThread()
{
    if (m_thread.joinable())
        m_thread.join();
}

void TULOVoiceCaptureSndfile::updateMeters()
{
    m_meteredPower = isMeteringEnabled() ? m_latestPower.load() : TULOVoiceCaptureMinimumPower;
}

float TULOVoiceCaptureSndfile::averagePowerForChannel(int channel) const
{
    return channel == 0 ? m_meteredPower : TULOVoiceCaptureMinimumPower;
}

void TULOVoiceCaptureSndfile::run()
{
    SF_INFO info{};
    SNDFILE *file = sf_open(QFile::encodeName(m_path).constData(), SFM_READ, &info);
    if (!file || info.samplerate <= 0) {
        if (file)
            sf_close(file);
        notifyStarted(false); // the device never began
        return;
    }
    notifyStarted(true);

    SourceReader reader(file, info);
    std::vector<qint16> samples(BufferFrames);
    const auto start = std::chrono::steady_clock::now();
    qint64 delivered = 0;
    bool lost = false;
    for (;;) {
        const qsizetype count = reader.read(samples.data(), BufferFrames);
        if (count == 0)
            break;
        // A microphone hands over a period once it has been captured.
        const auto due = start + std::chrono::microseconds(qint64((delivered + count) * 1e6 / CaptureRate));
        {
            std::unique_lock lock(m_mutex);
            if (m_wake.wait_until(lock, due, [this] { return m_stopRequested; }))
                break;
        }
        // The source file is the device: once it is gone the device is unplugged, and the
        // period it was capturing is lost with it.
        if (!QFileInfo::exists(m_path)) {
            lost = true;
            break;
        }
        m_latestPower = averagePowerOfSamples(samples.data(), count);
        notifyBuffer(TULOVoiceCaptureBuffer::withSamples(samples.data(), count));
        delivered += count;
    }
    sf_close(file);
    m_latestPower = TULOVoiceCaptureMinimumPower;
    notifyStopped(lost ? TULOVoiceCaptureDeviceLostReason : 0);
}
