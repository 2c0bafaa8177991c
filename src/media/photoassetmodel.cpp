#include <Quillon/media/photoassetmodel_p.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <Quillon/platform/library/photolibrary.h>

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>

#include <algorithm>
#include <cmath>

namespace {

QString localized(const char *key)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext());
}

} // namespace

QString TULOPhotoAssetAccessibleName(const TULOPhotoAsset &asset)
{
    const QString name = QFileInfo(asset.filePath()).fileName();
    return asset.assetType() == TULOPhotoAsset::Video ? name + QStringLiteral(", ") + localized("PHOTO_PICKER_VIDEO_BADGE")
                                                      : name;
}

QString TULOCompactDuration(double seconds)
{
    const qint64 total = std::isfinite(seconds) && seconds > 0 ? qRound64(seconds) : 0;
    const qint64 hours = total / 3600, minutes = total / 60 % 60, rest = total % 60;
    return hours > 0 ? QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(rest, 2, 10, QLatin1Char('0'))
                     : QStringLiteral("%1:%2").arg(minutes).arg(rest, 2, 10, QLatin1Char('0'));
}

QList<int> TULOSelectionOrder(const QList<int> &previous, QList<int> selectedRows)
{
    QList<int> order;
    for (const int row : previous) {
        if (selectedRows.contains(row))
            order << row;
    }
    std::sort(selectedRows.begin(), selectedRows.end());
    for (const int row : std::as_const(selectedRows)) {
        if (!order.contains(row))
            order << row;
    }
    return order;
}

void TULOLoadPhotoAssets(const std::shared_ptr<TULOPhotoLibrary> &library, int limit, QObject *receiver,
    std::function<void(const QList<TULOPhotoAsset> &assets, const TULOError &error)> done)
{
    const QPointer<QObject> guard(receiver);
    // On the library's own worker, which its destructor waits for.
    library->loadRecentAssets(limit, [guard, done](const QList<TULOPhotoAsset> &assets, const TULOError &error) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, assets, error, done] {
            if (guard)
                done(assets, error);
        }, Qt::QueuedConnection);
    });
}

void TULOFollowPhotoLibraryChanges(TULOPhotoLibrary *library, QObject *receiver, std::function<void()> reload)
{
    if (!library)
        return;
    library->setWatchesFolders(true);
    QObject::connect(library, &TULOPhotoLibrary::libraryDidChange, receiver, std::move(reload), Qt::QueuedConnection);
}

TULOPhotoAssetModel::TULOPhotoAssetModel(const TULOThumbnailCache &cache, QObject *parent)
    : QAbstractListModel(parent), m_loader(cache)
{
    connect(&m_loader, &TULOThumbnailLoader::thumbnailReady, this, &TULOPhotoAssetModel::thumbnailReady);
}

void TULOPhotoAssetModel::setAssets(const QList<TULOPhotoAsset> &assets, const QString &libraryPath)
{
    beginResetModel();
    m_loader.cancelAll();
    m_assets = assets;
    m_libraryPath = QDir::cleanPath(libraryPath);
    m_rowsByPath.clear();
    for (int row = 0; row < m_assets.size(); ++row)
        m_rowsByPath.insert(m_assets.at(row).filePath(), row);
    // Thumbnails already made stay; requests start again for what is shown.
    m_requested.clear();
    endResetModel();
}

TULOPhotoAsset TULOPhotoAssetModel::assetAt(int row) const
{
    return row >= 0 && row < m_assets.size() ? m_assets.at(row) : TULOPhotoAsset();
}

QStringList TULOPhotoAssetModel::folders() const
{
    QSet<QString> folders;
    for (int row = 0; row < m_assets.size(); ++row)
        folders.insert(data(index(row), FolderRole).toString());
    QStringList sorted(folders.begin(), folders.end());
    sorted.sort(Qt::CaseInsensitive);
    return sorted;
}

