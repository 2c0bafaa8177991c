#include <Quillon/platform/records/artworkcatalog.h>

#include <QBuffer>
#include <QFile>
#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

namespace {

QImage makeImage(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::red);
    // A distinct corner, so a scaled copy can be told from a flat fill of the right size.
    for (int y = 0; y < height / 2; ++y)
        for (int x = 0; x < width / 2; ++x)
            image.setPixelColor(x, y, Qt::blue);
    return image;
}

QByteArray pngBytes(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// A one-shot HTTP server on loopback that answers every request with `body`.
class LoopbackServer : public QTcpServer
{
public:
    LoopbackServer(int status, QByteArray body) : m_status(status), m_body(std::move(body))
    {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    if (!socket->readAll().contains("\r\n\r\n"))
                        return;
                    socket->write("HTTP/1.1 " + QByteArray::number(m_status) + " X\r\nContent-Type: image/png\r\n"
                                  "Connection: close\r\nContent-Length: " + QByteArray::number(m_body.size())
                                  + "\r\n\r\n" + m_body);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QUrl url(const QString &path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
    }

private:
    int m_status;
    QByteArray m_body;
};

struct Delivery {
    QMutex mutex;
    bool done = false;
    QImage image;
    TULOError error;
    bool onArtworkThread = false;
    bool onMainThread = false;
};

// Waits for an asynchronous render while the main thread keeps serving the loopback server.
std::shared_ptr<Delivery> render(const TULOArtworkCatalog &catalog)
{
    auto delivery = std::make_shared<Delivery>();
    QThread *main = QThread::currentThread();
    catalog.requestImage([delivery, main](const QImage &image, const TULOError &error) {
        QMutexLocker lock(&delivery->mutex);
        delivery->image = image;
        delivery->error = error;
        delivery->onArtworkThread = TULOArtworkCatalog::isArtworkThread();
        delivery->onMainThread = QThread::currentThread() == main;
        delivery->done = true;
    });
    (void)QTest::qWaitFor([&] {
        QMutexLocker lock(&delivery->mutex);
        return delivery->done;
    }, 60000);
    return delivery;
}

} // namespace

class TestArtworkCatalog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void synchronousRenderFits_data()
    {
        QTest::addColumn<QSizeF>("fitting");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSize>("pixels");
        QTest::newRow("full size") << QSizeF() << 1.0 << QSize(400, 200);
        QTest::newRow("full size at scale 2 keeps pixels") << QSizeF() << 2.0 << QSize(400, 200);
        QTest::newRow("square box keeps aspect") << QSizeF(100, 100) << 1.0 << QSize(100, 50);
        QTest::newRow("hidpi") << QSizeF(100, 100) << 2.0 << QSize(200, 100);
        QTest::newRow("upscale") << QSizeF(800, 800) << 1.0 << QSize(800, 400);
        QTest::newRow("bad scale means 1") << QSizeF(100, 100) << 0.0 << QSize(100, 50);
    }
    void synchronousRenderFits()
    {
        QFETCH(QSizeF, fitting);
        QFETCH(double, scale);
        QFETCH(QSize, pixels);
        const TULOArtworkCatalog catalog = TULOArtworkCatalog::withImage(makeImage(400, 200));
        const QImage image = catalog.imageWithSize(fitting, scale);
        QCOMPARE(image.size(), pixels);
        QCOMPARE(image.devicePixelRatio(), scale > 0 ? scale : 1.0);
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::blue));
        QCOMPARE(image.pixelColor(pixels.width() - 1, pixels.height() - 1), QColor(Qt::red));
    }

    void sources_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<QString>("errorDomain");
        QTest::newRow("file") << "file" << true << "";
        QTest::newRow("file URL") << "fileurl" << true << "";
        QTest::newRow("missing file") << "missing" << false << QString(TULOFileErrorDomain);
        QTest::newRow("file that is not an image") << "broken" << false << QString(TULOFileErrorDomain);
        QTest::newRow("http") << "http" << true << "";
        QTest::newRow("http 404") << "http404" << false << QString(TULONetworkErrorDomain);
        QTest::newRow("http body not an image") << "httpjunk" << false << QString(TULONetworkErrorDomain);
        QTest::newRow("null catalog") << "null" << false << QString(TULOErrorDomain);
    }
    void sources()
    {
        QFETCH(QString, kind);
        QFETCH(bool, succeeds);
        QFETCH(QString, errorDomain);
        QTemporaryDir dir;
        const QByteArray png = pngBytes(makeImage(64, 32));
        const QString good = dir.filePath(QStringLiteral("a.png"));
        const QString junk = dir.filePath(QStringLiteral("b.png"));
        {
            QFile f(good);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(png);
            QFile j(junk);
            QVERIFY(j.open(QIODevice::WriteOnly));
            j.write("not a picture at all");
        }
        LoopbackServer ok(200, png), notFound(404, "gone"), garbage(200, "<html>");
        TULOArtworkCatalog catalog;
        if (kind == QLatin1String("file"))
            catalog = TULOArtworkCatalog::withFile(good);
        else if (kind == QLatin1String("fileurl"))
            catalog = TULOArtworkCatalog::withURL(QUrl::fromLocalFile(good));
        else if (kind == QLatin1String("missing"))
            catalog = TULOArtworkCatalog::withFile(dir.filePath(QStringLiteral("none.png")));
        else if (kind == QLatin1String("broken"))
            catalog = TULOArtworkCatalog::withFile(junk);
        else if (kind == QLatin1String("http"))
            catalog = TULOArtworkCatalog::withURL(ok.url(QStringLiteral("/art.png")));
        else if (kind == QLatin1String("http404"))
            catalog = TULOArtworkCatalog::withURL(notFound.url(QStringLiteral("/art.png")));
        else if (kind == QLatin1String("httpjunk"))
            catalog = TULOArtworkCatalog::withURL(garbage.url(QStringLiteral("/art.png")));
        catalog.setFittingSize(QSizeF(32, 32));
        catalog.setDestinationScale(1.0);

        const auto delivery = render(catalog);
        QVERIFY(delivery->done);
        QVERIFY(delivery->onArtworkThread);
        QVERIFY(!delivery->onMainThread);
        QCOMPARE(!delivery->image.isNull(), succeeds);
        QCOMPARE(delivery->error.isNull(), succeeds);
        if (succeeds) {
            QCOMPARE(delivery->image.size(), QSize(32, 16));
        } else {
            QCOMPARE(delivery->error.domain(), errorDomain);
        }
    }

    void identityIgnoresRenderSettings()
    {
        TULOArtworkCatalog a = TULOArtworkCatalog::withFile(QStringLiteral("/x.png"));
        TULOArtworkCatalog b = a;
        b.setFittingSize(QSizeF(10, 10));
        QCOMPARE(a, b);
        QVERIFY(!(a == TULOArtworkCatalog::withFile(QStringLiteral("/y.png"))));
        QVERIFY(!(TULOArtworkCatalog::withImage(QImage()) == TULOArtworkCatalog::withImage(QImage())));
        QVERIFY(TULOArtworkCatalog::withImage(makeImage(2, 2)).staticImage().size() == QSize(2, 2));
        QVERIFY(a.staticImage().isNull());
        QVERIFY(!TULOArtworkCatalog::isArtworkThread());
    }
};

QTEST_MAIN(TestArtworkCatalog)
#include "tst_artworkcatalog.moc"
