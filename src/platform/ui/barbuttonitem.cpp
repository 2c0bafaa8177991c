#include <Quillon/platform/ui/barbuttonitem.h>

TULOBarButtonItem::TULOBarButtonItem(QObject *parent)
    : QObject(parent)
{
}

TULOBarButtonItem::TULOBarButtonItem(const QString &title, TULOBarButtonItemStyle style, QObject *target,
                                     Action action, QObject *parent)
    : QObject(parent)
    , m_title(title)
    , m_style(style)
    , m_hasTarget(target != nullptr)
    , m_target(target)
    , m_action(std::move(action))
{
}

void TULOBarButtonItem::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT changed();
}

void TULOBarButtonItem::setStyle(TULOBarButtonItemStyle style)
{
    if (m_style == style)
        return;
    m_style = style;
    Q_EMIT changed();
}

void TULOBarButtonItem::setEnabled(bool enabled)
{
    if (m_enabled == enabled)
        return;
    m_enabled = enabled;
    Q_EMIT changed();
}

void TULOBarButtonItem::setTarget(QObject *target)
{
    m_target = target;
    m_hasTarget = target != nullptr;
}

void TULOBarButtonItem::setAction(Action action)
{
    m_action = std::move(action);
}

bool TULOBarButtonItem::trigger()
{
    // A target that was set and has since been destroyed disarms the action.
    if (!m_enabled || !m_action || !m_hasTarget || m_target.isNull())
        return false;
    Q_EMIT triggered();
    m_action(this);
    return true;
}
