// The sandbox feed page as a reader's browser shows it: a post uploaded through the framework,
// rendered by headless Chromium.
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
#include "support/testsupport.h"
#include "uploadtestsupport.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int TULOBrowserWait = 120000; // a hang guard, never a measurement

QStringList browserArguments(const QString &profile)
{
    return {QStringLiteral("--headless"), QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
        QStringLiteral("--disable-quic"), QStringLiteral("--no-first-run"),
        QStringLiteral("--disable-background-networking"), QStringLiteral("--disable-component-update"),
        QStringLiteral("--disable-sync"), QStringLiteral("--hide-scrollbars"),
        QStringLiteral("--user-data-dir=") + profile};
}

} // namespace

class TestFeedPage : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QTemporaryDir m_files;
    QTemporaryDir m_profile;
    QString m_browser;
    QString m_postId;

    QByteArray runBrowser(const QStringList &extra, const QUrl &url)
    {
        QProcess browser;
        browser.start(m_browser, browserArguments(m_profile.path()) + extra + QStringList {url.toString()});
        if (!browser.waitForFinished(TULOBrowserWait)) {
            browser.kill();
            browser.waitForFinished();
            return QByteArray();
        }
        return browser.readAllStandardOutput();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_browser = QStandardPaths::findExecutable(QStringLiteral("chromium"));
        if (m_browser.isEmpty())
            QSKIP("chromium is not installed (./quillon setup installs it)");
        QString error;
        QVERIFY2(m_store.start(QString(), 0, &error), qPrintable(error));
        QVERIFY(!TULOSignInToSandbox(m_store).isEmpty());

        const auto write = [&](const QString &name, const QByteArray &data) {
            const QString path = m_files.filePath(name);
            return TULOWriteFile(path, data) ? path : QString();
        };
        TULOPostDescription description;
        description.setAuthorIdentifier(QStringLiteral("1002"));
        description.setAuthorType(QStringLiteral("brand"));
        description.setAttributed(true);
        description.setText(
            QStringLiteral("Tonight with @{artist:1001:\"Dana Demo\"} & <friends>\nsecond line"));
        TULOPostAttachment photo
            = TULOFileAttachment(write(QStringLiteral("stage.png"), TULOPngData(300, Qt::red)),
                QStringLiteral("image/png"), QStringLiteral("On stage"), true);
        TULOPostAttachment song = TULOFileAttachment(
            write(QStringLiteral("song.wav"),
                TULOSandboxDownloads::songFile(3004, QStringLiteral("Kettle Song"),
                    QStringLiteral("Dana Demo"), QStringLiteral("Kitchen Tapes"), 1001, 2002, 1)),
            QStringLiteral("audio/x-wav"), QStringLiteral("Kettle Song"), true);
        song.setArtists({TULOPostArtist(QStringLiteral("1001"), QStringLiteral("Dana Demo"))});
        song.setExplicitContent(true);
        song.setChildAttachment(
            TULOFileAttachment(write(QStringLiteral("cover.png"), TULOPngData(120, Qt::blue)),
                QStringLiteral("image/png"), QStringLiteral("Cover image"), true),
            QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        TULOPostAttachment video
            = TULOFileAttachment(write(QStringLiteral("clip.mp4"), TULORandomData(1 << 16, 1)),
                QStringLiteral("video/mp4"), QStringLiteral("Backstage"), true);
        video.setPreviewFrameTimestamp(2500);
        video.setChildAttachment(
            TULOFileAttachment(write(QStringLiteral("frame.png"), TULOPngData(200, Qt::green)),
                QStringLiteral("image/png"), QStringLiteral("Frame"), true),
            QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        description.setAttachments(QList<TULOPostAttachment> {photo, song, video});
        TULOExternalDestination facebook(QStringLiteral("facebook"));
        facebook.setPageIdentifier(QString(""));
        description.setExternalServiceDestinations(
            QList<TULOExternalDestination> {facebook, TULOExternalDestination(QStringLiteral("twitter"))});

        TULOPostOutbox outbox(m_files.filePath(QStringLiteral("outbox")));
        auto *request = new TULOPostRequest(description);
        request->setOutbox(&outbox);
        TULOError failure;
        QUrl url;
        bool done = false;
        request->startWithCompletionBlock([&](const QUrl &u, const TULOError &e) {
            url = u;
            failure = e;
            done = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(done, 60000);
        QVERIFY2(failure.isNull(), qPrintable(failure.localizedDescription()));
        m_postId = url.fragment().mid(int(qstrlen("post-")));
        QVERIFY(!m_postId.isEmpty());
    }

    void domShowsThePostAsAReaderSeesIt()
    {
        const QString dom = QString::fromUtf8(runBrowser(
            {QStringLiteral("--dump-dom")}, QUrl(m_store.baseUrl().toString() + QStringLiteral("/feed"))));
        QVERIFY2(dom.contains(QStringLiteral("id=\"post-%1\"").arg(m_postId)), qPrintable(dom.left(2000)));
        // Tag tokens read as names and link to the tagged item; nothing of the token syntax shows.
        const QRegularExpression tag(
            QStringLiteral("<a class=\"tag tag-artist\" href=\"[^\"]*id=1001[^\"]*\">Dana Demo</a>"));
        QVERIFY(tag.match(dom).hasMatch());
        QVERIFY(!dom.contains(QStringLiteral("@{")));
        // The text is shown, not interpreted.
        QVERIFY(dom.contains(QStringLiteral("&amp; &lt;friends&gt;<br>second line")));
        QVERIFY(dom.contains(QStringLiteral("<div class=\"byline\">Northern Lights Orchestra</div>")));
        QVERIFY(dom.contains(QStringLiteral("posted by Casey Demo")));
        QVERIFY(dom.contains(QStringLiteral("Also shared to Facebook (page), Twitter")));
        QVERIFY(QRegularExpression(
            QStringLiteral("<img class=\"photo\" src=\"[^\"]+/files/file0\\.png\" alt=\"On stage\">"))
                    .match(dom)
                    .hasMatch());
        QVERIFY(QRegularExpression(QStringLiteral("<img class=\"cover\" src=\"[^\"]+/files/file2\\.png\""))
                    .match(dom)
                    .hasMatch());
        QVERIFY(QRegularExpression(
            QStringLiteral("<audio controls=\"\" preload=\"metadata\" src=\"[^\"]+/files/file1\\.wav\">"))
                    .match(dom)
                    .hasMatch());
        QVERIFY(QRegularExpression(
            QStringLiteral("<video controls=\"\" preload=\"metadata\" "
                           "src=\"[^\"]+/files/file3\\.mp4#t=2\\.5\" poster=\"[^\"]+/files/file4\\.png\">"))
                    .match(dom)
                    .hasMatch());
        QVERIFY(dom.contains(QStringLiteral("<span class=\"explicit\">E</span>")));
    }

    void screenshotShowsTheImages()
    {
        const QString path = TULOTestOutputPath(QStringLiteral("upload")) + QStringLiteral("/feed.png");
        QFile::remove(path);
        runBrowser({QStringLiteral("--screenshot=") + path, QStringLiteral("--window-size=800,1400")},
            QUrl(m_store.baseUrl().toString() + QStringLiteral("/feed")));
        const QImage shot(path);
        QVERIFY2(!shot.isNull(), qPrintable(path));
        // The uploaded photo (red), the song's cover (blue) and the video's cover frame (green)
        // were fetched from the store and drawn.
        int red = 0, blue = 0, green = 0;
        for (int y = 0; y < shot.height(); y += 2) {
            for (int x = 0; x < shot.width(); x += 2) {
                const QColor c = shot.pixelColor(x, y);
                red += c.red() > 230 && c.green() < 30 && c.blue() < 30;
                blue += c.blue() > 230 && c.red() < 30 && c.green() < 30;
                green += c.green() > 230 && c.red() < 30 && c.blue() < 30;
            }
        }
        QVERIFY2(red > 1000, qPrintable(QString::number(red)));
        QVERIFY2(blue > 500, qPrintable(QString::number(blue)));
        QVERIFY2(green > 500, qPrintable(QString::number(green)));
    }
};

QTEST_GUILESS_MAIN(TestFeedPage)

#include "tst_feedpage.moc"
