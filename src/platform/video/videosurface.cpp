#include <Quillon/platform/video/videosurface.h>

#include <Quillon/platform/video/videoframesource.h>

#include <QPainter>

#include <QHash>

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {
// Seeks closer together than this count as a moving thumb: key frames first.
constexpr auto TULOFastSeekInterval = std::chrono::milliseconds(150);
// How long the thumb must rest before the exact frame is decoded after a key frame.
constexpr auto TULOSeekRestInterval = std::chrono::milliseconds(40);
} // namespace

struct TULOVideoSurface::Worker
{
    std::mutex mutex;
    std::condition_variable wake;
    TULOVideoSurface *surface = nullptr; // null once the surface is gone
    bool stop = false;
    QString openPath;
    bool openRequested = false;
    bool hasRequest = false;
    double time = 0.0;
    QSize maxSize;
    quint64 generation = 0;
    bool fast = false;
    std::chrono::steady_clock::time_point lastRequest;
    // Bumped by every request, so a decode under way can see that it is stale.
    std::atomic<quint64> serial = 0;

    // Key frames already shown, by time and size: scrubbing back and forth shows them at once.
    QHash<QString, QImage> keyFrames;

    QImage keyFrame(TULOVideoFrameSource &source, double t, const QSize &size)
    {
        const double keyTime = source.keyFrameTime(t);
        const QString key = QStringLiteral("%1@%2x%3").arg(qint64(std::llround(keyTime * 1000.0))).arg(size.width()).arg(size.height());
        if (keyTime >= 0.0) {
            const auto found = keyFrames.constFind(key);
            if (found != keyFrames.constEnd())
                return *found;
        }
        QImage image = source.keyFrameAtTime(t, size);
        if (keyTime >= 0.0 && !image.isNull()) {
            if (keyFrames.size() >= 256)
                keyFrames.clear();
            keyFrames.insert(key, image);
        }
        return image;
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
                const QString path = openPath;
                lock.unlock();
                source = std::make_unique<TULOVideoFrameSource>(path);
                keyFrames.clear();
                TULOError error;
                const bool opened = source->open(&error);
                const double duration = source->duration();
                const QSize size = source->displaySize();
                if (!opened)
                    source.reset();
                post([opened, error, duration, size](TULOVideoSurface *s) {
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
                continue;
            }
            hasRequest = false;
            const double t = time;
            const QSize size = maxSize;
            const quint64 request = generation;
            const bool moving = fast;
            const quint64 mySerial = serial;
            lock.unlock();
            if (!source)
                continue;
            source->setCancellationCheck([this, mySerial] { return serial != mySerial; });
            if (!source->isNearDecodePosition(t)) {
                post([request, quick = keyFrame(*source, t, size)](TULOVideoSurface *s) {
                    s->deliverFrame(request, quick, false);
                });
                if (moving) {
                    lock.lock();
                    if (wake.wait_for(lock, TULOSeekRestInterval, [this] { return stop || hasRequest || openRequested; }))
                        continue;
                    lock.unlock();
                }
            }
            TULOError error;
            const QImage exact = source->frameAtTime(t, size, &error);
            if (error.is(TULOVideoErrorDomain, TULOVideoErrorCancelled))
                continue;
            post([request, exact](TULOVideoSurface *s) { s->deliverFrame(request, exact, true); });
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
    m_filePath = filePath;
    m_status = TULOVideoSurfaceStatusUnknown;
    m_error = {};
    m_duration = 0.0;
    m_frame = {};
    {
        std::lock_guard lock(m_worker->mutex);
        m_worker->openPath = filePath;
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
    ++m_generation;
    if (m_completion)
        std::exchange(m_completion, {})(false);
    m_completion = std::move(completion);
    Q_EMIT seekRequested(seconds);
    if (m_status == TULOVideoSurfaceStatusReadyToPlay)
        requestFrame();
    else if (m_status == TULOVideoSurfaceStatusFailed && m_completion)
        std::exchange(m_completion, {})(false);
}

void TULOVideoSurface::requestFrame()
{
    const QSize logical = size().isEmpty() ? QSize(640, 360) : size();
    const QSize pixels = logical * devicePixelRatioF();
    {
        std::lock_guard lock(m_worker->mutex);
        const auto now = std::chrono::steady_clock::now();
        m_worker->fast = now - m_worker->lastRequest < TULOFastSeekInterval;
        m_worker->lastRequest = now;
        m_worker->hasRequest = true;
        m_worker->time = m_currentTime;
        m_worker->maxSize = pixels;
        m_worker->generation = m_generation;
        ++m_worker->serial;
    }
    m_worker->wake.notify_all();
}

void TULOVideoSurface::deliverFrame(quint64 generation, const QImage &image, bool exact)
{
    if (generation != m_generation)
        return;
    if (!image.isNull()) {
        m_frame = image;
        m_frameIsExact = exact;
        update();
        Q_EMIT frameShown(exact);
    }
    if (exact && m_completion)
        std::exchange(m_completion, {})(!image.isNull());
}

QImage TULOVideoSurface::copyFrameAtCurrentTime(TULOError *error) const
{
    TULOVideoFrameSource source(m_filePath);
    if (!source.open(error))
        return {};
    return source.frameAtTime(m_currentTime, {}, error);
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
