#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QRect>
#include <QStringList>
#include <QUrl>

#include <functional>

class DemoStore;
class DemoWindow;
class QTimer;
class QWidget;
class TULOAttachmentAlertController;
class TULOComposePostViewController;

// One screen the script saved: the PNG, the title the screen showed and where in the PNG it
// stands, and every text shown on it.
struct DemoScreen
{
    QString path;
    QString title;
    QRect titleRect;
    QStringList visibleTexts; // every label, heading and button text shown on it
};

// The demo without a person at the keyboard. Through the store window's own screens it writes a
// new post: types text with a tag chosen from the completion list, attaches the sample photo
// from the attachment menu and the sample video with a cover frame picked in its properties, and
// posts; then a second post with a recorded sound bite (a sound bite replaces every other
// attachment, so it goes on its own), and a third that shares an album from the catalogue. It
// saves a PNG of every screen on the way.
// finished() says where the first post landed, or failed() why a post did not.
class DemoScript : public QObject
{
    Q_OBJECT

public:
    // The files the script expects in its samples folder.
    static constexpr const char *SamplePhoto = "sunset.jpg";
    static constexpr const char *SampleVideo = "harbour.mp4";
    static constexpr const char *SampleSound = "soundbite.flac";

    DemoScript(DemoWindow *window, DemoStore *store, const QString &outputFolder, const QString &samplesFolder,
        QObject *parent = nullptr);

    void start();
    QList<DemoScreen> screens() const { return m_screens; }
    // The video's cover frame as picked, in seconds; negative before.
    double coverFrameTime() const { return m_coverFrameTime; }
    // Where the sound bite's post landed; empty before.
    QUrl soundBitePostURL() const { return m_soundBitePostURL; }
    // Where the shared album's post landed; empty before.
    QUrl sharePostURL() const { return m_sharePostURL; }
    // Each step waits at most this long (30 s by default).
    void setStepTimeout(int milliseconds) { m_stepTimeout = milliseconds; }

Q_SIGNALS:
    void finished(const QUrl &postURL);
    void failed(const QString &reason);

private:
    // A step runs once `ready` holds and at least `delay` ms after the previous one.
    struct Step
    {
        QString what;
        std::function<bool()> ready;
        std::function<void()> run;
        int delay = 0;
    };
    void then(const QString &what, std::function<bool()> ready, std::function<void()> run, int delay = 0);
    void advance();
    bool capture(const QString &name, const QString &title);
    void fail(const QString &reason);

    TULOComposePostViewController *editor() const;
    TULOAttachmentAlertController *menu() const;
    void openMenu();
    bool chooseOnShelf(const QString &fileName);
    bool chooseMenuAction(const QString &key);
    void composeSteps();
    void attachmentSteps();
    void videoSteps();
    void postSteps();
    void soundBiteSteps();
    void shareSteps();

    DemoWindow *m_window;
    DemoStore *m_store;
    QString m_folder;
    QString m_samples;
    QList<DemoScreen> m_screens;
    QList<Step> m_steps;
    QTimer *m_timer;
    QElapsedTimer m_stepClock;
    int m_stepTimeout = 30000;
    double m_coverFrameTime = -1;
    QUrl m_postURL;
    QUrl m_firstPostURL;
    QUrl m_soundBitePostURL;
    QUrl m_sharePostURL;
    bool m_failed = false;
    bool m_running = false;
};
