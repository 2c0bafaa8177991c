#include <Quillon/platform/records/artworkcatalog.h>

#include <QCoreApplication>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QFile>
#include <QImageReader>
#include <QNetworkReply>
#include <QRunnable>
#include <QThreadPool>
#include <QThreadStorage>

namespace {

// Qt's per-thread storage rather than a thread_local: a thread-local section in the library
// lets the linker start its read-only-after-relocation range outside any loaded segment.
QThreadStorage<bool> &artworkThreadFlag()
{
    static QThreadStorage<bool> flag;
    return flag;
}

constexpr int TULOArtworkRequestTimeout = 30000;

QThreadPool *artworkPool()
{
    // A pool of its own, so that a caller blocking a global-pool thread never starves renders.
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(2);
        p->setExpiryTimeout(5000);
        return p;
    }();
    return pool;
}

class StaticImageSource : public TULOArtworkDataSource
{
public:
    explicit StaticImageSource(const QImage &image) : m_image(image) {}
    QImage loadImage(const QString &, TULOError *error) const override
    {
        if (m_image.isNull())
            TULOSetError(error, TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed,
                                                           QStringLiteral("The artwork image is empty.")));
        return m_image;
    }
    QImage m_image;
};

QImage readImageFile(const QString &path, TULOError *error)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull()) {
        const bool missing = !QFile::exists(path);
        TULOSetError(error, TULOError(TULOFileErrorDomain, missing ? TULOFileErrorNoSuchFile : TULOFileErrorCorruptFile,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), path},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey), reader.errorString()}}));
    }
    return image;
}

class FileSource : public TULOArtworkDataSource
{
public:
    QImage loadImage(const QString &token, TULOError *error) const override { return readImageFile(token, error); }
};

class URLSource : public TULOArtworkDataSource
{
public:
    QImage loadImage(const QString &token, TULOError *error) const override
    {
        const QUrl url(token);
        if (url.isLocalFile())
            return readImageFile(url.toLocalFile(), error);
        TULOUrlLoadOperation load(url);
        load.setTimeout(TULOArtworkRequestTimeout);
        load.start();
        const TULOError failure = load.networkError();
        QImage image;
        if (!failure.isNull()) {
            TULOSetError(error, TULOError(TULONetworkErrorDomain,
                                          failure.domain() == TULONetworkErrorDomain ? failure.code()
                                                                                                    : qint64(QNetworkReply::TimeoutError),
                                          {{QString::fromLatin1(TULOURLErrorKey), url},
                                           {QString::fromLatin1(TULOLocalizedDescriptionKey), failure.localizedDescription()}}));
        } else if (!image.loadFromData(load.data())) {
            TULOSetError(error, TULOError::withDescription(TULONetworkErrorDomain, TULONetworkErrorUnknown,
                                                           QStringLiteral("The artwork at %1 is not an image.")
                                                               .arg(url.toDisplayString())));
        }
        return image;
    }
};

} // namespace

TULOArtworkDataSource::~TULOArtworkDataSource() = default;

TULOArtworkCatalog::TULOArtworkCatalog(std::shared_ptr<const TULOArtworkDataSource> dataSource, const QString &token)
    : m_dataSource(std::move(dataSource)), m_token(token)
{
}

TULOArtworkCatalog TULOArtworkCatalog::withImage(const QImage &image)
{
    return TULOArtworkCatalog(std::make_shared<StaticImageSource>(image), QString());
}

TULOArtworkCatalog TULOArtworkCatalog::withFile(const QString &path)
{
    static const auto source = std::make_shared<FileSource>();
    return TULOArtworkCatalog(source, path);
}

TULOArtworkCatalog TULOArtworkCatalog::withURL(const QUrl &url)
{
    static const auto source = std::make_shared<URLSource>();
    return TULOArtworkCatalog(source, url.toString(QUrl::FullyEncoded));
}

QImage TULOArtworkCatalog::staticImage() const
{
    const auto *source = dynamic_cast<const StaticImageSource *>(m_dataSource.get());
    return source ? source->m_image : QImage();
}

QImage TULOArtworkCatalog::imageWithSize(const QSizeF &fittingSize, double scale, TULOError *error) const
{
    if (!m_dataSource) {
        TULOSetError(error, TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed,
                                                       QStringLiteral("There is no artwork.")));
        return QImage();
    }
    if (scale <= 0)
        scale = 1.0;
    QImage image = m_dataSource->loadImage(m_token, error);
    if (image.isNull())
        return image;
    if (fittingSize.isValid() && !fittingSize.isEmpty()) {
        const QSize pixels = (fittingSize * scale).toSize();
        if (pixels != image.size())
            image = image.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    image.setDevicePixelRatio(scale);
    return image;
}

void TULOArtworkCatalog::requestImage(Completion completion) const
{
    const TULOArtworkCatalog catalog = *this;
    artworkPool()->start(QRunnable::create([catalog, completion = std::move(completion)] {
        artworkThreadFlag().setLocalData(true);
        TULOError error;
        const QImage image = catalog.imageWithSize(catalog.fittingSize(), catalog.destinationScale(), &error);
        if (completion)
            completion(image, image.isNull() ? error : TULOError());
    }));
}

bool TULOArtworkCatalog::isArtworkThread()
{
    return artworkThreadFlag().hasLocalData() && artworkThreadFlag().localData();
}

bool TULOArtworkCatalog::operator==(const TULOArtworkCatalog &other) const
{
    return m_dataSource == other.m_dataSource && m_token == other.m_token;
}
