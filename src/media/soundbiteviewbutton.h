#pragma once

#include <Quillon/quillon_export.h>

#include <QAbstractButton>
#include <QRectF>

// The buttons of a sound bite view, drawn by the view's own look. Their touch area reaches
// beyond the button (hitRect()); the view hands presses in that margin on to the button.
//
// A hold button reports the mouse as holdBegan()/holdEnded() and emits clicked() only for
// the keyboard (Space) and assistive technology, which cannot hold.
class QUILLON_EXPORT TULOSoundBiteViewButton : public QAbstractButton
{
    Q_OBJECT

public:
    enum Kind {
        Record,
        StopRecording,
        Play,
        Explicit, // a text button showing its title
    };

    explicit TULOSoundBiteViewButton(Kind kind, QWidget *parent = nullptr);

    Kind kind() const { return m_kind; }

    // The play button shows a pause glyph while playing.
    bool showsPause() const { return m_showsPause; }
    void setShowsPause(bool shows);

    bool isHoldButton() const { return m_holdButton; }
    void setHoldButton(bool hold) { m_holdButton = hold; }
    bool isHolding() const { return m_holding; }
    // Takes over a mouse hold that began on another button (hidden under the pointer): the
    // release of the mouse button ends it here.
    void continueHold();

    // The button's rectangle moved by (-25, -10) and grown by 35 in both directions: 25 points
    // to the left, 10 to the right, 10 above and 25 below. Asymmetric by design.
    QRectF hitRect() const;
    // `point` in the button's coordinates.
    bool pointInside(const QPointF &point) const { return hitRect().contains(point); }

    QSize sizeHint() const override;

Q_SIGNALS:
    void holdBegan();
    void holdEnded();

protected:
    bool hitButton(const QPoint &pos) const override { return pointInside(pos); }
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void endHold(bool notify);

    Kind m_kind;
    bool m_showsPause = false;
    bool m_holdButton = false;
    bool m_holding = false;
};
