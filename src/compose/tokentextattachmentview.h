#pragma once

#include <Quillon/quillon_export.h>

#include <QPixmap>
#include <QWidget>

// The view that draws one token over the text: a small rounded label that shows whether the
// token is selected. It lets mouse events through to the text underneath.
class QUILLON_EXPORT TULOTokenTextAttachmentView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOTokenTextAttachmentView(QWidget *parent = nullptr);

    ~TULOTokenTextAttachmentView() override;

    bool isSelected() const { return m_selected; }
    void setSelected(bool selected);

    // Changes whenever the size hint of any token view may have changed: a view was made or
    // destroyed, or got another font or style, or sizeHintMayHaveChanged() was called. Sizes
    // remembered at one generation hold while it lasts.
    static quint64 sizeHintGeneration();

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;
    virtual void selectedDidChange() {}
    // For subclasses whose size hint follows more than their own font and style.
    static void sizeHintMayHaveChanged();
    // What the label shows (a name, say), drawn onto the view over the label on each paint.
    virtual void drawContents(QPainter &painter);

private:
    void drawLabel(QPainter &painter) const;

    bool m_selected = false;
    // A long text shows hundreds of tokens and repaints them all on each key: a blit each is far
    // cheaper than filling rounded, antialiased labels again. Drawn again after a change of
    // size, screen, selection, palette or style. Text stays out of it: drawn on a transparent
    // picture it would lose the smoothing it gets on the window.
    QPixmap m_label;
};
