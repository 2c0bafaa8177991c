#include <Quillon/media/linearvaluefordecibels.h>
#include <Quillon/media/waveformimageproducer.h>

#include <QTest>

#include <cmath>

namespace {

// Reaches the averaging the drawing uses.
class Producer : public TULOWaveformImageProducer
{
public:
    using TULOWaveformImageProducer::averagedPowerLevelsWithCount;
};

QList<float> ramp(int count, float from, float to)
{
    QList<float> levels;
    for (int i = 0; i < count; ++i)
        levels.append(count == 1 ? to : from + (to - from) * float(i) / float(count - 1));
    return levels;
}

// Alpha of the image at a point given in points.
int alphaAt(const QImage &image, double x, double y)
{
    const qreal scale = image.devicePixelRatio();
    return qAlpha(image.pixel(int(x * scale), int(y * scale)));
}

} // namespace

class TestWaveformImageProducer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linearValueForDecibels_data()
    {
        QTest::addColumn<double>("decibels");
        QTest::addColumn<double>("linear");
        QTest::addColumn<double>("tolerance");
        QTest::newRow("full scale") << 0.0 << 1.0 << 0.0;
        QTest::newRow("-20 dB") << -20.0 << 0.1 << 1e-15;
        QTest::newRow("-40 dB") << -40.0 << 0.01 << 1e-16;
        QTest::newRow("half amplitude") << -6.0206 << 0.5 << 1e-5;
        QTest::newRow("meter floor") << -160.0 << 1e-8 << 1e-22;
        QTest::newRow("waveform floor") << -50.0 << 0.0031622776601683794 << 1e-17;
    }
    void linearValueForDecibels()
    {
        QFETCH(double, decibels);
        QFETCH(double, linear);
        QFETCH(double, tolerance);
        const double value = TULOLinearValueForDecibels(decibels);
        QVERIFY2(std::abs(value - linear) <= tolerance, qPrintable(QString::number(value, 'g', 17)));
    }

    void noLevelsGivesNoImage()
    {
        TULOWaveformImageProducer producer;
        QVERIFY(producer.imageWithSize(QSizeF(30, 40), 1.0).isNull());
        producer.setWaveformMode(TULOWaveformImageProducer::Averaged);
        QVERIFY(producer.imageWithSize(QSizeF(30, 40), 2.0).isNull());
        producer.appendPowerLevel(0.5);
        producer.setPowerLevels({});
        QVERIFY(producer.powerLevels().isEmpty());
        QVERIFY(producer.imageWithSize(QSizeF(30, 40), 1.0).isNull());
    }

    void powerLevelsAreTheProducersOwnCopy()
    {
        TULOWaveformImageProducer producer;
        QList<float> levels{0.25f, 0.5f};
        producer.setPowerLevels(levels);
        levels[0] = 1.0f;
        producer.appendPowerLevel(0.125);
        QCOMPARE(producer.powerLevels(), (QList<float>{0.25f, 0.5f, 0.125f}));
        QCOMPARE(levels.size(), 2);
    }

    // Latest-levels mode: the newest bars that fit, left-aligned at the bar pitch.
    void latestLevels_data()
    {
        QTest::addColumn<int>("levelCount");
        QTest::addColumn<int>("firstDrawn");
        QTest::addColumn<int>("barCount");
        QTest::newRow("more levels than bars scroll") << 25 << 15 << 10;
        QTest::newRow("exactly as many") << 10 << 0 << 10;
        QTest::newRow("fewer levels than bars") << 4 << 0 << 4;
        QTest::newRow("one level") << 1 << 0 << 1;
    }
    void latestLevels()
    {
        QFETCH(int, levelCount);
        QFETCH(int, firstDrawn);
        QFETCH(int, barCount);
        // Rising levels make every bar taller than the one before, so heights tell which were drawn.
        const QList<float> levels = ramp(levelCount, 0.01f, 1.0f);
        TULOWaveformImageProducer producer;
        producer.setPowerLevels(levels);
        const QList<QRectF> bars = producer.barRectsWithSize(QSizeF(30, 40));
        QCOMPARE(bars.size(), barCount);

        TULOWaveformImageProducer single;
        for (int i = 0; i < barCount; ++i) {
            QCOMPARE(bars[i].x(), 3.0 * i);
            QCOMPARE(bars[i].width(), 2.0);
            single.setPowerLevels({levels[firstDrawn + i]});
            QCOMPARE(bars[i], single.barRectsWithSize(QSizeF(30, 40)).constFirst().translated(3.0 * i, 0));
        }
        QCOMPARE(bars.constLast().height(), 40.0); // the newest level, full scale, is always shown
    }

    void barGeometry_data()
    {
        QTest::addColumn<float>("level");
        QTest::addColumn<double>("height");
        QTest::addColumn<QRectF>("bar");
        QTest::newRow("full scale") << 1.0f << 40.0 << QRectF(0, 0, 2, 40);
        QTest::newRow("silence") << 0.0f << 40.0 << QRectF(0, 19, 2, 1);
        QTest::newRow("at the floor") << 0.0031622776f << 40.0 << QRectF(0, 19, 2, 1);
        QTest::newRow("negative level") << -0.5f << 40.0 << QRectF(0, 19, 2, 1);
        QTest::newRow("not a number") << std::nanf("") << 40.0 << QRectF(0, 19, 2, 1);
        QTest::newRow("odd height centres down") << 1.0f << 41.0 << QRectF(0, 0, 2, 41);
        QTest::newRow("silence in odd height") << 0.0f << 41.0 << QRectF(0, 20, 2, 1);
    }
    void barGeometry()
    {
        QFETCH(float, level);
        QFETCH(double, height);
        QFETCH(QRectF, bar);
        TULOWaveformImageProducer producer;
        producer.setPowerLevels({level});
        const QList<QRectF> bars = producer.barRectsWithSize(QSizeF(30, height));
        QCOMPARE(bars.size(), 1);
        QCOMPARE(bars.constFirst(), bar);
    }

    // The bar height follows the logarithm of the 16-bit amplitude above the -50 dB floor.
    void barHeightIsLogarithmic_data()
    {
        QTest::addColumn<float>("level");
        QTest::newRow("-6 dB") << 0.5f;
        QTest::newRow("-20 dB") << 0.1f;
        QTest::newRow("-40 dB") << 0.01f;
        QTest::newRow("just above the floor") << 0.004f;
    }
    void barHeightIsLogarithmic()
    {
        QFETCH(float, level);
        const double height = 100.0;
        TULOWaveformImageProducer producer;
        producer.setPowerLevels({level});
        const QRectF bar = producer.barRectsWithSize(QSizeF(3, height)).constFirst();
        const double floorAmplitude = 32767.0 * 0.0031622776601683794;
        const double expected = std::log(level * 32767.0 - floorAmplitude) / std::log(32767.0 - floorAmplitude) * height;
        QVERIFY2(std::abs(bar.height() - std::max(1.0, expected)) <= 0.5, qPrintable(QString::number(bar.height())));
        QCOMPARE(bar.y(), std::floor((height - bar.height()) / 2));
    }

    void averagingExample()
    {
        Producer producer;
        producer.setPowerLevels({0.3f, 0.6f, 0.9f});
        const QList<float> averaged = producer.averagedPowerLevelsWithCount(10);
        QCOMPARE(averaged.size(), 10);
        // Levels land in buckets 0, 3 and 6; the gaps share one step; the tail stays empty.
        const QList<float> expected{0.3f, 0.4f, 0.4f, 0.6f, 0.7f, 0.7f, 0.9f, 0.0f, 0.0f, 0.0f};
        for (int i = 0; i < 10; ++i)
            QVERIFY2(std::abs(averaged[i] - expected[i]) < 1e-6f, qPrintable(QStringLiteral("bucket %1: %2").arg(i).arg(averaged[i])));
    }

    void averagingTakesRootMeanSquare_data()
    {
        QTest::addColumn<QList<float>>("levels");
        QTest::addColumn<int>("count");
        QTest::addColumn<QList<float>>("expected");
        QTest::newRow("two per bucket") << QList<float>{0.3f, 0.4f, 0.0f, 1.0f} << 2
                                        << QList<float>{std::sqrt(0.125f), std::sqrt(0.5f)};
        QTest::newRow("three into one") << QList<float>{0.2f, 0.4f, 0.4f} << 1 << QList<float>{std::sqrt(0.12f)};
        QTest::newRow("uneven split") << QList<float>{0.5f, 0.5f, 0.1f} << 2 << QList<float>{0.5f, 0.1f};
        QTest::newRow("one level, one bucket") << QList<float>{0.7f} << 1 << QList<float>{0.7f};
        QTest::newRow("adjacent buckets are not filled") << QList<float>{0.2f, 0.8f} << 3
                                                         << QList<float>{0.2f, 0.8f, 0.0f};
        QTest::newRow("negative levels square away") << QList<float>{-0.5f} << 1 << QList<float>{0.5f};
    }
    void averagingTakesRootMeanSquare()
    {
        QFETCH(QList<float>, levels);
        QFETCH(int, count);
        QFETCH(QList<float>, expected);
        Producer producer;
        producer.setPowerLevels(levels);
        const QList<float> averaged = producer.averagedPowerLevelsWithCount(count);
        QCOMPARE(averaged.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i)
            QVERIFY2(std::abs(averaged[i] - expected[i]) < 1e-6f, qPrintable(QStringLiteral("bucket %1: %2").arg(i).arg(averaged[i])));
    }

    void averagedModeDrawsEveryBucket()
    {
        TULOWaveformImageProducer producer;
        producer.setWaveformMode(TULOWaveformImageProducer::Averaged);
        producer.setPowerLevels({0.3f, 0.6f, 0.9f});
        const QList<QRectF> bars = producer.barRectsWithSize(QSizeF(30, 40));
        QCOMPARE(bars.size(), 10);
        QCOMPARE(bars[9].height(), 1.0); // empty buckets still get the minimal bar
        QVERIFY(bars[6].height() > bars[4].height());
        QVERIFY(bars[4].height() > bars[3].height());
        QCOMPARE(bars[1], bars[2].translated(-3, 0)); // the gap holds one step value, not a ramp
    }

    void imageIsAnAlphaMaskAtScale_data()
    {
        QTest::addColumn<qreal>("scale");
        QTest::newRow("1x") << qreal(1.0);
        QTest::newRow("2x") << qreal(2.0);
        QTest::newRow("1.5x") << qreal(1.5);
    }
    void imageIsAnAlphaMaskAtScale()
    {
        QFETCH(qreal, scale);
        TULOWaveformImageProducer producer;
        producer.setPowerLevels({1.0f, 0.0f, 0.1f, 1.0f});
        const QImage image = producer.imageWithSize(QSizeF(30, 40), scale);
        QCOMPARE(image.format(), QImage::Format_Alpha8);
        QCOMPARE(image.devicePixelRatio(), scale);
        QCOMPARE(image.size(), QSize(qCeil(30 * scale), qCeil(40 * scale)));
        QCOMPARE(image.deviceIndependentSize(), QSizeF(30, 40));

        const QList<QRectF> bars = producer.barRectsWithSize(QSizeF(30, 40));
        QCOMPARE(bars.size(), 4);
        for (const QRectF &bar : bars) {
            QCOMPARE(alphaAt(image, bar.center().x(), bar.center().y()), 255);
            QCOMPARE(alphaAt(image, bar.right() + 0.5, bar.center().y()), 0); // the spacing is clear
        }
        QCOMPARE(alphaAt(image, 3.5, 5), 0);  // above the silent bar
        QCOMPARE(alphaAt(image, 3.5, 19.5), 255);
        QCOMPARE(alphaAt(image, 20, 20), 0); // right of the last bar
    }

    void narrowSizesDrawNothing_data()
    {
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<int>("bars");
        QTest::newRow("narrower than one bar") << QSizeF(2.9, 40) << 0;
        QTest::newRow("exactly one pitch") << QSizeF(3, 40) << 1;
        QTest::newRow("pitch truncates") << QSizeF(8.99, 40) << 2;
    }
    void narrowSizesDrawNothing()
    {
        QFETCH(QSizeF, size);
        QFETCH(int, bars);
        TULOWaveformImageProducer producer;
        producer.setPowerLevels(ramp(5, 0.1f, 0.9f));
        QCOMPARE(producer.barRectsWithSize(size).size(), bars);
        producer.setWaveformMode(TULOWaveformImageProducer::Averaged);
        QCOMPARE(producer.barRectsWithSize(size).size(), bars);
    }

    void barWidthAndSpacingSetThePitch()
    {
        TULOWaveformImageProducer producer;
        producer.setPowerBarWidth(3.0);
        producer.setPowerBarSpacing(2.0);
        producer.setPowerLevels(ramp(20, 0.1f, 0.9f));
        const QList<QRectF> bars = producer.barRectsWithSize(QSizeF(30, 40));
        QCOMPARE(bars.size(), 6);
        QCOMPARE(bars[5].x(), 25.0);
        QCOMPARE(bars[5].width(), 3.0);
    }
};

QTEST_MAIN(TestWaveformImageProducer)
#include "tst_waveformimageproducer.moc"
