// The sandbox store's post endpoint on its own terms: what it refuses, and that one
// idempotency key makes one post however often and however concurrently it is sent.
#include "uploadtestsupport.h"

#include <QDir>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslSocket>
#include <QTest>
#include <QUuid>

namespace {

constexpr int TULOEndpointWait = 30000; // a hang guard, never a measurement

struct FilePart
{
    QString name;
    QString contentType;
    QByteArray data;
};

QJsonObject photoDescription(qint64 size, const QString &uti = QStringLiteral("image/png"))
{
    return {{QStringLiteral("text"), QStringLiteral("hello")},
        {QStringLiteral("authorId"), TULOSandboxStore::demoArtistIdentifier()},
        {QStringLiteral("attachments"),
            QJsonArray {
                QJsonObject {{QStringLiteral("part"), QStringLiteral("file0")}, {QStringLiteral("type"), 2},
                    {QStringLiteral("uti"), uti}, {QStringLiteral("size"), double(size)}}}}};
}

} // namespace

Q_DECLARE_METATYPE(FilePart)

class TestPostEndpoint : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QString m_token;
    QNetworkAccessManager m_network;

    QNetworkReply *send(const QByteArray &description, const QList<FilePart> &files, const QString &key,
        const QString &token, bool multipart = true)
    {
        QNetworkRequest request(QUrl(m_store.baseUrl().toString() + QStringLiteral("/posts")));
        request.setSslConfiguration(TULOSandboxSslConfiguration());
        if (!token.isEmpty())
            request.setRawHeader("Authorization", "Bearer " + token.toLatin1());
        if (!key.isNull())
            request.setRawHeader("Idempotency-Key", key.toLatin1());
        if (!multipart) {
            request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
            return m_network.post(request, description);
        }
        auto *body = new QHttpMultiPart(QHttpMultiPart::FormDataType);
        QHttpPart part;
        part.setRawHeader("Content-Disposition", "form-data; name=\"description\"");
        part.setBody(description);
        body->append(part);
        for (const FilePart &f : files) {
            QHttpPart filePart;
            filePart.setRawHeader(
                "Content-Disposition", "form-data; name=\"" + f.name.toLatin1() + "\"; filename=\"f.bin\"");
            filePart.setRawHeader("Content-Type", f.contentType.toLatin1());
            filePart.setBody(f.data);
            body->append(filePart);
        }
        QNetworkReply *reply = m_network.post(request, body);
        body->setParent(reply);
        return reply;
    }

    static QJsonObject wait(QNetworkReply *reply, int *status)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), TULOEndpointWait); }();
        *status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QJsonObject body = QJsonDocument::fromJson(reply->readAll()).object();
        reply->deleteLater();
        return body;
    }

    QStringList postFolders() const
    {
        return QDir(m_store.dataDirectory() + QStringLiteral("/posts"))
            .entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QString error;
        QVERIFY2(m_store.start(QString(), 0, &error), qPrintable(error));
        m_token = TULOSignInToSandbox(m_store);
        QVERIFY(!m_token.isEmpty());
    }

    void refusesWhatItCannotKeep_data()
    {
        const QByteArray png = TULOPngData(8, Qt::red);
        const auto json
            = [](const QJsonObject &o) { return QJsonDocument(o).toJson(QJsonDocument::Compact); };
        const FilePart photo {QStringLiteral("file0"), QStringLiteral("image/png"), png};
        QJsonObject unknownService = photoDescription(png.size());
        unknownService.insert(QStringLiteral("externalDestinations"),
            QJsonArray {QJsonObject {{QStringLiteral("service"), QStringLiteral("myspace")}}});
        QJsonObject badCover = photoDescription(png.size());
        QJsonObject audio {{QStringLiteral("part"), QStringLiteral("file0")}, {QStringLiteral("type"), 1},
            {QStringLiteral("uti"), QStringLiteral("audio/x-wav")}, {QStringLiteral("size"), 4},
            {QStringLiteral("cover"),
                QJsonObject {{QStringLiteral("part"), QStringLiteral("file1")},
                    {QStringLiteral("uti"), QStringLiteral("audio/x-wav")}, {QStringLiteral("size"), 4}}}};
        badCover.insert(QStringLiteral("attachments"), QJsonArray {audio});
        const QList<FilePart> audioAndCover {{QStringLiteral("file0"), QStringLiteral("audio/x-wav"), "RIFF"},
            {QStringLiteral("file1"), QStringLiteral("audio/x-wav"), "RIFF"}};

        QTest::addColumn<QByteArray>("description");
        QTest::addColumn<QList<FilePart>>("files");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("multipart");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("errorCode");
        const QString key = QStringLiteral("refused-post-%1");
        QTest::newRow("not signed in") << json(photoDescription(png.size())) << QList<FilePart> {photo}
                                       << key.arg(1) << false << true << 401 << "unauthorized";
        QTest::newRow("no idempotency key") << json(photoDescription(png.size())) << QList<FilePart> {photo}
                                            << QString() << true << true << 400 << "malformedRequest";
        QTest::newRow("key with spaces")
            << json(photoDescription(png.size())) << QList<FilePart> {photo}
            << QStringLiteral("a key with spaces") << true << true << 400 << "malformedRequest";
        QTest::newRow("not multipart") << json(photoDescription(png.size())) << QList<FilePart> {}
                                       << key.arg(2) << true << false << 400 << "malformedRequest";
        QTest::newRow("description not JSON") << QByteArray("{\"text\": ") << QList<FilePart> {photo}
                                              << key.arg(3) << true << true << 400 << "malformedRequest";
        QTest::newRow("size differs") << json(photoDescription(png.size() + 1)) << QList<FilePart> {photo}
                                      << key.arg(4) << true << true << 400 << "malformedRequest";
        QTest::newRow("part not described")
            << json(photoDescription(png.size()))
            << QList<FilePart> {photo, {QStringLiteral("file1"), QStringLiteral("image/png"), png}}
            << key.arg(5) << true << true << 400 << "malformedRequest";
        QTest::newRow("described part missing") << json(photoDescription(png.size())) << QList<FilePart> {}
                                                << key.arg(6) << true << true << 400 << "malformedRequest";
        QTest::newRow("type differs from uti")
            << json(photoDescription(png.size(), QStringLiteral("image/jpeg"))) << QList<FilePart> {photo}
            << key.arg(7) << true << true << 415 << "unsupportedType";
        QTest::newRow("not media") << json(photoDescription(4, QStringLiteral("text/plain")))
                                   << QList<FilePart> {{QStringLiteral("file0"), QStringLiteral("text/plain"),
                                          "text"}}
                                   << key.arg(8) << true << true << 415 << "unsupportedType";
        QTest::newRow("cover not an image")
            << json(badCover) << audioAndCover << key.arg(9) << true << true << 415 << "unsupportedType";
        QTest::newRow("unknown service") << json(unknownService) << QList<FilePart> {photo} << key.arg(10)
                                         << true << true << 400 << "malformedRequest";
        QTest::newRow("stray part name")
            << json(photoDescription(png.size()))
            << QList<FilePart> {photo, {QStringLiteral("../etc"), QStringLiteral("image/png"), png}}
            << key.arg(11) << true << true << 400 << "malformedRequest";
    }

    void refusesWhatItCannotKeep()
    {
        QFETCH(QByteArray, description);
        QFETCH(QList<FilePart>, files);
        QFETCH(QString, key);
        QFETCH(bool, signedIn);
        QFETCH(bool, multipart);
        QFETCH(int, status);
        QFETCH(QString, errorCode);
        const qsizetype before = TULOFetchSandboxPosts(m_store).size();
        int answered = 0;
        const QJsonObject body
            = wait(send(description, files, key, signedIn ? m_token : QString(), multipart), &answered);
        QCOMPARE(answered, status);
        QCOMPARE(body.value(QStringLiteral("errorCode")).toString(), errorCode);
        QVERIFY(!body.value(QStringLiteral("message")).toString().isEmpty());
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), before);
        for (const QString &folder : postFolders())
            QVERIFY2(!folder.startsWith(QLatin1Char('.')), qPrintable(folder)); // no staging left behind
    }

    void oneKeyMakesOnePost_data()
    {
        QTest::addColumn<bool>("concurrent");
        QTest::newRow("sent again after the answer") << false;
        QTest::newRow("sent twice at once") << true;
    }

    void oneKeyMakesOnePost()
    {
        QFETCH(bool, concurrent);
        const QByteArray data = TULORandomData(4 << 20, 17);
        const QByteArray description = QJsonDocument(photoDescription(data.size())).toJson();
        const QList<FilePart> files {{QStringLiteral("file0"), QStringLiteral("image/png"), data}};
        const QString key = QUuid::createUuid().toString(QUuid::WithoutBraces);
        const qsizetype before = TULOFetchSandboxPosts(m_store).size();
        int firstStatus = 0, secondStatus = 0;
        QJsonObject first, second;
        if (concurrent) {
            QNetworkReply *a = send(description, files, key, m_token);
            QNetworkReply *b = send(description, files, key, m_token);
            first = wait(a, &firstStatus);
            second = wait(b, &secondStatus);
        } else {
            first = wait(send(description, files, key, m_token), &firstStatus);
            second = wait(send(description, files, key, m_token), &secondStatus);
        }
        QCOMPARE(QSet<int>({firstStatus, secondStatus}), QSet<int>({201, 200}));
        QCOMPARE(first.value(QStringLiteral("postId")).toString(),
            second.value(QStringLiteral("postId")).toString());
        QCOMPARE(
            first.value(QStringLiteral("url")).toString(), second.value(QStringLiteral("url")).toString());
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), before + 1);
        QCOMPARE(postFolders().size(), before + 1);
    }

    void incompleteBodyLeavesNothing()
    {
        const qsizetype before = TULOFetchSandboxPosts(m_store).size();
        QSslSocket socket;
        socket.setSslConfiguration(TULOSandboxSslConfiguration());
        if (m_store.isSecure()) {
            socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), m_store.port());
            QVERIFY(socket.waitForEncrypted(TULOEndpointWait));
        } else {
            socket.connectToHost(QStringLiteral("127.0.0.1"), m_store.port());
            QVERIFY(socket.waitForConnected(TULOEndpointWait));
        }
        const QByteArray description = QJsonDocument(photoDescription(1000)).toJson(QJsonDocument::Compact);
        const QByteArray start = "--B\r\nContent-Disposition: form-data; name=\"description\"\r\n\r\n"
            + description
            + "\r\n--B\r\nContent-Disposition: form-data; name=\"file0\"; filename=\"p.png\"\r\n"
              "Content-Type: image/png\r\n\r\n"
            + QByteArray(400, 'x');
        socket.write("POST /posts HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + m_token.toLatin1()
            + "\r\nIdempotency-Key: cut-short-1\r\nContent-Type: multipart/form-data; boundary=B\r\n"
              "Content-Length: 100000\r\n\r\n"
            + start);
        QVERIFY(socket.waitForBytesWritten(TULOEndpointWait));
        const int served = m_store.requestCount(QStringLiteral("/posts"));
        QTRY_VERIFY_WITH_TIMEOUT(QDir(m_store.dataDirectory() + QStringLiteral("/posts"))
                                     .entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot)
                                     .join(QLatin1Char(' '))
                                     .contains(QStringLiteral(".staging")),
            TULOEndpointWait);
        socket.abort();
        QTRY_VERIFY_WITH_TIMEOUT(
            !postFolders().join(QLatin1Char(' ')).contains(QStringLiteral(".staging")), TULOEndpointWait);
        QVERIFY(m_store.requestCount(QStringLiteral("/posts")) >= served);
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), before);
        // The key was never used, so a complete resend is a new post.
        const QByteArray png = TULOPngData(8, Qt::red);
        int status = 0;
        wait(send(QJsonDocument(photoDescription(png.size())).toJson(),
                 {{QStringLiteral("file0"), QStringLiteral("image/png"), png}}, QStringLiteral("cut-short-1"),
                 m_token),
            &status);
        QCOMPARE(status, 201);
    }
};

QTEST_GUILESS_MAIN(TestPostEndpoint)

#include "tst_postendpoint.moc"
