#pragma once

#include "../sandbox/sandboxhttp.h"
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/records/postdescription.h>
#include <Quillon/platform/store/storeaccount.h>
#include "sandboxdownloads.h"
#include "sandboxstore.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QMap>
#include <QRandomGenerator>

// Session tokens in memory: tests must not touch the user's keyring.
class TULOMemoryTokenKeeper : public TULOStoreTokenKeeper
{
public:
    QString tokenForAccount(const QString &accountName) override
    {
        return m_tokens.value(accountName.toLower());
    }
    bool setTokenForAccount(const QString &token, const QString &accountName) override
    {
        m_tokens.insert(accountName.toLower(), token);
        return true;
    }

private:
    QMap<QString, QString> m_tokens;
};

// Signs the demo account in on the sandbox and makes it the active store account, with the
// sandbox as the application's store.
inline QString TULOSignInToSandbox(
    const TULOSandboxStore &store, const QString &accountName = TULOSandboxStore::demoAccountName())
{
    const TULOSandboxExchange exchange
        = TULOSandboxFetch(QUrl(store.baseUrl().toString() + QStringLiteral("/account/signin")), QByteArray(),
            TULOSandboxForm({{QStringLiteral("accountName"), accountName},
                {QStringLiteral("password"), TULOSandboxStore::demoPassword()}}),
            true);
    const QString token = exchange.json().value(QStringLiteral("token")).toString();
    TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore();
    accounts->setTokenKeeper(std::make_unique<TULOMemoryTokenKeeper>());
    TULOStoreAccount account;
    account.setAccountName(accountName);
    account.setIdentifier(qint64(exchange.json().value(QStringLiteral("accountId")).toDouble()));
    account.setToken(token);
    accounts->setActiveAccount(account);
    TULOClientContext context(store.bagUrl());
    context.setRequestTimeout(20000);
    TULOClientContext::setDefaultContext(context);
    return token;
}

inline bool TULOWriteFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

inline QByteArray TULOPngData(int side, Qt::GlobalColor color)
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(color);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

inline QByteArray TULORandomData(qint64 size, quint32 seed)
{
    QByteArray data(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    generator.fillRange(reinterpret_cast<quint32 *>(data.data()), size / 4);
    return data;
}

inline QByteArray TULOFileDigest(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return QByteArray();
    return hash.result();
}

inline TULOPostAttachment TULOFileAttachment(
    const QString &path, const QString &uti, const QString &title, bool deletes)
{
    TULOPostAttachment attachment;
    attachment.setAssetURL(QUrl::fromLocalFile(path));
    attachment.setUTI(uti);
    attachment.setTitle(title);
    attachment.setDeletesAssetWhenFinished(deletes);
    return attachment;
}

inline QJsonArray TULOFetchSandboxPosts(const TULOSandboxStore &store)
{
    return TULOSandboxFetch(QUrl(store.baseUrl().toString() + QStringLiteral("/posts")))
        .json()
        .value(QStringLiteral("posts"))
        .toArray();
}
