#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/artworkcatalog.h>
#include <Quillon/platform/store/resourceloadoperation.h>

// Loads an artwork request's image from an artwork catalog (a media-library item's artwork)
// rather than from the store: asks the catalog for its image at the catalog's fitting size
// and scale, and blocks its thread until the image is there.
class QUILLON_EXPORT TULOArtworkCatalogResourceOperation : public TULOResourceLoadOperation
{
public:
    TULOArtworkCatalogResourceOperation(std::shared_ptr<const TULOArtworkRequest> request, const TULOArtworkCatalog &catalog);

    TULOArtworkCatalog artworkCatalog() const { return m_catalog; }

protected:
    void main() override;

private:
    const TULOArtworkCatalog m_catalog;
};
