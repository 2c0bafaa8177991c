#include <Quillon/compose/attributionselectionviewcontroller.h>

#include <Quillon/platform/localization.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QGuiApplication>
#include <QLabel>
#include <QRegularExpression>

namespace {

const QString TULOAttributionCellIdentifier = QStringLiteral("0");
constexpr int TULOAttributionImageSide = 29; // as the table's other row images
const QString TULOPlaceholder = QStringLiteral("%@");

QString bold(const QString &text)
{
    return QStringLiteral("<b>") + text.toHtmlEscaped() + QStringLiteral("</b>");
}

qreal mainScreenScale()
{
    return qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
}

} // namespace

TULOAttributionSelectionViewController::TULOAttributionSelectionViewController(QObject *parent)
    : TULOStoreViewController(parent)
{
    setEdgesForExtendedLayout(TULORectEdgeNone); // the rows begin below the navigation bar
    const qreal scale = mainScreenScale();
    m_placeholderImage = QImage(QSize(TULOAttributionImageSide, TULOAttributionImageSide) * scale, QImage::Format_ARGB32_Premultiplied);
    m_placeholderImage.fill(QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    m_placeholderImage.setDevicePixelRatio(scale);
}

TULOAttributionSelectionViewController::~TULOAttributionSelectionViewController()
{
    for (const auto &request : std::as_const(m_requests))
        request->setDelegate(nullptr);
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

void TULOAttributionSelectionViewController::setAuthors(const QList<TULOPostAuthor> &authors)
{
    m_authors = authors;
}

void TULOAttributionSelectionViewController::setDestinationAuthor(const TULOPostAuthor &author)
{
    m_destinationAuthor = author;
}

void TULOAttributionSelectionViewController::setSelectedAuthorIndex(uint index)
{
    m_selectedAuthorIndex = index;
}

void TULOAttributionSelectionViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_tableView->registerCellClass<TULOTableViewCell>(TULOAttributionCellIdentifier);
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->setAccessibleName(title());
    m_tableView->reloadData();
    setView(m_tableView);
}

void TULOAttributionSelectionViewController::reloadData()
{
    if (m_tableView)
        m_tableView->reloadData();
}

TULOResourceLoader *TULOAttributionSelectionViewController::artworkLoader()
{
    if (!m_artworkLoader)
        m_artworkLoader = std::make_unique<TULOResourceLoader>(clientContext() ? *clientContext() : TULOClientContext::defaultContext());
    return m_artworkLoader.get();
}

QString TULOAttributionSelectionViewController::attributedTextForRow(int row) const
{
    if (row < 0 || row >= m_authors.size())
        return QString();
    const TULOPostAuthor &author = m_authors.at(row);
    if (author == m_destinationAuthor)
        return bold(author.name());
    const QString format = TULOLocalization::defaultLocalization()->localizedStringForKey(
        QStringLiteral("ATTRIBUTION_PERSON_%@_FROM_GROUP_%@"), QString::fromLatin1(TULOStringsTablePostComposition),
        clientContext() ? *clientContext() : TULOClientContext());
    return attributedText(format, author.name(), m_destinationAuthor.name());
}

QString TULOAttributionSelectionViewController::attributedText(const QString &format, const QString &personName,
                                                               const QString &groupName)
{
    const qsizetype first = format.indexOf(TULOPlaceholder);
    const qsizetype last = format.lastIndexOf(TULOPlaceholder);
    if (first < 0 || first == last)
        return bold(personName);
    // The connecting words stay quiet; the two names stand out.
    return format.left(first).toHtmlEscaped() + bold(personName) + format.mid(first + 2, last - first - 2).toHtmlEscaped()
         + bold(groupName) + format.mid(last + 2).toHtmlEscaped();
}

QImage TULOAttributionSelectionViewController::imageForAuthor(const TULOPostAuthor &author)
{
    TULOResourceLoader *loader = artworkLoader();
    const auto existing = m_requests.value(author.identifier());
    if (existing) {
        const QImage cached = loader->cachedResourceForRequestIdentifier(existing->requestIdentifier());
        if (!cached.isNull())
            return cached;
        loader->loadResourceWithRequest(existing, TULOResourceLoadReasonVisible); // raises its reason
        return m_placeholderImage;
    }
    if (!author.thumbnailImageURL().isValid())
        return m_placeholderImage;
    auto request = std::make_shared<TULOArtworkRequest>(author.thumbnailImageURL(), author.identifier());
    auto consumer = std::make_shared<TULOStyledImageDataConsumer>();
    consumer->setImageSize(QSizeF(TULOAttributionImageSide, TULOAttributionImageSide));
    consumer->setScale(mainScreenScale());
    consumer->setBackgroundColor(QColor::fromRgbF(0.9725f, 0.9725f, 0.9725f));
    consumer->setBorderColor(QColor(0, 0, 0, 51));
    consumer->setBorderWidth(1.0 / consumer->scale());
    request->setDataConsumer(consumer);
    request->setDelegate(this);
    m_requests.insert(author.identifier(), request);
    const QImage cached = loader->cachedResourceForRequestIdentifier(request->requestIdentifier());
    if (!cached.isNull())
        return cached;
    loader->loadResourceWithRequest(request, TULOResourceLoadReasonVisible);
    return m_placeholderImage;
}

int TULOAttributionSelectionViewController::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    return int(m_authors.size());
}

