#include <Quillon/core/loadconfigurationoperation.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/authorpermissionsoperation.h>
#include <Quillon/platform/store/loadclientcontextoperation.h>
#include <Quillon/platform/store/profileoperation.h>
#include <Quillon/platform/store/urlbag.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

constexpr qint64 TULOTwitterCharacterLimit = 140;
constexpr qint64 TULONoAuthorErrorCode = 0;
constexpr qint64 TULOSignInAgainErrorCode = 2;

// The wait before the n-th sign-in of one load (n >= 1): 100 ms, doubling, at most 30 s.
std::chrono::milliseconds signInBackoff(int round)
{
    constexpr std::chrono::milliseconds::rep first = 100, cap = 30000;
    return std::chrono::milliseconds(std::min(cap, first << std::min(round - 1, 16)));
}

std::optional<double> doubleFromBagValue(const QVariant &value)
{
    std::optional<double> seconds;
    if (TULOLookupIsNumber(value)) {
        seconds = value.toDouble();
    } else if (TULOLookupIsString(value)) {
        bool ok = false;
        const double parsed = value.toString().trimmed().toDouble(&ok);
        if (ok)
            seconds = parsed;
    }
    // Every number is taken as the store gives it: 0 or less means sound bites without a time
    // limit (the recorder sets no time-out then). Only infinity and NaN, which a string can
    // spell, leave the default.
    if (seconds && !std::isfinite(*seconds))
        seconds.reset();
    return seconds;
}

} // namespace

TULOLoadConfigurationOperation::TULOLoadConfigurationOperation(TULOStoreAccountStore *accounts)
    : m_accounts(accounts ? accounts : TULOStoreAccountStore::defaultStore())
{
    setName(QStringLiteral("com.vantor.Quillon.loadConfig"));
}

TULOClientContext TULOLoadConfigurationOperation::clientContext() const
{
    std::lock_guard lock(m_mutex);
    return m_clientContext;
}

void TULOLoadConfigurationOperation::setClientContext(const TULOClientContext &context)
{
    std::lock_guard lock(m_mutex);
    m_clientContext = context;
}

TULOLoadConfigurationOperation::ConfigurationBlock TULOLoadConfigurationOperation::configurationBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_configurationBlock;
}

void TULOLoadConfigurationOperation::setConfigurationBlock(ConfigurationBlock block)
{
    std::lock_guard lock(m_mutex);
    m_configurationBlock = std::move(block);
}

QStringList TULOLoadConfigurationOperation::audioCategoryNames()
{
    return {QStringLiteral("Song"),     QStringLiteral("Demo"),      QStringLiteral("Live"),
            QStringLiteral("Remix"),    QStringLiteral("Cover"),     QStringLiteral("Acoustic"),
            QStringLiteral("Interview"), QStringLiteral("Instrumental"), QStringLiteral("Acapella"),
            QStringLiteral("AlternateVersion"), QStringLiteral("WorkInProgress")};
}

void TULOLoadConfigurationOperation::main()
{
    TULOError error;
    const TULOClientContext context = resolveClientContext(&error);
    std::optional<TULOConfiguration> configuration;
    if (!context.isNull()) {
        error = TULOError();
        std::optional<TULOStoreAccount> account = m_accounts->activeAccount();
        bool signIn = !account;
        int signIns = 0;
        for (;;) {
            // A store that keeps refusing fresh sessions would otherwise be asked many times a
            // second; the wait between rounds doubles up to a cap and ends at once on cancel.
            if (signIn && signIns > 0 && !waitUnlessCancelled(signInBackoff(signIns)))
                break;
            if (signIn) {
                ++signIns;
                TULOError signInError;
                account = authenticateAccount(account, context, &signInError);
                error = account ? TULOError() : signInError;
            }
            if (!account)
                break;
            TULOError loadError;
            configuration = configurationWithAccount(*account, context, &loadError);
            if (configuration) {
                error = TULOError();
                break;
            }
            error = loadError;
            if (!error.is(TULOErrorDomain, TULOSignInAgainErrorCode) || isCancelled())
                break;
            signIn = true;
        }
    }

    ConfigurationBlock block;
    {
        std::lock_guard lock(m_mutex);
        block = std::exchange(m_configurationBlock, nullptr);
    }
    if (block)
        block(configuration, context, configuration ? TULOError() : error);
}

TULOClientContext TULOLoadConfigurationOperation::resolveClientContext(TULOError *error) const
{
    TULOClientContext context = clientContext();
    if (context.isNull())
        context = TULOClientContext::defaultContext();
    if (!context.isNull())
        return context;
    TULOLoadClientContextOperation loader;
    TULOError loadError;
    loader.setOutputBlock([&context, &loadError](const TULOClientContext &loaded, const TULOError &failure) {
        context = loaded;
        loadError = failure;
    });
    {
        const TULOCancellationLink link(this, &loader);
        loader.start();
    }
    if (context.isNull())
        TULOSetError(error, loadError);
    return context;
}

