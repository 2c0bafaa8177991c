#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QImage>
#include <QMetaType>
#include <QSizeF>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

// Where a catalog's pixels come from. Loading may be slow (disk, network, tag parsing), so
// catalogs call it on their artwork threads, or on the caller's thread for a synchronous render.
class QUILLON_EXPORT TULOArtworkDataSource
{
public:
    virtual ~TULOArtworkDataSource();
    // The full-size image named by `token`; a null image with `error` set when it fails.
    virtual QImage loadImage(const QString &token, TULOError *error) const = 0;
};

// An image source that renders at a fitting size and a destination scale: a static image, an
// image file, a URL, or any other data source (a song's embedded artwork). Copies share the
// source; a default-constructed catalog is null.
class QUILLON_EXPORT TULOArtworkCatalog
{
public:
    using Completion = std::function<void(const QImage &image, const TULOError &error)>;

    TULOArtworkCatalog() = default;
    TULOArtworkCatalog(std::shared_ptr<const TULOArtworkDataSource> dataSource, const QString &token);

    static TULOArtworkCatalog withImage(const QImage &image);
    static TULOArtworkCatalog withFile(const QString &path);
    // file: URLs read the file; other schemes are fetched over the network.
    static TULOArtworkCatalog withURL(const QUrl &url);

    bool isNull() const { return !m_dataSource; }
    std::shared_ptr<const TULOArtworkDataSource> dataSource() const { return m_dataSource; }
    QString token() const { return m_token; }
    // The image of a static catalog (made by withImage); null otherwise.
    QImage staticImage() const;

    // An invalid fitting size means the image's own full size.
    QSizeF fittingSize() const { return m_fittingSize; }
    void setFittingSize(const QSizeF &size) { m_fittingSize = size; }
    double destinationScale() const { return m_destinationScale; }
    void setDestinationScale(double scale) { m_destinationScale = scale > 0 ? scale : 1.0; }

    // Renders on the calling thread: the image scaled to fit fittingSize x scale, aspect kept,
    // with `scale` as its device pixel ratio.
    QImage imageWithSize(const QSizeF &fittingSize, double scale, TULOError *error = nullptr) const;
    // Renders at the catalog's fitting size and scale on an artwork thread and calls
    // `completion` on that thread. Callers that touch widgets hop to the main thread themselves.
    void requestImage(Completion completion) const;
    // True on the threads that deliver requestImage's results; a caller there must render
    // synchronously instead of waiting for another request.
    static bool isArtworkThread();

    // Same source and token (rendering parameters are not part of the identity).
    bool operator==(const TULOArtworkCatalog &other) const;

private:
    std::shared_ptr<const TULOArtworkDataSource> m_dataSource;
    QString m_token;
    QSizeF m_fittingSize;
    double m_destinationScale = 1.0;
};

Q_DECLARE_METATYPE(TULOArtworkCatalog)
