#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/tableviewcell.h>

#include <QList>

class QLabel;
class QLineEdit;

// A form row: a label column and a text field. Rows of one form line their fields up by sharing
// one label width (shareLabelWidth).
class QUILLON_EXPORT TULOSettingsTextFieldTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    explicit TULOSettingsTextFieldTableViewCell(QWidget *parent = nullptr);

    QLabel *label() const { return m_label; }
    void setLabelText(const QString &text);
    QLineEdit *textField() const { return m_textField; }

    // Width of the label column in points; 0 means "as wide as the label needs".
    int labelWidth() const { return m_labelWidth; }
    void setLabelWidth(int width);
    // The width the label's text needs.
    int preferredLabelWidth() const;
    // Gives every cell the widest preferred label width among them; returns that width.
    static int shareLabelWidth(const QList<TULOSettingsTextFieldTableViewCell *> &cells);

    void prepareForReuse() override;

protected:
    void updateAccessibility() override;

private:
    QLabel *m_label;
    QLineEdit *m_textField;
    int m_labelWidth = 0;
};
