#include <Quillon/accounts/twitterauthenticationrequest.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/unscrambledstring_p.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/internalinconsistencyexception.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QDateTime>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QUrlQuery>
#include <QtNetworkAuth/QOAuth1Signature>

#include <mutex>

namespace {

constexpr int TULOTwitterRequestTimeout = 60000; // milliseconds
constexpr qint64 TULOTwitterNeedsVerificationCode = 231;
constexpr qint64 TULOSystemAccountStoreCredentialsError = 3;

TULOError credentialsError()
{
    return TULOError(TULOSystemAccountStoreErrorDomain, TULOSystemAccountStoreCredentialsError,
                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The Twitter account could not be verified.")}});
}

TULOOperationQueue *requestQueue()
{
    // Lives as long as the process: an answer may still arrive while it exits.
    static TULOOperationQueue *const queue = new TULOOperationQueue(QStringLiteral("com.vantor.Quillon.twitterAuthentication"));
    return queue;
}

QByteArray percentEncoded(const QString &value)
{
    return QUrl::toPercentEncoding(value);
}

QByteArray newNonce()
{
    QByteArray bytes(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes.toHex();
}

} // namespace

struct TULOTwitterAuthenticationRequest::Attempt
{
    std::mutex mutex;
    ResponseBlock block;

    // Calls the block once and drops it.
    void finish(const std::optional<TULOAccount> &account, const TULOError &error)
    {
        ResponseBlock taken;
        {
            std::lock_guard lock(mutex);
            taken = std::exchange(block, nullptr);
        }
        if (taken)
            taken(account, error);
    }
};

TULOTwitterAuthenticationRequest::TULOTwitterAuthenticationRequest(const QString &username, const QString &password)
    : m_username(username)
    , m_password(password)
{
}

TULOTwitterAuthenticationRequest::~TULOTwitterAuthenticationRequest() = default;

QString TULOTwitterAuthenticationRequest::consumerKey()
{
    return TULOUnscrambledString(TULODeploymentConfiguration::current().scrambledTwitterConsumerKey());
}

QString TULOTwitterAuthenticationRequest::consumerSecret()
{
    return TULOUnscrambledString(TULODeploymentConfiguration::current().scrambledTwitterConsumerSecret());
}

void TULOTwitterAuthenticationRequest::startWithResponseBlock(ResponseBlock block)
{
    if (m_attempt)
        throw TULOInternalInconsistencyException(QStringLiteral("Response has already started"));
    m_attempt = std::make_shared<Attempt>();
    m_attempt->block = std::move(block);
    authenticate(m_attempt);
}

TULOTwitterAuthenticationRequest::SignedRequest
TULOTwitterAuthenticationRequest::signedRequest(const QUrl &url, const QString &consumerKey, const QString &consumerSecret,
                                                const QList<QPair<QString, QString>> &formFields, const QByteArray &nonce,
                                                qint64 timestamp)
{
    QMultiMap<QString, QVariant> oauth{
        {QStringLiteral("oauth_consumer_key"), consumerKey},
        {QStringLiteral("oauth_nonce"), QString::fromLatin1(nonce)},
        {QStringLiteral("oauth_signature_method"), QStringLiteral("HMAC-SHA1")},
        {QStringLiteral("oauth_timestamp"), QString::number(timestamp)},
        {QStringLiteral("oauth_version"), QStringLiteral("1.0")},
    };
    QMultiMap<QString, QVariant> parameters = oauth;
    for (const auto &field : formFields)
        parameters.insert(field.first, field.second);
    // The signer takes the URL without its query; query items are parameters like the rest.
    const QUrlQuery query(url);
    for (const auto &item : query.queryItems(QUrl::FullyDecoded))
        parameters.insert(item.first, item.second);
    QUrl base = url;
    base.setQuery(QString());
    QOAuth1Signature signature(base, consumerSecret, QString(), QOAuth1Signature::HttpRequestMethod::Post, parameters);
    oauth.insert(QStringLiteral("oauth_signature"), QString::fromLatin1(signature.hmacSha1().toBase64()));

    QByteArray header = "OAuth ";
    bool first = true;
    for (auto it = oauth.cbegin(); it != oauth.cend(); ++it) {
        if (!first)
            header += ", ";
        first = false;
        header += percentEncoded(it.key()) + "=\"" + percentEncoded(it.value().toString()) + '"';
    }
    return {url, formFields, header};
}

std::pair<std::optional<TULOAccount>, TULOError>
TULOTwitterAuthenticationRequest::resultForReply(const QByteArray &body, int httpStatus, const TULOError &transportError,
                                                 const QString &password)
{
    if (!transportError.isNull()) {
        TULOError error = transportError;
        if (httpStatus == 401) {
            const QVariant reply = QJsonDocument::fromJson(body).toVariant();
            const QVariantList errors = reply.toMap().value(QStringLiteral("errors")).toList();
            if (reply.typeId() == QMetaType::QVariantMap && !errors.isEmpty() && errors.first().typeId() == QMetaType::QVariantMap) {
                const QVariantMap first = errors.first().toMap();
                const QVariant code = first.value(QStringLiteral("code"));
                const QVariant message = first.value(QStringLiteral("message"));
                bool isInteger = false;
                const qint64 number = TULOLookupIsNumber(code) || TULOLookupIsString(code) ? code.toLongLong(&isInteger) : 0;
                if (isInteger && number == TULOTwitterNeedsVerificationCode) {
                    QVariantMap userInfo;
                    if (TULOLookupIsString(message))
                        userInfo.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), message.toString());
                    error = TULOError(TULOTwitterErrorDomain, TULOTwitterNeedsVerificationCode, userInfo);
                }
            }
        }
        return {std::nullopt, error};
    }
    const QUrlQuery reply(QString::fromUtf8(body));
    const auto field = [&reply](const char *name) {
        return reply.queryItemValue(QString::fromLatin1(name), QUrl::FullyDecoded);
    };
    const QString token = field("oauth_token");
    const QString secret = field("oauth_token_secret");
    const QString screenName = field("screen_name");
    const QString userId = field("user_id");
    if (token.isEmpty() || secret.isEmpty() || screenName.isEmpty() || userId.isEmpty())
        return {std::nullopt, credentialsError()};
    TULOAccount account(QString::fromLatin1(TULOServiceIdentifierTwitter));
    account.setAuthenticationToken(token);
    account.setAuthenticationSecret(secret);
    account.setValue(userId, QString::fromLatin1(TULOAccountPropertyUserId));
    account.setUserName(QStringLiteral("@%1").arg(screenName));
    account.setPassword(password);
    return {account, TULOError()};
}

