#include <Quillon/compose/taglistviewcontroller.h>

#include <Quillon/compose/tagdataconsumer.h>
#include <Quillon/compose/taglisttableviewcell.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QResizeEvent>

namespace {

const QString TULOTagCellIdentifier = QStringLiteral("0");
const QColor TULOTagListBackground = QColor::fromRgbF(0.9725f, 0.9725f, 0.9725f);
const QColor TULOTagListLine = QColor::fromRgbF(0.8196f, 0.8196f, 0.8196f);

// The list's root: the table under a one-pixel line; keys that reach it move and choose.
class TULOTagListRootView : public QWidget
{
public:
    TULOTagListRootView(TULOTagListViewController *controller, QWidget *table)
        : m_controller(controller)
        , m_table(table)
    {
        m_table->setParent(this);
        setAccessibleName(TULOLocalization::defaultLocalization()->localizedStringForKey(
            QStringLiteral("TAG_LIST_ACCESSIBLE_NAME"), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext()));
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        const int line = std::max(1, int(std::ceil(1.0 / devicePixelRatioF())));
        m_table->setGeometry(0, line, width(), std::max(0, height() - line));
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const bool dark = palette().color(QPalette::Window).lightness() < 128;
        painter.fillRect(QRectF(0, 0, width(), 1.0 / devicePixelRatioF()), dark ? palette().color(QPalette::Mid) : TULOTagListLine);
    }
    bool event(QEvent *event) override
    {
        // Tab chooses a row here; it must not move the focus as it would in a plain widget.
        if (event->type() == QEvent::KeyPress) {
            keyPressEvent(static_cast<QKeyEvent *>(event));
            return event->isAccepted();
        }
        return QWidget::event(event);
    }
    void keyPressEvent(QKeyEvent *event) override
    {
        if (m_controller && m_controller->handleKeyPress(event))
            event->accept();
        else
            event->ignore();
    }

private:
    QPointer<TULOTagListViewController> m_controller;
    QWidget *m_table;
};

QList<TULOTag> tagsFromList(const std::optional<QVariantList> &list)
{
    QList<TULOTag> tags;
    for (const QVariant &value : list.value_or(QVariantList())) {
        if (value.canConvert<TULOTag>() && value.metaType() == QMetaType::fromType<TULOTag>())
            tags.append(value.value<TULOTag>());
        else if (value.metaType().id() == QMetaType::QVariantMap)
            tags.append(TULOTag(value.toMap()));
    }
    return tags;
}

} // namespace

TULOTagListViewController::TULOTagListViewController(const TULOConfiguration &configuration, QObject *parent)
    : TULOStoreViewController(parent)
    , m_configuration(configuration)
    , m_defaultTagSuggestions(tagsFromList(configuration.suggestedTags()))
{
}

