#include <Quillon/compose/tokentextviewtableassistant.h>

#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentexttypingrules_p.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/tableviewcell.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QKeyEvent>
#include <QScrollBar>

TULOTokenTextViewTableAssistant::TULOTokenTextViewTableAssistant(const TULOConfiguration &configuration, QObject *parent)
    : QObject(parent)
    , m_configuration(configuration)
{
}

TULOTokenTextViewTableAssistant::~TULOTokenTextViewTableAssistant()
{
    for (const QPointer<TULOTokenTextView> &view : std::as_const(m_textViews))
        if (view) {
            view->removeEventFilter(this);
            if (view->delegate() == this)
                view->setDelegate(nullptr);
        }
    if (m_tagList) {
        m_tagList->setDelegate(nullptr);
        delete m_tagList;
    }
}

void TULOTokenTextViewTableAssistant::addTextView(TULOTokenTextView *textView)
{
    if (!textView || m_textViews.contains(textView))
        return;
    m_textViews.append(textView);
    textView->setDelegate(this);
    textView->installEventFilter(this);
}

QList<TULOTokenTextView *> TULOTokenTextViewTableAssistant::textViews() const
{
    QList<TULOTokenTextView *> views;
    for (const QPointer<TULOTokenTextView> &view : m_textViews)
        if (view)
            views.append(view);
    return views;
}

TULOTagListViewController *TULOTokenTextViewTableAssistant::tagList()
{
    if (!m_tagList) {
        m_tagList = new TULOTagListViewController(m_configuration);
        m_tagList->setDelegate(this);
    }
    return m_tagList;
}

bool TULOTokenTextViewTableAssistant::isTagListShown() const
{
    return m_tagList && m_tagList->isViewLoaded() && !m_tagList->viewIfLoaded()->isHidden();
}

TULOTokenTextView *TULOTokenTextViewTableAssistant::activeTextView() const
{
    for (const QPointer<TULOTokenTextView> &view : m_textViews)
        if (view && view->hasFocus())
            return view;
    return m_editingView;
}

std::optional<bool> TULOTokenTextViewTableAssistant::textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *textView,
                                                                                                 TULOTextRange range,
                                                                                                 const QString &replacementText)
{
    if (replacementText == QStringLiteral("\n")) {
        // Return ends editing of the field.
        setTableScrollEnabled(true);
        removeTagList();
        textView->resignFirstResponder();
        return false;
    }
    return TULOTokenTextViewAllowsTypedChange(textView, range, replacementText, [this](const QString &pending) {
        return tagList()->existingTagForString(pending);
    });
}

void TULOTokenTextViewTableAssistant::textViewDidBeginEditing(TULOTokenTextView *textView)
{
    m_editingView = textView;
    if (!m_tableView || rowRectForTextView(textView).isNull())
        return;
    setTableScrollEnabled(false);
    showTagList(textView);
}

void TULOTokenTextViewTableAssistant::textViewDidChange(TULOTokenTextView *textView)
{
    if (m_tagList)
        m_tagList->reloadWithTagString(textView->pendingTagForSelectedRange());
    if (m_tableView)
        m_tableView->updateGeometry(); // rows follow the text's height
    layoutTagCompletionView();
}

void TULOTokenTextViewTableAssistant::textViewDidChangeSelection(TULOTokenTextView *textView)
{
    if (m_tagList)
        m_tagList->reloadWithTagString(textView->pendingTagForSelectedRange());
    textView->reloadTokenSelection();
}

void TULOTokenTextViewTableAssistant::textViewDidEndEditing(TULOTokenTextView *textView)
{
    if (m_editingView == textView)
        m_editingView = nullptr;
    if (!m_tagList)
        return;
    setTableScrollEnabled(true);
    removeTagList();
}

void TULOTokenTextViewTableAssistant::tagListDidSelectTag(TULOTagListViewController *, const TULOTag &tag)
{
    if (TULOTokenTextView *view = activeTextView())
        view->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(tag));
    layoutTagCompletionView();
}

QRect TULOTokenTextViewTableAssistant::rowRectForTextView(const TULOTokenTextView *textView) const
{
    if (!m_tableView || !textView)
        return {};
    const QPoint centre = textView->mapTo(m_tableView, textView->rect().center());
    for (QWidget *widget = textView->parentWidget(); widget; widget = widget->parentWidget())
        if (auto *cell = qobject_cast<TULOTableViewCell *>(widget)) {
            const QRect row(cell->mapTo(m_tableView, QPoint(0, 0)), cell->size());
            return row.contains(centre) ? row : QRect();
        }
    return {};
}

void TULOTokenTextViewTableAssistant::showTagList(TULOTokenTextView *textView)
{
    TULOTagListViewController *list = tagList();
    if (m_parentViewController && !list->parentViewController())
        m_parentViewController->addChildViewController(list);
    QWidget *view = list->view();
    view->setParent(m_tableView);
    list->beginAppearanceTransition(true, true);
    list->reloadWithTagString(textView->pendingTagForSelectedRange());
    view->show();
    view->raise();
    list->endAppearanceTransition();
    layoutTagCompletionView();
}

void TULOTokenTextViewTableAssistant::removeTagList()
{
    if (!isTagListShown())
        return;
    m_tagList->beginAppearanceTransition(false, true);
    m_tagList->viewIfLoaded()->hide();
    m_tagList->endAppearanceTransition();
}

void TULOTokenTextViewTableAssistant::layoutTagCompletionView()
{
    if (!isTagListShown() || !m_tableView)
        return;
    const QRect row = rowRectForTextView(activeTextView());
    if (row.isNull())
        return;
    // Down to the table's bottom, or to the keyboard's top when one covers it.
    int bottom = m_tableView->height();
    if (!m_keyboardFrame.isEmpty())
        bottom = std::min(bottom, m_tableView->mapFromGlobal(m_keyboardFrame.topLeft()).y());
    m_tagList->viewIfLoaded()->setGeometry(0, row.bottom() + 1, m_tableView->width(), std::max(0, bottom - row.bottom() - 1));
}

void TULOTokenTextViewTableAssistant::setTableScrollEnabled(bool enabled)
{
    if (!m_tableView)
        return;
    m_tableView->verticalScrollBar()->setEnabled(enabled);
    if (enabled) {
        // Back so the content's end is at the bottom when editing left it past the end.
        QScrollBar *bar = m_tableView->verticalScrollBar();
        bar->setValue(std::min(bar->value(), bar->maximum()));
    }
}

bool TULOTokenTextViewTableAssistant::eventFilter(QObject *watched, QEvent *event)
{
    auto *view = qobject_cast<TULOTokenTextView *>(watched);
    if (view && isTagListShown() && (event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride)) {
        auto *key = static_cast<QKeyEvent *>(event);
        const bool listKey = key->key() == Qt::Key_Up || key->key() == Qt::Key_Down || key->key() == Qt::Key_Escape
                          || ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && m_tagList->keyboardRow() >= 0);
        if (listKey) {
            if (event->type() == QEvent::ShortcutOverride) {
                event->accept();
                return true;
            }
            if (key->key() == Qt::Key_Escape) {
                removeTagList();
                return true;
            }
            return m_tagList->handleKeyPress(key);
        }
    }
    return QObject::eventFilter(watched, event);
}
