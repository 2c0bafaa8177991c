// The endpoints of docs/store-protocol.md that the sandbox store serves.
#include "sandboxartwork.h"
#include "sandboxstore_p.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QUrlQuery>

static constexpr int TULOSandboxProtocolVersion = 2;
static constexpr int TULOSandboxArtworkSide = 1200;
static constexpr int TULOSandboxMaximumTags = 25;

QString TULOSandboxStorePrivate::param(const httplib::Request &request, const char *name)
{
    return request.has_param(name) ? QString::fromStdString(request.get_param_value(name)) : QString();
}

// Folds a name for tag matching: no accents, no case, no spaces (a tag string has none).
static QString foldForSearch(const QString &text)
{
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    QString folded;
    folded.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.isMark() || c.isSpace())
            continue;
        folded.append(c);
    }
    return folded.toCaseFolded();
}

QJsonObject TULOSandboxStorePrivate::bag() const
{
    const QString b = base();
    QJsonObject bag{
        {QStringLiteral("protocolVersion"), TULOSandboxProtocolVersion},
        {QStringLiteral("signIn"), b + QStringLiteral("/account/signin")},
        {QStringLiteral("session"), b + QStringLiteral("/account/session")},
        {QStringLiteral("authorPermissions"), b + QStringLiteral("/account/authors")},
        {QStringLiteral("profile"), b + QStringLiteral("/account/profile")},
        {QStringLiteral("lookup"), b + QStringLiteral("/catalog/lookup")},
        {QStringLiteral("artwork"), b + QStringLiteral("/artwork/{id}/{w}x{h}.{f}")},
        {QStringLiteral("postUpload"), b + QStringLiteral("/posts")},
        {QStringLiteral("posts"), b + QStringLiteral("/posts")},
        {QStringLiteral("feed"), b + QStringLiteral("/feed")},
        {QStringLiteral("downloads"), b + QStringLiteral("/downloads")},
        {QStringLiteral("cloudLibrary"), b + QStringLiteral("/library")},
        {QStringLiteral("facebookAuthorization"), b + QStringLiteral("/social/facebookAuth")},
        {QStringLiteral("facebookAuthorizationRedirect"), b + QStringLiteral("/facebook/authorization/")},
        {QStringLiteral("facebookDialog"), b + QStringLiteral("/facebook/dialog/oauth")},
        {QStringLiteral("twitterAccessToken"), b + QStringLiteral("/twitter/oauth/access_token")},
        {QStringLiteral("socialSearch-artistNames"), b + QStringLiteral("/search/tags?types=artist")},
        {QStringLiteral("musicForum"),
         QJsonObject{
             {QStringLiteral("socialAccountInfo"), b + QStringLiteral("/social/accountInfo")},
             {QStringLiteral("unlinkSocialAccount"), b + QStringLiteral("/social/unlink")},
             {QStringLiteral("updateFacebookAccount"), b + QStringLiteral("/social/facebook/update")},
             {QStringLiteral("updateTwitterAccount"), b + QStringLiteral("/social/twitter/update")},
             {QStringLiteral("availableSocialNetworks"), QJsonArray{QStringLiteral("twitter"), QStringLiteral("facebook")}},
             {QStringLiteral("soundBiteDuration"), 30},
         }},
    };
    std::lock_guard lock(mutex);
    for (auto it = bagOverrides.cbegin(); it != bagOverrides.cend(); ++it) {
        if (it.value().isUndefined())
            bag.remove(it.key());
        else
            bag.insert(it.key(), it.value());
    }
    return bag;
}

void TULOSandboxStorePrivate::handleBag(const httplib::Request &, httplib::Response &response)
{
    reply(response, 200, bag());
}

