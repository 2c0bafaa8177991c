#include <Quillon/compose/composepostview.h>

#include <Quillon/compose/tokentexttypingrules_p.h>

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tagtokenformat.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/keyboardnotifier.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPropertyAnimation>
#include <QScrollBar>
#include <QTextBlock>
#include <QToolButton>

namespace {

// Spacings of the stack, in points.
constexpr int TULOScrollableHeaderSpaceAbove = 15;
constexpr int TULOScrollableHeaderSpaceBelow = 3;
constexpr int TULOTextInsetReduction = 5;
constexpr int TULOAttachmentSpaceAfter = 15;
constexpr int TULOAttachmentButtonSpaceAbove = 32;
constexpr int TULOCountLabelSpaceLeft = 10;
constexpr int TULOFooterSpaceAbove = 16;
constexpr int TULOMinimumTextLines = 3;
constexpr int TULOCompletionRows = 4;

const QColor TULOSystemPink(255, 45, 85);
const QColor TULOCountColor(79, 181, 238);

int rowHeightForWidth(QWidget *view, int width)
{
    if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
        return preview->sizeThatFits(QSize(width, QWIDGETSIZE_MAX)).height();
    // A row without a size hint of its own still has its minimum (or fixed) height.
    const int height = view->hasHeightForWidth() ? view->heightForWidth(width) : view->sizeHint().height();
    return std::clamp(height, view->minimumHeight(), std::max(view->minimumHeight(), view->maximumHeight()));
}

// A "+" in a circle in the palette's accent colour: the attachment button.
class TULOAddAttachmentButton : public QToolButton
{
public:
    explicit TULOAddAttachmentButton(QWidget *parent)
        : QToolButton(parent)
    {
        setAutoRaise(true);
        setFocusPolicy(Qt::StrongFocus);
        setCursor(Qt::PointingHandCursor);
        setFixedSize(30, 30);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor tint = palette().color(QPalette::Highlight);
        if (isDown())
            tint = tint.darker(130); // a gentle press, as the button's low charge asks
        const QRectF circle = QRectF(rect()).adjusted(3, 3, -3, -3);
        painter.setPen(QPen(tint, 1.6));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(circle);
        const QPointF c = circle.center();
        const qreal arm = circle.width() * 0.26;
        painter.setPen(QPen(tint, 1.8, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(c - QPointF(arm, 0), c + QPointF(arm, 0));
        painter.drawLine(c - QPointF(0, arm), c + QPointF(0, arm));
        if (hasFocus()) {
            painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
            painter.drawEllipse(circle.adjusted(-2, -2, 2, 2));
        }
    }
};

} // namespace

TULOComposePostView::TULOComposePostView(QWidget *parent)
    : QScrollArea(parent)
    , m_content(new QWidget)
    , m_textView(new TULOTokenTextView(m_content))
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setWidget(m_content);
    m_content->setAutoFillBackground(false);
    m_content->installEventFilter(this);
    viewport()->setAutoFillBackground(true);
    viewport()->setBackgroundRole(QPalette::Base);

    // The outer view scrolls; the text grows with its content.
    m_textView->setFrameShape(QFrame::NoFrame);
    m_textView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_textView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_textView->setTabChangesFocus(true);
    m_textView->setDelegate(this);
    m_textView->installEventFilter(this);
    m_textView->viewport()->setAutoFillBackground(false);
    m_textView->setAutoFillBackground(false);
    m_textView->document()->setDocumentMargin(4);
    m_textView->setAccessibleName(TULOLocalization::defaultLocalization()->localizedStringForKey(
        QStringLiteral("COMPOSE_TEXT_ACCESSIBLE_NAME"), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext()));
    connect(m_textView->document(), &QTextDocument::contentsChanged, this, [this] {
        reloadUnderlineStyling();
        reloadCharacterCountLabel();
        if (!m_layingOut)
            layoutSubviews();
    });
    // The text grows and shrinks the stack below it.
    connect(m_textView->document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this, [this] {
        if (!m_layingOut)
            layoutSubviews();
    });
    connect(m_textView, &QTextEdit::cursorPositionChanged, this, &TULOComposePostView::ensureCaretVisible);

