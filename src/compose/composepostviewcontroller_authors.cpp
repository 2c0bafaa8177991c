#include <Quillon/compose/composepostviewcontroller.h>

// The author to post as, the attribution, the cross-posting services and the rows that show
// them, and the draft that records those choices with the text and attachments.

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/attributionselectionviewcontroller.h>
#include <Quillon/compose/authorselectionalertcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/lockupview.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/attachmentdownloadoperation.h>
#include <Quillon/core/storeitemartworkrequest.h>
#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/preferences.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/transitioncoordinator.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>
#include <QAbstractButton>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

const char *const TULOPreferredAuthorIDKey = "PreferredAuthorID";

namespace {

// The preparation may hold the store last and let it go on its worker thread; the store
// belongs to the GUI thread and ends there.
std::shared_ptr<TULOAccountStore> newAccountStore(const TULOPostAuthor &author)
{
    return std::shared_ptr<TULOAccountStore>(new TULOAccountStore(author), [](TULOAccountStore *store) { store->deleteLater(); });
}

QList<TULOSocialService> socialServices(const std::optional<QVariantList> &values)
{
    QList<TULOSocialService> services;
    for (const QVariant &value : values.value_or(QVariantList()))
        if (value.canConvert<TULOSocialService>())
            services.append(value.value<TULOSocialService>());
    return services;
}

} // namespace

void TULOComposePostViewController::chooseInitialAuthor()
{
    const QList<TULOPostAuthor> authors = m_configuration.authorsForSharing();
    if (authors.size() >= 2) {
        const QVariant preferred =
            TULOPreferences::frameworkPreferences().objectForKey(QLatin1String(TULOPreferredAuthorIDKey));
        if (preferred.typeId() == QMetaType::QString) {
            for (const TULOPostAuthor &author : authors) {
                if (author.identifier() == preferred.toString()) {
                    m_selectedAuthor = author;
                    break;
                }
            }
        }
    }
    if (!m_selectedAuthor && !authors.isEmpty())
        m_selectedAuthor = authors.first();
    if (m_selectedAuthor) {
        m_accountStore = newAccountStore(*m_selectedAuthor);
        m_attributionAuthor = defaultAttributionAuthorForDestinationAuthor(*m_selectedAuthor);
    }
}

// Drafts

TULOCompositionDraft TULOComposePostViewController::compositionDraft() const
{
    TULOCompositionDraft draft;
    draft.text = m_composeView ? m_composeView->text() : QString();
    draft.attachments = m_attachments;
    if (const TULOAttachmentPtr soundBite = getSoundBite())
        draft.attachments.append(soundBite);
    if (m_selectedAuthor)
        draft.authorIdentifier = m_selectedAuthor->identifier();
    if (m_attributionAuthor)
        draft.attributionAuthorIdentifier = m_attributionAuthor->identifier();
    for (const TULOSocialService &service : enabledExternalServices())
        draft.enabledServiceIdentifiers.append(service.identifier());
    return draft;
}

void TULOComposePostViewController::restoreCompositionDraft(const TULOCompositionDraft &draft)
{
    // The author first: the attribution offered and the account store follow from it.
    for (const TULOPostAuthor &author : m_configuration.authorsForSharing()) {
        if (author.identifier() == draft.authorIdentifier) {
            if (!m_selectedAuthor || !(*m_selectedAuthor == author))
                setSelectedAuthor(author);
            break;
        }
    }
    std::optional<TULOPostAuthor> attribution;
    if (!draft.attributionAuthorIdentifier.isEmpty() && m_selectedAuthor) {
        // The same choices the attribution screen offers.
        QList<TULOPostAuthor> offered{*m_selectedAuthor};
        const std::optional<TULOPostAuthor> active = m_configuration.authorForActiveAccount();
        if (active && m_selectedAuthor->hasPermission(TULOAuthorPermissionShareWithAttribution))
            offered.append(*active);
        attribution = m_attributionAuthor;
        for (const TULOPostAuthor &author : offered)
            if (author.identifier() == draft.attributionAuthorIdentifier)
                attribution = author;
    }
    setAttributionAuthor(attribution);
    if (m_accountStore) {
        for (const TULOSocialService &service : socialServices(m_configuration.allowedExternalServices())) {
            const bool wanted = draft.enabledServiceIdentifiers.contains(service.identifier());
            if (m_accountStore->isAccountEnabledForServiceIdentifier(service.identifier()) != wanted)
                m_accountStore->setAccountEnabled(wanted, service.identifier());
        }
    }
    composeView()->setText(draft.text);
    for (const TULOAttachmentPtr &attachment : draft.attachments)
        if (attachment)
            m_attachments.append(attachment);
    reloadAttachmentUI();
}

// Authors and attribution

std::optional<TULOPostAuthor>
TULOComposePostViewController::defaultAttributionAuthorForDestinationAuthor(const TULOPostAuthor &author) const
{
    const std::optional<TULOPostAuthor> active = m_configuration.authorForActiveAccount();
    if (!active || *active == author)
        return std::nullopt;
    if (author.hasPermission(TULOAuthorPermissionShareWithAttribution))
        return active;
    // Without that permission the destination is its own attribution: the post is not attributed.
    return author;
}

