#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>

#include <QPointer>

#include <optional>

class TULOBarButtonItem;
class TULOSettingsButtonTableViewCell;
class TULOSettingsTextFieldTableViewCell;

// Device classes a delete confirmation may name; a desktop is none of them.
enum TULODeviceClass {
    TULODeviceClassDesktop = 0,
    TULODeviceClassHandset = 1,
    TULODeviceClassPlayer = 2,
    TULODeviceClassTablet = 3,
};

// Shows a linked account: its user name, its password (a changed one is verified with the
// service again before it is kept), and Delete Account. Presented in a navigation container;
// Cancel and Escape close it, Done and Return keep a changed password.
class QUILLON_EXPORT TULOManageAccountViewController : public TULOStoreViewController,
                                        public TULOTableViewDataSource,
                                        public TULOTableViewDelegate
{
    Q_OBJECT

public:
    TULOManageAccountViewController(const TULOAccount &account, TULOAccountStore *accountStore,
                                    QObject *parent = nullptr);
    ~TULOManageAccountViewController() override;

    TULOAccount account() const { return m_account; }
    TULOAccountStore *accountStore() const { return m_accountStore; }
    bool isVerifying() const { return m_verifying; }

    TULOTableView *tableView();
    // Null for a Facebook account, which has neither.
    TULOSettingsTextFieldTableViewCell *userNameCell();
    TULOSettingsTextFieldTableViewCell *passwordCell();
    TULOSettingsButtonTableViewCell *deleteCell();
    TULOBarButtonItem *doneButton();
    TULOBarButtonItem *cancelButton();

    // The key of the delete confirmation's text for a service and device class.
    static QString deleteConfirmationMessageKey(const QString &serviceIdentifier, int deviceClass);

    int numberOfSectionsInTableView(TULOTableView *tableView) override;
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView,
                                                               const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;

private:
    bool hasPasswordRows() const;
    void doneButtonAction();
    void verifyPassword(const QString &password);
    void finishVerifyWithAccount(const std::optional<TULOAccount> &account, const TULOError &error);
    void setVerifying(bool verifying);
    void updateDoneEnabled();
    void confirmDelete();
    void deleteAccount();
    QString deleteConfirmationMessage() const;
    TULOClientContext context() const;
    QString localizedString(const QString &key) const;

    TULOAccount m_account;
    QPointer<TULOAccountStore> m_accountStore;
    QPointer<TULOTableView> m_tableView; // a child of the view, which may go first
    QPointer<TULOSettingsTextFieldTableViewCell> m_userNameCell;
    QPointer<TULOSettingsTextFieldTableViewCell> m_passwordCell;
    QPointer<TULOSettingsButtonTableViewCell> m_deleteCell;
    TULOBarButtonItem *m_cancelButton = nullptr;
    TULOBarButtonItem *m_doneButton = nullptr;
    bool m_verifying = false;
};
