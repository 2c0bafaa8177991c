#include "demostore.h"

#include <Quillon/core/loadauthoralbumsoperation.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/urlbag.h>

#include <QNetworkReply>
#include <QPointer>

namespace {
constexpr int DemoArtworkSide = 240;
// The store's configuration leaves a post at one attachment; this store takes a photo, a
// video and a song or two in one post.
constexpr qint64 DemoAttachmentLimit = 4;
}

DemoStore::DemoStore(const QUrl &bagURL, const QString &accountName, const QString &password, QObject *parent)
    : QObject(parent)
    , m_context(bagURL)
    , m_accountName(accountName)
    , m_queue(new TULOOperationQueue(QStringLiteral("com.vantor.Quillon.demo.store")))
{
    TULOClientContext::setDefaultContext(m_context);
    // The demo signs in by itself: the store's sign-in asks the host, and the host knows.
    TULOAuthenticationContext::setDefaultPromptHandler(
        [accountName, password](const QString &, const TULOError &previous) -> std::optional<TULOAuthenticationPromptReply> {
            if (!previous.isNull())
                return std::nullopt; // the password was refused: asking again would loop
            return TULOAuthenticationPromptReply { accountName, password, false };
        });
}

DemoStore::~DemoStore()
{
    m_queue->cancelAllOperations();
    m_queue->waitUntilAllOperationsAreFinished();
    delete m_queue;
}

QUrl DemoStore::feedURL() const
{
    const auto bag = m_context.loadedURLBag();
    return bag ? QUrl(bag->valueForKey(QStringLiteral("feed")).toString()) : QUrl();
}

void DemoStore::loadCatalogue(const QString &artistIdentifier)
{
    // The feed's address comes with the bag.
    QPointer<DemoStore> owner(this);
    m_context.loadURLBag([owner](const std::optional<TULOUrlBag> &bag, const TULOError &) {
        if (bag)
            TULODispatchMain([owner] { if (owner) Q_EMIT owner->bagDidLoad(); });
    });
    auto operation = std::make_shared<TULOLoadAuthorAlbumsOperation>(artistIdentifier, m_context);
    QPointer<DemoStore> self(this);
    operation->setOutputBlock([self](const std::optional<QList<TULOStoreItem>> &albums, const TULOError &error) {
        TULODispatchMain([self, albums, error] {
            if (!self)
                return;
            if (!albums) {
                Q_EMIT self->catalogueDidFail(error);
                return;
            }
            self->finishCatalogue(*albums);
        });
    });
    m_queue->addOperation(operation);
}

void DemoStore::finishCatalogue(const QList<TULOStoreItem> &albums)
{
    m_catalogue.clear();
    for (const TULOStoreItem &album : albums)
        m_catalogue.append(DemoCatalogueItem { album, QImage() });
    Q_EMIT catalogueDidLoad();
    for (int row = 0; row < m_catalogue.size(); ++row) {
        const TULOLookupItemArtwork artwork = m_catalogue.at(row).item.artworkTemplate();
        if (artwork.isNull())
            continue;
        QNetworkReply *reply = m_network.get(QNetworkRequest(artwork.URLWithHeight(DemoArtworkSide, DemoArtworkSide, QStringLiteral("png"))));
        connect(reply, &QNetworkReply::finished, this, [this, reply, row] {
            reply->deleteLater();
            QImage image;
            if (reply->error() == QNetworkReply::NoError && image.loadFromData(reply->readAll()) && row < m_catalogue.size()) {
                m_catalogue[row].artwork = image;
                Q_EMIT artworkDidLoad(row);
            }
        });
    }
}

void DemoStore::loadConfiguration()
{
    auto operation = std::make_shared<TULOLoadConfigurationOperation>();
    operation->setClientContext(m_context);
    QPointer<DemoStore> self(this);
    operation->setConfigurationBlock(
        [self](const std::optional<TULOConfiguration> &configuration, const TULOClientContext &, const TULOError &error) {
            TULODispatchMain([self, configuration, error] {
                if (!self)
                    return;
                if (!configuration) {
                    Q_EMIT self->configurationDidFail(error);
                    return;
                }
                self->m_configuration = configuration;
                self->m_configuration->setMaximumNumberOfAttachments(DemoAttachmentLimit);
                Q_EMIT self->configurationDidLoad();
            });
        });
    m_queue->addOperation(operation);
}
