#include <Quillon/settings/facebookpageselectionviewcontroller.h>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/settingsbuttontableviewcell.h>
#include <Quillon/settings/settingssupport_p.h>

#include <QLabel>
#include <QVBoxLayout>

namespace {

enum { TULOProfileSection = 0, TULOPagesSection = 1 };
const QString TULOPageCellIdentifier = QStringLiteral("1");
const QString TULOButtonCellIdentifier = QStringLiteral("0");

// The explanation's grey (white level 0.4627) reads on light backgrounds only.
QColor explanationColor(const QPalette &palette)
{
    if (palette.color(QPalette::Window).lightness() < 128)
        return palette.color(QPalette::PlaceholderText);
    return QColor::fromRgbF(0.4627f, 0.4627f, 0.4627f);
}

} // namespace

TULOFacebookPageSelectionHeaderView::TULOFacebookPageSelectionHeaderView(QWidget *parent)
    : QWidget(parent)
    , m_label(new QLabel(this))
{
    m_label->setWordWrap(true);
    m_label->setTextFormat(Qt::RichText);
    m_label->setTextInteractionFlags(Qt::NoTextInteraction);
    auto *layout = new QVBoxLayout(this);
    // The table's row margins, so the text lines up with the rows' titles.
    layout->setContentsMargins(2 * TULOTableViewCell::TULOHorizontalMargin, 16, 2 * TULOTableViewCell::TULOHorizontalMargin, 0);
    layout->addWidget(m_label);
}

TULOFacebookPageTableViewCell::TULOFacebookPageTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
{
}

