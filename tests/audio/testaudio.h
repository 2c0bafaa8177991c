#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

// Test audio: files written with libsndfile, and what outside tools make of files we write.

// 16-bit samples of a sine wave; `channels` interleaved copies.
std::vector<qint16> TULOTestSineSamples(double seconds, double frequency, double amplitude, int sampleRate = 44100,
                                        int channels = 1);
// Writes 16-bit PCM samples as a WAV file. False when the file cannot be written.
bool TULOTestWriteWav(const QString &path, const std::vector<qint16> &samples, int sampleRate = 44100, int channels = 1);

// What ffprobe reports for the first audio stream.
struct TULOTestProbe
{
    bool ok = false;
    QString formatName;
    QString codecName;
    int sampleRate = 0;
    int channels = 0;
    qint64 frames = -1;
    QString errorText;
};
TULOTestProbe TULOTestProbeFile(const QString &path);

// The file decoded by ffmpeg as 16-bit little-endian mono samples.
std::vector<qint16> TULOTestDecodeSamples(const QString &path, bool *ok = nullptr);

// CAF's own format flags from the "desc" chunk, read from the bytes; -1 when there is none.
qint64 TULOTestCAFDescFlags(const QString &path);
