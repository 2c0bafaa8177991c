#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/tag.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/store/dataconsumer.h>

#include <QByteArray>
#include <QList>
#include <QVariant>

#include <optional>

// Turns the body of a tag lookup reply into tags: a JSON object whose "data" value is a list
// of tag dictionaries. Elements that are not dictionaries yield no tag and are skipped.
class QUILLON_EXPORT TULOTagDataConsumer : public TULOProtocolDataConsumer
{
public:
    // As a store request's consumer: a QVariant holding QList<TULOTag>, or an invalid QVariant
    // with the error written.
    QVariant objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error) override;

    // The tags, or nothing when the body is not JSON or has no "data" list; `error` is written
    // only then.
    std::optional<QList<TULOTag>> tagsForData(const QByteArray &data, TULOError *error = nullptr);

    // The same over an already decoded body.
    static std::optional<QList<TULOTag>> tagsForObject(const QVariant &object, TULOError *error = nullptr);
};
