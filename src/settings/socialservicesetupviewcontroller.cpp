#include <Quillon/settings/socialservicesetupviewcontroller.h>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/settings/settingssupport_p.h>
#include <Quillon/settings/socialservicesetuptableviewsection.h>

TULOSocialServiceSetupViewController::TULOSocialServiceSetupViewController(const TULOConfiguration &configuration,
                                                                           TULOAccountStore *accountStore,
                                                                           QObject *parent)
    : TULOStoreViewController(parent)
    , m_configuration(configuration)
    , m_accountStore(accountStore)
{
    // Rows start below the navigation bar, never under it.
    setEdgesForExtendedLayout(TULORectEdgeNone);
    const QPointer<TULOSocialServiceSetupViewController> screen(this);
    TULONotificationCenter::defaultCenter()->addObserver(this, QString::fromLatin1(TULOAccountStoreDidChangeNotification),
        accountStore, [screen](const TULONotification &) {
            TULODispatchMain([screen] {
                if (screen && screen->m_tableView)
                    screen->m_tableView->reloadData();
            });
        });
    const auto updateBackTitle = [this] {
        navigationItem()->setBackButtonTitle(TULOSettingsLocalizedString(QStringLiteral("BACK_BUTTON_TITLE"), context()));
        for (const auto &section : m_sections)
            section->setClientContext(context());
    };
    updateBackTitle();
    connect(this, &TULOStoreViewController::clientContextChanged, this, updateBackTitle);
}

TULOSocialServiceSetupViewController::~TULOSocialServiceSetupViewController()
{
    TULONotificationCenter::defaultCenter()->removeObservers(this);
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

TULOClientContext TULOSocialServiceSetupViewController::context() const
{
    return TULOSettingsClientContext(clientContext(), m_accountStore);
}

void TULOSocialServiceSetupViewController::setFacebookPages(const QList<TULOFacebookPage> &pages)
{
    m_facebookPages = pages;
    for (const auto &section : m_sections)
        section->setFacebookPages(pages);
}

TULOTableView *TULOSocialServiceSetupViewController::tableView()
{
    view();
    return m_tableView;
}

QList<TULOSocialServiceSetupTableViewSection *> TULOSocialServiceSetupViewController::sections()
{
    view();
    QList<TULOSocialServiceSetupTableViewSection *> list;
    for (const auto &section : m_sections)
        list.append(section.get());
    return list;
}

void TULOSocialServiceSetupViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_sections.clear();
    const QVariantList services = m_configuration.allowedExternalServices().value_or(QVariantList());
    for (const QVariant &value : services) {
        // Only the services this screen knows get a section.
        std::unique_ptr<TULOSocialServiceSetupTableViewSection> section
            = TULOSocialServiceSetupTableViewSection::instanceWithService(value.value<TULOSocialService>(), m_accountStore);
        if (!section)
            continue;
        section->setClientContext(context());
        section->setFacebookPages(m_facebookPages);
        section->setOperationQueue(operationQueue());
        section->registerReusableCellsWithTableView(m_tableView);
        m_sections.push_back(std::move(section));
    }
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    setView(m_tableView);
}

void TULOSocialServiceSetupViewController::viewWillAppear(bool animated)
{
    TULOStoreViewController::viewWillAppear(animated);
    if (m_tableView) {
        if (const std::optional<TULOIndexPath> selected = m_tableView->indexPathForSelectedRow())
            m_tableView->deselectRowAtIndexPath(*selected, animated);
    }
}

void TULOSocialServiceSetupViewController::viewDidAppear(bool animated)
{
    TULOStoreViewController::viewDidAppear(animated);
    if (m_tableView)
        m_tableView->flashScrollIndicators();
}

TULOSocialServiceSetupTableViewSection *TULOSocialServiceSetupViewController::sectionAt(int section) const
{
    if (section < 0 || section >= int(m_sections.size()))
        return nullptr;
    return m_sections.at(section).get();
}

int TULOSocialServiceSetupViewController::numberOfSectionsInTableView(TULOTableView *)
{
    return int(m_sections.size());
}

int TULOSocialServiceSetupViewController::tableViewNumberOfRowsInSection(TULOTableView *tableView, int section)
{
    TULOSocialServiceSetupTableViewSection *owner = sectionAt(section);
    return owner ? owner->tableViewNumberOfRowsInSection(tableView, section) : 0;
}

TULOTableViewCell *TULOSocialServiceSetupViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                       const TULOIndexPath &indexPath)
{
    TULOSocialServiceSetupTableViewSection *owner = sectionAt(indexPath.section());
    return owner ? owner->tableViewCellForRowAtIndexPath(tableView, indexPath) : nullptr;
}

std::optional<bool> TULOSocialServiceSetupViewController::tableViewShouldHighlightRowAtIndexPath(
    TULOTableView *tableView, const TULOIndexPath &indexPath)
{
    TULOSocialServiceSetupTableViewSection *owner = sectionAt(indexPath.section());
    return owner && owner->tableViewShouldHighlightRowAtIndexPath(tableView, indexPath);
}

void TULOSocialServiceSetupViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                           const TULOIndexPath &indexPath)
{
    TULOSocialServiceSetupTableViewSection *owner = sectionAt(indexPath.section());
    TULOStoreViewController *opened = owner ? owner->performActionForIndexPath(indexPath, this) : nullptr;
    if (opened)
        opened->setOperationQueue(operationQueue());
    else
        tableView->deselectRowAtIndexPath(indexPath, true);
}
