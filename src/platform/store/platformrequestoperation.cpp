#include <Quillon/platform/store/platformrequestoperation.h>

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/complexstoreoperation.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QUrlQuery>

#include <algorithm>

const char *const TULOLookupKeyProfileArtistContent = "artist-content";
const char *const TULOLookupKeyProfileLockup = "lockup";
const char *const TULOPlatformRequestVersionParameter = "version";
const char *const TULOPlatformProtocolVersion = "2";

static TULOError lookupError(const QString &description, const QUrl &url = QUrl())
{
    return TULOStoreError(TULOStoreErrorRequestFailed, url, {{QString::fromLatin1(TULOLocalizedDescriptionKey), description}});
}

TULOPlatformRequestOperation::TULOPlatformRequestOperation(const TULOPlatformContext &context)
    : m_context(context)
{
}

TULOPlatformContext TULOPlatformRequestOperation::platformContext() const
{
    std::lock_guard lock(m_mutex);
    return m_context;
}

QVariantList TULOPlatformRequestOperation::itemIdentifiers() const
{
    std::lock_guard lock(m_mutex);
    return m_identifiers;
}

void TULOPlatformRequestOperation::setItemIdentifiers(const QVariantList &identifiers)
{
    std::lock_guard lock(m_mutex);
    m_identifiers = identifiers;
}

QString TULOPlatformRequestOperation::keyProfile() const
{
    std::lock_guard lock(m_mutex);
    return m_keyProfile;
}

void TULOPlatformRequestOperation::setKeyProfile(const QString &profile)
{
    std::lock_guard lock(m_mutex);
    m_keyProfile = profile;
}

int TULOPlatformRequestOperation::personalizationStyle() const
{
    std::lock_guard lock(m_mutex);
    return m_personalizationStyle;
}

void TULOPlatformRequestOperation::setPersonalizationStyle(int style)
{
    std::lock_guard lock(m_mutex);
    m_personalizationStyle = style;
}

QString TULOPlatformRequestOperation::storefrontSuffix() const
{
    std::lock_guard lock(m_mutex);
    return m_storefrontSuffix;
}

void TULOPlatformRequestOperation::setStorefrontSuffix(const QString &suffix)
{
    std::lock_guard lock(m_mutex);
    m_storefrontSuffix = suffix;
}

void TULOPlatformRequestOperation::setValueForRequestParameter(const QString &value, const QString &name)
{
    std::lock_guard lock(m_mutex);
    m_parameters.removeIf([&name](const QPair<QString, QString> &item) { return item.first == name; });
    if (!value.isEmpty())
        m_parameters.append({name, value});
}

QList<QPair<QString, QString>> TULOPlatformRequestOperation::requestParameters() const
{
    std::lock_guard lock(m_mutex);
    return m_parameters;
}

void TULOPlatformRequestOperation::setResponseBlock(ResponseBlock block)
{
    std::lock_guard lock(m_mutex);
    m_responseBlock = std::move(block);
}

TULOPlatformRequestOperation::ResponseBlock TULOPlatformRequestOperation::responseBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_responseBlock;
}

std::optional<TULOLookupResponse> TULOPlatformRequestOperation::response() const
{
    std::lock_guard lock(m_mutex);
    return m_response;
}

TULOError TULOPlatformRequestOperation::error() const
{
    std::lock_guard lock(m_mutex);
    return m_error;
}

int TULOPlatformRequestOperation::httpStatus() const
{
    std::lock_guard lock(m_mutex);
    return m_httpStatus;
}

QUrl TULOPlatformRequestOperation::requestURL(TULOError *error) const
{
    std::lock_guard lock(m_mutex);
    QUrl url = m_context.lookupURL(error);
    if (url.isEmpty())
        return QUrl();
    QStringList identifiers;
    for (const QVariant &identifier : m_identifiers) {
        const QString text = TULOLookupIdentifierString(identifier).trimmed();
        if (text.isEmpty() || text.contains(QLatin1Char(','))) {
            TULOSetError(error, lookupError(QStringLiteral("An item identifier to look up is not valid.")));
            return QUrl();
        }
        identifiers.append(text);
    }
    if (identifiers.isEmpty()) {
        TULOSetError(error, lookupError(QStringLiteral("There is no item to look up.")));
        return QUrl();
    }
    if (m_keyProfile.isEmpty()) {
        TULOSetError(error, lookupError(QStringLiteral("The lookup has no key profile.")));
        return QUrl();
    }
    QList<QPair<QString, QString>> items{{QStringLiteral("id"), identifiers.join(QLatin1Char(','))},
                                         {QStringLiteral("profile"), m_keyProfile}};
    if (m_personalizationStyle > 0)
        items.append({QStringLiteral("p13n"), QString::number(m_personalizationStyle)});
    if (!m_storefrontSuffix.isEmpty())
        items.append({QStringLiteral("sf"), m_storefrontSuffix});
    for (const auto &parameter : m_parameters) {
        items.removeIf([&parameter](const QPair<QString, QString> &item) { return item.first == parameter.first; });
        items.append(parameter);
    }
    // Query items the bag's address carries stay in front unless set here.
    QList<QPair<QString, QString>> front;
    for (const auto &item : QUrlQuery(url).queryItems(QUrl::FullyDecoded)) {
        if (std::none_of(items.cbegin(), items.cend(), [&item](const auto &own) { return own.first == item.first; }))
            front.append(item);
    }
    items = front + items;
    QStringList encoded;
    for (const auto &item : std::as_const(items))
        encoded.append(QString::fromLatin1(QUrl::toPercentEncoding(item.first) + '=' + QUrl::toPercentEncoding(item.second, ",")));
    url.setQuery(encoded.join(QLatin1Char('&')));
    return url;
}

void TULOPlatformRequestOperation::main()
{
    TULOError error;
    std::optional<TULOLookupResponse> response;
    int status = 0;
    const QUrl url = requestURL(&error);
    if (!url.isEmpty()) {
        TULOPlatformContext context = platformContext();
        auto child = std::make_shared<TULOUrlLoadOperation>(TULOStoreRequest(url));
        if (!context.clientContext().isNull())
            child->setClientContext(context.clientContext());
        child->setTimeout(context.requestTimeout());
        child->setStorefrontSuffix(storefrontSuffix());
        child->setDataConsumer(std::make_shared<TULOProtocolDataConsumer>());
        child->setParentOperation(weak_from_this());
        if (isCancelled())
            child->cancel();
        child->start();
        status = child->response().httpStatus;
        if (!child->error().isNull()) {
            error = child->error();
        } else if (!child->response().isSuccess()) {
            error = TULOComplexStoreOperation::errorForResponse(*child);
        } else {
            response = TULOLookupResponse::withDictionary(child->output().toMap(), &error);
            if (!response)
                error = lookupError(error.localizedDescription(), url);
        }
    }
    ResponseBlock block;
    {
        std::lock_guard lock(m_mutex);
        m_response = response;
        m_error = response ? TULOError() : error;
        m_httpStatus = status;
        block = std::exchange(m_responseBlock, nullptr);
    }
    if (block)
        block(response, response ? TULOError() : error);
}
