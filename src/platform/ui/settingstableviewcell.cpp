#include <Quillon/platform/ui/settingstableviewcell.h>

#include <Quillon/platform/ui/switch.h>

#include <QHBoxLayout>
#include <QLabel>

TULOSettingsTableViewCell::TULOSettingsTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
    , m_switch(new TULOSwitch(this))
    , m_valueLabel(new QLabel(this))
{
    setImageSize(QSize(32, 32));
    m_valueLabel->setTextFormat(Qt::PlainText);
    m_valueLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    QPalette palette = m_valueLabel->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    m_valueLabel->setPalette(palette);
    trailingLayout()->addWidget(m_valueLabel);
    trailingLayout()->addWidget(m_switch);
    connect(m_switch, &TULOSwitch::toggled, this, &TULOSettingsTableViewCell::switchToggled);
    setValueType(TULOSettingsValueTypeText);
}

void TULOSettingsTableViewCell::setValueType(TULOSettingsValueType type)
{
    m_valueType = type;
    m_switch->setVisible(type == TULOSettingsValueTypeSwitch);
    m_valueLabel->setVisible(type == TULOSettingsValueTypeText && !m_valueLabel->text().isEmpty());
    updateAccessibility();
}

bool TULOSettingsTableViewCell::switchValue() const
{
    return m_switch->isOn();
}

void TULOSettingsTableViewCell::setSwitchValue(bool on, bool animated)
{
    m_switch->setOn(on, animated);
}

QString TULOSettingsTableViewCell::textValue() const
{
    return m_valueLabel->text();
}

void TULOSettingsTableViewCell::setTextValue(const QString &text)
{
    m_valueLabel->setText(text);
    m_valueLabel->setVisible(m_valueType == TULOSettingsValueTypeText && !text.isEmpty());
    updateAccessibility();
}

void TULOSettingsTableViewCell::prepareForReuse()
{
    TULOTableViewCell::prepareForReuse();
    setText(QString());
    setDetailText(QString());
    setImage(QImage());
    setAccessoryType(TULOTableViewCellAccessoryNone);
    setTextValue(QString());
    setSwitchValue(false);
    m_switch->setEnabled(true);
}

void TULOSettingsTableViewCell::updateAccessibility()
{
    TULOTableViewCell::updateAccessibility();
    // The switch is named after the row it turns on and off.
    m_switch->setAccessibleName(text());
    m_valueLabel->setAccessibleName(text());
    if (m_valueType == TULOSettingsValueTypeText && !textValue().isEmpty())
        setAccessibleName(text() + QStringLiteral(", ") + textValue());
}
