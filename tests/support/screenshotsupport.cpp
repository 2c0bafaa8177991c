#include "screenshotsupport.h"

#include "testsupport.h"

#include <Quillon/platform/ui/screenshot.h>

#include <QTest>

QImage TULOSaveScreenshot(TULOViewController *controller, const QSize &size, const QString &testName,
                          const QString &fileName, qreal devicePixelRatio)
{
    const QImage image = TULORenderViewController(controller, size, devicePixelRatio);
    const QString path = TULOTestOutputPath(testName) + QLatin1Char('/') + fileName + QStringLiteral(".png");
    if (image.isNull() || !image.save(path, "PNG"))
        return {};
    return image;
}

QPalette TULOTestDarkPalette()
{
    QPalette palette;
    const QColor window(0x1e, 0x1e, 0x1e), base(0x2b, 0x2b, 0x2b), text(0xec, 0xec, 0xec);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, base);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Highlight, QColor(0x0a, 0x84, 0xff));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, QColor(0x98, 0x98, 0x9d));
    palette.setColor(QPalette::Midlight, QColor(0x3a, 0x3a, 0x3c));
    palette.setColor(QPalette::Mid, QColor(0x3a, 0x3a, 0x3c));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x6e, 0x6e, 0x73));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x6e, 0x6e, 0x73));
    return palette;
}

void TULOAddAppearanceRows(const char *prefix)
{
    QTest::addColumn<bool>("dark");
    QTest::addColumn<qreal>("scale");
    for (const bool dark : {false, true}) {
        for (const qreal scale : {1.0, 2.0})
            QTest::addRow("%s%s-%dx", prefix, dark ? "dark" : "light", int(scale)) << dark << scale;
    }
}
