#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QList>
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
// happen on threads of the surface's own; the main thread never waits for them. Seeks are
// exact; only the newest one is worked on, older ones finish as superseded. While seeks come
// fast, the nearest key frame shows at once (key frames are decoded ahead at a small size once
// the video is open) and the exact frame follows once they rest: each seek abandons the
// decode of the one before.
class QUILLON_EXPORT TULOVideoSurface : public QWidget
{
    Q_OBJECT

public:
    using SeekCompletion = std::function<void(bool finished)>;
    // Finds the file to open; it runs on the surface's thread, so it may block (a library
    // lookup). An empty path fails the surface with the error it wrote.
    using FileLocator = std::function<QString(TULOError *error)>;

    explicit TULOVideoSurface(QWidget *parent = nullptr);
    ~TULOVideoSurface() override;

    // Opens the file (off the main thread); statusChanged() follows.
    void setFilePath(const QString &filePath);
    // Opens the file `locate` finds (off the main thread); statusChanged() follows.
    void setFileLocator(FileLocator locate);
    // The file shown: as set, or as found once the status is known.
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

    // The times of the key frames decoded so far, in order: the ones a seek can show at once.
    QList<double> decodedKeyFrameTimes() const;

    QImage currentFrame() const { return m_frame; }
    bool isShowingExactFrame() const { return m_frameIsExact; }
    // The frame at the current time at the video's full size; null until fullSizeFrameReady()
    // (shortly after the exact frame, once the seeks rest) and again after every seek. It is
    // converted on the surface's thread from the frame decoded for the view, never decoded twice.
    QImage fullSizeFrame() const { return m_fullSizeFrame; }

    QSize sizeHint() const override;

Q_SIGNALS:
    void statusChanged(qint64 status);
    // A seek was asked for (after clamping to the video).
    void seekRequested(double seconds);
    // A new frame shows; `exact` when it is the frame at the current time.
    void frameShown(bool exact);
    // fullSizeFrame() holds the frame at the current time.
    void fullSizeFrameReady();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Worker;
    void requestFrame();
    void deliverFrame(quint64 generation, const QImage &image, bool exact, double frameTime);
    void deliverFullSizeFrame(quint64 generation, const QImage &image);
    void showNearestKeyFrame();

    QString m_filePath;
    qint64 m_status = TULOVideoSurfaceStatusUnknown;
    TULOError m_error;
    double m_duration = 0.0;
    QSize m_videoSize;
    double m_currentTime = 0.0;
    QImage m_frame;
    bool m_frameIsExact = false;
    QImage m_fullSizeFrame;
    double m_frameTime = 0.0; // of the frame shown
    quint64 m_generation = 0;
    quint64 m_file = 0; // bumped by every file set
    SeekCompletion m_completion;
    std::shared_ptr<Worker> m_worker;
};
