#include <Quillon/accounts/socialservice.h>

TULOSocialService::TULOSocialService(const QVariantMap &serviceDictionary)
{
    Q_UNUSED(serviceDictionary)
}
