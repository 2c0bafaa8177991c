#include <Quillon/platform/video/videosurface.h>

#include <Quillon/platform/video/videoframesource.h>

#include <QPainter>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace {
// Seeks closer together than this are a moving thumb: the decoder keeps going past each frame
// so that the next seek can follow on.
constexpr auto TULOScrubInterval = std::chrono::milliseconds(150);
// Key frames for a moving thumb are a glance, not a cover: small, and few enough that a long
// video costs some 25 MB and a second or two of decoding ahead.
constexpr QSize TULOKeyFrameBox(400, 400);
constexpr int TULOKeyFramesAhead = 64;
// With those decoded on request while scrubbing.
constexpr std::size_t TULOKeyFrameLimit = 96;

// At most `limit` indices of `count`, evenly spread and ordered coarse to fine, so that the
// first few already cover the whole video.
QList<qsizetype> TULOCoarseToFine(qsizetype count, qsizetype limit)
{
    const qsizetype chosen = std::min(count, limit);
    QList<qsizetype> ordered;
    std::vector<bool> taken(std::size_t(chosen), false);
    qsizetype step = 1;
    while (step * 2 < chosen)
        step *= 2;
    for (; step >= 1; step /= 2) {
        for (qsizetype i = 0; i < chosen; i += step) {
            if (!taken[std::size_t(i)]) {
                taken[std::size_t(i)] = true;
                ordered.append(chosen > 1 ? i * (count - 1) / (chosen - 1) : 0);
            }
        }
    }
    return ordered;
}
} // namespace

struct TULOVideoSurface::Worker : std::enable_shared_from_this<TULOVideoSurface::Worker>
{
    struct KeyFrame
    {
        QImage image;
        double time = 0.0; // of the frame itself
    };

    std::mutex mutex;
    std::condition_variable wake;
    TULOVideoSurface *surface = nullptr; // null once the surface is gone
    bool stop = false;
    FileLocator locate;
    quint64 openFile = 0;
    bool openRequested = false;
    bool hasRequest = false;
    double time = 0.0;
    QSize maxSize;
    quint64 generation = 0;
    // While an exact frame decodes, decoding ahead leaves the cores to it.
    bool decodingExact = false;
    bool scrubbing = false;
    std::chrono::steady_clock::time_point lastRequest;
    // Bumped by every request, so a decode under way can see that it is stale.
    std::atomic<quint64> serial = 0;
    // The file open now; key frames of an earlier one are dropped.
    std::atomic<quint64> file = 0;

    // Key frames decoded so far, by their key time in milliseconds (the index's time where the
    // file has an index). The main thread shows the nearest at once when the time changes.
    mutable std::mutex keyFramesMutex;
    std::map<qint64, KeyFrame> keyFrames;

    static qint64 keyOf(double seconds) { return qint64(std::llround(seconds * 1000.0)); }

    bool hasKeyFrame(double keyTime) const
    {
        std::lock_guard lock(keyFramesMutex);
        return keyFrames.count(keyOf(keyTime)) > 0;
    }

    void storeKeyFrame(quint64 ofFile, double keyTime, const QImage &image, double frameTime)
    {
        std::lock_guard lock(keyFramesMutex);
        if (!image.isNull() && file == ofFile && keyFrames.size() < TULOKeyFrameLimit)
            keyFrames.emplace(keyOf(keyTime), KeyFrame{image, frameTime});
    }

    // The decoded key frame whose frame lies nearest to `seconds`.
    std::optional<KeyFrame> nearestKeyFrame(double seconds) const
    {
        std::lock_guard lock(keyFramesMutex);
        if (keyFrames.empty())
            return std::nullopt;
        auto after = keyFrames.upper_bound(keyOf(seconds));
        if (after == keyFrames.begin())
            return after->second;
        auto before = std::prev(after);
        if (after != keyFrames.end()
            && std::abs(after->second.time - seconds) < std::abs(before->second.time - seconds))
            return after->second;
        return before->second;
    }

