#pragma once

#include "storesession.h"

#include <Quillon/platform/records/postauthor.h>

#include <QCommandLineParser>

// What `quillon accounts` works with: the command line's store session, the signed-in store
// account and the author whose accounts are listed or changed.
class TULOAccountsSession
{
public:
    // Reads --store, --store-account and --as.
    bool open(const QCommandLineParser &options, QString *error);

    TULOStoreSession &store() { return m_store; }
    TULOClientContext context() const { return m_store.clientContext(); }
    TULOPostAuthor author() const { return m_author; }

private:
    bool signIn(QString *error);
    bool chooseAuthor(const QString &authorID, QString *error);

    TULOStoreSession m_store{QStringLiteral("accounts")};
    TULOPostAuthor m_author;
};
