#include <Quillon/platform/video/videoframesource.h>

#include <QTransform>

#include <cmath>
#include <functional>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}


namespace {

TULOError videoError(TULOVideoErrorCode code, const QString &description, const QString &path, int averror = 0)
{
    QVariantMap info{{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                     {QString::fromLatin1(TULOFilePathErrorKey), path}};
    if (averror != 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(averror, text, sizeof text);
        info.insert(QString::fromLatin1(TULOLocalizedFailureReasonKey), QString::fromUtf8(text));
    }
    return TULOError(TULOVideoErrorDomain, code, info);
}

int64_t framePts(const AVFrame *frame)
{
    if (frame->best_effort_timestamp != AV_NOPTS_VALUE)
        return frame->best_effort_timestamp;
    return frame->pts;
}

// How packets of a stream stored with NAL unit lengths (H.264 and HEVC in MP4, MOV, Matroska)
// tell which pictures no other picture refers to.
struct NalLayout
{
    AVCodecID codec = AV_CODEC_ID_NONE; // NONE: not such a stream
    int lengthSize = 0;
    int topTemporalId = 0; // HEVC: pictures of lower sub-layers may be referred to from above
};

NalLayout nalLayoutOf(const AVCodecParameters *parameters)
{
    const uint8_t *extra = parameters->extradata;
    if (parameters->codec_id == AV_CODEC_ID_H264 && parameters->extradata_size >= 7 && extra[0] == 1)
        return {AV_CODEC_ID_H264, (extra[4] & 3) + 1, 0};
    if (parameters->codec_id == AV_CODEC_ID_HEVC && parameters->extradata_size >= 23 && extra[0] == 1
        && (extra[21] >> 3) & 7)
        return {AV_CODEC_ID_HEVC, (extra[21] & 3) + 1, ((extra[21] >> 3) & 7) - 1};
    return {};
}

// Whether a packet holds only pictures no other picture refers to, and nothing else the
// decoder keeps (no SEI): leaving it out changes no other frame. Anything that does not parse
// cleanly counts as referenced.
bool isUnreferencedPacket(const AVPacket *packet, const NalLayout &layout)
{
    if (layout.codec == AV_CODEC_ID_NONE)
        return false;
    const uint8_t *data = packet->data;
    int left = packet->size;
    bool picture = false;
    while (left > layout.lengthSize) {
        uint32_t length = 0;
        for (int i = 0; i < layout.lengthSize; ++i)
            length = (length << 8) | data[i];
        data += layout.lengthSize;
        left -= layout.lengthSize;
        if (length < 2 || length > uint32_t(left))
            return false;
        if (layout.codec == AV_CODEC_ID_H264) {
            const int type = data[0] & 0x1f;
            if (type == 6)
                return false; // SEI
            if (type >= 1 && type <= 5) {
                if ((data[0] >> 5) & 3)
                    return false; // nal_ref_idc
                picture = true;
            }
        } else {
            const int type = (data[0] >> 1) & 0x3f;
            const int temporalId = (data[1] & 7) - 1;
            if (type == 39 || type == 40)
                return false; // SEI
            if (type < 32) {
                // Sub-layer non-reference pictures (even types up to 14) of the top sub-layer.
                if (type > 14 || type % 2 != 0 || temporalId != layout.topTemporalId)
                    return false;
                picture = true;
            }
        }
        data += length;
        left -= int(length);
    }
    return picture && left == 0;
}

// Clockwise degrees the frame must turn to stand upright, snapped to quarter turns.
int rotationOfStream(const AVStream *stream)
{
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
    const AVPacketSideData *sd = av_packet_side_data_get(stream->codecpar->coded_side_data,
                                                         stream->codecpar->nb_coded_side_data,
                                                         AV_PKT_DATA_DISPLAYMATRIX);
    const uint8_t *matrix = sd ? sd->data : nullptr;
#else
    const uint8_t *matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
#endif
    if (!matrix)
        return 0;
    const double counterClockwise = av_display_rotation_get(reinterpret_cast<const int32_t *>(matrix));
    if (std::isnan(counterClockwise))
        return 0;
    const long quarter = std::lround(-counterClockwise / 90.0);
    return int(((quarter % 4) + 4) % 4) * 90;
}

} // namespace

struct TULOVideoFrameSource::Private
{
    AVFormatContext *format = nullptr;
    AVCodecContext *codec = nullptr;
    AVStream *stream = nullptr;
    // A converter per size in use (key frames at a thumbnail's size, exact frames at the view's,
    // the full-size cover), so that sizes asked for in turn do not set one up again each time.
    static constexpr int ConverterCount = 3;
    SwsContext *sws[ConverterCount] = {};
    QSize swsTarget[ConverterCount];
    quint64 swsUsed[ConverterCount] = {};
    quint64 swsUses = 0;
    AVPacket *packet = nullptr;
    AVFrame *decoded = nullptr;
    // The decoder's position after the last request: `kept` is the frame returned, `pending`
    // the first frame after it (already decoded). A later time in the same run of frames
    // continues from here instead of seeking again.
    AVFrame *kept = nullptr;
    AVFrame *pending = nullptr;
    bool positionValid = false;
    // False after a key frame decoded on its own: the decoder was drained and holds no
    // references, so the next frame needs a seek.
    bool continuable = true;
    bool endOfStream = false;
    bool flushing = false;
    // Frames of packets before this time are not needed for the answer: non-reference ones
    // are not decoded at all (AV_NOPTS_VALUE: decode everything).
    int64_t skipBefore = AV_NOPTS_VALUE;
    // After a request that read ahead: `kept` stays the answer for times before this one (the
    // next frame's time, or a bound below it), so asking again, e.g. at another size, decodes
    // nothing.
    int64_t keptUntil = AV_NOPTS_VALUE;
    // The packets from a seek to just past the time asked for; kept to reuse their storage.
    std::vector<AVPacket *> run;
    std::function<bool()> cancelCheck;
    bool cancelled = false;
    bool scrubbing = false;

