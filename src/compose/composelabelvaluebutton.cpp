#include <Quillon/compose/composelabelvaluebutton.h>

TULOComposeLabelValueButton::TULOComposeLabelValueButton(QWidget *parent)
    : QPushButton(parent)
{
    setFlat(true);
    setStyleSheet(QStringLiteral("text-align: left; padding: 8px 12px;"));
}

void TULOComposeLabelValueButton::setLabelText(const QString &text)
{
    m_labelText = text;
    reload();
}

void TULOComposeLabelValueButton::setValueText(const QString &text)
{
    m_valueText = text;
    reload();
}

void TULOComposeLabelValueButton::reload()
{
    setText(m_valueText.isEmpty() ? m_labelText : m_labelText + QStringLiteral("  ") + m_valueText);
    setAccessibleName(text());
}
