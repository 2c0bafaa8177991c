// libsndfile is opened when a sound is first read or written, not when the program starts: it
// brings its codecs' libraries (FLAC, Vorbis, Opus, MPEG audio) with it, which a job without
// sound would load for nothing. As for FFmpeg (ffmpeglibraries_p.h), the framework calls the
// functions by their own names, defined here (hidden) to forward to the library; a function
// newly used needs its line here.

#include <QtGlobal>

#include <sndfile.h>

#include <dlfcn.h>

namespace {

void *sndfileFunction(const char *name)
{
    // Opened once, under the compiler's thread-safe guard.
    static void *const library = [] {
        void *handle = dlopen("libsndfile.so.1", RTLD_NOW | RTLD_LOCAL);
        if (!handle)
            qFatal("Quillon: the sound file library libsndfile.so.1 cannot be loaded: %s", dlerror());
        return handle;
    }();
    void *function = dlsym(library, name);
    if (!function)
        qFatal("Quillon: the libsndfile function %s cannot be found: %s", name, dlerror());
    return function;
}

} // namespace

// With the header's own declaration: the compiler refuses a definition that does not match it.
#define TULO_SNDFILE(result, name, parameters, arguments)                                            \
    extern "C" result name parameters                                                              \
    {                                                                                              \
        static const auto real = reinterpret_cast<decltype(&name)>(sndfileFunction(#name));       \
        return real arguments;                                                                     \
    }

TULO_SNDFILE(SNDFILE *, sf_open, (const char *path, int mode, SF_INFO *info), (path, mode, info))
TULO_SNDFILE(int, sf_close, (SNDFILE * file), (file))
TULO_SNDFILE(int, sf_error, (SNDFILE * file), (file))
TULO_SNDFILE(const char *, sf_strerror, (SNDFILE * file), (file))
TULO_SNDFILE(sf_count_t, sf_seek, (SNDFILE * file, sf_count_t frames, int whence), (file, frames, whence))
TULO_SNDFILE(sf_count_t, sf_readf_float, (SNDFILE * file, float *frames, sf_count_t count), (file, frames, count))
TULO_SNDFILE(sf_count_t, sf_writef_short, (SNDFILE * file, const short *frames, sf_count_t count), (file, frames, count))
