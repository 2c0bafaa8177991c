#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/tableviewcell.h>

class QLabel;
class TULOSwitch;

enum TULOSettingsValueType {
    TULOSettingsValueTypeSwitch = 0, // a boolean shown as a switch
    TULOSettingsValueTypeText = 1,   // a text shown at the trailing edge
};

// A settings row: image, title, and a value shown as a switch or as text.
class QUILLON_EXPORT TULOSettingsTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    explicit TULOSettingsTableViewCell(QWidget *parent = nullptr);

    TULOSettingsValueType valueType() const { return m_valueType; }
    void setValueType(TULOSettingsValueType type);

    bool switchValue() const;
    void setSwitchValue(bool on, bool animated = false);
    QString textValue() const;
    void setTextValue(const QString &text);

    TULOSwitch *valueSwitch() const { return m_switch; }
    QLabel *valueLabel() const { return m_valueLabel; }

    void prepareForReuse() override;

Q_SIGNALS:
    // The user turned the switch.
    void switchToggled(bool on);

protected:
    void updateAccessibility() override;

private:
    TULOSettingsValueType m_valueType = TULOSettingsValueTypeText;
    TULOSwitch *m_switch;
    QLabel *m_valueLabel;
};