    // Runs `work` on the surface's thread, if the surface is still there.
    void post(std::function<void(TULOVideoSurface *)> work)
    {
        std::lock_guard lock(mutex);
        if (!surface)
            return;
        TULOVideoSurface *target = surface;
        QMetaObject::invokeMethod(target, [target, work = std::move(work)] { work(target); }, Qt::QueuedConnection);
    }

    void setDecodingExact(bool decoding)
    {
        {
            std::lock_guard lock(mutex);
            decodingExact = decoding;
        }
        wake.notify_all();
    }

    // Key frames across the whole video at a small size, on a decoder of their own, so that a
    // thumb moving anywhere finds one at once.
    void decodeAhead(const QString &path, quint64 ofFile)
    {
        TULOVideoFrameSource source(path);
        if (!source.open())
            return;
        // Index times may be decoding times, a little before the frames show: each key frame is
        // asked for halfway into its run. Files that index only a few (some Matroska files),
        // or none, are sampled evenly instead.
        const QList<double> keys = source.keyFrameTimes();
        const double duration = source.duration();
        const bool indexed = keys.size() * 10.0 >= duration;
        QList<double> times;
        for (qsizetype i = 0; indexed && i < keys.size(); ++i)
            times.append(i + 1 < keys.size() ? (keys[i] + keys[i + 1]) / 2 : std::min(duration, keys[i] + 0.5));
        for (int i = 0; !indexed && duration > 0.0 && i < TULOKeyFramesAhead; ++i)
            times.append(duration * i / TULOKeyFramesAhead);
        for (qsizetype i : TULOCoarseToFine(times.size(), TULOKeyFramesAhead)) {
            {
                std::unique_lock lock(mutex);
                wake.wait(lock, [&] { return stop || file != ofFile || !decodingExact; });
                if (stop || file != ofFile)
                    return;
            }
            if (indexed && hasKeyFrame(keys[i]))
                continue;
            const QImage image = source.keyFrameAtTime(times[i], TULOKeyFrameBox);
            storeKeyFrame(ofFile, indexed ? keys[i] : source.lastFrameTime(), image, source.lastFrameTime());
        }
    }

    // Opens the file asked for; false when it cannot be shown.
    std::unique_ptr<TULOVideoFrameSource> open(const FileLocator &find, quint64 ofFile)
    {
        file = ofFile;
        {
            std::lock_guard lock(keyFramesMutex);
            keyFrames.clear();
        }
        TULOError error;
        const QString path = find ? find(&error) : QString();
        auto source = std::make_unique<TULOVideoFrameSource>(path);
        // A path not found comes with the locator's reason; an empty one without it fails to
        // open like any missing file.
        const bool opened = !(path.isEmpty() && error) && source->open(&error);
        const double duration = opened ? source->duration() : 0.0;
        const QSize size = opened ? source->displaySize() : QSize();
        if (opened) {
            std::thread([self = shared_from_this(), path, ofFile] { self->decodeAhead(path, ofFile); }).detach();
        } else {
            source.reset();
        }
        post([opened, error, duration, size, path, ofFile](TULOVideoSurface *s) {
            if (s->m_file != ofFile)
                return;
            s->m_filePath = path.isEmpty() ? s->m_filePath : path;
            s->m_error = error;
            s->m_duration = duration;
            s->m_videoSize = size;
            s->m_status = opened ? TULOVideoSurfaceStatusReadyToPlay : TULOVideoSurfaceStatusFailed;
            if (!opened && s->m_completion)
                std::exchange(s->m_completion, {})(false);
            Q_EMIT s->statusChanged(s->m_status);
            if (opened && s->m_generation > 0)
                s->requestFrame();
        });
        return source;
    }

