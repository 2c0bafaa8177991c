#include <Quillon/platform/store/storeerror.h>

const char *const TULOStoreHTTPStatusKey = "httpStatus";
const char *const TULOStoreServerErrorCodeKey = "errorCode";

TULOError TULOStoreError(qint64 code, const QUrl &url, const QVariantMap &extraUserInfo)
{
    QVariantMap userInfo = extraUserInfo;
    if (!url.isEmpty())
        userInfo.insert(QString::fromLatin1(TULOURLErrorKey), url);
    return TULOError(TULOStoreErrorDomain, code, userInfo);
}

TULOError TULONetworkError(QNetworkReply::NetworkError error, const QString &description, const QUrl &url)
{
    return TULOError(TULONetworkErrorDomain, qint64(error),
                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                      {QString::fromLatin1(TULOURLErrorKey), url}});
}
