#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QPointer>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QTextCharFormat>
#include <QVariant>

#include <memory>

class TULOTokenTextAttachmentView;

// Object type of a token character's format, and the format property that holds its
// attachment (a std::shared_ptr<TULOTokenTextAttachment>).
inline constexpr int TULOTokenTextObjectType = QTextFormat::UserObject + 0x5e1;
inline constexpr int TULOTokenTextAttachmentProperty = QTextFormat::UserProperty + 0x5e1;

// One token: a single U+FFFC in the text whose format carries this attachment. The token is
// drawn by its view laid over the text. Made with std::make_shared; shared by the formats
// that hold it (the document's, the undo stack's).
class QUILLON_EXPORT TULOTokenTextAttachment : public std::enable_shared_from_this<TULOTokenTextAttachment>
{
public:
    TULOTokenTextAttachment();
    virtual ~TULOTokenTextAttachment();
    TULOTokenTextAttachment(const TULOTokenTextAttachment &) = delete;
    TULOTokenTextAttachment &operator=(const TULOTokenTextAttachment &) = delete;

    QVariant representedObject() const { return m_representedObject; }
    void setRepresentedObject(const QVariant &object) { m_representedObject = object; }

    // The view that draws the token; owned by the attachment while it has no parent.
    TULOTokenTextAttachmentView *tokenView() const;
    void setTokenView(TULOTokenTextAttachmentView *view);

    // The token's form in plain text; empty here, so a bare token vanishes from it.
    virtual QString representedText() const;
    // What a reader of the screen hears for the token.
    virtual QString accessibleName() const;

    // The token character and its format: this attachment, overlaid with `baseAttributes`.
    QString attributedString() const { return QString(QChar::ObjectReplacementCharacter); }
    QTextCharFormat attributedStringWithBaseAttributes(const QTextCharFormat &baseAttributes = {});

    // The token's box relative to the baseline (y up is negative in the text system's sense:
    // a negative y puts part of the box below the baseline). Width is at most the line's.
    virtual QRectF attachmentBounds(qreal proposedLineFragmentWidth) const;
    // The same, remembered: the text layout asks for every token at each pass, and the bounds
    // change only with the line's width or the view's size hint. While no token view says its
    // size hint may have changed, the view is not asked again.
    QRectF cachedAttachmentBounds(qreal proposedLineFragmentWidth) const;

    // The token attachment a format holds, or null (other objects are ordinary text).
    static std::shared_ptr<TULOTokenTextAttachment> attachmentForFormat(const QTextFormat &format);

    // A fresh attachment for the same represented object (for pasting into another place).
    virtual std::shared_ptr<TULOTokenTextAttachment> copy() const;

protected:
    // Makes the view again when its parent took it down with itself.
    virtual TULOTokenTextAttachmentView *makeTokenView() const;

private:
    QVariant m_representedObject;
    mutable QPointer<TULOTokenTextAttachmentView> m_tokenView;
    struct CachedBounds
    {
        qreal width = -1;
        quint64 sizeHints = 0; // TULOTokenTextAttachmentView::sizeHintGeneration() then
        const TULOTokenTextAttachmentView *view = nullptr;
        QSize sizeHint;
        QRectF bounds;
    };
    mutable CachedBounds m_cachedBounds;
};

Q_DECLARE_METATYPE(std::shared_ptr<TULOTokenTextAttachment>)
