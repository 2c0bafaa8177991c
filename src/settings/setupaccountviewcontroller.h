#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>

#include <QPointer>

#include <optional>

class TULOSettingsButtonTableViewCell;
class TULOSettingsTextFieldTableViewCell;
class TULOSignInButtonTableViewCell;

// Signs a Twitter account in with a user name and password, saves it, turns cross-posting to
// it on and goes back. Return in the password field signs in; Escape goes back, dropping an
// answer still on its way.
class QUILLON_EXPORT TULOSetupAccountViewController : public TULOStoreViewController,
                                       public TULOTableViewDataSource,
                                       public TULOTableViewDelegate
{
    Q_OBJECT

public:
    TULOSetupAccountViewController(const TULOSocialService &service, TULOAccountStore *accountStore,
                                   QObject *parent = nullptr);
    ~TULOSetupAccountViewController() override;

    TULOSocialService service() const { return m_service; }
    TULOAccountStore *accountStore() const { return m_accountStore; }
    bool isVerifying() const { return m_verifying; }

    TULOTableView *tableView();
    TULOSettingsTextFieldTableViewCell *userNameCell();
    TULOSettingsTextFieldTableViewCell *passwordCell();
    TULOSettingsButtonTableViewCell *signInCell();

    // Both fields hold text and no sign-in runs.
    bool canSignIn() const;
    // Signs in when it can; returns whether a sign-in started.
    bool signIn();

    bool performCancelAction() override;
    bool performDefaultAction() override;

    int numberOfSectionsInTableView(TULOTableView *tableView) override;
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView,
                                                               const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    void finishSignInWithAccount(const std::optional<TULOAccount> &account, const TULOError &error);
    void setVerifying(bool verifying);
    void updateSignInEnabled();
    TULOClientContext context() const;
    QString localizedString(const QString &key) const;

    TULOSocialService m_service;
    QPointer<TULOAccountStore> m_accountStore;
    QPointer<TULOTableView> m_tableView; // a child of the view, which may go first
    QPointer<TULOSettingsTextFieldTableViewCell> m_userNameCell;
    QPointer<TULOSettingsTextFieldTableViewCell> m_passwordCell;
    QPointer<TULOSignInButtonTableViewCell> m_signInCell;
    bool m_verifying = false;
};
