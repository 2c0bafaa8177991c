#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/signedstoreoperation.h>

#include <QList>

// The authors the signed-in user may post as, in the store's order.
class QUILLON_EXPORT TULOAuthorPermissionsOperation : public TULOSignedStoreOperation
{
public:
    using OutputBlock = std::function<void(const QList<TULOPostAuthor> &authors, const TULOError &error)>;

    explicit TULOAuthorPermissionsOperation(const TULOClientContext &context,
                                            TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore());

    // Called once at the end of main, on its thread.
    void setOutputBlock(OutputBlock block);

    // Authors from a reply's "authors" list; entries without an identifier are skipped.
    static std::optional<QList<TULOPostAuthor>> authorsFromReply(const QVariantMap &reply);

protected:
    void main() override;

private:
    std::mutex m_mutex;
    OutputBlock m_outputBlock;
};
