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
    };

    explicit TULOPhotoAssetModel(const TULOThumbnailCache &cache = TULOThumbnailCache(), QObject *parent = nullptr);

    void setAssets(const QList<TULOPhotoAsset> &assets, const QString &libraryPath);
    QList<TULOPhotoAsset> assets() const { return m_assets; }
    TULOPhotoAsset assetAt(int row) const;
    // The folders (albums) that hold assets, sorted; "" is the library's own top folder.
    QStringList folders() const;

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

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    int m_cellSize;
};

// The rows of a selection in the order they were checked: those still selected keep their
// place, newly selected ones follow in row order.
QList<int> TULOSelectionOrder(const QList<int> &previous, QList<int> selectedRows);

// Reads the library's newest assets (every one for a negative limit) on a worker thread and
// hands them to `done` on the GUI thread, unless `receiver` is gone by then.
void TULOLoadPhotoAssets(const std::shared_ptr<TULOPhotoLibrary> &library, int limit, QObject *receiver,
    std::function<void(const QList<TULOPhotoAsset> &assets, const TULOError &error)> done);

// The accessible description of an asset: its file name and kind.
QString TULOPhotoAssetAccessibleName(const TULOPhotoAsset &asset);
