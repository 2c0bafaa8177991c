#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QPointer>
#include <QWidget>

#include <optional>

class QLabel;
class TULOBarButtonItem;
class TULOSettingsButtonTableViewCell;

// The table header of the page selection: one multi-line label, inset like the rows.
class QUILLON_EXPORT TULOFacebookPageSelectionHeaderView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOFacebookPageSelectionHeaderView(QWidget *parent = nullptr);

    QLabel *label() const { return m_label; }

private:
    QLabel *m_label;
};

// A profile or page row: a single choice, marked with a check mark.
class QUILLON_EXPORT TULOFacebookPageTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    explicit TULOFacebookPageTableViewCell(QWidget *parent = nullptr);
};

// Where Facebook cross-posts go: the profile or one of the account's pages; and unlinking the
// account from the store. Presented in a navigation container; Cancel and Escape leave
// without saving, Done keeps the choice.
class QUILLON_EXPORT TULOFacebookPageSelectionViewController : public TULOStoreViewController,
                                                public TULOTableViewDataSource,
                                                public TULOTableViewDelegate
{
    Q_OBJECT

public:
    TULOFacebookPageSelectionViewController(const TULOAccount &account, TULOAccountStore *accountStore,
                                            QObject *parent = nullptr);
    ~TULOFacebookPageSelectionViewController() override;

    TULOAccount account() const { return m_account; }
    TULOAccountStore *accountStore() const { return m_accountStore; }
    // The chosen page; a null string is the profile.
    QString selectedPageIdentifier() const { return m_selectedPageIdentifier; }

    TULOTableView *tableView();
    TULOFacebookPageSelectionHeaderView *headerView();
    TULOBarButtonItem *doneButton() const { return m_doneButton; }
    TULOBarButtonItem *cancelButton() const { return m_cancelButton; }

    int numberOfSectionsInTableView(TULOTableView *tableView) override;
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    QString tableViewTitleForHeaderInSection(TULOTableView *tableView, int section) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    bool hasPages() const { return !m_account.pages().isEmpty(); }
    int unlinkSection() const { return hasPages() ? 2 : 1; }
    // The row that carries the check mark now, if any.
    std::optional<TULOIndexPath> checkedIndexPath() const;
    void updateHeaderText();
    void confirmUnlink();
    void unlink();
    void doneButtonAction();
    TULOClientContext context() const;
    QString localizedString(const QString &key) const;

    TULOAccount m_account;
    QPointer<TULOAccountStore> m_accountStore;
    QString m_selectedPageIdentifier;
    QPointer<TULOTableView> m_tableView; // a child of the view, which may go first
    QPointer<TULOFacebookPageSelectionHeaderView> m_headerView;
    QPointer<TULOSettingsButtonTableViewCell> m_unlinkCell;
    TULOBarButtonItem *m_cancelButton = nullptr;
    TULOBarButtonItem *m_doneButton = nullptr;
};
