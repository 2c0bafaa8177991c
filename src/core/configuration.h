#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/storeitem.h>
#include <Quillon/platform/records/postauthor.h>

#include <QList>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantList>

#include <optional>

class TULOConfigurationPrivate;

// What the store allows one composition: limits, who may be the author, suggested tags, the
// cross-posting services, the item shared, and whether camera and microphone may be offered.
// A value: a copy is fully independent. List fields are nullopt until set.
//
// allowedExternalServices holds TULOSocialService values and suggestedTags TULOTag values, each
// in a QVariant (their classes live in the accounts and compose subsystems, above this one).
class QUILLON_EXPORT TULOConfiguration
{
public:
    TULOConfiguration();
    TULOConfiguration(const TULOConfiguration &other);
    TULOConfiguration &operator=(const TULOConfiguration &other);
    ~TULOConfiguration();

    std::optional<QVariantList> allowedExternalServices() const;
    void setAllowedExternalServices(const std::optional<QVariantList> &value);
    std::optional<QStringList> audioCategoryNames() const;
    void setAudioCategoryNames(const std::optional<QStringList> &value);
    std::optional<TULOPostAuthor> authorForActiveAccount() const;
    void setAuthorForActiveAccount(const std::optional<TULOPostAuthor> &value);
    std::optional<TULOStoreItem> item() const;
    void setItem(const std::optional<TULOStoreItem> &value);
    qint64 maximumNumberOfAttachments() const;
    void setMaximumNumberOfAttachments(qint64 value);
    double maximumSoundBiteDuration() const;
    void setMaximumSoundBiteDuration(double seconds);
    std::optional<QList<TULOPostAuthor>> potentalAuthors() const;
    void setPotentalAuthors(const std::optional<QList<TULOPostAuthor>> &value);
    std::optional<QVariantList> suggestedTags() const;
    void setSuggestedTags(const std::optional<QVariantList> &value);
    bool allowsCamera() const;
    void setAllowsCamera(bool value);
    bool allowsMicrophone() const;
    void setAllowsMicrophone(bool value);

    QUrl tagLookupBaseURL() const;
    void setTagLookupBaseURL(const QUrl &url);
    // The base URL with one more query item "q" = tag after its own; an invalid URL without a base.
    QUrl tagLookupURLWithTag(const QString &tag) const;

    // The potential authors, in order, that hold either share permission.
    QList<TULOPostAuthor> authorsForSharing() const;

private:
    QSharedDataPointer<TULOConfigurationPrivate> d;
};

Q_DECLARE_METATYPE(TULOConfiguration)
