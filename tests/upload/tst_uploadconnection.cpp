#include "uploadtestsupport.h"

#include <Quillon/platform/store/postupload_p.h>
#include <Quillon/platform/store/storerequest.h>
#include <Quillon/platform/store/urlloadoperation.h>
#include "support/testproxy.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

// The uploader's own connection: the answer it reads off the socket, the proxy it goes
// through, and a cancel that ends it at once.
class TestUploadConnection : public QObject
{
    Q_OBJECT

    TULOSandboxStore m_store;
    QString m_token;
    QTemporaryDir m_folder;

    std::unique_ptr<TULOPostUpload> makeUpload(const QByteArray &photo)
    {
        const QString path = m_folder.filePath(QStringLiteral("photo.png"));
        if (!TULOWriteFile(path, photo))
            return nullptr;
        const QJsonObject description{
            {QStringLiteral("text"), QStringLiteral("through the connection")},
            {QStringLiteral("authorId"), TULOSandboxStore::demoArtistIdentifier()},
            {QStringLiteral("attachments"),
             QJsonArray{QJsonObject{{QStringLiteral("part"), QStringLiteral("file0")}, {QStringLiteral("type"), 2},
                                    {QStringLiteral("uti"), QStringLiteral("image/png")},
                                    {QStringLiteral("size"), double(photo.size())}}}}};
        TULOPostUpload::Part descriptionPart;
        descriptionPart.headers = "Content-Disposition: form-data; name=\"description\"\r\nContent-Type: application/json";
        descriptionPart.body = QJsonDocument(description).toJson(QJsonDocument::Compact);
        descriptionPart.size = descriptionPart.body.size();
        TULOPostUpload::Part filePart;
        filePart.headers = "Content-Disposition: form-data; name=\"file0\"; filename=\"photo.png\"\r\nContent-Type: image/png";
        filePart.file = std::make_shared<QFile>(path);
        if (!filePart.file->open(QIODevice::ReadOnly))
            return nullptr;
        filePart.size = photo.size();

        TULOStoreRequest request(QUrl(m_store.baseUrl().toString() + QStringLiteral("/posts")));
        request.setToken(m_token);
        request.setRawHeader("Idempotency-Key", QUuid::createUuid().toByteArray(QUuid::WithoutBraces));
        return std::make_unique<TULOPostUpload>(request.networkRequest(TULOClientContext()), QList{descriptionPart, filePart},
                                                20000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        QVERIFY(m_store.start());
        m_token = TULOSignInToSandbox(m_store);
        QVERIFY(!m_token.isEmpty());
    }
    void cleanup()
    {
        m_store.clearFaults();
        qunsetenv("http_proxy");
        qunsetenv("https_proxy");
    }

    void readsTheAnswer_data()
    {
        QTest::addColumn<QByteArray>("received");
        QTest::addColumn<bool>("closed");
        QTest::addColumn<int>("state"); // TULOHttpAnswerReader::State
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        using State = TULOHttpAnswerReader::State;
        QTest::newRow("with a length") << QByteArray("HTTP/1.1 201 Created\r\nContent-Length: 4\r\n\r\n{}{}") << false
                                       << int(State::Complete) << 201 << QByteArray("{}{}");
        QTest::newRow("length not there yet") << QByteArray("HTTP/1.1 201 Created\r\nContent-Length: 9\r\n\r\n{}") << false
                                              << int(State::NeedMore) << 0 << QByteArray();
        QTest::newRow("cut short by the close") << QByteArray("HTTP/1.1 201 Created\r\nContent-Length: 9\r\n\r\n{}") << true
                                                << int(State::Failed) << 0 << QByteArray();
        QTest::newRow("chunked") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{\"\r\n3;x=y\r\na\"}\r\n0\r\n\r\n")
                                 << false << int(State::Complete) << 200 << QByteArray("{\"a\"}");
        QTest::newRow("chunked, last chunk missing") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n")
                                                     << false << int(State::NeedMore) << 0 << QByteArray();
        QTest::newRow("interim answer first") << QByteArray("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 413 Too Large\r\nContent-Length: 2\r\n\r\nno")
                                              << false << int(State::Complete) << 413 << QByteArray("no");
        QTest::newRow("ends with the connection") << QByteArray("HTTP/1.0 200 OK\r\n\r\nall of it") << true << int(State::Complete)
                                                  << 200 << QByteArray("all of it");
        QTest::newRow("not HTTP") << QByteArray("SSH-2.0-OpenSSH\r\n\r\n") << false << int(State::Failed) << 0 << QByteArray();
        QTest::newRow("closed before any head") << QByteArray("HTTP/1.1 20") << true << int(State::Failed) << 0 << QByteArray();
    }
    void readsTheAnswer()
    {
        QFETCH(QByteArray, received);
        QFETCH(bool, closed);
        QFETCH(int, state);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        TULOPostUploadOutcome outcome;
        QCOMPARE(int(TULOHttpAnswerReader().read(received, closed, &outcome)), state);
        if (state == int(TULOHttpAnswerReader::State::Complete)) {
            QCOMPARE(outcome.status, status);
            QCOMPARE(outcome.body, body);
        } else if (state == int(TULOHttpAnswerReader::State::Failed)) {
            QCOMPARE(outcome.error, QNetworkReply::ProtocolFailure);
        }
    }

    // The desktop's proxy carries the upload and every other request: a tunnel for TLS, a
    // forwarded request for plain HTTP.
    void requestsGoThroughTheSystemProxy_data()
    {
        QTest::addColumn<bool>("proxied");
        QTest::newRow("no proxy set") << false;
        QTest::newRow("proxy in the environment") << true;
    }
    void requestsGoThroughTheSystemProxy()
    {
        QFETCH(bool, proxied);
        TULOTestProxy proxy;
        QVERIFY(proxy.port() != 0);
        if (proxied) {
            const QByteArray address = "http://127.0.0.1:" + QByteArray::number(proxy.port());
            qputenv("http_proxy", address);
            qputenv("https_proxy", address);
        }
        const int before = TULOFetchSandboxPosts(m_store).size();
        const auto upload = makeUpload(TULOPngData(64, Qt::red));
        QVERIFY(upload);
        QSignalSpy finished(upload.get(), &TULOPostUpload::finished);
        upload->start();
        QVERIFY(finished.wait(30000));
        QCOMPARE(upload->error(), QNetworkReply::NoError);
        QCOMPARE(upload->status(), 201);
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), before + 1);

