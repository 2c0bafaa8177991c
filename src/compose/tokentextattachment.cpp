#include <Quillon/compose/tokentextattachment.h>

#include <Quillon/compose/tokentextattachmentview.h>

TULOTokenTextAttachment::TULOTokenTextAttachment() = default;

TULOTokenTextAttachment::~TULOTokenTextAttachment()
{
    delete m_tokenView.data();
}

TULOTokenTextAttachmentView *TULOTokenTextAttachment::tokenView() const
{
    if (!m_tokenView)
        m_tokenView = makeTokenView();
    return m_tokenView;
}

void TULOTokenTextAttachment::setTokenView(TULOTokenTextAttachmentView *view)
{
    if (m_tokenView == view)
        return;
    delete m_tokenView.data();
    m_tokenView = view;
    m_cachedBounds = {};
}

QString TULOTokenTextAttachment::representedText() const
{
    return QString(QLatin1String(""));
}

QString TULOTokenTextAttachment::accessibleName() const
{
    return representedText();
}

QTextCharFormat TULOTokenTextAttachment::attributedStringWithBaseAttributes(const QTextCharFormat &baseAttributes)
{
    QTextCharFormat format;
    format.setObjectType(TULOTokenTextObjectType);
    format.setProperty(TULOTokenTextAttachmentProperty, QVariant::fromValue(shared_from_this()));
    format.merge(baseAttributes);
    return format;
}

QRectF TULOTokenTextAttachment::attachmentBounds(qreal proposedLineFragmentWidth) const
{
    const TULOTokenTextAttachmentView *view = tokenView();
    const QSizeF intrinsic = view ? QSizeF(view->sizeHint()) : QSizeF(0, 0);
    return QRectF(0, 0, qMin(intrinsic.width(), proposedLineFragmentWidth), intrinsic.height());
}

QRectF TULOTokenTextAttachment::cachedAttachmentBounds(qreal proposedLineFragmentWidth) const
{
    // The text's layout asks for every token of a paragraph each time it lays it out; this
    // answer touches the attachment alone, not its view and the view's label.
    const quint64 sizeHints = TULOTokenTextAttachmentView::sizeHintGeneration();
    if (m_cachedBounds.width == proposedLineFragmentWidth && m_cachedBounds.sizeHints == sizeHints)
        return m_cachedBounds.bounds;
    const TULOTokenTextAttachmentView *view = tokenView();
    const QSize sizeHint = view ? view->sizeHint() : QSize();
    if (m_cachedBounds.width != proposedLineFragmentWidth || m_cachedBounds.view != view || m_cachedBounds.sizeHint != sizeHint)
        m_cachedBounds = {proposedLineFragmentWidth, sizeHints, view, sizeHint, attachmentBounds(proposedLineFragmentWidth)};
    m_cachedBounds.sizeHints = sizeHints;
    return m_cachedBounds.bounds;
}

std::shared_ptr<TULOTokenTextAttachment> TULOTokenTextAttachment::attachmentForFormat(const QTextFormat &format)
{
    // Asked for each token on every layout pass: the stored type is the only one there is.
    const QVariant value = format.property(TULOTokenTextAttachmentProperty);
    if (value.metaType() != QMetaType::fromType<std::shared_ptr<TULOTokenTextAttachment>>())
        return nullptr;
    return *static_cast<const std::shared_ptr<TULOTokenTextAttachment> *>(value.constData());
}

std::shared_ptr<TULOTokenTextAttachment> TULOTokenTextAttachment::copy() const
{
    auto other = std::make_shared<TULOTokenTextAttachment>();
    other->setRepresentedObject(m_representedObject);
    return other;
}

TULOTokenTextAttachmentView *TULOTokenTextAttachment::makeTokenView() const
{
    return new TULOTokenTextAttachmentView;
}
