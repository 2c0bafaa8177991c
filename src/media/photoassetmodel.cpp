#include <Quillon/media/photoassetmodel_p.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <Quillon/platform/library/photolibrary.h>

#include <QAbstractProxyModel>
#include <QApplication>
#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QListView>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScrollBar>
#include <QStyleOptionSlider>

#include <algorithm>
#include <cmath>

namespace {

// Thumbnails in memory: some 700 at the normal size, dozens of pages of a grid.
constexpr int thumbnailMemoryKilobytes = 32 * 1024;
// Cells ready to paint, for the cells on screen and those just scrolled past, at 2x too.
constexpr int cellMemoryKilobytes = 16 * 1024;

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
    : QAbstractListModel(parent), m_thumbnails(thumbnailMemoryKilobytes), m_loader(cache)
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
        const QImage thumbnail = currentThumbnail(asset);
        if (thumbnail.isNull() && needsThumbnail(asset)) {
            m_requested.insert(path);
            const_cast<TULOThumbnailLoader &>(m_loader).requestThumbnail(path, TULOThumbnailSizeNormal, asset.date());
        }
        return thumbnail;
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
    QImage thumbnail = currentThumbnail(asset);
    // One scrolled out of memory long ago is read back from the cache (a small file).
    if (thumbnail.isNull() && !m_failed.contains(asset.filePath()))
        thumbnail = m_loader.cache().cachedThumbnail(asset.filePath(), TULOThumbnailSizeNormal, asset.date());
    attachment->setThumbnailImage(thumbnail);
    return attachment;
}

QImage TULOPhotoAssetModel::currentThumbnail(const TULOPhotoAsset &asset) const
{
    const Thumbnail *thumbnail = m_thumbnails.object(asset.filePath());
    // A file changed since its picture was made gets a new one.
    return thumbnail && thumbnail->modified == asset.date() ? thumbnail->image : QImage();
}

bool TULOPhotoAssetModel::needsThumbnail(const TULOPhotoAsset &asset) const
{
    const QString &path = asset.filePath();
    return !m_failed.contains(path) && !m_requested.contains(path);
}

void TULOPhotoAssetModel::prefetchRows(const QList<int> &rows)
{
    for (const int row : rows) {
        const TULOPhotoAsset asset = assetAt(row);
        if (asset.isNull() || !needsThumbnail(asset) || !currentThumbnail(asset).isNull())
            continue;
        m_requested.insert(asset.filePath());
        m_loader.prefetchThumbnail(asset.filePath(), TULOThumbnailSizeNormal, asset.date());
    }
}

void TULOPhotoAssetModel::cancelRequestsExcept(const QList<int> &wantedRows)
{
    QSet<QString> wanted;
    for (const int row : wantedRows) {
        if (row >= 0 && row < m_assets.size())
            wanted.insert(m_assets.at(row).filePath());
    }
    const QStringList cancelled = m_loader.cancelThumbnails([&wanted](const QString &path) { return wanted.contains(path); });
    for (const QString &path : cancelled)
        m_requested.remove(path);
}

void TULOPhotoAssetModel::thumbnailReady(const QString &filePath, const QImage &image, const TULOError &error)
{
    Q_UNUSED(error) // the cell shows a placeholder; the file name is in its tool tip
    ++m_deliveredCount;
    m_requested.remove(filePath);
    const auto row = m_rowsByPath.constFind(filePath);
    if (row == m_rowsByPath.constEnd())
        return;
    if (image.isNull()) {
        m_failed.insert(filePath);
    } else {
        const int cost = std::max(1, int(image.sizeInBytes() / 1024));
        m_thumbnails.insert(filePath, new Thumbnail{image, m_assets.at(*row).date()}, cost);
    }
    const QModelIndex changed = index(*row);
    Q_EMIT dataChanged(changed, changed, {ThumbnailRole, FailedRole});
    Q_EMIT thumbnailArrived(*row);
}

