#pragma once

#include <QImage>
#include <QPalette>
#include <QSize>
#include <QString>

class TULOViewController;

// Renders `controller` offscreen (TULORenderViewController) and writes it as
// <test output>/<testName>/<fileName>.png. Returns the image; a failed write leaves it null.
QImage TULOSaveScreenshot(TULOViewController *controller, const QSize &size, const QString &testName,
                          const QString &fileName, qreal devicePixelRatio = 1.0);

// A dark palette like the desktop's dark themes, for the dark renderings.
QPalette TULOTestDarkPalette();
