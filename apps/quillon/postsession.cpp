#include "postsession.h"

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/compose/tagdataconsumer.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/core/quillon.h>
#include <Quillon/platform/store/platformcontext.h>
#include <Quillon/platform/store/platformrequestoperation.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlbag.h>
#include <Quillon/platform/store/urlloadoperation.h>

namespace {

TULOError sessionError(const QString &description)
{
    return TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed, description);
}

} // namespace

TULOPostSession::TULOPostSession() = default;

TULOPostSession::~TULOPostSession()
{
    m_accountStore.reset();
}

bool TULOPostSession::open(const QUrl &bagURL, TULOError *error)
{
    if (!m_store.open(bagURL, QString(), error))
        return false;

    std::optional<TULOConfiguration> configuration;
    TULOError loadError;
    auto load = std::make_shared<TULOLoadConfigurationOperation>();
    load->setClientContext(m_store.clientContext());
    load->setConfigurationBlock([&](const std::optional<TULOConfiguration> &c, const TULOClientContext &context, const TULOError &e) {
        configuration = c;
        if (!context.bagURL().isEmpty())
            m_store.setClientContext(context);
        loadError = e;
    });
    runAndWait(load);
    if (!configuration) {
        TULOSetError(error, sessionError(QStringLiteral("could not load the store's configuration: %1")
                                             .arg(loadError ? loadError.localizedDescription() : QStringLiteral("no answer"))));
        return false;
    }
    m_configuration = *configuration;
    return true;
}

bool TULOPostSession::storeSetSoundBiteDuration() const
{
    const auto bag = clientContext().loadedURLBag();
    if (!bag)
        return false;
    const QVariant value = bag->dictionaryForKey(QStringLiteral("musicForum")).value(QStringLiteral("soundBiteDuration"));
    bool number = false;
    const double seconds = value.toDouble(&number);
    // A value the configuration could not use left its own default in place.
    return number && qFuzzyCompare(seconds, m_configuration.maximumSoundBiteDuration());
}

std::optional<TULOPostAuthor> TULOPostSession::authorWithIdentifier(const QString &identifier, bool attributed, TULOError *error) const
{
    const QList<TULOPostAuthor> authors = m_configuration.authorsForSharing();
    if (authors.isEmpty()) {
        TULOSetError(error, sessionError(QStringLiteral("this store account may not post as anyone")));
        return std::nullopt;
    }
    std::optional<TULOPostAuthor> author;
    if (identifier.isEmpty()) {
        author = m_configuration.authorForActiveAccount();
        if (!author || !authors.contains(*author))
            author = authors.first();
    } else {
        for (const TULOPostAuthor &candidate : authors) {
            if (candidate.identifier() == identifier)
                author = candidate;
        }
        if (!author) {
            QStringList allowed;
            for (const TULOPostAuthor &candidate : authors)
                allowed << QStringLiteral("%1 (%2)").arg(candidate.identifier(), candidate.name());
            TULOSetError(error, sessionError(QStringLiteral("this account may not post as author %1; it may post as %2")
                                                 .arg(identifier, allowed.join(QStringLiteral(", ")))));
            return std::nullopt;
        }
    }
    if (attributed && !author->hasPermission(TULOAuthorPermissionShareWithAttribution)) {
        TULOSetError(error, sessionError(QStringLiteral("author %1 may not post with attribution").arg(author->identifier())));
        return std::nullopt;
    }
    return author;
}

std::optional<QList<TULOTag>> TULOPostSession::lookUpTags(const QString &query, TULOError *error)
{
    const QUrl url = m_configuration.tagLookupURLWithTag(query);
    if (!url.isValid()) {
        TULOSetError(error, sessionError(QStringLiteral("the store offers no tag lookup")));
        return std::nullopt;
    }
    auto load = std::make_shared<TULOUrlLoadOperation>(url);
    load->setClientContext(clientContext());
    runAndWait(load);
    const TULOError failure = load->error();
    if (!failure.isNull() || !load->response().isSuccess()) {
        TULOSetError(error, !failure.isNull() ? failure
                                              : TULOError::withDescription(TULOStoreErrorDomain, TULOStoreErrorRequestFailed,
                                                                           load->networkError().localizedDescription()));
        return std::nullopt;
    }
    return TULOTagDataConsumer().tagsForData(load->data(), error);
}

// "the store answered HTTP 400 (unsupportedVersion): ..." rather than the bare message, so a
// refused request is not mistaken for an unknown item.
static QString lookupFailure(const TULOError &error)
{
    const QVariantMap info = error.userInfo();
    const int status = info.value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt();
    const QString code = info.value(QString::fromLatin1(TULOStoreServerErrorCodeKey)).toString();
    const QString message = error.localizedDescription();
    if (status == 0)
        return QStringLiteral("the lookup failed: %1").arg(message);
    return QStringLiteral("the store answered HTTP %1%2: %3")
        .arg(status)
        .arg(code.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(code), message);
}

