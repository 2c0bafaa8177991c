#pragma once

#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/compose/tokentextviewdelegate.h>
#include <Quillon/core/configuration.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>

class TULOTableView;
class TULOTokenTextView;
class TULOViewController;

// Gives token text views that sit in table cells (the artist fields of the properties editor)
// the tag completion of the compose view: while one is edited, the tag list shows under its
// row and follows the tag being typed; picking a tag inserts its token; Return ends editing.
class QUILLON_EXPORT TULOTokenTextViewTableAssistant : public QObject,
                                                       public TULOTextViewDelegate,
                                                       public TULOTagListViewControllerDelegate
{
    Q_OBJECT

public:
    explicit TULOTokenTextViewTableAssistant(const TULOConfiguration &configuration, QObject *parent = nullptr);
    ~TULOTokenTextViewTableAssistant() override;

    TULOConfiguration configuration() const { return m_configuration; }
    QRect keyboardFrame() const { return m_keyboardFrame; }
    void setKeyboardFrame(const QRect &frame) { m_keyboardFrame = frame; }
    TULOViewController *parentViewController() const { return m_parentViewController; }
    void setParentViewController(TULOViewController *controller) { m_parentViewController = controller; }
    TULOTableView *tableView() const { return m_tableView; }
    void setTableView(TULOTableView *tableView) { m_tableView = tableView; }

    // Adds a view once; the assistant becomes its text-view delegate.
    void addTextView(TULOTokenTextView *textView);
    QList<TULOTokenTextView *> textViews() const;
    // Made on first use.
    TULOTagListViewController *tagList();
    bool isTagListShown() const;
    // The view being edited: the first of the set that has keyboard focus.
    TULOTokenTextView *activeTextView() const;

    std::optional<bool> textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *textView, TULOTextRange range,
                                                                       const QString &replacementText) override;
    void textViewDidChange(TULOTokenTextView *textView) override;
    void textViewDidChangeSelection(TULOTokenTextView *textView) override;
    void textViewDidBeginEditing(TULOTokenTextView *textView) override;
    void textViewDidEndEditing(TULOTokenTextView *textView) override;
    void tagListDidSelectTag(TULOTagListViewController *tagList, const TULOTag &tag) override;

    void layoutTagCompletionView();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showTagList(TULOTokenTextView *textView);
    void removeTagList();
    void setTableScrollEnabled(bool enabled);
    QRect rowRectForTextView(const TULOTokenTextView *textView) const;

    TULOConfiguration m_configuration;
    QRect m_keyboardFrame;
    QPointer<TULOViewController> m_parentViewController;
    QPointer<TULOTagListViewController> m_tagList;
    QList<QPointer<TULOTokenTextView>> m_textViews;
    QPointer<TULOTableView> m_tableView;
    QPointer<TULOTokenTextView> m_editingView;
};
