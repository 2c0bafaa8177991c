#pragma once

#include <Quillon/quillon_export.h>

#include <QAbstractButton>

class QVariantAnimation;

// An on/off switch: a rounded track with a sliding knob, tinted when on. Space toggles it.
class QUILLON_EXPORT TULOSwitch : public QAbstractButton
{
    Q_OBJECT

public:
    explicit TULOSwitch(QWidget *parent = nullptr);

    bool isOn() const { return isChecked(); }
    void setOn(bool on, bool animated = false);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void checkStateSet() override;
    void nextCheckState() override;

private:
    void animateTo(bool on, bool animated);

    double m_position = 0.0; // 0 off, 1 on
    QVariantAnimation *m_animation = nullptr;
};
