#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QNetworkReply>
#include <QUrl>

// Codes of TULOStoreErrorDomain (docs/store-protocol.md).
enum TULOStoreErrorCode : qint64 {
    TULOStoreErrorRequestFailed = 100,
    TULOStoreErrorTimedOut = 121,
    TULOStoreErrorBagValueMissing = 124,
    TULOStoreErrorItemNotFound = 301,
    TULOStoreErrorUserCancelled = 16,
    TULOStoreErrorAccountCreationRefused = 17,
};

// User-info keys of store errors.
extern QUILLON_EXPORT const char *const TULOStoreHTTPStatusKey;    // int
extern QUILLON_EXPORT const char *const TULOStoreServerErrorCodeKey; // the reply's "errorCode"

// A store error with the URL and, when given, the underlying transport error.
QUILLON_EXPORT TULOError TULOStoreError(qint64 code, const QUrl &url = QUrl(), const QVariantMap &extraUserInfo = {});
// The transport error as the network domain sees it.
QUILLON_EXPORT TULOError TULONetworkError(QNetworkReply::NetworkError error, const QString &description, const QUrl &url);
