#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QString>

#include <functional>

enum TULOAlertActionStyle {
    TULOAlertActionStyleDefault = 0,
    TULOAlertActionStyleCancel = 1,
    TULOAlertActionStyleDestructive = 2,
};

// One button of an alert or action sheet. The title may change while the alert is shown.
class QUILLON_EXPORT TULOAlertAction : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(TULOAlertAction *action)>;

    TULOAlertAction(const QString &title, TULOAlertActionStyle style, Handler handler = {}, QObject *parent = nullptr);
    static TULOAlertAction *actionWithTitle(const QString &title, TULOAlertActionStyle style, Handler handler = {});

    QString title() const { return m_title; }
    void setTitle(const QString &title);
    TULOAlertActionStyle style() const { return m_style; }
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);
    Handler handler() const { return m_handler; }

Q_SIGNALS:
    void changed();

private:
    QString m_title;
    TULOAlertActionStyle m_style;
    bool m_enabled = true;
    Handler m_handler;
};