    TULONotificationCenter *center = TULONotificationCenter::defaultCenter();
    const QPointer<TULOComposePostView> weak(this);
    center->addObserver(this, QString::fromLatin1(TULOKeyboardWillChangeFrameNotification), nullptr,
                        [weak](const TULONotification &notification) {
                            TULODispatchMain([weak, notification] {
                                if (weak)
                                    weak->keyboardFrameWillChange(notification);
                            });
                        });
    center->addObserver(this, QString::fromLatin1(TULOKeyboardWillHideNotification), nullptr, [weak](const TULONotification &) {
        TULODispatchMain([weak] {
            if (weak)
                weak->keyboardWillHide();
        });
    });
    layoutSubviews();
}

TULOComposePostView::~TULOComposePostView()
{
    m_textView->setDelegate(nullptr);
    for (QWidget *view : std::as_const(m_attachmentViews)) {
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
            preview->removeButton()->disconnect(this);
    }
}

QString TULOComposePostView::text() const
{
    return m_textView->textWithResolvedTokenStrings();
}

void TULOComposePostView::setText(const QString &text)
{
    m_textView->setAttributedText(QTextDocumentFragment());
    m_textView->document()->setUndoRedoEnabled(false);
    qsizetype written = 0;
    for (const TULOTagTokenMatch &token : TULOTagTokensInString(text)) {
        m_textView->insertPlainText(text.mid(written, token.start - written));
        // The text after the token has its own space, so the token gets none.
        m_textView->replaceTextInRange({m_textView->textLength(), 0},
                                       std::make_shared<TULOTagTokenTextAttachment>(token.tag), QString());
        written = token.start + token.length;
    }
    m_textView->insertPlainText(text.mid(written));
    m_textView->document()->setUndoRedoEnabled(true);
    textViewDidChange(m_textView);
}

QString TULOComposePostView::tagForSelectedRange() const
{
    return m_textView->pendingTagForSelectedRange();
}

void TULOComposePostView::insertTag(const TULOTag &tag)
{
    m_textView->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(tag));
}

bool TULOComposePostView::becomeFirstResponder()
{
    return m_textView->becomeFirstResponder();
}

bool TULOComposePostView::resignFirstResponder()
{
    return m_textView->resignFirstResponder();
}

void TULOComposePostView::replaceRows(QList<QWidget *> &rows, const QList<QWidget *> &views)
{
    for (QWidget *old : std::as_const(rows)) {
        if (old && !views.contains(old) && old->parentWidget() == m_content) {
            old->hide();
            old->setParent(nullptr);
        }
    }
    rows = views;
    for (QWidget *view : views) {
        view->setParent(m_content);
        view->show();
    }
}

void TULOComposePostView::setHeaderViews(const QList<QWidget *> &views)
{
    replaceRows(m_headerViews, views);
    layoutSubviews();
}

void TULOComposePostView::setScrollableHeaderViews(const QList<QWidget *> &views)
{
    replaceRows(m_scrollableHeaderViews, views);
    layoutSubviews();
}

void TULOComposePostView::setFooterViews(const QList<QWidget *> &views)
{
    replaceRows(m_footerViews, views);
    layoutSubviews();
}

void TULOComposePostView::setAttachmentViews(const QList<QWidget *> &views)
{
    if (views == m_attachmentViews)
        return;
    for (QWidget *old : std::as_const(m_attachmentViews)) {
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(old))
            preview->removeButton()->disconnect(this);
        old->removeEventFilter(this);
    }
    replaceRows(m_attachmentViews, views);
    for (QWidget *view : views) {
        view->installEventFilter(this);
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view)) {
            QAbstractButton *button = preview->removeButton();
            connect(button, &QAbstractButton::clicked, this, [this, button] { removeAttachmentButtonAction(button); });
        }
    }
    reloadAccessiblePositions();
    layoutSubviews();
}

void TULOComposePostView::reloadAccessiblePositions()
{
    for (qsizetype i = 0; i < m_attachmentViews.size(); ++i) {
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(m_attachmentViews.at(i)))
            preview->setAccessiblePosition(int(i), int(m_attachmentViews.size()));
    }
}

