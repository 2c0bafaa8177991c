#include <Quillon/platform/records/postdescription.h>

class TULOPostDescriptionPrivate : public QSharedData
{
public:
    bool attributed = false;
    QString authorIdentifier;
    QString authorType;
    QString text;
    std::optional<QList<TULOPostAttachment>> attachments;
    std::optional<QList<TULOExternalDestination>> destinations;
    std::optional<QList<TULOPostItem>> contentItems;
};

TULOPostDescription::TULOPostDescription() : d(new TULOPostDescriptionPrivate) {}
TULOPostDescription::TULOPostDescription(const TULOPostDescription &other) = default;
TULOPostDescription &TULOPostDescription::operator=(const TULOPostDescription &other) = default;
TULOPostDescription::~TULOPostDescription() = default;

bool TULOPostDescription::isAttributed() const { return d->attributed; }
void TULOPostDescription::setAttributed(bool value) { d->attributed = value; }
QString TULOPostDescription::authorIdentifier() const { return d->authorIdentifier; }
void TULOPostDescription::setAuthorIdentifier(const QString &value) { d->authorIdentifier = value; }
QString TULOPostDescription::authorType() const { return d->authorType; }
void TULOPostDescription::setAuthorType(const QString &value) { d->authorType = value; }
QString TULOPostDescription::text() const { return d->text; }
void TULOPostDescription::setText(const QString &value) { d->text = value; }

std::optional<QList<TULOPostAttachment>> TULOPostDescription::attachments() const { return d->attachments; }
void TULOPostDescription::setAttachments(const std::optional<QList<TULOPostAttachment>> &value)
{
    d->attachments = value;
}

std::optional<QList<TULOExternalDestination>> TULOPostDescription::externalServiceDestinations() const
{
    return d->destinations;
}
void TULOPostDescription::setExternalServiceDestinations(const std::optional<QList<TULOExternalDestination>> &value)
{
    d->destinations = value;
}

std::optional<QList<TULOPostItem>> TULOPostDescription::contentItems() const { return d->contentItems; }
void TULOPostDescription::setContentItems(const std::optional<QList<TULOPostItem>> &value)
{
    d->contentItems = value;
}

bool TULOPostDescription::operator==(const TULOPostDescription &other) const
{
    return d == other.d
        || (d->attributed == other.d->attributed && d->authorIdentifier == other.d->authorIdentifier
            && d->authorType == other.d->authorType && d->text == other.d->text
            && d->attachments == other.d->attachments && d->destinations == other.d->destinations
            && d->contentItems == other.d->contentItems);
}