TULOTagListViewController::~TULOTagListViewController()
{
    if (m_lookup) {
        std::static_pointer_cast<TULOUrlLoadOperation>(m_lookup)->setOutputBlock({});
        m_lookup->cancel();
    }
    for (const auto &request : std::as_const(m_requests))
        request->setDelegate(nullptr);
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

void TULOTagListViewController::loadView()
{
    const qreal scale = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    m_placeholderImage = QImage(TULOTagListTableViewCell::imageSize() * scale, QImage::Format_ARGB32_Premultiplied);
    m_placeholderImage.fill(QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    m_placeholderImage.setDevicePixelRatio(scale);

    m_tableView = new TULOTableView(TULOTableViewStylePlain);
    m_tableView->registerCellClass<TULOTagListTableViewCell>(TULOTagCellIdentifier);
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    // The text keeps the keyboard focus; the list follows it by the keys forwarded to it.
    m_tableView->setFocusPolicy(Qt::NoFocus);
    QPalette palette = m_tableView->palette();
    if (palette.color(QPalette::Window).lightness() >= 128) {
        palette.setColor(QPalette::Base, TULOTagListBackground);
        palette.setColor(QPalette::Window, TULOTagListBackground);
    }
    m_tableView->setPalette(palette);
    auto *root = new TULOTagListRootView(this, m_tableView);
    root->setAutoFillBackground(true);
    root->setPalette(palette);
    setView(root);
    reloadTable();
}

void TULOTagListViewController::viewWillAppear(bool animated)
{
    TULOStoreViewController::viewWillAppear(animated);
    loadThumbnailsForTags(m_defaultTagSuggestions, TULOResourceLoadReasonPrefetch);
    if (m_tableView && m_tableView->indexPathForSelectedRow())
        m_tableView->deselectRowAtIndexPath(*m_tableView->indexPathForSelectedRow(), false);
    m_keyboardRow = -1;
}

TULOResourceLoader *TULOTagListViewController::artworkLoader()
{
    if (!m_artworkLoader)
        m_artworkLoader = std::make_unique<TULOResourceLoader>(clientContext() ? *clientContext() : TULOClientContext::defaultContext());
    return m_artworkLoader.get();
}

QList<TULOTag> TULOTagListViewController::activeTagSuggestions() const
{
    return m_tagString.isEmpty() ? m_defaultTagSuggestions : m_matchedTagSuggestions;
}

void TULOTagListViewController::reloadWithTagString(const QString &string)
{
    QString tagString = string;
    if (tagString.startsWith(QLatin1Char('@')))
        tagString.remove(0, 1);
    if (tagString == m_tagString && !m_tagString.isNull())
        return;
    m_tagString = tagString.isNull() ? QStringLiteral("") : tagString;
    if (m_lookup) {
        // Detached first, so an answer already on its way is dropped.
        std::static_pointer_cast<TULOUrlLoadOperation>(m_lookup)->setOutputBlock({});
        m_lookup->cancel();
        m_lookup.reset();
    }
    const QUrl url = m_tagString.isEmpty() ? QUrl() : m_configuration.tagLookupURLWithTag(m_tagString);
    if (url.isValid()) {
        auto operation = std::make_shared<TULOUrlLoadOperation>(url);
        operation->setDataConsumer(std::make_shared<TULOTagDataConsumer>());
        const TULOClientContext context = clientContext() ? *clientContext() : TULOClientContext::defaultContext();
        operation->setClientContext(context);
        operation->setStorefrontSuffix(context.storefrontSuffix());
        const QPointer<TULOTagListViewController> weak(this);
        const TULOOperation *identity = operation.get();
        operation->setOutputBlock([weak, identity](const QVariant &output, const TULOError &) {
            std::optional<QList<TULOTag>> tags;
            if (output.canConvert<QList<TULOTag>>() && output.isValid())
                tags = output.value<QList<TULOTag>>();
            TULODispatchMain([weak, identity, tags] {
                if (!weak || weak->m_lookup.get() != identity)
                    return;
                weak->m_lookup.reset();
                weak->reloadWithMatchedTags(tags);
            });
        });
        m_lookup = operation;
        operationQueue()->addOperation(operation);
    }
    reloadTable();
}

void TULOTagListViewController::reloadWithMatchedTags(const std::optional<QList<TULOTag>> &tags)
{
    m_matchedTagSuggestions = tags.value_or(QList<TULOTag>());
    loadThumbnailsForTags(m_matchedTagSuggestions, TULOResourceLoadReasonVisible);
    reloadTable();
}

std::optional<TULOTag> TULOTagListViewController::existingTagForString(const QString &string) const
{
    return TULOExistingTagForString(m_matchedTagSuggestions, string);
}

void TULOTagListViewController::loadThumbnailsForTags(const QList<TULOTag> &tags, int reason)
{
    TULOResourceLoader *loader = nullptr;
    for (const TULOTag &tag : tags) {
        if (tag.identifier().isEmpty() || !tag.thumbnailImageURL().isValid())
            continue;
        if (!loader)
            loader = artworkLoader();
        if (loader->hasRequestWithIdentifier(tag.identifier()))
            continue;
        auto request = std::make_shared<TULOArtworkRequest>(tag.thumbnailImageURL(), tag.identifier());
        auto consumer = std::make_shared<TULOStyledImageDataConsumer>();
        consumer->setBackgroundColor(TULOTagListBackground);
        consumer->setBorderColor(QColor(0, 0, 0, 51));
        consumer->setBorderWidth(1.0);
        consumer->setImageSize(TULOTagListTableViewCell::imageSize());
        consumer->setScale(qGuiApp ? qGuiApp->devicePixelRatio() : 1.0);
        request->setDataConsumer(consumer);
        request->setDelegate(this);
        m_requests.insert(tag.identifier(), request);
        loader->loadResourceWithRequest(request, reason);
    }
}

void TULOTagListViewController::reloadTable()
{
    m_keyboardRow = -1;
    if (m_tableView)
        m_tableView->reloadData();
    Q_EMIT tagsReloaded();
}

int TULOTagListViewController::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    return int(activeTagSuggestions().size());
}

TULOTableViewCell *TULOTagListViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = tableView->dequeueReusableCellWithIdentifier(TULOTagCellIdentifier);
    const QList<TULOTag> tags = activeTagSuggestions();
    const TULOTag tag = tags.value(indexPath.row());
    cell->setText(tag.name());
    cell->setAccessibleName(tag.name());
    const QImage cached = m_artworkLoader ? m_artworkLoader->cachedResourceForRequestIdentifier(tag.identifier()) : QImage();
    cell->setImage(cached.isNull() ? m_placeholderImage : cached);
    cell->setPalette(tableView->palette());
    return cell;
}

void TULOTagListViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath)
{
    const QList<TULOTag> tags = activeTagSuggestions();
    TULOTagListViewControllerDelegate *delegate = m_delegate.get();
    if (delegate && indexPath.row() < tags.size())
        delegate->tagListDidSelectTag(this, tags.at(indexPath.row()));
    else
        tableView->deselectRowAtIndexPath(indexPath, true);
}

void TULOTagListViewController::artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image)
{
    if (!m_tableView)
        return;
    const QList<TULOTag> tags = activeTagSuggestions();
    for (qsizetype row = 0; row < tags.size(); ++row) {
        const auto mapped = m_requests.value(tags.at(row).identifier());
        if (mapped && mapped->requestIdentifier() == request->requestIdentifier()) {
            if (TULOTableViewCell *cell = m_tableView->cellForRowAtIndexPath(TULOIndexPath(0, int(row))))
                cell->setImage(image);
        }
    }
}

void TULOTagListViewController::setKeyboardRow(int row)
{
    if (!m_tableView)
        return;
    if (m_keyboardRow >= 0)
        m_tableView->deselectRowAtIndexPath(TULOIndexPath(0, m_keyboardRow), false);
    m_keyboardRow = row;
    if (row >= 0) {
        const TULOIndexPath path(0, row);
        m_tableView->selectRowAtIndexPath(path, false);
        m_tableView->scrollToRowAtIndexPath(path);
    }
}

bool TULOTagListViewController::handleKeyPress(QKeyEvent *event)
{
    const int count = int(activeTagSuggestions().size());
    switch (event->key()) {
    case Qt::Key_Down:
        if (count == 0)
            return false;
        setKeyboardRow(m_keyboardRow < 0 ? 0 : std::min(count - 1, m_keyboardRow + 1));
        return true;
    case Qt::Key_Up:
        if (count == 0 || m_keyboardRow < 0)
            return false;
        setKeyboardRow(std::max(0, m_keyboardRow - 1));
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Tab: {
        // Tab takes the first row when none was picked; Return only a picked row, so that a
        // plain line break still works while the list shows.
        int row = m_keyboardRow;
        if (row < 0 && event->key() == Qt::Key_Tab && count > 0)
            row = 0;
        if (row < 0 || row >= count || !m_tableView)
            return false;
        tableViewDidSelectRowAtIndexPath(m_tableView, TULOIndexPath(0, row));
        return true;
    }
    default:
        return false;
    }
}
