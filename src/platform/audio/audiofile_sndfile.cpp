#include <Quillon/platform/audio/audiofile.h>

#include <QFile>

#include <sndfile.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace {

// The service's status for a failure: errno for system failures, else libsndfile's code.
TULOError fileError(qint64 status, const QString &path, const QString &text)
{
    return TULOError(TULOOSStatusErrorDomain, status,
                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), text},
                      {QString::fromLatin1(TULOFilePathErrorKey), path}});
}

} // namespace

TULOAudioStreamBasicDescription TULOSoundBiteStreamFormat()
{
    TULOAudioStreamBasicDescription format;
    format.sampleRate = 44100.0;
    format.formatID = TULOAudioFormatLinearPCM;
    format.formatFlags = TULOLinearPCMFormatFlagIsSignedInteger | TULOLinearPCMFormatFlagIsPacked; // 12
    format.bytesPerPacket = 2;
    format.framesPerPacket = 1;
    format.bytesPerFrame = 2;
    format.channelsPerFrame = 1;
    format.bitsPerChannel = 16;
    return format;
}

std::unique_ptr<TULOAudioFile> TULOAudioFile::create(const QString &path, quint32 fileType,
                                                     const TULOAudioStreamBasicDescription &format, TULOError *error)
{
    const bool supported = fileType == TULOAudioFileCAFType && format.formatID == TULOAudioFormatLinearPCM
        && format.bitsPerChannel == 16 && format.framesPerPacket == 1 && format.channelsPerFrame >= 1
        && format.bytesPerFrame == 2 * format.channelsPerFrame && format.bytesPerPacket == format.bytesPerFrame
        && (format.formatFlags & TULOLinearPCMFormatFlagIsSignedInteger) && format.sampleRate >= 1.0;
    if (!supported) {
        TULOSetError(error, fileError(TULOOSStatusErrorFormatUnsupported, path,
                                      QStringLiteral("Audio files are written as CAF with 16-bit integer PCM only.")));
        return nullptr;
    }
    // The in-memory flags say little-endian packed integers; libsndfile turns that into CAF's
    // own "little-endian" flag in the desc chunk.
    SF_INFO info{};
    info.samplerate = int(format.sampleRate);
    info.channels = int(format.channelsPerFrame);
    info.format = SF_FORMAT_CAF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    errno = 0;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file) {
        const int sfStatus = sf_error(nullptr);
        const int systemStatus = errno;
        const qint64 status = sfStatus == SF_ERR_SYSTEM && systemStatus ? systemStatus : sfStatus;
        TULOSetError(error, fileError(status ? status : -1, path,
                                      QStringLiteral("The audio file %1 could not be created: %2")
                                          .arg(path, QString::fromLocal8Bit(sf_strerror(nullptr)))));
        return nullptr;
    }
    return std::unique_ptr<TULOAudioFile>(new TULOAudioFile(file, path, format));
}

TULOAudioFile::TULOAudioFile(void *file, const QString &path, const TULOAudioStreamBasicDescription &format)
    : m_file(file), m_path(path), m_format(format)
{
}

TULOAudioFile::~TULOAudioFile()
{
    close();
}

qint64 TULOAudioFile::writePackets(bool useCache, quint32 numBytes, const TULOAudioPacketDescription *descriptions,
                                   qint64 startingPacket, quint32 *ioNumPackets, const void *data)
{
    Q_UNUSED(useCache); // libsndfile writes through; nothing is cached either way
    if (!ioNumPackets)
        return -50; // parameter error
    const quint32 wanted = *ioNumPackets;
    *ioNumPackets = 0;
    if (!m_file)
        return -38; // file not open
    if (wanted == 0)
        return 0;
    if (!data || startingPacket < 0)
        return -50;

    // Gather the packets into one run of frames; a description that does not fit ends it.
    const quint32 packetBytes = m_format.bytesPerPacket;
    std::vector<char> frames;
    frames.reserve(size_t(wanted) * packetBytes);
    const auto *bytes = static_cast<const char *>(data);
    quint32 usable = 0;
    for (; usable < wanted; ++usable) {
        qint64 offset = qint64(usable) * packetBytes;
        quint32 size = packetBytes;
        if (descriptions) {
            offset = descriptions[usable].startOffset;
            size = descriptions[usable].dataByteSize;
        }
        if (offset < 0 || size != packetBytes || offset + size > numBytes)
            break;
        frames.insert(frames.end(), bytes + offset, bytes + offset + size);
    }
    if (usable == 0)
        return -50;

    auto *file = static_cast<SNDFILE *>(m_file);
    if (startingPacket != m_writePosition) {
        if (sf_seek(file, startingPacket, SEEK_SET | SFM_WRITE) < 0)
            return sf_error(file) ? sf_error(file) : -40;
        m_writePosition = startingPacket;
    }
    const sf_count_t frameCount = sf_count_t(usable);
    const sf_count_t written = sf_writef_short(file, reinterpret_cast<const short *>(frames.data()), frameCount);
    const sf_count_t good = std::max<sf_count_t>(0, written);
    m_writePosition += good;
    *ioNumPackets = quint32(good);
    if (good < frameCount) {
        const int status = sf_error(file);
        return status == SF_ERR_SYSTEM && errno ? errno : (status ? status : -1);
    }
    return usable < wanted ? -50 : 0;
}

qint64 TULOAudioFile::close()
{
    if (!m_file)
        return 0;
    const int status = sf_close(static_cast<SNDFILE *>(m_file));
    m_file = nullptr;
    return status;
}
