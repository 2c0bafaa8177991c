#include <Quillon/core/configuration.h>


class TULOConfigurationPrivate : public QSharedData
{
public:
    std::optional<QVariantList> allowedExternalServices;
    std::optional<QStringList> audioCategoryNames;
    std::optional<TULOPostAuthor> authorForActiveAccount;
    std::optional<TULOStoreItem> item;
    qint64 maximumNumberOfAttachments = 1;
    double maximumSoundBiteDuration = 10.0;
    std::optional<QList<TULOPostAuthor>> potentalAuthors;
    std::optional<QVariantList> suggestedTags;
    bool allowsCamera = true;
    bool allowsMicrophone = true;
    QUrl tagLookupBaseURL;
};

TULOConfiguration::TULOConfiguration() : d(new TULOConfigurationPrivate) {}
TULOConfiguration::TULOConfiguration(const TULOConfiguration &other) = default;
TULOConfiguration &TULOConfiguration::operator=(const TULOConfiguration &other) = default;
TULOConfiguration::~TULOConfiguration() = default;

std::optional<QVariantList> TULOConfiguration::allowedExternalServices() const { return d->allowedExternalServices; }
void TULOConfiguration::setAllowedExternalServices(const std::optional<QVariantList> &value)
{
    d->allowedExternalServices = value;
}
std::optional<QStringList> TULOConfiguration::audioCategoryNames() const { return d->audioCategoryNames; }
void TULOConfiguration::setAudioCategoryNames(const std::optional<QStringList> &value) { d->audioCategoryNames = value; }
std::optional<TULOPostAuthor> TULOConfiguration::authorForActiveAccount() const { return d->authorForActiveAccount; }
void TULOConfiguration::setAuthorForActiveAccount(const std::optional<TULOPostAuthor> &value)
{
    d->authorForActiveAccount = value;
}
std::optional<TULOStoreItem> TULOConfiguration::item() const { return d->item; }
void TULOConfiguration::setItem(const std::optional<TULOStoreItem> &value) { d->item = value; }
qint64 TULOConfiguration::maximumNumberOfAttachments() const { return d->maximumNumberOfAttachments; }
void TULOConfiguration::setMaximumNumberOfAttachments(qint64 value) { d->maximumNumberOfAttachments = value; }
double TULOConfiguration::maximumSoundBiteDuration() const { return d->maximumSoundBiteDuration; }
void TULOConfiguration::setMaximumSoundBiteDuration(double seconds) { d->maximumSoundBiteDuration = seconds; }
std::optional<QList<TULOPostAuthor>> TULOConfiguration::potentalAuthors() const { return d->potentalAuthors; }
void TULOConfiguration::setPotentalAuthors(const std::optional<QList<TULOPostAuthor>> &value)
{
    d->potentalAuthors = value;
}
std::optional<QVariantList> TULOConfiguration::suggestedTags() const { return d->suggestedTags; }
void TULOConfiguration::setSuggestedTags(const std::optional<QVariantList> &value) { d->suggestedTags = value; }
bool TULOConfiguration::allowsCamera() const { return d->allowsCamera; }
void TULOConfiguration::setAllowsCamera(bool value) { d->allowsCamera = value; }
bool TULOConfiguration::allowsMicrophone() const { return d->allowsMicrophone; }
void TULOConfiguration::setAllowsMicrophone(bool value) { d->allowsMicrophone = value; }

QUrl TULOConfiguration::tagLookupBaseURL() const { return d->tagLookupBaseURL; }

void TULOConfiguration::setTagLookupBaseURL(const QUrl &url)
{
    // Setting the same URL again must not detach a shared configuration for nothing.
    if (d->tagLookupBaseURL == url && d->tagLookupBaseURL.isEmpty() == url.isEmpty())
        return;
    d->tagLookupBaseURL = url;
}

QUrl TULOConfiguration::tagLookupURLWithTag(const QString &tag) const
{
    if (d->tagLookupBaseURL.isEmpty())
        return QUrl();
    QUrl url = d->tagLookupBaseURL;
    // The existing items are kept exactly as encoded, in their order, even an earlier "q".
    QString query = url.query(QUrl::FullyEncoded);
    if (!query.isEmpty())
        query += QLatin1Char('&');
    query += QLatin1String("q=") + QString::fromLatin1(QUrl::toPercentEncoding(tag));
    url.setQuery(query, QUrl::TolerantMode);
    return url;
}

QList<TULOPostAuthor> TULOConfiguration::authorsForSharing() const
{
    QList<TULOPostAuthor> authors;
    if (!d->potentalAuthors)
        return authors;
    for (const TULOPostAuthor &author : *d->potentalAuthors) {
        if (author.hasPermission(TULOAuthorPermissionShareAsEntity)
            || author.hasPermission(TULOAuthorPermissionShareWithAttribution))
            authors.append(author);
    }
    return authors;
}
