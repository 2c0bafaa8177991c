// quillon-demo: a media store that embeds the composer, as a host application would.
//   quillon-demo --bag URL [--account NAME] [--artist ID] [--script FOLDER --samples FOLDER]
// The password comes from QUILLON_STORE_PASSWORD. With --script it runs the demo unattended,
// with the samples folder as photo library and its sound file as microphone, saves a PNG of
// every screen into FOLDER, prints the post's address and ends.
#include "demoscript.h"
#include "demostore.h"
#include "demowindow.h"

#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postoutboxmodel.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace {

QtMessageHandler previousHandler = nullptr;

// Off screen, every sheet and menu makes the platform say it cannot raise windows, grab the
// keyboard or pass size hints to a window manager it does not have: noise in the scripted run.
void quietOffscreenPlatform(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && message.startsWith(QLatin1String("This plugin does not support")))
        return;
    previousHandler(type, context, message);
}

} // namespace

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
    const QCommandLineOption samplesOption(QStringLiteral("samples"),
        QStringLiteral("The scripted demo's photo library: the sample photo and video, and the sound its microphone hears."),
        QStringLiteral("FOLDER"));
    parser.addOptions({ bagOption, accountOption, artistOption, scriptOption, samplesOption });
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

    const bool scripted = parser.isSet(scriptOption);
    const QDir samples(parser.value(samplesOption));
    if (scripted) {
        if (QGuiApplication::platformName() == QLatin1String("offscreen"))
            previousHandler = qInstallMessageHandler(quietOffscreenPlatform);
        if (parser.value(samplesOption).isEmpty()) {
            std::fprintf(stderr, "quillon-demo: --script needs --samples FOLDER (resources/samples)\n");
            return 2;
        }
        for (const char *sample : { DemoScript::SamplePhoto, DemoScript::SampleVideo, DemoScript::SampleSound }) {
            if (!samples.exists(QString::fromLatin1(sample))) {
                std::fprintf(stderr, "quillon-demo: the samples folder %s has no %s\n", qPrintable(samples.absolutePath()), sample);
                return 2;
            }
        }
        // Before the store or the composer look: the samples are the only photos, and the
        // microphone plays the sample sound.
        const QString sound = samples.absoluteFilePath(QString::fromLatin1(DemoScript::SampleSound));
        TULOError soundError;
        if (!TULOVoiceCapture::checkCaptureSourceFile(sound, &soundError)) {
            std::fprintf(stderr, "quillon-demo: %s\n", qPrintable(soundError.localizedDescription()));
            return 2;
        }
        qputenv("QUILLON_PICTURES_DIR", QFile::encodeName(samples.absolutePath()));
        TULOVoiceCapture::setCaptureSourceFile(sound);
    }

    DemoStore store(bag, parser.value(accountOption), qEnvironmentVariable("QUILLON_STORE_PASSWORD"));
    TULOPostOutboxModel uploads(TULOPostOutbox::defaultOutbox());
    DemoWindow window(&store, &uploads);
    store.loadCatalogue(parser.value(artistOption));
    store.loadConfiguration();

    if (scripted) {
        window.setOpensFeedWhenPostLands(false);
        DemoScript script(&window, &store, parser.value(scriptOption), samples.absolutePath());
        QObject::connect(&script, &DemoScript::finished, [&](const QUrl &postURL) {
            // What each screen showed, beside the PNGs, for whoever checks them.
            QJsonArray screens;
            for (const DemoScreen &screen : script.screens()) {
                std::printf("screen: %s\n", qPrintable(screen.path));
                const QRect &r = screen.titleRect;
                screens.append(QJsonObject { { QStringLiteral("path"), screen.path }, { QStringLiteral("title"), screen.title },
                    { QStringLiteral("titleRect"), QJsonArray { r.x(), r.y(), r.width(), r.height() } },
                    { QStringLiteral("texts"), QJsonArray::fromStringList(screen.visibleTexts) } });
            }
            QFile index(QDir(parser.value(scriptOption)).filePath(QStringLiteral("screens.json")));
            if (index.open(QIODevice::WriteOnly))
                index.write(QJsonDocument(screens).toJson());
            std::printf("screens: %s\ncover: %.3f\nposted: %s\nsound bite: %s\nshared: %s\nfeed: %s\n",
                qPrintable(QDir(parser.value(scriptOption)).absolutePath()), script.coverFrameTime(),
                qPrintable(postURL.toString()), qPrintable(script.soundBitePostURL().toString()),
                qPrintable(script.sharePostURL().toString()), qPrintable(store.feedURL().toString()));
            std::fflush(stdout);
            // Not quit(): a sheet still open refuses to close (it asks its Cancel) and stops quit().
            QApplication::exit(0);
        });
        QObject::connect(&script, &DemoScript::failed, [&](const QString &reason) {
            std::fprintf(stderr, "quillon-demo: %s\n", qPrintable(reason));
            QApplication::exit(1);
        });
        script.start();
        return QApplication::exec();
    }

    window.show();
    return QApplication::exec();
}
