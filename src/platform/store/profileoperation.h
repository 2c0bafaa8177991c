#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/authorprofile.h>
#include <Quillon/platform/store/signedstoreoperation.h>

// The profile of the signed-in account.
class QUILLON_EXPORT TULOProfileOperation : public TULOSignedStoreOperation
{
public:
    // Called once, at the end of main(), on the thread that runs the operation.
    using OutputBlock = std::function<void(const std::optional<TULOAuthorProfile> &profile, const TULOError &error)>;

    explicit TULOProfileOperation(const TULOClientContext &context,
                                  TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore());

    void setOutputBlock(OutputBlock block);

protected:
    void main() override;

private:
    std::mutex m_mutex;
    OutputBlock m_outputBlock;
};
