#pragma once

#include <Quillon/quillon_export.h>

#include <QWidget>

// The view that draws one token over the text: a small rounded label that shows whether the
// token is selected. It lets mouse events through to the text underneath.
class QUILLON_EXPORT TULOTokenTextAttachmentView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOTokenTextAttachmentView(QWidget *parent = nullptr);

    bool isSelected() const { return m_selected; }
    void setSelected(bool selected);

protected:
    void paintEvent(QPaintEvent *event) override;
    virtual void selectedDidChange() {}

private:
    bool m_selected = false;
};
