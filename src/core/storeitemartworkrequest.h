#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/storeitem.h>
#include <Quillon/platform/records/artworkcatalog.h>
#include <Quillon/platform/store/artworkrequest.h>

#include <QSizeF>

// The artwork of a store item at one size, for the item's row in the editor: from the item's
// artwork catalog when it has one (a media-library item), otherwise from the store's artwork
// list. Drawn with a one-pixel border; artists, curators and activities as a circle.
class QUILLON_EXPORT TULOStoreItemArtworkRequest : public TULOArtworkRequest
{
public:
    // `scale` is the destination's device pixels per point; 0 takes the primary screen's.
    TULOStoreItemArtworkRequest(const TULOStoreItem &item, const QSizeF &imageSize, qreal scale = 0);

    TULOArtworkCatalog artworkCatalog() const { return m_artworkCatalog; }
    QSizeF imageSize() const { return m_imageSize; }

    std::shared_ptr<TULOResourceLoadOperation> newLoadOperation() const override;

    // The primary screen's device pixel ratio; 1 without a screen.
    static qreal mainScreenScale();

private:
    TULOArtworkCatalog m_artworkCatalog;
    QSizeF m_imageSize;
};
