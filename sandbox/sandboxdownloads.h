#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

class TULOSandboxStorePrivate;

// The account's store library that is only in the cloud (GET /library) and the download of
// one of its songs (GET /downloads/<id>): a WAV file with the song's tags, streamed.
class TULOSandboxDownloads
{
public:
    explicit TULOSandboxDownloads(TULOSandboxStorePrivate *store)
        : m_store(store)
    {
    }
    static std::shared_ptr<TULOSandboxDownloads> install(TULOSandboxStorePrivate *store);

    // The song file the store delivers: 16-bit stereo PCM WAV with an ID3 chunk carrying
    // title, artist, album and the store identifiers.
    static QByteArray songFile(qint64 identifier, const QString &title, const QString &artist,
        const QString &album, qint64 artistIdentifier, qint64 albumIdentifier, int seconds);
    static constexpr int songSeconds = 6;

private:
    TULOSandboxStorePrivate *m_store;
};
