#include "sandboxdiscography.h"

#include "sandboxdatabase.h"
#include "sandboxstore.h"

namespace {

constexpr qint64 TULOFiveAlbumArtist = 1011;
constexpr qint64 TULOTenAlbumArtist = 1012;
constexpr qint64 TULOAlbumlessArtist = 1013;
constexpr qint64 TULOLabelAccount = 9004;

// Albums are numbered after the main seed's, so its identifiers stay as they were.
constexpr qint64 TULOFirstDiscographyAlbum = 2101;
constexpr qint64 TULOFirstDiscographySong = 3501;

bool insertArtist(TULOSandboxDatabase &database, qint64 identifier, const QString &name, const QString &genre,
                  const QStringList &albums, qint64 &nextAlbum, qint64 &nextSong)
{
    TULOSandboxItem artist;
    artist.identifier = identifier;
    artist.kind = QStringLiteral("artist");
    artist.name = name;
    artist.genre = genre;
    artist.group = true;
    if (!database.insertItem(artist))
        return false;
    int index = 0;
    for (const QString &title : albums) {
        TULOSandboxItem album;
        album.identifier = nextAlbum++;
        album.kind = QStringLiteral("album");
        album.name = title;
        album.artistIdentifier = identifier;
        album.genre = genre;
        album.year = 2000 + index;
        album.described = (index % 2) == 0;
        ++index;
        if (!database.insertItem(album))
            return false;
        TULOSandboxItem song;
        song.identifier = nextSong++;
        song.kind = QStringLiteral("song");
        song.name = title + QStringLiteral(" (Title Track)");
        song.artistIdentifier = identifier;
        song.albumIdentifier = album.identifier;
        song.genre = genre;
        song.year = album.year;
        song.trackNumber = 1;
        song.durationMilliseconds = 180000 + int(song.identifier % 60) * 1000;
        if (!database.insertItem(song))
            return false;
    }
    return true;
}

} // namespace

QString TULOSandboxFiveAlbumArtistIdentifier() { return QString::number(TULOFiveAlbumArtist); }
QString TULOSandboxTenAlbumArtistIdentifier() { return QString::number(TULOTenAlbumArtist); }
QString TULOSandboxAlbumlessArtistIdentifier() { return QString::number(TULOAlbumlessArtist); }
QString TULOSandboxLabelAccountName() { return QStringLiteral("label@demo.quillon.test"); }
QString TULOSandboxLabelAccountIdentifier() { return QString::number(TULOLabelAccount); }

bool TULOSandboxSeedDiscography(TULOSandboxDatabase &database)
{
    qint64 nextAlbum = TULOFirstDiscographyAlbum;
    qint64 nextSong = TULOFirstDiscographySong;
    const QStringList five{QStringLiteral("Tidewater"), QStringLiteral("Slipway"), QStringLiteral("Breakwater"),
                           QStringLiteral("Mooring Lines"), QStringLiteral("Low Water Mark")};
    QStringList ten;
    for (int volume = 1; volume <= 10; ++volume)
        ten.append(QStringLiteral("Field Recordings, Vol. %1").arg(volume));
    if (!insertArtist(database, TULOFiveAlbumArtist, QStringLiteral("Harbour Street Band"), QStringLiteral("Folk Rock"), five,
                      nextAlbum, nextSong)
        || !insertArtist(database, TULOTenAlbumArtist, QStringLiteral("Quarry Choir"), QStringLiteral("Choral"), ten, nextAlbum,
                         nextSong)
        || !insertArtist(database, TULOAlbumlessArtist, QStringLiteral("Unsigned Newcomer"), QStringLiteral("Indie"), {},
                         nextAlbum, nextSong))
        return false;

    const TULOSandboxAccount label{TULOLabelAccount, TULOSandboxLabelAccountName(), QStringLiteral("Harbour Records"),
                                   QStringLiteral("brand")};
    return database.insertAccount(label, TULOSandboxStore::demoPassword())
        && database.insertAuthor(TULOLabelAccount, 0,
                                 {TULOSandboxFiveAlbumArtistIdentifier(), QStringLiteral("Harbour Street Band"), QStringLiteral("artist"),
                                  {QStringLiteral("shareAsEntity"), QStringLiteral("shareWithAttribution")}});
}
