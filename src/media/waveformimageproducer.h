#pragma once

#include <Quillon/quillon_export.h>

#include <QImage>
#include <QList>
#include <QRectF>
#include <QSizeF>

// Keeps the linear power levels of a sound bite and draws them as a row of vertical bars
// into a template image: an alpha mask (QImage::Format_Alpha8) that the view showing it tints.
class QUILLON_EXPORT TULOWaveformImageProducer
{
public:
    enum WaveformMode : qint64 {
        Latest = 0,   // the newest levels, one bar each (while recording)
        Averaged = 1, // the whole recording averaged to fit the width
    };

    TULOWaveformImageProducer() = default;

    void appendPowerLevel(double level);
    QList<float> powerLevels() const { return m_powerLevels; }
    // An empty list clears the levels.
    void setPowerLevels(const QList<float> &levels);

    double powerBarWidth() const { return m_powerBarWidth; }
    void setPowerBarWidth(double width) { m_powerBarWidth = width; }
    double powerBarSpacing() const { return m_powerBarSpacing; }
    void setPowerBarSpacing(double spacing) { m_powerBarSpacing = spacing; }
    qint64 waveformMode() const { return m_waveformMode; }
    void setWaveformMode(qint64 mode) { m_waveformMode = mode; }

    // The image for a size in points at the main screen's scale, or a null image when there
    // are no levels.
    QImage imageWithSize(const QSizeF &size) const;
    QImage imageWithSize(const QSizeF &size, qreal scale) const;

    // The bars imageWithSize() fills, in points, left to right.
    QList<QRectF> barRectsWithSize(const QSizeF &size) const;

protected:
    QList<float> averagedPowerLevelsWithCount(qint64 count) const;

private:
    QList<float> m_powerLevels;
    double m_powerBarWidth = 2.0;
    double m_powerBarSpacing = 1.0;
    qint64 m_waveformMode = Latest;
};