        TULOUrlLoadOperation bag(m_store.bagUrl());
        bag.start();
        QVERIFY(bag.error().isNull());
        QCOMPARE(bag.response().httpStatus, 200);

        const QByteArray origin = "127.0.0.1:" + QByteArray::number(m_store.port());
        const QByteArrayList expected = !proxied             ? QByteArrayList()
                                        : m_store.isSecure() ? QByteArrayList{"CONNECT " + origin, "CONNECT " + origin}
                                                             : QByteArrayList{"POST http://" + origin + "/posts",
                                                                              "GET http://" + origin + "/bag"};
        QCOMPARE(proxy.requests(), expected);
    }

    // Deleting the upload while the store holds it ends it at once: the connection is closed,
    // nothing is waited for, and no post is stored.
    void deletingTheUploadEndsItAtOnce()
    {
        const int before = TULOFetchSandboxPosts(m_store).size();
        const int served = m_store.requestCount(QStringLiteral("/posts"));
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::delay(60000), 1);
        auto upload = makeUpload(TULOPngData(64, Qt::blue));
        QVERIFY(upload);
        QSignalSpy finished(upload.get(), &TULOPostUpload::finished);
        upload->start();
        QTRY_COMPARE_WITH_TIMEOUT(m_store.requestCount(QStringLiteral("/posts")) - served, 1, 30000);
        QElapsedTimer clock;
        clock.start();
        upload.reset();
        // Far under the store's hold: only a closed connection can end it this soon.
        QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(finished.size(), 0);
        m_store.clearFaults();
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), before);
    }
};

QTEST_GUILESS_MAIN(TestUploadConnection)
#include "tst_uploadconnection.moc"
