#pragma once

#include <Quillon/platform/error.h>

#include <QString>

#include <functional>

class QIODevice;

// Everything the framework writes under the user's data is the user's alone: folders 0700 and
// files 0600, whatever made them first (another part of the framework, an older version, a
// host's umask of 022). Outbox manifests carry access tokens, the account database names the
// user's accounts, prepared photos are the user's photos.
class TULOPrivateFiles
{
public:
    // Creates `folder` with its missing parents. The folder, every parent it created, and the
    // framework's own folders on the way (named com.vantor.Quillon) become owner-only. False
    // with a file-domain error naming the folder when it cannot be made or made private.
    static bool makeFolder(const QString &folder, TULOError *error = nullptr);
    // Makes an existing file owner-only (read and write).
    static bool makeFile(const QString &path);
    static bool makeFile(int descriptor);
    // Whether a written file is on the disk itself before it takes its name (it then survives a
    // power cut), or may still sit in the page cache (it survives a killed process).
    enum Durability { Cached, Synced };
    // Writes a new owner-only file at `path` (its folder made as makeFolder does) through
    // `write`, which gets the open file, unbuffered. The file appears whole or not at all: it is
    // written aside and renamed. False with an error that names the file, or the folder and
    // "no space left on device" when the disk is full; `write`'s own error otherwise.
    static bool writeFile(const QString &path, const std::function<bool(QIODevice *file, TULOError *error)> &write,
        TULOError *error = nullptr, Durability durability = Cached);
    // A file-domain error for a failed write to `path`: "no space left on device" with the
    // folder's name when the disk is full, else the reason given.
    static TULOError writeError(const QString &path, int errorNumber, const QString &reason);
};
