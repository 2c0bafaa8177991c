// The outbox at scale: 10, 100 and 1,000 pending posts, each refused once by the store (503)
// and then accepted, against the sandbox store in this process. Targets: the cost per post at
// 1,000 within 1.5x of that at 10 (the outbox's own work must not grow with its size), and no
// main-thread stall over 16 ms (whole-machine pauses left out) from the moment the outbox is
// made, its start-up read included. In smoke mode: 10 posts once, to show the benchmark still
// works.

#include <Quillon/platform/store/postoutbox.h>
#include "../tests/upload/uploadtestsupport.h"
#include "benchsupport.h"
#include "sandboxstore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

namespace {

constexpr double kScaleTarget = 1.5;
constexpr double kStallTarget = 16.0; // ms: one frame at 60 Hz

struct Result
{
    int posts = 0;
    double perPost = 0; // ms
    double constructor = 0; // ms in the outbox's constructor
    double startup = 0; // ms until the outbox had read its folder (on its disk thread)
    double stall = 0; // ms, the longest the main thread did not come back to its event loop
    double stallMeasured = 0, paused = 0; // ms: by the wall clock, and the most of it the machine was paused
    bool pausesWatched = false;
    bool delivered = false;
};

// What the machine itself costs (other processes, the scheduler): an event loop with nothing
// else to do, printed beside the stalls.
double idleStall(int milliseconds)
{
    QEventLoop loop;
    TULOStallWatch watch;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    watch.start();
    loop.exec();
    return watch.longestMs();
}

Result measure(TULOSandboxStore &store, int count)
{
    Result result;
    result.posts = count;
    QTemporaryDir folder;
    {
        // Written by an earlier run: this holder lets go of them when it goes.
        TULOPostOutbox writer(folder.path());
        for (int i = 0; i < count; ++i) {
            TULOPostDescription description;
            description.setAuthorIdentifier(TULOSandboxStore::demoArtistIdentifier());
            description.setAuthorType(QStringLiteral("artist"));
            description.setText(QStringLiteral("pending post %1 of %2").arg(i).arg(count));
            if (writer.enqueue(description, store.bagUrl(), TULOSandboxStore::demoAccountName()).isEmpty())
                return result;
        }
    }
    store.clearFaults();
    store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(503), count);

    // As an application starts it: the outbox is made and told to send at once; it reads its
    // folder on its disk thread and sends once that is done. The watch runs from before the
    // outbox is made, so its constructor and the hand-over of what was read count as stalls.
    QEventLoop loop;
    TULOStallWatch watch;
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &loop, &QEventLoop::quit);
    guard.start(10 * 60 * 1000);
    QElapsedTimer clock;
    clock.start();
    watch.start();
    TULOPostOutbox outbox(folder.path());
    result.constructor = clock.nsecsElapsed() / 1e6;
    outbox.setRetryDelays(0, 0); // the outbox's own work, not its waiting
    int left = count;
    QObject::connect(&outbox, &TULOPostOutbox::ready, &loop, [&] { result.startup = clock.nsecsElapsed() / 1e6; });
    QObject::connect(&outbox, &TULOPostOutbox::postDidFinish, &loop, [&] {
        if (--left == 0)
            loop.quit();
    });
    outbox.resume(true);
    loop.exec();
    // Sending only: from the moment the folder was read.
    result.perPost = (clock.nsecsElapsed() / 1e6 - result.startup) / count;
    watch.stop();
    result.stall = watch.longestMs();
    result.stallMeasured = watch.longestMeasuredMs();
    result.paused = watch.mostPausedMs();
    result.pausesWatched = watch.pausesWatched();
    result.delivered = left == 0 && outbox.entries().isEmpty();
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QList<int> sizes = TULOBenchSize(QList<int> {10, 100, 1000}, QList<int> {10});
    QTemporaryDir work;
    TULOSandboxStore store;
    QString error;
    if (!store.start(work.filePath(QStringLiteral("store")), 0, &error)) {
        std::fprintf(stderr, "sandbox: %s\n", qPrintable(error));
        return 1;
    }
    if (TULOSignInToSandbox(store).isEmpty()) {
        std::fprintf(stderr, "could not sign in to the sandbox\n");
        return 1;
    }

    // Once unmeasured, so the first size does not pay for loading the bag and warming up.
    if (!TULOBenchSmoke())
        measure(store, sizes.first());
    QList<Result> results;
    for (const int size : sizes)
        results.append(measure(store, size));
    bool ok = true;
    const Result &base = results.first();
    for (const Result &r : std::as_const(results)) {
        const double ratio = r.perPost / base.perPost;
        const bool scaleOK = r.delivered && ratio <= kScaleTarget;
        const bool stallOK = r.stall <= kStallTarget;
        ok = ok && scaleOK && stallOK;
        std::printf("%5d pending posts: %.2f ms per post, %.2fx of %d posts (target <= %.1fx) %s; longest main-thread stall %.1f ms "
                    "(constructor %.1f ms, folder read after %.1f ms; target <= %.0f ms) %s%s\n",
            r.posts, r.perPost, ratio, base.posts, kScaleTarget, TULOBenchOutcome(scaleOK), r.stall, r.constructor, r.startup,
            kStallTarget, TULOBenchOutcome(stallOK), r.delivered ? "" : " (not all delivered)");
        TULOBenchPrintPauses(r.pausesWatched, r.paused, r.stallMeasured);
    }
    std::printf("for comparison: an idle event loop on this machine stalled up to %.1f ms\n", idleStall(2000));
    store.stop();
    return TULOBenchVerdict(ok);
}
