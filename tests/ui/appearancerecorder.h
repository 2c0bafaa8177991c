#pragma once

#include <Quillon/platform/ui/transitioncoordinator.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QPointer>
#include <QStringList>

// A controller that writes its appearance calls, and the end of the transition it saw them in,
// to a shared log: "A.willAppear", "A.didAppear", "A.transitionEnded", ...
class TULOAppearanceRecorder : public TULOViewController
{
public:
    TULOAppearanceRecorder(const QString &name, QStringList *log, QObject *parent = nullptr)
        : TULOViewController(parent)
        , m_name(name)
        , m_log(log)
    {
        setTitle(name);
    }

    int loadCount = 0;

protected:
    void loadView() override
    {
        ++loadCount;
        TULOViewController::loadView();
    }
    void viewWillAppear(bool) override { record(QStringLiteral("willAppear"), true); }
    void viewDidAppear(bool) override { record(QStringLiteral("didAppear"), false); }
    void viewWillDisappear(bool) override { record(QStringLiteral("willDisappear"), true); }
    void viewDidDisappear(bool) override { record(QStringLiteral("didDisappear"), false); }

private:
    void record(const QString &event, bool watchTransition)
    {
        m_log->append(m_name + QLatin1Char('.') + event);
        if (!watchTransition)
            return;
        if (TULOTransitionCoordinator *coordinator = transitionCoordinator()) {
            const QPointer<TULOViewController> self(this);
            QStringList *log = m_log;
            const QString name = m_name;
            coordinator->animateAlongsideTransition({}, [log, name] { log->append(name + QStringLiteral(".transitionEnded")); });
        }
    }

    QString m_name;
    QStringList *m_log;
};
