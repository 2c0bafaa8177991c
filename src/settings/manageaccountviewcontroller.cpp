#include <Quillon/settings/manageaccountviewcontroller.h>

#include <Quillon/accounts/accounterroralertcontroller.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/networkactivityindicator.h>
#include <Quillon/platform/ui/settingsbuttontableviewcell.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/settings/settingssupport_p.h>

#include <QLineEdit>

TULOManageAccountViewController::TULOManageAccountViewController(const TULOAccount &account,
                                                                 TULOAccountStore *accountStore, QObject *parent)
    : TULOStoreViewController(parent)
    , m_account(account)
    , m_accountStore(accountStore)
{
    // Rows start below the navigation bar, never under it.
    setEdgesForExtendedLayout(TULORectEdgeNone);
    m_cancelButton = new TULOBarButtonItem(QString(), TULOBarButtonItemStylePlain, this,
                                           [this](TULOBarButtonItem *) { dismissViewController(true); }, this);
    m_doneButton = new TULOBarButtonItem(QString(), TULOBarButtonItemStyleDone, this,
                                         [this](TULOBarButtonItem *) { doneButtonAction(); }, this);
    navigationItem()->setLeftBarButtonItem(m_cancelButton);
    navigationItem()->setRightBarButtonItem(m_doneButton);
    // Titles follow the client context, which may be set after creation.
    const auto updateTitles = [this] {
        m_cancelButton->setTitle(localizedString(QStringLiteral("ACCOUNT_MANAGE_CANCEL_BUTTON")));
        m_doneButton->setTitle(localizedString(QStringLiteral("ACCOUNT_MANAGE_DONE_BUTTON")));
    };
    updateTitles();
    connect(this, &TULOStoreViewController::clientContextChanged, this, updateTitles);
    updateDoneEnabled();
}

TULOManageAccountViewController::~TULOManageAccountViewController()
{
    if (m_verifying)
        TULOPostNetworkActivityStopped(this);
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

TULOClientContext TULOManageAccountViewController::context() const
{
    return TULOSettingsClientContext(clientContext(), m_accountStore);
}

QString TULOManageAccountViewController::localizedString(const QString &key) const
{
    return TULOSettingsLocalizedString(key, context());
}

bool TULOManageAccountViewController::hasPasswordRows() const
{
    return m_account.serviceIdentifier() != QLatin1String(TULOServiceIdentifierFacebook);
}

TULOTableView *TULOManageAccountViewController::tableView()
{
    view();
    return m_tableView;
}

TULOSettingsTextFieldTableViewCell *TULOManageAccountViewController::userNameCell()
{
    view();
    return m_userNameCell;
}

TULOSettingsTextFieldTableViewCell *TULOManageAccountViewController::passwordCell()
{
    view();
    return m_passwordCell;
}

TULOSettingsButtonTableViewCell *TULOManageAccountViewController::deleteCell()
{
    view();
    return m_deleteCell;
}

TULOBarButtonItem *TULOManageAccountViewController::doneButton()
{
    return m_doneButton;
}

TULOBarButtonItem *TULOManageAccountViewController::cancelButton()
{
    return m_cancelButton;
}

void TULOManageAccountViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    if (hasPasswordRows()) {
        m_userNameCell = new TULOSettingsTextFieldTableViewCell;
        m_userNameCell->setReuseIdentifier(QStringLiteral("1"));
        m_userNameCell->setLabelText(localizedString(QStringLiteral("ACCOUNT_SETUP_USER_NAME_LABEL")));
        TULOSetDefaultOptionsForTextField(m_userNameCell->textField());
        m_userNameCell->textField()->setText(m_account.userName());
        // Not editable, but readable and copyable like any shown value on a desktop; a
        // disabled field would grey the name out.
        m_userNameCell->textField()->setReadOnly(true);

        m_passwordCell = new TULOSettingsTextFieldTableViewCell;
        m_passwordCell->setReuseIdentifier(QStringLiteral("1"));
        m_passwordCell->setLabelText(localizedString(QStringLiteral("ACCOUNT_SETUP_PASSWORD_LABEL")));
        QLineEdit *password = m_passwordCell->textField();
        TULOSetDefaultOptionsForTextField(password);
        password->setPlaceholderText(localizedString(QStringLiteral("ACCOUNT_SETUP_REQUIRED_PLACEHOLDER")));
        password->setEchoMode(QLineEdit::Password);
        password->setInputMethodHints(password->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData);
        password->setText(m_account.password());
        connect(password, &QLineEdit::textChanged, this, &TULOManageAccountViewController::updateDoneEnabled);
        connect(password, &QLineEdit::returnPressed, this, [this] {
            if (!m_verifying && !m_passwordCell->textField()->text().isEmpty())
                verifyPassword(m_passwordCell->textField()->text());
        });
    }
    m_deleteCell = new TULOSettingsButtonTableViewCell;
    m_deleteCell->setReuseIdentifier(QStringLiteral("0"));
    m_deleteCell->setTitle(localizedString(QStringLiteral("ACCOUNT_MANAGE_DELETE_ACCOUNT_BUTTON")));

    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    if (hasPasswordRows())
        TULOSettingsTextFieldTableViewCell::shareLabelWidth({m_userNameCell, m_passwordCell});
    setView(m_tableView);
    updateDoneEnabled();
}

int TULOManageAccountViewController::numberOfSectionsInTableView(TULOTableView *)
{
    return hasPasswordRows() ? 2 : 1;
}

int TULOManageAccountViewController::tableViewNumberOfRowsInSection(TULOTableView *, int section)
{
    return hasPasswordRows() && section == 0 ? 2 : 1;
}

