#include <Quillon/settings/setupaccountviewcontroller.h>

#include <Quillon/accounts/accounterroralertcontroller.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/networkactivityindicator.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/settings/settingssupport_p.h>
#include <Quillon/settings/signinbuttontableviewcell_p.h>

#include <QLineEdit>

namespace {

enum { TULOFieldsSection = 0, TULOSignInSection = 1 };
enum { TULOUserNameRow = 0, TULOPasswordRow = 1 };

} // namespace

TULOSetupAccountViewController::TULOSetupAccountViewController(const TULOSocialService &service,
                                                               TULOAccountStore *accountStore, QObject *parent)
    : TULOStoreViewController(parent)
    , m_service(service)
    , m_accountStore(accountStore)
{
    // Rows start below the navigation bar, never under it.
    setEdgesForExtendedLayout(TULORectEdgeNone);
}

TULOSetupAccountViewController::~TULOSetupAccountViewController()
{
    // Leaving mid-request: the indicator must not keep spinning for an answer nobody awaits.
    if (m_verifying)
        TULOPostNetworkActivityStopped(this);
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

TULOClientContext TULOSetupAccountViewController::context() const
{
    return TULOSettingsClientContext(clientContext(), m_accountStore);
}

QString TULOSetupAccountViewController::localizedString(const QString &key) const
{
    return TULOSettingsLocalizedString(key, context());
}

TULOTableView *TULOSetupAccountViewController::tableView()
{
    view();
    return m_tableView;
}

TULOSettingsTextFieldTableViewCell *TULOSetupAccountViewController::userNameCell()
{
    view();
    return m_userNameCell;
}

TULOSettingsTextFieldTableViewCell *TULOSetupAccountViewController::passwordCell()
{
    view();
    return m_passwordCell;
}

TULOSettingsButtonTableViewCell *TULOSetupAccountViewController::signInCell()
{
    view();
    return m_signInCell;
}

void TULOSetupAccountViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    const bool facebook = m_service.identifier() == QLatin1String(TULOServiceIdentifierFacebook);

    m_userNameCell = new TULOSettingsTextFieldTableViewCell;
    m_userNameCell->setReuseIdentifier(QStringLiteral("1"));
    m_userNameCell->setLabelText(localizedString(QStringLiteral("ACCOUNT_SETUP_USER_NAME_LABEL")));
    QLineEdit *userName = m_userNameCell->textField();
    userName->setPlaceholderText(localizedString(facebook ? QStringLiteral("ACCOUNT_SETUP_USER_NAME_FACEBOOK_PLACEHOLDER")
                                                          : QStringLiteral("ACCOUNT_SETUP_USER_NAME_TWITTER_PLACEHOLDER")));
    TULOSetDefaultOptionsForTextField(userName);
    if (facebook)
        userName->setInputMethodHints(userName->inputMethodHints() | Qt::ImhEmailCharactersOnly);

    m_passwordCell = new TULOSettingsTextFieldTableViewCell;
    m_passwordCell->setReuseIdentifier(QStringLiteral("1"));
    m_passwordCell->setLabelText(localizedString(QStringLiteral("ACCOUNT_SETUP_PASSWORD_LABEL")));
    QLineEdit *password = m_passwordCell->textField();
    password->setPlaceholderText(localizedString(QStringLiteral("ACCOUNT_SETUP_REQUIRED_PLACEHOLDER")));
    TULOSetDefaultOptionsForTextField(password);
    password->setEchoMode(QLineEdit::Password);
    password->setInputMethodHints(password->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData);

    m_signInCell = new TULOSignInButtonTableViewCell;
    m_signInCell->setReuseIdentifier(QStringLiteral("0"));
    m_signInCell->setTitle(localizedString(QStringLiteral("ACCOUNT_SETUP_SIGN_IN_BUTTON")));

    // Return in the user name moves on; in the password it signs in.
    connect(userName, &QLineEdit::returnPressed, this, [this] {
        if (!m_userNameCell->textField()->text().isEmpty())
            m_passwordCell->textField()->setFocus(Qt::TabFocusReason);
    });
    connect(password, &QLineEdit::returnPressed, this, [this] { signIn(); });
    connect(userName, &QLineEdit::textChanged, this, &TULOSetupAccountViewController::updateSignInEnabled);
    connect(password, &QLineEdit::textChanged, this, &TULOSetupAccountViewController::updateSignInEnabled);

    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    // Both fields start at the same place.
    TULOSettingsTextFieldTableViewCell::shareLabelWidth({m_userNameCell, m_passwordCell});
    updateSignInEnabled();
    setView(m_tableView);
}

