#pragma once

// FFmpeg is opened when a video or song is first looked at, not when the program starts:
// libavformat and libavcodec bring some hundred and thirty libraries with them, whose loading
// would cost every start (a command-line --help included) tens of milliseconds. The framework
// calls the FFmpeg functions it uses by their own names; ffmpeglibraries.cpp defines each of
// them (hidden, so nothing outside the framework sees them) to forward to the library, which
// is opened by its ABI version on the first call. A function newly used needs its line there.
class TULOFFmpegLibraries
{
public:
    enum Library { AVUtil, AVCodec, AVFormat, SWScale };

    // The function `name` of `library`, opening it (and those it needs) on first use. Ends the
    // process with a clear message when the library or the function is missing, as the
    // dynamic linker did when FFmpeg was linked in.
    static void *symbol(Library library, const char *name);
    // True once any FFmpeg library is open in this process.
    static bool isLoaded();
};
