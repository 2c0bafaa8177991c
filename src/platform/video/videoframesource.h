#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QList>
#include <QSize>
#include <QString>

#include <functional>
#include <memory>

// Errors of the video frame source, in TULOVideoErrorDomain.
inline constexpr TULOErrorDomainName TULOVideoErrorDomain{"TULOVideoErrorDomain"};
enum TULOVideoErrorCode {
    TULOVideoErrorCannotOpen = 1,     // missing file, unknown container, truncated header
    TULOVideoErrorNoVideoStream = 2,  // a file with audio only, or no decoder for its codec
    TULOVideoErrorNotOpen = 3,        // a frame was asked for before a successful open()
    TULOVideoErrorNoFrame = 4,        // the stream ends (or breaks) before any frame decodes
    TULOVideoErrorCancelled = 5,      // the cancellation check answered true
};

// Frames of a video file, decoded with FFmpeg. Exact frames: a request seeks backward to the
// key frame before the time and decodes from there the last frame at or before it, with only
// the frames that one is built on. Frames
// come out upright (the stream's display matrix applied) and scaled to fit `maxSize` when one
// is given. One thread at a time: the decoder state is not shared.
class QUILLON_EXPORT TULOVideoFrameSource
{
public:
    explicit TULOVideoFrameSource(const QString &filePath);
    ~TULOVideoFrameSource();

    TULOVideoFrameSource(const TULOVideoFrameSource &) = delete;
    TULOVideoFrameSource &operator=(const TULOVideoFrameSource &) = delete;

    bool open(TULOError *error = nullptr);
    bool isOpen() const;
    QString filePath() const { return m_filePath; }

    double duration() const;          // seconds; 0 when unknown
    QSize displaySize() const;        // rotation and pixel aspect applied
    int rotation() const;             // clockwise degrees: 0, 90, 180 or 270
    double frameRate() const;         // the stream's average rate, 0 when unknown

    // The last frame at or before `seconds` (clamped to the video); the first frame when the
    // video starts later than that.
    QImage frameAtTime(double seconds, const QSize &maxSize = {}, TULOError *error = nullptr);
    // The key frame at or before `seconds`: one decoded frame, for a quick first look while
    // the exact frame is still coming. Only that frame is decoded; the next exact request seeks.
    QImage keyFrameAtTime(double seconds, const QSize &maxSize = {}, TULOError *error = nullptr);
    // The first frame that is not almost uniformly dark or light, looking through the first
    // seconds; the very first frame when all of them are.
    QImage firstGoodFrame(const QSize &maxSize = {}, TULOError *error = nullptr);

    // Asked between decoded frames (after open()); true abandons the request with
    // TULOVideoErrorCancelled.
    void setCancellationCheck(std::function<bool()> check);
    // While scrubbing, requests come in quick succession, mostly a little apart: each keeps
    // the decoder going a few frames past its frame, so that the next one can follow on from
    // there without a seek. Otherwise (the default) a request decodes only what its frame needs.
    void setScrubbing(bool scrubbing);
    // Whether the frame at `seconds` needs no seek: the one returned last, or one that follows
    // on from it.
    bool isNearDecodePosition(double seconds) const;

    // The time of the key frame keyFrameAtTime() would return, from the file's index; -1 when
    // the file has no index.
    double keyFrameTime(double seconds) const;

    // The times of the key frames the file's index lists, in order; empty without an index.
    QList<double> keyFrameTimes() const;

    // The presentation time (seconds) of the frame the last request returned.
    double lastFrameTime() const;

private:
    QImage decodedFrame(double seconds, bool keyFrameOnly, const QSize &maxSize, TULOError *error);

    struct Private;
    QString m_filePath;
    std::unique_ptr<Private> d;
};
