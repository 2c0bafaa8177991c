#pragma once

#include <Quillon/quillon_export.h>

// The key of an external service in accounts, preferences and configuration.
extern QUILLON_EXPORT const char *const TULOServiceIdentifierFacebook;
extern QUILLON_EXPORT const char *const TULOServiceIdentifierTwitter;
