#pragma once

#include <Quillon/platform/credentials/credentialstore.h>

#include <QThread>
#include <functional>

namespace QKeychain {
class Job;
}

// Items in the Secret Service's default collection, through QtKeychain. QtKeychain's jobs
// need an event loop; they run on a thread of their own so that a caller without one (or the
// GUI thread, which must not spin a nested loop) can wait for them.
class TULOCredentialStoreQtKeychain : public TULOCredentialStore
{
public:
    TULOCredentialStoreQtKeychain();
    ~TULOCredentialStoreQtKeychain() override;

    static bool isAvailable();

    QString backendName() const override { return QStringLiteral("secret-service"); }
    QString locationDescription() const override
    {
        return QStringLiteral("the desktop keyring (Secret Service, default collection)");
    }
    std::optional<QByteArray> findItem(
        const QString &account, const QString &service, TULOError *error = nullptr) override;
    bool addItem(const QString &account, const QString &service, const QByteArray &data,
        TULOError *error = nullptr) override;
    bool updateItem(const QString &account, const QString &service, const QByteArray &data,
        TULOError *error = nullptr) override;
    bool deleteItem(const QString &account, const QString &service, TULOError *error = nullptr) override;

private:
    struct TULOJobResult
    {
        int error = 0; // QKeychain::Error
        QString message;
        QByteArray data;
    };
    TULOJobResult run(const std::function<QKeychain::Job *()> &makeJob);
    bool write(const QString &account, const QString &service, const QByteArray &data, TULOError *error);

    QThread m_thread;
    QObject *m_context = nullptr;
};
