#include "postoptions.h"

#include <Quillon/accounts/serviceidentifier.h>

QString TULOPostUsage()
{
    return QStringLiteral(
        "usage: quillon post [options]\n"
        "\n"
        "Composes a post and publishes it to the store's artist feed, through the same preparation\n"
        "and upload as the compose screen. Prints where the post landed.\n"
        "\n"
        "  --text TEXT         the post text; write tags inline as @Name (or @\"Two Words\"),\n"
        "                      they are looked up in the store and become tag tokens\n"
        "  --tag ID            add the catalogue entity ID as a tag (repeatable)\n"
        "  --attach FILE       attach a photo, video or song (repeatable, up to the store's limit);\n"
        "                      photo metadata that tells where it was taken is removed\n"
        "  --record SECONDS    record a sound bite of at most SECONDS (up to the store's limit)\n"
        "                      from the microphone and attach it\n"
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
        "  -h, --help          show this help\n"
        "\n"
        "Against the embedded sandbox the demo account signs in by itself. Against another store\n"
        "the account and password come from QUILLON_STORE_ACCOUNT and QUILLON_STORE_PASSWORD when\n"
        "set, else they are asked for on the terminal.\n"
        "\n"
        "The embedded sandbox keeps its data in QUILLON_SANDBOX_DATA when set, else in the\n"
        "application's data folder, so posts stay visible in its feed between runs.\n");
}

std::optional<TULOPostOptions> TULOParsePostOptions(const QStringList &arguments, QString *failure)
{
    TULOPostOptions options;
    auto fail = [&](const QString &message) -> std::optional<TULOPostOptions> {
        if (failure)
            *failure = message;
        return std::nullopt;
    };
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString option = arguments.at(i);
        QString value;
        bool hasInlineValue = false;
        if (option.startsWith(QLatin1String("--")) && option.contains(QLatin1Char('='))) {
            value = option.mid(option.indexOf(QLatin1Char('=')) + 1);
            option = option.left(option.indexOf(QLatin1Char('=')));
            hasInlineValue = true;
        }
        const bool takesValue = option == QLatin1String("--text") || option == QLatin1String("--tag")
            || option == QLatin1String("--attach") || option == QLatin1String("--item") || option == QLatin1String("--as")
            || option == QLatin1String("--share") || option == QLatin1String("--store")
            || option == QLatin1String("--record") || option == QLatin1String("--capture-from");
        if (takesValue && !hasInlineValue) {
            if (i + 1 >= arguments.size())
                return fail(QStringLiteral("option %1 needs a value").arg(option));
            value = arguments.at(++i);
        } else if (!takesValue && hasInlineValue) {
            return fail(QStringLiteral("option %1 takes no value").arg(option));
        }

        if (option == QLatin1String("-h") || option == QLatin1String("--help")) {
            options.help = true;
        } else if (option == QLatin1String("--text")) {
            options.text = value;
        } else if (option == QLatin1String("--tag")) {
            if (value.trimmed().isEmpty())
                return fail(QStringLiteral("--tag needs an identifier"));
            options.tagIdentifiers << value.trimmed();
        } else if (option == QLatin1String("--attach")) {
            if (value.isEmpty())
                return fail(QStringLiteral("--attach needs a file"));
            options.attachmentPaths << value;
        } else if (option == QLatin1String("--record")) {
            bool ok = false;
            const double seconds = value.toDouble(&ok);
            if (!ok || !(seconds > 0) || seconds > 3600)
                return fail(QStringLiteral("--record needs a number of seconds above 0, not '%1'").arg(value));
            options.recordSeconds = seconds;
        } else if (option == QLatin1String("--capture-from")) {
            if (value.isEmpty())
                return fail(QStringLiteral("--capture-from needs an audio file"));
            options.captureFromPath = value;
        } else if (option == QLatin1String("--item")) {
            options.itemIdentifier = value.trimmed();
        } else if (option == QLatin1String("--as")) {
            options.authorIdentifier = value.trimmed();
        } else if (option == QLatin1String("--attribute")) {
            options.attributed = true;
        } else if (option == QLatin1String("--share")) {
            for (const QString &part : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
                const QString service = part.trimmed().toLower();
                if (service != QLatin1String(TULOServiceIdentifierTwitter) && service != QLatin1String(TULOServiceIdentifierFacebook))
                    return fail(QStringLiteral("unknown service '%1' for --share (twitter, facebook)").arg(part.trimmed()));
                if (!options.shareServices.contains(service))
                    options.shareServices << service;
            }
            if (options.shareServices.isEmpty())
                return fail(QStringLiteral("--share needs twitter, facebook or both"));
        } else if (option == QLatin1String("--dry-run")) {
            options.dryRun = true;
        } else if (option == QLatin1String("--json")) {
            options.json = true;
        } else if (option == QLatin1String("--store")) {
            const QUrl url(value, QUrl::StrictMode);
            if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")) || url.host().isEmpty())
                return fail(QStringLiteral("--store needs the store's bag address (http or https), not '%1'").arg(value));
            options.storeBagURL = url;
        } else {
            return fail(QStringLiteral("unknown option '%1' (see quillon post --help)").arg(arguments.at(i)));
        }
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
