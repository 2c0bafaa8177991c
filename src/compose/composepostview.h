#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/core/tag.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>
#include <QScrollArea>

#include <functional>
#include <optional>

class QHBoxLayout;
class QLabel;
class QAbstractButton;
class QPushButton;
class QVBoxLayout;
class TULOComposePostView;
class TULOTokenTextView;
class TULOViewController;

class QUILLON_EXPORT TULOComposePostViewDelegate
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
    virtual void composePostViewDidRemoveAttachmentViewAtIndex(TULOComposePostView *view, QWidget *attachmentView,
                                                               int index)
    {
        Q_UNUSED(view) Q_UNUSED(attachmentView) Q_UNUSED(index)
    }
    virtual std::optional<TULOTag> composePostViewTagForString(TULOComposePostView *view, const QString &string)
    {
        Q_UNUSED(view) Q_UNUSED(string) return std::nullopt;
    }
};

// The editor's scrolling column: header rows, the post text, the attachment previews with their
// remove buttons, the attachment button with the characters left, and the footer rows.
class QUILLON_EXPORT TULOComposePostView : public QScrollArea
{
    Q_OBJECT

public:
    explicit TULOComposePostView(QWidget *parent = nullptr);
    ~TULOComposePostView() override;

    TULOComposePostViewDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOComposePostViewDelegate *delegate) { m_delegate.set(delegate); }

    TULOTokenTextView *textView() const { return m_textView; }
    QString text() const;
    QString tagForSelectedRange() const;
    void insertTag(const TULOTag &tag);

    QList<QWidget *> headerViews() const { return m_headerViews; }
    void setHeaderViews(const QList<QWidget *> &views);
    QList<QWidget *> scrollableHeaderViews() const { return m_scrollableHeaderViews; }
    void setScrollableHeaderViews(const QList<QWidget *> &views);
    QList<QWidget *> footerViews() const { return m_footerViews; }
    void setFooterViews(const QList<QWidget *> &views);
    // Previews (TULOAttachmentPreviewView) and sound bite slots, in order.
    QList<QWidget *> attachmentViews() const { return m_attachmentViews; }
    void setAttachmentViews(const QList<QWidget *> &views);

    QAbstractButton *attachmentButton();
    bool showsAttachmentButton() const { return m_showsAttachmentButton; }
    void setShowsAttachmentButton(bool shows);

    qint64 allowedCharacterCount() const { return m_allowedCharacterCount; }
    void setAllowedCharacterCount(qint64 count);
    // The remaining-character label, or null while there is no limit.
    QLabel *characterCountLabel() const { return m_characterCountLabel; }

    void showTextCompletionViewController(TULOViewController *controller, bool animated,
                                          std::function<void()> completion = {});
    void hideTextCompletionViewControllerAnimated(bool animated, std::function<void()> completion = {});

    bool becomeFirstResponder();
    bool resignFirstResponder();

    // Removes the attachment view as its remove button does.
    void removeAttachmentView(QWidget *view);

private:
    void replaceRows(QList<QWidget *> &rows, const QList<QWidget *> &views, QVBoxLayout *layout);
    void reloadCharacterCountLabel();

    TULOWeakDelegate<TULOComposePostViewDelegate> m_delegate;
    TULOTokenTextView *m_textView = nullptr;
    QWidget *m_content = nullptr;
    QVBoxLayout *m_headerLayout = nullptr;
    QVBoxLayout *m_scrollableHeaderLayout = nullptr;
    QVBoxLayout *m_attachmentLayout = nullptr;
    QVBoxLayout *m_footerLayout = nullptr;
    QHBoxLayout *m_buttonRow = nullptr;
    QPushButton *m_attachmentButton = nullptr;
    QLabel *m_characterCountLabel = nullptr;
    QWidget *m_completionHolder = nullptr;
    QList<QWidget *> m_headerViews;
    QList<QWidget *> m_scrollableHeaderViews;
    QList<QWidget *> m_footerViews;
    QList<QWidget *> m_attachmentViews;
    bool m_showsAttachmentButton = false;
    qint64 m_allowedCharacterCount = 0;
};
