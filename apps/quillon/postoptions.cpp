#include "postoptions.h"

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/media/voicerecorder.h>

#include <QCommandLineParser>

QString TULOPostUsage()
{
    return QStringLiteral(
        "usage: quillon post [options]\n"
        "\n"
        "Composes a post and publishes it to the store's artist feed, through the same preparation\n"
        "and upload as the compose screen. Prints where the post landed.\n"
        "\n"
        "  --text TEXT         the post text; write tags inline as @Name (or @\"Two Words\"),\n"
        "                      they are looked up in the store and become tag tokens; an @word\n"
        "                      the store does not know stays plain text\n"
        "  --tag ID            add the catalogue entity ID as a tag (repeatable)\n"
        "  --attach FILE       attach a photo, video or song (repeatable, up to the configuration's\n"
        "                      limit); photo metadata that tells where it was taken is removed\n"
        "  --record SECONDS    record a sound bite of at most SECONDS (at least 0.5, up to the\n"
        "                      configuration's limit) from the microphone and attach it\n"
        "  --capture-from FILE record from this audio file, played in real time, instead of the\n"
        "                      microphone (for machines without one)\n"
        "  --item STORE_ID     carry the store item STORE_ID (album, song, ...) in the post\n"
        "  --as AUTHOR_ID      post as this author (one the account may post as); default: the\n"
        "                      account's own author\n"
        "  --attribute         post with attribution to the signed-in account\n"
        "  --share SERVICES    also share to linked accounts: twitter, facebook or both,\n"
        "                      comma-separated\n"
        "  --dry-run           prepare only: print the post description with every file path,\n"
        "                      keep the files, upload nothing\n"
        "  --json              print the result as JSON\n"
        "  --store BAG_URL     the store's bag address; default: a sandbox store started embedded\n"
        "  --wait-limit SECONDS\n"
        "                      how long to keep retrying when the store cannot be reached or\n"
        "                      fails (default 120); then the post stays queued in the outbox\n"
        "  --no-wait           send only this post, not the older ones still queued for the store\n"
        "  -h, --help          show this help\n"
        "\n"
        "Against the embedded sandbox the demo account signs in by itself. Against another store\n"
        "the account and password come from QUILLON_STORE_ACCOUNT and QUILLON_STORE_PASSWORD when\n"
        "set, else they are asked for on the terminal.\n"
        "\n"
        "The embedded sandbox keeps its data in QUILLON_SANDBOX_DATA when set, else in the\n"
        "application's data folder, so posts stay visible in its feed between runs and accounts\n"
        "linked with quillon accounts can be shared to.\n"
        "\n"
        "A post is written to the outbox before it is sent, and stays there until the store has\n"
        "it. Before it ends, quillon post also sends the posts still queued for the same store\n"
        "(from a run that was interrupted or gave up), saying so, and prints each address as it\n"
        "lands. 'quillon outbox' lists, sends and discards what waits.\n"
        "\n"
        "Exit status: 0 everything was delivered; 1 an error, or the store refused a post for\n"
        "good (it says why); 2 a usage error; 3 a post is still queued after the wait limit.\n");
}

