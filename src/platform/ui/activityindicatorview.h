#pragma once

#include <Quillon/quillon_export.h>

#include <QWidget>
#include <Quillon/quillon_export.h>

class QTimer;

enum TULOActivityIndicatorViewStyle {
    TULOActivityIndicatorViewStyleMedium = 0, // 20 points
    TULOActivityIndicatorViewStyleLarge = 1,  // 37 points
};

// A spinner: twelve spokes fading round while animating. Hidden while stopped unless told
// otherwise.
class QUILLON_EXPORT TULOActivityIndicatorView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOActivityIndicatorView(TULOActivityIndicatorViewStyle style = TULOActivityIndicatorViewStyleMedium,
                                       QWidget *parent = nullptr);

    TULOActivityIndicatorViewStyle style() const { return m_style; }
    void setStyle(TULOActivityIndicatorViewStyle style);

    void startAnimating();
    void stopAnimating();
    bool isAnimating() const;

    bool hidesWhenStopped() const { return m_hidesWhenStopped; }
    void setHidesWhenStopped(bool hides);

    QColor color() const { return m_color; }
    void setColor(const QColor &color);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    TULOActivityIndicatorViewStyle m_style;
    bool m_hidesWhenStopped = true;
    QColor m_color;
    int m_phase = 0;
    QTimer *m_timer;
};
