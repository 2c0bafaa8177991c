#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/compose/textrange.h>
#include <Quillon/compose/tokentextviewdelegate.h>

#include <QList>
#include <QPointer>
#include <QTextCharFormat>
#include <QTextDocumentFragment>
#include <QTextEdit>

#include <functional>
#include <memory>

class QTextBlock;
class QTimer;
class TULOTokenTextAttachment;
class TULOTokenTextAttachmentView;
class TULOTokenTextObjectHandler;

// An editable multi-line text view whose text may hold tokens: single U+FFFC characters that
// stand for a tag and are drawn by small views laid over the text. It finds the tag being
// typed at the caret, replaces it by a token, and turns text with tokens into plain text.
class QUILLON_EXPORT TULOTokenTextView : public QTextEdit
{
    Q_OBJECT

public:
    using TokenBlock = std::function<void(const std::shared_ptr<TULOTokenTextAttachment> &attachment,
                                          qsizetype tokenIndex, bool *stop)>;

    explicit TULOTokenTextView(QWidget *parent = nullptr);
    ~TULOTokenTextView() override;

    // How far back from the caret a pending tag may start; 0 means the whole text.
    qsizetype maximumTagLength() const { return m_maximumTagLength; }
    void setMaximumTagLength(qsizetype length) { m_maximumTagLength = length; }
    QString tagDelimeter() const { return m_tagDelimeter; }
    void setTagDelimeter(const QString &delimiter) { m_tagDelimeter = delimiter; }
    QString tagSuffix() const { return m_tagSuffix; }
    void setTagSuffix(const QString &suffix) { m_tagSuffix = suffix; }

    TULOTokenTextViewDelegate *changeDelegate() const { return m_changeDelegate.get(); }
    void setChangeDelegate(TULOTokenTextViewDelegate *delegate) { m_changeDelegate.set(delegate); }
    TULOTextViewDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOTextViewDelegate *delegate) { m_delegate.set(delegate); }

    // The selection in characters; not found after the view resigned first responder.
    TULOTextRange selectedRange() const;
    void setSelectedRange(TULOTextRange range);
    qsizetype textLength() const;

    QString pendingTagForSelectedRange() const;
    QString pendingTagForRange(TULOTextRange range, TULOTextRange *usedRange = nullptr) const;
    // In document (text container) coordinates; the caret's rectangle for an empty selection.
    QRectF textRectForSelectedRange() const;

    void insertTokenWithAttachment(const std::shared_ptr<TULOTokenTextAttachment> &attachment);
    void replaceTextInRange(TULOTextRange range, const std::shared_ptr<TULOTokenTextAttachment> &attachment,
                            const QString &suffix);

    QString textWithResolvedTokenStrings() const;
    // The text as a reader of the screen hears it: each token as its name.
    QString accessibleText() const;
    // Between character indexes and offsets in the accessible text.
    qsizetype accessibleOffsetForIndex(qsizetype index) const;
    qsizetype indexForAccessibleOffset(qsizetype offset) const;
    void enumerateTokenAttachmentsUsingBlock(const TokenBlock &block) const;
    // The token attachment of the character at `index`, or null.
    std::shared_ptr<TULOTokenTextAttachment> tokenAttachmentAtIndex(qsizetype index) const;

    QList<TULOTokenTextAttachmentView *> tokenViews() const;
    void reloadTokenSelection();
    void reloadTokenViews();
    bool selectTokenAtIndex(qsizetype index);

    QTextDocumentFragment attributedText() const;
    void setAttributedText(const QTextDocumentFragment &text);

    bool becomeFirstResponder();
    bool resignFirstResponder();

    // Where a token's view goes, in viewport coordinates.
    QRectF tokenViewFrameForCharacterIndex(qsizetype index) const;

protected:
    void changeEvent(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    QMimeData *createMimeDataFromSelection() const override;
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void insertFromMimeData(const QMimeData *source) override;

private:
    using RunBlock = std::function<void(const std::shared_ptr<TULOTokenTextAttachment> &attachment,
                                        TULOTextRange range, bool *stop)>;
    // Token runs in [from, to): adjacent characters holding the same attachment form one run.
    void enumerateTokenRuns(qsizetype from, qsizetype to, const RunBlock &block) const;
    TULOTextRange effectiveTokenRange(qsizetype index) const;
    qsizetype objectIndexInRun(TULOTextRange run) const;
    TULOTextRange tagRangeForRange(TULOTextRange range) const;
    TULOTextRange lastTokenRangeInSpan(qsizetype from, qsizetype to) const;
    QString textInRange(qsizetype from, qsizetype to) const;
    QString resolvedText(qsizetype from, qsizetype to) const;
    QTextCharFormat typingFormat(const QTextCharFormat &format) const;
    void cleanTypingFormat();
    bool shouldChangeText(TULOTextRange range, const QString &replacement);
    void notifyChangeDelegate(uint count);
    uint trimmedTextLength() const;
    void scheduleTokenViewReload();
    void layoutDidUpdate();
    void placeTokenViewsFrom(qsizetype from);
    QRectF tokenViewFrame(const QTextBlock &block, qsizetype index, const TULOTokenTextAttachment &attachment) const;
    void userEditDidEnd(int changesBefore);

    qsizetype m_maximumTagLength = 60;
    QString m_tagDelimeter = QStringLiteral("@");
    QList<QPointer<TULOTokenTextAttachmentView>> m_tokenViews;
    QList<qsizetype> m_tokenIndexes; // of m_tokenViews' tokens, in the text
    QList<QPointer<TULOTokenTextAttachmentView>> m_selectedTokenViews;
    qsizetype m_changedFrom = -1; // where the text changed since the views were last placed
    qreal m_laidOutWidth = -1;
    TULOWeakDelegate<TULOTokenTextViewDelegate> m_changeDelegate;
    TULOWeakDelegate<TULOTextViewDelegate> m_delegate;
    QString m_tagSuffix = QStringLiteral(" ");

    TULOTokenTextObjectHandler *m_objectHandler = nullptr;
    QTimer *m_tokenViewReloadTimer = nullptr;
    bool m_selectionCleared = false;
    int m_contentChanges = 0;
};