std::optional<TULOPostOptions> TULOParsePostOptions(const QStringList &arguments, QString *failure)
{
    TULOPostOptions options;
    auto fail = [&](const QString &message) -> std::optional<TULOPostOptions> {
        if (failure)
            *failure = message;
        return std::nullopt;
    };
    // The help text above documents the options; the parser only reads them.
    const auto option = [](const char *name, const char *valueName = nullptr) {
        return QCommandLineOption(QString::fromLatin1(name), QString(), valueName ? QString::fromLatin1(valueName) : QString());
    };
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOptions({QCommandLineOption(QStringList{QStringLiteral("h"), QStringLiteral("help")}), option("text", "TEXT"),
                       option("tag", "ID"), option("attach", "FILE"), option("record", "SECONDS"),
                       option("capture-from", "FILE"), option("item", "STORE_ID"), option("as", "AUTHOR_ID"),
                       option("attribute"), option("share", "SERVICES"), option("dry-run"), option("json"),
                       option("store", "BAG_URL"), option("wait-limit", "SECONDS"), option("no-wait")});
    if (!parser.parse(QStringList{QStringLiteral("quillon post")} + arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        if (!unknown.isEmpty()) {
            const QString name = unknown.first();
            return fail(QStringLiteral("unknown option '%1%2' (see quillon post --help)")
                            .arg(name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--"), name));
        }
        return fail(parser.errorText());
    }
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("unexpected argument '%1' (see quillon post --help)").arg(parser.positionalArguments().first()));

    options.help = parser.isSet(QStringLiteral("help"));
    // The last of a repeated single-valued option wins, as people expect from a command line.
    const auto last = [&parser](const char *name) {
        const QStringList values = parser.values(QString::fromLatin1(name));
        return values.isEmpty() ? QString() : values.last();
    };
    options.text = last("text");
    for (const QString &value : parser.values(QStringLiteral("tag"))) {
        if (value.trimmed().isEmpty())
            return fail(QStringLiteral("--tag needs an identifier"));
        options.tagIdentifiers << value.trimmed();
    }
    for (const QString &value : parser.values(QStringLiteral("attach"))) {
        if (value.isEmpty())
            return fail(QStringLiteral("--attach needs a file"));
        options.attachmentPaths << value;
    }
    if (parser.isSet(QStringLiteral("record"))) {
        const QString value = last("record");
        bool ok = false;
        const double seconds = value.toDouble(&ok);
        if (!ok || !(seconds > 0) || seconds > 3600)
            return fail(QStringLiteral("--record needs a number of seconds above 0, not '%1'").arg(value));
        // The recorder screen makes no attachment of a shorter take; neither does the command.
        if (seconds < TULOVoiceRecorderMinimumAttachmentDuration)
            return fail(QStringLiteral("--record %1: a sound bite lasts at least %2 seconds").arg(value).arg(TULOVoiceRecorderMinimumAttachmentDuration));
        options.recordSeconds = seconds;
    }
    if (parser.isSet(QStringLiteral("capture-from"))) {
        options.captureFromPath = last("capture-from");
        if (options.captureFromPath.isEmpty())
            return fail(QStringLiteral("--capture-from needs an audio file"));
    }
    options.itemIdentifier = last("item").trimmed();
    options.authorIdentifier = last("as").trimmed();
    options.attributed = parser.isSet(QStringLiteral("attribute"));
    if (parser.isSet(QStringLiteral("share"))) {
        for (const QString &value : parser.values(QStringLiteral("share"))) {
            for (const QString &part : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
                const QString service = part.trimmed().toLower();
                if (service != QLatin1String(TULOServiceIdentifierTwitter) && service != QLatin1String(TULOServiceIdentifierFacebook))
                    return fail(QStringLiteral("unknown service '%1' for --share (twitter, facebook)").arg(part.trimmed()));
                if (!options.shareServices.contains(service))
                    options.shareServices << service;
            }
        }
        if (options.shareServices.isEmpty())
            return fail(QStringLiteral("--share needs twitter, facebook or both"));
    }
    if (parser.isSet(QStringLiteral("wait-limit"))) {
        const QString value = last("wait-limit");
        bool ok = false;
        const int seconds = value.toInt(&ok);
        if (!ok || seconds < 0)
            return fail(QStringLiteral("--wait-limit needs a number of seconds, 0 or more, not '%1'").arg(value));
        options.waitLimitSeconds = seconds;
    }
    options.noWait = parser.isSet(QStringLiteral("no-wait"));
    options.dryRun = parser.isSet(QStringLiteral("dry-run"));
    options.json = parser.isSet(QStringLiteral("json"));
    if (parser.isSet(QStringLiteral("store"))) {
        const QString value = last("store");
        const QUrl url(value, QUrl::StrictMode);
        if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")) || url.host().isEmpty())
            return fail(QStringLiteral("--store needs the store's bag address (http or https), not '%1'").arg(value));
        options.storeBagURL = url;
    }

    if (options.help)
        return options;
    if (!options.captureFromPath.isEmpty() && !options.recordSeconds)
        return fail(QStringLiteral("--capture-from goes with --record"));
    if (options.text.trimmed().isEmpty() && options.attachmentPaths.isEmpty() && options.tagIdentifiers.isEmpty()
        && options.itemIdentifier.isEmpty() && !options.recordSeconds)
        return fail(QStringLiteral("nothing to post: give --text, --attach, --record, --tag or --item"));
    return options;
}