std::optional<TULOSandboxAccount> TULOSandboxStorePrivate::signedAccount(const httplib::Request &request,
                                                                         httplib::Response &response)
{
    const QString authorization = QString::fromStdString(request.get_header_value("Authorization"));
    const QString prefix = QStringLiteral("Bearer ");
    std::optional<TULOSandboxAccount> account;
    if (authorization.startsWith(prefix))
        account = database.accountForToken(authorization.mid(prefix.size()).trimmed());
    if (!account)
        failure(response, 401, "unauthorized", QStringLiteral("Sign in to the store first."));
    return account;
}

void TULOSandboxStorePrivate::handleSignIn(const httplib::Request &request, httplib::Response &response)
{
    QString name = param(request, "accountName");
    QString password = param(request, "password");
    if (request.get_header_value("Content-Type").rfind("application/json", 0) == 0) {
        const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(request.body));
        if (!document.isObject()) {
            failure(response, 400, "malformedRequest", QStringLiteral("The sign-in request is not a JSON object."));
            return;
        }
        name = document.object().value(QStringLiteral("accountName")).toString();
        password = document.object().value(QStringLiteral("password")).toString();
    }
    if (name.isEmpty() || password.isEmpty()) {
        failure(response, 400, "missingCredentials", QStringLiteral("Both an account name and a password are needed."));
        return;
    }
    const std::optional<TULOSandboxAccount> account = database.accountWithPassword(name, password);
    if (!account) {
        failure(response, 401, "badCredentials", QStringLiteral("The account name or password is not right."));
        return;
    }
    const QString token = database.createSession(account->identifier);
    if (token.isEmpty()) {
        failure(response, 500, "storeFailure", QStringLiteral("The session could not be saved."));
        return;
    }
    reply(response, 200, {{QStringLiteral("status"), QStringLiteral("success")},
                          {QStringLiteral("token"), token},
                          {QStringLiteral("accountId"), double(account->identifier)},
                          {QStringLiteral("accountName"), account->name},
                          {QStringLiteral("displayName"), account->displayName}});
}

void TULOSandboxStorePrivate::handleSession(const httplib::Request &request, httplib::Response &response)
{
    const std::optional<TULOSandboxAccount> account = signedAccount(request, response);
    if (!account)
        return;
    reply(response, 200, {{QStringLiteral("status"), QStringLiteral("success")},
                          {QStringLiteral("accountId"), double(account->identifier)},
                          {QStringLiteral("accountName"), account->name},
                          {QStringLiteral("displayName"), account->displayName}});
}

void TULOSandboxStorePrivate::handleAuthors(const httplib::Request &request, httplib::Response &response)
{
    const std::optional<TULOSandboxAccount> account = signedAccount(request, response);
    if (!account)
        return;
    QJsonArray authors;
    for (const TULOSandboxAuthor &author : database.authorsOfAccount(account->identifier)) {
        authors.append(QJsonObject{
            {QStringLiteral("id"), author.identifier},
            {QStringLiteral("name"), author.name},
            {QStringLiteral("type"), author.type},
            {QStringLiteral("permissions"), QJsonArray::fromStringList(author.permissions)},
            {QStringLiteral("thumbnailUrl"), base() + QStringLiteral("/artwork/%1/120x120.png").arg(author.identifier)},
        });
    }
    reply(response, 200, {{QStringLiteral("authors"), authors}});
}

void TULOSandboxStorePrivate::handleProfile(const httplib::Request &request, httplib::Response &response)
{
    const std::optional<TULOSandboxAccount> account = signedAccount(request, response);
    if (!account)
        return;
    const QString identifier = QString::number(account->identifier);
    reply(response, 200, {{QStringLiteral("profile"),
                           QJsonObject{{QStringLiteral("id"), identifier},
                                       {QStringLiteral("name"), account->displayName},
                                       {QStringLiteral("type"), account->profileType},
                                       {QStringLiteral("imageUrl"),
                                        base() + QStringLiteral("/artwork/%1/240x240.png").arg(identifier)}}}});
}

