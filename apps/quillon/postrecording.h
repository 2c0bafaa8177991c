#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/error.h>

#include <QString>

// Records a sound bite of at most `seconds` through the voice recorder, from the microphone or,
// when `captureFromPath` is given, from that audio file played in real time (for machines
// without one). The recording is a CAF file in the temporary directory; the attachment refers to
// it. Runs the event loop until the recorder stops at its limit. Nothing, with the error, when
// the device cannot start or the take is empty.
TULOAttachmentPtr TULOPostRecordSoundBite(double seconds, const QString &captureFromPath, TULOError *error = nullptr);
