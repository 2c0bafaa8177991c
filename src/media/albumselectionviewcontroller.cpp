#include <Quillon/media/albumselectionviewcontroller.h>

#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QLabel>
#include <QVBoxLayout>

namespace {
const QString TULOAlbumCellIdentifier = QStringLiteral("album");
}

TULOAlbumSelectionViewController::TULOAlbumSelectionViewController(QObject *parent)
    : TULOViewController(parent)
{
    setEdgesForExtendedLayout(TULORectEdgeNone);
}

TULOAlbumSelectionViewController::~TULOAlbumSelectionViewController()
{
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

void TULOAlbumSelectionViewController::setAlbumItems(const QList<TULOStoreItem> &items)
{
    m_albumItems = items;
    updateSelectedIndex();
    if (m_tableView)
        m_tableView->reloadData();
    updateLoadingIndicator();
}

void TULOAlbumSelectionViewController::setLoading(bool loading)
{
    m_loading = loading;
    updateLoadingIndicator();
}

void TULOAlbumSelectionViewController::setHeaderText(const QString &text)
{
    m_headerText = text;
    if (m_headerLabel)
        m_headerLabel->setText(text);
}

void TULOAlbumSelectionViewController::setSelectedAlbumIdentifier(const QString &identifier)
{
    m_selectedIdentifier = identifier;
    updateSelectedIndex();
    if (m_tableView)
        m_tableView->reloadData();
}

void TULOAlbumSelectionViewController::updateSelectedIndex()
{
    m_selectedIndex.reset();
    if (m_selectedIdentifier.isEmpty())
        return;
    for (qsizetype i = 0; i < m_albumItems.size(); ++i)
        if (m_albumItems[i].itemIdentifier() == m_selectedIdentifier)
            m_selectedIndex = i;
}

TULOTableView *TULOAlbumSelectionViewController::tableView()
{
    view();
    return m_tableView;
}

void TULOAlbumSelectionViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_tableView->registerCellClass<TULOTableViewCell>(TULOAlbumCellIdentifier);

    auto *header = new QWidget;
    auto *layout = new QVBoxLayout(header);
    layout->setContentsMargins(2 * TULOTableViewCell::TULOHorizontalMargin, 16, 2 * TULOTableViewCell::TULOHorizontalMargin, 0);
    m_headerLabel = new QLabel(m_headerText);
    m_headerLabel->setWordWrap(true);
    m_headerLabel->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_headerLabel);
    m_activityIndicator = new TULOActivityIndicatorView;
    m_activityIndicator->setHidesWhenStopped(true);
    layout->addWidget(m_activityIndicator, 0, Qt::AlignHCenter);
    m_tableView->setTableHeaderView(header);

    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    setView(m_tableView);
    updateLoadingIndicator();
}

void TULOAlbumSelectionViewController::updateLoadingIndicator()
{
    if (!m_activityIndicator)
        return;
    if (m_loading && m_albumItems.isEmpty())
        m_activityIndicator->startAnimating();
    else
        m_activityIndicator->stopAnimating();
}

void TULOAlbumSelectionViewController::viewDidAppear(bool animated)
{
    TULOViewController::viewDidAppear(animated);
    if (m_tableView)
        m_tableView->flashScrollIndicators();
}

int TULOAlbumSelectionViewController::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    return int(m_albumItems.size());
}

TULOTableViewCell *TULOAlbumSelectionViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                    const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = tableView->dequeueReusableCellWithIdentifier(TULOAlbumCellIdentifier);
    cell->setText(m_albumItems.value(indexPath.row()).displayName());
    cell->setAccessoryType(m_selectedIndex == indexPath.row() ? TULOTableViewCellAccessoryCheckmark
                                                              : TULOTableViewCellAccessoryNone);
    return cell;
}

void TULOAlbumSelectionViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                        const TULOIndexPath &indexPath)
{
    if (indexPath.row() < 0 || indexPath.row() >= m_albumItems.size())
        return;
    std::optional<TULOIndexPath> previous;
    if (m_selectedIndex)
        previous = TULOIndexPath(indexPath.section(), int(*m_selectedIndex));
    tableView->moveCheckmark(previous, indexPath);
    m_selectedIndex = indexPath.row();
    m_selectedIdentifier = m_albumItems[indexPath.row()].itemIdentifier();
    tableView->deselectRowAtIndexPath(indexPath, true);
    if (m_selectionBlock)
        m_selectionBlock(m_albumItems[indexPath.row()]);
}

TULOActivityIndicatorView *TULOAlbumSelectionViewController::activityIndicator() const
{
    return m_activityIndicator;
}
