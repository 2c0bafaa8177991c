#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/facebookpage.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/ui/indexpath.h>

#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class TULOOperationQueue;
class TULOSettingsTableViewCell;
class TULOStoreViewController;
class TULOTableView;
class TULOTableViewCell;
class TULOViewController;

// What a row of a service's section is.
enum TULOSocialServiceSetupCellType {
    TULOSocialServiceSetupCellTypeSwitch = 0,     // the autoposting switch
    TULOSocialServiceSetupCellTypeAccount = 1,    // the linked account, opens its screen
    TULOSocialServiceSetupCellTypeAddAccount = 2, // starts linking an account
    TULOSocialServiceSetupCellTypePage = 3,       // where Facebook posts go
};

// One service's section of the social service settings: its rows, their cells, and what
// tapping a row does. Every row is a settings cell of reuse identifier "0".
class QUILLON_EXPORT TULOSocialServiceSetupTableViewSection : public QObject
{
    Q_OBJECT

public:
    ~TULOSocialServiceSetupTableViewSection() override;

    // The section of "facebook" or "twitter"; null for any other service.
    static std::unique_ptr<TULOSocialServiceSetupTableViewSection> instanceWithService(const TULOSocialService &service,
                                                                                      TULOAccountStore *accountStore);

    TULOSocialService service() const { return m_service; }
    TULOAccountStore *accountStore() const { return m_accountStore; }
    TULOClientContext clientContext() const { return m_clientContext; }
    void setClientContext(const TULOClientContext &context) { m_clientContext = context; }
    QList<TULOFacebookPage> facebookPages() const { return m_facebookPages; }
    void setFacebookPages(const QList<TULOFacebookPage> &pages) { m_facebookPages = pages; }
    std::shared_ptr<TULOOperationQueue> operationQueue() const { return m_operationQueue; }
    void setOperationQueue(const std::shared_ptr<TULOOperationQueue> &queue) { m_operationQueue = queue; }
    // The service's icon, drawn for `devicePixelRatio`.
    QImage image(qreal devicePixelRatio = 1.0) const;

    void registerReusableCellsWithTableView(TULOTableView *tableView);
    virtual int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) = 0;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath);
    // Every row but the switch row may be tapped.
    bool tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath);
    // Does what tapping the row does; returns the screen it opened, or null.
    virtual TULOStoreViewController *performActionForIndexPath(const TULOIndexPath &indexPath,
                                                               TULOViewController *parentViewController) = 0;

    // The cell type of a row; a row the section does not have raises an internal-inconsistency
    // exception.
    virtual TULOSocialServiceSetupCellType cellTypeForIndexPath(const TULOIndexPath &indexPath) = 0;

protected:
    TULOSocialServiceSetupTableViewSection(const TULOSocialService &service, TULOAccountStore *accountStore);

    // Fills the rows only this kind of section has.
    virtual void configureCell(TULOSettingsTableViewCell *cell, TULOSocialServiceSetupCellType type,
                               const TULOIndexPath &indexPath) = 0;
    void switchAction(bool on);
    QString serviceTitle() const;
    QString displayNameForAccount(const TULOAccount &account) const;
    QString localizedString(const QString &key) const;
    [[noreturn]] void raiseUnhandledCellType(const TULOIndexPath &indexPath) const;
    // Opens `controller` (titled, with this section's context) in a navigation container,
    // presented modally from `parent`.
    void presentInNavigationController(TULOStoreViewController *controller, TULOViewController *parent) const;

private:
    TULOSocialService m_service;
    QPointer<TULOAccountStore> m_accountStore;
    TULOClientContext m_clientContext;
    QList<TULOFacebookPage> m_facebookPages;
    std::shared_ptr<TULOOperationQueue> m_operationQueue;
};

class QUILLON_EXPORT TULOTwitterServiceSetupTableViewSection : public TULOSocialServiceSetupTableViewSection
{
    Q_OBJECT

public:
    TULOTwitterServiceSetupTableViewSection(const TULOSocialService &service, TULOAccountStore *accountStore);

    // 2 with a linked account (switch, account), else 1 (add account).
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOStoreViewController *performActionForIndexPath(const TULOIndexPath &indexPath,
                                                       TULOViewController *parentViewController) override;
    TULOSocialServiceSetupCellType cellTypeForIndexPath(const TULOIndexPath &indexPath) override;

protected:
    void configureCell(TULOSettingsTableViewCell *cell, TULOSocialServiceSetupCellType type,
                       const TULOIndexPath &indexPath) override;
};

enum TULOFacebookServiceDisplayState {
    TULOFacebookServiceDisplayStateUnknown = -1,
    TULOFacebookServiceDisplayStateNoAccount = 0,
    TULOFacebookServiceDisplayStateAccountLinked = 1,
};

// The Facebook account arrives from the store some time after the screen opens; the section
// keeps the state it last counted rows for, so cells never disagree with the row count the
// table was built with.
class QUILLON_EXPORT TULOFacebookServiceSetupTableViewSection : public TULOSocialServiceSetupTableViewSection
{
    Q_OBJECT

public:
    TULOFacebookServiceSetupTableViewSection(const TULOSocialService &service, TULOAccountStore *accountStore);

    TULOFacebookServiceDisplayState displayState() const { return m_displayState; }

    // Recounts: 2 with a linked account (switch, page), 1 without (add account).
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOStoreViewController *performActionForIndexPath(const TULOIndexPath &indexPath,
                                                       TULOViewController *parentViewController) override;
    TULOSocialServiceSetupCellType cellTypeForIndexPath(const TULOIndexPath &indexPath) override;

protected:
    void configureCell(TULOSettingsTableViewCell *cell, TULOSocialServiceSetupCellType type,
                       const TULOIndexPath &indexPath) override;

private:
    // Recomputes the state when forced or while it is unknown.
    void updateDisplayStateForce(bool force);
    // The destination row's value: the preferred page's name when posts go there, else the
    // profile's.
    QString destinationText() const;

    TULOFacebookServiceDisplayState m_displayState = TULOFacebookServiceDisplayStateUnknown;
};
