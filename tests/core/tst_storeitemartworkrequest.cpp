#include "../store/storetestsupport.h"

#include <Quillon/core/artworkcatalogresourceoperation.h>
#include <Quillon/core/storeitemartworkrequest.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>

#include <QTemporaryDir>

class TestStoreItemArtworkRequest : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;

    TULOStoreItem songFromStore(const QString &kind = QStringLiteral("song")) const
    {
        QVariantList sizes;
        for (const int side : {100, 300, 600})
            sizes.append(QVariantMap{{QStringLiteral("url"), m_store.baseUrl().toString() + QStringLiteral("/artwork/2001/%1x%1.png").arg(side)},
                                     {QStringLiteral("width"), side},
                                     {QStringLiteral("height"), side}});
        return TULOStoreItem::withItemDictionary({{QString::fromLatin1(TULOLookupKeyItemIdentifier), QStringLiteral("3001")},
                                                  {QString::fromLatin1(TULOLookupKeyKind), kind},
                                                  {QString::fromLatin1(TULOLookupKeyArtwork), sizes}});
    }

    static std::shared_ptr<TULOStyledImageDataConsumer> styled(const TULOStoreItemArtworkRequest &request)
    {
        return std::dynamic_pointer_cast<TULOStyledImageDataConsumer>(request.dataConsumer());
    }

    // Runs the request's own load operation on this thread.
    static std::pair<QVariant, TULOError> runLoad(const std::shared_ptr<TULOStoreItemArtworkRequest> &request,
                                                  const TULOClientContext &context)
    {
        std::pair<QVariant, TULOError> outcome;
        int calls = 0;
        const auto operation = request->newLoadOperation();
        operation->setClientContext(context);
        operation->setOutputBlock([&](const QVariant &output, const TULOError &error) {
            ++calls;
            outcome = {output, error};
        });
        operation->start();
        [&] { QCOMPARE(calls, 1); }();
        [&] { QVERIFY(!operation->outputBlock()); }();
        return outcome;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }

    void imageTreatmentByKind_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("treatment");
        QTest::newRow("artist") << "artist" << int(TULOImageTreatmentCircle);
        QTest::newRow("curator") << "curator" << int(TULOImageTreatmentCircle);
        QTest::newRow("activity") << "activity" << int(TULOImageTreatmentCircle);
        QTest::newRow("song") << "song" << int(TULOImageTreatmentNone);
        QTest::newRow("album") << "album" << int(TULOImageTreatmentNone);
        QTest::newRow("kind in other case") << "Artist" << int(TULOImageTreatmentNone);
        QTest::newRow("no kind") << QString() << int(TULOImageTreatmentNone);
    }
    void imageTreatmentByKind()
    {
        QFETCH(QString, kind);
        QFETCH(int, treatment);
        TULOStoreItem item;
        item.setKind(kind);
        const TULOStoreItemArtworkRequest request(item, QSizeF(60, 60), 1.0);
        QVERIFY(styled(request));
        QCOMPARE(styled(request)->imageTreatment(), treatment);
    }

    // The border is one device pixel wide at any scale, in translucent black.
    void borderIsOneDevicePixel_data()
    {
        QTest::addColumn<qreal>("scale");
        QTest::newRow("scale 1") << 1.0;
        QTest::newRow("scale 2") << 2.0;
        QTest::newRow("scale 1.5") << 1.5;
    }
    void borderIsOneDevicePixel()
    {
        QFETCH(qreal, scale);
        const TULOStoreItemArtworkRequest request(songFromStore(), QSizeF(44, 30), scale);
        const auto consumer = styled(request);
        QVERIFY(consumer);
        const QMarginsF border = consumer->borderEdgeInsets();
        for (const qreal edge : {border.left(), border.top(), border.right(), border.bottom()})
            QCOMPARE(edge * scale, 1.0);
        QCOMPARE(consumer->scale(), scale);
        QCOMPARE(consumer->imageSize(), QSizeF(44, 30));
        QCOMPARE(consumer->borderColor().alphaF(), 0.2f);
        QCOMPARE(consumer->borderColor().lightnessF(), 0.0f);
    }

    void urlFromTheArtworkList_data()
    {
        QTest::addColumn<qreal>("width");
        QTest::addColumn<QString>("size");
        QTest::newRow("smaller than every entry") << 60.0 << "100x100";
        QTest::newRow("exact entry") << 300.0 << "300x300";
        QTest::newRow("between entries") << 301.5 << "600x600";
        QTest::newRow("wider than every entry") << 900.0 << "600x600";
    }
    void urlFromTheArtworkList()
    {
        QFETCH(qreal, width);
        QFETCH(QString, size);
        const TULOStoreItemArtworkRequest request(songFromStore(), QSizeF(width, width), 1.0);
        QVERIFY(request.url().path().endsWith(QStringLiteral("/%1.png").arg(size)));
    }

    void itemWithoutArtwork()
    {
        const auto request = std::make_shared<TULOStoreItemArtworkRequest>(TULOStoreItem(), QSizeF(60, 60), 1.0);
        QVERIFY(request->url().isEmpty());
        QVERIFY(request->artworkCatalog().isNull());
        const auto [output, error] = runLoad(request, TULOSandboxContext(m_store));
        QVERIFY(!output.isValid());
        QVERIFY(!error.isNull());
    }

    // A store item's artwork comes from the store, drawn at the row's size and scale.
    void storeArtworkLoads_data()
    {
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<bool>("fromTemplate");
        QTest::newRow("list, scale 1") << 1.0 << false;
        QTest::newRow("list, scale 2") << 2.0 << false;
        // As an artist's albums come from a lookup.
        QTest::newRow("template, scale 1") << 1.0 << true;
        QTest::newRow("template, scale 2") << 2.0 << true;
    }
    void storeArtworkLoads()
    {
        QFETCH(qreal, scale);
        QFETCH(bool, fromTemplate);
        TULOStoreItem item = songFromStore();
        if (fromTemplate) {
            item.setArtworkList(TULOArtworkList());
            item.setArtworkTemplate(TULOLookupItemArtwork(
                {{QStringLiteral("url"), m_store.baseUrl().toString() + QStringLiteral("/artwork/2001/{w}x{h}.png")},
                 {QStringLiteral("width"), 1200},
                 {QStringLiteral("height"), 1200}}));
        }
        const auto request = std::make_shared<TULOStoreItemArtworkRequest>(item, QSizeF(48, 48), scale);
        if (fromTemplate)
            QVERIFY2(request->url().path().endsWith(QStringLiteral("/%1x%1.png").arg(qRound(48 * scale))),
                     qPrintable(request->url().toString()));
        const auto operation = request->newLoadOperation();
        QVERIFY(!std::dynamic_pointer_cast<TULOArtworkCatalogResourceOperation>(operation));
        const auto [output, error] = runLoad(request, TULOSandboxContext(m_store));
        QVERIFY2(error.isNull(), qPrintable(error.localizedDescription()));
        const QImage image = output.value<QImage>();
        QCOMPARE(image.size(), QSize(qRound(48 * scale), qRound(48 * scale)));
        QCOMPARE(image.devicePixelRatio(), scale);
    }

    // A media-library item renders its own artwork catalog instead of asking the store.
    void catalogArtworkRenders_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<QSizeF>("fitting");
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QSize>("pixels");
        QTest::newRow("square at scale 1") << QSize(400, 400) << QSizeF(60, 60) << 1.0 << QSize(60, 60);
        QTest::newRow("square at scale 2") << QSize(400, 400) << QSizeF(60, 60) << 2.0 << QSize(120, 120);
        QTest::newRow("wide image keeps its shape") << QSize(400, 200) << QSizeF(60, 60) << 1.0 << QSize(60, 30);
    }
    void catalogArtworkRenders()
    {
        QFETCH(QSize, source);
        QFETCH(QSizeF, fitting);
        QFETCH(qreal, scale);
        QFETCH(QSize, pixels);
        QImage artwork(source, QImage::Format_ARGB32);
        artwork.fill(Qt::darkCyan);
        TULOStoreItem item = songFromStore(QStringLiteral("artist"));
        item.setArtworkCatalog(TULOArtworkCatalog::withImage(artwork));
        const auto request = std::make_shared<TULOStoreItemArtworkRequest>(item, fitting, scale);
        QCOMPARE(request->artworkCatalog().fittingSize(), fitting);
        QCOMPARE(request->artworkCatalog().destinationScale(), scale);
        const int servedBefore = m_store.requestCount(QStringLiteral("/artwork"));
        const auto operation = request->newLoadOperation();
        QVERIFY(std::dynamic_pointer_cast<TULOArtworkCatalogResourceOperation>(operation));
        const auto [output, error] = runLoad(request, TULOSandboxContext(m_store));
        QVERIFY(error.isNull());
        const QImage image = output.value<QImage>();
        QCOMPARE(image.size(), pixels);
        QCOMPARE(image.devicePixelRatio(), scale);
        QCOMPARE(image.pixelColor(pixels.width() / 2, pixels.height() / 2), QColor(Qt::darkCyan));
        QCOMPARE(m_store.requestCount(QStringLiteral("/artwork")), servedBefore);
    }

    void catalogThatCannotRender()
    {
        QTemporaryDir folder;
        TULOStoreItem item;
        item.setArtworkCatalog(TULOArtworkCatalog::withFile(folder.filePath(QStringLiteral("missing.png"))));
        const auto request = std::make_shared<TULOStoreItemArtworkRequest>(item, QSizeF(60, 60), 1.0);
        const auto [output, error] = runLoad(request, TULOSandboxContext(m_store));
        QVERIFY(!output.isValid());
        QVERIFY(!error.isNull());
    }
};

QTEST_MAIN(TestStoreItemArtworkRequest)
#include "tst_storeitemartworkrequest.moc"
