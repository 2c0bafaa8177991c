#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/facebookpage.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/core/configuration.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>

#include <QPointer>

#include <memory>
#include <vector>

class TULOSocialServiceSetupTableViewSection;

// The cross-posting settings: one section per service the configuration allows, with its
// switch, its account and, for Facebook, where posts go. Follows every change of the account
// store. The account store is not owned.
class QUILLON_EXPORT TULOSocialServiceSetupViewController : public TULOStoreViewController,
                                             public TULOTableViewDataSource,
                                             public TULOTableViewDelegate
{
    Q_OBJECT

public:
    TULOSocialServiceSetupViewController(const TULOConfiguration &configuration, TULOAccountStore *accountStore,
                                         QObject *parent = nullptr);
    ~TULOSocialServiceSetupViewController() override;

    TULOConfiguration configuration() const { return m_configuration; }
    TULOAccountStore *accountStore() const { return m_accountStore; }
    QList<TULOFacebookPage> facebookPages() const { return m_facebookPages; }
    void setFacebookPages(const QList<TULOFacebookPage> &pages);

    TULOTableView *tableView();
    // The section objects, in table order (built with the view).
    QList<TULOSocialServiceSetupTableViewSection *> sections();

    int numberOfSectionsInTableView(TULOTableView *tableView) override;
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView,
                                                               const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;
    void viewDidAppear(bool animated) override;

private:
    TULOSocialServiceSetupTableViewSection *sectionAt(int section) const;
    TULOClientContext context() const;

    TULOConfiguration m_configuration;
    QPointer<TULOAccountStore> m_accountStore;
    QPointer<TULOTableView> m_tableView; // a child of the view, which may go first
    std::vector<std::unique_ptr<TULOSocialServiceSetupTableViewSection>> m_sections;
    QList<TULOFacebookPage> m_facebookPages;
};
