#include <Quillon/platform/ui/navigationitem.h>

#include <Quillon/platform/ui/barbuttonitem.h>

TULONavigationItem::TULONavigationItem(QObject *parent)
    : QObject(parent)
{
}

void TULONavigationItem::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT changed(false);
}

void TULONavigationItem::setLeftBarButtonItem(TULOBarButtonItem *item, bool animated)
{
    if (m_left == item)
        return;
    m_left = item;
    watch(item);
    Q_EMIT changed(animated);
}

void TULONavigationItem::setRightBarButtonItem(TULOBarButtonItem *item, bool animated)
{
    if (m_right == item)
        return;
    m_right = item;
    watch(item);
    Q_EMIT changed(animated);
}

void TULONavigationItem::setBackButtonTitle(const QString &title)
{
    if (m_backButtonTitle == title && m_backButtonTitle.isNull() == title.isNull())
        return;
    m_backButtonTitle = title;
    Q_EMIT changed(false);
}

void TULONavigationItem::setHidesBackButton(bool hides)
{
    if (m_hidesBackButton == hides)
        return;
    m_hidesBackButton = hides;
    Q_EMIT changed(false);
}

void TULONavigationItem::watch(TULOBarButtonItem *item)
{
    if (!item)
        return;
    // The same item may sit on several navigation items (a container reuses its buttons).
    connect(item, &TULOBarButtonItem::changed, this, &TULONavigationItem::itemChanged, Qt::UniqueConnection);
    connect(item, &QObject::destroyed, this, &TULONavigationItem::itemChanged, Qt::UniqueConnection);
}

void TULONavigationItem::itemChanged()
{
    Q_EMIT changed(false);
}