QJsonObject TULOSandboxStorePrivate::artworkTemplate(qint64 identifier) const
{
    return {{QStringLiteral("url"), base() + QStringLiteral("/artwork/%1/{w}x{h}.png").arg(identifier)},
            {QStringLiteral("width"), TULOSandboxArtworkSide},
            {QStringLiteral("height"), TULOSandboxArtworkSide}};
}

QJsonObject TULOSandboxStorePrivate::lookupDictionary(const TULOSandboxItem &item, bool artistContent)
{
    QJsonObject dictionary{{QStringLiteral("id"), QString::number(item.identifier)},
                           {QStringLiteral("kind"), item.kind},
                           {QStringLiteral("name"), item.name}};
    if (!item.genre.isEmpty())
        dictionary.insert(QStringLiteral("genreNames"), QJsonArray{item.genre});
    if (item.kind == QLatin1String("artist")) {
        dictionary.insert(QStringLiteral("artwork"), artworkTemplate(item.identifier));
        dictionary.insert(QStringLiteral("isGroup"), item.group);
        if (artistContent) {
            // Album identifiers alternate between numbers and strings, and only some albums are
            // described in "children": clients must cope with both.
            QJsonArray albumIdentifiers;
            QJsonObject children;
            int index = 0;
            for (const TULOSandboxItem &album : database.albumsOfArtist(item.identifier)) {
                if (index++ % 2 == 0)
                    albumIdentifiers.append(double(album.identifier));
                else
                    albumIdentifiers.append(QString::number(album.identifier));
                if (album.described)
                    children.insert(QString::number(album.identifier), lookupDictionary(album, false));
            }
            dictionary.insert(QStringLiteral("contentByKind"), QJsonObject{{QStringLiteral("album"), albumIdentifiers}});
            dictionary.insert(QStringLiteral("children"), children);
        }
        return dictionary;
    }
    dictionary.insert(QStringLiteral("artistName"), item.artistName);
    dictionary.insert(QStringLiteral("artistId"), QString::number(item.artistIdentifier));
    dictionary.insert(QStringLiteral("releaseYear"), item.year);
    if (item.kind == QLatin1String("album")) {
        dictionary.insert(QStringLiteral("artwork"), artworkTemplate(item.identifier));
        dictionary.insert(QStringLiteral("trackCount"), int(database.songsOfAlbum(item.identifier).size()));
        return dictionary;
    }
    dictionary.insert(QStringLiteral("collectionName"), item.albumName);
    dictionary.insert(QStringLiteral("collectionId"), QString::number(item.albumIdentifier));
    dictionary.insert(QStringLiteral("trackNumber"), item.trackNumber);
    dictionary.insert(QStringLiteral("durationInMillis"), item.durationMilliseconds);
    // Songs carry their album's artwork as a list of fixed sizes rather than a template.
    QJsonArray sizes;
    for (const int side : {100, 300, 600}) {
        sizes.append(QJsonObject{
            {QStringLiteral("url"), base() + QStringLiteral("/artwork/%1/%2x%2.png").arg(item.albumIdentifier).arg(side)},
            {QStringLiteral("width"), side},
            {QStringLiteral("height"), side}});
    }
    dictionary.insert(QStringLiteral("artwork"), sizes);
    return dictionary;
}

