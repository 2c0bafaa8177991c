#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QPointer>
#include <QString>

#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/quillon_export.h>

// What a navigation bar shows while its controller is on top: the title, the left and right
// buttons, and the back button title this controller gives to the one pushed after it.
class QUILLON_EXPORT TULONavigationItem : public QObject
{
    Q_OBJECT

public:
    explicit TULONavigationItem(QObject *parent = nullptr);

    QString title() const { return m_title; }
    void setTitle(const QString &title);

    TULOBarButtonItem *leftBarButtonItem() const { return m_left; }
    void setLeftBarButtonItem(TULOBarButtonItem *item, bool animated = false);
    TULOBarButtonItem *rightBarButtonItem() const { return m_right; }
    void setRightBarButtonItem(TULOBarButtonItem *item, bool animated = false);

    // Title of the back button shown when a controller is pushed above this one; a null string
    // means "use this item's title".
    QString backButtonTitle() const { return m_backButtonTitle; }
    void setBackButtonTitle(const QString &title);

    bool hidesBackButton() const { return m_hidesBackButton; }
    void setHidesBackButton(bool hides);

Q_SIGNALS:
    // `animated` tells the bar whether to animate the change.
    void changed(bool animated);

private Q_SLOTS:
    void itemChanged();

private:
    void watch(TULOBarButtonItem *item);

    QString m_title;
    QString m_backButtonTitle;
    bool m_hidesBackButton = false;
    QPointer<TULOBarButtonItem> m_left;
    QPointer<TULOBarButtonItem> m_right;
};
