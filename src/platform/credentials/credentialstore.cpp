#include <Quillon/platform/credentials/credentialstore.h>

#include <Quillon/platform/credentials/credentialstore_file_p.h>
#include <Quillon/platform/credentials/credentialstore_qtkeychain_p.h>

#include <QDir>
#include <QStandardPaths>

const char *const TULOCredentialStoreErrorDomain = "TULOCredentialStoreErrorDomain";

TULOCredentialStore::~TULOCredentialStore() = default;

TULOCredentialStore *TULOCredentialStore::sharedStore()
{
    // Never destroyed: threads may still reach it while the process winds down.
    static TULOCredentialStore *const store = []() -> TULOCredentialStore * {
        if (isSecretServiceAvailable())
            return new TULOCredentialStoreQtKeychain();
        return new TULOCredentialStoreFile(defaultFileStoreDirectory());
    }();
    return store;
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
    return TULOError::withDescription(QString::fromLatin1(TULOCredentialStoreErrorDomain), code, description);
}