QStringList TULOPhotoAssetModel::filePathsForRows(const QList<int> &rows) const
{
    QStringList paths;
    for (const int row : rows) {
        if (row >= 0 && row < m_assets.size())
            paths << m_assets.at(row).filePath();
    }
    return paths;
}

QList<int> TULOPhotoAssetModel::rowsForFilePaths(const QStringList &filePaths) const
{
    QList<int> rows;
    for (const QString &path : filePaths) {
        const auto row = m_rowsByPath.constFind(path);
        if (row != m_rowsByPath.constEnd())
            rows << *row;
    }
    return rows;
}

int TULOPhotoAssetModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_assets.size());
}

QVariant TULOPhotoAssetModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_assets.size())
        return QVariant();
    const TULOPhotoAsset &asset = m_assets.at(index.row());
    const QString &path = asset.filePath();
    switch (role) {
    case Qt::DisplayRole:
        return QFileInfo(path).fileName();
    case Qt::AccessibleTextRole:
    case Qt::ToolTipRole: {
        const QString duration = data(index, DurationRole).toString();
        return duration.isEmpty() ? TULOPhotoAssetAccessibleName(asset)
                                  : TULOPhotoAssetAccessibleName(asset) + QStringLiteral(", ") + duration;
    }
    case AssetRole:
        return QVariant::fromValue(asset);
    case ThumbnailRole: {
        const auto found = m_thumbnails.constFind(path);
        if (found != m_thumbnails.constEnd())
            return *found;
        if (!m_failed.contains(path) && !m_requested.contains(path)) {
            m_requested.insert(path);
            const_cast<TULOThumbnailLoader &>(m_loader).requestThumbnail(path, TULOThumbnailSizeNormal);
        }
        return QImage();
    }
    case FailedRole:
        return m_failed.contains(path);
    case IsVideoRole:
        return asset.assetType() == TULOPhotoAsset::Video;
    case DurationRole:
        return asset.duration() > 0 ? TULOCompactDuration(asset.duration()) : QString();
    case FolderRole: {
        const QString folder = QFileInfo(path).absolutePath();
        return folder.startsWith(m_libraryPath + QLatin1Char('/')) ? folder.mid(m_libraryPath.size() + 1) : QString();
    }
    default:
        return QVariant();
    }
}

TULOAttachmentPtr TULOPhotoAssetModel::attachmentForRow(int row) const
{
    const TULOPhotoAsset asset = assetAt(row);
    if (asset.isNull())
        return nullptr;
    auto attachment = std::make_shared<TULOAttachment>(asset.assetURL(), asset.defaultRepresentation().UTI());
    attachment->setThumbnailImage(m_thumbnails.value(asset.filePath()));
    return attachment;
}

void TULOPhotoAssetModel::thumbnailReady(const QString &filePath, const QImage &image, const TULOError &error)
{
    Q_UNUSED(error) // the cell shows a placeholder; the file name is in its tool tip
    const auto row = m_rowsByPath.constFind(filePath);
    if (image.isNull())
        m_failed.insert(filePath);
    else
        m_thumbnails.insert(filePath, image);
    if (row == m_rowsByPath.constEnd())
        return;
    const QModelIndex changed = index(*row);
    Q_EMIT dataChanged(changed, changed, {ThumbnailRole, FailedRole});
    Q_EMIT thumbnailArrived(*row);
}

TULOPhotoAssetItemDelegate::TULOPhotoAssetItemDelegate(int cellSize, QObject *parent)
    : QStyledItemDelegate(parent), m_cellSize(cellSize)
{
}

QSize TULOPhotoAssetItemDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return QSize(m_cellSize, m_cellSize);
}

void TULOPhotoAssetItemDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
    const QModelIndex &index) const
{
    const QPalette &palette = option.palette;
    const QRect cell = option.rect.adjusted(2, 2, -2, -2);
    const bool selected = option.state & QStyle::State_Selected;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(cell, 4, 4);
    painter->setClipPath(clip);
    painter->fillRect(cell, palette.color(QPalette::AlternateBase));

    const QImage thumbnail = index.data(TULOPhotoAssetModel::ThumbnailRole).value<QImage>();
    const bool video = index.data(TULOPhotoAssetModel::IsVideoRole).toBool();
    if (!thumbnail.isNull()) {
        // Centre-cropped to the square cell.
        const QSizeF size = thumbnail.size().scaled(cell.size(), Qt::KeepAspectRatioByExpanding);
        const QRectF target(cell.center().x() - size.width() / 2 + 0.5, cell.center().y() - size.height() / 2 + 0.5,
            size.width(), size.height());
        painter->drawImage(target, thumbnail);
    } else if (index.data(TULOPhotoAssetModel::FailedRole).toBool() || video) {
        // A broken photo (or a video nobody has made a picture of) shows its kind, not a hole.
        const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
        const QIcon icon = style->standardIcon(video ? QStyle::SP_MediaPlay : QStyle::SP_MessageBoxWarning);
        const int side = cell.width() / 3;
        icon.paint(painter, QRect(cell.center().x() - side / 2, cell.center().y() - side / 2, side, side));
    }
    if (video) {
        // A film badge in the corner, with the length when it is known.
        const QString duration = index.data(TULOPhotoAssetModel::DurationRole).toString();
        QFont font = option.font;
        if (font.pointSizeF() > 0)
            font.setPointSizeF(font.pointSizeF() * 0.85);
        font.setWeight(QFont::DemiBold);
        const QFontMetrics metrics(font);
        const int textWidth = duration.isEmpty() ? 0 : metrics.horizontalAdvance(duration) + 4;
        const int height = std::max(16, metrics.height() + 2);
        const QRect badge(cell.left() + 4, cell.bottom() - 3 - height, std::min(24 + textWidth, cell.width() - 8), height);
        painter->setPen(Qt::NoPen);
        painter->setBrush(QColor(0, 0, 0, 150));
        painter->drawRoundedRect(badge, 3, 3);
        painter->setBrush(Qt::white);
        const qreal middle = badge.center().y() + 0.5;
        const QPointF triangle[3] = {{badge.left() + 9.0, middle - 4.0}, {badge.left() + 9.0, middle + 4.0},
            {badge.left() + 16.0, middle}};
        painter->drawPolygon(triangle, 3);
        if (!duration.isEmpty()) {
            painter->setFont(font);
            painter->setPen(Qt::white);
            painter->drawText(badge.adjusted(20, 0, -4, 0), Qt::AlignRight | Qt::AlignVCenter, duration);
        }
    }
    painter->setClipping(false);
    const QColor highlight = palette.color(QPalette::Highlight);
    if (selected) {
        painter->setPen(QPen(highlight, 3));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(cell).adjusted(1.5, 1.5, -1.5, -1.5), 4, 4);
    }
    // The check mark circle: filled when selected, an empty ring otherwise so it reads as a toggle.
    const QRectF mark(cell.right() - 23, cell.top() + 5, 18, 18);
    painter->setPen(QPen(Qt::white, 1.5));
    painter->setBrush(selected ? highlight : QColor(0, 0, 0, 60));
    painter->drawEllipse(mark);
    if (selected) {
        QPen tick(palette.color(QPalette::HighlightedText), 2);
        tick.setCapStyle(Qt::RoundCap);
        tick.setJoinStyle(Qt::RoundJoin);
        painter->setPen(tick);
        const QPointF points[3] = {{mark.left() + 4.5, mark.center().y()}, {mark.left() + 7.5, mark.bottom() - 5},
            {mark.right() - 4, mark.top() + 5}};
        painter->drawPolyline(points, 3);
    }
    if (option.state & QStyle::State_HasFocus) {
        painter->setPen(QPen(highlight, 1, Qt::DashLine));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    }
    painter->restore();
}
