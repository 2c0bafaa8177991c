#pragma once

#include <Quillon/core/configuration.h>
#include <Quillon/core/storeitem.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>

#include <QImage>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <optional>

class TULOOperationQueue;

// One album of the catalogue as the demo store shows it.
struct DemoCatalogueItem
{
    TULOStoreItem item;
    QImage artwork;
};

// The demo store's side of the connection: the store it sells from (its bag address), the
// account it is signed in with, and the catalogue of the artist it shows.
class DemoStore : public QObject
{
    Q_OBJECT

public:
    DemoStore(const QUrl &bagURL, const QString &accountName, const QString &password, QObject *parent = nullptr);
    ~DemoStore() override;

    TULOClientContext clientContext() const { return m_context; }
    QString accountName() const { return m_accountName; }
    // The page that shows the store's posts; empty until the bag is loaded.
    QUrl feedURL() const;

    // Loads the artist's albums and their artwork; catalogueDidLoad or catalogueDidFail follows.
    void loadCatalogue(const QString &artistIdentifier);
    QList<DemoCatalogueItem> catalogue() const { return m_catalogue; }

    // Signs in and loads what the composer may offer this account; configurationDidLoad or
    // configurationDidFail follows. The composer opens with it, so it opens at once.
    void loadConfiguration();
    std::optional<TULOConfiguration> configuration() const { return m_configuration; }

Q_SIGNALS:
    void bagDidLoad();
    void catalogueDidLoad();
    void catalogueDidFail(const TULOError &error);
    void artworkDidLoad(int row);
    void configurationDidLoad();
    void configurationDidFail(const TULOError &error);

private:
    void finishCatalogue(const QList<TULOStoreItem> &albums);

    TULOClientContext m_context;
    QString m_accountName;
    TULOOperationQueue *m_queue = nullptr;
    QNetworkAccessManager m_network;
    QList<DemoCatalogueItem> m_catalogue;
    std::optional<TULOConfiguration> m_configuration;
};