void TULOComposePostViewController::setSelectedAuthor(const TULOPostAuthor &author)
{
    m_accountStore = newAccountStore(author);
    m_attributionAuthor = defaultAttributionAuthorForDestinationAuthor(author);
    m_selectedAuthor = author;
    TULOPreferences preferences = TULOPreferences::frameworkPreferences();
    preferences.setString(QLatin1String(TULOPreferredAuthorIDKey), author.identifier());
    preferences.synchronize();
    if (m_authorSelectionView)
        m_authorSelectionView->setAuthorName(author.name());
    if (m_composeView) {
        m_composeView->setAllowedCharacterCount(allowedCharacterCount());
        m_composeView->setFooterViews(footerViews());
    }
    Q_EMIT compositionDidChange();
}

void TULOComposePostViewController::setAttributionAuthor(const std::optional<TULOPostAuthor> &author)
{
    m_attributionAuthor = author;
    if (m_composeView)
        m_composeView->setFooterViews(footerViews());
    Q_EMIT compositionDidChange();
}

QList<TULOSocialService> TULOComposePostViewController::enabledExternalServices() const
{
    QList<TULOSocialService> enabled;
    if (!m_accountStore)
        return enabled;
    for (const TULOSocialService &service : socialServices(m_configuration.allowedExternalServices()))
        if (m_accountStore->isAccountEnabledForServiceIdentifier(service.identifier()))
            enabled.append(service);
    return enabled;
}

qint64 TULOComposePostViewController::allowedCharacterCount() const
{
    qint64 count = 0;
    for (const TULOSocialService &service : enabledExternalServices()) {
        const qint64 limit = service.maximumNumberOfCharacters();
        if (limit <= 0)
            continue;
        count = count == 0 ? limit : std::min(count, limit);
    }
    return count;
}

// Rows

QList<QWidget *> TULOComposePostViewController::headerViews()
{
    if (m_configuration.potentalAuthors().value_or(QList<TULOPostAuthor>()).size() <= 1)
        return {};
    if (!m_authorSelectionView) {
        m_authorSelectionView = new TULOAuthorView;
        connect(m_authorSelectionView->authorNameButton(), &QPushButton::clicked, this,
                [this] { pickAuthorAction(m_authorSelectionView->authorNameButton()); });
        m_authorSelectionView->setLabelText(localizedString(QStringLiteral("POST_AS_LABEL")));
    }
    m_authorSelectionView->setAuthorName(m_selectedAuthor ? m_selectedAuthor->name() : QString());
    return {m_authorSelectionView};
}

QList<QWidget *> TULOComposePostViewController::scrollableHeaderViews()
{
    const std::optional<TULOStoreItem> item = m_configuration.item();
    if (!item)
        return {};
    auto *lockup = new TULOLockupView;
    lockup->setAttribute(Qt::WA_TransparentForMouseEvents);
    lockup->setTitle(item->displayName());
    QString subtitle;
    if (!item->artistName().isEmpty() && !item->collectionName().isEmpty())
        subtitle = TULOStringWithFormat(localizedString(QStringLiteral("CONTENT_ITEM_SUBTITLE_%@_%@")),
                                        {item->artistName(), item->collectionName()});
    else
        subtitle = item->artistName().isEmpty() ? item->collectionName() : item->artistName();
    lockup->setSubtitle(subtitle);
    auto request = std::make_shared<TULOStoreItemArtworkRequest>(
        *item, QSizeF(TULOLockupView::ArtworkSide, TULOLockupView::ArtworkSide));
    lockup->adoptArtworkRequest(request);
    resourceLoader()->loadResourceWithRequest(request, TULOResourceLoadReasonVisible);
    return {lockup};
}

QList<QWidget *> TULOComposePostViewController::footerViews()
{
    QList<QWidget *> rows;
    if (m_attributionAuthor) {
        if (!m_attributionButton) {
            m_attributionButton = new TULOComposeLabelValueButton;
            connect(m_attributionButton, &QAbstractButton::clicked, this, [this] { attributionButtonAction(); });
            m_attributionButton->setCharge(-1.0);
            m_attributionButton->setLabelText(localizedString(QStringLiteral("ATTRIBUTION_LABEL")));
        }
        if (m_attributionAuthor == m_selectedAuthor)
            m_attributionButton->setValueText(m_attributionAuthor->name());
        else
            m_attributionButton->setValueText(
                TULOStringWithFormat(localizedString(QStringLiteral("ATTRIBUTION_PERSON_%@_FROM_GROUP_%@")),
                                     {m_attributionAuthor->name(), m_selectedAuthor ? m_selectedAuthor->name() : QString()}));
        rows.append(m_attributionButton);
    }
    if (!m_configuration.allowedExternalServices().value_or(QVariantList()).isEmpty()) {
        if (!m_externalServicesButton) {
            m_externalServicesButton = new TULOComposeLabelValueButton;
            connect(m_externalServicesButton, &QAbstractButton::clicked, this, [this] { externalServicesButtonAction(); });
            m_externalServicesButton->setCharge(-1.0);
        }
        reloadExternalServicesButton();
        rows.append(m_externalServicesButton);
    }
    return rows;
}

