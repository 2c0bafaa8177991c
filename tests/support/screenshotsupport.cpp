#include "screenshotsupport.h"

#include "testsupport.h"

#include <Quillon/platform/ui/screenshot.h>

QImage TULOSaveScreenshot(TULOViewController *controller, const QSize &size, const QString &testName,
                          const QString &fileName, qreal devicePixelRatio)
{
    const QImage image = TULORenderViewController(controller, size, devicePixelRatio);
    const QString path = TULOTestOutputPath(testName) + QLatin1Char('/') + fileName + QStringLiteral(".png");
    if (image.isNull() || !image.save(path, "PNG"))
        return {};
    return image;
}

QPalette TULODarkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x1e, 0x1e, 0x1e));
    palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Base, QColor(0x2a, 0x2a, 0x2a));
    palette.setColor(QPalette::AlternateBase, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9a, 0x9a));
    palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Mid, QColor(0x50, 0x50, 0x50));
    palette.setColor(QPalette::Midlight, QColor(0x44, 0x44, 0x44));
    palette.setColor(QPalette::Light, QColor(0x70, 0x70, 0x70));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xf0));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x6c, 0xb2, 0xff));
    return palette;
}
