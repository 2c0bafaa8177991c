#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/compose/tokentextattachment.h>
#include <Quillon/core/tag.h>

class TULOTagTokenView;

// A token that stands for a tag; its plain-text form is the tag token format.
class QUILLON_EXPORT TULOTagTokenTextAttachment : public TULOTokenTextAttachment
{
public:
    explicit TULOTagTokenTextAttachment(const TULOTag &tag);

    TULOTag tag() const { return representedObject().value<TULOTag>(); }
    TULOTagTokenView *tagTokenView() const;

    QString representedText() const override;
    QString accessibleName() const override;
    // Lowered by the label font's descent, so the name sits on the line's baseline.
    QRectF attachmentBounds(qreal proposedLineFragmentWidth) const override;
    std::shared_ptr<TULOTokenTextAttachment> copy() const override;

protected:
    TULOTokenTextAttachmentView *makeTokenView() const override;
};
