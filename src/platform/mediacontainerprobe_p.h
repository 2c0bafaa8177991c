#pragma once

#include <QString>

// Whether a media file carries pictures or only sound, read from the container's own track
// list (MP4 and QuickTime, Matroska and WebM, Ogg) without opening a decoder library: telling
// a video from a song is all that attaching a file needs, and FFmpeg would bring over a hundred
// libraries into the process for it. Files it cannot tell (damaged, unusual, or a container it
// does not read) answer Unknown, and the caller asks FFmpeg.
enum class TULOMediaStreams { Unknown, Video, AudioOnly };

TULOMediaStreams TULOProbeMediaStreams(const QString &path);