TULOPhotoAssetPrefetcher::TULOPhotoAssetPrefetcher(QListView *view, TULOPhotoAssetModel *model)
    : QObject(view), m_view(view), m_model(model)
{
    for (QScrollBar *bar : {view->verticalScrollBar(), view->horizontalScrollBar()})
        connect(bar, &QScrollBar::valueChanged, this, &TULOPhotoAssetPrefetcher::scrolled);
}

int TULOPhotoAssetPrefetcher::sourceRow(int viewRow) const
{
    const auto *proxy = qobject_cast<const QAbstractProxyModel *>(m_view->model());
    return proxy ? proxy->mapToSource(proxy->index(viewRow, 0)).row() : viewRow;
}

namespace {

// The first visible row of a list view and how many rows a screenful holds (a few more when
// cells are cut at the edges).
std::pair<int, int> visibleRange(const QListView *view)
{
    const QModelIndex first = view->indexAt(QPoint(1, 1));
    const QRect cell = first.isValid() ? view->visualRect(first) : QRect();
    if (cell.isEmpty())
        return {-1, 0};
    const QSize area = view->viewport()->size();
    const int across = std::max(1, area.width() / cell.width()), down = std::max(1, area.height() / cell.height());
    if (!view->isWrapping())
        return {first.row(), (view->flow() == QListView::LeftToRight ? across : down) + 2};
    return {first.row(), view->flow() == QListView::LeftToRight ? across * (down + 2) : down * (across + 2)};
}

} // namespace

QList<int> TULOPhotoAssetPrefetcher::sourceRows(int first, int count) const
{
    QList<int> rows;
    const int end = first < 0 ? first : std::min(first + count, m_view->model()->rowCount());
    for (int row = first; row < end; ++row)
        rows << sourceRow(row);
    return rows;
}

QList<int> TULOPhotoAssetPrefetcher::visibleRows() const
{
    const auto [first, count] = visibleRange(m_view);
    return sourceRows(first, count);
}

void TULOPhotoAssetPrefetcher::scrolled(int value)
{
    const bool backwards = value < m_lastValue;
    m_lastValue = value;
    const auto [first, count] = visibleRange(m_view);
    if (first < 0)
        return;
    const int rowCount = m_view->model()->rowCount();
    m_prefetched.clear();
    // Nearest first: the workers take prefetched rows in the order given.
    if (backwards) {
        for (int row = first - 1; row >= std::max(0, first - count); --row)
            m_prefetched << sourceRow(row);
    } else {
        for (int row = first + count; row < std::min(rowCount, first + 2 * count); ++row)
            m_prefetched << sourceRow(row);
    }
    m_model->cancelRequestsExcept(sourceRows(first, count) + m_prefetched);
    m_model->prefetchRows(m_prefetched);
}

void TULOPaintInBands(QPainter *painter, const QRectF &area, const std::function<void()> &paint, int bandRows)
{
    // Bands are cut on whole device rows, so that neighbours meet without a gap or an overlap
    // (which would blend a translucent edge twice).
    const QTransform toDevice = painter->deviceTransform();
    bool invertible = false;
    const QTransform fromDevice = toDevice.inverted(&invertible);
    const QRectF device = toDevice.mapRect(area);
    if (!invertible || toDevice.isRotating() || device.height() <= bandRows) {
        paint();
        return;
    }
    const int top = int(std::floor(device.top())), bottom = int(std::ceil(device.bottom()));
    for (int row = top; row < bottom; row += bandRows) {
        const QRectF band = fromDevice.mapRect(QRectF(device.left(), row, device.width(), std::min(bandRows, bottom - row)));
        painter->save();
        painter->setClipRect(band, Qt::IntersectClip);
        paint();
        painter->restore();
    }
}

TULOBandedScrollBar::TULOBandedScrollBar(Qt::Orientation orientation, QWidget *parent)
    : QScrollBar(orientation, parent)
{
}

QStyle::SubControl TULOBandedScrollBar::controlAt(const QPoint &position) const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    return style()->hitTestComplexControl(QStyle::CC_ScrollBar, &option, position, this);
}

