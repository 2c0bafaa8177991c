#include <Quillon/platform/mediacontainerprobe_p.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// Writes `bytes` to `path`, or, with `ffmpeg` arguments, has the ffmpeg command line make it.
bool makeFile(const QString &path, const QStringList &ffmpeg, const QByteArray &bytes)
{
    if (ffmpeg.isEmpty()) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }
    QProcess process;
    process.start(QStringLiteral("ffmpeg"), QStringList {QStringLiteral("-loglevel"), QStringLiteral("error")} + ffmpeg + QStringList {path});
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        qWarning("ffmpeg: %s", process.readAllStandardError().constData());
        return false;
    }
    return true;
}

class TestTypeIdentifiers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typeForFilenameExtension_data()
    {
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("expected");
        QTest::newRow("jpg") << QStringLiteral("jpg") << QStringLiteral("image/jpeg");
        QTest::newRow("upper case JPG") << QStringLiteral("JPG") << QStringLiteral("image/jpeg");
        QTest::newRow("with a dot") << QStringLiteral(".png") << QStringLiteral("image/png");
        QTest::newRow("caf, missing from the system database") << QStringLiteral("caf") << QStringLiteral("audio/x-caf");
        QTest::newRow("m4a") << QStringLiteral("m4a") << QStringLiteral("audio/mp4");
        QTest::newRow("mov") << QStringLiteral("mov") << QStringLiteral("video/quicktime");
        QTest::newRow("unknown") << QStringLiteral("qzqzqz") << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("path separator") << QStringLiteral("x/jpg") << QString();
    }
    void typeForFilenameExtension()
    {
        QFETCH(QString, extension);
        QFETCH(QString, expected);
        const QString type = TULOTypeIdentifiers::typeForFilenameExtension(extension);
        QCOMPARE(type, expected);
        QCOMPARE(type.isNull(), expected.isNull());
    }

    void preferredExtensionRoundTrips_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("extension");
        QTest::newRow("jpeg") << QStringLiteral("image/jpeg") << QStringLiteral("jpg");
        QTest::newRow("png") << QStringLiteral("image/png") << QStringLiteral("png");
        QTest::newRow("caf") << QStringLiteral("audio/x-caf") << QStringLiteral("caf");
        QTest::newRow("alias of mp3") << QStringLiteral("audio/mp3") << QStringLiteral("mp3");
        QTest::newRow("unknown type") << QStringLiteral("application/x-quillon-nothing") << QString();
        QTest::newRow("null type") << QString() << QString();
    }
    void preferredExtensionRoundTrips()
    {
        QFETCH(QString, type);
        QFETCH(QString, extension);
        QCOMPARE(TULOTypeIdentifiers::preferredFilenameExtension(type), extension);
        if (!extension.isNull())
            QVERIFY(TULOTypeIdentifiers::typeConformsTo(TULOTypeIdentifiers::typeForFilenameExtension(extension), type));
    }

    void conformance_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("parent");
        QTest::addColumn<bool>("conforms");
        QTest::newRow("itself") << QStringLiteral("image/png") << QStringLiteral("image/png") << true;
        QTest::newRow("alias of the parent") << QStringLiteral("image/jpeg") << QStringLiteral("image/pjpeg") << true;
        QTest::newRow("inherited") << QStringLiteral("image/svg+xml") << QStringLiteral("application/xml") << true;
        QTest::newRow("inherited twice") << QStringLiteral("image/svg+xml") << QStringLiteral("text/plain") << true;
        QTest::newRow("jpeg is not png") << QStringLiteral("image/jpeg") << QStringLiteral("image/png") << false;
        QTest::newRow("kind wildcard") << QStringLiteral("image/heif") << QStringLiteral("image/*") << true;
        QTest::newRow("other kind") << QStringLiteral("video/mp4") << QStringLiteral("audio/*") << false;
        QTest::newRow("caf is audio") << QStringLiteral("audio/x-caf") << QStringLiteral("audio/*") << true;
        QTest::newRow("unknown type") << QStringLiteral("foo/bar") << QStringLiteral("foo/*") << false;
        QTest::newRow("null type") << QString() << QStringLiteral("image/png") << false;
        QTest::newRow("unknown parent") << QStringLiteral("image/png") << QStringLiteral("foo/bar") << false;
    }
    void conformance()
    {
        QFETCH(QString, type);
        QFETCH(QString, parent);
        QFETCH(bool, conforms);
        QCOMPARE(TULOTypeIdentifiers::typeConformsTo(type, parent), conforms);
    }

    void attachmentType_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("attachmentType");
        QTest::newRow("jpeg") << QStringLiteral("image/jpeg") << 2;
        QTest::newRow("heif") << QStringLiteral("image/heif") << 2;
        QTest::newRow("quicktime") << QStringLiteral("video/quicktime") << 4;
        QTest::newRow("mp4 video") << QStringLiteral("video/mp4") << 4;
        QTest::newRow("caf sound bite") << QStringLiteral("audio/x-caf") << 3;
        QTest::newRow("caf in capitals") << QStringLiteral("AUDIO/X-CAF") << 3;
        QTest::newRow("m4a song") << QStringLiteral("audio/mp4") << 1;
        QTest::newRow("mp3 by alias") << QStringLiteral("audio/mp3") << 1;
        QTest::newRow("wave") << QStringLiteral("audio/x-wav") << 1;
        QTest::newRow("webm song, a video type's child") << QStringLiteral("audio/webm") << 1;
        QTest::newRow("webm video") << QStringLiteral("video/webm") << 4;
        QTest::newRow("pdf") << QStringLiteral("application/pdf") << 0;
        QTest::newRow("unknown") << QStringLiteral("x/y") << 0;
        QTest::newRow("null") << QString() << 0;
    }
    void attachmentType()
    {
        QFETCH(QString, type);
        QFETCH(int, attachmentType);
        QCOMPARE(TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(type), attachmentType);
    }

    // Files made by the ffmpeg command line; the type comes from their bytes and streams, so
    // each carries a name that would mislead.
    void typeForFile_data()
    {
        QTest::addColumn<QStringList>("ffmpeg"); // input and codec arguments; empty: `bytes` is the file
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("attachmentType");
        const QStringList picture {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("testsrc=size=64x48:rate=5"), QStringLiteral("-frames:v"), QStringLiteral("3")};
        const QStringList tone {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("sine=duration=0.5")};
        const auto with = [](QStringList a, const QStringList &b) { return a + b; };
        QTest::newRow("matroska with video")
            << with(picture, {QStringLiteral("-c:v"), QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
                   QStringLiteral("-f"), QStringLiteral("matroska")})
            << QByteArray() << QStringLiteral("clip.bin") << QStringLiteral("video/x-matroska") << 4;
        QTest::newRow("matroska with audio only")
            << with(tone, {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"), QStringLiteral("-f"), QStringLiteral("matroska")})
            << QByteArray() << QStringLiteral("take.mkv") << QStringLiteral("audio/x-matroska") << 1;
        QTest::newRow("webm with audio only")
            << with(tone, {QStringLiteral("-c:a"), QStringLiteral("libvorbis"), QStringLiteral("-f"), QStringLiteral("webm")})
            << QByteArray() << QStringLiteral("song.mkv") << QStringLiteral("audio/webm") << 1;
        QTest::newRow("mp4 with audio only")
            << with(tone, {QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-f"), QStringLiteral("mp4")})
            << QByteArray() << QStringLiteral("song.mp4") << QStringLiteral("audio/mp4") << 1;
        QTest::newRow("mp4 with video")
            << with(picture, {QStringLiteral("-c:v"), QStringLiteral("mpeg4"), QStringLiteral("-f"), QStringLiteral("mp4")})
            << QByteArray() << QStringLiteral("clip.m4a") << QStringLiteral("video/mp4") << 4;
        QTest::newRow("png named as video") << QStringList() << QByteArray::fromBase64(
            "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==")
                                            << QStringLiteral("image.mkv") << QStringLiteral("image/png") << 2;
        // A Matroska header and nothing after it: no stream to tell, so not a video or a song.
        QTest::newRow("matroska without streams") << QStringList()
                                                  << QByteArray::fromHex("1a45dfa3a34286810142f7810142f2810442f381084282886d6174726f736b61")
                                                  << QStringLiteral("broken.mkv") << QStringLiteral("application/x-matroska") << 0;
        QTest::newRow("text") << QStringList() << QByteArray("just words\n") << QStringLiteral("words.mkv")
                              << QStringLiteral("text/plain") << 0;
    }
    void typeForFile()
    {
        QFETCH(QStringList, ffmpeg);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, name);
        QFETCH(QString, type);
        QFETCH(int, attachmentType);
        QTemporaryDir folder;
        const QString path = folder.filePath(name);
        QVERIFY(makeFile(path, ffmpeg, bytes));
        const QString found = TULOTypeIdentifiers::typeForFile(path);
        QCOMPARE(found, type);
        QCOMPARE(TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(found), attachmentType);
    }

    // The container's own track list tells a video from a song without FFmpeg; a file it
    // cannot read must answer Unknown (FFmpeg then decides), never a wrong kind.
    void probeReadsTrackLists_data()
    {
        QTest::addColumn<QStringList>("ffmpeg"); // arguments before the output; empty: `bytes` is the file
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("keepBytes"); // cut the made file to this many bytes; -1 keeps it whole
        QTest::addColumn<int>("streams");
        const auto lavfi = [](const char *source) {
            return QStringList {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), QLatin1String(source)};
        };
        const QStringList picture = lavfi("testsrc=size=64x48:rate=5:duration=0.6");
        const QStringList tone = lavfi("sine=duration=0.5");
        const QStringList both = picture + tone;
        const auto args = [](const QString &line) { return line.split(QLatin1Char(' ')); };
        const int video = int(TULOMediaStreams::Video);
        const int audio = int(TULOMediaStreams::AudioOnly);
        const int unknown = int(TULOMediaStreams::Unknown);
        QTest::newRow("mp4, movie header last") << picture + args(QStringLiteral("-c:v mpeg4")) << QByteArray() << "a.mp4" << qint64(-1) << video;
        QTest::newRow("mp4, movie header first")
            << picture + args(QStringLiteral("-c:v mpeg4 -movflags +faststart")) << QByteArray() << "a.mp4" << qint64(-1) << video;
        QTest::newRow("mp4, fragmented")
            << both + args(QStringLiteral("-c:v mpeg4 -c:a aac -movflags +frag_keyframe+empty_moov")) << QByteArray() << "a.mp4" << qint64(-1) << video;
        QTest::newRow("m4a") << tone + args(QStringLiteral("-c:a aac")) << QByteArray() << "a.m4a" << qint64(-1) << audio;
        QTest::newRow("m4a with cover art")
            << tone + lavfi("testsrc=size=32x32:duration=0.2") + args(QStringLiteral("-frames:v 1 -map 0 -map 1 -c:a aac -c:v png -disposition:v attached_pic"))
            << QByteArray() << "a.m4a" << qint64(-1) << audio;
        QTest::newRow("quicktime") << both + args(QStringLiteral("-c:v mpeg4 -c:a pcm_s16le")) << QByteArray() << "a.mov" << qint64(-1) << video;
        QTest::newRow("matroska with video and sound")
            << both + args(QStringLiteral("-c:v mpeg4 -c:a flac")) << QByteArray() << "a.mkv" << qint64(-1) << video;
        QTest::newRow("matroska, sound with an attached cover")
            << tone + args(QStringLiteral("-c:a flac -attach COVER -metadata:s:t mimetype=image/png")) << QByteArray() << "a.mka" << qint64(-1) << audio;
        QTest::newRow("matroska, streamed") << picture + args(QStringLiteral("-c:v mpeg4 -live 1")) << QByteArray() << "a.mkv" << qint64(-1) << video;
        QTest::newRow("webm vp8") << picture + args(QStringLiteral("-c:v libvpx")) << QByteArray() << "a.webm" << qint64(-1) << video;
        QTest::newRow("webm opus") << tone + args(QStringLiteral("-c:a libopus")) << QByteArray() << "a.webm" << qint64(-1) << audio;
        QTest::newRow("ogg theora and vorbis")
            << both + args(QStringLiteral("-c:v libtheora -c:a libvorbis")) << QByteArray() << "a.ogv" << qint64(-1) << video;
        QTest::newRow("ogg vorbis") << tone + args(QStringLiteral("-c:a libvorbis")) << QByteArray() << "a.ogg" << qint64(-1) << audio;
        QTest::newRow("ogg opus") << tone + args(QStringLiteral("-c:a libopus")) << QByteArray() << "a.opus" << qint64(-1) << audio;
        QTest::newRow("ogg flac") << tone + args(QStringLiteral("-c:a flac")) << QByteArray() << "a.oga" << qint64(-1) << audio;
        // Damaged or unreadable: never a guess.
        QTest::newRow("mp4 cut inside its movie header")
            << picture + args(QStringLiteral("-c:v mpeg4 -movflags +faststart")) << QByteArray() << "a.mp4" << qint64(200) << unknown;
        QTest::newRow("ogg cut inside its first page") << tone + args(QStringLiteral("-c:a libvorbis")) << QByteArray() << "a.ogg" << qint64(30) << unknown;
        QTest::newRow("matroska header only")
            << QStringList() << QByteArray::fromHex("1a45dfa3a34286810142f7810142f2810442f381084282886d6174726f736b61")
            << "a.mkv" << qint64(-1) << unknown;
        QTest::newRow("matroska segment of unknown size, then a cluster of unknown size")
            << QStringList() << QByteArray::fromHex("1a45dfa38442828100" "1853806701ffffffffffffff" "1f43b67501ffffffffffffff")
            << "a.mkv" << qint64(-1) << unknown;
        QTest::newRow("box larger than the file") << QStringList() << QByteArray::fromHex("7fffffff66747970697336") << "a.mp4" << qint64(-1) << unknown;
        QTest::newRow("box of 64-bit size smaller than its header")
            << QStringList() << QByteArray::fromHex("000000016d6f6f760000000000000004") << "a.mp4" << qint64(-1) << unknown;
        QTest::newRow("ogg stream of an unknown codec")
            << QStringList() << QByteArray("OggS\0\x02", 6) + QByteArray(20, '\0') + QByteArray("\x01\x08", 2) + QByteArray("mystery!")
            << "a.ogg" << qint64(-1) << unknown;
        QTest::newRow("empty") << QStringList() << QByteArray() << "a.mp4" << qint64(-1) << unknown;
    }
    void probeReadsTrackLists()
    {
        QFETCH(QStringList, ffmpeg);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, name);
        QFETCH(qint64, keepBytes);
        QFETCH(int, streams);
        QTemporaryDir folder;
        const QString path = folder.filePath(name);
        const QString cover = folder.filePath(QStringLiteral("cover.png"));
        QVERIFY(makeFile(cover, {}, QByteArray::fromBase64(
            "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==")));
        ffmpeg.replaceInStrings(QStringLiteral("COVER"), cover);
        QVERIFY(makeFile(path, ffmpeg, bytes));
        if (keepBytes >= 0)
            QVERIFY(QFile::resize(path, keepBytes));
        QCOMPARE(int(TULOProbeMediaStreams(path)), streams);
    }

    void typeForMissingFileIsNull()
    {
        QVERIFY(TULOTypeIdentifiers::typeForFile(QStringLiteral("/nonexistent/clip.mkv")).isNull());
    }
};

QTEST_GUILESS_MAIN(TestTypeIdentifiers)
#include "tst_typeidentifiers.moc"
