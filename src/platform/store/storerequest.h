#pragma once

#include <Quillon/quillon_export.h>

#include <QByteArray>
#include <QList>
#include <QNetworkRequest>
#include <QPair>
#include <QString>
#include <QUrl>
#include <QUrlQuery>

class TULOClientContext;

// One HTTP request to the store: where, how, and whether it is signed with the session token.
class QUILLON_EXPORT TULOStoreRequest
{
public:
    TULOStoreRequest() = default;
    explicit TULOStoreRequest(const QUrl &url) : m_url(url) {}

    QUrl url() const { return m_url; }
    void setUrl(const QUrl &url) { m_url = url; }
    // Replaces the URL's query by these items, in order.
    void setQueryItems(const QList<QPair<QString, QString>> &items);

    QByteArray method() const { return m_method; }
    void setMethod(const QByteArray &method) { m_method = method; }
    QByteArray body() const { return m_body; }
    void setBody(const QByteArray &body, const QByteArray &contentType);
    // A form-encoded POST body.
    void setFormBody(const QList<QPair<QString, QString>> &fields);

    // The session token that signs the request; empty for an unsigned one.
    QString token() const { return m_token; }
    void setToken(const QString &token) { m_token = token; }
    bool isSigned() const { return !m_token.isEmpty(); }

    void setRawHeader(const QByteArray &name, const QByteArray &value);

    // The request with the protocol's standard headers for `context` (locale, storefront,
    // protocol version) and, when signed, the token.
    QNetworkRequest networkRequest(const TULOClientContext &context, const QString &storefrontSuffix = QString()) const;

private:
    QUrl m_url;
    QByteArray m_method = QByteArrayLiteral("GET");
    QByteArray m_body;
    QByteArray m_contentType;
    QString m_token;
    QList<QPair<QByteArray, QByteArray>> m_headers;
};
