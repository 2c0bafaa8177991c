#include "imagecorpus.h"
#include <Quillon/platform/image/metadatastripper.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// exiftool's group names (with -G1) of what must go whole: the Exif sub-IFD, its
// interoperability IFD, GPS, the IFD1 preview, maker notes, and the Exif properties of XMP.
// Place names are caught by their values wherever they are.
const QStringList removedGroups {QStringLiteral("ExifIFD"), QStringLiteral("InteropIFD"),
    QStringLiteral("GPS"), QStringLiteral("IFD1"), QStringLiteral("MakerNotes"),
    QStringLiteral("MakerUnknown"), QStringLiteral("XMP-exif"), QStringLiteral("XMP-exifEX")};

struct TULOToolResult
{
    bool ran = false;
    QByteArray out;
    QByteArray err;
};

TULOToolResult runTool(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    TULOToolResult result;
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(30000))
        return result;
    process.write(input);
    process.closeWriteChannel();
    result.ran = process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

// Every tag exiftool finds, duplicates included, as "Group:Tag" -> value (numbers unformatted).
QJsonObject exiftoolTags(const QString &path)
{
    const TULOToolResult run = runTool(QStringLiteral("exiftool"),
        {QStringLiteral("-j"), QStringLiteral("-a"), QStringLiteral("-G1"), QStringLiteral("-n"),
            QStringLiteral("-s"), path});
    return QJsonDocument::fromJson(run.out).array().at(0).toObject();
}

QByteArray thumbnailOf(const QString &path)
{
    return runTool(QStringLiteral("exiftool"), {QStringLiteral("-b"), QStringLiteral("-ThumbnailImage"), path}).out;
}

// The decoded pixels as ffmpeg sees them, independent of how the file stores its metadata.
QByteArray pixelsOf(const QString &path)
{
    const TULOToolResult run = runTool(QStringLiteral("ffmpeg"),
        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path, QStringLiteral("-frames:v"),
            QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"),
            QStringLiteral("rgba"), QStringLiteral("-")});
    return run.ran ? run.out : QByteArray();
}

// What in `tags` tells a place or the camera's private data: removed groups and place names.
QStringList leaks(const QJsonObject &tags)
{
    QStringList found;
    for (auto it = tags.begin(); it != tags.end(); ++it) {
        const QString group = it.key().section(QLatin1Char(':'), 0, 0);
        const QString value = it.value().toVariant().toString();
        if (removedGroups.contains(group) || it.key().contains(QLatin1String("GPS"))
            || value.contains(QLatin1String(TULOImageCorpus::city))
            || value.contains(QLatin1String(TULOImageCorpus::country))
            || value.contains(QLatin1String(TULOImageCorpus::sublocation)))
            found << it.key();
    }
    return found;
}

bool hasIccProfile(const QJsonObject &tags)
{
    for (auto it = tags.begin(); it != tags.end(); ++it) {
        if (it.key().startsWith(QLatin1String("ICC-header:")))
            return true;
    }
    return false;
}

} // namespace

// Photos as phones and editors write them, judged from outside by exiftool and ffmpeg: after
// removal nothing tells where or with what the photo was taken, embedded previews included;
// orientation and colour profile stay, and the decoded pixels are the same.
class TestMetadataCorpus : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_folder.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            return QString();
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        for (const char *tool : {"exiftool", "ffmpeg"}) {
            QVERIFY2(!QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty(),
                "exiftool and ffmpeg are listed in tools/debian-packages.txt; run ./quillon setup");
        }
    }

    void nothingLeaksFromAnyFormat_data()
    {
        QTest::addColumn<QByteArray>("photo");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<bool>("hasThumbnail");
        QTest::addRow("jpeg with everything") << TULOImageCorpus::jpegWithEverything(640, 480)
                                              << QStringLiteral("jpg") << true;
        QTest::addRow("png with eXIf and iTXt XMP") << TULOImageCorpus::pngWithEverything(320, 240)
                                                    << QStringLiteral("png") << false;
        QTest::addRow("tiff") << TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("tiff", 320, 240))
                              << QStringLiteral("tif") << false;
        QTest::addRow("webp") << TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("webp", 320, 240))
                              << QStringLiteral("webp") << false;
    }
    void nothingLeaksFromAnyFormat()
    {
        QFETCH(QByteArray, photo);
        QFETCH(QString, extension);
        QFETCH(bool, hasThumbnail);
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'));
        const QString original = write(tag + QStringLiteral("-original.") + extension, photo);
        QVERIFY(!original.isEmpty());

        // The corpus must carry what is to be removed, or the judge proves nothing.
        const QJsonObject before = exiftoolTags(original);
        QVERIFY2(!before.isEmpty(), "exiftool cannot read the original");
        QVERIFY2(leaks(before).contains(QStringLiteral("GPS:GPSLatitude")),
            qPrintable(QStringList(before.keys()).join(QLatin1Char(' '))));
        if (hasThumbnail) {
            const QString thumbnail = write(tag + QStringLiteral("-thumbnail.jpg"), thumbnailOf(original));
            QVERIFY(!leaks(exiftoolTags(thumbnail)).isEmpty());
        }

        TULOError error;
        const QByteArray strippedBytes = TULOMetadataStripper::strippedImageData(photo, nullptr, &error);
        QVERIFY2(!strippedBytes.isNull(), qPrintable(error.localizedDescription()));
        const QString stripped = write(tag + QStringLiteral("-stripped.") + extension, strippedBytes);

        const QJsonObject after = exiftoolTags(stripped);
        QVERIFY2(!after.isEmpty(), "exiftool cannot read the stripped photo");
        QVERIFY2(after.value(QStringLiteral("ExifTool:Warning")).isUndefined(),
            qPrintable(after.value(QStringLiteral("ExifTool:Warning")).toString()));
        QCOMPARE(leaks(after), QStringList());
        QVERIFY(thumbnailOf(stripped).isEmpty());
        for (const char *place : {TULOImageCorpus::city, TULOImageCorpus::country, TULOImageCorpus::sublocation})
            QVERIFY2(!strippedBytes.contains(place), place);

        QCOMPARE(after.value(QStringLiteral("IFD0:Orientation")).toInt(), TULOImageCorpus::orientation);
        QVERIFY(hasIccProfile(before));
        QVERIFY(hasIccProfile(after));

        const QByteArray pixels = pixelsOf(original);
        QVERIFY2(!pixels.isEmpty(), "ffmpeg cannot decode the original");
        QVERIFY(pixels == pixelsOf(stripped));
    }
};

QTEST_GUILESS_MAIN(TestMetadataCorpus)
#include "tst_metadatacorpus.moc"