TULOTableViewCell *TULOManageAccountViewController::tableViewCellForRowAtIndexPath(TULOTableView *,
                                                                                  const TULOIndexPath &indexPath)
{
    if (hasPasswordRows() && indexPath.section() == 0)
        return indexPath.row() == 0 ? m_userNameCell : m_passwordCell;
    return m_deleteCell;
}

std::optional<bool> TULOManageAccountViewController::tableViewShouldHighlightRowAtIndexPath(TULOTableView *,
                                                                                           const TULOIndexPath &indexPath)
{
    return tableViewCellForRowAtIndexPath(nullptr, indexPath) == m_deleteCell && m_deleteCell->isEnabled();
}

void TULOManageAccountViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                      const TULOIndexPath &indexPath)
{
    tableView->deselectRowAtIndexPath(indexPath, true);
    if (tableViewCellForRowAtIndexPath(tableView, indexPath) == m_deleteCell)
        confirmDelete();
}

void TULOManageAccountViewController::updateDoneEnabled()
{
    // Without password rows there is nothing to change; Done just closes.
    const bool hasText = m_passwordCell && !m_passwordCell->textField()->text().isEmpty();
    m_doneButton->setEnabled(!m_verifying && (hasText || !hasPasswordRows()));
}

void TULOManageAccountViewController::doneButtonAction()
{
    if (!m_passwordCell) {
        dismissViewController(true);
        return;
    }
    m_passwordCell->textField()->clearFocus();
    const QString typed = m_passwordCell->textField()->text();
    if (typed == m_account.password()) {
        dismissViewController(true);
        return;
    }
    verifyPassword(typed);
}

void TULOManageAccountViewController::verifyPassword(const QString &password)
{
    if (!m_accountStore || m_verifying)
        return;
    setVerifying(true);
    const QPointer<TULOManageAccountViewController> screen(this);
    m_accountStore->verifyUserName(m_account.userName(), password, m_account.serviceIdentifier(),
        [screen](const std::optional<TULOAccount> &account, const TULOError &error) {
            TULODispatchMain([screen, account, error] {
                if (screen)
                    screen->finishVerifyWithAccount(account, error);
            });
        });
}

void TULOManageAccountViewController::finishVerifyWithAccount(const std::optional<TULOAccount> &account,
                                                              const TULOError &error)
{
    if (account) {
        TULOError saveError;
        if (m_accountStore && m_accountStore->saveAccount(*account, &saveError)) {
            m_account = *account;
            setVerifying(false);
            dismissViewController(true);
            return;
        }
        setVerifying(false);
        presentViewController(TULOSettingsErrorAlert(QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_NOT_SAVED"), QString::fromLatin1(TULOLocalChangeErrorMessageKey), context()),
                              true);
        return;
    }
    // The stored account stays as it was; the typed password is left for another try.
    setVerifying(false);
    presentViewController(TULOAccountErrorAlertController::alertControllerWithError(error, context()), true);
}

void TULOManageAccountViewController::setVerifying(bool verifying)
{
    if (m_verifying == verifying)
        return;
    m_verifying = verifying;
    m_cancelButton->setEnabled(!verifying);
    updateDoneEnabled();
    if (m_deleteCell)
        m_deleteCell->setEnabled(!verifying);
    if (m_passwordCell)
        m_passwordCell->textField()->setEnabled(!verifying);
    if (verifying)
        TULOPostNetworkActivityStarted(this);
    else
        TULOPostNetworkActivityStopped(this);
}

QString TULOManageAccountViewController::deleteConfirmationMessageKey(const QString &serviceIdentifier, int deviceClass)
{
    const QString service = serviceIdentifier == QLatin1String(TULOServiceIdentifierFacebook) ? QStringLiteral("FACEBOOK")
                                                                                              : QStringLiteral("TWITTER");
    QString device;
    switch (deviceClass) {
    case TULODeviceClassHandset:
        device = QStringLiteral("HANDSET");
        break;
    case TULODeviceClassPlayer:
        device = QStringLiteral("PLAYER");
        break;
    case TULODeviceClassTablet:
        device = QStringLiteral("TABLET");
        break;
    default:
        break; // no suffix: the table words it for a computer
    }
    return TULOStringWithFormat(QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_%@_%@"), {service, device});
}

QString TULOManageAccountViewController::deleteConfirmationMessage() const
{
    return localizedString(deleteConfirmationMessageKey(m_account.serviceIdentifier(), TULODeviceClassDesktop));
}

void TULOManageAccountViewController::confirmDelete()
{
    if (m_passwordCell)
        m_passwordCell->textField()->clearFocus();
    const QPointer<TULOManageAccountViewController> screen(this);
    TULOPresentConfirmationSheet(this, localizedString(QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_TITLE")),
                                 deleteConfirmationMessage(),
                                 localizedString(QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_DELETE")),
                                 localizedString(QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_CANCEL")),
                                 m_deleteCell, [screen] {
                                     if (screen)
                                         screen->deleteAccount();
                                 });
}

void TULOManageAccountViewController::deleteAccount()
{
    if (!m_accountStore)
        return;
    TULOError error;
    if (!m_accountStore->removeAccount(m_account, &error)) {
        // The account is still there; say so and stay.
        presentViewController(TULOSettingsErrorAlert(QStringLiteral("ACCOUNT_MANAGE_DELETE_ERROR_TITLE"), QString::fromLatin1(TULOLocalChangeErrorMessageKey), context()),
                              true);
        return;
    }
    dismissViewController(true);
}
