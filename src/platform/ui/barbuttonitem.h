#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QPointer>
#include <QString>
#include <Quillon/quillon_export.h>

#include <functional>

enum TULOBarButtonItemStyle {
    TULOBarButtonItemStylePlain = 0,
    TULOBarButtonItemStyleBordered = 1,
    TULOBarButtonItemStyleDone = 2, // the prominent, default button of a screen
};

// A button of a navigation bar. The action runs only while its target is alive and the item is
// enabled; clearing the target (setTarget(nullptr)) disarms it.
class QUILLON_EXPORT TULOBarButtonItem : public QObject
{
    Q_OBJECT

public:
    using Action = std::function<void(TULOBarButtonItem *sender)>;

    explicit TULOBarButtonItem(QObject *parent = nullptr);
    TULOBarButtonItem(const QString &title, TULOBarButtonItemStyle style, QObject *target, Action action,
                      QObject *parent = nullptr);

    QString title() const { return m_title; }
    void setTitle(const QString &title);

    TULOBarButtonItemStyle style() const { return m_style; }
    void setStyle(TULOBarButtonItemStyle style);

    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);

    QObject *target() const { return m_target; }
    void setTarget(QObject *target);
    void setAction(Action action);

    // What a click does. Returns whether the action ran.
    bool trigger();

Q_SIGNALS:
    void changed();
    void triggered();

private:
    QString m_title;
    TULOBarButtonItemStyle m_style = TULOBarButtonItemStylePlain;
    bool m_enabled = true;
    bool m_hasTarget = false;
    QPointer<QObject> m_target;
    Action m_action;
};
