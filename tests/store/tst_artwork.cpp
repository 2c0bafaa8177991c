#include "storetestsupport.h"

#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>

#include <QBuffer>
#include <QPainter>

// Records what the loader tells, in order.
class TULORecordingDelegate : public QObject, public TULOArtworkRequestDelegate
{
public:
    void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image) override
    {
        loaded.append(request->requestIdentifier());
        images.append(image);
    }
    void artworkRequestDidFailWithError(const std::shared_ptr<TULOArtworkRequest> &request, const TULOError &error) override
    {
        failed.append(request->requestIdentifier());
        errors.append(error);
    }
    int calls() const { return int(loaded.size() + failed.size()); }

    QStringList loaded;
    QList<QImage> images;
    QStringList failed;
    QList<TULOError> errors;
};

static const QColor red(255, 0, 0);
static const QColor blue(0, 0, 255);
static const QColor green(0, 255, 0);
static const QColor black(0, 0, 0);

// 40 by 20: green outer quarters around a blue and a red quarter, so a centre crop and a
// stretch give different pictures.
static QByteArray bandedPNG()
{
    QImage image(40, 20, QImage::Format_ARGB32);
    image.fill(green);
    QPainter painter(&image);
    painter.fillRect(10, 0, 10, 20, blue);
    painter.fillRect(20, 0, 10, 20, red);
    painter.end();
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

static QByteArray transparentPNG()
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

static bool near(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) <= 8 && std::abs(a.green() - b.green()) <= 8 && std::abs(a.blue() - b.blue()) <= 8
           && std::abs(a.alpha() - b.alpha()) <= 8;
}

