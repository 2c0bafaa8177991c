#include <Quillon/settings/socialservicesetuptableviewsection.h>

#include <Quillon/accounts/accounterroralertcontroller.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/accounts/facebookpermissions.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/internalinconsistencyexception.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/settings/facebookpageselectionviewcontroller.h>
#include <Quillon/settings/manageaccountviewcontroller.h>
#include <Quillon/settings/settingssupport_p.h>
#include <Quillon/settings/setupaccountviewcontroller.h>

#include <QDebug>

namespace {

const QString TULOSettingsCellIdentifier = QStringLiteral("0");
constexpr int TULOServiceIconPoints = 32;

} // namespace

TULOSocialServiceSetupTableViewSection::TULOSocialServiceSetupTableViewSection(const TULOSocialService &service,
                                                                               TULOAccountStore *accountStore)
    : m_service(service)
    , m_accountStore(accountStore)
{
}

TULOSocialServiceSetupTableViewSection::~TULOSocialServiceSetupTableViewSection() = default;

std::unique_ptr<TULOSocialServiceSetupTableViewSection>
TULOSocialServiceSetupTableViewSection::instanceWithService(const TULOSocialService &service, TULOAccountStore *accountStore)
{
    if (service.identifier() == QLatin1String(TULOServiceIdentifierFacebook))
        return std::make_unique<TULOFacebookServiceSetupTableViewSection>(service, accountStore);
    if (service.identifier() == QLatin1String(TULOServiceIdentifierTwitter))
        return std::make_unique<TULOTwitterServiceSetupTableViewSection>(service, accountStore);
    return nullptr;
}

QImage TULOSocialServiceSetupTableViewSection::image(qreal devicePixelRatio) const
{
    return TULOServiceIcon(m_service.identifier(), TULOServiceIconPoints, devicePixelRatio);
}

void TULOSocialServiceSetupTableViewSection::registerReusableCellsWithTableView(TULOTableView *tableView)
{
    tableView->registerCellClass<TULOSettingsTableViewCell>(TULOSettingsCellIdentifier);
}

TULOTableViewCell *TULOSocialServiceSetupTableViewSection::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                         const TULOIndexPath &indexPath)
{
    const TULOSocialServiceSetupCellType type = cellTypeForIndexPath(indexPath);
    auto *cell = qobject_cast<TULOSettingsTableViewCell *>(tableView->dequeueReusableCellWithIdentifier(TULOSettingsCellIdentifier));
    if (!cell)
        return nullptr;
    // A recycled cell may still report to the section that used it before.
    disconnect(cell, &TULOSettingsTableViewCell::switchToggled, nullptr, nullptr);
    switch (type) {
    case TULOSocialServiceSetupCellTypeSwitch:
        cell->setImage(image(tableView->devicePixelRatioF()));
        cell->setAccessoryType(TULOTableViewCellAccessoryNone);
        cell->setText(serviceTitle());
        cell->setValueType(TULOSettingsValueTypeSwitch);
        cell->setSwitchValue(m_accountStore && m_accountStore->isAccountEnabledForServiceIdentifier(m_service.identifier()));
        connect(cell, &TULOSettingsTableViewCell::switchToggled, this, &TULOSocialServiceSetupTableViewSection::switchAction);
        break;
    case TULOSocialServiceSetupCellTypeAddAccount:
        cell->setImage(image(tableView->devicePixelRatioF()));
        cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
        cell->setText(serviceTitle());
        cell->setValueType(TULOSettingsValueTypeText);
        cell->setTextValue(localizedString(QStringLiteral("EXTERNAL_SERVICE_ADD_ACCOUNT")));
        break;
    case TULOSocialServiceSetupCellTypeAccount:
    case TULOSocialServiceSetupCellTypePage:
        configureCell(cell, type, indexPath);
        break;
    }
    return cell;
}

bool TULOSocialServiceSetupTableViewSection::tableViewShouldHighlightRowAtIndexPath(TULOTableView *,
                                                                                   const TULOIndexPath &indexPath)
{
    return cellTypeForIndexPath(indexPath) != TULOSocialServiceSetupCellTypeSwitch;
}

void TULOSocialServiceSetupTableViewSection::switchAction(bool on)
{
    if (m_accountStore)
        m_accountStore->setAccountEnabled(on, m_service.identifier());
}