void TULOComposePostView::removeAttachmentButtonAction(QAbstractButton *button)
{
    qsizetype index = -1;
    for (qsizetype i = 0; i < m_attachmentViews.size(); ++i) {
        if (m_attachmentViews.at(i)->isAncestorOf(button)) {
            index = i;
            break;
        }
    }
    if (index < 0)
        return;
    button->disconnect(this);
    QWidget *view = m_attachmentViews.takeAt(index);
    view->removeEventFilter(this);
    const bool hadFocus = view->isAncestorOf(QApplication::focusWidget()) || view->hasFocus();
    m_removingViews.append(view);
    reloadAccessiblePositions();
    layoutSubviews();
    if (hadFocus)
        m_textView->setFocus(Qt::OtherFocusReason);

    // The removed preview fades and folds up towards its top edge while the rest move up.
    auto *effect = new QGraphicsOpacityEffect(view);
    view->setGraphicsEffect(effect);
    auto *fade = new QPropertyAnimation(effect, "opacity", view);
    fade->setDuration(RemoveAnimationDuration);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    auto *fold = new QPropertyAnimation(view, "geometry", view);
    fold->setDuration(RemoveAnimationDuration);
    fold->setStartValue(view->geometry());
    const QRect from = view->geometry();
    fold->setEndValue(QRect(from.center().x(), from.top(), 0, 0).adjusted(-from.width() / 4, 0, from.width() / 4, from.height() / 4));
    fold->start(QAbstractAnimation::DeleteWhenStopped);
    const QPointer<QWidget> weakView(view);
    connect(fade, &QPropertyAnimation::finished, this, [this, weakView, index] {
        m_removingViews.removeAll(weakView);
        if (!weakView)
            return;
        weakView->hide();
        weakView->setGraphicsEffect(nullptr);
        weakView->setParent(nullptr);
        if (TULOComposePostViewDelegate *delegate = m_delegate.get())
            delegate->composePostViewDidRemoveAttachmentViewAtIndex(this, weakView, int(index));
        if (weakView && !weakView->parent())
            weakView->deleteLater();
    });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void TULOComposePostView::selectAttachmentView(QWidget *view)
{
    const qsizetype index = m_attachmentViews.indexOf(view);
    if (index < 0)
        return;
    m_textView->resignFirstResponder();
    const auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view);
    if (TULOComposePostViewDelegate *delegate = m_delegate.get())
        delegate->composePostViewDidSelectAttachmentAtIndex(this, preview ? preview->attachment() : nullptr, int(index));
}

QAbstractButton *TULOComposePostView::attachmentButton()
{
    if (!m_attachmentButton) {
        m_attachmentButton = new TULOAddAttachmentButton(m_content);
        const QString name = TULOLocalization::defaultLocalization()->localizedStringForKey(
            QStringLiteral("ADD_ATTACHMENT_BUTTON"), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext());
        m_attachmentButton->setAccessibleName(name);
        m_attachmentButton->setToolTip(name);
        m_attachmentButton->setVisible(m_showsAttachmentButton);
        updateTabOrder();
    }
    return m_attachmentButton;
}

void TULOComposePostView::setShowsAttachmentButton(bool shows)
{
    m_showsAttachmentButton = shows;
    attachmentButton()->setVisible(shows);
    layoutSubviews();
}

void TULOComposePostView::setAllowedCharacterCount(qint64 count)
{
    if (count == m_allowedCharacterCount)
        return;
    m_allowedCharacterCount = count;
    reloadUnderlineStyling();
    if (count != 0) {
        if (!m_characterCountLabel) {
            m_characterCountLabel = new QLabel(m_content);
            QFont footnote = m_characterCountLabel->font();
            footnote.setPointSizeF(footnote.pointSizeF() * 0.85);
            m_characterCountLabel->setFont(footnote);
            m_characterCountLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            m_characterCountLabel->setForegroundRole(QPalette::WindowText);
            m_characterCountLabel->show();
        }
        reloadCharacterCountLabel();
    } else if (m_characterCountLabel) {
        delete m_characterCountLabel;
        m_characterCountLabel = nullptr;
    }
    layoutSubviews();
}

void TULOComposePostView::reloadCharacterCountLabel()
{
    if (!m_characterCountLabel)
        return;
    // A token is one character; its suffix counts with its own length.
    const qint64 remaining = m_allowedCharacterCount - m_textView->textLength();
    m_characterCountLabel->setText(QLocale().toString(remaining));
    QPalette palette = m_characterCountLabel->palette();
    palette.setColor(QPalette::WindowText, remaining < 0 ? TULOSystemPink : TULOCountColor);
    m_characterCountLabel->setPalette(palette);
    const QString name = TULOStringWithFormat(TULOLocalization::defaultLocalization()->localizedStringForKey(
                                                  QStringLiteral("CHARACTERS_REMAINING_%@"),
                                                  QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext()),
                                              {m_characterCountLabel->text()});
    m_characterCountLabel->setAccessibleName(name);
    m_characterCountLabel->adjustSize();
}

