#include <Quillon/core/artworkcatalogresourceoperation.h>

#include <Quillon/platform/semaphore_p.h>

TULOArtworkCatalogResourceOperation::TULOArtworkCatalogResourceOperation(std::shared_ptr<const TULOArtworkRequest> request,
                                                                         const TULOArtworkCatalog &catalog)
    : TULOResourceLoadOperation(std::move(request))
    , m_catalog(catalog)
{
}

void TULOArtworkCatalogResourceOperation::main()
{
    QImage image;
    TULOError error;
    if (TULOArtworkCatalog::isArtworkThread()) {
        // Waiting here would wait for this very thread.
        image = m_catalog.imageWithSize(m_catalog.fittingSize(), m_catalog.destinationScale(), &error);
    } else {
        TULOSemaphore delivered;
        m_catalog.requestImage([&image, &error, &delivered](const QImage &rendered, const TULOError &failure) {
            image = rendered;
            error = failure;
            delivered.signal();
        });
        delivered.wait();
    }
    // A catalog that cannot render says why; a rendered image carries no error.
    if (!image.isNull())
        error = TULOError();
    if (OutputBlock block = takeOutputBlock())
        block(image.isNull() ? QVariant() : QVariant(image), error);
}
