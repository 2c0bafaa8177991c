#pragma once

#include <Quillon/quillon_export.h>

#include <QPushButton>

// A full-width row that reads "label   value" and acts as a button (attribution, services).
class QUILLON_EXPORT TULOComposeLabelValueButton : public QPushButton
{
    Q_OBJECT

public:
    explicit TULOComposeLabelValueButton(QWidget *parent = nullptr);

    QString labelText() const { return m_labelText; }
    void setLabelText(const QString &text);
    QString valueText() const { return m_valueText; }
    void setValueText(const QString &text);
    double charge() const { return m_charge; }
    void setCharge(double charge) { m_charge = charge; }

private:
    void reload();

    QString m_labelText;
    QString m_valueText;
    double m_charge = 0.0;
};