void TULOComposePostView::reloadUnderlineStyling()
{
    // Drawn as extra selections: the marking is no edit of the text, so undo never sees it.
    QList<QTextEdit::ExtraSelection> selections;
    const qsizetype length = m_textView->textLength();
    if (m_allowedCharacterCount > 0 && length > m_allowedCharacterCount) {
        qsizetype from = m_allowedCharacterCount;
        // Never split a surrogate pair: the whole character is over the limit.
        const QChar before = m_textView->document()->characterAt(int(from - 1));
        if (before.isHighSurrogate())
            --from;
        // The marking's cursor follows the edits by itself; setting it again would repaint
        // the whole marked text on every key.
        const QList<QTextEdit::ExtraSelection> current = m_textView->extraSelections();
        if (current.size() == 1 && current.first().cursor.selectionStart() == from
            && current.first().cursor.selectionEnd() == length)
            return;
        QTextEdit::ExtraSelection over;
        over.cursor = QTextCursor(m_textView->document());
        over.cursor.setPosition(int(from));
        over.cursor.setPosition(int(length), QTextCursor::KeepAnchor);
        over.format.setUnderlineStyle(QTextCharFormat::DotLine);
        over.format.setUnderlineColor(TULOSystemPink);
        selections.append(over);
    }
    if (selections.isEmpty() && m_textView->extraSelections().isEmpty())
        return;
    m_textView->setExtraSelections(selections);
}

std::optional<bool> TULOComposePostView::textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *textView,
                                                                                      TULOTextRange range,
                                                                                      const QString &replacementText)
{
    return TULOTokenTextViewAllowsTypedChange(textView, range, replacementText, [this](const QString &pending) -> std::optional<TULOTag> {
        if (TULOComposePostViewDelegate *delegate = m_delegate.get())
            return delegate->composePostViewTagForString(this, pending);
        return std::nullopt;
    });
}

void TULOComposePostView::textViewDidChange(TULOTokenTextView *)
{
    if (TULOComposePostViewDelegate *delegate = m_delegate.get())
        delegate->composePostViewTextDidChange(this);
    reloadCharacterCountLabel();
    layoutSubviews();
}

void TULOComposePostView::textViewDidChangeSelection(TULOTokenTextView *textView)
{
    if (TULOComposePostViewDelegate *delegate = m_delegate.get())
        delegate->composePostViewTextSelectionDidChange(this);
    textView->reloadTokenSelection();
}

void TULOComposePostView::setLayoutMargins(const QMargins &margins)
{
    m_layoutMargins = margins;
    layoutSubviews();
}

void TULOComposePostView::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    layoutSubviews();
}

void TULOComposePostView::changeEvent(QEvent *event)
{
    QScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        layoutSubviews();
}

