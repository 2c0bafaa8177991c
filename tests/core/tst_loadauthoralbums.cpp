#include "../store/storetestsupport.h"

#include <Quillon/core/loadauthoralbumsoperation.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/lookupresponse.h>
#include <Quillon/platform/store/platformcontext.h>
#include <Quillon/platform/store/storeerror.h>
#include "sandboxdiscography.h"

#include <QJsonDocument>
#include <QSet>

// Reaches the reply walk directly, for replies the sandbox would never send.
class TULOAlbumWalk : public TULOLoadAuthorAlbumsOperation
{
public:
    using TULOLoadAuthorAlbumsOperation::TULOLoadAuthorAlbumsOperation;
    using TULOLoadAuthorAlbumsOperation::loadAlbumsWithLookupResponse;
};

class TestLoadAuthorAlbums : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.albums")};

    struct Run
    {
        std::shared_ptr<TULOLoadAuthorAlbumsOperation> operation;
        std::shared_ptr<TULOCallbackResult<std::optional<QList<TULOStoreItem>>>> result;
    };

    Run load(const QString &author, const TULOClientContext &context)
    {
        Run run{std::make_shared<TULOLoadAuthorAlbumsOperation>(author, context),
                std::make_shared<TULOCallbackResult<std::optional<QList<TULOStoreItem>>>>()};
        run.operation->setOutputBlock([result = run.result](const std::optional<QList<TULOStoreItem>> &albums, const TULOError &error) {
            result->deliver(albums, error);
        });
        m_queue.addOperation(run.operation);
        return run;
    }

    static bool settle(const Run &run)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(run.operation->isFinished(), TULOStoreTestWait); }();
        if (QTest::currentTestFailed())
            return false;
        [&] { QCOMPARE(run.result->calls(), 1); }();
        // Taken and cleared: a second run would find no block.
        [&] { QVERIFY(!run.operation->outputBlock()); }();
        return !QTest::currentTestFailed();
    }

    static QStringList names(const QList<TULOStoreItem> &items)
    {
        QStringList list;
        for (const TULOStoreItem &item : items)
            list.append(item.displayName());
        return list;
    }

    static QVariantMap parse(const char *json)
    {
        return QJsonDocument::fromJson(json).toVariant().toMap();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }
    void cleanup() { m_store.clearFaults(); }

    // Albums described in "children" come first, in the artist's order; the others follow
    // as their lookups answer, one lookup each.
    void albumsOfAnArtist_data()
    {
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QStringList>("described");
        QTest::addColumn<QStringList>("lookedUp");
        QTest::newRow("five albums, three described")
            << TULOSandboxFiveAlbumArtistIdentifier() << QStringList{"Tidewater", "Breakwater", "Low Water Mark"}
            << QStringList{"Slipway", "Mooring Lines"};
        QStringList evenVolumes, oddVolumes;
        for (int volume = 1; volume <= 10; ++volume)
            (volume % 2 ? oddVolumes : evenVolumes).append(QStringLiteral("Field Recordings, Vol. %1").arg(volume));
        QTest::newRow("ten albums, five looked up") << TULOSandboxTenAlbumArtistIdentifier() << oddVolumes << evenVolumes;
        QTest::newRow("seeded artist") << TULOSandboxStore::demoArtistIdentifier() << QStringList{"First Light", "Far From Shore"}
                                       << QStringList{"Kitchen Tapes"};
        QTest::newRow("artist without albums") << TULOSandboxAlbumlessArtistIdentifier() << QStringList() << QStringList();
    }
    void albumsOfAnArtist()
    {
        QFETCH(QString, artist);
        QFETCH(QStringList, described);
        QFETCH(QStringList, lookedUp);
        const int lookupsBefore = m_store.requestCount(QStringLiteral("/catalog/lookup"));
        const Run run = load(artist, TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY2(run.result->error().isNull(), qPrintable(run.result->error().localizedDescription()));
        const std::optional<QList<TULOStoreItem>> albums = run.result->value();
        QVERIFY(albums);
        QCOMPARE(albums->size(), described.size() + lookedUp.size());
        QCOMPARE(names(albums->mid(0, described.size())), described);
        const QStringList rest = names(albums->mid(described.size()));
        QCOMPARE(QSet<QString>(rest.cbegin(), rest.cend()), QSet<QString>(lookedUp.cbegin(), lookedUp.cend()));
        for (const TULOStoreItem &album : *albums) {
            QCOMPARE(album.kind(), QStringLiteral("album"));
            QVERIFY(!album.itemIdentifier().isEmpty());
        }
        QCOMPARE(m_store.requestCount(QStringLiteral("/catalog/lookup")) - lookupsBefore, 1 + lookedUp.size());
    }

    void lookupsRunAtMostThreeAtOnce()
    {
        TULOSandboxStore store;
        QVERIFY(store.start());
        // Slow answers make the lookups overlap as far as the queue lets them.
        store.addFault(QStringLiteral("/catalog/lookup"), TULOSandboxFault::delay(400));
        const Run run = load(TULOSandboxTenAlbumArtistIdentifier(), TULOSandboxContext(store));
        QVERIFY(settle(run));
        QCOMPARE(run.result->value().value_or(QList<TULOStoreItem>()).size(), 10);
        QCOMPARE(store.peakConcurrentRequests(QStringLiteral("/catalog/lookup")), TULOLoadAuthorAlbumsOperation::MaximumConcurrentLookups);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QString>("faultPath");
        QTest::addColumn<int>("faultStatus");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        QTest::newRow("author not in the catalogue") << QStringLiteral("999999") << QString() << 0
                                                     << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorItemNotFound);
        QTest::newRow("identifier that is not a number") << QStringLiteral("harbour") << QString() << 0
                                                         << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorItemNotFound);
        QTest::newRow("bag does not load") << TULOSandboxFiveAlbumArtistIdentifier() << QStringLiteral("/bag") << 500
                                           << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("artist-content request fails") << TULOSandboxFiveAlbumArtistIdentifier() << QStringLiteral("/catalog/lookup") << 503
                                                      << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorRequestFailed);
    }
    void failures()
    {
        QFETCH(QString, artist);
        QFETCH(QString, faultPath);
        QFETCH(int, faultStatus);
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        if (!faultPath.isEmpty())
            m_store.addFault(faultPath, TULOSandboxFault::status(faultStatus));
        const Run run = load(artist, TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY(!run.result->value());
        QCOMPARE(run.result->error().domain(), domain);
        QCOMPARE(run.result->error().code(), code);
    }

    void failedLookupsAreDropped()
    {
        // The artist's own reply goes through; every lookup after it fails.
        m_store.addFault(QStringLiteral("/catalog/lookup"), TULOSandboxFault::delay(0), 1);
        m_store.addFault(QStringLiteral("/catalog/lookup"), TULOSandboxFault::status(500));
        const Run run = load(TULOSandboxFiveAlbumArtistIdentifier(), TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY(run.result->error().isNull());
        QCOMPARE(names(run.result->value().value_or(QList<TULOStoreItem>())),
                 (QStringList{"Tidewater", "Breakwater", "Low Water Mark"}));
    }

    void noClientContext()
    {
        const Run run = load(TULOSandboxFiveAlbumArtistIdentifier(), TULOClientContext());
        QVERIFY(settle(run));
        QVERIFY(!run.result->value());
        QVERIFY(!run.result->error().isNull());
    }

    // Replies of every shape: which albums are taken from "children" and which would be
    // looked up (none here can be, so they are simply absent from the result).
    void replyShapes_data()
    {
        QTest::addColumn<QString>("author");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QStringList>("albums");
        QTest::addColumn<bool>("found");
        const char *ok = R"({"results": {"77": {"kind": "artist", "contentByKind": {"album": [123, "124"]},
                             "children": {"123": {"id": 123, "kind": "album", "name": "By number"},
                                          "124": {"id": "124", "kind": "album", "name": "By string"}}}}})";
        QTest::newRow("number found under its decimal string") << "77" << QByteArray(ok) << QStringList{"By number", "By string"} << true;
        QTest::newRow("author found through its number")
            << "077" << QByteArray(ok) << QStringList{"By number", "By string"} << true;
        QTest::newRow("contentByKind not a dictionary")
            << "77" << QByteArray(R"({"results": {"77": {"contentByKind": [123], "children": {"123": {"name": "A"}}}}})")
            << QStringList() << true;
        QTest::newRow("children not a dictionary")
            << "77" << QByteArray(R"({"results": {"77": {"contentByKind": {"album": [123]}, "children": [{"name": "A"}]}}})")
            << QStringList() << true;
        QTest::newRow("album list not a list")
            << "77" << QByteArray(R"({"results": {"77": {"contentByKind": {"album": "123"}, "children": {"123": {"name": "A"}}}}})")
            << QStringList() << true;
        QTest::newRow("no children at all")
            << "77" << QByteArray(R"({"results": {"77": {"contentByKind": {"album": []}}}})") << QStringList() << true;
        QTest::newRow("child that is not a dictionary")
            << "77" << QByteArray(R"({"results": {"77": {"contentByKind": {"album": [1, 2]}, "children": {"1": "A", "2": {"name": "B"}}}}})")
            << QStringList{"B"} << true;
        QTest::newRow("reply without the author")
            << "77" << QByteArray(R"({"results": {"78": {"contentByKind": {"album": []}}}})") << QStringList() << false;
    }
    void replyShapes()
    {
        QFETCH(QString, author);
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, albums);
        QFETCH(bool, found);
        const std::optional<TULOLookupResponse> response = TULOLookupResponse::withDictionary(parse(reply.constData()));
        QVERIFY(response);
        // Lookups of undescribed albums go to a store that has none of them.
        const TULOClientContext context = TULOSandboxContext(m_store);
        const std::optional<TULOUrlBag> bag = context.loadURLBagAndWait();
        QVERIFY(bag);
        TULOAlbumWalk walk(author, context);
        TULOError error;
        const std::optional<QList<TULOStoreItem>> result = walk.loadAlbumsWithLookupResponse(*response, TULOPlatformContext(*bag, context), &error);
        QCOMPARE(result.has_value(), found);
        if (!found) {
            QVERIFY(error.is(TULOStoreErrorDomain, TULOStoreErrorItemNotFound));
            QVERIFY(error.userInfo().isEmpty());
            return;
        }
        QVERIFY(error.isNull());
        QCOMPARE(names(*result), albums);
    }
};

QTEST_MAIN(TestLoadAuthorAlbums)
#include "tst_loadauthoralbums.moc"
