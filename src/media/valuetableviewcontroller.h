#pragma once

#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/quillon_export.h>

#include <QPointer>
#include <QStringList>

#include <functional>
#include <optional>

// A list of values to pick one from, the current one checked. A tap moves the check mark and
// calls the selection block with the row's index; the block is cleared first, so only the
// first tap counts (the host pops the list in it).
class QUILLON_EXPORT TULOValueTableViewController : public TULOViewController,
                                                    public TULOTableViewDataSource,
                                                    public TULOTableViewDelegate
{
    Q_OBJECT

public:
    using SelectionBlock = std::function<void(qint64 index)>;

    TULOValueTableViewController(const QStringList &values, std::optional<qint64> selectedIndex,
                                 QObject *parent = nullptr);
    ~TULOValueTableViewController() override;

    QStringList values() const { return m_values; }
    std::optional<qint64> selectedIndex() const { return m_selectedIndex; }
    SelectionBlock selectionBlock() const { return m_selectionBlock; }
    void setSelectionBlock(SelectionBlock block) { m_selectionBlock = std::move(block); }

    TULOTableView *tableView();

    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    QStringList m_values;
    std::optional<qint64> m_selectedIndex;
    SelectionBlock m_selectionBlock;
    QPointer<TULOTableView> m_tableView;
};