    void run()
    {
        std::unique_ptr<TULOVideoFrameSource> source;
        for (;;) {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] { return stop || openRequested || hasRequest; });
            if (stop)
                return;
            if (openRequested) {
                openRequested = false;
                const FileLocator find = locate;
                const quint64 ofFile = openFile;
                lock.unlock();
                source.reset();
                source = open(find, ofFile);
                continue;
            }
            hasRequest = false;
            const double t = time;
            const QSize size = maxSize;
            const quint64 request = generation;
            const quint64 mySerial = serial;
            const bool moving = scrubbing;
            lock.unlock();
            if (!source)
                continue;
            source->setCancellationCheck([this, mySerial] { return serial != mySerial; });
            source->setScrubbing(moving);
            if (!source->isNearDecodePosition(t)) {
                // The main thread showed the key frame already when it was decoded before.
                const double keyTime = source->keyFrameTime(t);
                if (keyTime < 0.0 || !hasKeyFrame(keyTime)) {
                    const QImage quick = source->keyFrameAtTime(t, size.boundedTo(TULOKeyFrameBox));
                    const double shown = source->lastFrameTime();
                    storeKeyFrame(file, keyTime < 0.0 ? shown : keyTime, quick, shown);
                    post([request, quick, shown](TULOVideoSurface *s) { s->deliverFrame(request, quick, false, shown); });
                }
            }
            // No waiting for the thumb to rest: a newer request abandons this decode within a
            // packet, and the exact frame comes as soon as it can when none does.
            setDecodingExact(true);
            TULOError error;
            const QImage exact = source->frameAtTime(t, size, &error);
            const double shown = source->lastFrameTime();
            setDecodingExact(false);
            if (error.is(TULOVideoErrorDomain, TULOVideoErrorCancelled))
                continue;
            post([request, exact, shown](TULOVideoSurface *s) { s->deliverFrame(request, exact, true, shown); });
            if (exact.isNull())
                continue;
            // The full-size frame (a cover) once the seeks rest: the decoder still holds the
            // frame, so this is a conversion of it, not a second decode.
            QImage full = exact;
            if (exact.size() != source->displaySize()) {
                {
                    std::lock_guard restLock(mutex);
                    if (stop || hasRequest || openRequested)
                        continue;
                }
                full = source->frameAtTime(t, {});
                if (full.isNull())
                    continue; // superseded meanwhile
            }
            post([request, full](TULOVideoSurface *s) { s->deliverFullSizeFrame(request, full); });
        }
    }
};

TULOVideoSurface::TULOVideoSurface(QWidget *parent)
    : QWidget(parent)
    , m_worker(std::make_shared<Worker>())
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAutoFillBackground(false);
    m_worker->surface = this;
    std::thread([worker = m_worker] { worker->run(); }).detach();
}

TULOVideoSurface::~TULOVideoSurface()
{
    {
        std::lock_guard lock(m_worker->mutex);
        m_worker->surface = nullptr;
        m_worker->stop = true;
    }
    m_worker->wake.notify_all();
    // The worker ends on its own after the frame it may be decoding; nobody waits for it.
}

void TULOVideoSurface::setFilePath(const QString &filePath)
{
    setFileLocator([filePath](TULOError *) { return filePath; });
    m_filePath = filePath;
}

void TULOVideoSurface::setFileLocator(FileLocator locate)
{
    m_filePath.clear();
    m_status = TULOVideoSurfaceStatusUnknown;
    m_error = {};
    m_duration = 0.0;
    m_frame = {};
    m_fullSizeFrame = {};
    ++m_file;
    {
        std::lock_guard lock(m_worker->mutex);
        m_worker->locate = std::move(locate);
        m_worker->openFile = m_file;
        m_worker->openRequested = true;
        m_worker->hasRequest = false;
    }
    m_worker->wake.notify_all();
    update();
}

