#include <Quillon/accounts/serviceidentifier.h>

const char *const TULOServiceIdentifierFacebook = "facebook";
const char *const TULOServiceIdentifierTwitter = "twitter";
