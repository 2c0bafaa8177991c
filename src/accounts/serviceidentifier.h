#pragma once

// The key of an external service in accounts, preferences and configuration.
extern const char *const TULOServiceIdentifierFacebook;
extern const char *const TULOServiceIdentifierTwitter;
