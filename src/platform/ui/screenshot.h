#pragma once

#include <Quillon/quillon_export.h>

#include <QImage>
#include <QSize>

class TULOViewController;

// Renders `controller` at `size` points and `devicePixelRatio` (the image has size times ratio
// pixels), together with the presentations above it (dialogs, popovers) where they sit on screen.
// A controller that is not in a window is shown in a temporary one for the duration, so it
// appears and disappears once. Works under the offscreen platform.
QUILLON_EXPORT QImage TULORenderViewController(TULOViewController *controller, const QSize &size, qreal devicePixelRatio = 1.0);
