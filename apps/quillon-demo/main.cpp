// quillon-demo: a media store that embeds the composer, as a host application would.
//   quillon-demo --bag URL [--account NAME] [--artist ID] [--script FOLDER --sample PHOTO]
// The password comes from QUILLON_STORE_PASSWORD. With --script it runs the demo unattended,
// saves a PNG of every screen into FOLDER, prints the post's address and ends.
#include "demoscript.h"
#include "demostore.h"
#include "demowindow.h"

#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postoutboxmodel.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("quillon-demo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Quillon Demo Store"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A media store that embeds the composer."));
    parser.addHelpOption();
    const QCommandLineOption bagOption(QStringLiteral("bag"), QStringLiteral("The store's bag address."), QStringLiteral("URL"));
    const QCommandLineOption accountOption(QStringLiteral("account"), QStringLiteral("The store account to sign in with."),
        QStringLiteral("NAME"), qEnvironmentVariable("QUILLON_STORE_ACCOUNT"));
    const QCommandLineOption artistOption(QStringLiteral("artist"), QStringLiteral("The artist whose albums the store shows."),
        QStringLiteral("ID"), QStringLiteral("1001"));
    const QCommandLineOption scriptOption(QStringLiteral("script"),
        QStringLiteral("Run the demo unattended, saving a PNG of every screen into FOLDER."), QStringLiteral("FOLDER"));
    const QCommandLineOption sampleOption(QStringLiteral("sample"), QStringLiteral("The photo the scripted demo attaches."),
        QStringLiteral("PHOTO"));
    parser.addOptions({ bagOption, accountOption, artistOption, scriptOption, sampleOption });
    parser.process(application);

    const QUrl bag(parser.value(bagOption));
    if (!bag.isValid() || bag.isRelative()) {
        std::fprintf(stderr, "quillon-demo: --bag wants the store's bag address (./quillon demo starts a store)\n");
        return 2;
    }
    if (parser.value(accountOption).isEmpty()) {
        std::fprintf(stderr, "quillon-demo: --account (or QUILLON_STORE_ACCOUNT) names the store account\n");
        return 2;
    }

    DemoStore store(bag, parser.value(accountOption), qEnvironmentVariable("QUILLON_STORE_PASSWORD"));
    TULOPostOutboxModel uploads(TULOPostOutbox::defaultOutbox());
    DemoWindow window(&store, &uploads);
    store.loadCatalogue(parser.value(artistOption));

    if (parser.isSet(scriptOption)) {
        if (parser.value(sampleOption).isEmpty()) {
            std::fprintf(stderr, "quillon-demo: --script needs --sample PHOTO\n");
            return 2;
        }
        DemoScript script(&window, &store, parser.value(scriptOption), parser.value(sampleOption));
        int status = 0;
        QObject::connect(&script, &DemoScript::finished, [&](const QUrl &postURL) {
            // What each screen showed, beside the PNGs, for whoever checks them.
            QJsonArray screens;
            for (const DemoScreen &screen : script.screens()) {
                std::printf("screen: %s\n", qPrintable(screen.path));
                screens.append(QJsonObject { { QStringLiteral("path"), screen.path }, { QStringLiteral("title"), screen.title },
                    { QStringLiteral("texts"), QJsonArray::fromStringList(screen.visibleTexts) } });
            }
            QFile index(QDir(parser.value(scriptOption)).filePath(QStringLiteral("screens.json")));
            if (index.open(QIODevice::WriteOnly))
                index.write(QJsonDocument(screens).toJson());
            std::printf("posted: %s\nfeed: %s\n", qPrintable(postURL.toString()), qPrintable(store.feedURL().toString()));
            std::fflush(stdout);
            QApplication::quit();
        });
        QObject::connect(&script, &DemoScript::failed, [&](const QString &reason) {
            std::fprintf(stderr, "quillon-demo: %s\n", qPrintable(reason));
            status = 1;
            QApplication::quit();
        });
        script.start();
        const int loop = QApplication::exec();
        return status ? status : loop;
    }

    window.setComposeHandler([&window](const std::optional<TULOStoreItem> &) {
        QMessageBox::information(&window, QObject::tr("Composer"), QObject::tr("The composer is not part of this build yet."));
    });
    window.show();
    return QApplication::exec();
}
