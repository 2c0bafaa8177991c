#include <Quillon/compose/tagtokentextattachment.h>

#include <Quillon/compose/tagtokenview.h>
#include <Quillon/core/tagtokenformat.h>

#include <QFontMetricsF>
#include <QLabel>

TULOTagTokenTextAttachment::TULOTagTokenTextAttachment(const TULOTag &tag)
{
    setRepresentedObject(QVariant::fromValue(tag));
    setTokenView(makeTokenView());
}

TULOTagTokenView *TULOTagTokenTextAttachment::tagTokenView() const
{
    return qobject_cast<TULOTagTokenView *>(tokenView());
}

QString TULOTagTokenTextAttachment::representedText() const
{
    return TULOTagTokenString(tag());
}

QString TULOTagTokenTextAttachment::accessibleName() const
{
    return tag().name();
}

QRectF TULOTagTokenTextAttachment::attachmentBounds(qreal proposedLineFragmentWidth) const
{
    QRectF bounds = TULOTokenTextAttachment::attachmentBounds(proposedLineFragmentWidth);
    const TULOTagTokenView *view = tagTokenView();
    if (view)
        bounds.moveTop(-QFontMetricsF(view->label()->font()).descent());
    return bounds;
}

std::shared_ptr<TULOTokenTextAttachment> TULOTagTokenTextAttachment::copy() const
{
    return std::make_shared<TULOTagTokenTextAttachment>(tag());
}

TULOTokenTextAttachmentView *TULOTagTokenTextAttachment::makeTokenView() const
{
    auto *view = new TULOTagTokenView;
    view->label()->setText(tag().name());
    view->setAccessibleName(tag().name());
    view->resize(view->sizeHint());
    return view;
}
