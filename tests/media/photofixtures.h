#pragma once

#include <QDateTime>
#include <QSize>
#include <QString>
#include <QStringList>

// A photo of one colour with a diagonal stripe (so crops and turns are visible), saved in the
// format of the path's suffix, dated `modified`.
bool TULOTestWritePhoto(const QString &path, const QSize &size, int hue, const QDateTime &modified);

// A small photo library: photos in the top folder and in "Holiday" and "Studio", one video
// (an MP4 header: the library never decodes it), one corrupt JPEG. The newest is the first
// of the list returned; empty on failure.
QStringList TULOTestWritePhotoLibrary(const QString &folder);