class TestArtwork : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;

    QUrl artworkURL(const QString &identifier, int side) const
    {
        return QUrl(m_store.baseUrl().toString() + QStringLiteral("/artwork/%1/%2x%2.png").arg(identifier).arg(side));
    }
    std::shared_ptr<TULOArtworkRequest> request(const QString &identifier, TULORecordingDelegate *delegate, int side = 64)
    {
        auto request = std::make_shared<TULOArtworkRequest>(artworkURL(identifier, side), identifier);
        auto consumer = std::make_shared<TULOStyledImageDataConsumer>();
        consumer->setImageSize(QSizeF(32, 32));
        consumer->setScale(2);
        consumer->setBorderColor(QColor(0, 0, 0, 51));
        consumer->setBorderWidth(1);
        request->setDataConsumer(consumer);
        request->setDelegate(delegate);
        return request;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }
    void cleanup() { m_store.clearFaults(); }

    void styledImage_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QMarginsF>("borders");
        QTest::addColumn<int>("treatment");
        QTest::addColumn<QColor>("background");
        QTest::addColumn<QPoint>("probe"); // in device pixels
        QTest::addColumn<QColor>("expected");
        const QByteArray banded = bandedPNG();
        const QMarginsF none;
        const QColor noColour;
        QTest::newRow("centre crop, left") << banded << QSizeF(10, 10) << 1.0 << none << 0 << noColour << QPoint(1, 5) << blue;
        QTest::newRow("centre crop, right") << banded << QSizeF(10, 10) << 1.0 << none << 0 << noColour << QPoint(8, 5) << red;
        QTest::newRow("scale doubles the pixels") << banded << QSizeF(10, 10) << 2.0 << none << 0 << noColour << QPoint(19, 10) << red;
        QTest::newRow("left border only") << banded << QSizeF(10, 10) << 1.0 << QMarginsF(2, 0, 0, 0) << 0 << noColour << QPoint(1, 5) << black;
        QTest::newRow("no top border with a left one") << banded << QSizeF(10, 10) << 1.0 << QMarginsF(2, 0, 0, 0) << 0 << noColour << QPoint(3, 0) << blue;
        QTest::newRow("wide right border") << banded << QSizeF(10, 10) << 1.0 << QMarginsF(0, 0, 3, 0) << 0 << noColour << QPoint(7, 5) << black;
        QTest::newRow("bottom border in device pixels") << banded << QSizeF(10, 10) << 2.0 << QMarginsF(0, 0, 0, 1) << 0 << noColour << QPoint(10, 18) << black;
        QTest::newRow("circle leaves corners clear") << banded << QSizeF(10, 10) << 1.0 << none << int(TULOImageTreatmentCircle) << QColor(Qt::white)
                                                     << QPoint(0, 0) << QColor(0, 0, 0, 0);
        QTest::newRow("circle keeps the middle") << banded << QSizeF(10, 10) << 1.0 << none << int(TULOImageTreatmentCircle) << noColour << QPoint(7, 5) << red;
        QTest::newRow("circle border is a ring") << banded << QSizeF(20, 20) << 1.0 << QMarginsF(2, 2, 2, 2) << int(TULOImageTreatmentCircle) << noColour
                                                 << QPoint(10, 1) << black;
        QTest::newRow("background behind transparency") << transparentPNG() << QSizeF(6, 6) << 1.0 << none << 0 << QColor(248, 248, 248) << QPoint(3, 3)
                                                         << QColor(248, 248, 248);
    }
    void styledImage()
    {
        QFETCH(QByteArray, data);
        QFETCH(QSizeF, size);
        QFETCH(qreal, scale);
        QFETCH(QMarginsF, borders);
        QFETCH(int, treatment);
        QFETCH(QColor, background);
        QFETCH(QPoint, probe);
        QFETCH(QColor, expected);
        TULOStyledImageDataConsumer consumer;
        consumer.setImageSize(size);
        consumer.setScale(scale);
        consumer.setBorderEdgeInsets(borders);
        consumer.setBorderColor(black);
        consumer.setBackgroundColor(background);
        consumer.setImageTreatment(treatment);
        TULOUrlResponse response;
        response.httpStatus = 200;
        TULOError error;
        const QVariant output = consumer.objectForData(data, response, &error);
        QVERIFY(error.isNull());
        const QImage image = output.value<QImage>();
        QCOMPARE(image.size(), (size * scale).toSize());
        QCOMPARE(image.devicePixelRatio(), scale);
        const QColor actual = image.pixelColor(probe);
        QVERIFY2(near(actual, expected), qPrintable(QStringLiteral("%1 instead of %2").arg(actual.name(QColor::HexArgb), expected.name(QColor::HexArgb))));
    }

    void styledImageRefusesBadReplies_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("status");
        QTest::newRow("not an image") << QByteArray("{\"status\": \"success\"}") << 200;
        QTest::newRow("truncated image") << bandedPNG().left(30) << 200;
        QTest::newRow("empty body") << QByteArray() << 200;
        QTest::newRow("image with a failing status") << bandedPNG() << 404;
    }
    void styledImageRefusesBadReplies()
    {
        QFETCH(QByteArray, data);
        QFETCH(int, status);
        TULOStyledImageDataConsumer consumer;
        TULOUrlResponse response;
        response.httpStatus = status;
        TULOError error;
        QVERIFY(!consumer.objectForData(data, response, &error).isValid());
        QVERIFY(error.is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
    }

    void loadsFromTheStoreAndCachesByIdentifier()
    {
        TULOResourceLoader loader(TULOSandboxContext(m_store));
        TULORecordingDelegate delegate;
        const QString path = QStringLiteral("/artwork/1004/");
        const int before = m_store.requestCount(path);
        QVERIFY(loader.loadResourceWithRequest(request(QStringLiteral("1004"), &delegate), TULOResourceLoadReasonVisible));
        QVERIFY(loader.hasRequestWithIdentifier(QStringLiteral("1004")));
        QTRY_COMPARE_WITH_TIMEOUT(delegate.calls(), 1, TULOStoreTestWait);
        QCOMPARE(delegate.loaded, QStringList{QStringLiteral("1004")});
        QCOMPARE(delegate.images.first().size(), QSize(64, 64));
        QCOMPARE(loader.cachedResourceForRequestIdentifier(QStringLiteral("1004")), delegate.images.first());
        QCOMPARE(loader.pendingLoadCount(), 0);
        // Cached: a new request for the same key loads nothing.
        QVERIFY(!loader.loadResourceWithRequest(request(QStringLiteral("1004"), &delegate), TULOResourceLoadReasonVisible));
        QCOMPARE(m_store.requestCount(path), before + 1);
        QVERIFY(loader.cachedResourceForRequestIdentifier(QStringLiteral("1005")).isNull());
    }

    void requestsWithOneIdentifierShareALoad()
    {
        TULOResourceLoader loader(TULOSandboxContext(m_store));
        TULORecordingDelegate first;
        TULORecordingDelegate second;
        m_store.addFault(QStringLiteral("/artwork/1006/"), TULOSandboxFault::delay(300), 1);
        const int before = m_store.requestCount(QStringLiteral("/artwork/1006/"));
        QVERIFY(loader.loadResourceWithRequest(request(QStringLiteral("1006"), &first), TULOResourceLoadReasonPrefetch));
        QVERIFY(!loader.loadResourceWithRequest(request(QStringLiteral("1006"), &second), TULOResourceLoadReasonVisible));
        QCOMPARE(loader.reasonForRequestIdentifier(QStringLiteral("1006")), std::optional<int>(TULOResourceLoadReasonVisible));
        QTRY_COMPARE_WITH_TIMEOUT(first.calls() + second.calls(), 2, TULOStoreTestWait);
        QCOMPARE(first.loaded.size(), 1);
        QCOMPARE(second.loaded.size(), 1);
        QCOMPARE(m_store.requestCount(QStringLiteral("/artwork/1006/")), before + 1);
    }

    void higherReasonsLoadFirst()
    {
        TULOResourceLoader loader(TULOSandboxContext(m_store));
        loader.setMaxConcurrentLoads(1);
        TULORecordingDelegate delegate;
        // The first load holds the only slot while the others queue up behind it.
        m_store.addFault(QStringLiteral("/artwork/1001/"), TULOSandboxFault::delay(400), 1);
        loader.loadResourceWithRequest(request(QStringLiteral("1001"), &delegate, 48), TULOResourceLoadReasonPrefetch);
        loader.loadResourceWithRequest(request(QStringLiteral("1002"), &delegate, 48), TULOResourceLoadReasonPrefetch);
        loader.loadResourceWithRequest(request(QStringLiteral("1003"), &delegate, 48), TULOResourceLoadReasonPrefetch);
        loader.loadResourceWithRequest(request(QStringLiteral("1007"), &delegate, 48), TULOResourceLoadReasonVisible);
        // Shown now after all: its reason is raised and it keeps its place among the visible ones.
        TULORecordingDelegate row;
        QVERIFY(!loader.loadResourceWithRequest(request(QStringLiteral("1003"), &row, 48), TULOResourceLoadReasonVisible));
        QCOMPARE(loader.pendingLoadCount(), 4);
        QTRY_COMPARE_WITH_TIMEOUT(delegate.calls(), 4, TULOStoreTestWait);
        QCOMPARE(row.loaded, QStringList{QStringLiteral("1003")});
        QCOMPARE(delegate.loaded, (QStringList{QStringLiteral("1001"), QStringLiteral("1003"), QStringLiteral("1007"), QStringLiteral("1002")}));
    }

    void failuresAreToldAndNotCached_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<qint64>("code");
        QTest::newRow("store failure") << QStringLiteral("status") << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("broken image") << QStringLiteral("malformed") << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("dropped connection") << QStringLiteral("drop") << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("store too slow") << QStringLiteral("slow") << qint64(TULOStoreErrorTimedOut);
        QTest::newRow("bad size") << QStringLiteral("badSize") << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("no address") << QStringLiteral("noAddress") << qint64(TULOStoreErrorRequestFailed);
    }
    void failuresAreToldAndNotCached()
    {
        QFETCH(QString, failure);
        QFETCH(qint64, code);
        const QString path = QStringLiteral("/artwork/1008/");
        if (failure == QLatin1String("status"))
            m_store.addFault(path, TULOSandboxFault::status(500), 1);
        else if (failure == QLatin1String("malformed"))
            m_store.addFault(path, TULOSandboxFault::malformedBody(), 1);
        else if (failure == QLatin1String("drop"))
            m_store.addFault(path, TULOSandboxFault::dropConnection(), 1);
        else if (failure == QLatin1String("slow"))
            m_store.addFault(path, TULOSandboxFault::delay(3000), 1);
        TULOResourceLoader loader(TULOSandboxContext(m_store, 300));
        TULORecordingDelegate delegate;
        auto failing = request(QStringLiteral("1008"), &delegate, failure == QLatin1String("badSize") ? 5000 : 64);
        if (failure == QLatin1String("noAddress"))
            failing->setUrl(QUrl());
        QVERIFY(loader.loadResourceWithRequest(failing, TULOResourceLoadReasonVisible));
        QTRY_COMPARE_WITH_TIMEOUT(delegate.calls(), 1, TULOStoreTestWait);
        QCOMPARE(delegate.failed, QStringList{QStringLiteral("1008")});
        QVERIFY2(delegate.errors.first().is(TULOStoreErrorDomain, code), qPrintable(delegate.errors.first().localizedDescription()));
        QVERIFY(!loader.hasRequestWithIdentifier(QStringLiteral("1008")));
        // Nothing was kept, so the next attempt loads again and succeeds.
        QVERIFY(loader.loadResourceWithRequest(request(QStringLiteral("1008"), &delegate), TULOResourceLoadReasonVisible));
        QTRY_COMPARE_WITH_TIMEOUT(delegate.calls(), 2, TULOStoreTestWait);
        QCOMPARE(delegate.loaded, QStringList{QStringLiteral("1008")});
    }

    void goneDelegateIsNotTold()
    {
        TULOResourceLoader loader(TULOSandboxContext(m_store));
        TULORecordingDelegate witness;
        auto *gone = new TULORecordingDelegate;
        auto forGone = request(QStringLiteral("1009"), gone);
        auto forWitness = request(QStringLiteral("1010"), &witness);
        loader.loadResourceWithRequest(forGone, TULOResourceLoadReasonVisible);
        loader.loadResourceWithRequest(forWitness, TULOResourceLoadReasonVisible);
        delete gone;
        QCOMPARE(forGone->delegate(), nullptr);
        QTRY_COMPARE_WITH_TIMEOUT(loader.pendingLoadCount(), 0, TULOStoreTestWait);
        QCOMPARE(witness.loaded, QStringList{QStringLiteral("1010")});
        QVERIFY(!loader.cachedResourceForRequestIdentifier(QStringLiteral("1009")).isNull());
    }

    void destroyingTheLoaderEndsItsLoads()
    {
        TULORecordingDelegate delegate;
        m_store.addFault(QStringLiteral("/artwork/1005/"), TULOSandboxFault::delay(2000), 1);
        {
            TULOResourceLoader loader(TULOSandboxContext(m_store));
            QVERIFY(loader.loadResourceWithRequest(request(QStringLiteral("1005"), &delegate), TULOResourceLoadReasonVisible));
            QTest::qWait(100);
        }
        // Whatever was still on its way is dropped, never delivered to a loader that is gone.
        QTest::qWait(100);
        QCOMPARE(delegate.calls(), 0);
    }
};

QTEST_MAIN(TestArtwork)
#include "tst_artwork.moc"
