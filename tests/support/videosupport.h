#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

// Test videos made with the ffmpeg command line: testsrc prints a frame counter into every
// frame, so a frame one off from the expected one shows.

// Runs ffmpeg with `arguments` (after -y -loglevel error); false with ffmpeg's message on failure.
bool TULORunFFmpeg(const QStringList &arguments, QString *message = nullptr);

// A testsrc video `seconds` long at `rate` frames per second, `size` ("320x240"), encoded with
// `codecArguments` (e.g. {"-c:v", "libx264", "-g", "12"}) into `path`; the extension picks the
// container. Returns false with the message when ffmpeg fails.
bool TULOMakeTestVideo(const QString &path, double seconds, int rate, const QString &size,
                       const QStringList &codecArguments, QString *message = nullptr);

// The frame the ffmpeg command line shows at `seconds` (`ffmpeg -ss T -i FILE -frames:v 1`),
// rotation applied, or a null image.
QImage TULOFFmpegFrameAt(const QString &path, double seconds);

// Mean absolute difference per colour channel (0..255) of two images of one size; 255 when the
// sizes differ.
double TULOImageDifference(const QImage &a, const QImage &b);

// The presentation times (seconds, from the first frame) of every frame of the first video
// stream, as ffprobe reads them, in presentation order.
QList<double> TULOFFprobeFrameTimes(const QString &path);
