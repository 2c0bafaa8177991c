#pragma once

#include <QStringList>

// What the Facebook sign-in dialog is asked for: the read list is the dialog's own, sign-in
// asks for the write list.
QStringList TULOFacebookReadPermissions();
QStringList TULOFacebookWritePermissions();