QString TULOSocialServiceSetupTableViewSection::serviceTitle() const
{
    return localizedString(m_service.identifier() == QLatin1String(TULOServiceIdentifierFacebook)
                               ? QStringLiteral("EXTERNAL_SERVICE_FACEBOOK")
                               : QStringLiteral("EXTERNAL_SERVICE_TWITTER"));
}

QString TULOSocialServiceSetupTableViewSection::displayNameForAccount(const TULOAccount &account) const
{
    // A Twitter account is known by its "@name"; others by the person's name.
    if (m_service.identifier() == QLatin1String(TULOServiceIdentifierTwitter))
        return account.userName();
    return account.fullName();
}

QString TULOSocialServiceSetupTableViewSection::localizedString(const QString &key) const
{
    return TULOSettingsLocalizedString(key, m_clientContext);
}

void TULOSocialServiceSetupTableViewSection::raiseUnhandledCellType(const TULOIndexPath &indexPath) const
{
    QString path;
    QDebug(&path).nospace() << indexPath;
    throw TULOInternalInconsistencyException(QStringLiteral("Unhandled cell type in %1 at index path %2")
                                                 .arg(QString::fromLatin1(metaObject()->className()), path));
}

void TULOSocialServiceSetupTableViewSection::presentInNavigationController(TULOStoreViewController *controller,
                                                                          TULOViewController *parent) const
{
    controller->setClientContext(std::make_shared<TULOClientContext>(m_clientContext));
    controller->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
    auto *navigation = new TULONavigationController(controller);
    navigation->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
    parent->presentViewController(navigation, true);
}

// Twitter

TULOTwitterServiceSetupTableViewSection::TULOTwitterServiceSetupTableViewSection(const TULOSocialService &service,
                                                                                 TULOAccountStore *accountStore)
    : TULOSocialServiceSetupTableViewSection(service, accountStore)
{
}

int TULOTwitterServiceSetupTableViewSection::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    const bool linked = accountStore() && accountStore()->accountForServiceIdentifier(service().identifier());
    return linked ? 2 : 1;
}

TULOSocialServiceSetupCellType TULOTwitterServiceSetupTableViewSection::cellTypeForIndexPath(const TULOIndexPath &indexPath)
{
    switch (indexPath.row()) {
    case 0: {
        const bool linked = accountStore() && accountStore()->accountForServiceIdentifier(service().identifier());
        return linked ? TULOSocialServiceSetupCellTypeSwitch : TULOSocialServiceSetupCellTypeAddAccount;
    }
    case 1:
        return TULOSocialServiceSetupCellTypeAccount;
    default:
        raiseUnhandledCellType(indexPath);
    }
}

void TULOTwitterServiceSetupTableViewSection::configureCell(TULOSettingsTableViewCell *cell,
                                                            TULOSocialServiceSetupCellType type, const TULOIndexPath &indexPath)
{
    if (type != TULOSocialServiceSetupCellTypeAccount)
        raiseUnhandledCellType(indexPath);
    const std::optional<TULOAccount> account
        = accountStore() ? accountStore()->accountForServiceIdentifier(service().identifier()) : std::nullopt;
    cell->setImage(QImage());
    cell->setText(account ? displayNameForAccount(*account) : QString());
    cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
    cell->setValueType(TULOSettingsValueTypeText);
    cell->setTextValue(QString());
}

TULOStoreViewController *TULOTwitterServiceSetupTableViewSection::performActionForIndexPath(
    const TULOIndexPath &indexPath, TULOViewController *parentViewController)
{
    if (!accountStore() || !parentViewController)
        return nullptr;
    switch (cellTypeForIndexPath(indexPath)) {
    case TULOSocialServiceSetupCellTypeAccount: {
        const std::optional<TULOAccount> account = accountStore()->accountForServiceIdentifier(service().identifier());
        if (!account)
            return nullptr;
        auto *manage = new TULOManageAccountViewController(*account, accountStore());
        manage->setTitle(serviceTitle());
        presentInNavigationController(manage, parentViewController);
        return manage;
    }
    case TULOSocialServiceSetupCellTypeAddAccount: {
        auto *setup = new TULOSetupAccountViewController(service(), accountStore());
        setup->setTitle(serviceTitle());
        if (TULONavigationController *navigation = parentViewController->navigationController()) {
            setup->setClientContext(std::make_shared<TULOClientContext>(clientContext()));
            navigation->pushViewController(setup, true);
        } else {
            // A settings screen shown on its own still gets a sign-in screen with a way back.
            presentInNavigationController(setup, parentViewController);
        }
        return setup;
    }
    default:
        return nullptr;
    }
}

