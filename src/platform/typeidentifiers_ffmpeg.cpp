#include <Quillon/platform/typeidentifiers.h>

#include <Quillon/platform/mediacontainerprobe_p.h>

#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

// A container whose files are videos or songs depending on what they carry.
struct TULOMediaContainer
{
    const char *family[4]; // the names the MIME database gives it
    const char *video;
    const char *audio;
};
constexpr TULOMediaContainer TULOMediaContainers[] = {
    {{"application/x-matroska", "video/x-matroska", "audio/x-matroska", nullptr}, "video/x-matroska", "audio/x-matroska"},
    {{"video/webm", "audio/webm", nullptr, nullptr}, "video/webm", "audio/webm"},
    {{"video/mp4", "audio/mp4", "audio/x-m4a", "video/x-m4v"}, "video/mp4", "audio/mp4"},
    {{"video/ogg", "audio/ogg", "audio/x-vorbis+ogg", "audio/x-opus+ogg"}, "video/ogg", "audio/ogg"},
};

const TULOMediaContainer *containerFor(const QString &type)
{
    for (const auto &container : TULOMediaContainers) {
        for (const char *name : container.family) {
            if (name && type == QLatin1String(name))
                return &container;
        }
    }
    return nullptr;
}

using Streams = TULOMediaStreams;

// FFmpeg's reading of the streams, for the files whose track list the probe cannot read.
Streams probeStreamsWithFFmpeg(const QString &path)
{
    // Broken files are answered with Unknown; the library's own complaints would only confuse.
    static const bool quiet = [] {
        av_log_set_level(AV_LOG_FATAL);
        return true;
    }();
    Q_UNUSED(quiet);
    AVFormatContext *context = nullptr;
    if (avformat_open_input(&context, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return Streams::Unknown;
    // Containers with headers list their streams at once; the others need a look at packets.
    if (context->nb_streams == 0 && avformat_find_stream_info(context, nullptr) < 0) {
        avformat_close_input(&context);
        return Streams::Unknown;
    }
    bool video = false;
    bool audio = false;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream *stream = context->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            video = true;
        else if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            audio = true;
    }
    avformat_close_input(&context);
    return video ? Streams::Video : audio ? Streams::AudioOnly : Streams::Unknown;
}

} // namespace

QString TULOTypeIdentifiers::typeForFile(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable())
        return QString();
    static const QMimeDatabase database; // thread-safe
    QMimeType mime = database.mimeTypeForFile(info, QMimeDatabase::MatchContent);
    if (mime.isDefault())
        mime = database.mimeTypeForFile(info, QMimeDatabase::MatchDefault);
    const QString type = mime.name();
    const TULOMediaContainer *container = containerFor(type);
    if (!container)
        return type;
    const QString absolutePath = info.absoluteFilePath();
    Streams streams = TULOProbeMediaStreams(absolutePath);
    if (streams == Streams::Unknown)
        streams = probeStreamsWithFFmpeg(absolutePath);
    switch (streams) {
    case Streams::Video:
        return QLatin1String(container->video);
    case Streams::AudioOnly:
        return QLatin1String(container->audio);
    case Streams::Unknown:
        break;
    }
    return type;
}
