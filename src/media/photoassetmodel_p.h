#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/image/thumbnailcache.h>
#include <Quillon/platform/library/photoasset.h>

#include <QAbstractListModel>
#include <QHash>
#include <QImage>
#include <QList>
#include <QSet>
#include <QStyledItemDelegate>

#include <functional>
#include <memory>

class TULOPhotoLibrary;

// Photos and videos of the photo library for the shelf and the image picker. Thumbnails are
// asked for when a view first paints a cell, so only what is on screen is decoded, and they
// arrive from the thumbnail cache's workers.
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
    int thumbnailCount() const { return int(m_thumbnails.size() + m_failed.size()); }
    TULOThumbnailLoader *loader() { return &m_loader; }

Q_SIGNALS:
    void thumbnailArrived(int row);

private:
    void thumbnailReady(const QString &filePath, const QImage &image, const TULOError &error);

    QList<TULOPhotoAsset> m_assets;
    QString m_libraryPath;
    QHash<QString, int> m_rowsByPath;
    QHash<QString, QImage> m_thumbnails;
    QSet<QString> m_failed;
    mutable QSet<QString> m_requested;
    TULOThumbnailLoader m_loader;
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
    int m_cellSize;
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
