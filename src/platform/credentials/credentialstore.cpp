#include <Quillon/platform/credentials/credentialstore.h>

#include <Quillon/platform/credentials/credentialstore_file_p.h>
#include <Quillon/platform/credentials/credentialstore_qtkeychain_p.h>

#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/preferences.h>

#include <QDir>
#include <QStandardPaths>

const char *const TULOCredentialStoreLocationNotification = "TULOCredentialStoreLocationNotification";
const char *const TULOCredentialStoreRequireSecurePreferencesKey = "RequireSecureCredentials";

namespace {

// Where secure storage is required and no Secret Service answers: nothing is kept anywhere,
// and every call says so.
class TULOCredentialStoreRefusing : public TULOCredentialStore
{
public:
    QString backendName() const override { return QStringLiteral("none"); }
    QString locationDescription() const override
    {
        return QStringLiteral("nowhere: secure credential storage is required, but no Secret Service "
                              "(desktop keyring) answers");
    }
    bool canKeepItems(TULOError *error) const override
    {
        TULOSetError(error, refusal());
        return false;
    }
    std::optional<QByteArray> findItem(const QString &, const QString &, TULOError *error) override
    {
        TULOSetError(error, refusal());
        return std::nullopt;
    }
    bool addItem(const QString &, const QString &, const QByteArray &, TULOError *error) override
    {
        TULOSetError(error, refusal());
        return false;
    }
    bool updateItem(const QString &, const QString &, const QByteArray &, TULOError *error) override
    {
        TULOSetError(error, refusal());
        return false;
    }
    bool deleteItem(const QString &, const QString &, TULOError *error) override
    {
        TULOSetError(error, refusal());
        return false;
    }

private:
    static TULOError refusal()
    {
        return makeError(TULOCredentialStoreErrorUnavailable,
            QStringLiteral("No Secret Service (desktop keyring) answers, and secure credential storage is "
                           "required (QUILLON_REQUIRE_SECURE_CREDENTIALS or the RequireSecureCredentials "
                           "setting), so credentials cannot be kept. Start and unlock a keyring, or allow "
                           "the owner-only file."));
    }
};

} // namespace

TULOCredentialStore::~TULOCredentialStore() = default;

bool TULOCredentialStore::canKeepItems(TULOError *) const
{
    return true;
}

TULOCredentialStore *TULOCredentialStore::sharedStore()
{
    // Never destroyed: threads may still reach it while the process winds down.
    static TULOCredentialStore *const store = []() -> TULOCredentialStore * {
        if (isSecretServiceAvailable())
            return new TULOCredentialStoreQtKeychain();
        QVariantMap info;
        TULOCredentialStore *chosen = nullptr;
        if (isSecureStorageRequired()) {
            chosen = new TULOCredentialStoreRefusing();
            info.insert(QStringLiteral("firstNotice"), true);
        } else {
            auto *file = new TULOCredentialStoreFile(defaultFileStoreDirectory());
            info.insert(QStringLiteral("path"), file->filePath());
            info.insert(QStringLiteral("firstNotice"), file->leaveNotice());
            chosen = file;
        }
        info.insert(QStringLiteral("backend"), chosen->backendName());
        info.insert(QStringLiteral("location"), chosen->locationDescription());
        // Never silent: the user is told where passwords and tokens go when it is not the keyring.
        TULONotificationCenter::defaultCenter()->postNotification(
            QString::fromLatin1(TULOCredentialStoreLocationNotification), chosen, info);
        return chosen;
    }();
    return store;
}

bool TULOCredentialStore::isSecureStorageRequired()
{
    const QByteArray variable = qgetenv("QUILLON_REQUIRE_SECURE_CREDENTIALS").trimmed().toLower();
    if (!variable.isEmpty())
        return variable != "0" && variable != "false" && variable != "no";
    return TULOPreferences::frameworkPreferences().boolForKey(
        QString::fromLatin1(TULOCredentialStoreRequireSecurePreferencesKey));
}

bool TULOCredentialStore::isSecretServiceAvailable()
{
    return TULOCredentialStoreQtKeychain::isAvailable();
}

std::unique_ptr<TULOCredentialStore> TULOCredentialStore::makeSecretServiceStore()
{
    return std::make_unique<TULOCredentialStoreQtKeychain>();
}

std::unique_ptr<TULOCredentialStore> TULOCredentialStore::makeFileStore(const QString &directory)
{
    return std::make_unique<TULOCredentialStoreFile>(directory);
}

QString TULOCredentialStore::defaultFileStoreDirectory()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("com.vantor.Quillon/Credentials"));
}

TULOError TULOCredentialStore::makeError(TULOCredentialStoreErrorCode code, const QString &description)
{
    return TULOError::withDescription(TULOCredentialStoreErrorDomain, code, description);
}
