#include <Quillon/platform/records/externaldestination.h>

const char *const TULOExternalServiceFacebook = "facebook";
const char *const TULOExternalServiceTwitter = "twitter";

static bool sameString(const QString &a, const QString &b)
{
    return a.isNull() == b.isNull() && a == b;
}

bool TULOExternalDestination::operator==(const TULOExternalDestination &other) const
{
    return sameString(m_serviceIdentifier, other.m_serviceIdentifier)
        && sameString(m_pageIdentifier, other.m_pageIdentifier)
        && sameString(m_accessToken, other.m_accessToken)
        && sameString(m_pageAccessToken, other.m_pageAccessToken);
}
