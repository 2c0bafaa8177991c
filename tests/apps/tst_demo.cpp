#include "sandboxstore.h"
#include "../support/testsupport.h"

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {

const char *const DemoAccount = "casey@demo.quillon.test";
const char *const DemoPassword = "quillon-demo";

QString text(const char *key)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(QString::fromLatin1(key),
        QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext::defaultContext());
}

int colourCount(const QImage &image, const QRect &area)
{
    QSet<QRgb> colours;
    const QRect inside = area.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x)
            colours.insert(image.pixel(x, y));
    return int(colours.size());
}

QByteArray fetch(const QUrl &url, int *status)
{
    QNetworkAccessManager network;
    std::unique_ptr<QNetworkReply> reply(network.get(QNetworkRequest(url)));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    *status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return reply->readAll();
}

} // namespace

// The scripted demo against a sandbox store of its own, as `./quillon demo` runs it without a
// display: every screen it saved is a picture of that screen with its title drawn, and the post
// reached the store as composed.
class TestDemo : public QObject
{
    Q_OBJECT

    TULOSandboxStore m_sandbox;
    QTemporaryDir m_dir;
    QString m_demo;
    QMap<QString, QJsonObject> m_screens; // by file name
    QStringList m_order;
    double m_coverTime = -1;
    QUrl m_postURL;
    QUrl m_feedURL;
    QUrl m_soundBiteURL;
    QUrl m_sharedURL;

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("QUILLON_STORE_PASSWORD"), QString::fromLatin1(DemoPassword));
        environment.insert(QStringLiteral("QUILLON_OUTBOX_DIR"), m_dir.filePath(QStringLiteral("outbox")));
        environment.insert(QStringLiteral("QUILLON_DRAFTS_DIR"), m_dir.filePath(QStringLiteral("drafts")));
        environment.insert(QStringLiteral("QUILLON_AUDIO_OUTPUT"), QStringLiteral("none"));
        return environment;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QString error;
        QVERIFY2(m_sandbox.start(m_dir.filePath(QStringLiteral("sandbox")), 0, &error), qPrintable(error));
        m_demo = QCoreApplication::applicationDirPath() + QStringLiteral("/quillon-demo");
        QVERIFY2(QFileInfo(m_demo).isExecutable(), qPrintable(m_demo));

        const QString screens = m_dir.filePath(QStringLiteral("screens"));
        QProcess demo;
        demo.setProcessEnvironment(environment());
        demo.start(m_demo, {QStringLiteral("--bag"), m_sandbox.bagUrl().toString(), QStringLiteral("--account"),
                            QString::fromLatin1(DemoAccount), QStringLiteral("--script"), screens, QStringLiteral("--samples"),
                            TULOSourcePath(QStringLiteral("resources/samples"))});
        QVERIFY(demo.waitForStarted());
        QVERIFY2(demo.waitForFinished(240000), "the scripted demo did not end");
        const QString out = QString::fromLocal8Bit(demo.readAllStandardOutput());
        const QString err = QString::fromLocal8Bit(demo.readAllStandardError());
        QVERIFY2(demo.exitStatus() == QProcess::NormalExit && demo.exitCode() == 0, qPrintable(out + err));

        for (const QString &line : out.split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1String("posted: ")))
                m_postURL = QUrl(line.mid(8));
            else if (line.startsWith(QLatin1String("sound bite: ")))
                m_soundBiteURL = QUrl(line.mid(12));
            else if (line.startsWith(QLatin1String("shared: ")))
                m_sharedURL = QUrl(line.mid(8));
            else if (line.startsWith(QLatin1String("feed: ")))
                m_feedURL = QUrl(line.mid(6));
            else if (line.startsWith(QLatin1String("cover: ")))
                m_coverTime = line.mid(7).toDouble();
        }
        QFile index(QDir(screens).filePath(QStringLiteral("screens.json")));
        QVERIFY2(index.open(QIODevice::ReadOnly), qPrintable(out));
        for (const QJsonValue &value : QJsonDocument::fromJson(index.readAll()).array()) {
            const QString name = QFileInfo(value.toObject().value(QStringLiteral("path")).toString()).fileName();
            m_order << name;
            m_screens.insert(name, value.toObject());
        }
    }
    void cleanupTestCase() { m_sandbox.stop(); }

    void everyScreenInOrder()
    {
        const QStringList expected {"01-store.png", "02-container.png", "03-completion.png", "04-menu.png", "05-properties.png",
                                    "06-coverframe.png", "07-composed.png", "08-uploading.png", "09-posted.png",
                                    "10-soundbite.png", "11-soundbite-posted.png", "12-share.png", "13-share-posted.png"};
        QCOMPARE(m_order, expected);
    }

    // Each PNG: a window's size, more than a few colours, its title where the screen drew it,
    // and what sets the screen apart among the texts it showed.
    void screenShowsItsTitle_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("shown");
        const QString compose = text("COMPOSE_TITLE");
        const QString video = text("VIDEO_WORKFLOW_TITLE");
        QTest::newRow("store") << "01-store.png" << "Catalogue" << "Pending Uploads";
        QTest::newRow("container") << "02-container.png" << compose << text("COMPOSE_POST_BUTTON");
        QTest::newRow("completion list") << "03-completion.png" << compose << "Kaito Mori";
        QTest::newRow("attachment menu") << "04-menu.png" << text("UPLOAD_PHOTO_OR_VIDEO_BUTTON") << text("RECORD_AUDIO_BUTTON");
        QTest::newRow("properties") << "05-properties.png" << video << "Harbour lights";
        QTest::newRow("cover frame") << "06-coverframe.png" << video << "";
        QTest::newRow("composed") << "07-composed.png" << compose << "Harbour lights";
        QTest::newRow("uploading") << "08-uploading.png" << "Pending Uploads" << "Catalogue";
        QTest::newRow("posted") << "09-posted.png" << "Pending Uploads" << m_postURL.toString();
        QTest::newRow("sound bite recorder") << "10-soundbite.png" << compose << "";
        QTest::newRow("sound bite posted") << "11-soundbite-posted.png" << "Pending Uploads" << m_soundBiteURL.toString();
        QTest::newRow("album shared") << "12-share.png" << compose << text("COMPOSE_POST_BUTTON");
        QTest::newRow("album's post landed") << "13-share-posted.png" << "Pending Uploads" << m_sharedURL.toString();
    }
    void screenShowsItsTitle()
    {
        QFETCH(QString, file);
        QFETCH(QString, title);
        QFETCH(QString, shown);
        QVERIFY2(m_screens.contains(file), qPrintable(m_order.join(QLatin1Char(' '))));
        const QJsonObject screen = m_screens.value(file);
        const QImage image(screen.value(QStringLiteral("path")).toString());
        QVERIFY(!image.isNull());
        QVERIFY2(image.width() >= 600 && image.height() >= 400,
                 qPrintable(QStringLiteral("%1x%2").arg(image.width()).arg(image.height())));
        // A blank or one-colour picture has a handful of colours; a drawn window, hundreds.
        QVERIFY2(colourCount(image, image.rect()) >= 64, qPrintable(QString::number(colourCount(image, image.rect()))));

        QCOMPARE(screen.value(QStringLiteral("title")).toString(), title);
        const QJsonArray r = screen.value(QStringLiteral("titleRect")).toArray();
        const QRect titleRect(r.at(0).toInt(), r.at(1).toInt(), r.at(2).toInt(), r.at(3).toInt());
        QVERIFY2(image.rect().contains(titleRect), qPrintable(QStringLiteral("%1,%2 %3x%4").arg(r.at(0).toInt())
                 .arg(r.at(1).toInt()).arg(r.at(2).toInt()).arg(r.at(3).toInt())));
        // Text drawn there: more than the background's one colour.
        QVERIFY(colourCount(image, titleRect) >= 2);
        const QStringList texts = screen.value(QStringLiteral("texts")).toVariant().toStringList();
        QVERIFY2(shown.isEmpty() || std::any_of(texts.begin(), texts.end(), [&](const QString &t) { return t.contains(shown); }),
                 qPrintable(texts.join(QStringLiteral(" | "))));
    }

    // The posts in the store's list as composed: the text with its tag token, the photo and the
    // video with the cover time picked; then the sound bite in a post of its own.
    void postLandedAsComposed()
    {
        QVERIFY(m_postURL.toString().startsWith(m_sandbox.baseUrl().toString() + QStringLiteral("/feed")));
        QCOMPARE(m_feedURL, QUrl(m_sandbox.baseUrl().toString() + QStringLiteral("/feed")));
        int status = 0;
        const QByteArray list = fetch(QUrl(m_sandbox.baseUrl().toString() + QStringLiteral("/posts")), &status);
        QCOMPARE(status, 200);
        const QJsonArray posts = QJsonDocument::fromJson(list).object().value(QStringLiteral("posts")).toArray();
        QCOMPARE(posts.size(), 3);
        QJsonObject post;
        QJsonObject soundBitePost;
        QJsonObject sharedPost;
        for (const QJsonValue &value : posts) {
            const QString id = value.toObject().value(QStringLiteral("postId")).toString();
            if (m_postURL.fragment().endsWith(id))
                post = value.toObject();
            else if (m_soundBiteURL.fragment().endsWith(id))
                soundBitePost = value.toObject();
            else if (m_sharedURL.fragment().endsWith(id))
                sharedPost = value.toObject();
        }
        QVERIFY2(!post.isEmpty() && !soundBitePost.isEmpty() && !sharedPost.isEmpty(), list.constData());
        // The shared album, as the catalogue lists it first, is what the post is about.
        const QByteArray artist = fetch(QUrl(m_sandbox.baseUrl().toString()
                                             + QStringLiteral("/catalog/lookup?id=1001&profile=artist-content&version=2")),
                                        &status);
        QCOMPARE(status, 200);
        const QJsonObject albums = QJsonDocument::fromJson(artist).object().value(QStringLiteral("results")).toObject()
                                       .value(QStringLiteral("1001")).toObject().value(QStringLiteral("children")).toObject();
        QString firstLight;
        for (auto album = albums.begin(); album != albums.end(); ++album)
            if (album.value().toObject().value(QStringLiteral("name")).toString() == QLatin1String("First Light"))
                firstLight = album.key();
        QVERIFY2(!firstLight.isEmpty(), artist.constData());
        QCOMPARE(sharedPost.value(QStringLiteral("item")).toObject().value(QStringLiteral("id")).toString(), firstLight);
        QCOMPARE(sharedPost.value(QStringLiteral("text")).toString(), QStringLiteral("On repeat all week"));
        const QJsonArray soundBites = soundBitePost.value(QStringLiteral("attachments")).toArray();
        QCOMPARE(soundBites.size(), 1);
        QVERIFY(soundBites.first().toObject().value(QStringLiteral("uti")).toString().startsWith(QLatin1String("audio/")));
        QCOMPARE(soundBitePost.value(QStringLiteral("text")).toString(), QStringLiteral("A first listen from the studio"));

        const QString postText = post.value(QStringLiteral("text")).toString();
        QVERIFY2(postText.startsWith(QStringLiteral("Sunset over the harbour with @{artist:")), qPrintable(postText));
        QVERIFY2(postText.contains(QStringLiteral("Kaito Mori")), qPrintable(postText));
        QVERIFY2(postText.endsWith(QStringLiteral(", and the new album is out now")), qPrintable(postText));
        QVERIFY2(!postText.contains(QStringLiteral("@Kai")), qPrintable(postText)); // the typed range became the token

        QStringList types;
        QJsonObject video;
        for (const QJsonValue &value : post.value(QStringLiteral("attachments")).toArray()) {
            const QJsonObject attachment = value.toObject();
            types << attachment.value(QStringLiteral("uti")).toString();
            if (attachment.value(QStringLiteral("uti")).toString().startsWith(QLatin1String("video/")))
                video = attachment;
            fetch(QUrl(attachment.value(QStringLiteral("url")).toString()), &status);
            QCOMPARE(status, 200);
        }
        // In any order: the photo and the video.
        QCOMPARE(types.size(), 2);
        std::sort(types.begin(), types.end());
        QVERIFY2(types.at(0).startsWith(QLatin1String("image/")), qPrintable(types.join(QLatin1Char(' '))));
        QVERIFY2(types.at(1).startsWith(QLatin1String("video/")), qPrintable(types.join(QLatin1Char(' '))));
        QCOMPARE(video.value(QStringLiteral("title")).toString(), QStringLiteral("Harbour lights"));
        // Four Page Up presses: four tenths into the 4 s video.
        QVERIFY2(m_coverTime > 1.0 && m_coverTime < 2.2, qPrintable(QString::number(m_coverTime)));
        const double frameTime = video.value(QStringLiteral("previewFrameTime")).toDouble(-1) / 1000.0; // milliseconds
        QVERIFY2(qAbs(frameTime - m_coverTime) < 0.01, qPrintable(QStringLiteral("%1 posted, %2 picked").arg(frameTime).arg(m_coverTime)));

        const QByteArray feed = fetch(m_feedURL, &status);
        QCOMPARE(status, 200);
        QVERIFY(feed.contains("Sunset over the harbour"));
        // The feed shows the video from the picked frame on.
        QVERIFY2(feed.contains(QStringLiteral("#t=%1").arg(frameTime).toUtf8()), qPrintable(QString::number(frameTime)));
    }

    // Wrong or missing options end at once with a clear message, before anything is posted.
    void refusesBadOptions_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no store") << QStringList {"--account", "x"} << "--bag";
        QTest::newRow("script without samples") << QStringList {"--bag", "http://127.0.0.1:1/bag", "--account", "x", "--script", "s"}
                                                << "--samples";
        QTest::newRow("samples without the video")
            << QStringList {"--bag", "http://127.0.0.1:1/bag", "--account", "x", "--script", "s", "--samples", "photos-only"}
            << "has no harbour.mp4";
        QTest::newRow("a sound that is no audio")
            << QStringList {"--bag", "http://127.0.0.1:1/bag", "--account", "x", "--script", "s", "--samples", "bad-sound"}
            << "soundbite.flac";
    }
    void refusesBadOptions()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const QDir samples(TULOSourcePath(QStringLiteral("resources/samples")));
        const QString photosOnly = m_dir.filePath(QStringLiteral("photos-only"));
        const QString badSound = m_dir.filePath(QStringLiteral("bad-sound"));
        for (const QString &folder : {photosOnly, badSound}) {
            QVERIFY(QDir().mkpath(folder));
            QFile::copy(samples.filePath(QStringLiteral("sunset.jpg")), folder + QStringLiteral("/sunset.jpg"));
        }
        QFile::copy(samples.filePath(QStringLiteral("harbour.mp4")), badSound + QStringLiteral("/harbour.mp4"));
        QFile sound(badSound + QStringLiteral("/soundbite.flac"));
        QVERIFY(sound.open(QIODevice::WriteOnly));
        sound.write("not a sound");
        sound.close();
        arguments.replaceInStrings(QStringLiteral("photos-only"), photosOnly);
        arguments.replaceInStrings(QStringLiteral("bad-sound"), badSound);
        arguments.replaceInStrings(QRegularExpression(QStringLiteral("^s$")), m_dir.filePath(QStringLiteral("refused")));
        QProcess demo;
        demo.setProcessEnvironment(environment());
        demo.start(m_demo, arguments);
        QVERIFY(demo.waitForFinished(30000));
        QCOMPARE(demo.exitCode(), 2);
        const QString err = QString::fromLocal8Bit(demo.readAllStandardError());
        QVERIFY2(err.contains(message), qPrintable(err));
        QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("refused"))));
    }
};

QTEST_GUILESS_MAIN(TestDemo)
#include "tst_demo.moc"
