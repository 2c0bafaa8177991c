#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/audio/voicecapture.h>

#include <QString>

#include <memory>

// Stream format of an audio file, as the audio file service describes it.
struct QUILLON_EXPORT TULOAudioStreamBasicDescription
{
    double sampleRate = 0.0;
    quint32 formatID = 0;
    quint32 formatFlags = 0;
    quint32 bytesPerPacket = 0;
    quint32 framesPerPacket = 0;
    quint32 bytesPerFrame = 0;
    quint32 channelsPerFrame = 0;
    quint32 bitsPerChannel = 0;
};

constexpr quint32 TULOAudioFileCAFType = 0x63616666; // "caff"
constexpr quint32 TULOLinearPCMFormatFlagIsSignedInteger = 1u << 2;
constexpr quint32 TULOLinearPCMFormatFlagIsPacked = 1u << 3;

// The format recordings are written in: 44.1 kHz mono 16-bit signed packed little-endian PCM.
QUILLON_EXPORT TULOAudioStreamBasicDescription TULOSoundBiteStreamFormat();

// An audio file being written, through libsndfile. CAF with 16-bit little-endian integer PCM is
// the format written; the file is closed (and its header completed) by close() or on release.
class QUILLON_EXPORT TULOAudioFile
{
public:
    // Creates the file at `path`, erasing one that is there. Nullptr on failure, with the
    // service's status as the error's code in TULOOSStatusErrorDomain.
    static std::unique_ptr<TULOAudioFile> create(const QString &path, quint32 fileType,
                                                 const TULOAudioStreamBasicDescription &format, TULOError *error = nullptr);
    ~TULOAudioFile();

    TULOAudioFile(const TULOAudioFile &) = delete;
    TULOAudioFile &operator=(const TULOAudioFile &) = delete;

    // Writes `*ioNumPackets` packets described by `descriptions` from `data` (`numBytes` long)
    // at packet index `startingPacket`; `*ioNumPackets` becomes the number written. A packet
    // that lies outside the data ends the write. Returns 0 or the service's status.
    qint64 writePackets(bool useCache, quint32 numBytes, const TULOAudioPacketDescription *descriptions,
                        qint64 startingPacket, quint32 *ioNumPackets, const void *data);

    qint64 close();
    bool isOpen() const { return m_file != nullptr; }
    QString path() const { return m_path; }

private:
    TULOAudioFile(void *file, const QString &path, const TULOAudioStreamBasicDescription &format);

    void *m_file = nullptr; // SNDFILE
    QString m_path;
    TULOAudioStreamBasicDescription m_format;
    qint64 m_writePosition = 0;
};