void TULOVideoSurface::seekToTime(double seconds, SeekCompletion completion)
{
    if (!std::isfinite(seconds) || seconds < 0.0)
        seconds = 0.0;
    if (m_duration > 0.0 && seconds > m_duration)
        seconds = m_duration;
    m_currentTime = seconds;
    m_fullSizeFrame = {};
    ++m_generation;
    if (m_completion)
        std::exchange(m_completion, {})(false);
    m_completion = std::move(completion);
    Q_EMIT seekRequested(seconds);
    if (m_status == TULOVideoSurfaceStatusReadyToPlay) {
        showNearestKeyFrame();
        requestFrame();
    } else if (m_status == TULOVideoSurfaceStatusFailed && m_completion)
        std::exchange(m_completion, {})(false);
}

void TULOVideoSurface::requestFrame()
{
    const QSize logical = size().isEmpty() ? QSize(640, 360) : size();
    const QSize pixels = logical * devicePixelRatioF();
    {
        std::lock_guard lock(m_worker->mutex);
        const auto now = std::chrono::steady_clock::now();
        m_worker->scrubbing = now - m_worker->lastRequest < TULOScrubInterval;
        m_worker->lastRequest = now;
        m_worker->hasRequest = true;
        m_worker->time = m_currentTime;
        m_worker->maxSize = pixels;
        m_worker->generation = m_generation;
        ++m_worker->serial;
    }
    m_worker->wake.notify_all();
}

// The nearest frame decoded so far stands for the new time until the exact one comes: a key
// frame decoded ahead, or the frame shown when that is nearer.
void TULOVideoSurface::showNearestKeyFrame()
{
    const auto key = m_worker->nearestKeyFrame(m_currentTime);
    if (key && (m_frame.isNull() || std::abs(key->time - m_currentTime) < std::abs(m_frameTime - m_currentTime)))
        deliverFrame(m_generation, key->image, false, key->time);
    else if (!m_frame.isNull())
        deliverFrame(m_generation, m_frame, false, m_frameTime);
}

void TULOVideoSurface::deliverFrame(quint64 generation, const QImage &image, bool exact, double frameTime)
{
    if (generation != m_generation)
        return;
    if (!image.isNull()) {
        if (image.cacheKey() != m_frame.cacheKey()) {
            m_frame = image;
            update();
        }
        m_frameIsExact = exact;
        m_frameTime = frameTime;
        Q_EMIT frameShown(exact);
    }
    if (exact && m_completion)
        std::exchange(m_completion, {})(!image.isNull());
}

QList<double> TULOVideoSurface::decodedKeyFrameTimes() const
{
    QList<double> times;
    {
        std::lock_guard lock(m_worker->keyFramesMutex);
        for (const auto &entry : m_worker->keyFrames)
            times.append(entry.second.time);
    }
    std::sort(times.begin(), times.end());
    return times;
}

void TULOVideoSurface::deliverFullSizeFrame(quint64 generation, const QImage &image)
{
    if (generation != m_generation || image.isNull())
        return;
    m_fullSizeFrame = image;
    Q_EMIT fullSizeFrameReady();
}

QSize TULOVideoSurface::sizeHint() const
{
    return QSize(480, 270);
}

void TULOVideoSurface::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (m_frame.isNull())
        return;
    const QSize aspect = m_videoSize.isValid() ? m_videoSize : m_frame.size();
    QRectF target(QPointF(), QSizeF(aspect.scaled(size(), Qt::KeepAspectRatio)));
    target.moveCenter(QRectF(rect()).center());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, m_frame);
}

void TULOVideoSurface::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // A larger surface needs a sharper frame; a smaller one keeps the one it has.
    const QSize pixels = size() * devicePixelRatioF();
    if (m_status == TULOVideoSurfaceStatusReadyToPlay && m_generation > 0 && !m_frame.isNull()
        && (pixels.width() > m_frame.width() + 1 && pixels.height() > m_frame.height() + 1)
        && m_frame.size() != m_videoSize)
        requestFrame();
}