void TULOSandboxStorePrivate::handleLookup(const httplib::Request &request, httplib::Response &response)
{
    const QString version = param(request, "version");
    if (version != QString::number(TULOSandboxProtocolVersion)) {
        failure(response, 400, "unsupportedVersion", QStringLiteral("This store speaks protocol version %1.").arg(TULOSandboxProtocolVersion));
        return;
    }
    const QString profile = param(request, "profile");
    if (profile != QLatin1String("artist-content") && profile != QLatin1String("lockup")) {
        failure(response, 400, "unknownProfile", QStringLiteral("Unknown key profile \"%1\".").arg(profile));
        return;
    }
    const QStringList identifiers = param(request, "id").split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (identifiers.isEmpty()) {
        failure(response, 400, "missingIdentifiers", QStringLiteral("No item identifiers were given."));
        return;
    }
    QJsonObject results;
    for (const QString &identifier : identifiers) {
        bool numeric = false;
        const qint64 number = identifier.trimmed().toLongLong(&numeric);
        if (!numeric)
            continue;
        if (const std::optional<TULOSandboxItem> item = database.item(number))
            results.insert(QString::number(number), lookupDictionary(*item, profile == QLatin1String("artist-content")));
    }
    reply(response, 200, {{QStringLiteral("version"), TULOSandboxProtocolVersion},
                          {QStringLiteral("storefront"), param(request, "sf")},
                          {QStringLiteral("results"), results}});
}

void TULOSandboxStorePrivate::handleTagSearch(const httplib::Request &request, httplib::Response &response)
{
    const QString query = foldForSearch(param(request, "q"));
    if (query.isEmpty()) {
        failure(response, 400, "missingQuery", QStringLiteral("Nothing to search for."));
        return;
    }
    QStringList types = param(request, "types").split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (types.isEmpty())
        types = {QStringLiteral("artist")};
    QJsonArray data;
    for (const QString &type : std::as_const(types)) {
        if (type != QLatin1String("artist") && type != QLatin1String("album"))
            continue;
        for (const TULOSandboxItem &item : database.itemsOfKind(type)) {
            if (data.size() >= TULOSandboxMaximumTags)
                break;
            if (!foldForSearch(item.name).contains(query))
                continue;
            QJsonObject tag{{QStringLiteral("entityType"), item.kind},
                            {QStringLiteral("id"), QString::number(item.identifier)},
                            {QStringLiteral("title"), item.name}};
            // Both image forms of the reply occur: a ready URL, or a list of artwork templates.
            if (item.identifier % 2 == 0)
                tag.insert(QStringLiteral("imageUrl"), base() + QStringLiteral("/artwork/%1/64x64.png").arg(item.identifier));
            else
                tag.insert(QStringLiteral("images"), QJsonArray{artworkTemplate(item.identifier)});
            data.append(tag);
        }
    }
    reply(response, 200, {{QStringLiteral("data"), data}});
}

void TULOSandboxStorePrivate::handleArtwork(const httplib::Request &request, httplib::Response &response)
{
    const QString identifier = QString::fromStdString(request.matches[1]);
    const int width = QString::fromStdString(request.matches[2]).toInt();
    const int height = QString::fromStdString(request.matches[3]).toInt();
    const QByteArray format = QByteArray::fromStdString(request.matches[4]);
    const char *mime = format == "png" ? "image/png" : "image/jpeg";
    if (width < 1 || height < 1 || width > TULOSandboxArtwork::maximumSide || height > TULOSandboxArtwork::maximumSide) {
        failure(response, 400, "badSize", QStringLiteral("Artwork sides must be 1 to %1 pixels.").arg(TULOSandboxArtwork::maximumSide));
        return;
    }
    // Rendered once per size, then served from the data folder.
    const QString folder = dataDirectory + QStringLiteral("/artwork");
    const QString path = folder + QStringLiteral("/%1_%2x%3.%4").arg(identifier).arg(width).arg(height).arg(QString::fromLatin1(format));
    QFile cached(path);
    if (cached.open(QIODevice::ReadOnly)) {
        response.set_content(cached.readAll().toStdString(), mime);
        return;
    }
    const QByteArray image = TULOSandboxArtwork::render(identifier, width, height, format);
    if (image.isEmpty()) {
        failure(response, 500, "artworkFailure", QStringLiteral("The artwork could not be drawn."));
        return;
    }
    QDir().mkpath(folder);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(image) == image.size())
        file.commit();
    response.set_content(image.toStdString(), mime);
}
