#include "sandboxdownloads.h"

#include "sandboxstore_p.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QSaveFile>
#include <QtEndian>
#include <cmath>

namespace {

// Every account's cloud library: the demo artist's songs, which no test machine has locally.
constexpr qint64 TULOSandboxCloudArtist = 1001;

QByteArray syncsafe(quint32 value)
{
    QByteArray bytes(4, '\0');
    for (int i = 3; i >= 0; --i) {
        bytes[i] = char(value & 0x7f);
        value >>= 7;
    }
    return bytes;
}

QByteArray id3Frame(const char *id, const QByteArray &payload)
{
    return QByteArray(id, 4) + syncsafe(quint32(payload.size())) + QByteArray(2, '\0') + payload;
}

QByteArray textFrame(const char *id, const QString &text)
{
    return id3Frame(id, '\x03' + text.toUtf8());
}

QByteArray userTextFrame(const char *description, const QString &value)
{
    return id3Frame("TXXX", '\x03' + QByteArray(description) + '\0' + value.toUtf8());
}

QByteArray le32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray le16(quint16 value)
{
    QByteArray bytes(2, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

bool inCloudLibrary(const std::optional<TULOSandboxItem> &item)
{
    return item && item->kind == QLatin1String("song") && item->artistIdentifier == TULOSandboxCloudArtist;
}

} // namespace

QByteArray TULOSandboxDownloads::songFile(qint64 identifier, const QString &title, const QString &artist,
    const QString &album, qint64 artistIdentifier, qint64 albumIdentifier, int seconds)
{
    constexpr int rate = 44100;
    constexpr int channels = 2;
    const qint64 frames = qint64(rate) * seconds;
    QByteArray samples(frames * channels * 2, Qt::Uninitialized);
    // A tone of its own per song, so files differ.
    const double frequency = 220.0 + double(identifier % 24) * 20.0;
    for (qint64 i = 0; i < frames; ++i) {
        const auto value = qint16(std::lround(8000.0 * std::sin(2.0 * M_PI * frequency * double(i) / rate)));
        qToLittleEndian(value, samples.data() + i * 4);
        qToLittleEndian(value, samples.data() + i * 4 + 2);
    }
    QByteArray frames3 = textFrame("TIT2", title) + textFrame("TPE1", artist) + textFrame("TALB", album)
        + userTextFrame("STOREITEMID", QString::number(identifier))
        + userTextFrame("STOREARTISTID", QString::number(artistIdentifier))
        + userTextFrame("STOREALBUMID", QString::number(albumIdentifier));
    QByteArray id3 = QByteArray("ID3\x04\x00\x00", 6) + syncsafe(quint32(frames3.size())) + frames3;
    if (id3.size() % 2)
        id3.append('\0');
    const QByteArray format
        = le16(1) + le16(channels) + le32(rate) + le32(rate * channels * 2) + le16(channels * 2) + le16(16);
    QByteArray body = "WAVE" + ("fmt " + le32(quint32(format.size())) + format)
        + ("data" + le32(quint32(samples.size())) + samples) + ("id3 " + le32(quint32(id3.size())) + id3);
    return "RIFF" + le32(quint32(body.size())) + body;
}

std::shared_ptr<TULOSandboxDownloads> TULOSandboxDownloads::install(TULOSandboxStorePrivate *store)
{
    auto downloads = std::make_shared<TULOSandboxDownloads>(store);
    store->route("GET", "/library", [store](const httplib::Request &request, httplib::Response &response) {
        if (!store->signedAccount(request, response))
            return;
        QJsonArray items;
        for (const TULOSandboxItem &song : store->database.itemsOfKind(QStringLiteral("song"))) {
            if (song.artistIdentifier != TULOSandboxCloudArtist)
                continue;
            items.append(QJsonObject {{QStringLiteral("id"), QString::number(song.identifier)},
                {QStringLiteral("kind"), QStringLiteral("song")}, {QStringLiteral("name"), song.name},
                {QStringLiteral("artistName"), song.artistName},
                {QStringLiteral("artistId"), QString::number(song.artistIdentifier)},
                {QStringLiteral("collectionName"), song.albumName},
                {QStringLiteral("collectionId"), QString::number(song.albumIdentifier)},
                {QStringLiteral("durationInMillis"), songSeconds * 1000},
                {QStringLiteral("downloadUrl"),
                    store->base() + QStringLiteral("/downloads/") + QString::number(song.identifier)}});
        }
        TULOSandboxStorePrivate::reply(response, 200, {{QStringLiteral("items"), items}});
    });
    store->route("GET", R"(/downloads/(\d{1,12}))",
        [store](const httplib::Request &request, httplib::Response &response) {
            if (!store->signedAccount(request, response))
                return;
            const qint64 identifier = QString::fromStdString(request.matches[1]).toLongLong();
            const std::optional<TULOSandboxItem> song = store->database.item(identifier);
            if (!inCloudLibrary(song)) {
                TULOSandboxStorePrivate::failure(response, 404, "notFound",
                    QStringLiteral("Item %1 is not in this library.").arg(identifier));
                return;
            }
            const QString folder = store->dataDirectory + QStringLiteral("/downloads");
            const QString path = folder + QStringLiteral("/%1.wav").arg(identifier);
            if (!QFile::exists(path)) {
                QDir().mkpath(folder);
                QSaveFile out(path);
                const QByteArray data = songFile(identifier, song->name, song->artistName, song->albumName,
                    song->artistIdentifier, song->albumIdentifier, songSeconds);
                if (!out.open(QIODevice::WriteOnly) || out.write(data) != data.size() || !out.commit()) {
                    TULOSandboxStorePrivate::failure(
                        response, 500, "storeFailure", QStringLiteral("The song could not be prepared."));
                    return;
                }
            }
            auto file = std::make_shared<QFile>(path);
            if (!file->open(QIODevice::ReadOnly)) {
                TULOSandboxStorePrivate::failure(response, 500, "storeFailure", file->errorString());
                return;
            }
            response.set_header("Content-Disposition",
                QStringLiteral("attachment; filename=\"%1.wav\"").arg(identifier).toStdString());
            response.set_content_provider(size_t(file->size()), "audio/wav",
                [file](size_t offset, size_t length, httplib::DataSink &sink) {
                    QByteArray chunk(qsizetype(std::min<size_t>(length, 1 << 15)), Qt::Uninitialized);
                    if (!file->seek(qint64(offset)))
                        return false;
                    const qint64 read = file->read(chunk.data(), chunk.size());
                    return read > 0 && sink.write(chunk.constData(), size_t(read));
                });
        });
    return downloads;
}
