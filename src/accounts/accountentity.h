#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>

// Columns of the account table.
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyAuthenticationSecret;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyAuthenticationToken;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyAuthorIdentity;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyAuthorType;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyEnabled;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyFullName;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyPreferredPageIdentifier;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyServiceIdentifier;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyRegistered;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyUserIdentifier;
extern QUILLON_EXPORT const char *const TULOAccountEntityPropertyUserName;
