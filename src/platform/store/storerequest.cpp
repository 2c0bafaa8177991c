#include <Quillon/platform/store/storerequest.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/store/networkaccess_p.h>

void TULOStoreRequest::setQueryItems(const QList<QPair<QString, QString>> &items)
{
    QUrlQuery query;
    for (const auto &item : items)
        query.addQueryItem(QString::fromLatin1(QUrl::toPercentEncoding(item.first)),
                           QString::fromLatin1(QUrl::toPercentEncoding(item.second)));
    m_url.setQuery(query.isEmpty() ? QString() : query.query(QUrl::FullyEncoded), QUrl::StrictMode);
}

void TULOStoreRequest::setBody(const QByteArray &body, const QByteArray &contentType)
{
    m_body = body;
    m_contentType = contentType;
}

void TULOStoreRequest::setFormBody(const QList<QPair<QString, QString>> &fields)
{
    QByteArrayList pairs;
    for (const auto &field : fields)
        pairs.append(QUrl::toPercentEncoding(field.first) + '=' + QUrl::toPercentEncoding(field.second));
    m_method = QByteArrayLiteral("POST");
    setBody(pairs.join('&'), QByteArrayLiteral("application/x-www-form-urlencoded"));
}

void TULOStoreRequest::setRawHeader(const QByteArray &name, const QByteArray &value)
{
    m_headers.append({name, value});
}

QNetworkRequest TULOStoreRequest::networkRequest(const TULOClientContext &context, const QString &storefrontSuffix) const
{
    QNetworkRequest request(m_url);
    request.setRawHeader("User-Agent", QByteArrayLiteral("Quillon/1.0"));
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("X-Store-Protocol", "2");
    const QString locale = context.isNull() ? QString() : context.locale();
    if (!locale.isEmpty())
        request.setRawHeader("Accept-Language", locale.toUtf8().replace('_', '-'));
    const QString storefront = !storefrontSuffix.isEmpty() ? storefrontSuffix
                               : context.isNull()          ? QString()
                                                           : context.storefrontSuffix();
    if (!storefront.isEmpty())
        request.setRawHeader("X-Store-Front", storefront.toUtf8());
    if (isSigned())
        request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    if (!m_contentType.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, m_contentType);
    for (const auto &header : m_headers)
        request.setRawHeader(header.first, header.second);
    // Only for TLS: asking for a configuration loads the TLS backend and the system's
    // authorities, which a command talking to a local store over plain HTTP does not need.
    if (request.url().scheme() == QLatin1String("https"))
        request.setSslConfiguration(TULONetworkAccess::sslConfiguration());
    // Redirects stay on the same scheme; the store never sends the client elsewhere.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    return request;
}
