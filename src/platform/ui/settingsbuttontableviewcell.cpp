#include <Quillon/platform/ui/settingsbuttontableviewcell.h>

#include <QEvent>
#include <QLabel>

TULOSettingsButtonTableViewCell::TULOSettingsButtonTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
{
    textLabel()->setAlignment(Qt::AlignCenter);
    updateColor();
}

void TULOSettingsButtonTableViewCell::setTitle(const QString &title)
{
    setText(title);
}

void TULOSettingsButtonTableViewCell::prepareForReuse()
{
    TULOTableViewCell::prepareForReuse();
    setTitle(QString());
    updateColor();
}

void TULOSettingsButtonTableViewCell::changeEvent(QEvent *event)
{
    TULOTableViewCell::changeEvent(event);
    if (event->type() == QEvent::EnabledChange || event->type() == QEvent::PaletteChange)
        updateColor();
}

void TULOSettingsButtonTableViewCell::updateColor()
{
    QPalette palette = textLabel()->palette();
    const QColor color = isEnabled() ? tintColor(this->palette()) : this->palette().color(QPalette::Disabled, QPalette::WindowText);
    palette.setColor(QPalette::Active, QPalette::WindowText, color);
    palette.setColor(QPalette::Inactive, QPalette::WindowText, color);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, color);
    textLabel()->setPalette(palette);
}
