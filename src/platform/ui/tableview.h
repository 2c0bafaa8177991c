#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/indexpath.h>

#include <QHash>
#include <QList>
#include <QPointer>
#include <QScrollArea>

#include <functional>
#include <optional>

class QLabel;
class QVBoxLayout;
class TULOTableView;
class TULOTableViewCell;
class TULOTableSectionView;

// Supplies a table's rows. Cells come from dequeueReusableCellWithIdentifier() or from the data
// source's own fields; a null title means "no header" / "no footer".
class QUILLON_EXPORT TULOTableViewDataSource
{
public:
    virtual ~TULOTableViewDataSource() = default;
    virtual int numberOfSectionsInTableView(TULOTableView *tableView);
    virtual int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) = 0;
    virtual TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) = 0;
    virtual QString tableViewTitleForHeaderInSection(TULOTableView *tableView, int section);
    virtual QString tableViewTitleForFooterInSection(TULOTableView *tableView, int section);
};

// Reacts to the user's choices. An optional answer of std::nullopt means "does not answer".
class QUILLON_EXPORT TULOTableViewDelegate
{
public:
    virtual ~TULOTableViewDelegate() = default;
    // Whether a click may highlight and select the row; rows highlight when not answered.
    virtual std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView,
                                                                       const TULOIndexPath &indexPath);
    virtual void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath);
    virtual void tableViewDidDeselectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath);
};

enum TULOTableViewStyle {
    TULOTableViewStylePlain = 0,
    TULOTableViewStyleGrouped = 1,
};

// A sectioned list of rows for settings-style screens. Every row is a real widget (the tables
// here are short), built by the data source and recycled by reuse identifier on reload.
// The data source and delegate are not owned; their owner detaches them before it goes.
class QUILLON_EXPORT TULOTableView : public QScrollArea
{
    Q_OBJECT

public:
    using CellFactory = std::function<TULOTableViewCell *()>;

    explicit TULOTableView(TULOTableViewStyle style = TULOTableViewStyleGrouped, QWidget *parent = nullptr);
    ~TULOTableView() override;

    TULOTableViewStyle style() const { return m_style; }
    TULOTableViewDataSource *dataSource() const { return m_dataSource; }
    void setDataSource(TULOTableViewDataSource *dataSource);
    TULOTableViewDelegate *delegate() const { return m_delegate; }
    void setDelegate(TULOTableViewDelegate *delegate);

    void registerCellFactory(const QString &identifier, CellFactory factory);
    template<class Cell>
    void registerCellClass(const QString &identifier)
    {
        registerCellFactory(identifier, [] { return new Cell; });
    }
    // A recycled cell of that kind, or a new one; null for an identifier never registered.
    TULOTableViewCell *dequeueReusableCellWithIdentifier(const QString &identifier);

    // Rebuilds every row from the data source; the selection is cleared.
    void reloadData();
    // Rebuilds the given sections or rows; selections elsewhere stay.
    void reloadSections(const QList<int> &sections, bool animated = false);
    void reloadRowsAtIndexPaths(const QList<TULOIndexPath> &indexPaths, bool animated = false);
    // Structural changes: the data source already reflects them. Selections in sections after
    // the change move along with their rows.
    void insertSections(const QList<int> &sections, bool animated = false);
    void deleteSections(const QList<int> &sections, bool animated = false);

    int numberOfSections() const { return int(m_sections.size()); }
    int numberOfRowsInSection(int section) const;
    TULOTableViewCell *cellForRowAtIndexPath(const TULOIndexPath &indexPath) const;
    std::optional<TULOIndexPath> indexPathForCell(const TULOTableViewCell *cell) const;
    QString headerTitleForSection(int section) const;
    QString footerTitleForSection(int section) const;

    std::optional<TULOIndexPath> indexPathForSelectedRow() const { return m_selected; }
    // Programmatic selection does not consult the highlight rule and tells the delegate nothing.
    void selectRowAtIndexPath(const TULOIndexPath &indexPath, bool animated);
    void deselectRowAtIndexPath(const TULOIndexPath &indexPath, bool animated);
    // What a click on the row does: applies the highlight rule, selects, tells the delegate.
    // Returns whether the row was selected.
    bool activateRowAtIndexPath(const TULOIndexPath &indexPath);
    // Whether the user may highlight the row now (the delegate's rule; a disabled cell never).
    bool canHighlightRowAtIndexPath(const TULOIndexPath &indexPath);

    // Moves the check mark of a single-choice list from `from` (if any) to `to`.
    void moveCheckmark(const std::optional<TULOIndexPath> &from, const TULOIndexPath &to);

    QWidget *tableHeaderView() const { return m_headerView; }
    // Takes ownership; the previous header view is deleted.
    void setTableHeaderView(QWidget *view);

    // Extra room below the rows (used to keep rows clear of an on-screen keyboard).
    int bottomContentInset() const { return m_bottomInset; }
    void setBottomContentInset(int inset);

    void scrollToRowAtIndexPath(const TULOIndexPath &indexPath);
    void flashScrollIndicators();

Q_SIGNALS:
    void selectionChanged();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    struct Section
    {
        TULOTableSectionView *view = nullptr;
        QList<QPointer<TULOTableViewCell>> cells;
    };

    Section buildSection(int section);
    void recycleSection(Section &section);
    void recycle(TULOTableViewCell *cell);
    TULOTableViewCell *obtainCell(const TULOIndexPath &indexPath);
    void adoptCell(TULOTableViewCell *cell);
    void rebuildAll();
    void updateTabOrder();
    void cellPressed(TULOTableViewCell *cell);
    void cellReleased(TULOTableViewCell *cell, bool inside);
    void setFocusRow(const std::optional<TULOIndexPath> &row);
    std::optional<TULOIndexPath> neighbourRow(const std::optional<TULOIndexPath> &from, int step) const;

    TULOTableViewStyle m_style;
    TULOTableViewDataSource *m_dataSource = nullptr;
    TULOTableViewDelegate *m_delegate = nullptr;
    QWidget *m_content;
    QVBoxLayout *m_contentLayout;
    QPointer<QWidget> m_headerView;
    QList<Section> m_sections;
    QHash<QString, CellFactory> m_factories;
    QHash<QString, QList<QPointer<TULOTableViewCell>>> m_reusePool;
    std::optional<TULOIndexPath> m_selected;
    std::optional<TULOIndexPath> m_focusRow;
    QPointer<TULOTableViewCell> m_pressedCell;
    int m_bottomInset = 0;
};
