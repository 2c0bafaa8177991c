#include "sandboxdatabase.h"
#include "sandboxdiscography.h"
#include "sandboxstore.h"

#include <initializer_list>

namespace {

struct SeedAlbum
{
    const char *name;
    int year;
    std::initializer_list<const char *> songs;
};

struct SeedArtist
{
    qint64 identifier;
    const char *name;
    const char *genre;
    bool group;
    std::initializer_list<SeedAlbum> albums;
};

// Names carry spaces, accents, quotes and case twins on purpose: they are what tags are made of.
const std::initializer_list<SeedArtist> TULOSandboxCatalogue = {
    {1001, "Dana Demo", "Singer/Songwriter", false,
     {{"First Light", 2019, {"Opening", "Paper Boats", "Lanterns"}},
      {"Kitchen Tapes", 2021, {"Kettle Song", "Two Spoons", "Saturday"}},
      {"Far From Shore", 2023, {"Undertow", "Harbour Lights", "Lighthouse Keeper", "Return"}}}},
    {1002, "Northern Lights Orchestra", "Classical Crossover", true,
     {{"Aurora Suite", 2018, {"Dusk", "Corona", "Dawn"}},
      {"Polar Nights", 2020, {"Solstice", "Frost Fair", "Ice Road"}},
      {"Magnetic North", 2022, {"Compass", "Declination", "True North"}}}},
    {1003, "Zoë Marchetti", "Pop", false,
     {{"Café Lumière", 2017, {"Crème", "Début", "Naïve"}},
      {"Été", 2020, {"Plage", "Soirée"}}}},
    {1004, "The O'Malley Sisters", "Folk", true,
     {{"Won't Back Down Easy", 2016, {"Rock 'n' Roll Heart", "Ma's Kitchen", "O'Connell Street"}},
      {"Sisters' Songs", 2019, {"Three of Us", "Don't Go", "Céilí"}}}},
    {1005, "Señor \"Slim\" Díaz", "Latin", false,
     {{"Noches de \"Jazz\"", 2015, {"Año Nuevo", "Corazón", "Mañana"}},
      {"Sin Prisa", 2018, {"Despacio", "Río Abajo"}}}},
    {1006, "Kaito Mori", "Electronic", false,
     {{"Neon Rain", 2021, {"Shibuya 3AM", "Wet Asphalt", "Last Train"}},
      {"Signal/Noise", 2023, {"Carrier", "Static", "Sine"}}}},
    {1007, "Ana Lúcia & Os Ventos", "MPB", true,
     {{"Ventania", 2014, {"Brisa", "Maré Alta", "São João"}},
      {"Calmaria", 2017, {"Sereno", "Vôo"}}}},
    {1008, "Mira Sol", "R&B", false,
     {{"Golden Hour", 2022, {"Sunkissed", "Slow Burn", "Afterglow"}},
      {"Eclipse", 2024, {"Penumbra", "Totality"}}}},
    {1009, "Sigrún Ólafsdóttir", "Ambient", false,
     {{"Jökull", 2013, {"Ís", "Þögn", "Norðurljós"}},
      {"Hraun", 2016, {"Eldur", "Aska"}}}},
    {1010, "MIRA SOL", "Rock", true,
     {{"Loud Covers", 2021, {"Sunkissed (Loud)", "Afterglow (Live)"}},
      {"Garage Days", 2023, {"Feedback", "Amp Hum"}}}},
};

} // namespace

bool TULOSandboxSeed(TULOSandboxDatabase &database)
{
    qint64 nextAlbum = 2001;
    qint64 nextSong = 3001;
    for (const SeedArtist &artist : TULOSandboxCatalogue) {
        TULOSandboxItem artistItem;
        artistItem.identifier = artist.identifier;
        artistItem.kind = QStringLiteral("artist");
        artistItem.name = QString::fromUtf8(artist.name);
        artistItem.genre = QString::fromUtf8(artist.genre);
        artistItem.group = artist.group;
        if (!database.insertItem(artistItem))
            return false;
        int albumIndex = 0;
        for (const SeedAlbum &album : artist.albums) {
            TULOSandboxItem albumItem;
            albumItem.identifier = nextAlbum++;
            albumItem.kind = QStringLiteral("album");
            albumItem.name = QString::fromUtf8(album.name);
            albumItem.artistIdentifier = artist.identifier;
            albumItem.genre = artistItem.genre;
            albumItem.year = album.year;
            // Every second album is left out of the artist's "children", so clients must
            // look it up on its own.
            albumItem.described = (albumIndex++ % 2) == 0;
            if (!database.insertItem(albumItem))
                return false;
            int track = 1;
            for (const char *song : album.songs) {
                TULOSandboxItem songItem;
                songItem.identifier = nextSong++;
                songItem.kind = QStringLiteral("song");
                songItem.name = QString::fromUtf8(song);
                songItem.artistIdentifier = artist.identifier;
                songItem.albumIdentifier = albumItem.identifier;
                songItem.genre = artistItem.genre;
                songItem.year = album.year;
                songItem.trackNumber = track;
                songItem.durationMilliseconds = 150000 + int((songItem.identifier * 7919) % 120000);
                ++track;
                if (!database.insertItem(songItem))
                    return false;
            }
        }
    }

    const QString entity = QStringLiteral("shareAsEntity");
    const QString attribution = QStringLiteral("shareWithAttribution");

    // The demo curator reaches every author rule: itself, an artist, a group it may credit
    // itself on, and an author it may not post as at all.
    const TULOSandboxAccount demo{9001, TULOSandboxStore::demoAccountName(), QStringLiteral("Casey Demo"), QStringLiteral("user")};
    if (!database.insertAccount(demo, TULOSandboxStore::demoPassword())
        || !database.insertAuthor(9001, 0, {QStringLiteral("9001"), demo.displayName, QStringLiteral("user"), {entity}})
        || !database.insertAuthor(9001, 1, {QStringLiteral("1001"), QStringLiteral("Dana Demo"), QStringLiteral("artist"), {entity}})
        || !database.insertAuthor(9001, 2, {QStringLiteral("1002"), QStringLiteral("Northern Lights Orchestra"), QStringLiteral("brand"), {entity, attribution}})
        || !database.insertAuthor(9001, 3, {QStringLiteral("4001"), QStringLiteral("Casey's Listening Room"), QStringLiteral("activityCurator"), {}}))
        return false;

    const TULOSandboxAccount solo{9002, TULOSandboxStore::soloAccountName(), QStringLiteral("Sam Solo"), QStringLiteral("artist")};
    if (!database.insertAccount(solo, TULOSandboxStore::demoPassword())
        || !database.insertAuthor(9002, 0, {QStringLiteral("9002"), solo.displayName, QStringLiteral("artist"), {entity}}))
        return false;

    const TULOSandboxAccount listener{9003, TULOSandboxStore::listenerAccountName(), QStringLiteral("Lee Listener"), QStringLiteral("user")};
    return database.insertAccount(listener, TULOSandboxStore::demoPassword()) && TULOSandboxSeedDiscography(database);
}
