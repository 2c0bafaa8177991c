#pragma once

#include <Quillon/quillon_export.h>

#include <QAbstractButton>

class QVariantAnimation;

// A footer row that is a button: a label at the leading edge, a value (may be null) after it,
// and a disclosure chevron; clicking it sends clicked(). It stays highlighted after a click
// until deselectAnimated(), as a table row that opens a screen does.
class QUILLON_EXPORT TULOComposeLabelValueButton : public QAbstractButton
{
    Q_OBJECT

public:
    explicit TULOComposeLabelValueButton(QWidget *parent = nullptr);
    ~TULOComposeLabelValueButton() override;

    QString labelText() const { return m_labelText; }
    void setLabelText(const QString &text);
    QString valueText() const { return m_valueText; }
    void setValueText(const QString &text);

    // How strongly a press shows: -1 is a plain row highlight, values towards 0 are lighter.
    qreal charge() const { return m_charge; }
    void setCharge(qreal charge);
    bool isSelected() const { return m_highlight > 0; }
    void deselectAnimated(bool animated);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void nextCheckState() override {}
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void updateAccessibility();

    QString m_labelText;
    QString m_valueText;
    qreal m_charge = 0;
    qreal m_highlight = 0;
    QVariantAnimation *m_animation = nullptr;
};