// Facebook

TULOFacebookServiceSetupTableViewSection::TULOFacebookServiceSetupTableViewSection(const TULOSocialService &service,
                                                                                   TULOAccountStore *accountStore)
    : TULOSocialServiceSetupTableViewSection(service, accountStore)
{
}

void TULOFacebookServiceSetupTableViewSection::updateDisplayStateForce(bool force)
{
    if (!force && m_displayState != TULOFacebookServiceDisplayStateUnknown)
        return;
    const bool linked = accountStore() && accountStore()->accountForServiceIdentifier(service().identifier());
    m_displayState = linked ? TULOFacebookServiceDisplayStateAccountLinked : TULOFacebookServiceDisplayStateNoAccount;
}

int TULOFacebookServiceSetupTableViewSection::tableViewNumberOfRowsInSection(TULOTableView *, int)
{
    updateDisplayStateForce(true);
    switch (m_displayState) {
    case TULOFacebookServiceDisplayStateNoAccount:
        return 1;
    case TULOFacebookServiceDisplayStateAccountLinked:
        return 2;
    default:
        return 0;
    }
}

TULOSocialServiceSetupCellType TULOFacebookServiceSetupTableViewSection::cellTypeForIndexPath(const TULOIndexPath &indexPath)
{
    updateDisplayStateForce(false);
    if (indexPath.row() == 0) {
        return m_displayState == TULOFacebookServiceDisplayStateAccountLinked ? TULOSocialServiceSetupCellTypeSwitch
                                                                               : TULOSocialServiceSetupCellTypeAddAccount;
    }
    return TULOSocialServiceSetupCellTypePage;
}

QString TULOFacebookServiceSetupTableViewSection::destinationText() const
{
    if (accountStore()
        && accountStore()->preferredFacebookAutopostingDestination() == TULOFacebookAutopostingDestinationPreferredPage) {
        const std::optional<TULOAccount> account = accountStore()->accountForServiceIdentifier(service().identifier());
        if (const std::optional<TULOFacebookPage> page = account ? account->preferredPage() : std::nullopt)
            return page->name();
    }
    return localizedString(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT"));
}

void TULOFacebookServiceSetupTableViewSection::configureCell(TULOSettingsTableViewCell *cell,
                                                             TULOSocialServiceSetupCellType type, const TULOIndexPath &indexPath)
{
    if (type != TULOSocialServiceSetupCellTypePage)
        raiseUnhandledCellType(indexPath);
    cell->setImage(QImage());
    cell->setText(localizedString(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_LABEL")));
    cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
    cell->setValueType(TULOSettingsValueTypeText);
    cell->setTextValue(destinationText());
}

TULOStoreViewController *TULOFacebookServiceSetupTableViewSection::performActionForIndexPath(
    const TULOIndexPath &indexPath, TULOViewController *parentViewController)
{
    if (!accountStore() || !parentViewController)
        return nullptr;
    switch (cellTypeForIndexPath(indexPath)) {
    case TULOSocialServiceSetupCellTypePage: {
        const std::optional<TULOAccount> account = accountStore()->accountForServiceIdentifier(service().identifier());
        if (!account)
            return nullptr;
        auto *pages = new TULOFacebookPageSelectionViewController(*account, accountStore());
        presentInNavigationController(pages, parentViewController);
        return pages;
    }
    case TULOSocialServiceSetupCellTypeAddAccount: {
        const QPointer<TULOViewController> parent(parentViewController);
        const TULOClientContext context = clientContext();
        accountStore()->requestAccessToAccountForServiceIdentifier(service().identifier(), TULOFacebookWritePermissions(),
            parentViewController, [parent, context](bool granted, const TULOError &error) {
                // Success comes with an error too (code 8): only the boolean counts. Cancelling
                // is the user's own choice and needs no alert.
                if (granted || error.is(TULOFacebookAuthenticationErrorDomain,
                                        TULOFacebookAuthenticationErrorCancelled))
                    return;
                TULOPresentAfterDismissal(parent, TULOAccountErrorAlertController::alertControllerWithError(error, context));
            });
        return nullptr;
    }
    default:
        return nullptr;
    }
}
