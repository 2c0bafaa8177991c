#include <Quillon/platform/ui/alertaction.h>

TULOAlertAction::TULOAlertAction(const QString &title, TULOAlertActionStyle style, Handler handler, QObject *parent)
    : QObject(parent)
    , m_title(title)
    , m_style(style)
    , m_handler(std::move(handler))
{
}

TULOAlertAction *TULOAlertAction::actionWithTitle(const QString &title, TULOAlertActionStyle style, Handler handler)
{
    return new TULOAlertAction(title, style, std::move(handler));
}

void TULOAlertAction::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT changed();
}

void TULOAlertAction::setEnabled(bool enabled)
{
    if (m_enabled == enabled)
        return;
    m_enabled = enabled;
    Q_EMIT changed();
}