TULOTableViewCell *TULOAttributionSelectionViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                        const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = tableView->dequeueReusableCellWithIdentifier(TULOAttributionCellIdentifier);
    const TULOPostAuthor &author = m_authors.at(indexPath.row());
    cell->textLabel()->setTextFormat(Qt::RichText);
    // The connecting words are grey, the names in the text colour.
    QPalette palette = cell->textLabel()->palette();
    palette.setColor(QPalette::WindowText, author == m_destinationAuthor ? palette.color(QPalette::Text)
                                                                         : palette.color(QPalette::PlaceholderText));
    cell->textLabel()->setPalette(palette);
    const QString text = attributedTextForRow(indexPath.row());
    QString colored = text;
    colored.replace(QStringLiteral("<b>"), QStringLiteral("<b style=\"color:%1\">").arg(cell->palette().color(QPalette::Text).name()));
    cell->setText(colored);
    cell->setAccessibleName(QString(text).remove(QRegularExpression(QStringLiteral("<[^>]*>"))));
    cell->setImageSize(QSize(TULOAttributionImageSide, TULOAttributionImageSide));
    cell->setImage(imageForAuthor(author));
    cell->setAccessoryType(uint(indexPath.row()) == m_selectedAuthorIndex ? TULOTableViewCellAccessoryCheckmark
                                                                         : TULOTableViewCellAccessoryNone);
    return cell;
}

void TULOAttributionSelectionViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                              const TULOIndexPath &indexPath)
{
    std::optional<TULOIndexPath> previous;
    if (m_selectedAuthorIndex != NotFound)
        previous = TULOIndexPath{0, int(m_selectedAuthorIndex)};
    tableView->moveCheckmark(previous, indexPath);
    m_selectedAuthorIndex = uint(indexPath.row());
    tableView->deselectRowAtIndexPath(indexPath, true);
    if (m_selectionBlock && indexPath.row() < m_authors.size())
        m_selectionBlock(m_authors.at(indexPath.row()));
}

void TULOAttributionSelectionViewController::artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request,
                                                                        const QImage &image)
{
    if (!m_tableView)
        return;
    for (qsizetype row = 0; row < m_authors.size(); ++row) {
        const auto mapped = m_requests.value(m_authors.at(row).identifier());
        if (mapped && mapped->requestIdentifier() == request->requestIdentifier()) {
            if (TULOTableViewCell *cell = m_tableView->cellForRowAtIndexPath(TULOIndexPath{0, int(row)}))
                cell->setImage(image);
        }
    }
}
