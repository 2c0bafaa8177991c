#include <Quillon/platform/credentials/credentialstore_qtkeychain_p.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <chrono>
#include <future>
#include <qt6keychain/keychain.h>

static const QString TULOSecretsService = QStringLiteral("org.freedesktop.secrets");
// A keyring that neither answers nor fails must not hang its caller for good. The job may still
// run after a timeout, so it captures copies only.
static constexpr std::chrono::seconds TULOJobTimeout(60);
static constexpr int TULOProbeTimeoutMilliseconds = 5000;

TULOCredentialStoreQtKeychain::TULOCredentialStoreQtKeychain()
{
    m_thread.setObjectName(QStringLiteral("com.vantor.Quillon.credentials"));
    m_context = new QObject;
    m_context->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
    m_thread.start();
}

TULOCredentialStoreQtKeychain::~TULOCredentialStoreQtKeychain()
{
    m_thread.quit();
    m_thread.wait();
}

bool TULOCredentialStoreQtKeychain::isAvailable()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage readAlias
        = QDBusMessage::createMethodCall(TULOSecretsService, QStringLiteral("/org/freedesktop/secrets"),
            QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("ReadAlias"));
    readAlias << QStringLiteral("default");
    const QDBusMessage aliasReply = bus.call(readAlias, QDBus::Block, TULOProbeTimeoutMilliseconds);
    if (aliasReply.type() != QDBusMessage::ReplyMessage || aliasReply.arguments().isEmpty())
        return false;
    const QString collection = qvariant_cast<QDBusObjectPath>(aliasReply.arguments().constFirst()).path();
    if (collection.isEmpty() || collection == QLatin1String("/"))
        return false; // no default collection to keep items in
    QDBusMessage getLocked = QDBusMessage::createMethodCall(TULOSecretsService, collection,
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    getLocked << QStringLiteral("org.freedesktop.Secret.Collection") << QStringLiteral("Locked");
    const QDBusMessage lockedReply = bus.call(getLocked, QDBus::Block, TULOProbeTimeoutMilliseconds);
    if (lockedReply.type() != QDBusMessage::ReplyMessage || lockedReply.arguments().isEmpty())
        return false;
    // A locked collection would need an unlock prompt, which a session without a display cannot show.
    return !qvariant_cast<QDBusVariant>(lockedReply.arguments().constFirst()).variant().toBool();
}

TULOCredentialStoreQtKeychain::TULOJobResult TULOCredentialStoreQtKeychain::run(
    const std::function<QKeychain::Job *()> &makeJob)
{
    auto promise = std::make_shared<std::promise<TULOJobResult>>();
    std::future<TULOJobResult> future = promise->get_future();
    QObject *context = m_context;
    QMetaObject::invokeMethod(
        context,
        [promise, makeJob, context] {
            QKeychain::Job *job = makeJob();
            job->setAutoDelete(false);
            job->setInsecureFallback(false);
            QObject::connect(job, &QKeychain::Job::finished, context, [promise, job] {
                TULOJobResult result;
                result.error = job->error();
                result.message = job->errorString();
                if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(job))
                    result.data = read->binaryData();
                job->deleteLater();
                promise->set_value(result);
            });
            job->start();
        },
        Qt::QueuedConnection);
    if (future.wait_for(TULOJobTimeout) != std::future_status::ready) {
        TULOJobResult timedOut;
        timedOut.error = QKeychain::OtherError;
        timedOut.message = QStringLiteral("The Secret Service did not answer.");
        return timedOut;
    }
    return future.get();
}

std::optional<QByteArray> TULOCredentialStoreQtKeychain::findItem(
    const QString &account, const QString &service, TULOError *error)
{
    const TULOJobResult result = run([account, service] {
        auto *job = new QKeychain::ReadPasswordJob(service);
        job->setKey(account);
        return job;
    });
    if (result.error == QKeychain::NoError)
        return result.data;
    if (result.error == QKeychain::EntryNotFound) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorItemNotFound,
                QStringLiteral("There is no password for this account.")));
    } else {
        TULOSetError(error,
            makeError(result.error == QKeychain::NoBackendAvailable ? TULOCredentialStoreErrorUnavailable
                                                                    : TULOCredentialStoreErrorFailed,
                result.message));
    }
    return std::nullopt;
}

bool TULOCredentialStoreQtKeychain::write(
    const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    const TULOJobResult result = run([account, service, data] {
        auto *job = new QKeychain::WritePasswordJob(service);
        job->setKey(account);
        job->setBinaryData(data);
        return job;
    });
    if (result.error == QKeychain::NoError)
        return true;
    TULOSetError(error, makeError(TULOCredentialStoreErrorFailed, result.message));
    return false;
}

bool TULOCredentialStoreQtKeychain::addItem(
    const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    TULOError lookupError;
    if (findItem(account, service, &lookupError)) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorDuplicateItem,
                QStringLiteral("A password for this account is stored already.")));
        return false;
    }
    if (!lookupError.is(
            TULOCredentialStoreErrorDomain, TULOCredentialStoreErrorItemNotFound)) {
        TULOSetError(error, lookupError);
        return false;
    }
    return write(account, service, data, error);
}

bool TULOCredentialStoreQtKeychain::updateItem(
    const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    if (!findItem(account, service, error))
        return false;
    return write(account, service, data, error);
}

bool TULOCredentialStoreQtKeychain::deleteItem(
    const QString &account, const QString &service, TULOError *error)
{
    // Clearing an absent item succeeds quietly in the Secret Service; callers are told it was not there.
    if (!findItem(account, service, error))
        return false;
    const TULOJobResult result = run([account, service] {
        auto *job = new QKeychain::DeletePasswordJob(service);
        job->setKey(account);
        return job;
    });
    if (result.error == QKeychain::NoError)
        return true;
    TULOSetError(error, makeError(TULOCredentialStoreErrorFailed, result.message));
    return false;
}