void TULOComposePostView::layoutSubviews()
{
    if (m_layingOut)
        return;
    m_layingOut = true;
    const int width = viewport()->width();
    const QMargins margins = m_layoutMargins;
    const int inner = std::max(0, width - margins.left() - margins.right());
    int y = 0;

    for (QWidget *row : std::as_const(m_headerViews)) {
        const int height = rowHeightForWidth(row, width);
        row->setGeometry(0, y, width, height);
        y += height;
    }
    if (!m_scrollableHeaderViews.isEmpty()) {
        y += TULOScrollableHeaderSpaceAbove;
        for (QWidget *row : std::as_const(m_scrollableHeaderViews)) {
            const int height = rowHeightForWidth(row, inner);
            row->setGeometry(margins.left(), y, inner, height);
            y += height;
        }
        y += TULOScrollableHeaderSpaceBelow;
    }

    // The text lines up with the rows' margins (the document adds its own small margin).
    const int left = std::max(0, margins.left() - TULOTextInsetReduction);
    const int right = std::max(0, margins.right() - TULOTextInsetReduction);
    // The text view is inset rather than its text: same lines, and a new text width (which
    // lays out the whole document again) only when the view's width really changes.
    QTextDocument *document = m_textView->document();
    const int textWidth = std::max(0, width - left - right);
    if (m_textView->width() != textWidth)
        m_textView->setGeometry(left, y, textWidth, m_textView->height());
    const int lines = QFontMetrics(m_textView->font()).lineSpacing() * TULOMinimumTextLines;
    const int textHeight = std::max(int(std::ceil(document->size().height())), lines + 2 * int(document->documentMargin()));
    m_textView->setGeometry(left, y, textWidth, textHeight);
    y += textHeight;

    for (QWidget *view : std::as_const(m_attachmentViews)) {
        QSize size;
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
            size = preview->sizeThatFits(QSize(inner, QWIDGETSIZE_MAX));
        else
            size = QSize(inner, rowHeightForWidth(view, inner));
        // Previews overhang to the left by their button's half, so the picture meets the margin.
        const int x = qobject_cast<TULOAttachmentPreviewView *>(view) ? margins.left() - TULOAttachmentPreviewView::ChildInset
                                                                       : margins.left();
        view->setGeometry(std::max(0, x), y, size.width(), size.height());
        y += size.height() + TULOAttachmentSpaceAfter;
    }

    if (m_showsAttachmentButton && m_attachmentButton) {
        y += TULOAttachmentButtonSpaceAbove;
        const QSize size = m_attachmentButton->sizeHint().expandedTo(m_attachmentButton->minimumSize());
        m_attachmentButton->setGeometry(margins.left(), y, size.width(), size.height());
        if (m_characterCountLabel) {
            // Baselines meet: the label's bottom sits as far above its baseline as the button's.
            const QSize label = m_characterCountLabel->sizeHint();
            const int baselineFromBottom = m_attachmentButton->height() / 2 - QFontMetrics(m_characterCountLabel->font()).ascent() / 2;
            const int bottom = m_attachmentButton->geometry().bottom() + 1 - baselineFromBottom
                             + QFontMetrics(m_characterCountLabel->font()).descent();
            m_characterCountLabel->setGeometry(m_attachmentButton->geometry().right() + 1 + TULOCountLabelSpaceLeft,
                                               bottom - label.height(), label.width(), label.height());
        }
        y += size.height();
    } else if (m_characterCountLabel) {
        // Without the button the count stands at the trailing margin.
        const QSize label = m_characterCountLabel->sizeHint();
        y += 8;
        m_characterCountLabel->setGeometry(width - margins.right() - label.width(), y, label.width(), label.height());
        y += label.height();
    }

    y += TULOFooterSpaceAbove;
    for (QWidget *row : std::as_const(m_footerViews)) {
        const int height = rowHeightForWidth(row, width);
        row->setGeometry(0, y, width, height);
        y += height;
    }

    m_content->resize(width, std::max(y + m_bottomInset, viewport()->height()));
    placeCompletionView();
    updateTabOrder();
    m_layingOut = false;
}

void TULOComposePostView::updateTabOrder()
{
    // Text first, then the previews in order, the attachment button, and the footer rows;
    // header rows come before the text.
    QList<QWidget *> chain;
    chain << m_headerViews << m_scrollableHeaderViews << m_textView;
    for (QWidget *view : std::as_const(m_attachmentViews)) {
        chain << view;
        if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view))
            chain << preview->removeButton();
    }
    if (m_attachmentButton)
        chain << m_attachmentButton;
    chain << m_footerViews;
    for (qsizetype i = 1; i < chain.size(); ++i)
        QWidget::setTabOrder(chain.at(i - 1), chain.at(i));
}

void TULOComposePostView::showTextCompletionViewController(TULOViewController *controller, bool animated,
                                                            const std::function<void()> &completion)
{
    if (!controller)
        return;
    const bool appearing = m_completionController != controller || !controller->view()->isVisible();
    if (m_completionController && m_completionController != controller)
        hideTextCompletionViewControllerAnimated(false);
    m_completionController = controller;
    QWidget *view = controller->view();
    if (appearing)
        controller->beginAppearanceTransition(true, animated);
    if (view->parentWidget() != m_content)
        view->setParent(m_content);
    view->show();
    view->raise();
    placeCompletionView();
    if (appearing)
        controller->endAppearanceTransition();
    if (completion)
        completion();
}

