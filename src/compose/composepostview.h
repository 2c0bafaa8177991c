#pragma once

#include <Quillon/compose/tokentextviewdelegate.h>
#include <Quillon/core/attachment.h>
#include <Quillon/core/tag.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>
#include <QScrollArea>

#include <functional>
#include <optional>

class QAbstractButton;
class QLabel;
class TULOComposePostView;
class TULOTokenTextView;

// Hears what the user does in the compose post view. Every method is optional.
class TULOComposePostViewDelegate
{
public:
    virtual ~TULOComposePostViewDelegate() = default;
    virtual void composePostViewTextDidChange(TULOComposePostView *view) { Q_UNUSED(view) }
    virtual void composePostViewTextSelectionDidChange(TULOComposePostView *view) { Q_UNUSED(view) }
    virtual void composePostViewDidSelectAttachmentAtIndex(TULOComposePostView *view, const TULOAttachmentPtr &attachment,
                                                           int index)
    {
        Q_UNUSED(view) Q_UNUSED(attachment) Q_UNUSED(index)
    }
    // The view has left the compose post view; whoever takes it may reparent it, otherwise it
    // is deleted once this returns.
    virtual void composePostViewDidRemoveAttachmentViewAtIndex(TULOComposePostView *view, QWidget *attachmentView, int index)
    {
        Q_UNUSED(view) Q_UNUSED(attachmentView) Q_UNUSED(index)
    }
    // The one known tag that `string` names; nullopt when there is none (or no answer).
    virtual std::optional<TULOTag> composePostViewTagForString(TULOComposePostView *view, const QString &string)
    {
        Q_UNUSED(view) Q_UNUSED(string)
        return std::nullopt;
    }
};

// The scrolling body of the compose screen. From the top: header rows, rows that scroll with
// the text (the content item), the post text, the attachment previews with their remove
// buttons, the attachment button with the remaining-character count beside it, and the footer
// rows. It turns a punctuation mark typed after a known tag into a token, makes the first
// backspace onto a token select it, underlines what runs over the character limit and shows
// the tag completion list under the caret.
class QUILLON_EXPORT TULOComposePostView : public QScrollArea, public TULOTextViewDelegate
{
    Q_OBJECT

public:
    explicit TULOComposePostView(QWidget *parent = nullptr);
    ~TULOComposePostView() override;

    TULOComposePostViewDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOComposePostViewDelegate *delegate) { m_delegate.set(delegate); }

    // Rows the view lays out and owns while they are shown (a row taken out is hidden and
    // handed back to no parent).
    QList<QWidget *> headerViews() const { return m_headerViews; }
    void setHeaderViews(const QList<QWidget *> &views);
    QList<QWidget *> scrollableHeaderViews() const { return m_scrollableHeaderViews; }
    void setScrollableHeaderViews(const QList<QWidget *> &views);
    QList<QWidget *> footerViews() const { return m_footerViews; }
    void setFooterViews(const QList<QWidget *> &views);
    // Attachment previews (TULOAttachmentPreviewView, whose remove buttons start the removal)
    // and other attachment rows such as a sound bite's view.
    QList<QWidget *> attachmentViews() const { return m_attachmentViews; }
    void setAttachmentViews(const QList<QWidget *> &views);

    QAbstractButton *attachmentButton();
    bool showsAttachmentButton() const { return m_showsAttachmentButton; }
    void setShowsAttachmentButton(bool shows);

    // The limit shown to the user; 0 is none.
    qint64 allowedCharacterCount() const { return m_allowedCharacterCount; }
    void setAllowedCharacterCount(qint64 count);
    // Exists only while there is a limit.
    QLabel *characterCountLabel() const { return m_characterCountLabel; }

    TULOTokenTextView *textView() const { return m_textView; }
    // The text with tag tokens written out in the token format.
    QString text() const;
    // Replaces the text; tokens written out in the token format become tokens again. Not an
    // edit the user can undo.
    void setText(const QString &text);
    QString tagForSelectedRange() const;
    void insertTag(const TULOTag &tag);
    bool becomeFirstResponder();
    bool resignFirstResponder();

    // The completion list shows under the caret; while it shows, Up and Down move in it, Return
    // and Tab choose, and Escape closes it and keeps the text.
    void showTextCompletionViewController(TULOViewController *controller, bool animated,
                                          const std::function<void()> &completion = {});
    void hideTextCompletionViewControllerAnimated(bool animated, const std::function<void()> &completion = {});
    TULOViewController *textCompletionViewController() const { return m_completionController; }

    // Points between the rows' content and the view's edges.
    QMargins layoutMargins() const { return m_layoutMargins; }
    void setLayoutMargins(const QMargins &margins);

    // Lays the rows out at once (it also happens by itself on every change).
    void layoutSubviews();

    static constexpr int RemoveAnimationDuration = 200; // milliseconds

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    std::optional<bool> textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *textView, TULOTextRange range,
                                                                       const QString &replacementText) override;
    void textViewDidChange(TULOTokenTextView *textView) override;
    void textViewDidChangeSelection(TULOTokenTextView *textView) override;

    void replaceRows(QList<QWidget *> &rows, const QList<QWidget *> &views);
    void removeAttachmentButtonAction(QAbstractButton *button);
    void selectAttachmentView(QWidget *view);
    void reloadCharacterCountLabel();
    void reloadUnderlineStyling();
    void reloadAccessiblePositions();
    void updateTabOrder();
    void keyboardFrameWillChange(const TULONotification &notification);
    void keyboardWillHide();
    bool forwardKeyToCompletion(QKeyEvent *event);
    void placeCompletionView();
    void ensureCaretVisible();

    TULOWeakDelegate<TULOComposePostViewDelegate> m_delegate;
    QWidget *m_content;
    TULOTokenTextView *m_textView;
    QList<QWidget *> m_headerViews;
    QList<QWidget *> m_scrollableHeaderViews;
    QList<QWidget *> m_footerViews;
    QList<QWidget *> m_attachmentViews;
    QList<QPointer<QWidget>> m_removingViews;
    QAbstractButton *m_attachmentButton = nullptr;
    bool m_showsAttachmentButton = false;
    qint64 m_allowedCharacterCount = 0;
    QLabel *m_characterCountLabel = nullptr;
    QPointer<TULOViewController> m_completionController;
    QMargins m_layoutMargins{16, 8, 16, 8};
    int m_bottomInset = 0;
    bool m_layingOut = false;
};
