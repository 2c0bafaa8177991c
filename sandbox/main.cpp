// quillon-sandbox-store --port N --data DIR: the sandbox store on its own, until SIGINT/SIGTERM.
#include "sandboxstore.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <pthread.h>

int main(int argc, char **argv)
{
    // Block the stop stopSignals before any thread starts, so only sigwait below receives them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillon-sandbox-store"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Plays the store on 127.0.0.1 for demos and tests."));
    parser.addHelpOption();
    const QCommandLineOption portOption(QStringLiteral("port"), QStringLiteral("Port to listen on (0: any free port)."),
                                        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption dataOption(QStringLiteral("data"), QStringLiteral("Folder of the store's database and files."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption certificateOption(QStringLiteral("tls-cert"),
                                               QStringLiteral("Serve HTTPS with this certificate chain (PEM)."), QStringLiteral("FILE"));
    const QCommandLineOption keyOption(QStringLiteral("tls-key"), QStringLiteral("Private key of --tls-cert (PEM)."),
                                       QStringLiteral("FILE"));
    parser.addOption(portOption);
    parser.addOption(dataOption);
    parser.addOption(certificateOption);
    parser.addOption(keyOption);
    parser.process(application);

    bool ok = false;
    const uint port = parser.value(portOption).toUInt(&ok);
    if (!ok || port > 65535) {
        std::fprintf(stderr, "quillon-sandbox-store: --port wants a number from 0 to 65535\n");
        return 2;
    }
    if (!parser.isSet(dataOption) || parser.value(dataOption).isEmpty()) {
        std::fprintf(stderr, "quillon-sandbox-store: --data DIR is required\n");
        return 2;
    }

    if (parser.isSet(certificateOption) != parser.isSet(keyOption)) {
        std::fprintf(stderr, "quillon-sandbox-store: --tls-cert and --tls-key go together\n");
        return 2;
    }
    TULOSandboxStore store;
    if (parser.isSet(certificateOption))
        store.setTlsCertificate(parser.value(certificateOption), parser.value(keyOption));
    QString error;
    if (!store.start(parser.value(dataOption), quint16(port), &error)) {
        std::fprintf(stderr, "quillon-sandbox-store: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("quillon-sandbox-store: serving %s (bag: %s), data in %s\n", qPrintable(store.baseUrl().toString()),
                qPrintable(store.bagUrl().toString()), qPrintable(store.dataDirectory()));
    std::fflush(stdout);

    int received = 0;
    sigwait(&stopSignals, &received);
    store.stop();
    return 0;
}