void TULOTwitterAuthenticationRequest::authenticate(std::shared_ptr<Attempt> attempt)
{
    if (m_username.isEmpty() || m_password.isEmpty()) {
        attempt->finish(std::nullopt, credentialsError());
        return;
    }
    const QUrl url = TULODeploymentConfiguration::current().twitterAccessTokenURL();
    const SignedRequest request = signedRequest(url, consumerKey(), consumerSecret(),
                                                {{QStringLiteral("x_auth_username"), m_username},
                                                 {QStringLiteral("x_auth_password"), m_password},
                                                 {QStringLiteral("x_auth_mode"), QStringLiteral("client_auth")},
                                                 {QStringLiteral("send_error_codes"), QStringLiteral("true")},
                                                 {QStringLiteral("format"), QStringLiteral("json")}},
                                                newNonce(), QDateTime::currentSecsSinceEpoch());
    const QString password = m_password;
    requestQueue()->addOperation([attempt, request, password] {
        QByteArray form;
        for (const auto &field : request.formFields) {
            if (!form.isEmpty())
                form += '&';
            form += percentEncoded(field.first) + '=' + percentEncoded(field.second);
        }
        TULOStoreRequest storeRequest(request.url);
        storeRequest.setMethod(QByteArrayLiteral("POST"));
        storeRequest.setBody(form, QByteArrayLiteral("application/x-www-form-urlencoded"));
        storeRequest.setRawHeader("Authorization", request.authorizationHeader);
        TULOUrlLoadOperation load(storeRequest);
        load.setTimeout(TULOTwitterRequestTimeout);
        load.start();
        const int status = load.response().httpStatus;
        const QByteArray body = load.data();
        const TULOError transportError = load.networkError();
        const auto [account, error] = resultForReply(body, status, transportError, password);
        attempt->finish(account, error);
    });
}
