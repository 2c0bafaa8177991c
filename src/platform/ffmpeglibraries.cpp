#include <Quillon/platform/ffmpeglibraries_p.h>

#include <QtGlobal>

#include <atomic>

#include <dlfcn.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

// Some of these are deprecated in later FFmpeg versions, which the callers allow for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

std::atomic_bool opened{false};

#define TULO_SONAME(name, major) "lib" name ".so." QT_STRINGIFY(major)

void *open(TULOFFmpegLibraries::Library library)
{
    // By the major versions of the headers built against: their ABI.
    static const char *const names[] = {
        TULO_SONAME("avutil", LIBAVUTIL_VERSION_MAJOR),
        TULO_SONAME("avcodec", LIBAVCODEC_VERSION_MAJOR),
        TULO_SONAME("avformat", LIBAVFORMAT_VERSION_MAJOR),
        TULO_SONAME("swscale", LIBSWSCALE_VERSION_MAJOR),
    };
    const char *name = names[library];
    void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        qFatal("Quillon: the FFmpeg library %s cannot be loaded: %s", name, dlerror());
    opened = true;
    return handle;
}

} // namespace

void *TULOFFmpegLibraries::symbol(Library library, const char *name)
{
    // Function-local statics: each library is opened once, under the compiler's thread-safe guard.
    void *handle = nullptr;
    switch (library) {
    case AVUtil: {
        static void *const avutil = open(AVUtil);
        handle = avutil;
        break;
    }
    case AVCodec: {
        static void *const avcodec = open(AVCodec);
        handle = avcodec;
        break;
    }
    case AVFormat: {
        static void *const avformat = open(AVFormat);
        handle = avformat;
        break;
    }
    case SWScale: {
        static void *const swscale = open(SWScale);
        handle = swscale;
        break;
    }
    }
    void *function = dlsym(handle, name);
    if (!function)
        qFatal("Quillon: the FFmpeg function %s cannot be found: %s", name, dlerror());
    return function;
}

bool TULOFFmpegLibraries::isLoaded()
{
    return opened;
}

