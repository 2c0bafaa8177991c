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

// The rows of a screenshot test, light and dark at 1x and 2x: columns "dark" (bool) and
// "scale" (qreal), rows named <prefix>light-1x, <prefix>light-2x, <prefix>dark-1x, ...
void TULOAddAppearanceRows(const char *prefix = "");
