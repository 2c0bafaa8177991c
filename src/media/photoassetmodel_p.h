#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/image/thumbnailcache.h>
#include <Quillon/platform/library/photoasset.h>

#include <QAbstractListModel>
#include <QCache>
#include <QHash>
#include <QImage>
#include <QList>
#include <QPixmap>
#include <QScrollBar>
#include <QSet>
#include <QStyledItemDelegate>

#include <functional>
#include <memory>

class QListView;
class TULOPhotoLibrary;

// Photos and videos of the photo library for the shelf and the image picker. Thumbnails are
// asked for when a view first paints a cell, so only what is on screen is decoded, and they
// arrive from the thumbnail cache's workers. The thumbnails kept in memory are bounded: a grid
// scrolled through a library of any size holds the recent ones, and asks again for the others.
class TULOPhotoAssetModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        AssetRole = Qt::UserRole + 1, // QVariant of the TULOPhotoAsset
        ThumbnailRole,                // QImage, null until it has arrived
        FailedRole,                   // bool: no thumbnail can be made (a broken file)
        IsVideoRole,
        FolderRole,                   // the asset's folder relative to the library, "" at its top
        DurationRole,                 // a video's length as text ("1:05"); empty for photos
    };

    explicit TULOPhotoAssetModel(const TULOThumbnailCache &cache = TULOThumbnailCache(), QObject *parent = nullptr);

    void setAssets(const QList<TULOPhotoAsset> &assets, const QString &libraryPath);
    QList<TULOPhotoAsset> assets() const { return m_assets; }
    TULOPhotoAsset assetAt(int row) const;
    // The folders (albums) that hold assets, sorted; "" is the library's own top folder.
    QStringList folders() const;
    // The files of `rows`, and the rows of files, in the order given (files not here are left out):
    // a selection survives new assets this way.
    QStringList filePathsForRows(const QList<int> &rows) const;
    QList<int> rowsForFilePaths(const QStringList &filePaths) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

    // A photo or video of the library as an attachment: its asset URL and type, its thumbnail.
    TULOAttachmentPtr attachmentForRow(int row) const;

    // Thumbnails delivered so far; for tests and benchmarks.
    int thumbnailCount() const { return m_deliveredCount; }
    TULOThumbnailLoader *loader() { return &m_loader; }

    // Thumbnails kept in memory: at most `kilobytes` of pixels, the least recently shown go first.
    void setThumbnailMemoryLimit(int kilobytes) { m_thumbnails.setMaxCost(kilobytes); }
    int thumbnailMemoryLimit() const { return int(m_thumbnails.maxCost()); }
    int thumbnailMemoryUsed() const { return int(m_thumbnails.totalCost()); }

    // What a view is about to show: thumbnails of `rows` are made by workers that yield to those
    // asked for by painting, and pending ones for rows outside `wantedRows` are dropped (asked
    // again if shown).
    void prefetchRows(const QList<int> &rows);
    void cancelRequestsExcept(const QList<int> &wantedRows);

Q_SIGNALS:
    void thumbnailArrived(int row);

private:
    struct Thumbnail {
        QImage image;
        QDateTime modified; // of the file the picture was made from
    };

    void thumbnailReady(const QString &filePath, const QImage &image, const TULOError &error);
    // The thumbnail in memory when it was made from the file as the asset knows it.
    QImage currentThumbnail(const TULOPhotoAsset &asset) const;
    // Neither failed nor asked for already.
    bool needsThumbnail(const TULOPhotoAsset &asset) const;

    QList<TULOPhotoAsset> m_assets;
    QString m_libraryPath;
    QHash<QString, int> m_rowsByPath;
    mutable QCache<QString, Thumbnail> m_thumbnails; // looking one up makes it the most recent
    QSet<QString> m_failed;
    mutable QSet<QString> m_requested;
    int m_deliveredCount = 0;
    TULOThumbnailLoader m_loader;
};

// Keeps the thumbnails of a list view's model coming ahead of its scrolling: the page beyond
// the visible one in the direction of the scroll is made next, and what was scrolled past and
// not made yet is dropped. The view's model is the asset model or a proxy of it.
class TULOPhotoAssetPrefetcher : public QObject
{
    Q_OBJECT

public:
    TULOPhotoAssetPrefetcher(QListView *view, TULOPhotoAssetModel *model);

