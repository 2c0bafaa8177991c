#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QUrl>
#include <QVariant>

// What came back for a request, as the data consumer sees it.
struct QUILLON_EXPORT TULOUrlResponse
{
    QUrl url;
    int httpStatus = 0;
    QByteArray contentType;
    QList<QPair<QByteArray, QByteArray>> headers;

    bool isSuccess() const { return httpStatus >= 200 && httpStatus <= 299; }
};

// Turns a reply body into the object a load operation hands back. Consumers are shared
// between threads and keep no per-request state.
class QUILLON_EXPORT TULODataConsumer
{
public:
    virtual ~TULODataConsumer() = default;
    // The object, or an invalid QVariant with the error written.
    virtual QVariant objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error) = 0;
};

// The store's JSON: hands back the decoded dictionary (QVariantMap). A body that is not a
// JSON object is store error 100 (undecodable).
class QUILLON_EXPORT TULOProtocolDataConsumer : public TULODataConsumer
{
public:
    QVariant objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error) override;
};
