#include <Quillon/media/valuetableviewcontroller.h>

#include <Quillon/platform/ui/tableviewcell.h>

namespace {
const QString TULOValueCellIdentifier = QStringLiteral("value");
}

TULOValueTableViewController::TULOValueTableViewController(const QStringList &values,
                                                           std::optional<qint64> selectedIndex, QObject *parent)
    : TULOViewController(parent)
    , m_values(values)
    , m_selectedIndex(selectedIndex && *selectedIndex >= 0 && *selectedIndex < values.size() ? selectedIndex
                                                                                              : std::nullopt)
{
}

TULOValueTableViewController::~TULOValueTableViewController()
{
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

TULOTableView *TULOValueTableViewController::tableView()
{
    view();
    return m_tableView;
}

void TULOValueTableViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_tableView->registerCellClass<TULOTableViewCell>(TULOValueCellIdentifier);
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    setView(m_tableView);
}

void TULOValueTableViewController::viewDidAppear(bool animated)
{
    TULOViewController::viewDidAppear(animated);
    if (m_tableView)
        m_tableView->flashScrollIndicators();
}

int TULOValueTableViewController::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    return int(m_values.size());
}

TULOTableViewCell *TULOValueTableViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                const TULOIndexPath &indexPath)
{
    TULOTableViewCell *cell = tableView->dequeueReusableCellWithIdentifier(TULOValueCellIdentifier);
    cell->setText(m_values.value(indexPath.row()));
    cell->setAccessoryType(m_selectedIndex == indexPath.row() ? TULOTableViewCellAccessoryCheckmark
                                                              : TULOTableViewCellAccessoryNone);
    return cell;
}

void TULOValueTableViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                    const TULOIndexPath &indexPath)
{
    std::optional<TULOIndexPath> previous;
    if (m_selectedIndex)
        previous = TULOIndexPath(indexPath.section(), int(*m_selectedIndex));
    tableView->moveCheckmark(previous, indexPath);
    m_selectedIndex = indexPath.row();
    tableView->deselectRowAtIndexPath(indexPath, true);
    if (SelectionBlock block = std::exchange(m_selectionBlock, {}))
        block(indexPath.row());
}