void TULOComposePostViewController::reloadExternalServicesButton()
{
    if (!m_externalServicesButton)
        return;
    const QList<TULOSocialService> enabled = enabledExternalServices();
    const QString facebook = QLatin1String(TULOServiceIdentifierFacebook);
    if (!enabled.isEmpty()) {
        m_externalServicesButton->setLabelText(localizedString(QStringLiteral("ALSO_SHARING_TO")));
        if (enabled.size() == 2)
            m_externalServicesButton->setValueText(localizedString(QStringLiteral("EXTERNAL_SERVICE_TWITTER_AND_FACEBOOK")));
        else if (enabled.first().identifier() == facebook)
            m_externalServicesButton->setValueText(localizedString(QStringLiteral("EXTERNAL_SERVICE_FACEBOOK")));
        else
            m_externalServicesButton->setValueText(localizedString(QStringLiteral("EXTERNAL_SERVICE_TWITTER")));
        return;
    }
    const QList<TULOSocialService> allowed = socialServices(m_configuration.allowedExternalServices());
    m_externalServicesButton->setValueText(QString());
    if (allowed.size() == 2)
        m_externalServicesButton->setLabelText(localizedString(QStringLiteral("EXTERNAL_SERVICE_NEEDS_SETUP")));
    else if (!allowed.isEmpty() && allowed.first().identifier() == facebook)
        m_externalServicesButton->setLabelText(localizedString(QStringLiteral("EXTERNAL_SERVICE_NEEDS_SETUP_FACEBOOK_ONLY")));
    else
        m_externalServicesButton->setLabelText(localizedString(QStringLiteral("EXTERNAL_SERVICE_NEEDS_SETUP_TWITTER_ONLY")));
}

void TULOComposePostViewController::socialAccountStoreDidChange()
{
    if (m_composeView)
        m_composeView->setAllowedCharacterCount(allowedCharacterCount());
    reloadExternalServicesButton();
    Q_EMIT compositionDidChange();
}

// Actions

void TULOComposePostViewController::pickAuthorAction(QWidget *sender)
{
    auto *menu = new TULOAuthorSelectionAlertController(localizedString(QStringLiteral("AUTHOR_SELECTION_TITLE")), QString(),
                                                        TULOAlertControllerStyleActionSheet);
    menu->setResourceLoader(resourceLoader());
    QPointer<TULOComposePostViewController> self(this);
    for (const TULOPostAuthor &author : m_configuration.authorsForSharing()) {
        menu->addActionWithAuthor(author, [self, author] {
            if (self)
                self->setSelectedAuthor(author);
        });
    }
    menu->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("AUTHOR_CANCEL_BUTTON")),
                                                     TULOAlertActionStyleCancel));
    menu->setModalPresentationStyle(TULOModalPresentationStylePopover);
    menu->setPopoverPermittedArrowDirections(TULOPopoverArrowDirectionUp);
    if (sender) {
        menu->setPopoverSourceView(sender);
        menu->setPopoverSourceRect(sender->rect());
    }
    presentViewController(menu, true);
}

void TULOComposePostViewController::attributionButtonAction()
{
    if (!m_selectedAuthor || !navigationController())
        return;
    QList<TULOPostAuthor> authors{*m_selectedAuthor};
    if (m_selectedAuthor->hasPermission(TULOAuthorPermissionShareWithAttribution)) {
        if (const std::optional<TULOPostAuthor> active = m_configuration.authorForActiveAccount())
            authors.append(*active);
    }
    auto *list = new TULOAttributionSelectionViewController;
    list->setDestinationAuthor(*m_selectedAuthor);
    list->setOperationQueue(operationQueue());
    list->setAuthors(authors);
    uint index = TULOAttributionSelectionViewController::NotFound;
    if (m_attributionAuthor) {
        for (int i = 0; i < authors.size(); ++i) {
            if (authors.at(i) == *m_attributionAuthor) {
                index = uint(i);
                break;
            }
        }
    }
    list->setSelectedAuthorIndex(index);
    list->setClientContext(clientContext());
    list->setTitle(localizedString(QStringLiteral("ATTRIBUTION_POST_AS")));
    QPointer<TULOComposePostViewController> self(this);
    list->setSelectionBlock([self](const TULOPostAuthor &author) {
        if (!self)
            return;
        self->setAttributionAuthor(author);
        if (TULONavigationController *navigation = self->navigationController())
            navigation->popToViewController(self, true);
    });
    navigationController()->pushViewController(list, true);
}

void TULOComposePostViewController::externalServicesButtonAction()
{
    if (!m_accountStore || !navigationController())
        return;
    auto *settings = new TULOSocialServiceSetupViewController(m_configuration, m_accountStore.get());
    settings->setOperationQueue(operationQueue());
    settings->setClientContext(clientContext());
    settings->setTitle(localizedString(QStringLiteral("EXTERNAL_SERVICE_SETTINGS_TITLE")));
    navigationController()->pushViewController(settings, true);
}
