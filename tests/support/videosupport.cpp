#include "videosupport.h"

#include <QProcess>

#include <algorithm>
#include <QTemporaryDir>

bool TULORunFFmpeg(const QStringList &arguments, QString *message)
{
    QProcess process;
    process.start(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-y"), QStringLiteral("-nostdin"),
                                                        QStringLiteral("-loglevel"), QStringLiteral("error")}
                                                + arguments);
    const bool ok = process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
    if (!ok && message)
        *message = QString::fromLocal8Bit(process.readAllStandardError());
    return ok;
}

bool TULOMakeTestVideo(const QString &path, double seconds, int rate, const QString &size,
                       const QStringList &codecArguments, QString *message)
{
    return TULORunFFmpeg(QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                     QStringLiteral("testsrc=size=%1:rate=%2:duration=%3").arg(size).arg(rate).arg(seconds),
                                     QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p")}
                             + codecArguments + QStringList{path},
                         message);
}

QImage TULOFFmpegFrameAt(const QString &path, double seconds)
{
    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("frame.png"));
    if (!TULORunFFmpeg({QStringLiteral("-ss"), QString::number(seconds, 'f', 6), QStringLiteral("-i"), path,
                        QStringLiteral("-frames:v"), QStringLiteral("1"), out}))
        return {};
    return QImage(out).convertToFormat(QImage::Format_RGB32);
}

double TULOImageDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size() || a.isNull())
        return 255.0;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const QRgb *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const QRgb *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col)
            sum += std::abs(qRed(p[col]) - qRed(q[col])) + std::abs(qGreen(p[col]) - qGreen(q[col]))
                + std::abs(qBlue(p[col]) - qBlue(q[col]));
    }
    return sum / (3.0 * x.width() * x.height());
}

QList<double> TULOFFprobeFrameTimes(const QString &path)
{
    QProcess process;
    process.start(QStringLiteral("ffprobe"),
                  {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"), QStringLiteral("v:0"),
                   QStringLiteral("-show_entries"), QStringLiteral("frame=best_effort_timestamp_time"),
                   QStringLiteral("-of"), QStringLiteral("csv=p=0"), path});
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        return {};
    QList<double> times;
    for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
        bool ok = false;
        const double t = line.split(',').first().trimmed().toDouble(&ok);
        if (ok)
            times.append(t);
    }
    std::sort(times.begin(), times.end());
    const double first = times.isEmpty() ? 0.0 : times.first();
    for (double &t : times)
        t -= first;
    return times;
}
