#include <Quillon/platform/image/imagecoloranalyzer.h>

#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

// Covers made up in the test: the analyser must give readable text on any of them.
class TestImageColorAnalyzer : public QObject
{
    Q_OBJECT

    static QImage filled(const QColor &color)
    {
        QImage image(200, 200, QImage::Format_RGB32);
        image.fill(color);
        return image;
    }

    static QImage noisy(quint32 seed, int lowest, int highest)
    {
        QImage image(300, 300, QImage::Format_RGB32);
        QRandomGenerator random(seed);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                image.setPixel(x, y, qRgb(random.bounded(lowest, highest), random.bounded(lowest, highest), random.bounded(lowest, highest)));
        return image;
    }

    // A cover with a large field of one colour and a small motif in another.
    static QImage motif(const QColor &field, const QColor &figure)
    {
        QImage image = filled(field);
        QPainter painter(&image);
        painter.fillRect(70, 70, 60, 60, figure);
        return image;
    }

private Q_SLOTS:
    void readableText_data()
    {
        QTest::addColumn<QImage>("cover");
        QTest::addColumn<QColor>("expectedBackground"); // invalid: any
        QTest::newRow("black") << filled(Qt::black) << QColor(Qt::black);
        QTest::newRow("white") << filled(Qt::white) << QColor(Qt::white);
        QTest::newRow("saturated red") << filled(QColor(255, 0, 0)) << QColor(255, 0, 0);
        QTest::newRow("saturated yellow") << filled(QColor(255, 230, 0)) << QColor(255, 230, 0);
        QTest::newRow("mid grey, the hardest for contrast") << filled(QColor(119, 119, 119)) << QColor(119, 119, 119);
        QTest::newRow("blue field with yellow motif") << motif(QColor(20, 40, 160), QColor(250, 220, 30)) << QColor(20, 40, 160);
        QTest::newRow("noise, full range") << noisy(7, 0, 256) << QColor();
        QTest::newRow("noise, mid tones") << noisy(11, 90, 170) << QColor();
        QImage translucent(100, 100, QImage::Format_ARGB32);
        translucent.fill(QColor(0, 128, 0, 128));
        QTest::newRow("translucent green") << translucent << QColor();
    }
    void readableText()
    {
        QFETCH(QImage, cover);
        QFETCH(QColor, expectedBackground);
        const TULOImageColorAnalyzer analyzer(cover);
        const QColor background = analyzer.backgroundColor();
        QVERIFY(background.isValid());
        if (expectedBackground.isValid()) {
            QVERIFY2(std::abs(background.red() - expectedBackground.red()) <= 8
                         && std::abs(background.green() - expectedBackground.green()) <= 8
                         && std::abs(background.blue() - expectedBackground.blue()) <= 8,
                     qPrintable(background.name()));
        }
        const double primary = TULOImageColorAnalyzer::contrastRatio(analyzer.textPrimaryColor(), background);
        const double secondary = TULOImageColorAnalyzer::contrastRatio(analyzer.textSecondaryColor(), background);
        QVERIFY2(primary >= 4.5, qPrintable(QStringLiteral("%1 on %2: %3").arg(analyzer.textPrimaryColor().name(), background.name()).arg(primary)));
        QVERIFY2(secondary >= 4.5, qPrintable(QStringLiteral("%1 on %2: %3").arg(analyzer.textSecondaryColor().name(), background.name()).arg(secondary)));
        // The secondary line is the quieter one, and visibly so wherever the contrast leaves room.
        QVERIFY(secondary <= primary + 1e-9);
        if (primary >= 7.0)
            QVERIFY2(analyzer.textPrimaryColor() != analyzer.textSecondaryColor(), qPrintable(analyzer.textPrimaryColor().name()));
    }

    // The motif's own colour is used for text when it reads well on the field.
    void accentColourFromCover()
    {
        const TULOImageColorAnalyzer analyzer(motif(QColor(20, 40, 160), QColor(250, 220, 30)));
        const QColor primary = analyzer.textPrimaryColor();
        QVERIFY2(primary.red() > 200 && primary.green() > 180 && primary.blue() < 90, qPrintable(primary.name()));
    }

    void contrastRatio_data()
    {
        QTest::addColumn<QColor>("a");
        QTest::addColumn<QColor>("b");
        QTest::addColumn<double>("ratio");
        // Reference values of the WCAG formula.
        QTest::newRow("black on white") << QColor(Qt::black) << QColor(Qt::white) << 21.0;
        QTest::newRow("same colour") << QColor(200, 10, 10) << QColor(200, 10, 10) << 1.0;
        QTest::newRow("grey 118 on white") << QColor(118, 118, 118) << QColor(Qt::white) << 4.54;
        QTest::newRow("order does not matter") << QColor(Qt::white) << QColor(118, 118, 118) << 4.54;
        QTest::newRow("pure red on black") << QColor(255, 0, 0) << QColor(Qt::black) << 5.25;
    }
    void contrastRatio()
    {
        QFETCH(QColor, a);
        QFETCH(QColor, b);
        QFETCH(double, ratio);
        QVERIFY2(std::abs(TULOImageColorAnalyzer::contrastRatio(a, b) - ratio) < 0.01,
                 qPrintable(QString::number(TULOImageColorAnalyzer::contrastRatio(a, b))));
    }

    void colorWithContrastMovesOnlyAsFarAsNeeded()
    {
        const QColor background(119, 119, 119);
        const QColor adjusted = TULOImageColorAnalyzer::colorWithContrast(QColor(130, 130, 130), background);
        const double ratio = TULOImageColorAnalyzer::contrastRatio(adjusted, background);
        QVERIFY(ratio >= 4.5);
        QVERIFY2(ratio < 4.7, qPrintable(QString::number(ratio))); // not pushed all the way to an extreme
        const QColor readable(0, 0, 0);
        QCOMPARE(TULOImageColorAnalyzer::colorWithContrast(readable, Qt::white), readable);
    }

    void nullImage()
    {
        const TULOImageColorAnalyzer analyzer{QImage()};
        QCOMPARE(analyzer.backgroundColor(), QColor(Qt::white));
        QVERIFY(TULOImageColorAnalyzer::contrastRatio(analyzer.textPrimaryColor(), analyzer.backgroundColor()) >= 4.5);
    }
};

QTEST_GUILESS_MAIN(TestImageColorAnalyzer)
#include "tst_imagecoloranalyzer.moc"
