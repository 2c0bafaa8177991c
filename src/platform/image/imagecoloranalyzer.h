#pragma once

#include <Quillon/quillon_export.h>

#include <QColor>
#include <QImage>

// The colours a cover image gives the card it sits on: a background taken from the image's
// dominant colour, and primary and secondary text colours that keep a contrast of at least
// 4.5:1 (WCAG AA for body text) on that background. A null image gives white with black text.
class QUILLON_EXPORT TULOImageColorAnalyzer
{
public:
    explicit TULOImageColorAnalyzer(const QImage &image);

    QColor backgroundColor() const { return m_backgroundColor; }
    QColor textPrimaryColor() const { return m_textPrimaryColor; }
    QColor textSecondaryColor() const { return m_textSecondaryColor; }

    static constexpr double MinimumContrastRatio = 4.5;

    // WCAG relative luminance (0 black .. 1 white) and contrast ratio (1 .. 21).
    static double relativeLuminance(const QColor &color);
    static double contrastRatio(const QColor &a, const QColor &b);
    // `color` moved towards black or white, whichever contrasts more with `background`, just far
    // enough to reach `ratio`. Always succeeds for ratios up to 4.58, which one of them reaches.
    static QColor colorWithContrast(const QColor &color, const QColor &background, double ratio = MinimumContrastRatio);

private:
    QColor m_backgroundColor = Qt::white;
    QColor m_textPrimaryColor = Qt::black;
    QColor m_textSecondaryColor = Qt::black;
};
