// Loading a composition's configuration from the embedded sandbox store: cold (no URL bag, no
// session: the bag, a sign-in and the author list) and warm (bag loaded, session kept: the
// author list alone, plus the profile for an account whose own author is not listed). Each
// benchmark reports the HTTP round trips it made per load as a counter.
//
// The loader's requests depend on one another (the bag names the sign-in address, the sign-in
// gives the session, the author list decides whether the profile is needed), so a single load
// has nothing to overlap; loads for different compositions are independent, and the last
// benchmark runs several at once on one queue to show that they do overlap.

#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>
#include "sandboxdiscography.h"
#include "sandboxstore.h"
#include "benchsupport.h"

#include <QApplication>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <atomic>
#include <cstdio>

namespace {

TULOSandboxStore *gStore = nullptr;
TULOOperationQueue *gQueue = nullptr;
QString gAccount;

TULOClientContext sandboxContext()
{
    TULOClientContext context(gStore->bagUrl());
    context.setRequestTimeout(10000);
    return context;
}

// Runs `count` loads at once and spins the main thread (which answers the sign-in prompt)
// until all have delivered. False when one failed.
bool load(const TULOClientContext &context, int count = 1)
{
    std::atomic<int> remaining{count};
    std::atomic<bool> failed{false};
    QEventLoop loop;
    for (int i = 0; i < count; ++i) {
        auto operation = std::make_shared<TULOLoadConfigurationOperation>();
        operation->setClientContext(context);
        operation->setConfigurationBlock([&](const std::optional<TULOConfiguration> &configuration, const TULOClientContext &,
                                             const TULOError &error) {
            if (!configuration) {
                std::fprintf(stderr, "load failed: %s\n", qPrintable(error.localizedDescription()));
                failed = true;
            }
            if (--remaining == 0)
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        });
        gQueue->addOperation(operation);
    }
    loop.exec();
    return !failed;
}

void signIn(const QString &account)
{
    gAccount = account;
    TULOStoreAccountStore::defaultStore()->signOut();
}

void BM_ColdLoad(benchmark::State &state)
{
    signIn(TULOSandboxStore::demoAccountName());
    int roundTrips = 0;
    for (auto _ : state) {
        TULOStoreAccountStore::defaultStore()->signOut();
        const int before = gStore->requestCount();
        if (!load(sandboxContext()))
            state.SkipWithError("the configuration did not load");
        roundTrips = gStore->requestCount() - before;
    }
    state.counters["roundTrips"] = roundTrips;
}

void BM_WarmLoad(benchmark::State &state)
{
    signIn(state.range(0) == 0 ? TULOSandboxStore::demoAccountName() : TULOSandboxLabelAccountName());
    const TULOClientContext context = sandboxContext();
    if (!load(context))
        state.SkipWithError("the first load failed");
    int roundTrips = 0;
    for (auto _ : state) {
        const int before = gStore->requestCount();
        if (!load(context))
            state.SkipWithError("the configuration did not load");
        roundTrips = gStore->requestCount() - before;
    }
    state.counters["roundTrips"] = roundTrips;
    state.SetLabel(state.range(0) == 0 ? "own author listed" : "own author from the profile");
}

void BM_ConcurrentWarmLoads(benchmark::State &state)
{
    signIn(TULOSandboxStore::demoAccountName());
    const TULOClientContext context = sandboxContext();
    if (!load(context))
        state.SkipWithError("the first load failed");
    const int count = int(state.range(0));
    for (auto _ : state) {
        if (!load(context, count))
            state.SkipWithError("a configuration did not load");
    }
    state.SetItemsProcessed(state.iterations() * count);
}

BENCHMARK(BM_ColdLoad)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(20, 1))->UseRealTime();
BENCHMARK(BM_WarmLoad)->ArgsProduct({TULOBenchArguments({0, 1})})->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(50, 1))->UseRealTime();
BENCHMARK(BM_ConcurrentWarmLoads)->ArgsProduct({TULOBenchArguments({1, 4})})->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(20, 1))->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir credentials;
    TULOSandboxStore store;
    if (!credentials.isValid() || !store.start()) {
        std::fprintf(stderr, "could not start the sandbox store\n");
        return 1;
    }
    gStore = &store;
    TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.bench.loadConfig"));
    queue.setMaxConcurrentOperationCount(4);
    gQueue = &queue;
    TULOStoreAccountStore::defaultStore()->setTokenKeeper(
        std::make_unique<TULOCredentialStoreTokenKeeper>(TULOCredentialStore::makeFileStore(credentials.path())));
    TULOAuthenticationContext::setDefaultPromptHandler([](const QString &, const TULOError &) {
        return std::optional<TULOAuthenticationPromptReply>({gAccount, TULOSandboxStore::demoPassword(), false});
    });

    if (!TULOBenchRun(argc, argv))
        return 1;
    TULOAuthenticationContext::setDefaultPromptHandler(nullptr);
    return 0;
}
