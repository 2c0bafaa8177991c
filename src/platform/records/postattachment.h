#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/postartist.h>

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// Relationship names of child attachments.
extern QUILLON_EXPORT const char *const TULOAttachmentRelationshipCoverImage;

class TULOPostAttachmentPrivate;

// One finished attachment of an upload: a file on disk with its type and descriptive fields,
// and child attachments (the cover image of a song) keyed by relationship.
class QUILLON_EXPORT TULOPostAttachment
{
public:
    TULOPostAttachment();
    TULOPostAttachment(const TULOPostAttachment &other);
    TULOPostAttachment &operator=(const TULOPostAttachment &other);
    ~TULOPostAttachment();

    QString albumIdentifier() const;
    void setAlbumIdentifier(const QString &value);
    QList<TULOPostArtist> artists() const;
    void setArtists(const QList<TULOPostArtist> &value);
    QUrl assetURL() const;
    void setAssetURL(const QUrl &value);
    QString attachmentDescription() const;
    void setAttachmentDescription(const QString &value);
    QString categoryName() const;
    void setCategoryName(const QString &value);
    bool isExplicitContent() const;
    void setExplicitContent(bool value);
    // The cover frame's time in the video, in milliseconds.
    double previewFrameTimestamp() const;
    void setPreviewFrameTimestamp(double value);
    QString title() const;
    void setTitle(const QString &value);
    QString subtitle() const;
    void setSubtitle(const QString &value);
    QString UTI() const;
    void setUTI(const QString &value);
    // The uploader removes the file at assetURL once it is done with it.
    bool deletesAssetWhenFinished() const;
    void setDeletesAssetWhenFinished(bool value);

    // One child per relationship; setting it again replaces the earlier child.
    void setChildAttachment(const TULOPostAttachment &child, const QString &relationship);
    void removeChildAttachment(const QString &relationship);
    // nullopt when there is no child for that relationship.
    std::optional<TULOPostAttachment> childAttachmentForRelationship(const QString &relationship) const;
    QStringList childRelationships() const;

    bool operator==(const TULOPostAttachment &other) const;
    bool operator!=(const TULOPostAttachment &other) const { return !(*this == other); }

private:
    QSharedDataPointer<TULOPostAttachmentPrivate> d;
};

Q_DECLARE_METATYPE(TULOPostAttachment)
