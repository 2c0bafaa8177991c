#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QUrl>

// OAuth 1.0a as a service provider sees it: the signature base string and HMAC-SHA1
// signatures, and the parameters of an "Authorization: OAuth ..." header.
class TULOSandboxOAuth1
{
public:
    using Parameters = QList<QPair<QString, QString>>;

    // The base string: method, base URI (no query or fragment, default port left out) and the
    // normalised parameters, each percent-encoded and joined with "&".
    static QByteArray signatureBaseString(const QByteArray &method, const QUrl &url, const Parameters &parameters);
    // Base64 of HMAC-SHA1 over the base string, keyed by the two secrets.
    static QByteArray hmacSha1Signature(const QByteArray &baseString, const QString &consumerSecret, const QString &tokenSecret);
    // The header's parameters, decoded; "realm" is left out. Nothing for another scheme.
    static Parameters authorizationParameters(const QByteArray &header);
};
