#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/quillon_export.h>

#include <QWidget>

class QAbstractButton;

// The preview of one attachment under the post text, with its remove button.
class QUILLON_EXPORT TULOAttachmentPreviewView : public QWidget
{
    Q_OBJECT

public:
    // Null for an attachment type that has no preview.
    static TULOAttachmentPreviewView *withAttachment(const TULOAttachmentPtr &attachment,
                                                     const TULOClientContext &context);
    ~TULOAttachmentPreviewView() override;

    TULOAttachmentPtr attachment() const { return m_attachment; }
    QAbstractButton *removeButton() const { return m_removeButton; }

private:
    explicit TULOAttachmentPreviewView(const TULOAttachmentPtr &attachment);

    TULOAttachmentPtr m_attachment;
    QAbstractButton *m_removeButton = nullptr;
};