// Each function the framework calls, with the header's own declaration: the compiler refuses a
// definition that does not match it. The library's function is looked up on the first call.
#define TULO_FFMPEG(library, result, name, parameters, arguments)                                          \
    extern "C" result name parameters                                                                      \
    {                                                                                                      \
        static const auto real                                                                             \
            = reinterpret_cast<decltype(&name)>(TULOFFmpegLibraries::symbol(TULOFFmpegLibraries::library, #name)); \
        return real arguments;                                                                             \
    }

TULO_FFMPEG(AVUtil, void, av_log_set_level, (int level), (level))
TULO_FFMPEG(AVUtil, int, av_strerror, (int errnum, char *errbuf, size_t errbuf_size), (errnum, errbuf, errbuf_size))
TULO_FFMPEG(AVUtil, AVFrame *, av_frame_alloc, (void), ())
TULO_FFMPEG(AVUtil, void, av_frame_free, (AVFrame * *frame), (frame))
TULO_FFMPEG(AVUtil, void, av_frame_unref, (AVFrame * frame), (frame))
TULO_FFMPEG(AVUtil, void, av_frame_move_ref, (AVFrame * dst, AVFrame *src), (dst, src))
TULO_FFMPEG(AVUtil, double, av_display_rotation_get, (const int32_t matrix[9]), (matrix))

TULO_FFMPEG(AVCodec, AVPacket *, av_packet_alloc, (void), ())
TULO_FFMPEG(AVCodec, void, av_packet_free, (AVPacket * *packet), (packet))
TULO_FFMPEG(AVCodec, void, av_packet_unref, (AVPacket * packet), (packet))
TULO_FFMPEG(AVCodec, void, av_packet_move_ref, (AVPacket * destination, AVPacket * source), (destination, source))
TULO_FFMPEG(AVCodec, AVCodecContext *, avcodec_alloc_context3, (const AVCodec *codec), (codec))
TULO_FFMPEG(AVCodec, void, avcodec_free_context, (AVCodecContext * *context), (context))
TULO_FFMPEG(AVCodec, int, avcodec_parameters_to_context, (AVCodecContext * codec, const AVCodecParameters *parameters),
            (codec, parameters))
TULO_FFMPEG(AVCodec, int, avcodec_open2, (AVCodecContext * context, const AVCodec *codec, AVDictionary **options),
            (context, codec, options))
TULO_FFMPEG(AVCodec, int, avcodec_send_packet, (AVCodecContext * context, const AVPacket *packet), (context, packet))
TULO_FFMPEG(AVCodec, int, avcodec_receive_frame, (AVCodecContext * context, AVFrame *frame), (context, frame))
TULO_FFMPEG(AVCodec, void, avcodec_flush_buffers, (AVCodecContext * context), (context))
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
TULO_FFMPEG(AVCodec, const AVPacketSideData *, av_packet_side_data_get,
            (const AVPacketSideData *sideData, int count, enum AVPacketSideDataType type), (sideData, count, type))
#endif

TULO_FFMPEG(AVFormat, int, avformat_open_input,
            (AVFormatContext * *context, const char *url, const AVInputFormat *format, AVDictionary **options),
            (context, url, format, options))
TULO_FFMPEG(AVFormat, void, avformat_close_input, (AVFormatContext * *context), (context))
TULO_FFMPEG(AVFormat, int, avformat_find_stream_info, (AVFormatContext * context, AVDictionary **options),
            (context, options))
TULO_FFMPEG(AVFormat, int, av_find_best_stream,
            (AVFormatContext * context, enum AVMediaType type, int wanted, int related, const AVCodec **decoder, int flags),
            (context, type, wanted, related, decoder, flags))
TULO_FFMPEG(AVFormat, int, av_read_frame, (AVFormatContext * context, AVPacket *packet), (context, packet))
TULO_FFMPEG(AVFormat, int, av_seek_frame, (AVFormatContext * context, int stream, int64_t timestamp, int flags),
            (context, stream, timestamp, flags))
TULO_FFMPEG(AVFormat, int, av_index_search_timestamp, (AVStream * stream, int64_t timestamp, int flags),
            (stream, timestamp, flags))
TULO_FFMPEG(AVFormat, int, avformat_index_get_entries_count, (const AVStream *stream), (stream))
TULO_FFMPEG(AVFormat, const AVIndexEntry *, avformat_index_get_entry, (AVStream * stream, int index), (stream, index))
TULO_FFMPEG(AVFormat, AVRational, av_guess_sample_aspect_ratio, (AVFormatContext * context, AVStream *stream, AVFrame *frame),
            (context, stream, frame))
#if LIBAVFORMAT_VERSION_INT < AV_VERSION_INT(60, 15, 100)
TULO_FFMPEG(AVFormat, uint8_t *, av_stream_get_side_data, (const AVStream *stream, enum AVPacketSideDataType type, size_t *size),
            (stream, type, size))
#endif

TULO_FFMPEG(SWScale, struct SwsContext *, sws_getCachedContext,
            (struct SwsContext * context, int sourceWidth, int sourceHeight, enum AVPixelFormat sourceFormat,
             int width, int height, enum AVPixelFormat format, int flags, SwsFilter *sourceFilter,
             SwsFilter *filter, const double *parameters),
            (context, sourceWidth, sourceHeight, sourceFormat, width, height, format, flags, sourceFilter, filter,
             parameters))
TULO_FFMPEG(SWScale, int, sws_scale,
            (struct SwsContext * context, const uint8_t *const source[], const int sourceStride[], int sliceY,
             int sliceHeight, uint8_t *const destination[], const int destinationStride[]),
            (context, source, sourceStride, sliceY, sliceHeight, destination, destinationStride))
TULO_FFMPEG(SWScale, void, sws_freeContext, (struct SwsContext * context), (context))

#pragma GCC diagnostic pop
