#include "sandboxoauth1.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QRegularExpression>

#include <algorithm>

namespace {

QByteArray encoded(const QString &value)
{
    return QUrl::toPercentEncoding(value);
}

} // namespace

QByteArray TULOSandboxOAuth1::signatureBaseString(const QByteArray &method, const QUrl &url, const Parameters &parameters)
{
    QUrl base = url.adjusted(QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::RemoveUserInfo);
    base.setScheme(base.scheme().toLower());
    base.setHost(base.host().toLower());
    if ((base.scheme() == QLatin1String("http") && base.port() == 80) || (base.scheme() == QLatin1String("https") && base.port() == 443))
        base.setPort(-1);
    if (base.path().isEmpty())
        base.setPath(QStringLiteral("/"));

    QList<QPair<QByteArray, QByteArray>> pairs;
    for (const auto &parameter : parameters)
        pairs.append({encoded(parameter.first), encoded(parameter.second)});
    std::sort(pairs.begin(), pairs.end());
    QByteArray normalized;
    for (const auto &pair : std::as_const(pairs)) {
        if (!normalized.isEmpty())
            normalized += '&';
        normalized += pair.first + '=' + pair.second;
    }
    return method.toUpper() + '&' + encoded(base.toString(QUrl::FullyEncoded)) + '&' + encoded(QString::fromLatin1(normalized));
}

QByteArray TULOSandboxOAuth1::hmacSha1Signature(const QByteArray &baseString, const QString &consumerSecret, const QString &tokenSecret)
{
    const QByteArray key = encoded(consumerSecret) + '&' + encoded(tokenSecret);
    return QMessageAuthenticationCode::hash(baseString, key, QCryptographicHash::Sha1).toBase64();
}

TULOSandboxOAuth1::Parameters TULOSandboxOAuth1::authorizationParameters(const QByteArray &header)
{
    const QByteArray trimmed = header.trimmed();
    if (!trimmed.startsWith("OAuth "))
        return {};
    Parameters parameters;
    static const QRegularExpression pair(QStringLiteral(R"re(([A-Za-z0-9_\-.~%]+)\s*=\s*"([^"]*)")re"));
    auto it = pair.globalMatch(QString::fromLatin1(trimmed.mid(6)));
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const QString name = QUrl::fromPercentEncoding(match.captured(1).toLatin1());
        if (name == QLatin1String("realm"))
            continue;
        parameters.append({name, QUrl::fromPercentEncoding(match.captured(2).toLatin1())});
    }
    return parameters;
}
