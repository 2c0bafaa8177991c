#pragma once

#include <QString>

class TULOSandboxDatabase;

// Catalogue entries and an account for the author-album and configuration cases that the
// main seed does not reach: an artist with five albums (three described inline), one with ten,
// one with none, and a label account whose own identity is not among its authors.
bool TULOSandboxSeedDiscography(TULOSandboxDatabase &database);

// Five albums, alternately described in "children" (three) and left to be looked up (two).
QString TULOSandboxFiveAlbumArtistIdentifier();
// Ten albums: five must be looked up on their own.
QString TULOSandboxTenAlbumArtistIdentifier();
// An artist with no albums at all.
QString TULOSandboxAlbumlessArtistIdentifier();
// Posts only as the five-album artist, which it may credit; its own identity is not listed, so
// its author comes from its profile.
QString TULOSandboxLabelAccountName();
QString TULOSandboxLabelAccountIdentifier();
