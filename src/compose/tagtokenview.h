#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/compose/tokentextattachmentview.h>

#include <QStaticText>

class QLabel;

// The token view of a tag: its name in bold body text, centred in the rounded label.
class QUILLON_EXPORT TULOTagTokenView : public TULOTokenTextAttachmentView
{
    Q_OBJECT

public:
    explicit TULOTagTokenView(QWidget *parent = nullptr);

    QLabel *label() const { return m_label; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void drawContents(QPainter &painter) override;
    void resizeEvent(QResizeEvent *event) override;
    void selectedDidChange() override;
    void changeEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void updateTextColor();

    QLabel *m_label;
    // The label's text, laid out once: a long text shows hundreds of tokens, and this view
    // paints the name itself instead of a label widget of its own being painted with each.
    QStaticText m_name;
    QFont m_nameFont;
};
