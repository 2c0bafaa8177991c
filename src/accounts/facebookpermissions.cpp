#include <Quillon/accounts/facebookpermissions.h>

QStringList TULOFacebookReadPermissions()
{
    return {QStringLiteral("public_profile")};
}

QStringList TULOFacebookWritePermissions()
{
    return {QStringLiteral("manage_pages"), QStringLiteral("publish_pages"), QStringLiteral("publish_actions")};
}