TULOFacebookPageSelectionViewController::TULOFacebookPageSelectionViewController(const TULOAccount &account,
                                                                                 TULOAccountStore *accountStore,
                                                                                 QObject *parent)
    : TULOStoreViewController(parent)
    , m_account(account)
    , m_accountStore(accountStore)
{
    // Rows start below the navigation bar, never under it.
    setEdgesForExtendedLayout(TULORectEdgeNone);
    if (m_accountStore
        && m_accountStore->preferredFacebookAutopostingDestination() == TULOFacebookAutopostingDestinationPreferredPage)
        m_selectedPageIdentifier = m_account.preferredPageIdentifier();
    m_cancelButton = new TULOBarButtonItem(QString(), TULOBarButtonItemStylePlain, this,
                                           [this](TULOBarButtonItem *) { dismissViewController(true); }, this);
    m_doneButton = new TULOBarButtonItem(QString(), TULOBarButtonItemStyleDone, this,
                                         [this](TULOBarButtonItem *) { doneButtonAction(); }, this);
    navigationItem()->setLeftBarButtonItem(m_cancelButton);
    navigationItem()->setRightBarButtonItem(m_doneButton);
    const auto updateTexts = [this] {
        setTitle(localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_TITLE")));
        m_cancelButton->setTitle(localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_CANCEL_BUTTON")));
        m_doneButton->setTitle(localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_DONE_BUTTON")));
        updateHeaderText();
    };
    updateTexts();
    connect(this, &TULOStoreViewController::clientContextChanged, this, updateTexts);
}

TULOFacebookPageSelectionViewController::~TULOFacebookPageSelectionViewController()
{
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

TULOClientContext TULOFacebookPageSelectionViewController::context() const
{
    return TULOSettingsClientContext(clientContext(), m_accountStore);
}

QString TULOFacebookPageSelectionViewController::localizedString(const QString &key) const
{
    return TULOSettingsLocalizedString(key, context());
}

TULOTableView *TULOFacebookPageSelectionViewController::tableView()
{
    view();
    return m_tableView;
}

TULOFacebookPageSelectionHeaderView *TULOFacebookPageSelectionViewController::headerView()
{
    view();
    return m_headerView;
}

void TULOFacebookPageSelectionViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_tableView->registerCellClass<TULOFacebookPageTableViewCell>(TULOPageCellIdentifier);
    m_headerView = new TULOFacebookPageSelectionHeaderView;
    m_tableView->setTableHeaderView(m_headerView);
    updateHeaderText();
    m_unlinkCell = new TULOSettingsButtonTableViewCell;
    m_unlinkCell->setReuseIdentifier(TULOButtonCellIdentifier);
    m_unlinkCell->setTitle(localizedString(QStringLiteral("ACCOUNT_MANAGE_UNLINK_ACCOUNT_BUTTON")));
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    setView(m_tableView);
}

void TULOFacebookPageSelectionViewController::viewDidAppear(bool animated)
{
    TULOStoreViewController::viewDidAppear(animated);
    if (m_tableView)
        m_tableView->flashScrollIndicators();
}

void TULOFacebookPageSelectionViewController::updateHeaderText()
{
    if (!m_headerView)
        return;
    // The name is set apart from the explanation around it; both are escaped, the name may
    // hold anything.
    const QString marker = QStringLiteral("\x01");
    const QString text = TULOStringWithFormat(localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_EXPLANATION_%@")),
                                              {marker});
    const QPalette palette = m_headerView->palette();
    const QString name = QStringLiteral("<b style=\"color:%1\">%2</b>")
                             .arg(palette.color(QPalette::WindowText).name(), m_account.fullName().toHtmlEscaped());
    QString html = text.toHtmlEscaped();
    html.replace(marker, name);
    m_headerView->label()->setText(QStringLiteral("<span style=\"color:%1\">%2</span>")
                                       .arg(explanationColor(palette).name(), html));
    m_headerView->label()->setAccessibleName(TULOStringWithFormat(
        localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_EXPLANATION_%@")), {m_account.fullName()}));
}

int TULOFacebookPageSelectionViewController::numberOfSectionsInTableView(TULOTableView *)
{
    return hasPages() ? 3 : 2;
}

int TULOFacebookPageSelectionViewController::tableViewNumberOfRowsInSection(TULOTableView *, int section)
{
    if (hasPages() && section == TULOPagesSection)
        return int(m_account.pages().size());
    return 1;
}

QString TULOFacebookPageSelectionViewController::tableViewTitleForHeaderInSection(TULOTableView *, int section)
{
    if (section == TULOProfileSection)
        return localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_PROFILE_SECTION_TITLE"));
    if (hasPages() && section == TULOPagesSection)
        return localizedString(QStringLiteral("FACEBOOK_PAGE_SELECTION_PAGE_SECTION_TITLE"));
    return {};
}

TULOTableViewCell *TULOFacebookPageSelectionViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                          const TULOIndexPath &indexPath)
{
    if (indexPath.section() == unlinkSection())
        return m_unlinkCell;
    TULOTableViewCell *cell = tableView->dequeueReusableCellWithIdentifier(TULOPageCellIdentifier);
    if (!cell)
        return nullptr;
    if (indexPath.section() == TULOProfileSection)
        cell->setText(m_account.fullName());
    else
        cell->setText(m_account.pages().value(indexPath.row()).name());
    cell->setAccessoryType(checkedIndexPath() == indexPath ? TULOTableViewCellAccessoryCheckmark
                                                           : TULOTableViewCellAccessoryNone);
    return cell;
}

std::optional<TULOIndexPath> TULOFacebookPageSelectionViewController::checkedIndexPath() const
{
    if (m_selectedPageIdentifier.isNull())
        return TULOIndexPath(TULOProfileSection, 0);
    const QList<TULOFacebookPage> pages = m_account.pages();
    for (int row = 0; row < pages.size(); ++row) {
        if (pages.at(row).identifier() == m_selectedPageIdentifier)
            return TULOIndexPath(TULOPagesSection, row);
    }
    // A page the account no longer has: nothing is marked.
    return std::nullopt;
}

void TULOFacebookPageSelectionViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                              const TULOIndexPath &indexPath)
{
    if (indexPath.section() == unlinkSection()) {
        tableView->deselectRowAtIndexPath(indexPath, true);
        confirmUnlink();
        return;
    }
    const std::optional<TULOIndexPath> checked = checkedIndexPath();
    if (checked != indexPath) {
        tableView->moveCheckmark(checked, indexPath);
        m_selectedPageIdentifier = indexPath.section() == TULOProfileSection
            ? QString()
            : m_account.pages().value(indexPath.row()).identifier();
    }
    tableView->deselectRowAtIndexPath(indexPath, true);
}

void TULOFacebookPageSelectionViewController::confirmUnlink()
{
    const QString author = m_accountStore ? m_accountStore->author().name() : QString();
    const QPointer<TULOFacebookPageSelectionViewController> screen(this);
    TULOPresentConfirmationSheet(
        this, localizedString(QStringLiteral("ACCOUNT_MANAGE_UNLINK_CONFIRMATION_TITLE")),
        TULOStringWithFormat(localizedString(QStringLiteral("ACCOUNT_MANAGE_UNLINK_CONFIRMATION_MESSAGE_FACEBOOK")), {author}),
        localizedString(QStringLiteral("ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_UNLINK")),
        localizedString(QStringLiteral("ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_CANCEL")), m_unlinkCell, [screen] {
            if (screen)
                screen->unlink();
        });
}

void TULOFacebookPageSelectionViewController::unlink()
{
    if (!m_accountStore)
        return;
    // This screen goes at once; a refusal is told by the screen it goes back to.
    TULOViewController *presenter = presentingViewController();
    const QPointer<TULOViewController> weakPresenter(presenter);
    const TULOClientContext context = this->context();
    m_accountStore->unlinkAccount(m_account, [weakPresenter, context](bool success, const TULOError &error) {
        if (success)
            return;
        TULOPresentAfterDismissal(weakPresenter,
                                  TULOSettingsErrorAlert(QStringLiteral("ACCOUNT_MANAGE_UNLINK_ERROR_TITLE"),
                                                         TULOStoreRequestErrorMessageKey(error), context));
    });
    dismissViewController(true);
}

void TULOFacebookPageSelectionViewController::doneButtonAction()
{
    if (!m_accountStore) {
        dismissViewController(true);
        return;
    }
    const qint64 previousDestination = m_accountStore->preferredFacebookAutopostingDestination();
    const bool pageChosen = !m_selectedPageIdentifier.isNull();
    if (pageChosen && m_selectedPageIdentifier != m_account.preferredPageIdentifier()) {
        const QPointer<TULOViewController> presenter(presentingViewController());
        const QPointer<TULOAccountStore> store(m_accountStore);
        const TULOClientContext context = this->context();
        m_accountStore->updateFacebookPreferredPageIdentifier(m_selectedPageIdentifier, m_account,
            [presenter, store, previousDestination, context](bool success, const TULOError &error) {
                if (success)
                    return;
                // The store kept the old page; posts keep going where they went before.
                if (store)
                    store->setPreferredFacebookAutopostingDestination(previousDestination);
                TULOPresentAfterDismissal(presenter,
                                          TULOSettingsErrorAlert(QStringLiteral("FACEBOOK_PAGE_SELECTION_ERROR_TITLE"),
                                                                 TULOStoreRequestErrorMessageKey(error), context));
            });
    }
    m_accountStore->setPreferredFacebookAutopostingDestination(pageChosen ? TULOFacebookAutopostingDestinationPreferredPage
                                                                          : TULOFacebookAutopostingDestinationProfile);
    dismissViewController(true);
}
