// Cold start of a small host to a composer that takes a keystroke, against the cold start of
// an empty Qt Widgets window measured in the same run. Each start is a fresh process (this
// program again, with --child), timed from its launch to its "ready" line: the window is on
// screen, the keyboard focus is in the post text, and a typed key has reached the text.
//
// Targets: the composer with a configuration handed in starts within 3x the empty window; with
// the configuration loaded from the sandbox store (bag, sign-in, authors), within twice that.

#include <Quillon/composition/compositioncontainerviewcontroller.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/ui/window.h>
#include "benchsupport.h"
#include "sandboxstore.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr double TargetRatio = 3.0;
constexpr double LoadedTargetRatio = 2 * TargetRatio;

int readyAndExit()
{
    std::printf("ready\n");
    std::fflush(stdout);
    return 0;
}

int runEmptyWindow(int argc, char **argv)
{
    QApplication app(argc, argv);
    QWidget window;
    window.resize(540, 620);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;
    QTest::keyClick(&window, Qt::Key_A);
    return readyAndExit();
}

// With a bag URL the composer loads its configuration from that store, signing in as the
// sandbox's demo artist when asked.
int runComposer(int argc, char **argv, const QString &bagURL)
{
    QApplication app(argc, argv);
    TULOAuthenticationContext::setDefaultPromptHandler([](const QString &, const TULOError &) {
        return std::optional<TULOAuthenticationPromptReply>(
            {TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword(), false});
    });
    TULOWindow window;
    TULOViewController home;
    window.setRootViewController(&home);
    window.resize(900, 640);
    window.show();

    TULOConfiguration configuration;
    TULOPostAuthor author(QStringLiteral("1001"), QStringLiteral("Bench Artist"), QStringLiteral("artist"));
    author.setPermissions({QString::fromLatin1(TULOAuthorPermissionShareAsEntity)});
    configuration.setPotentalAuthors(QList<TULOPostAuthor>{author});
    configuration.setMaximumNumberOfAttachments(4);
    auto *composer = bagURL.isEmpty() ? new TULOCompositionContainerViewController(std::optional(configuration))
                                      : new TULOCompositionContainerViewController;
    if (!bagURL.isEmpty())
        composer->setClientContext(std::make_shared<TULOClientContext>(QUrl(bagURL)));
    home.presentViewController(composer, false);

    TULOTokenTextView *text = nullptr;
    const bool focused = QTest::qWaitFor([&] {
        text = composer->composePostViewController()
            ? composer->composePostViewController()->composeView()->textView() : nullptr;
        return text && text->isVisible() && text->hasFocus();
    }, 20000);
    if (!focused)
        return 1;
    QTest::keyClick(text, Qt::Key_A);
    if (text->toPlainText() != QLatin1String("a"))
        return 1;
    return readyAndExit();
}

// Milliseconds from launch to "ready" of one child; negative when it failed.
double startOnce(const QString &program, const QString &mode, const QString &bagURL = QString())
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!environment.contains(QStringLiteral("QT_QPA_PLATFORM")))
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    QElapsedTimer timer;
    timer.start();
    // Each start has a home of its own: no session or preferences left by an earlier one.
    QTemporaryDir home;
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/quillon-bench-bus"));
    child.setProcessEnvironment(environment);
    QStringList arguments{QStringLiteral("--child"), mode};
    if (!bagURL.isEmpty())
        arguments << bagURL;
    child.start(program, arguments);
    while (!child.canReadLine() && child.state() != QProcess::NotRunning)
        child.waitForReadyRead(10000);
    const double elapsed = timer.nsecsElapsed() / 1e6;
    const bool ready = child.readLine().trimmed() == "ready";
    child.waitForFinished(10000);
    if (!ready) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(mode), child.readAllStandardError().constData());
        return -1;
    }
    return elapsed;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--child") == 0) {
        if (std::strcmp(argv[2], "empty") == 0)
            return runEmptyWindow(argc, argv);
        return runComposer(argc, argv, argc > 3 ? QString::fromLocal8Bit(argv[3]) : QString());
    }
    QCoreApplication app(argc, argv);
    TULOSandboxStore store;
    if (!store.start()) {
        std::fprintf(stderr, "the sandbox store did not start\n");
        return 1;
    }
    const int rounds = TULOBenchSize(7, 1);
    std::vector<double> empty, composer, loaded;
    // Alternating, so that both see the same machine load and warm file cache.
    for (int round = 0; round < rounds; ++round) {
        const double e = startOnce(app.applicationFilePath(), QStringLiteral("empty"));
        const double c = startOnce(app.applicationFilePath(), QStringLiteral("composer"));
        const double l = startOnce(app.applicationFilePath(), QStringLiteral("composer"), store.bagUrl().toString());
        if (e < 0 || c < 0 || l < 0)
            return 1;
        empty.push_back(e);
        composer.push_back(c);
        loaded.push_back(l);
    }
    const double emptyMs = median(empty), composerMs = median(composer), loadedMs = median(loaded);
    const double ratio = composerMs / emptyMs, loadedRatio = loadedMs / emptyMs;
    std::printf("empty window: %.1f ms, composer with a configuration: %.1f ms, loading it from the sandbox: %.1f ms "
                "(medians of %d)\n", emptyMs, composerMs, loadedMs, rounds);
    std::printf("configuration handed in: ratio %.2f, target <= %.1f\n", ratio, TargetRatio);
    std::printf("configuration loaded: ratio %.2f, target <= %.1f\n", loadedRatio, LoadedTargetRatio);
    return TULOBenchVerdict(ratio <= TargetRatio && loadedRatio <= LoadedTargetRatio);
}
