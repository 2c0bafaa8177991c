#pragma once

#include <Quillon/core/configuration.h>
#include <Quillon/platform/error.h>

#include <QObject>
#include <QStringList>
#include <QUrl>

#include <optional>

class DemoStore;
class DemoWindow;
class QTimer;
class QWidget;

// One screen the script saved: the PNG and the title the screen showed.
struct DemoScreen
{
    QString path;
    QString title;
    QStringList visibleTexts; // every label, heading and button text shown on it
};

// The demo without a person at the keyboard: goes through the store window, composes a post
// about the first album (a tag, the sample photo) and posts it, saving a PNG of every screen
// on the way. finished() says where the post landed, or failed() why it did not.
class DemoScript : public QObject
{
    Q_OBJECT

public:
    DemoScript(DemoWindow *window, DemoStore *store, const QString &outputFolder, const QString &samplePhoto,
        QObject *parent = nullptr);

    void start();
    QList<DemoScreen> screens() const { return m_screens; }
    // Each step waits at most this long for the store (30 s by default).
    void setStepTimeout(int milliseconds) { m_stepTimeout = milliseconds; }

Q_SIGNALS:
    void finished(const QUrl &postURL);
    void failed(const QString &reason);

private:
    void waitFor(const std::function<bool()> &condition, const QString &what, const std::function<void()> &then);
    bool capture(QWidget *screen, const QString &name);
    void compose();
    void post(const TULOConfiguration &configuration);
    void fail(const QString &reason);

    DemoWindow *m_window;
    DemoStore *m_store;
    QString m_folder;
    QString m_samplePhoto;
    QList<DemoScreen> m_screens;
    int m_stepTimeout = 30000;
    QUrl m_postURL;
    bool m_failed = false;
};
