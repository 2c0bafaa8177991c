#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operation.h>

#include <functional>
#include <mutex>

// Where a deployer names the store when the host sets no context: the environment variable
// first, then this key of the framework's preferences. Either holds the bag's address.
extern QUILLON_EXPORT const char *const TULOStoreBagURLEnvironmentVariable; // QUILLON_STORE_BAG_URL
extern QUILLON_EXPORT const char *const TULOStoreBagURLPreferencesKey;      // "StoreBagURL"
extern QUILLON_EXPORT const char *const TULOStorefrontSuffixPreferencesKey; // "StorefrontSuffix"

// Gets the application a client context with its URL bag loaded: the default context when
// one is set, otherwise one made for the configured bag address (with the system locale and
// the configured storefront suffix), which then becomes the default. Blocks its own thread
// while the bag loads; the output block is called once there. A context whose bag does not
// load is not kept.
class QUILLON_EXPORT TULOLoadClientContextOperation : public TULOOperation
{
public:
    using OutputBlock = std::function<void(const TULOClientContext &context, const TULOError &error)>;

    TULOLoadClientContextOperation();
    // For this bag address rather than the configured one (when no default is set).
    explicit TULOLoadClientContextOperation(const QUrl &bagURL);

    void setOutputBlock(OutputBlock block);
    // The configured bag address; empty when none is configured.
    static QUrl configuredBagURL();

protected:
    void main() override;

private:
    std::mutex m_mutex;
    QUrl m_bagURL;
    OutputBlock m_outputBlock;
};
