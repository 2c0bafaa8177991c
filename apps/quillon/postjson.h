#pragma once

#include <Quillon/platform/records/postdescription.h>

#include <QJsonObject>

// The post description as the command line prints it (--dry-run --json): every field that is
// set, each attachment with its file path and its cover-image child. Unset lists are left out,
// as the upload leaves them out.
QJsonObject TULOPostDescriptionJSON(const TULOPostDescription &description);
QJsonObject TULOPostAttachmentJSON(const TULOPostAttachment &attachment);
