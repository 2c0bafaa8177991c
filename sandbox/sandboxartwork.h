#pragma once

#include <QByteArray>
#include <QString>

// Artwork for any catalogue identifier at any size: a gradient and rings whose colours are
// derived from the identifier, so the same request always gives the same picture.
class TULOSandboxArtwork
{
public:
    static constexpr int maximumSide = 4096;

    // Encoded image ("png" or "jpg"), or empty when the size or format is not acceptable.
    static QByteArray render(const QString &identifier, int width, int height, const QByteArray &format);
};
