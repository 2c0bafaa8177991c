#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>

TULOSettingsTextFieldTableViewCell::TULOSettingsTextFieldTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
    , m_label(new QLabel(this))
    , m_textField(new QLineEdit(this))
{
    setSelectionStyle(TULOTableViewCellSelectionStyleNone);
    hideTitleColumn();
    m_label->setTextFormat(Qt::PlainText);
    m_label->setBuddy(m_textField);
    m_textField->setFrame(false);
    m_textField->setFocusPolicy(Qt::StrongFocus);
    m_textField->setAttribute(Qt::WA_MacShowFocusRect, false);
    // Label and field fill the row.
    trailingLayout()->addWidget(m_label);
    trailingLayout()->addWidget(m_textField, 1);
    trailingLayout()->setSpacing(12);
}

void TULOSettingsTextFieldTableViewCell::setLabelText(const QString &text)
{
    m_label->setText(text);
    setLabelWidth(m_labelWidth);
    updateAccessibility();
}

int TULOSettingsTextFieldTableViewCell::preferredLabelWidth() const
{
    return m_label->fontMetrics().horizontalAdvance(m_label->text()) + 2;
}

void TULOSettingsTextFieldTableViewCell::setLabelWidth(int width)
{
    m_labelWidth = qMax(0, width);
    m_label->setFixedWidth(m_labelWidth > 0 ? m_labelWidth : preferredLabelWidth());
}

int TULOSettingsTextFieldTableViewCell::shareLabelWidth(const QList<TULOSettingsTextFieldTableViewCell *> &cells)
{
    int widest = 0;
    for (const TULOSettingsTextFieldTableViewCell *cell : cells) {
        if (cell)
            widest = qMax(widest, cell->preferredLabelWidth());
    }
    for (TULOSettingsTextFieldTableViewCell *cell : cells) {
        if (cell)
            cell->setLabelWidth(widest);
    }
    return widest;
}

void TULOSettingsTextFieldTableViewCell::prepareForReuse()
{
    TULOTableViewCell::prepareForReuse();
    setLabelText(QString());
    m_textField->clear();
    m_textField->setPlaceholderText(QString());
    m_textField->setEchoMode(QLineEdit::Normal);
    m_textField->setEnabled(true);
    setLabelWidth(0);
}

void TULOSettingsTextFieldTableViewCell::updateAccessibility()
{
    TULOTableViewCell::updateAccessibility();
    setAccessibleName(m_label->text());
    m_textField->setAccessibleName(m_label->text());
}
