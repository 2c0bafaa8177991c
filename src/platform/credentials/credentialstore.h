#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

// Posted on the default notification centre when the shared store is chosen and it is not the
// Secret Service, so that a host can tell its user where credentials are kept. User info:
// "backend" ("file" or "none"), "location" (a sentence naming the place), "path" (the file, for
// "file"), "firstNotice" (true the first time for this file; a command line prints it then).
// It is posted while the store is made: an observer must not call sharedStore() itself.
extern QUILLON_EXPORT const char *const TULOCredentialStoreLocationNotification;
// The framework preference (bool) that forbids the file fallback; the environment variable
// QUILLON_REQUIRE_SECURE_CREDENTIALS=1 does the same.
extern QUILLON_EXPORT const char *const TULOCredentialStoreRequireSecurePreferencesKey;

// Errors of the credential store.
inline constexpr TULOErrorDomainName TULOCredentialStoreErrorDomain{"TULOCredentialStoreErrorDomain"};
enum TULOCredentialStoreErrorCode : qint64 {
    TULOCredentialStoreErrorItemNotFound = 1,
    TULOCredentialStoreErrorDuplicateItem = 2,
    TULOCredentialStoreErrorUnavailable = 3,
    TULOCredentialStoreErrorFailed = 4,
};

// The secure store for passwords: generic items addressed by (account, service) holding bytes.
// Items stay on this machine (never synced) and are readable once the user's session has
// unlocked the store. Item data never reaches a log or an error message.
//
// Two backends behave alike: the Secret Service (through QtKeychain) when a session bus and an
// unlocked default collection answer, otherwise an owner-only file (0600 in a 0700 folder of
// the user's data directory). Calls block their thread; all are safe from any thread.
class QUILLON_EXPORT TULOCredentialStore
{
public:
    virtual ~TULOCredentialStore();

    // The process-wide store; the backend is chosen on first use.
    // Without a Secret Service it is the owner-only file, unless secure storage is required;
    // then it is a store that refuses every call with an error that says why.
    static TULOCredentialStore *sharedStore();
    // Whether the preference or the environment forbids the file fallback.
    static bool isSecureStorageRequired();
    // Whether a session bus answers with an unlocked default Secret Service collection.
    static bool isSecretServiceAvailable();
    static std::unique_ptr<TULOCredentialStore> makeSecretServiceStore();
    static std::unique_ptr<TULOCredentialStore> makeFileStore(const QString &directory);
    // "<data>/com.vantor.Quillon/Credentials" in the user's data directory.
    static QString defaultFileStoreDirectory();

    // "secret-service", "file" or "none".
    virtual QString backendName() const = 0;
    // Where items are kept, as a sentence for the user.
    virtual QString locationDescription() const = 0;
    // False, with the reason, when this store keeps nothing (secure storage is required and no
    // Secret Service answers), so that a caller can refuse before it changes anything else.
    virtual bool canKeepItems(TULOError *error = nullptr) const;

    // The item's data; nullopt with ItemNotFound when there is none, or with the failure.
    virtual std::optional<QByteArray> findItem(
        const QString &account, const QString &service, TULOError *error = nullptr)
        = 0;
    // Adds a new item; DuplicateItem when one exists already.
    virtual bool addItem(
        const QString &account, const QString &service, const QByteArray &data, TULOError *error = nullptr)
        = 0;
    // Replaces an existing item's data; ItemNotFound when there is none.
    virtual bool updateItem(
        const QString &account, const QString &service, const QByteArray &data, TULOError *error = nullptr)
        = 0;
    // ItemNotFound when there is none.
    virtual bool deleteItem(const QString &account, const QString &service, TULOError *error = nullptr) = 0;

protected:
    static TULOError makeError(TULOCredentialStoreErrorCode code, const QString &description);
};
