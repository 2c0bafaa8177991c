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
