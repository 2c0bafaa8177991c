#include <Quillon/compose/tokentextobjecthandler_p.h>

#include <Quillon/compose/tokentextattachment.h>

#include <QTextDocument>

#include <limits>

TULOTokenTextObjectHandler::TULOTokenTextObjectHandler(QObject *parent)
    : QObject(parent)
{
}

QSizeF TULOTokenTextObjectHandler::intrinsicSize(QTextDocument *document, int, const QTextFormat &format)
{
    const auto attachment = TULOTokenTextAttachment::attachmentForFormat(format);
    if (!attachment)
        return QSizeF(0, 0);
    const QRectF bounds = attachment->cachedAttachmentBounds(lineFragmentWidth(document));
    // The layout puts an object's bottom on the baseline; only the part above it counts as
    // its height, the part below lies in the line's descent.
    return QSizeF(bounds.width(), qMax<qreal>(0, bounds.height() + bounds.top()));
}

void TULOTokenTextObjectHandler::drawObject(QPainter *, const QRectF &, QTextDocument *, int, const QTextFormat &)
{
}

qreal TULOTokenTextObjectHandler::lineFragmentWidth(const QTextDocument *document)
{
    if (!document || document->textWidth() <= 0)
        return std::numeric_limits<qreal>::max();
    return qMax<qreal>(0, document->textWidth() - 2 * document->documentMargin());
}
