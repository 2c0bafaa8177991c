#include <Quillon/media/waveformimageproducer.h>

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

#include <cmath>
#include <vector>

void TULOWaveformImageProducer::appendPowerLevel(double level)
{
    m_powerLevels.append(float(level));
}

void TULOWaveformImageProducer::setPowerLevels(const QList<float> &levels)
{
    if (levels.constData() == m_powerLevels.constData() && levels.size() == m_powerLevels.size())
        return; // the list it already holds
    m_powerLevels = levels;
    m_powerLevels.detach(); // a copy of its own
}

QList<float> TULOWaveformImageProducer::averagedPowerLevelsWithCount(qint64 count) const
{
    if (count <= 0)
        return {};
    const auto n = quint64(count);
    const auto levelCount = quint64(m_powerLevels.size());
    std::vector<double> value(n, 0.0);
    std::vector<double> samples(n, 0.0);
    quint64 previous = 0;
    for (quint64 i = 0; i < levelCount; ++i) {
        const double x = double(m_powerLevels[qsizetype(i)]);
        const quint64 k = std::min(n - 1, i * n / levelCount);
        value[k] = std::sqrt((x * x + value[k] * value[k] * samples[k]) / (samples[k] + 1.0));
        if (k > previous + 1) {
            // Fewer levels than buckets: the skipped buckets share one step up from the last value.
            const float from = float(value[previous]);
            const float step = float((value[k] - double(from)) / double(k - previous));
            for (quint64 j = previous + 1; j < k; ++j)
                value[j] = double(from + step);
        }
        samples[k] += 1.0;
        previous = k;
    }
    QList<float> result;
    result.reserve(qsizetype(n));
    for (double v : value)
        result.append(float(v));
    return result;
}

QList<QRectF> TULOWaveformImageProducer::barRectsWithSize(const QSizeF &size) const
{
    QList<QRectF> bars;
    qint64 levelCount = m_powerLevels.size();
    if (levelCount == 0)
        return bars;
    const double height = size.height();
    const double floorLevel = std::pow(10.0, -2.5); // -50 dB
    const double reference = std::log(32767.0 - floorLevel * 32767.0);
    const double pitch = m_powerBarWidth + m_powerBarSpacing;
    auto barCount = pitch > 0.0 ? qint64(size.width() / pitch) : 0;
    if (barCount <= 0)
        return bars;

    QList<float> levels = m_powerLevels;
    if (m_waveformMode == Averaged) {
        levels = averagedPowerLevelsWithCount(barCount);
        levelCount = levels.size();
    } else if (levelCount <= barCount) {
        barCount = levelCount;
    }

    bars.reserve(qsizetype(barCount));
    double x = 0.0;
    for (qint64 i = levelCount - barCount; i < levelCount; ++i) {
        const float v = levels[qsizetype(i)];
        const double a = double(v * 32767.0f);
        double h = std::log(a - floorLevel * 32767.0);
        if (std::isnan(h) || h < 0.0)
            h = 0.0; // at or below the floor: a minimal bar
        const double b = std::max(1.0, double(std::round(float(h / reference * height))));
        const double y = double(std::floor(float((height - b) * 0.5)));
        bars.append(QRectF(x, y, m_powerBarWidth, b));
        x += m_powerBarSpacing + m_powerBarWidth;
    }
    return bars;
}

QImage TULOWaveformImageProducer::imageWithSize(const QSizeF &size) const
{
    qreal scale = 1.0;
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        if (const QScreen *screen = QGuiApplication::primaryScreen())
            scale = screen->devicePixelRatio();
    }
    return imageWithSize(size, scale);
}

QImage TULOWaveformImageProducer::imageWithSize(const QSizeF &size, qreal scale) const
{
    if (m_powerLevels.isEmpty() || size.isEmpty() || scale <= 0.0)
        return {};
    const QSize pixels(qCeil(size.width() * scale), qCeil(size.height() * scale));
    QImage image(pixels, QImage::Format_Alpha8);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    for (const QRectF &bar : barRectsWithSize(size))
        painter.fillRect(bar, Qt::black);
    painter.end();
    image.setText(QStringLiteral("template"), QStringLiteral("true"));
    return image;
}