    int rotation = 0;
    QSize displaySize;
    double duration = 0.0;
    double frameRate = 0.0;
    int64_t startPts = 0;
    NalLayout nalLayout;

    ~Private()
    {
        for (SwsContext *context : sws)
            sws_freeContext(context);
        av_frame_free(&pending);
        av_frame_free(&kept);
        av_frame_free(&decoded);
        for (AVPacket *queued : run)
            av_packet_free(&queued);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }

    double timeBase() const { return av_q2d(stream->time_base); }

    int64_t ptsForSeconds(double seconds) const
    {
        seconds = std::clamp(seconds, 0.0, duration > 0.0 ? duration : seconds);
        return startPts + int64_t(std::floor(seconds / timeBase() + 0.5));
    }

    void resetPosition()
    {
        av_frame_unref(kept);
        av_frame_unref(pending);
        positionValid = false;
        keptUntil = AV_NOPTS_VALUE;
        continuable = true;
        endOfStream = false;
        flushing = false;
    }

    bool seekTo(int64_t pts)
    {
        resetPosition();
        const int result = av_seek_frame(format, stream->index, pts, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(codec);
        return result >= 0;
    }

    // The next decoded frame into `decoded`; false at the end of the stream. A broken packet
    // is skipped, and a read error (a truncated file) counts as the end.
    bool decodeNext()
    {
        for (;;) {
            const int received = avcodec_receive_frame(codec, decoded);
            if (received == 0)
                return true;
            if (received != AVERROR(EAGAIN)) {
                endOfStream = true;
                return false;
            }
            if (flushing) {
                endOfStream = true;
                return false;
            }
            const int read = av_read_frame(format, packet);
            if (read < 0) {
                flushing = true;
                avcodec_send_packet(codec, nullptr);
                continue;
            }
            if (packet->stream_index == stream->index) {
                const bool early = skipBefore != AV_NOPTS_VALUE && packet->pts != AV_NOPTS_VALUE && packet->pts < skipBefore;
                codec->skip_frame = early ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
                avcodec_send_packet(codec, packet);
            }
            av_packet_unref(packet);
        }
    }

    // The next packet of the stream decoded on its own into `decoded`: the packet, then a
    // drain, so that neither frame threads nor reordering make later packets decode with it.
    bool decodeAlone()
    {
        // A broken packet gives no frame; the next one may.
        for (int attempt = 0; attempt < 8; ++attempt) {
            int read = 0;
            while ((read = av_read_frame(format, packet)) >= 0 && packet->stream_index != stream->index)
                av_packet_unref(packet);
            if (read < 0) {
                endOfStream = true;
                return false;
            }
            codec->skip_frame = AVDISCARD_DEFAULT;
            avcodec_send_packet(codec, packet);
            av_packet_unref(packet);
            avcodec_send_packet(codec, nullptr);
            const int received = avcodec_receive_frame(codec, decoded);
            avcodec_flush_buffers(codec);
            continuable = false;
            if (received == 0)
                return true;
        }
        return false;
    }

    // Whether decoding forward from the kept frame reaches `target` no later than a seek would:
    // no key frame lies between them.
    bool canContinueTo(int64_t target) const
    {
        if (!positionValid || !continuable || !kept->buf[0] || target < framePts(kept))
            return false;
        const int entry = av_index_search_timestamp(stream, target, AVSEEK_FLAG_BACKWARD);
        if (entry >= 0) {
            const AVIndexEntry *key = avformat_index_get_entry(stream, entry);
            return key && key->timestamp <= framePts(kept);
        }
        // No index (some streams have none): a short way forward is cheaper than a seek.
        return (target - framePts(kept)) * timeBase() < 1.0;
    }

    // Leaves in `kept` the last frame at or before `target` (or the first frame when the
    // stream starts after it). With `keyFrameOnly`, the first frame after the seek.
    bool decodeTo(int64_t target, bool keyFrameOnly)
    {
        cancelled = false;
        if (keyFrameOnly)
            return decodeRun(target, true);
        if (holdsAnswerFor(target))
            return true;
        if (!scrubbing && !canContinueTo(target)) {
            switch (decodeFromSeek(target)) {
            case Outcome::Done:
                return true;
            case Outcome::Cancelled:
                return false;
            case Outcome::Unsure:
                break;
            }
        }
        // Skipping is safe while frames keep coming closer than the margin; after a gap in a
        // variable-rate stream the answer may have been skipped, so decode that run in full.
        // Three frames of the stream's rate (a quarter second at most): every frame skipped is
        // a frame not decoded.
        const double marginSeconds = frameRate > 0.0 ? std::min(0.25, 3.0 / frameRate) : 0.25;
        const int64_t margin = int64_t(marginSeconds / timeBase());
        skipBefore = target - margin;
        const bool ok = decodeRun(target, false);
        skipBefore = AV_NOPTS_VALUE;
        if (ok && !cancelled && kept->buf[0] && framePts(kept) < target - margin && framePts(kept) >= startPts) {
            seekTo(target);
            return decodeRun(target, false);
        }
        return ok;
    }

    bool holdsAnswerFor(int64_t target) const
    {
        return positionValid && kept->buf[0] && keptUntil != AV_NOPTS_VALUE && framePts(kept) <= target
               && target < keptUntil;
    }

    enum class Outcome { Done, Cancelled, Unsure };

    // The answer from the packets themselves: after a seek, the packets are read (not decoded)
    // up to the first whose decoding time is past `target`; no later packet can show earlier.
    // Their times name the answer, so only it and the frames it may refer to are decoded: the
    // frames before it that others refer to, never the frames after it in decoding order. A
    // drain then hands it out without decoding further frames to push it through. Unsure when
    // the container gives no decoding times, or the seek lands after the time: the caller
    // decodes forward frame by frame instead.
    Outcome decodeFromSeek(int64_t target)
    {
        if (!seekTo(target))
            return Outcome::Unsure;
        std::size_t count = 0;
        // Times guessed by the demuxer (some containers store none) may lag a little: a few
        // more packets settle the answer.
        int pastTarget = 0;
        // A long run (a stream with few key frames) is decoded as it is read instead: its
        // packets would take too much memory.
        constexpr int64_t RunBytesLimit = 64 * 1024 * 1024;
        int64_t runBytes = 0;
        const int64_t giveUpAfter = target + int64_t(1.0 / timeBase());
        bool atEnd = false;
        while (pastTarget < 4) {
            if (av_read_frame(format, packet) < 0) {
                atEnd = true;
                break;
            }
            if (packet->stream_index != stream->index) {
                av_packet_unref(packet);
                continue;
            }
            runBytes += packet->size;
            if (packet->pts == AV_NOPTS_VALUE || (packet->dts == AV_NOPTS_VALUE && packet->pts > giveUpAfter)
                || runBytes > RunBytesLimit) {
                av_packet_unref(packet);
                dropRun();
                return Outcome::Unsure;
            }
            if (packet->dts != AV_NOPTS_VALUE && packet->dts > target)
                ++pastTarget;
            if (count == run.size())
                run.push_back(av_packet_alloc());
            av_packet_move_ref(run[count++], packet);
        }
        std::size_t answer = count;
        for (std::size_t i = 0; i < count; ++i)
            if (run[i]->pts <= target && (answer == count || run[i]->pts > run[answer]->pts))
                answer = i;
        if (answer == count) {
            dropRun();
            return Outcome::Unsure; // the stream starts later, or the seek went too far
        }
        const int64_t answerPts = run[answer]->pts;
        int64_t until = atEnd || run[count - 1]->dts == AV_NOPTS_VALUE ? INT64_MAX : run[count - 1]->dts;
        for (std::size_t i = 0; i < count; ++i)
            if (run[i]->pts > answerPts)
                until = std::min(until, run[i]->pts);

        for (std::size_t i = 0; i <= answer; ++i) {
            // Packets nothing refers to stay out of the decoder entirely: handed to it only to
            // be skipped, each would still hold a frame thread and stall the ones that count.
            if (i != answer && isUnreferencedPacket(run[i], nalLayout))
                continue;
            if (cancelCheck && cancelCheck()) {
                dropRun();
                resetPosition();
                avcodec_flush_buffers(codec);
                cancelled = true;
                return Outcome::Cancelled;
            }
            codec->skip_frame = i == answer ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
            avcodec_send_packet(codec, run[i]);
            receiveUpTo(target);
        }
        dropRun();
        codec->skip_frame = AVDISCARD_DEFAULT;
        avcodec_send_packet(codec, nullptr);
        receiveUpTo(target);
        avcodec_flush_buffers(codec);
        // The decoder was drained: the next request seeks.
        continuable = false;
        // Not the frame the packets name (it did not decode, e.g. one that needs frames from
        // before the seek): decoding forward decides.
        if (!kept->buf[0] || framePts(kept) != answerPts)
            return Outcome::Unsure;
        positionValid = true;
        keptUntil = until;
        return Outcome::Done;
    }

    void dropRun()
    {
        for (AVPacket *queued : run)
            av_packet_unref(queued);
    }

    // Keeps in `kept` the latest frame out of the decoder at or before `target`.
    void receiveUpTo(int64_t target)
    {
        while (avcodec_receive_frame(codec, decoded) == 0) {
            if (framePts(decoded) <= target && (!kept->buf[0] || framePts(decoded) >= framePts(kept))) {
                av_frame_unref(kept);
                av_frame_move_ref(kept, decoded);
            } else {
                av_frame_unref(decoded);
            }
        }
    }

    bool decodeRun(int64_t target, bool keyFrameOnly)
    {
        if (!keyFrameOnly && canContinueTo(target)) {
            if (pending->buf[0] && framePts(pending) > target)
                return true;
            if (!pending->buf[0] && endOfStream)
                return true;
        } else {
            // A seek can land after the target when the index is coarse: step further back.
            const double steps[] = {0.0, 1.0, 4.0, 16.0, -1.0};
            bool landed = false;
            for (double back : steps) {
                const int64_t seekPts = back < 0 ? std::min<int64_t>(startPts, target)
                                                 : target - int64_t(back / timeBase());
                if (!seekTo(seekPts))
                    continue;
                if (!(keyFrameOnly ? decodeAlone() : decodeNext()))
                    continue;
                av_frame_move_ref(kept, decoded);
                positionValid = true;
                // A key frame is whatever the seek lands on: what a quick look at `target` shows.
                if (keyFrameOnly || framePts(kept) <= target || back < 0 || seekPts <= startPts) {
                    landed = true;
                    break;
                }
            }
            if (!landed)
                return positionValid;
            if (keyFrameOnly || framePts(kept) > target)
                return true;
        }
        for (;;) {
            if (cancelCheck && cancelCheck()) {
                // The decoder stays where it is: a later time in this run continues from here.
                cancelled = true;
                return false;
            }
            if (pending->buf[0]) {
                av_frame_unref(decoded);
                av_frame_move_ref(decoded, pending);
            } else if (!decodeNext()) {
                return true;
            }
            if (framePts(decoded) > target) {
                av_frame_move_ref(pending, decoded);
                return true;
            }
            av_frame_unref(kept);
            av_frame_move_ref(kept, decoded);
        }
    }

    QImage image(const AVFrame *frame, const QSize &maxSize)
    {
        QSize out = displaySize;
        if (maxSize.isValid() && !maxSize.isEmpty()
            && (out.width() > maxSize.width() || out.height() > maxSize.height()))
            out = out.scaled(maxSize, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
        const QSize coded = rotation % 180 ? out.transposed() : out;
        // The converter for this size, else the least recently used one.
        int slot = 0;
        for (int i = 0; i < ConverterCount; ++i) {
            if (swsTarget[i] == coded) {
                slot = i;
                break;
            }
            if (swsUsed[i] < swsUsed[slot])
                slot = i;
        }
        sws[slot] = sws_getCachedContext(sws[slot], frame->width, frame->height, AVPixelFormat(frame->format),
                                         coded.width(), coded.height(), AV_PIX_FMT_RGB32, SWS_BILINEAR,
                                         nullptr, nullptr, nullptr);
        swsTarget[slot] = coded;
        swsUsed[slot] = ++swsUses;
        if (!sws[slot])
            return {};
        QImage image(coded, QImage::Format_RGB32);
        uint8_t *planes[4] = {image.bits(), nullptr, nullptr, nullptr};
        int strides[4] = {int(image.bytesPerLine()), 0, 0, 0};
        sws_scale(sws[slot], frame->data, frame->linesize, 0, frame->height, planes, strides);
        if (rotation)
            image = image.transformed(QTransform().rotate(rotation));
        return image;
    }
};

TULOVideoFrameSource::TULOVideoFrameSource(const QString &filePath)
    : m_filePath(filePath)
{
}

TULOVideoFrameSource::~TULOVideoFrameSource() = default;

bool TULOVideoFrameSource::isOpen() const
{
    return d != nullptr;
}

bool TULOVideoFrameSource::open(TULOError *error)
{
    if (d)
        return true;
    auto p = std::make_unique<Private>();
    const QByteArray path = m_filePath.toUtf8();
    int result = avformat_open_input(&p->format, path.constData(), nullptr, nullptr);
    if (result < 0) {
        TULOSetError(error, videoError(TULOVideoErrorCannotOpen,
                                       QStringLiteral("The video file could not be opened."), m_filePath, result));
        return false;
    }
    result = avformat_find_stream_info(p->format, nullptr);
    if (result < 0) {
        TULOSetError(error, videoError(TULOVideoErrorCannotOpen,
                                       QStringLiteral("The video file could not be read."), m_filePath, result));
        return false;
    }
    const AVCodec *decoder = nullptr;
    const int index = av_find_best_stream(p->format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (index < 0 || !decoder) {
        TULOSetError(error, videoError(TULOVideoErrorNoVideoStream,
                                       QStringLiteral("The file holds no video that can be shown."), m_filePath, index < 0 ? index : 0));
        return false;
    }
    p->stream = p->format->streams[index];
    // Other streams are never read: demuxers skip their packets cheaply.
    for (unsigned i = 0; i < p->format->nb_streams; ++i)
        if (int(i) != index)
            p->format->streams[i]->discard = AVDISCARD_ALL;
    p->codec = avcodec_alloc_context3(decoder);
    if (!p->codec || avcodec_parameters_to_context(p->codec, p->stream->codecpar) < 0) {
        TULOSetError(error, videoError(TULOVideoErrorNoVideoStream,
                                       QStringLiteral("The file holds no video that can be shown."), m_filePath));
        return false;
    }
    p->codec->thread_count = 0;
    result = avcodec_open2(p->codec, decoder, nullptr);
    if (result < 0) {
        TULOSetError(error, videoError(TULOVideoErrorNoVideoStream,
                                       QStringLiteral("The video's format cannot be decoded."), m_filePath, result));
        return false;
    }
    p->nalLayout = nalLayoutOf(p->stream->codecpar);
    p->packet = av_packet_alloc();
    p->decoded = av_frame_alloc();
    p->kept = av_frame_alloc();
    p->pending = av_frame_alloc();

    if (p->stream->start_time != AV_NOPTS_VALUE)
        p->startPts = p->stream->start_time;
    if (p->stream->duration != AV_NOPTS_VALUE && p->stream->duration > 0)
        p->duration = p->stream->duration * p->timeBase();
    else if (p->format->duration != AV_NOPTS_VALUE && p->format->duration > 0)
        p->duration = double(p->format->duration) / AV_TIME_BASE;
    if (p->stream->avg_frame_rate.num > 0 && p->stream->avg_frame_rate.den > 0)
        p->frameRate = av_q2d(p->stream->avg_frame_rate);

    p->rotation = rotationOfStream(p->stream);
    QSize size(p->codec->width, p->codec->height);
    const AVRational sar = av_guess_sample_aspect_ratio(p->format, p->stream, nullptr);
    if (sar.num > 0 && sar.den > 0 && sar.num != sar.den)
        size.setWidth(int(std::lround(size.width() * av_q2d(sar))));
    p->displaySize = p->rotation % 180 ? size.transposed() : size;
    d = std::move(p);
    return true;
}

double TULOVideoFrameSource::duration() const
{
    return d ? d->duration : 0.0;
}

QSize TULOVideoFrameSource::displaySize() const
{
    return d ? d->displaySize : QSize();
}

int TULOVideoFrameSource::rotation() const
{
    return d ? d->rotation : 0;
}

double TULOVideoFrameSource::frameRate() const
{
    return d ? d->frameRate : 0.0;
}

void TULOVideoFrameSource::setCancellationCheck(std::function<bool()> check)
{
    if (d)
        d->cancelCheck = std::move(check);
}

void TULOVideoFrameSource::setScrubbing(bool scrubbing)
{
    if (d)
        d->scrubbing = scrubbing;
}

bool TULOVideoFrameSource::isNearDecodePosition(double seconds) const
{
    if (!d)
        return false;
    const int64_t target = d->ptsForSeconds(seconds);
    return d->holdsAnswerFor(target) || d->canContinueTo(target);
}

double TULOVideoFrameSource::keyFrameTime(double seconds) const
{
    if (!d)
        return -1.0;
    const int entry = av_index_search_timestamp(d->stream, d->ptsForSeconds(seconds), AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry *key = entry >= 0 ? avformat_index_get_entry(d->stream, entry) : nullptr;
    return key ? std::max(0.0, (key->timestamp - d->startPts) * d->timeBase()) : -1.0;
}

QList<double> TULOVideoFrameSource::keyFrameTimes() const
{
    QList<double> times;
    if (!d)
        return times;
    const int count = avformat_index_get_entries_count(d->stream);
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry *entry = avformat_index_get_entry(d->stream, i);
        if (entry && (entry->flags & AVINDEX_KEYFRAME) && entry->timestamp != AV_NOPTS_VALUE)
            times.append(std::max(0.0, (entry->timestamp - d->startPts) * d->timeBase()));
    }
    return times;
}

double TULOVideoFrameSource::lastFrameTime() const
{
    if (!d || !d->positionValid || !d->kept->buf[0])
        return 0.0;
    return (framePts(d->kept) - d->startPts) * d->timeBase();
}


QImage TULOVideoFrameSource::frameAtTime(double seconds, const QSize &maxSize, TULOError *error)
{
    return decodedFrame(seconds, false, maxSize, error);
}

QImage TULOVideoFrameSource::keyFrameAtTime(double seconds, const QSize &maxSize, TULOError *error)
{
    return decodedFrame(seconds, true, maxSize, error);
}

QImage TULOVideoFrameSource::decodedFrame(double seconds, bool keyFrameOnly, const QSize &maxSize, TULOError *error)
{
    if (!d) {
        TULOSetError(error, videoError(TULOVideoErrorNotOpen, QStringLiteral("The video is not open."), m_filePath));
        return {};
    }
    const bool decoded = d->decodeTo(d->ptsForSeconds(seconds), keyFrameOnly);
    if (d->cancelled) {
        TULOSetError(error, videoError(TULOVideoErrorCancelled, QStringLiteral("The frame request was cancelled."), m_filePath));
        return {};
    }
    if (!decoded || !d->kept->buf[0]) {
        TULOSetError(error, videoError(TULOVideoErrorNoFrame,
                                       QStringLiteral("No frame of the video could be decoded."), m_filePath));
        return {};
    }
    return d->image(d->kept, maxSize);
}

QImage TULOVideoFrameSource::firstGoodFrame(const QSize &maxSize, TULOError *error)
{
    QImage first = frameAtTime(0.0, maxSize, error);
    if (first.isNull())
        return first;
    // Fades from black and title cards of one colour make poor covers: look a few seconds on.
    const auto isPlain = [](const QImage &image) {
        const QImage small = image.scaled(16, 16, Qt::IgnoreAspectRatio, Qt::FastTransformation);
        double sum = 0, sumSquares = 0;
        for (int y = 0; y < small.height(); ++y)
            for (int x = 0; x < small.width(); ++x) {
                const double gray = qGray(small.pixel(x, y));
                sum += gray;
                sumSquares += gray * gray;
            }
        const double n = small.width() * small.height();
        const double mean = sum / n;
        return sumSquares / n - mean * mean < 64.0;
    };
    if (!isPlain(first))
        return first;
    const double step = d->frameRate > 0 ? std::max(1.0 / d->frameRate, 0.1) : 0.1;
    const double end = std::min(d->duration, 5.0);
    for (double t = step; t < end; t += step) {
        QImage image = frameAtTime(t, maxSize);
        if (image.isNull())
            break;
        if (!isPlain(image))
            return image;
    }
    frameAtTime(0.0);
    return first;
}
