#include <Quillon/platform/records/postattachment.h>

const char *const TULOAttachmentRelationshipCoverImage = "coverImage";

class TULOPostAttachmentPrivate : public QSharedData
{
public:
    QString albumIdentifier;
    QList<TULOPostArtist> artists;
    QUrl assetURL;
    QString attachmentDescription;
    QString categoryName;
    bool explicitContent = false;
    double previewFrameTimestamp = 0.0;
    QString title;
    QString subtitle;
    QString UTI;
    bool deletesAssetWhenFinished = false;
    QMap<QString, TULOPostAttachment> children;
};

TULOPostAttachment::TULOPostAttachment() : d(new TULOPostAttachmentPrivate) {}
TULOPostAttachment::TULOPostAttachment(const TULOPostAttachment &other) = default;
TULOPostAttachment &TULOPostAttachment::operator=(const TULOPostAttachment &other) = default;
TULOPostAttachment::~TULOPostAttachment() = default;

QString TULOPostAttachment::albumIdentifier() const { return d->albumIdentifier; }
void TULOPostAttachment::setAlbumIdentifier(const QString &value) { d->albumIdentifier = value; }
QList<TULOPostArtist> TULOPostAttachment::artists() const { return d->artists; }
void TULOPostAttachment::setArtists(const QList<TULOPostArtist> &value) { d->artists = value; }
QUrl TULOPostAttachment::assetURL() const { return d->assetURL; }
void TULOPostAttachment::setAssetURL(const QUrl &value) { d->assetURL = value; }
QString TULOPostAttachment::attachmentDescription() const { return d->attachmentDescription; }
void TULOPostAttachment::setAttachmentDescription(const QString &value) { d->attachmentDescription = value; }
QString TULOPostAttachment::categoryName() const { return d->categoryName; }
void TULOPostAttachment::setCategoryName(const QString &value) { d->categoryName = value; }
bool TULOPostAttachment::isExplicitContent() const { return d->explicitContent; }
void TULOPostAttachment::setExplicitContent(bool value) { d->explicitContent = value; }
double TULOPostAttachment::previewFrameTimestamp() const { return d->previewFrameTimestamp; }
void TULOPostAttachment::setPreviewFrameTimestamp(double value) { d->previewFrameTimestamp = value; }
QString TULOPostAttachment::title() const { return d->title; }
void TULOPostAttachment::setTitle(const QString &value) { d->title = value; }
QString TULOPostAttachment::subtitle() const { return d->subtitle; }
void TULOPostAttachment::setSubtitle(const QString &value) { d->subtitle = value; }
QString TULOPostAttachment::UTI() const { return d->UTI; }
void TULOPostAttachment::setUTI(const QString &value) { d->UTI = value; }
bool TULOPostAttachment::deletesAssetWhenFinished() const { return d->deletesAssetWhenFinished; }
void TULOPostAttachment::setDeletesAssetWhenFinished(bool value) { d->deletesAssetWhenFinished = value; }

void TULOPostAttachment::setChildAttachment(const TULOPostAttachment &child, const QString &relationship)
{
    d->children.insert(relationship, child);
}

void TULOPostAttachment::removeChildAttachment(const QString &relationship)
{
    d->children.remove(relationship);
}

std::optional<TULOPostAttachment> TULOPostAttachment::childAttachmentForRelationship(const QString &relationship) const
{
    const auto it = d->children.constFind(relationship);
    if (it == d->children.constEnd())
        return std::nullopt;
    return *it;
}

QStringList TULOPostAttachment::childRelationships() const
{
    return d->children.keys();
}

bool TULOPostAttachment::operator==(const TULOPostAttachment &other) const
{
    if (d == other.d)
        return true;
    const TULOPostAttachmentPrivate &a = *d;
    const TULOPostAttachmentPrivate &b = *other.d;
    return a.albumIdentifier == b.albumIdentifier && a.artists == b.artists && a.assetURL == b.assetURL
        && a.attachmentDescription == b.attachmentDescription && a.categoryName == b.categoryName
        && a.explicitContent == b.explicitContent && a.previewFrameTimestamp == b.previewFrameTimestamp
        && a.title == b.title && a.subtitle == b.subtitle && a.UTI == b.UTI
        && a.deletesAssetWhenFinished == b.deletesAssetWhenFinished && a.children == b.children;
}
