#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/quillon_export.h>

#include <QAbstractButton>
#include <QPointer>
#include <QWidget>

// The preview of one attachment under the post text: the type's own preview as its child and a
// remove button on the child's top-left corner, which the compose post view wires to its
// removal animation. The button overhangs the child, so the wrapper leaves room for its upper
// and left half.
class QUILLON_EXPORT TULOAttachmentPreviewView : public QWidget
{
    Q_OBJECT

public:
    // The preview for the attachment's type (image, video or audio); null for any other type,
    // so that the attachment stays in the post without a preview.
    static TULOAttachmentPreviewView *withAttachment(const TULOAttachmentPtr &attachment,
                                                     const TULOClientContext &clientContext = TULOClientContext(),
                                                     QWidget *parent = nullptr);
    // Takes ownership of `childView`.
    TULOAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *childView, QWidget *parent = nullptr);
    ~TULOAttachmentPreviewView() override;

    TULOAttachmentPtr attachment() const { return m_attachment; }
    QWidget *childView() const { return m_childView; }
    QAbstractButton *removeButton() const { return m_removeButton; }

    // The child's size for `size` (its width is the room offered), plus the button's overhang.
    QSize sizeThatFits(const QSize &size) const;
    QSize sizeHint() const override;
    static constexpr int RemoveButtonSize = 22;
    // How far the child sits from the wrapper's top-left corner.
    static constexpr int ChildInset = RemoveButtonSize / 2 - 2;

    // Where the preview stands among the post's attachments (from 0), for the accessible names
    // ("Photo 2 of 3", "Remove photo 2 of 3").
    void setAccessiblePosition(int index, int count);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    QString kindKey() const;

    TULOAttachmentPtr m_attachment;
    TULOClientContext m_clientContext;
    QWidget *m_childView;
    QAbstractButton *m_removeButton;
};
