#include "testaudio.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtEndian>

#include <sndfile.h>

#include <cmath>
#include <numbers>

std::vector<qint16> TULOTestSineSamples(double seconds, double frequency, double amplitude, int sampleRate, int channels)
{
    const auto frames = qint64(std::llround(seconds * sampleRate));
    std::vector<qint16> samples;
    samples.reserve(size_t(frames * channels));
    for (qint64 i = 0; i < frames; ++i) {
        const double v = amplitude * std::sin(2.0 * std::numbers::pi * frequency * double(i) / sampleRate);
        for (int c = 0; c < channels; ++c)
            samples.push_back(qint16(std::lround(v * 32767.0)));
    }
    return samples;
}

bool TULOTestWriteWav(const QString &path, const std::vector<qint16> &samples, int sampleRate, int channels)
{
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    const sf_count_t frames = sf_count_t(samples.size()) / channels;
    const bool ok = sf_writef_short(file, samples.data(), frames) == frames;
    return sf_close(file) == 0 && ok;
}

TULOTestProbe TULOTestProbeFile(const QString &path)
{
    TULOTestProbe probe;
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-count_packets"),
                                               QStringLiteral("-show_streams"), QStringLiteral("-show_format"),
                                               QStringLiteral("-of"), QStringLiteral("json"), path});
    if (!ffprobe.waitForFinished(60000) || ffprobe.exitCode() != 0) {
        probe.errorText = QString::fromLocal8Bit(ffprobe.readAllStandardError());
        return probe;
    }
    const QJsonObject root = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
    const QJsonArray streams = root.value(QStringLiteral("streams")).toArray();
    if (streams.isEmpty()) {
        probe.errorText = QStringLiteral("no streams");
        return probe;
    }
    const QJsonObject stream = streams.first().toObject();
    probe.formatName = root.value(QStringLiteral("format")).toObject().value(QStringLiteral("format_name")).toString();
    probe.codecName = stream.value(QStringLiteral("codec_name")).toString();
    probe.sampleRate = stream.value(QStringLiteral("sample_rate")).toString().toInt();
    probe.channels = stream.value(QStringLiteral("channels")).toInt();
    // One packet per frame in 16-bit mono PCM as CAF stores it; duration_ts counts frames too.
    bool haveFrames = false;
    probe.frames = stream.value(QStringLiteral("duration_ts")).toVariant().toLongLong(&haveFrames);
    if (!haveFrames) {
        // ffprobe gives an empty stream no duration; sndfile-info counts its frames.
        QProcess info;
        info.start(QStringLiteral("sndfile-info"), {path});
        info.waitForFinished(60000);
        const QString text = QString::fromLocal8Bit(info.readAllStandardOutput());
        const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("^Frames\\s*:\\s*(\\d+)$"),
                                                                 QRegularExpression::MultilineOption).match(text);
        probe.frames = match.hasMatch() ? match.captured(1).toLongLong() : -1;
    }
    probe.ok = true;
    return probe;
}

std::vector<qint16> TULOTestDecodeSamples(const QString &path, bool *ok)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                                             QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-ac"),
                                             QStringLiteral("1"), QStringLiteral("-")});
    const bool finished = ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0;
    if (ok)
        *ok = finished;
    const QByteArray bytes = ffmpeg.readAllStandardOutput();
    std::vector<qint16> samples(size_t(bytes.size()) / 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = qFromLittleEndian<qint16>(bytes.constData() + 2 * i);
    return samples;
}

qint64 TULOTestCAFDescFlags(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray bytes = file.readAll();
    if (!bytes.startsWith("caff"))
        return -1;
    // File header: "caff", version, flags (8 bytes); then chunks of type, 64-bit size, data.
    qsizetype at = 8;
    while (at + 12 <= bytes.size()) {
        const QByteArray type = bytes.mid(at, 4);
        const qint64 size = qFromBigEndian<qint64>(bytes.constData() + at + 4);
        if (type == "desc") {
            // Sample rate (8), format ID (4), then the format flags.
            if (at + 12 + 16 > bytes.size())
                return -1;
            return qFromBigEndian<quint32>(bytes.constData() + at + 12 + 12);
        }
        if (size < 0)
            return -1;
        at += 12 + size;
    }
    return -1;
}
