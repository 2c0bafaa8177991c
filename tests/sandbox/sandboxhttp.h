#pragma once

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QUrlQuery>

// A plain HTTP exchange with the sandbox store, independent of the framework's store client,
// so the server is tested on its own terms.
struct TULOSandboxExchange
{
    int status = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QByteArray body;
    QByteArray contentType;

    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    bool isJsonObject() const { return QJsonDocument::fromJson(body).isObject(); }
};

// TLS settings that trust the test CA of a sandbox serving TLS (named by the environment, as
// for the framework), and the system's authorities.
inline QSslConfiguration TULOSandboxSslConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    const QString authority = qEnvironmentVariable("QUILLON_TRUSTED_CERTIFICATES");
    if (!authority.isEmpty())
        configuration.setCaCertificates(QSslConfiguration::systemCaCertificates() + QSslCertificate::fromPath(authority));
    return configuration;
}

inline TULOSandboxExchange TULOSandboxFetch(const QUrl &url, const QByteArray &token = QByteArray(),
                                            const QByteArray &formBody = QByteArray(), bool post = false)
{
    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setTransferTimeout(20000); // a hang guard, never a measurement
    request.setSslConfiguration(TULOSandboxSslConfiguration());
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token);
    QNetworkReply *reply = nullptr;
    if (post || !formBody.isNull()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
        reply = manager.post(request, formBody);
    } else {
        reply = manager.get(request);
    }
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    TULOSandboxExchange exchange;
    exchange.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    exchange.error = reply->error();
    exchange.body = reply->readAll();
    exchange.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
    reply->deleteLater();
    return exchange;
}

inline QByteArray TULOSandboxForm(const QList<QPair<QString, QString>> &items)
{
    QByteArrayList pairs;
    for (const auto &item : items)
        pairs.append(QUrl::toPercentEncoding(item.first) + '=' + QUrl::toPercentEncoding(item.second));
    return pairs.join('&');
}