void TULOComposePostView::hideTextCompletionViewControllerAnimated(bool animated, const std::function<void()> &completion)
{
    TULOViewController *controller = m_completionController;
    m_completionController = nullptr;
    if (controller && controller->isViewLoaded() && controller->viewIfLoaded()->isVisible()) {
        controller->beginAppearanceTransition(false, animated);
        controller->viewIfLoaded()->hide();
        controller->endAppearanceTransition();
    }
    if (completion)
        completion();
}

void TULOComposePostView::placeCompletionView()
{
    if (!m_completionController || !m_completionController->isViewLoaded())
        return;
    QWidget *view = m_completionController->viewIfLoaded();
    const QRectF caret = m_textView->textRectForSelectedRange();
    const QPoint below = m_textView->viewport()->mapTo(m_content, caret.bottomLeft().toPoint());
    const QSize preferred = m_completionController->preferredContentSize();
    const int rowHeight = 44;
    const int height = preferred.isValid() && preferred.height() > 0 ? preferred.height() : rowHeight * TULOCompletionRows + 1;
    view->setGeometry(0, below.y() + 4, viewport()->width(), height);
    // Keep the list on screen: grow the content when needed and scroll it into view.
    if (view->geometry().bottom() + 1 > m_content->height())
        m_content->resize(m_content->width(), view->geometry().bottom() + 1);
    ensureVisible(0, view->geometry().bottom(), 0, 0);
    ensureVisible(0, std::max(0, below.y() - int(caret.height())), 0, 0);
}

void TULOComposePostView::ensureCaretVisible()
{
    const QRect caret = m_textView->cursorRect();
    const QPoint topLeft = m_textView->viewport()->mapTo(m_content, caret.topLeft());
    ensureVisible(topLeft.x(), topLeft.y() + caret.height() / 2, 0, caret.height());
}

void TULOComposePostView::keyboardFrameWillChange(const TULONotification &notification)
{
    const QRect overlap = TULOKeyboardOverlapInWidget(notification.userInfo(), this);
    m_bottomInset = overlap.height();
    layoutSubviews();
}

void TULOComposePostView::keyboardWillHide()
{
    hideTextCompletionViewControllerAnimated(true);
    m_bottomInset = 0;
    layoutSubviews();
}

bool TULOComposePostView::forwardKeyToCompletion(QKeyEvent *event)
{
    if (!m_completionController || !m_completionController->isViewLoaded() || !m_completionController->viewIfLoaded()->isVisible())
        return false;
    if (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    switch (event->key()) {
    case Qt::Key_Escape:
        hideTextCompletionViewControllerAnimated(true);
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Tab: {
        QKeyEvent copy(event->type(), event->key(), event->modifiers(), event->text());
        copy.setAccepted(false);
        QCoreApplication::sendEvent(m_completionController->viewIfLoaded(), &copy);
        return copy.isAccepted();
    }
    default:
        return false;
    }
}

bool TULOComposePostView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_textView) {
        if (event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress) {
            auto *key = static_cast<QKeyEvent *>(event);
            const bool listShown = m_completionController && m_completionController->isViewLoaded()
                                && m_completionController->viewIfLoaded()->isVisible();
            const bool listKey = key->key() == Qt::Key_Escape || key->key() == Qt::Key_Up || key->key() == Qt::Key_Down
                              || key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter || key->key() == Qt::Key_Tab;
            if (event->type() == QEvent::ShortcutOverride) {
                // Keep Escape and Return from the screen's shortcuts while the list takes them.
                if (listShown && listKey && !(key->modifiers() & Qt::ControlModifier)) {
                    event->accept();
                    return true;
                }
                return false;
            }
            if (forwardKeyToCompletion(key))
                return true;
        }
        return false;
    }
    if (watched == m_content && event->type() == QEvent::MouseButtonRelease) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton && !m_content->childAt(mouse->position().toPoint()))
            m_textView->becomeFirstResponder();
        return false;
    }
    auto *view = qobject_cast<QWidget *>(watched);
    if (view && m_attachmentViews.contains(view)) {
        if (event->type() == QEvent::MouseButtonRelease && static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton
            && view->rect().contains(static_cast<QMouseEvent *>(event)->position().toPoint())) {
            selectAttachmentView(view);
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space) {
                selectAttachmentView(view);
                return true;
            }
            if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
                if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(view)) {
                    preview->removeButton()->click();
                    return true;
                }
            }
        }
    }
    return QScrollArea::eventFilter(watched, event);
}
