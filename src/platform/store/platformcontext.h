#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/store/urlbag.h>

#include <QSize>

// What catalogue requests need of a store: its loaded URL bag and the client context whose
// standard headers, configuration and timeout they use. A value; copies share the context.
class QUILLON_EXPORT TULOPlatformContext
{
public:
    TULOPlatformContext() = default;
    explicit TULOPlatformContext(const TULOUrlBag &bag, const TULOClientContext &clientContext = TULOClientContext());

    bool isNull() const { return m_bag.isEmpty(); }
    TULOUrlBag urlBag() const { return m_bag; }
    QVariantMap bagDictionary() const { return m_bag.dictionary(); }
    TULOClientContext clientContext() const { return m_clientContext; }

    // The catalogue lookup endpoint; store error 124 when the bag lacks it.
    QUrl lookupURL(TULOError *error = nullptr) const;
    // The bag's artwork template filled in for one item; format is "png" or "jpg".
    QUrl artworkURL(const QString &itemIdentifier, const QSize &pixelSize, const QString &format = QStringLiteral("png"),
                    TULOError *error = nullptr) const;
    int requestTimeout() const;

private:
    TULOUrlBag m_bag;
    TULOClientContext m_clientContext;
};