std::optional<QVariantMap> TULOPostSession::lookUpItem(const QString &identifier, const QString &what, TULOError *error)
{
    const auto bag = clientContext().loadedURLBag();
    if (!bag) {
        TULOSetError(error, sessionError(QStringLiteral("the store's bag is not loaded")));
        return std::nullopt;
    }
    auto lookup = std::make_shared<TULOPlatformRequestOperation>(TULOPlatformContext(*bag, clientContext()));
    lookup->setItemIdentifiers({identifier});
    lookup->setKeyProfile(QString::fromLatin1(TULOLookupKeyProfileLockup));
    // Catalogue requests carry the protocol version; the store refuses them without it.
    lookup->setValueForRequestParameter(QString::fromLatin1(TULOPlatformProtocolVersion),
                                        QString::fromLatin1(TULOPlatformRequestVersionParameter));
    runAndWait(lookup);
    const auto response = lookup->response();
    if (!response) {
        TULOSetError(error, sessionError(QStringLiteral("could not look up %1 %2: %3").arg(what, identifier, lookupFailure(lookup->error()))));
        return std::nullopt;
    }
    const auto item = response->itemForKey(identifier);
    if (!item) {
        TULOSetError(error, sessionError(QStringLiteral("unknown %1 %2: the store has no item %2").arg(what, identifier)));
        return std::nullopt;
    }
    return item->lookupDictionary();
}

std::optional<TULOTag> TULOPostSession::tagWithIdentifier(const QString &identifier, TULOError *error)
{
    const auto dictionary = lookUpItem(identifier, QStringLiteral("tag"), error);
    if (!dictionary)
        return std::nullopt;
    TULOTag tag;
    tag.setEntityType(dictionary->value(QStringLiteral("kind")).toString());
    tag.setIdentifier(identifier);
    tag.setName(dictionary->value(QStringLiteral("name")).toString());
    if (tag.name().isEmpty()) {
        TULOSetError(error, sessionError(QStringLiteral("unknown tag %1: the store gives it no name").arg(identifier)));
        return std::nullopt;
    }
    return tag;
}

std::optional<TULOStoreItem> TULOPostSession::storeItemWithIdentifier(const QString &identifier, TULOError *error)
{
    const auto dictionary = lookUpItem(identifier, QStringLiteral("store item"), error);
    if (!dictionary)
        return std::nullopt;
    return TULOStoreItem::withItemDictionary(*dictionary);
}

std::shared_ptr<TULOAccountStore> TULOPostSession::accountStoreForAuthor(const TULOPostAuthor &author)
{
    m_store.watchAccountsDatabase();
    if (!m_accountStore || m_accountStore->author() != author)
        m_accountStore = std::make_shared<TULOAccountStore>(author);
    return m_accountStore;
}

qint64 TULOPostSession::facebookDestination(const TULOPostAuthor &author)
{
    return accountStoreForAuthor(author)->preferredFacebookAutopostingDestination();
}

std::optional<QList<TULOSocialService>> TULOPostSession::externalServices(const TULOPostAuthor &author, const QStringList &identifiers,
                                                                          TULOError *error)
{
    QList<TULOSocialService> services;
    if (identifiers.isEmpty())
        return services;
    const QVariantList allowed = m_configuration.allowedExternalServices().value_or(QVariantList());
    for (const QString &identifier : identifiers) {
        std::optional<TULOSocialService> found;
        for (const QVariant &value : allowed) {
            const auto service = value.value<TULOSocialService>();
            if (service.identifier() == identifier)
                found = service;
        }
        if (!found) {
            TULOSetError(error, sessionError(QStringLiteral("the store does not offer sharing to %1").arg(identifier)));
            return std::nullopt;
        }
        // Facebook's account lives with the store; a Twitter account must be linked here.
        if (identifier != QLatin1String(TULOServiceIdentifierFacebook) && !accountStoreForAuthor(author)->accountForServiceIdentifier(identifier)) {
            TULOSetError(error, sessionError(QStringLiteral("no %1 account is linked for author %2 (link one with quillon accounts)")
                                                 .arg(identifier, author.identifier())));
            return std::nullopt;
        }
        services << *found;
    }
    return services;
}

QString TULOPostSession::enqueue(const TULOPostDescription &description, TULOError *error)
{
    QString accountName = m_store.accountName();
    if (const auto active = TULOStoreAccountStore::defaultStore()->activeAccount())
        accountName = active->accountName();
    return TULOPostOutbox::defaultOutbox()->enqueue(description, clientContext().bagURL(), accountName, error);
}
