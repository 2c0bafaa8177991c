#pragma once

#include <Quillon/accounts/socialservice.h>
#include <Quillon/core/configuration.h>
#include <Quillon/core/storeitem.h>
#include <Quillon/core/tag.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/records/postdescription.h>

#include "storesession.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class TULOAccountStore;
class TULOOperation;

// What one post needs of the store, on top of the command line's store session: the loaded
// configuration (which signs in), and the lookups of authors, tags, items and linked accounts.
class TULOPostSession
{
public:
    TULOPostSession();
    ~TULOPostSession();

    // An empty bag URL starts the sandbox store embedded and signs in as its demo account.
    bool open(const QUrl &bagURL, TULOError *error);

    TULOClientContext clientContext() const { return m_store.clientContext(); }
    const TULOConfiguration &configuration() const { return m_configuration; }
    // Whether the sound bite limit is the store's (its bag sets one) or the configuration's own.
    bool storeSetSoundBiteDuration() const;

    // The author with that identifier among those the account may post as; an empty
    // identifier picks the account's own author. `attributed` asks for the attribution right.
    std::optional<TULOPostAuthor> authorWithIdentifier(const QString &identifier, bool attributed, TULOError *error) const;
    std::optional<QList<TULOTag>> lookUpTags(const QString &query, TULOError *error);
    std::optional<TULOTag> tagWithIdentifier(const QString &identifier, TULOError *error);
    std::optional<TULOStoreItem> storeItemWithIdentifier(const QString &identifier, TULOError *error);

    // The configuration's services named in `identifiers`, each with a linked account.
    std::optional<QList<TULOSocialService>> externalServices(const TULOPostAuthor &author, const QStringList &identifiers,
                                                             TULOError *error);
    std::shared_ptr<TULOAccountStore> accountStoreForAuthor(const TULOPostAuthor &author);
    qint64 facebookDestination(const TULOPostAuthor &author);

    // Runs `operation` on the session's queue and returns once it has finished.
    void runAndWait(const std::shared_ptr<TULOOperation> &operation) { m_store.runAndWait(operation); }

    // Puts the post in the outbox for this store; its key, or a null string with the error
    // (a missing file, a full disk). Sending is the outbox's work.
    QString enqueue(const TULOPostDescription &description, TULOError *error);

private:
    std::optional<QVariantMap> lookUpItem(const QString &identifier, const QString &what, TULOError *error);

    TULOStoreSession m_store{QStringLiteral("post")};
    TULOConfiguration m_configuration;
    std::shared_ptr<TULOAccountStore> m_accountStore;
};
