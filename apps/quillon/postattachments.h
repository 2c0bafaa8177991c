#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/error.h>

#include <QString>

// The attachment for a file named on the command line, typed by its content (not its name).
// Photos are read into memory so that preparation strips their metadata and nothing refers
// to the user's file afterwards; songs and videos stay file attachments, songs with their tags
// (title, explicit flag) and embedded artwork as the cover image. A missing, unreadable,
// empty or unsupported file gives nothing, with an error naming it.
TULOAttachmentPtr TULOPostAttachmentForFile(const QString &path, TULOError *error = nullptr);
