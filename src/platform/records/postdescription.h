#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/externaldestination.h>
#include <Quillon/platform/records/postattachment.h>
#include <Quillon/platform/records/postitem.h>

#include <QList>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

#include <optional>

class TULOPostDescriptionPrivate;

// Everything the store's post upload needs: text, author, finished attachments, the content
// item and cross-posting destinations. The list fields distinguish "not set" (nullopt) from
// an empty list, because the uploader omits fields that were never set.
class QUILLON_EXPORT TULOPostDescription
{
public:
    TULOPostDescription();
    TULOPostDescription(const TULOPostDescription &other);
    TULOPostDescription &operator=(const TULOPostDescription &other);
    ~TULOPostDescription();

    bool isAttributed() const;
    void setAttributed(bool value);
    QString authorIdentifier() const;
    void setAuthorIdentifier(const QString &value);
    QString authorType() const;
    void setAuthorType(const QString &value);
    // Plain text with the tag tokens left in.
    QString text() const;
    void setText(const QString &value);
    std::optional<QList<TULOPostAttachment>> attachments() const;
    void setAttachments(const std::optional<QList<TULOPostAttachment>> &value);
    std::optional<QList<TULOExternalDestination>> externalServiceDestinations() const;
    void setExternalServiceDestinations(const std::optional<QList<TULOExternalDestination>> &value);
    std::optional<QList<TULOPostItem>> contentItems() const;
    void setContentItems(const std::optional<QList<TULOPostItem>> &value);

    bool operator==(const TULOPostDescription &other) const;

private:
    QSharedDataPointer<TULOPostDescriptionPrivate> d;
};

Q_DECLARE_METATYPE(TULOPostDescription)
