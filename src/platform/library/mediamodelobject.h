#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/artworkcatalog.h>

#include <QString>

#include <memory>

// Base of the media library's browsable objects (albums, playlists, songs, radio stations).
// Objects are compared by identity and held by std::shared_ptr; test a kind with dynamic_cast.
class QUILLON_EXPORT TULOMediaModelObject
{
public:
    virtual ~TULOMediaModelObject();

    TULOArtworkCatalog artworkCatalog() const { return m_artworkCatalog; }
    void setArtworkCatalog(const TULOArtworkCatalog &catalog) { m_artworkCatalog = catalog; }

protected:
    TULOMediaModelObject() = default;

private:
    TULOArtworkCatalog m_artworkCatalog;
};

using TULOMediaModelObjectPtr = std::shared_ptr<TULOMediaModelObject>;