void TULOBandedScrollBar::paintEvent(QPaintEvent *event)
{
    // As QScrollBar paints itself, with the pressed and hovered parts it would show.
    QStyleOptionSlider option;
    initStyleOption(&option);
    option.subControls = QStyle::SC_All;
    if (m_pressedControl != QStyle::SC_None) {
        option.activeSubControls = m_pressedControl;
        if (!m_pointerOutsidePressedControl)
            option.state |= QStyle::State_Sunken;
    } else if (underMouse()) {
        option.activeSubControls = controlAt(mapFromGlobal(QCursor::pos()));
    }
    QPainter painter(this);
    // The target's own scale: a screen's, or that of a picture the bar is rendered into.
    const QTransform toDevice = painter.deviceTransform();
    const qreal ratio = toDevice.isScaling() && !toDevice.isRotating() ? toDevice.m22() : devicePixelRatioF();
    // Styles set clips of their own, so a clip cannot cut the bar into bands: each band is painted
    // into a picture of its own, whose height bounds every fill. Bands end on whole device rows.
    int bandPoints = std::max(1, int(64 / ratio));
    while (bandPoints > 1 && std::abs(bandPoints * ratio - std::round(bandPoints * ratio)) > 1e-6)
        --bandPoints;
    // One picture serves every band; the last, shorter one uses its top.
    QImage picture((QSizeF(width(), std::min(bandPoints, height())) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(ratio);
    for (int top = 0; top < height(); top += bandPoints) {
        const QRect band(0, top, width(), std::min(bandPoints, height() - top));
        if (!event->region().intersects(band))
            continue;
        picture.fill(Qt::transparent);
        QPainter bandPainter(&picture);
        bandPainter.translate(0, -top);
        style()->drawComplexControl(QStyle::CC_ScrollBar, &option, &bandPainter, this);
        bandPainter.end();
        painter.drawImage(QRectF(band), picture, QRectF(QPointF(0, 0), QSizeF(band.size()) * ratio));
    }
}

void TULOBandedScrollBar::mousePressEvent(QMouseEvent *event)
{
    const QStyle::SubControl control = controlAt(event->position().toPoint());
    QScrollBar::mousePressEvent(event);
    if (event->isAccepted() && (event->buttons() & (Qt::LeftButton | Qt::MiddleButton))) {
        // A click that jumps there takes the slider, wherever it landed.
        m_pressedControl = isSliderDown() ? QStyle::SC_ScrollBarSlider : control;
        m_pointerOutsidePressedControl = false;
        update();
    }
}

void TULOBandedScrollBar::mouseMoveEvent(QMouseEvent *event)
{
    QScrollBar::mouseMoveEvent(event);
    if (m_pressedControl == QStyle::SC_None || m_pressedControl == QStyle::SC_ScrollBarSlider)
        return;
    const bool outside = controlAt(event->position().toPoint()) != m_pressedControl;
    if (outside != m_pointerOutsidePressedControl) {
        m_pointerOutsidePressedControl = outside;
        update();
    }
}

void TULOBandedScrollBar::mouseReleaseEvent(QMouseEvent *event)
{
    QScrollBar::mouseReleaseEvent(event);
    if (!(event->buttons() & (Qt::LeftButton | Qt::MiddleButton)) && m_pressedControl != QStyle::SC_None) {
        m_pressedControl = QStyle::SC_None;
        update();
    }
}

namespace {

// Qt's raster engine hands a blend of more than some 96 scanlines to its global thread pool in
// parts and waits for them: with the processors busy (thumbnails being made, other programs) the
// GUI thread then waits for a pool thread to be scheduled, for each cell. Bands of fewer rows are
// blended on the GUI thread itself, which is quicker for a cell anyway.
void drawInBands(QPainter *painter, const QPoint &topLeft, const QPixmap &pixmap)
{
    // In points, so that bands meet on whole points at any scale (up to 3x stays under the limit).
    constexpr int bandPoints = 24;
    const qreal ratio = pixmap.devicePixelRatio();
    const QSizeF size = pixmap.deviceIndependentSize();
    for (int top = 0; top < size.height(); top += bandPoints) {
        const qreal points = std::min<qreal>(bandPoints, size.height() - top);
        painter->drawPixmap(QRectF(topLeft.x(), topLeft.y() + top, size.width(), points), pixmap,
            QRectF(0, top * ratio, pixmap.width(), points * ratio));
    }
}

} // namespace

TULOPhotoAssetItemDelegate::TULOPhotoAssetItemDelegate(int cellSize, QObject *parent)
    : QStyledItemDelegate(parent), m_cellSize(cellSize), m_decorations(cellMemoryKilobytes)
{
}

QPixmap TULOPhotoAssetItemDelegate::cachedPicture(const QString &key, const QSize &size, qreal devicePixelRatio,
    const std::function<QImage(const QSize &pixels)> &make) const
{
    const QSize pixels = (QSizeF(size) * devicePixelRatio).toSize();
    const QString sizedKey = key + QStringLiteral("/%1x%2@%3").arg(pixels.width()).arg(pixels.height()).arg(devicePixelRatio);
    if (const QPixmap *cached = m_decorations.object(sizedKey))
        return *cached;
    QPixmap pixmap = QPixmap::fromImage(make(pixels));
    pixmap.setDevicePixelRatio(devicePixelRatio);
    m_decorations.insert(sizedKey, new QPixmap(pixmap), std::max(1, int(pixels.width() * qint64(pixels.height()) * 4 / 1024)));
    return pixmap;
}

QPixmap TULOPhotoAssetItemDelegate::decoration(const QString &key, const QSize &size, qreal devicePixelRatio,
    const std::function<void(QPainter *painter, const QRectF &rect)> &draw) const
{
    return cachedPicture(key, size, devicePixelRatio, [&](const QSize &pixels) {
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.scale(devicePixelRatio, devicePixelRatio);
        const QRectF rect(QPointF(0, 0), QSizeF(size));
        // Made once per look and size, so bands of two rows: few enough spans for any shape here.
        TULOPaintInBands(&painter, rect, [&] { draw(&painter, rect); }, 2);
        painter.end();
        return image;
    });
}

QPixmap TULOPhotoAssetItemDelegate::thumbnailCell(const QImage &thumbnail, const QSize &size, qreal devicePixelRatio) const
{
    // One for each new cell of a scroll, so without a painter over the whole cell: QImage scales a
    // picture of thumbnail size on the calling thread, and only the corners are painted.
    return cachedPicture(QStringLiteral("thumbnail:%1").arg(thumbnail.cacheKey()), size, devicePixelRatio,
        [&](const QSize &pixels) {
            // Centre-cropped to the square cell.
            const QImage scaled = thumbnail.scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
            QImage cell = scaled.copy(QRect(QPoint((scaled.width() - pixels.width()) / 2, (scaled.height() - pixels.height()) / 2), pixels))
                              .convertToFormat(QImage::Format_ARGB32_Premultiplied);
            QPainter painter(&cell);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setCompositionMode(QPainter::CompositionMode_Clear);
            painter.scale(devicePixelRatio, devicePixelRatio);
            const QSizeF points = QSizeF(pixels) / devicePixelRatio;
            // Each corner outside its quarter circle, as a rounded clip would leave it; worked out once.
            static const QPainterPath corner = [] {
                constexpr qreal radius = 4;
                QPainterPath square;
                square.addRect(0, 0, radius, radius);
                QPainterPath round;
                round.addEllipse(QRectF(0, 0, 2 * radius, 2 * radius));
                return square.subtracted(round);
            }();
            for (const auto &[x, y] : {std::pair{0.0, 0.0}, {1.0, 0.0}, {0.0, 1.0}, {1.0, 1.0}}) {
                QTransform place;
                place.translate(x * points.width(), y * points.height());
                place.scale(x ? -1 : 1, y ? -1 : 1);
                painter.fillPath(place.map(corner), Qt::black);
            }
            painter.end();
            return cell;
        });
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
    const qreal ratio = option.widget ? option.widget->devicePixelRatioF() : painter->device()->devicePixelRatioF();
    const auto colorKey = [&palette](QPalette::ColorRole role) { return QString::number(palette.color(role).rgba(), 16); };
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);

    const QImage thumbnail = index.data(TULOPhotoAssetModel::ThumbnailRole).value<QImage>();
    const bool video = index.data(TULOPhotoAssetModel::IsVideoRole).toBool();
    if (!thumbnail.isNull()) {
        drawInBands(painter, cell.topLeft(), thumbnailCell(thumbnail, cell.size(), ratio));
    } else {
        // The placeholder until the thumbnail arrives.
        const QColor color = palette.color(QPalette::AlternateBase);
        drawInBands(painter, cell.topLeft(),
            decoration(QStringLiteral("placeholder:") + colorKey(QPalette::AlternateBase), cell.size(), ratio,
                [color](QPainter *cellPainter, const QRectF &rect) {
                    cellPainter->setPen(Qt::NoPen);
                    cellPainter->setBrush(color);
                    cellPainter->drawRoundedRect(rect, 4, 4);
                }));
    }
    if (thumbnail.isNull() && (index.data(TULOPhotoAssetModel::FailedRole).toBool() || video)) {
        // A broken photo (or a video nobody has made a picture of) shows its kind, not a hole.
        const int side = cell.width() / 3;
        const QRect symbol(cell.center().x() - side / 2, cell.center().y() - side / 2, side, side);
        if (video) {
            // Drawn in the text colour: the style's play icon is black, lost on a dark placeholder.
            painter->setPen(Qt::NoPen);
            painter->setBrush(palette.color(QPalette::PlaceholderText));
            const QPointF triangle[3] = {{symbol.left() + side * 0.25, qreal(symbol.top())},
                {symbol.left() + side * 0.25, qreal(symbol.bottom())}, {symbol.right() - side * 0.1, symbol.center().y() + 0.5}};
            painter->drawPolygon(triangle, 3);
        } else {
            const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
            style->standardIcon(QStyle::SP_MessageBoxWarning).paint(painter, symbol);
        }
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
    const QColor highlight = palette.color(QPalette::Highlight);
    if (selected) {
        drawInBands(painter, cell.topLeft(),
            decoration(QStringLiteral("selected:") + colorKey(QPalette::Highlight), cell.size(), ratio,
                [highlight](QPainter *ringPainter, const QRectF &rect) {
                    ringPainter->setPen(QPen(highlight, 3));
                    ringPainter->drawRoundedRect(rect.adjusted(1.5, 1.5, -1.5, -1.5), 4, 4);
                }));
    }
    // The check mark circle: filled when selected, an empty ring otherwise so it reads as a toggle.
    const QColor tickColor = palette.color(QPalette::HighlightedText);
    painter->drawPixmap(QPoint(cell.right() - 24, cell.top() + 4),
        decoration(selected ? QStringLiteral("checked:") + colorKey(QPalette::Highlight) + colorKey(QPalette::HighlightedText)
                            : QStringLiteral("unchecked"),
            QSize(20, 20), ratio, [selected, highlight, tickColor](QPainter *markPainter, const QRectF &rect) {
                const QRectF mark = rect.adjusted(1, 1, -1, -1);
                markPainter->setPen(QPen(Qt::white, 1.5));
                markPainter->setBrush(selected ? highlight : QColor(0, 0, 0, 60));
                markPainter->drawEllipse(mark);
                if (selected) {
                    QPen tick(tickColor, 2);
                    tick.setCapStyle(Qt::RoundCap);
                    tick.setJoinStyle(Qt::RoundJoin);
                    markPainter->setPen(tick);
                    const QPointF points[3] = {{mark.left() + 4.5, mark.center().y()},
                        {mark.left() + 7.5, mark.bottom() - 5}, {mark.right() - 4, mark.top() + 5}};
                    markPainter->drawPolyline(points, 3);
                }
            }));
    if (option.state & QStyle::State_HasFocus) {
        drawInBands(painter, option.rect.topLeft(),
            decoration(QStringLiteral("focus:") + colorKey(QPalette::Highlight), option.rect.size(), ratio,
                [highlight](QPainter *focusPainter, const QRectF &rect) {
                    focusPainter->setPen(QPen(highlight, 1, Qt::DashLine));
                    focusPainter->drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
                }));
    }
    painter->restore();
}
