#include <Quillon/compose/composepostview.h>

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

TULOComposePostView::TULOComposePostView(QWidget *parent)
    : QScrollArea(parent)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(tr("Post"));

    m_content = new QWidget;
    auto *column = new QVBoxLayout(m_content);
    column->setContentsMargins(0, 0, 0, 12);
    column->setSpacing(0);

    m_headerLayout = new QVBoxLayout;
    m_headerLayout->setSpacing(0);
    m_scrollableHeaderLayout = new QVBoxLayout;
    m_scrollableHeaderLayout->setContentsMargins(12, 15, 12, 3);
    m_attachmentLayout = new QVBoxLayout;
    m_attachmentLayout->setContentsMargins(12, 0, 12, 0);
    m_attachmentLayout->setSpacing(15);
    m_footerLayout = new QVBoxLayout;
    m_footerLayout->setContentsMargins(0, 16, 0, 0);
    m_footerLayout->setSpacing(0);

    m_textView = new TULOTokenTextView;
    m_textView->setFrameShape(QFrame::NoFrame);
    m_textView->setMinimumHeight(120);
    m_textView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_textView->setAccessibleName(tr("Post text"));
    m_textView->document()->setDocumentMargin(12);
    connect(m_textView, &QTextEdit::textChanged, this, [this] {
        reloadCharacterCountLabel();
        if (auto *delegate = m_delegate.get())
            delegate->composePostViewTextDidChange(this);
    });
    connect(m_textView, &QTextEdit::cursorPositionChanged, this, [this] {
        if (auto *delegate = m_delegate.get())
            delegate->composePostViewTextSelectionDidChange(this);
    });

    m_buttonRow = new QHBoxLayout;
    m_buttonRow->setContentsMargins(12, 32, 12, 0);
    m_buttonRow->addWidget(attachmentButton());
    m_buttonRow->addStretch();

    m_completionHolder = new QWidget;
    new QVBoxLayout(m_completionHolder);
    m_completionHolder->layout()->setContentsMargins(12, 0, 12, 0);
    m_completionHolder->hide();

    column->addLayout(m_headerLayout);
    column->addLayout(m_scrollableHeaderLayout);
    column->addWidget(m_textView);
    column->addWidget(m_completionHolder);
    column->addLayout(m_attachmentLayout);
    column->addLayout(m_buttonRow);
    column->addLayout(m_footerLayout);
    column->addStretch();
    setWidget(m_content);
    setFocusProxy(m_textView);
}

TULOComposePostView::~TULOComposePostView() = default;

QString TULOComposePostView::text() const
{
    return m_textView->textWithResolvedTokenStrings();
}

QString TULOComposePostView::tagForSelectedRange() const
{
    return m_textView->pendingTagForSelectedRange();
}

void TULOComposePostView::insertTag(const TULOTag &tag)
{
    m_textView->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(tag));
}

void TULOComposePostView::replaceRows(QList<QWidget *> &rows, const QList<QWidget *> &views, QVBoxLayout *layout)
{
    for (QWidget *old : std::as_const(rows)) {
        // A row that leaves stays a hidden child, so it is not lost while its owner may reuse it.
        if (old && !views.contains(old)) {
            layout->removeWidget(old);
            old->hide();
        }
    }
    rows = views;
    for (QWidget *view : views) {
        layout->addWidget(view);
        view->show();
    }
}

void TULOComposePostView::setHeaderViews(const QList<QWidget *> &views)
{
    replaceRows(m_headerViews, views, m_headerLayout);
}

void TULOComposePostView::setScrollableHeaderViews(const QList<QWidget *> &views)
{
    replaceRows(m_scrollableHeaderViews, views, m_scrollableHeaderLayout);
}

void TULOComposePostView::setFooterViews(const QList<QWidget *> &views)
{
    replaceRows(m_footerViews, views, m_footerLayout);
}

void TULOComposePostView::setAttachmentViews(const QList<QWidget *> &views)
{
    if (views == m_attachmentViews)
        return;
    const QList<QWidget *> old = m_attachmentViews;
    replaceRows(m_attachmentViews, views, m_attachmentLayout);
    for (QWidget *view : old) {
        auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view);
        if (preview && !views.contains(preview))
            preview->deleteLater();
        else if (preview)
            preview->removeButton()->disconnect(this);
    }
    for (QWidget *view : views) {
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
            connect(preview->removeButton(), &QAbstractButton::clicked, this, [this, preview] { removeAttachmentView(preview); });
    }
}

void TULOComposePostView::removeAttachmentView(QWidget *view)
{
    const qsizetype index = m_attachmentViews.indexOf(view);
    if (index < 0)
        return;
    if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
        preview->removeButton()->disconnect(this);
    m_attachmentViews.removeAt(index);
    m_attachmentLayout->removeWidget(view);
    view->hide();
    if (auto *delegate = m_delegate.get())
        delegate->composePostViewDidRemoveAttachmentViewAtIndex(this, view, int(index));
}

QAbstractButton *TULOComposePostView::attachmentButton()
{
    if (!m_attachmentButton) {
        m_attachmentButton = new QPushButton(QIcon::fromTheme(QStringLiteral("list-add")), tr("Add"));
        m_attachmentButton->setAccessibleName(tr("Add attachment"));
        m_attachmentButton->setVisible(m_showsAttachmentButton);
    }
    return m_attachmentButton;
}

void TULOComposePostView::setShowsAttachmentButton(bool shows)
{
    m_showsAttachmentButton = shows;
    attachmentButton()->setVisible(shows);
}

void TULOComposePostView::setAllowedCharacterCount(qint64 count)
{
    if (count == m_allowedCharacterCount)
        return;
    m_allowedCharacterCount = count;
    if (count == 0) {
        delete m_characterCountLabel;
        m_characterCountLabel = nullptr;
        return;
    }
    if (!m_characterCountLabel) {
        m_characterCountLabel = new QLabel;
        m_characterCountLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_characterCountLabel->setAccessibleName(tr("Characters left"));
        m_buttonRow->addWidget(m_characterCountLabel);
    }
    reloadCharacterCountLabel();
}

void TULOComposePostView::reloadCharacterCountLabel()
{
    if (!m_characterCountLabel)
        return;
    const qint64 remaining = m_allowedCharacterCount - m_textView->toPlainText().size();
    m_characterCountLabel->setText(QLocale().toString(remaining));
    QPalette palette = m_characterCountLabel->palette();
    palette.setColor(QPalette::WindowText, remaining < 0 ? QColor(255, 45, 85) : QColor(79, 181, 238));
    m_characterCountLabel->setPalette(palette);
}

void TULOComposePostView::showTextCompletionViewController(TULOViewController *controller, bool animated,
                                                           std::function<void()> completion)
{
    Q_UNUSED(animated)
    QWidget *list = controller->view();
    if (list->parentWidget() != m_completionHolder)
        m_completionHolder->layout()->addWidget(list);
    list->show();
    m_completionHolder->show();
    if (completion)
        completion();
}

void TULOComposePostView::hideTextCompletionViewControllerAnimated(bool animated, std::function<void()> completion)
{
    Q_UNUSED(animated)
    m_completionHolder->hide();
    if (completion)
        completion();
}

bool TULOComposePostView::becomeFirstResponder()
{
    return m_textView->becomeFirstResponder();
}

bool TULOComposePostView::resignFirstResponder()
{
    return m_textView->resignFirstResponder();
}
