#include <Quillon/platform/image/imagecoloranalyzer.h>

#include <QHash>

#include <algorithm>
#include <optional>
#include <cmath>

namespace {

// A few thousand pixels say as much about a cover's colours as all of them.
constexpr int TULOAnalysisSide = 48;
// 4 bits per channel: near colours fall into one bucket, distinct ones do not.
constexpr int TULOBucketShift = 4;

struct TULOColorBucket
{
    double weight = 0;
    double red = 0, green = 0, blue = 0;
    QColor average() const
    {
        return QColor::fromRgbF(float(red / weight), float(green / weight), float(blue / weight));
    }
};

double linearChannel(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double colorDistance(const QColor &a, const QColor &b)
{
    const double dr = a.redF() - b.redF(), dg = a.greenF() - b.greenF(), db = a.blueF() - b.blueF();
    return std::sqrt(dr * dr + dg * dg + db * db);
}

QColor mix(const QColor &from, const QColor &to, double t)
{
    return QColor::fromRgbF(float(from.redF() + (to.redF() - from.redF()) * t),
                            float(from.greenF() + (to.greenF() - from.greenF()) * t),
                            float(from.blueF() + (to.blueF() - from.blueF()) * t));
}

} // namespace

double TULOImageColorAnalyzer::relativeLuminance(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return 0.2126 * linearChannel(rgb.redF()) + 0.7152 * linearChannel(rgb.greenF()) + 0.0722 * linearChannel(rgb.blueF());
}

double TULOImageColorAnalyzer::contrastRatio(const QColor &a, const QColor &b)
{
    const double la = relativeLuminance(a), lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor TULOImageColorAnalyzer::colorWithContrast(const QColor &color, const QColor &background, double ratio)
{
    if (contrastRatio(color, background) >= ratio)
        return color;
    const QColor target = contrastRatio(Qt::black, background) >= contrastRatio(Qt::white, background) ? QColor(Qt::black)
                                                                                                       : QColor(Qt::white);
    // Contrast grows monotonically along the way to the extreme, so bisect for the nearest step.
    double low = 0, high = 1;
    for (int step = 0; step < 16; ++step) {
        const double middle = (low + high) / 2;
        if (contrastRatio(mix(color, target, middle), background) >= ratio)
            high = middle;
        else
            low = middle;
    }
    return mix(color, target, high);
}

TULOImageColorAnalyzer::TULOImageColorAnalyzer(const QImage &image)
{
    if (image.isNull())
        return;
    const QImage sample = image.scaled(TULOAnalysisSide, TULOAnalysisSide, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                              .convertToFormat(QImage::Format_ARGB32);
    QHash<int, TULOColorBucket> buckets;
    for (int y = 0; y < sample.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(sample.constScanLine(y));
        for (int x = 0; x < sample.width(); ++x) {
            const QRgb pixel = line[x];
            const double alpha = qAlpha(pixel) / 255.0;
            if (alpha <= 0)
                continue;
            const int key = (qRed(pixel) >> TULOBucketShift) << 8 | (qGreen(pixel) >> TULOBucketShift) << 4
                          | (qBlue(pixel) >> TULOBucketShift);
            // The edges are what borders the text, so they weigh more in the background.
            const bool edge = x < 4 || y < 4 || x >= sample.width() - 4 || y >= sample.height() - 4;
            const double weight = alpha * (edge ? 2.0 : 1.0);
            TULOColorBucket &bucket = buckets[key];
            bucket.weight += weight;
            bucket.red += qRed(pixel) / 255.0 * weight;
            bucket.green += qGreen(pixel) / 255.0 * weight;
            bucket.blue += qBlue(pixel) / 255.0 * weight;
        }
    }
    if (buckets.isEmpty())
        return;

    QList<TULOColorBucket> ranked = buckets.values();
    std::sort(ranked.begin(), ranked.end(), [](const TULOColorBucket &a, const TULOColorBucket &b) { return a.weight > b.weight; });
    // Neighbouring buckets of the dominant colour are one colour to the eye: fold them in.
    TULOColorBucket dominant = ranked.first();
    const QColor dominantColor = dominant.average();
    for (qsizetype i = 1; i < ranked.size(); ++i) {
        if (colorDistance(ranked.at(i).average(), dominantColor) < 0.12) {
            dominant.weight += ranked.at(i).weight;
            dominant.red += ranked.at(i).red;
            dominant.green += ranked.at(i).green;
            dominant.blue += ranked.at(i).blue;
        }
    }
    m_backgroundColor = dominant.average();

    // Text takes the image's own accent colours when they read well, else black or white.
    std::optional<QColor> accent;
    for (const TULOColorBucket &bucket : std::as_const(ranked)) {
        if (contrastRatio(bucket.average(), m_backgroundColor) >= MinimumContrastRatio) {
            accent = bucket.average();
            break;
        }
    }
    // Without an accent the title takes the extreme (black or white) that reads best.
    const QColor extreme = contrastRatio(Qt::black, m_backgroundColor) >= contrastRatio(Qt::white, m_backgroundColor)
                             ? QColor(Qt::black)
                             : QColor(Qt::white);
    m_textPrimaryColor = accent.value_or(extreme);
    // The secondary text is quieter: half way to the background, then back to a readable contrast.
    const QColor secondary = mix(m_textPrimaryColor, m_backgroundColor, 0.45);
    m_textSecondaryColor = colorWithContrast(secondary, m_backgroundColor);
}
