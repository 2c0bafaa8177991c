#pragma once

#include <Quillon/quillon_export.h>

#include <QStringList>

// What the Facebook sign-in dialog is asked for: the read list is the dialog's own, sign-in
// asks for the write list.
QUILLON_EXPORT QStringList TULOFacebookReadPermissions();
QUILLON_EXPORT QStringList TULOFacebookWritePermissions();
