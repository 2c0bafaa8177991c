#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/storeitem.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/operation.h>

#include <QList>
#include <QVariantList>

#include <functional>
#include <mutex>
#include <optional>

class TULOLookupResponse;
class TULOPlatformContext;

// Finds the albums of an author (an artist) in the store's catalogue: the artist's
// "artist-content", the albums it describes inline, and one lookup for each album it only
// names, at most three at a time. Blocks its own thread while the store answers.
class QUILLON_EXPORT TULOLoadAuthorAlbumsOperation : public TULOOperation
{
public:
    using OutputBlock = std::function<void(const std::optional<QList<TULOStoreItem>> &albums, const TULOError &error)>;

    static constexpr int MaximumConcurrentLookups = 3;

    TULOLoadAuthorAlbumsOperation(const QString &authorIdentifier, const TULOClientContext &clientContext);

    QString authorIdentifier() const { return m_authorIdentifier; }
    TULOClientContext clientContext() const { return m_clientContext; }

    // Called once, at the end of main(), on its thread.
    OutputBlock outputBlock() const;
    void setOutputBlock(OutputBlock block);

protected:
    void main() override;

    // The albums an artist-content reply names; store error 301 when it lacks the author.
    std::optional<QList<TULOStoreItem>> loadAlbumsWithLookupResponse(const TULOLookupResponse &response,
                                                                     const TULOPlatformContext &platformContext, TULOError *error);

private:
    std::optional<QList<TULOStoreItem>> loadArtistContentWithPlatformContext(const TULOPlatformContext &platformContext,
                                                                             TULOError *error);
    QList<TULOStoreItem> loadAlbumsWithItemIdentifiers(const QVariantList &identifiers, const TULOPlatformContext &platformContext);

    const QString m_authorIdentifier;
    const TULOClientContext m_clientContext;
    // Guards the output block and the albums that the lookups add.
    mutable std::mutex m_lock;
    OutputBlock m_outputBlock;
};
