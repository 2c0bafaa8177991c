#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QWidget>

#include <functional>
#include <memory>

// Status of the video behind a surface, numbered as a player item's.
enum TULOVideoSurfaceStatus : qint64 {
    TULOVideoSurfaceStatusUnknown = 0,
    TULOVideoSurfaceStatusReadyToPlay = 1,
    TULOVideoSurfaceStatusFailed = 2,
};

// Shows the frame of a video at the current time, aspect-fit on black. Opening and decoding
// happen on a thread of the surface's own; the main thread never waits for them. Seeks are
// exact; only the newest one is worked on, older ones finish as superseded. While seeks come
// fast, the key frame before each time shows first and the exact frame follows once they rest.
class QUILLON_EXPORT TULOVideoSurface : public QWidget
{
    Q_OBJECT

public:
    using SeekCompletion = std::function<void(bool finished)>;

    explicit TULOVideoSurface(QWidget *parent = nullptr);
    ~TULOVideoSurface() override;

    // Opens the file (off the main thread); statusChanged() follows.
    void setFilePath(const QString &filePath);
    QString filePath() const { return m_filePath; }

    qint64 status() const { return m_status; }
    TULOError error() const { return m_error; }
    double duration() const { return m_duration; }
    QSize videoSize() const { return m_videoSize; }

    // The time of the last seek, at once (the frame may still be coming).
    double currentTime() const { return m_currentTime; }
    // `completion` runs on the main thread with true once the exact frame shows, or false when a
    // later seek superseded this one.
    void seekToTime(double seconds, SeekCompletion completion = {});

    QImage currentFrame() const { return m_frame; }
    bool isShowingExactFrame() const { return m_frameIsExact; }
    // The frame at the current time at full size (decoded on the calling thread), or a null
    // image with the error.
    QImage copyFrameAtCurrentTime(TULOError *error = nullptr) const;

    QSize sizeHint() const override;

Q_SIGNALS:
    void statusChanged(qint64 status);
    // A seek was asked for (after clamping to the video).
    void seekRequested(double seconds);
    // A new frame shows; `exact` when it is the frame at the current time.
    void frameShown(bool exact);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Worker;
    void requestFrame();
    void deliverFrame(quint64 generation, const QImage &image, bool exact);

    QString m_filePath;
    qint64 m_status = TULOVideoSurfaceStatusUnknown;
    TULOError m_error;
    double m_duration = 0.0;
    QSize m_videoSize;
    double m_currentTime = 0.0;
    QImage m_frame;
    bool m_frameIsExact = false;
    quint64 m_generation = 0;
    SeekCompletion m_completion;
    std::shared_ptr<Worker> m_worker;
};
