#include "sandboxhttp.h"
#include "sandboxstore.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

class TestSandboxEndpoints : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;

    QUrl url(const QString &pathAndQuery) const { return QUrl(m_store.baseUrl().toString() + pathAndQuery); }

    QByteArray signIn(const QString &name, const QString &password)
    {
        const TULOSandboxExchange exchange = TULOSandboxFetch(
            url(QStringLiteral("/account/signin")), {},
            TULOSandboxForm({{QStringLiteral("accountName"), name}, {QStringLiteral("password"), password}}));
        return exchange.json().value(QStringLiteral("token")).toString().toLatin1();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QString error;
        QVERIFY2(m_store.start(QString(), 0, &error), qPrintable(error));
        QVERIFY(m_store.port() != 0);
        QCOMPARE(m_store.baseUrl().host(), QStringLiteral("127.0.0.1"));
    }

    void bagNamesEveryEndpointOnThisStore_data()
    {
        QTest::addColumn<QStringList>("path");
        QTest::newRow("sign-in") << QStringList{QStringLiteral("signIn")};
        QTest::newRow("author permissions") << QStringList{QStringLiteral("authorPermissions")};
        QTest::newRow("profile") << QStringList{QStringLiteral("profile")};
        QTest::newRow("lookup") << QStringList{QStringLiteral("lookup")};
        QTest::newRow("artwork") << QStringList{QStringLiteral("artwork")};
        QTest::newRow("post upload") << QStringList{QStringLiteral("postUpload")};
        QTest::newRow("downloads") << QStringList{QStringLiteral("downloads")};
        QTest::newRow("tag search") << QStringList{QStringLiteral("socialSearch-artistNames")};
        QTest::newRow("facebook authorization") << QStringList{QStringLiteral("facebookAuthorization")};
        QTest::newRow("account info") << QStringList{QStringLiteral("musicForum"), QStringLiteral("socialAccountInfo")};
        QTest::newRow("unlink") << QStringList{QStringLiteral("musicForum"), QStringLiteral("unlinkSocialAccount")};
        QTest::newRow("update facebook") << QStringList{QStringLiteral("musicForum"), QStringLiteral("updateFacebookAccount")};
        QTest::newRow("update twitter") << QStringList{QStringLiteral("musicForum"), QStringLiteral("updateTwitterAccount")};
    }
    void bagNamesEveryEndpointOnThisStore()
    {
        QFETCH(QStringList, path);
        const TULOSandboxExchange exchange = TULOSandboxFetch(m_store.bagUrl());
        QCOMPARE(exchange.status, 200);
        QJsonValue value = exchange.json();
        for (const QString &key : path)
            value = value.toObject().value(key);
        QVERIFY2(value.isString(), qPrintable(path.join(QLatin1Char('/'))));
        const QUrl endpoint(value.toString());
        QCOMPARE(endpoint.host(), QStringLiteral("127.0.0.1"));
        QCOMPARE(endpoint.port(), int(m_store.port()));
    }

    void bagCarriesComposeLimits()
    {
        const QJsonObject forum = TULOSandboxFetch(m_store.bagUrl()).json().value(QStringLiteral("musicForum")).toObject();
        QCOMPARE(forum.value(QStringLiteral("availableSocialNetworks")).toArray(),
                 (QJsonArray{QStringLiteral("twitter"), QStringLiteral("facebook")}));
        QVERIFY(forum.value(QStringLiteral("soundBiteDuration")).isDouble());
    }

    void bagOverridesReplaceAndRemove()
    {
        m_store.setBagValue(QStringLiteral("musicForum"), QStringLiteral("not a dictionary"));
        m_store.setBagValue(QStringLiteral("socialSearch-artistNames"), QJsonValue(QJsonValue::Undefined));
        const QJsonObject bag = TULOSandboxFetch(m_store.bagUrl()).json();
        m_store.clearBagOverrides();
        QCOMPARE(bag.value(QStringLiteral("musicForum")).toString(), QStringLiteral("not a dictionary"));
        QVERIFY(!bag.contains(QStringLiteral("socialSearch-artistNames")));
        QVERIFY(bag.contains(QStringLiteral("signIn")));
        QVERIFY(TULOSandboxFetch(m_store.bagUrl()).json().value(QStringLiteral("musicForum")).isObject());
    }

    void signIn_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("errorCode");
        const QString demo = TULOSandboxStore::demoAccountName();
        const QString password = TULOSandboxStore::demoPassword();
        QTest::newRow("right password") << demo << password << 200 << QString();
        QTest::newRow("name in other case") << demo.toUpper() << password << 200 << QString();
        QTest::newRow("wrong password") << demo << QStringLiteral("quillon-demo ") << 401 << QStringLiteral("badCredentials");
        QTest::newRow("password in other case") << demo << password.toUpper() << 401 << QStringLiteral("badCredentials");
        QTest::newRow("unknown account") << QStringLiteral("nobody@demo.quillon.test") << password << 401 << QStringLiteral("badCredentials");
        QTest::newRow("no password") << demo << QString() << 400 << QStringLiteral("missingCredentials");
        QTest::newRow("no name") << QString() << password << 400 << QStringLiteral("missingCredentials");
        QTest::newRow("password with plus sign") << demo << QStringLiteral("quillon+demo") << 401 << QStringLiteral("badCredentials");
    }
    void signIn()
    {
        QFETCH(QString, name);
        QFETCH(QString, password);
        QFETCH(int, status);
        QFETCH(QString, errorCode);
        QList<QPair<QString, QString>> form;
        if (!name.isNull())
            form.append({QStringLiteral("accountName"), name});
        if (!password.isNull())
            form.append({QStringLiteral("password"), password});
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/account/signin")), {}, TULOSandboxForm(form), true);
        QCOMPARE(exchange.status, status);
        const QJsonObject body = exchange.json();
        if (status == 200) {
            QCOMPARE(body.value(QStringLiteral("status")).toString(), QStringLiteral("success"));
            QCOMPARE(body.value(QStringLiteral("token")).toString().size(), 64);
            QCOMPARE(body.value(QStringLiteral("accountId")).toInteger(), 9001);
        } else {
            QCOMPARE(body.value(QStringLiteral("status")).toString(), QStringLiteral("failure"));
            QCOMPARE(body.value(QStringLiteral("errorCode")).toString(), errorCode);
            QVERIFY(!body.contains(QStringLiteral("token")));
        }
    }

    void tokensAreReusableAndPerSignIn()
    {
        const QByteArray first = signIn(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword());
        const QByteArray second = signIn(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword());
        QVERIFY(!first.isEmpty());
        QVERIFY(first != second);
        for (const QByteArray &token : {first, second, first}) {
            const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/account/session")), token);
            QCOMPARE(exchange.status, 200);
            QCOMPARE(exchange.json().value(QStringLiteral("accountId")).toInteger(), 9001);
        }
    }

    void signedEndpointsRefuseBadTokens_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("token");
        for (const char *path : {"/account/session", "/account/authors", "/account/profile"}) {
            QTest::addRow("%s without token", path) << QString::fromLatin1(path) << QByteArray();
            QTest::addRow("%s with unknown token", path) << QString::fromLatin1(path) << QByteArray(64, 'a');
        }
    }
    void signedEndpointsRefuseBadTokens()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, token);
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(path), token);
        QCOMPARE(exchange.status, 401);
        QCOMPARE(exchange.json().value(QStringLiteral("errorCode")).toString(), QStringLiteral("unauthorized"));
    }

    void authorPermissions_data()
    {
        QTest::addColumn<QString>("account");
        QTest::addColumn<QStringList>("identifiers");
        QTest::addColumn<QStringList>("attributionAuthors");
        QTest::newRow("demo curator") << TULOSandboxStore::demoAccountName()
                                      << QStringList{QStringLiteral("9001"), QStringLiteral("1001"), QStringLiteral("1002"), QStringLiteral("4001")}
                                      << QStringList{QStringLiteral("1002")};
        QTest::newRow("solo artist") << TULOSandboxStore::soloAccountName() << QStringList{QStringLiteral("9002")} << QStringList{};
        QTest::newRow("listener") << TULOSandboxStore::listenerAccountName() << QStringList{} << QStringList{};
    }
    void authorPermissions()
    {
        QFETCH(QString, account);
        QFETCH(QStringList, identifiers);
        QFETCH(QStringList, attributionAuthors);
        const QByteArray token = signIn(account, TULOSandboxStore::demoPassword());
        QVERIFY(!token.isEmpty());
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/account/authors")), token);
        QCOMPARE(exchange.status, 200);
        QVERIFY(exchange.json().value(QStringLiteral("authors")).isArray());
        QStringList seen;
        QStringList withAttribution;
        for (const QJsonValue &value : exchange.json().value(QStringLiteral("authors")).toArray()) {
            const QJsonObject author = value.toObject();
            seen.append(author.value(QStringLiteral("id")).toString());
            QVERIFY(author.value(QStringLiteral("name")).isString());
            QVERIFY(author.value(QStringLiteral("type")).isString());
            QVERIFY(author.value(QStringLiteral("permissions")).isArray());
            if (author.value(QStringLiteral("permissions")).toArray().contains(QStringLiteral("shareWithAttribution")))
                withAttribution.append(seen.last());
        }
        QCOMPARE(seen, identifiers);
        QCOMPARE(withAttribution, attributionAuthors);
    }

    void profileDescribesTheSignedInAccount()
    {
        const QByteArray token = signIn(TULOSandboxStore::soloAccountName(), TULOSandboxStore::demoPassword());
        const QJsonObject profile = TULOSandboxFetch(url(QStringLiteral("/account/profile")), token).json().value(QStringLiteral("profile")).toObject();
        QCOMPARE(profile.value(QStringLiteral("id")).toString(), QStringLiteral("9002"));
        QCOMPARE(profile.value(QStringLiteral("type")).toString(), QStringLiteral("artist"));
        const TULOSandboxExchange image = TULOSandboxFetch(QUrl(profile.value(QStringLiteral("imageUrl")).toString()));
        QCOMPARE(image.status, 200);
        QVERIFY(!QImage::fromData(image.body).isNull());
    }

    // Every album an artist lists is described inline or can be looked up on its own, and both
    // cases occur, as do numeric and string identifiers.
    void artistContentDescribesSomeAlbums()
    {
        int described = 0;
        int lookedUp = 0;
        QSet<QJsonValue::Type> identifierTypes;
        for (int artist = 1001; artist <= 1010; ++artist) {
            const TULOSandboxExchange exchange = TULOSandboxFetch(
                url(QStringLiteral("/catalog/lookup?id=%1&profile=artist-content&p13n=2&version=2").arg(artist)));
            QCOMPARE(exchange.status, 200);
            const QJsonObject item = exchange.json().value(QStringLiteral("results")).toObject().value(QString::number(artist)).toObject();
            QCOMPARE(item.value(QStringLiteral("kind")).toString(), QStringLiteral("artist"));
            const QJsonArray albums = item.value(QStringLiteral("contentByKind")).toObject().value(QStringLiteral("album")).toArray();
            QVERIFY(albums.size() >= 2);
            const QJsonObject children = item.value(QStringLiteral("children")).toObject();
            for (const QJsonValue &album : albums) {
                identifierTypes.insert(album.type());
                const QString key = album.isDouble() ? QString::number(album.toInteger()) : album.toString();
                if (children.contains(key)) {
                    ++described;
                    QCOMPARE(children.value(key).toObject().value(QStringLiteral("kind")).toString(), QStringLiteral("album"));
                    continue;
                }
                ++lookedUp;
                const QJsonObject lockup = TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?id=%1&profile=lockup&version=2").arg(key)))
                                               .json().value(QStringLiteral("results")).toObject().value(key).toObject();
                QCOMPARE(lockup.value(QStringLiteral("artistId")).toString(), QString::number(artist));
                QVERIFY(lockup.value(QStringLiteral("artwork")).toObject().value(QStringLiteral("url")).toString().contains(QStringLiteral("{w}")));
            }
        }
        QVERIFY(described > 0);
        QVERIFY(lookedUp > 0);
        QCOMPARE(identifierTypes, (QSet<QJsonValue::Type>{QJsonValue::Double, QJsonValue::String}));
    }

    void lookupOfSeveralItemsSkipsUnknownOnes()
    {
        const QJsonObject results = TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?id=2001,3001,99999,abc&profile=lockup&version=2")))
                                        .json().value(QStringLiteral("results")).toObject();
        QCOMPARE(results.keys(), (QStringList{QStringLiteral("2001"), QStringLiteral("3001")}));
        const QJsonObject song = results.value(QStringLiteral("3001")).toObject();
        QCOMPARE(song.value(QStringLiteral("kind")).toString(), QStringLiteral("song"));
        QCOMPARE(song.value(QStringLiteral("collectionName")).toString(), QStringLiteral("First Light"));
        QVERIFY(song.value(QStringLiteral("artwork")).isArray()); // a size list, not a template
    }

    void lookupRejectsBadRequests_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("errorCode");
        QTest::newRow("no version") << QStringLiteral("id=1001&profile=lockup") << QStringLiteral("unsupportedVersion");
        QTest::newRow("old version") << QStringLiteral("id=1001&profile=lockup&version=1") << QStringLiteral("unsupportedVersion");
        QTest::newRow("unknown profile") << QStringLiteral("id=1001&profile=everything&version=2") << QStringLiteral("unknownProfile");
        QTest::newRow("no identifiers") << QStringLiteral("id=&profile=lockup&version=2") << QStringLiteral("missingIdentifiers");
    }
    void lookupRejectsBadRequests()
    {
        QFETCH(QString, query);
        QFETCH(QString, errorCode);
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?") + query));
        QCOMPARE(exchange.status, 400);
        QCOMPARE(exchange.json().value(QStringLiteral("errorCode")).toString(), errorCode);
    }

    void tagSearch_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("titles");
        QTest::newRow("accent typed plainly") << QStringLiteral("zoe") << QStringList{QStringLiteral("Zoë Marchetti")};
        QTest::newRow("accent typed") << QStringLiteral("Zoë") << QStringList{QStringLiteral("Zoë Marchetti")};
        QTest::newRow("apostrophe") << QStringLiteral("o'malley") << QStringList{QStringLiteral("The O'Malley Sisters")};
        QTest::newRow("double quotes") << QStringLiteral("\"slim\"") << QStringList{QStringLiteral("Señor \"Slim\" Díaz")};
        QTest::newRow("tag string without spaces") << QStringLiteral("NorthernLights") << QStringList{QStringLiteral("Northern Lights Orchestra")};
        QTest::newRow("case twins") << QStringLiteral("mira") << QStringList{QStringLiteral("Mira Sol"), QStringLiteral("MIRA SOL")};
        QTest::newRow("ampersand") << QStringLiteral("lúcia & os") << QStringList{QStringLiteral("Ana Lúcia & Os Ventos")};
        QTest::newRow("nothing") << QStringLiteral("zzzz") << QStringList{};
    }
    void tagSearch()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, titles);
        QUrl search(TULOSandboxFetch(m_store.bagUrl()).json().value(QStringLiteral("socialSearch-artistNames")).toString());
        QUrlQuery items(search);
        items.addQueryItem(QStringLiteral("q"), QString::fromLatin1(QUrl::toPercentEncoding(query)));
        search.setQuery(items);
        const TULOSandboxExchange exchange = TULOSandboxFetch(search);
        QCOMPARE(exchange.status, 200);
        QStringList seen;
        for (const QJsonValue &value : exchange.json().value(QStringLiteral("data")).toArray()) {
            const QJsonObject tag = value.toObject();
            seen.append(tag.value(QStringLiteral("title")).toString());
            QCOMPARE(tag.value(QStringLiteral("entityType")).toString(), QStringLiteral("artist"));
            QVERIFY(tag.value(QStringLiteral("id")).isString());
            const bool hasUrl = tag.value(QStringLiteral("imageUrl")).isString();
            const bool hasImages = tag.value(QStringLiteral("images")).toArray().first().isObject();
            QVERIFY(hasUrl != hasImages);
        }
        QCOMPARE(seen, titles);
    }

    void tagSearchWithoutQueryIsRefused()
    {
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/search/tags?types=artist&q=%20")));
        QCOMPARE(exchange.status, 400);
        QCOMPARE(exchange.json().value(QStringLiteral("errorCode")).toString(), QStringLiteral("missingQuery"));
    }

    void artwork_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QSize>("size");
        QTest::newRow("square png") << QStringLiteral("/artwork/2001/300x300.png") << 200 << QSize(300, 300);
        QTest::newRow("wide jpg") << QStringLiteral("/artwork/1003/640x120.jpg") << 200 << QSize(640, 120);
        QTest::newRow("one pixel") << QStringLiteral("/artwork/1001/1x1.png") << 200 << QSize(1, 1);
        QTest::newRow("largest side") << QStringLiteral("/artwork/1001/4096x2.png") << 200 << QSize(4096, 2);
        QTest::newRow("zero width") << QStringLiteral("/artwork/1001/0x10.png") << 400 << QSize();
        QTest::newRow("too large") << QStringLiteral("/artwork/1001/5000x5000.png") << 400 << QSize();
        QTest::newRow("unknown format") << QStringLiteral("/artwork/1001/10x10.gif") << 404 << QSize();
    }
    void artwork()
    {
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(QSize, size);
        for (int round = 0; round < 2; ++round) { // the second answer comes from the file on disk
            const TULOSandboxExchange exchange = TULOSandboxFetch(url(path));
            QCOMPARE(exchange.status, status);
            if (status != 200)
                return;
            QVERIFY(exchange.contentType.startsWith("image/"));
            QCOMPARE(QImage::fromData(exchange.body).size(), size);
        }
    }

    void artworkDiffersBetweenItems()
    {
        const QImage first = QImage::fromData(TULOSandboxFetch(url(QStringLiteral("/artwork/1001/16x16.png"))).body);
        const QImage second = QImage::fromData(TULOSandboxFetch(url(QStringLiteral("/artwork/1002/16x16.png"))).body);
        QVERIFY(!first.isNull() && !second.isNull());
        QVERIFY(first != second);
    }

    void unknownPathIsAJsonFailure()
    {
        const TULOSandboxExchange exchange = TULOSandboxFetch(url(QStringLiteral("/no/such/endpoint")));
        QCOMPARE(exchange.status, 404);
        QCOMPARE(exchange.json().value(QStringLiteral("errorCode")).toString(), QStringLiteral("notFound"));
    }
};

QTEST_GUILESS_MAIN(TestSandboxEndpoints)
#include "tst_endpoints.moc"