    // Source rows of the visible cells, then of those to make next; for tests.
    QList<int> visibleRows() const;
    QList<int> prefetchedRows() const { return m_prefetched; }

private:
    void scrolled(int value);
    int sourceRow(int viewRow) const;
    // The model rows of `count` view rows from `first` (none when `first` is negative).
    QList<int> sourceRows(int first, int count) const;

    QListView *m_view;
    TULOPhotoAssetModel *m_model;
    int m_lastValue = 0;
    QList<int> m_prefetched;
};

// Paints a square, centre-cropped thumbnail with a check mark when selected, a badge for
// videos and a placeholder for a photo that cannot be shown. Used by the shelf and the grid.
class TULOPhotoAssetItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit TULOPhotoAssetItemDelegate(int cellSize, QObject *parent = nullptr);

    int cellSize() const { return m_cellSize; }
    void setCellSize(int cellSize) { m_cellSize = cellSize; }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    // A part of a cell (the placeholder, the check mark, the selection and focus rings) drawn once
    // per look and size: painting a cell while scrolling is then a copy of pixels, where
    // anti-aliased shapes drawn afresh would cost the GUI thread on every frame. Drawn in bands
    // (TULOPaintInBands).
    QPixmap decoration(const QString &key, const QSize &size, qreal devicePixelRatio,
        const std::function<void(QPainter *painter, const QRectF &rect)> &draw) const;
    // A thumbnail centre-cropped to the cell with rounded corners, kept like a decoration.
    QPixmap thumbnailCell(const QImage &thumbnail, const QSize &size, qreal devicePixelRatio) const;
    QPixmap cachedPicture(const QString &key, const QSize &size, qreal devicePixelRatio,
        const std::function<QImage(const QSize &pixels)> &make) const;

    int m_cellSize;
    mutable QCache<QString, QPixmap> m_decorations;
};

// Runs `paint` once for each horizontal band of `area` (in the painter's coordinates), clipped to
// the band, so that the same picture comes out in pieces of at most `bandRows` device pixel rows.
// Qt's raster engine hands a fill or blend of 96 spans or more to its global thread pool and
// waits for it: on busy processors the GUI thread then waits for a pool thread to be scheduled.
// An anti-aliased curve makes a span of nearly every pixel along it, so shapes need bands of a
// few rows.
void TULOPaintInBands(QPainter *painter, const QRectF &area, const std::function<void()> &paint, int bandRows);

// A scroll bar that paints itself as the stock one does, but in bands: the styles fill its
// groove and draw its lines over the whole height, which Qt's raster engine hands to its global
// thread pool, so each step of a scroll waited for pool threads that thumbnail workers or other
// programs may keep from a processor.
class TULOBandedScrollBar : public QScrollBar
{
public:
    explicit TULOBandedScrollBar(Qt::Orientation orientation, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QStyle::SubControl controlAt(const QPoint &position) const;

    // What QScrollBar keeps to itself, followed here for the look of a pressed or hovered part.
    QStyle::SubControl m_pressedControl = QStyle::SC_None;
    bool m_pointerOutsidePressedControl = false;
};

// The rows of a selection in the order they were checked: those still selected keep their
// place, newly selected ones follow in row order.
QList<int> TULOSelectionOrder(const QList<int> &previous, QList<int> selectedRows);

// Reads the library's newest assets (every one for a negative limit) on a worker thread and
// hands them to `done` on the GUI thread, unless `receiver` is gone by then: first as the
// library's index knows them, then once more if the folder turns out to have changed.
void TULOLoadPhotoAssets(const std::shared_ptr<TULOPhotoLibrary> &library, int limit, QObject *receiver,
    std::function<void(const QList<TULOPhotoAsset> &assets, const TULOError &error)> done);

// Watches the library's folders and calls `reload` on `receiver`'s thread whenever it finds
// them changed, for as long as `receiver` lives. Nothing for a null library.
void TULOFollowPhotoLibraryChanges(TULOPhotoLibrary *library, QObject *receiver, std::function<void()> reload);

// A video's length as its badge shows it: "0:42", "12:05", "1:02:03".
QString TULOCompactDuration(double seconds);

// The accessible description of an asset: its file name and kind.
QString TULOPhotoAssetAccessibleName(const TULOPhotoAsset &asset);