void TULOSetupAccountViewController::viewDidAppear(bool animated)
{
    TULOStoreViewController::viewDidAppear(animated);
    if (m_userNameCell && m_userNameCell->textField()->isEnabled())
        m_userNameCell->textField()->setFocus(Qt::OtherFocusReason);
}

int TULOSetupAccountViewController::numberOfSectionsInTableView(TULOTableView *)
{
    return 2;
}

int TULOSetupAccountViewController::tableViewNumberOfRowsInSection(TULOTableView *, int section)
{
    return section == TULOFieldsSection ? 2 : 1;
}

TULOTableViewCell *TULOSetupAccountViewController::tableViewCellForRowAtIndexPath(TULOTableView *,
                                                                                 const TULOIndexPath &indexPath)
{
    if (indexPath.section() == TULOSignInSection)
        return m_signInCell;
    return indexPath.row() == TULOUserNameRow ? m_userNameCell : m_passwordCell;
}

std::optional<bool> TULOSetupAccountViewController::tableViewShouldHighlightRowAtIndexPath(TULOTableView *,
                                                                                          const TULOIndexPath &indexPath)
{
    return indexPath.section() == TULOSignInSection && canSignIn();
}

void TULOSetupAccountViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                     const TULOIndexPath &indexPath)
{
    tableView->deselectRowAtIndexPath(indexPath, true);
    if (indexPath.section() == TULOSignInSection)
        signIn();
}

bool TULOSetupAccountViewController::canSignIn() const
{
    return !m_verifying && m_userNameCell && m_passwordCell && !m_userNameCell->textField()->text().isEmpty()
        && !m_passwordCell->textField()->text().isEmpty();
}

void TULOSetupAccountViewController::updateSignInEnabled()
{
    if (m_signInCell)
        m_signInCell->setEnabled(canSignIn());
}

bool TULOSetupAccountViewController::signIn()
{
    if (!canSignIn() || !m_accountStore)
        return false;
    m_userNameCell->textField()->clearFocus();
    m_passwordCell->textField()->clearFocus();
    setVerifying(true);
    // The answer may come on any thread, and after this screen has gone.
    const QPointer<TULOSetupAccountViewController> screen(this);
    m_accountStore->verifyUserName(m_userNameCell->textField()->text().trimmed(), m_passwordCell->textField()->text(),
        m_service.identifier(), [screen](const std::optional<TULOAccount> &account, const TULOError &error) {
            TULODispatchMain([screen, account, error] {
                if (screen)
                    screen->finishSignInWithAccount(account, error);
            });
        });
    return true;
}

void TULOSetupAccountViewController::finishSignInWithAccount(const std::optional<TULOAccount> &account,
                                                             const TULOError &error)
{
    setVerifying(false);
    if (!account) {
        presentViewController(TULOAccountErrorAlertController::alertControllerWithError(error, context()), true);
        return;
    }
    TULOError saveError;
    if (!m_accountStore || !m_accountStore->saveAccount(*account, &saveError)) {
        // Signed in, but this computer could not keep the account: stay, so it can be retried.
        presentViewController(TULOSettingsErrorAlert(QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_NOT_SAVED"), QString::fromLatin1(TULOLocalChangeErrorMessageKey), context()),
                              true);
        return;
    }
    m_accountStore->setAccountEnabled(true, m_service.identifier());
    if (TULONavigationController *navigation = navigationController()) {
        if (navigation->topViewController() == this && navigation->viewControllers().size() > 1) {
            navigation->popViewController(true);
            return;
        }
    }
    dismissViewController(true);
}

void TULOSetupAccountViewController::setVerifying(bool verifying)
{
    if (m_verifying == verifying)
        return;
    m_verifying = verifying;
    if (m_userNameCell)
        m_userNameCell->setEnabled(!verifying);
    if (m_passwordCell)
        m_passwordCell->setEnabled(!verifying);
    updateSignInEnabled();
    if (m_signInCell) {
        if (verifying)
            m_signInCell->activityIndicator()->startAnimating();
        else
            m_signInCell->activityIndicator()->stopAnimating();
    }
    if (verifying)
        TULOPostNetworkActivityStarted(this);
    else
        TULOPostNetworkActivityStopped(this);
}

bool TULOSetupAccountViewController::performCancelAction()
{
    // Escape goes back to the list; an answer still on its way is dropped.
    if (TULONavigationController *navigation = navigationController()) {
        if (navigation->topViewController() == this && navigation->viewControllers().size() > 1) {
            navigation->popViewController(true);
            return true;
        }
    }
    return TULOStoreViewController::performCancelAction();
}

bool TULOSetupAccountViewController::performDefaultAction()
{
    return signIn() || TULOStoreViewController::performDefaultAction();
}
