#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/records/postdescription.h>
#include <Quillon/platform/store/postoutbox.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// The outbox on disk: a folder per post, named by its key, holding the manifest (post.json:
// the upload's description, the files, attempts and the last error), the post's files and the
// lock file of the process that sends it. A post is written in a folder named key.partial and
// renamed when whole. No state: any thread.
class TULOPostOutboxManifest
{
public:
    static constexpr const char *FileName = "post.json";
    static constexpr const char *PartialSuffix = ".partial";
    static constexpr const char *LockName = ".lock";

    // A new pending post's manifest; `attachments` are the upload's attachment dictionaries
    // (attachmentDictionary()), `files` what the folder holds for them.
    static QJsonObject make(const QString &key, const QUrl &bagURL, const QString &accountName,
        const TULOPostDescription &description, const QJsonArray &attachments, const QJsonArray &files);
    static QJsonObject attachmentDictionary(const TULOPostAttachment &attachment, const QString &part, qint64 size);
    static QJsonObject errorDictionary(const TULOError &error);
    static TULOError errorFromDictionary(const QJsonObject &dictionary);

    // The post in `folder`, when its manifest is whole and names `key`.
    static std::optional<TULOPostOutboxEntry> read(const QString &folder, const QString &key);
    // Replaces the manifest whole, owner-only; `durable` syncs it to the disk first.
    static bool write(const QString &folder, const QJsonObject &manifest, TULOError *error, bool durable);

    // The lock a process holds on a post it writes or sends: an flock, so a killed process lets
    // go by itself. -1 with errno EWOULDBLOCK when another process holds it, ENOENT when the
    // post is gone.
    static int lockFolder(const QString &folder);
    // The names in the outbox folder; a post's folder is its key, so nothing needs a stat.
    static QStringList folderNames(const QString &folder);

    static TULOError fileError(qint64 code, const QString &path, const QString &description);
};