std::optional<TULOStoreAccount> TULOLoadConfigurationOperation::authenticateAccount(const std::optional<TULOStoreAccount> &account,
                                                                                   const TULOClientContext &context,
                                                                                   TULOError *error) const
{
    TULOAuthenticationContext authentication;
    if (account)
        authentication.setAccountName(account->accountName());
    authentication.setPromptStyle(TULOAuthenticationContext::PromptStyleAllowed);
    authentication.setAllowsCreatingAccount(false);
    TULOAuthenticateRequest request(authentication, context, m_accounts);
    return request.run(error, this);
}

std::optional<TULOConfiguration> TULOLoadConfigurationOperation::configurationWithAccount(const TULOStoreAccount &account,
                                                                                         const TULOClientContext &context,
                                                                                         TULOError *error) const
{
    TULOConfiguration configuration;

    QList<TULOPostAuthor> authors;
    TULOError authorsError;
    TULOAuthorPermissionsOperation permissions(context, m_accounts);
    permissions.setOutputBlock([&authors, &authorsError](const QList<TULOPostAuthor> &listed, const TULOError &failure) {
        authors = listed;
        authorsError = failure;
    });
    {
        const TULOCancellationLink link(this, &permissions);
        permissions.start();
    }
    TULOError failure;
    if (!authors.isEmpty()) {
        configuration.setPotentalAuthors(authors);
    } else {
        failure = authorsError.isNull() ? TULOError(TULOErrorDomain, TULONoAuthorErrorCode) : authorsError;
    }

    const QString accountIdentifier = account.identifierString();
    if (!accountIdentifier.isEmpty()) {
        std::optional<TULOPostAuthor> matched;
        bool anyAttribution = false;
        for (const TULOPostAuthor &author : std::as_const(authors)) {
            if (!matched && author.identifier() == accountIdentifier)
                matched = author;
            anyAttribution = anyAttribution || author.hasPermission(TULOAuthorPermissionShareWithAttribution);
        }
        if (anyAttribution) {
            if (!matched)
                matched = loadAuthorWithAccount(account, context);
            configuration.setAuthorForActiveAccount(matched);
        }
    }

    if (!failure.isNull()) {
        TULOSetError(error, failure);
        return std::nullopt;
    }

    std::optional<TULOUrlBag> bag = context.loadedURLBag();
    if (!bag)
        bag = context.loadURLBagAndWait(nullptr, this);
    if (bag)
        applyUrlBag(*bag, configuration);
    else
        configuration.setAudioCategoryNames(audioCategoryNames());
    return configuration;
}

std::optional<TULOPostAuthor> TULOLoadConfigurationOperation::loadAuthorWithAccount(const TULOStoreAccount &account,
                                                                                   const TULOClientContext &context) const
{
    Q_UNUSED(account)
    std::optional<TULOAuthorProfile> profile;
    TULOProfileOperation operation(context, m_accounts);
    operation.setOutputBlock([&profile](const std::optional<TULOAuthorProfile> &loaded, const TULOError &) { profile = loaded; });
    const TULOCancellationLink link(this, &operation);
    operation.start();
    if (!profile)
        return std::nullopt;
    TULOPostAuthor author(profile->identifier(), profile->name(), profile->profileType());
    author.setThumbnailImageURL(profile->profileImageURL());
    return author;
}

void TULOLoadConfigurationOperation::applyUrlBag(const TULOUrlBag &bag, TULOConfiguration &configuration)
{
    const QVariant forumValue = bag.valueForKey(QStringLiteral("musicForum"));
    const QVariantMap forum = forumValue.typeId() == QMetaType::QVariantMap ? forumValue.toMap() : QVariantMap();

    const QVariant networks = forum.value(QStringLiteral("availableSocialNetworks"));
    if (networks.typeId() == QMetaType::QVariantList) {
        QVariantList services;
        for (const QVariant &name : networks.toList()) {
            TULOSocialService service;
            if (TULOLookupString(name) == QLatin1String(TULOServiceIdentifierTwitter)) {
                service.setIdentifier(QString::fromLatin1(TULOServiceIdentifierTwitter));
                service.setMaximumNumberOfCharacters(TULOTwitterCharacterLimit);
            } else if (TULOLookupString(name) == QLatin1String(TULOServiceIdentifierFacebook)) {
                service.setIdentifier(QString::fromLatin1(TULOServiceIdentifierFacebook));
            } else {
                continue;
            }
            services.append(QVariant::fromValue(service));
        }
        configuration.setAllowedExternalServices(services);
    }

    configuration.setAudioCategoryNames(audioCategoryNames());

    const QString tagLookup = TULOLookupString(bag.valueForKey(QStringLiteral("socialSearch-artistNames")));
    const QUrl tagLookupURL(tagLookup, QUrl::StrictMode);
    if (!tagLookup.isEmpty() && tagLookupURL.isValid())
        configuration.setTagLookupBaseURL(tagLookupURL);

    if (const std::optional<double> seconds = doubleFromBagValue(forum.value(QStringLiteral("soundBiteDuration"))))
        configuration.setMaximumSoundBiteDuration(*seconds);
}
