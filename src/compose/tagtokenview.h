#pragma once

#include <Quillon/compose/tokentextattachmentview.h>

class QLabel;

// The token view of a tag: its name in bold body text, centred in the rounded label.
class TULOTagTokenView : public TULOTokenTextAttachmentView
{
    Q_OBJECT

public:
    explicit TULOTagTokenView(QWidget *parent = nullptr);

    QLabel *label() const { return m_label; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void resizeEvent(QResizeEvent *event) override;
    void selectedDidChange() override;

private:
    void updateTextColor();

    QLabel *m_label;
};
