#include <Quillon/compose/tokentextview.h>

#include <Quillon/compose/tokentextaccessible_p.h>
#include <Quillon/compose/tokentextattachment.h>
#include <Quillon/compose/tokentextattachmentview.h>
#include <Quillon/compose/tokentextmimedata_p.h>
#include <Quillon/compose/tokentextobjecthandler_p.h>

#include <QAbstractTextDocumentLayout>
#include <QScrollBar>
#include <QSet>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <QTimer>

#include <algorithm>

namespace {

bool TULOIsLineEnd(QChar c)
{
    return c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QChar::ParagraphSeparator
        || c == QChar::LineSeparator;
}

bool TULOIsSpaceOrLineEnd(QChar c)
{
    return c.isSpace() || TULOIsLineEnd(c);
}

// The text system's line ends, as plain text writes them.
QString TULOPlainFragmentText(QString text)
{
    text.replace(QChar::LineSeparator, QLatin1Char('\n'));
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    return text;
}

// The format of the character at a position, straight from the document's piece table in a time
// that grows with the log of the text's length. A text cursor placed there to ask would also
// find its x on the line, which lays the whole paragraph's text out again when it is long.
struct TULOLayoutFormats : QAbstractTextDocumentLayout
{
    static QTextCharFormat formatAt(QAbstractTextDocumentLayout *layout, int position)
    {
        return (layout->*(&TULOLayoutFormats::format))(position);
    }
};

// The number of the line holding `position` (relative to the block), found from the lines the
// layout keeps: QTextLayout::lineForTextPosition analyses the paragraph's text again first.
int TULOLineNumberForPosition(const QTextLayout *layout, int position)
{
    int low = 0;
    int high = layout->lineCount() - 1;
    if (high < 0)
        return -1;
    while (low < high) {
        const int middle = (low + high + 1) / 2;
        if (layout->lineAt(middle).textStart() <= position)
            low = middle;
        else
            high = middle - 1;
    }
    return low;
}

} // namespace

TULOTokenTextView::TULOTokenTextView(QWidget *parent)
    : QTextEdit(parent)
    , m_objectHandler(new TULOTokenTextObjectHandler(this))
    , m_tokenViewReloadTimer(new QTimer(this))
{
    TULOTokenTextAccessible::install();
    setAcceptRichText(false);
    document()->documentLayout()->registerHandler(TULOTokenTextObjectType, m_objectHandler);

    // Token views follow the layout: an edit moves only the views from the line before it on,
    // at once, before the text is painted; a new width or a new font places them all, once the
    // layout has settled. Other layout passes (a long text laid out step by step) move nothing
    // that was placed, since placing a token lays its paragraph out.
    m_tokenViewReloadTimer->setSingleShot(true);
    m_tokenViewReloadTimer->setInterval(0);
    connect(m_tokenViewReloadTimer, &QTimer::timeout, this, &TULOTokenTextView::reloadTokenViews);
    connect(document(), &QTextDocument::contentsChange, this, [this](int position, int, int) {
        m_changedFrom = m_changedFrom < 0 ? position : qMin<qsizetype>(m_changedFrom, position);
    });
    connect(document()->documentLayout(), &QAbstractTextDocumentLayout::update, this, &TULOTokenTextView::layoutDidUpdate);
    connect(document(), &QTextDocument::contentsChanged, this, [this] { ++m_contentChanges; });
    connect(this, &QTextEdit::cursorPositionChanged, this, [this] { m_selectionCleared = false; });
    connect(this, &QTextEdit::selectionChanged, this, [this] {
        reloadTokenSelection();
        if (TULOTextViewDelegate *delegate = m_delegate.get())
            delegate->textViewDidChangeSelection(this);
    });
}

TULOTokenTextView::~TULOTokenTextView()
{
    // The views belong to their attachments, which may outlive this view in a copy.
    for (const QPointer<TULOTokenTextAttachmentView> &view : std::as_const(m_tokenViews)) {
        if (view) {
            view->hide();
            view->setParent(nullptr);
        }
    }
}

TULOTextRange TULOTokenTextView::selectedRange() const
{
    if (m_selectionCleared)
        return {};
    const QTextCursor cursor = textCursor();
    return {cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()};
}

void TULOTokenTextView::setSelectedRange(TULOTextRange range)
{
    QTextCursor cursor = textCursor();
    const qsizetype length = textLength();
    cursor.setPosition(int(qBound<qsizetype>(0, range.location, length)));
    cursor.setPosition(int(qBound<qsizetype>(0, range.end(), length)), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    m_selectionCleared = false;
    reloadTokenSelection();
}

qsizetype TULOTokenTextView::textLength() const
{
    return document()->characterCount() - 1;
}

QString TULOTokenTextView::textInRange(qsizetype from, qsizetype to) const
{
    QTextCursor cursor(document());
    cursor.setPosition(int(from));
    cursor.setPosition(int(to), QTextCursor::KeepAnchor);
    return cursor.selectedText();
}

std::shared_ptr<TULOTokenTextAttachment> TULOTokenTextView::tokenAttachmentAtIndex(qsizetype index) const
{
    if (index < 0 || index >= textLength())
        return nullptr;
    const QChar c = document()->characterAt(int(index));
    if (c == QChar::ParagraphSeparator)
        return nullptr;
    return TULOTokenTextAttachment::attachmentForFormat(TULOLayoutFormats::formatAt(document()->documentLayout(), int(index)));
}

TULOTextRange TULOTokenTextView::effectiveTokenRange(qsizetype index) const
{
    const auto attachment = tokenAttachmentAtIndex(index);
    if (!attachment)
        return {};
    qsizetype start = index;
    qsizetype end = index + 1;
    while (start > 0 && tokenAttachmentAtIndex(start - 1) == attachment)
        --start;
    while (tokenAttachmentAtIndex(end) == attachment)
        ++end;
    return {start, end - start};
}

void TULOTokenTextView::enumerateTokenRuns(qsizetype from, qsizetype to, const RunBlock &block) const
{
    std::shared_ptr<TULOTokenTextAttachment> current;
    TULOTextRange run;
    bool stop = false;
    const auto flush = [&] {
        if (current && !stop)
            block(current, run, &stop);
        current.reset();
    };
    for (QTextBlock textBlock = document()->findBlock(int(from)); textBlock.isValid() && !stop;
         textBlock = textBlock.next()) {
        if (textBlock.position() >= to)
            break;
        for (auto it = textBlock.begin(); !it.atEnd() && !stop; ++it) {
            const QTextFragment fragment = it.fragment();
            if (fragment.position() >= to)
                break;
            const qsizetype start = qMax<qsizetype>(fragment.position(), from);
            const qsizetype end = qMin<qsizetype>(fragment.position() + fragment.length(), to);
            if (start >= end)
                continue;
            const auto attachment = TULOTokenTextAttachment::attachmentForFormat(fragment.charFormat());
            if (attachment && attachment == current && run.end() == start) {
                run.length = end - run.location;
                continue;
            }
            flush();
            if (attachment) {
                current = attachment;
                run = {start, end - start};
            }
        }
        flush(); // a token run never crosses a line end
    }
    flush();
}

qsizetype TULOTokenTextView::objectIndexInRun(TULOTextRange run) const
{
    for (qsizetype i = run.location; i < run.end(); ++i) {
        if (document()->characterAt(int(i)) == QChar::ObjectReplacementCharacter)
            return i;
    }
    return run.location;
}

void TULOTokenTextView::enumerateTokenAttachmentsUsingBlock(const TokenBlock &block) const
{
    qsizetype tokenIndex = 0;
    enumerateTokenRuns(0, textLength(), [&](const auto &attachment, TULOTextRange, bool *stop) {
        block(attachment, tokenIndex++, stop);
    });
}

TULOTextRange TULOTokenTextView::lastTokenRangeInSpan(qsizetype from, qsizetype to) const
{
    for (qsizetype index = to - 1; index >= from; --index) {
        const auto attachment = tokenAttachmentAtIndex(index);
        if (!attachment)
            continue;
        qsizetype start = index;
        while (start > from && tokenAttachmentAtIndex(start - 1) == attachment)
            --start;
        return {start, index + 1 - start};
    }
    return {};
}

TULOTextRange TULOTokenTextView::tagRangeForRange(TULOTextRange range) const
{
    const qsizetype length = textLength();
    if (range.isNotFound() || range.location > length)
        return {};
    const qsizetype caret = range.location;
    const qsizetype width = m_maximumTagLength != 0 ? m_maximumTagLength : length;
    const qsizetype spanStart = width >= caret ? 0 : caret - width;
    const TULOTextRange token = lastTokenRangeInSpan(spanStart, caret);

    if (!m_tagDelimeter.isEmpty()) {
        const qsizetype found = textInRange(spanStart, caret).lastIndexOf(m_tagDelimeter);
        if (found < 0)
            return {};
        const qsizetype delimiter = spanStart + found;
        if (delimiter != 0 && !TULOIsSpaceOrLineEnd(document()->characterAt(int(delimiter - 1))))
            return {}; // inside a word, as in an e-mail address
        if (!token.isNotFound() && token.location >= delimiter)
            return {}; // a tag never spans a token
        return {delimiter, caret - delimiter};
    }

    if (token.isNotFound())
        return {spanStart, caret - spanStart};
    qsizetype start = token.end();
    if (!m_tagSuffix.isEmpty() && textInRange(start, caret).startsWith(m_tagSuffix))
        start += m_tagSuffix.size();
    return {start, caret - start};
}

QString TULOTokenTextView::pendingTagForRange(TULOTextRange range, TULOTextRange *usedRange) const
{
    TULOTextRange tagRange = tagRangeForRange(range);
    if (tagRange.isNotFound())
        return QString();
    QString tag = TULOPlainFragmentText(textInRange(tagRange.location, tagRange.end()));
    if (m_tagDelimeter.isEmpty()) {
        qsizetype skipped = 0;
        while (skipped < tag.size() && (TULOIsSpaceOrLineEnd(tag.at(skipped)) || tag.at(skipped).isPunct()))
            ++skipped;
        tag.remove(0, skipped);
        tagRange.location += skipped;
        tagRange.length -= skipped;
    }
    if (tag.isNull())
        tag = QLatin1String("");
    if (usedRange)
        *usedRange = tagRange;
    return tag;
}

QString TULOTokenTextView::pendingTagForSelectedRange() const
{
    const TULOTextRange range = selectedRange();
    if (range.isNotFound() || range.length > 0)
        return QString();
    return pendingTagForRange(range);
}

QRectF TULOTokenTextView::textRectForSelectedRange() const
{
    const TULOTextRange range = selectedRange();
    if (range.isNotFound())
        return QRectF();
    QAbstractTextDocumentLayout *layout = document()->documentLayout();
    QRectF bounds;
    const auto lineRect = [&](qsizetype from, qsizetype to) {
        const QTextBlock block = document()->findBlock(int(from));
        layout->blockBoundingRect(block); // lays the block out
        const QTextLayout *blockLayout = block.layout();
        if (!blockLayout)
            return QRectF();
        const int begin = int(from - block.position());
        const QTextLine line = blockLayout->lineForTextPosition(begin);
        if (!line.isValid())
            return QRectF();
        const int end = int(qMin<qsizetype>(to - block.position(), line.textStart() + line.textLength()));
        const qreal x1 = line.cursorToX(begin);
        const qreal x2 = line.cursorToX(qMax(begin, end));
        return QRectF(blockLayout->position() + QPointF(qMin(x1, x2), line.y()),
                      QSizeF(qMax<qreal>(qAbs(x2 - x1), 1), line.height()));
    };
    if (range.length == 0)
        return lineRect(range.location, range.location);
    for (qsizetype index = range.location; index < range.end();) {
        const QTextBlock block = document()->findBlock(int(index));
        layout->blockBoundingRect(block);
        const QTextLine line = block.layout() ? block.layout()->lineForTextPosition(int(index - block.position()))
                                              : QTextLine();
        const qsizetype lineEnd = line.isValid() ? block.position() + line.textStart() + line.textLength()
                                                 : block.position() + block.length();
        const qsizetype end = qMin(range.end(), qMax(lineEnd, index + 1));
        bounds = bounds.united(lineRect(index, end));
        index = end;
    }
    return bounds;
}

void TULOTokenTextView::replaceTextInRange(TULOTextRange range,
                                            const std::shared_ptr<TULOTokenTextAttachment> &attachment,
                                            const QString &suffix)
{
    if (!attachment)
        return;
    // The token's format holds the token alone: the view's font is the document's already, and
    // every format property costs on each layout of the paragraph, once per token.
    const QTextCharFormat format = attachment->attributedStringWithBaseAttributes();

    const qsizetype length = textLength();
    const qsizetype start = qBound<qsizetype>(0, range.location, length);
    const qsizetype end = qBound<qsizetype>(start, range.end(), length);
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(int(start));
    cursor.setPosition(int(end), QTextCursor::KeepAnchor);
    cursor.insertText(attachment->attributedString(), format);
    // The token's run is the token character alone: the suffix is ordinary text, so the
    // posted text has the space the user saw after the token.
    if (!suffix.isEmpty())
        cursor.insertText(suffix, typingFormat(format));
    cursor.endEditBlock();
    setSelectedRange({start + attachment->attributedString().size() + suffix.size(), 0});
    cleanTypingFormat();
}

void TULOTokenTextView::insertTokenWithAttachment(const std::shared_ptr<TULOTokenTextAttachment> &attachment)
{
    const TULOTextRange selection = selectedRange();
    TULOTextRange target{textLength(), 0};
    if (!selection.isNotFound()) {
        TULOTextRange pending;
        target = pendingTagForRange(selection, &pending).isNull() ? selection : pending;
    }
    replaceTextInRange(target, attachment, m_tagSuffix);
    if (TULOTextViewDelegate *delegate = m_delegate.get())
        delegate->textViewDidChange(this);
    notifyChangeDelegate(trimmedTextLength());
}

QString TULOTokenTextView::resolvedText(qsizetype from, qsizetype to) const
{
    QString text;
    qsizetype position = from;
    enumerateTokenRuns(from, to, [&](const auto &attachment, TULOTextRange run, bool *) {
        text += TULOPlainFragmentText(textInRange(position, run.location));
        text += attachment->representedText(); // once for the whole run
        position = run.end();
    });
    text += TULOPlainFragmentText(textInRange(position, to));
    return text;
}

QString TULOTokenTextView::textWithResolvedTokenStrings() const
{
    return resolvedText(0, textLength());
}

QString TULOTokenTextView::accessibleText() const
{
    QString text;
    qsizetype position = 0;
    enumerateTokenRuns(0, textLength(), [&](const auto &attachment, TULOTextRange run, bool *) {
        text += TULOPlainFragmentText(textInRange(position, run.location));
        text += attachment->accessibleName();
        // A suffix in the token's run is still heard as the space it is.
        text += textInRange(run.location, run.end()).remove(QChar::ObjectReplacementCharacter);
        position = run.end();
    });
    text += TULOPlainFragmentText(textInRange(position, textLength()));
    return text;
}

qsizetype TULOTokenTextView::accessibleOffsetForIndex(qsizetype index) const
{
    qsizetype offset = index;
    enumerateTokenRuns(0, textLength(), [&](const auto &attachment, TULOTextRange run, bool *stop) {
        if (run.location >= index) {
            *stop = true;
            return;
        }
        const qsizetype object = objectIndexInRun(run);
        // The object character reads as the whole name.
        if (index > object)
            offset += attachment->accessibleName().size() - 1;
    });
    return offset;
}

qsizetype TULOTokenTextView::indexForAccessibleOffset(qsizetype offset) const
{
    qsizetype shift = 0;
    qsizetype result = -1;
    enumerateTokenRuns(0, textLength(), [&](const auto &attachment, TULOTextRange run, bool *stop) {
        const qsizetype object = objectIndexInRun(run);
        const qsizetype nameStart = object + shift;
        const qsizetype nameLength = attachment->accessibleName().size();
        if (offset <= nameStart) {
            *stop = true;
            return;
        }
        if (offset < nameStart + nameLength) { // inside the name: the nearer end of the token
            result = offset - nameStart < nameLength - (offset - nameStart) ? object : object + 1;
            *stop = true;
            return;
        }
        shift += nameLength - 1;
    });
    if (result >= 0)
        return result;
    return qBound<qsizetype>(0, offset - shift, textLength());
}

uint TULOTokenTextView::trimmedTextLength() const
{
    return uint(toPlainText().trimmed().size());
}

void TULOTokenTextView::notifyChangeDelegate(uint count)
{
    if (TULOTokenTextViewDelegate *delegate = m_changeDelegate.get())
        delegate->textViewDidChange(this, count);
}

QRectF TULOTokenTextView::tokenViewFrameForCharacterIndex(qsizetype index) const
{
    const auto attachment = tokenAttachmentAtIndex(index);
    const QTextBlock block = document()->findBlock(int(index));
    if (!attachment || !block.isValid())
        return QRectF();
    return tokenViewFrame(block, index, *attachment);
}

QRectF TULOTokenTextView::tokenViewFrame(const QTextBlock &block, qsizetype index, const TULOTokenTextAttachment &attachment) const
{
    document()->documentLayout()->blockBoundingRect(block); // lays the block out
    const QTextLayout *layout = block.layout();
    const int lineNumber = layout ? TULOLineNumberForPosition(layout, int(index - block.position())) : -1;
    if (lineNumber < 0)
        return QRectF();
    const QTextLine line = layout->lineAt(lineNumber);
    const QRectF bounds = attachment.cachedAttachmentBounds(TULOTokenTextObjectHandler::lineFragmentWidth(document()));
    const qreal x = layout->position().x() + line.cursorToX(int(index - block.position()));
    const qreal baseline = layout->position().y() + line.y() + line.ascent();
    // Bounds are relative to the baseline, y growing upwards.
    QRectF frame(x, baseline - (bounds.top() + bounds.height()), bounds.width(), bounds.height());
    // Document to viewport: the view's scrolled offset is its text container inset.
    frame.translate(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
    return frame;
}

QList<TULOTokenTextAttachmentView *> TULOTokenTextView::tokenViews() const
{
    QList<TULOTokenTextAttachmentView *> views;
    for (const QPointer<TULOTokenTextAttachmentView> &view : m_tokenViews) {
        if (view)
            views.append(view);
    }
    return views;
}

void TULOTokenTextView::reloadTokenViews()
{
    m_tokenViewReloadTimer->stop();
    m_changedFrom = -1;
    m_laidOutWidth = document()->textWidth();
    placeTokenViewsFrom(0);
    // Selection marks follow the whole text here, whatever they were before.
    const TULOTextRange selection = selectedRange();
    m_selectedTokenViews.clear();
    for (qsizetype i = 0; i < m_tokenViews.size(); ++i) {
        const bool selected = !selection.isNotFound() && selection.contains(m_tokenIndexes.at(i));
        m_tokenViews.at(i)->setSelected(selected);
        if (selected)
            m_selectedTokenViews.append(m_tokenViews.at(i));
    }
    notifyChangeDelegate(uint(m_tokenViews.size()));
}

void TULOTokenTextView::layoutDidUpdate()
{
    if (document()->textWidth() != m_laidOutWidth) {
        scheduleTokenViewReload();
        return;
    }
    if (m_changedFrom < 0)
        return;
    // The lines before the one ahead of the edit keep their places, and their tokens with them
    // (a word may move back onto the line ahead of the edit, never further).
    qsizetype from = qBound<qsizetype>(0, m_changedFrom, textLength());
    m_changedFrom = -1;
    const QTextBlock block = document()->findBlock(int(from));
    if (block.isValid()) {
        document()->documentLayout()->blockBoundingRect(block);
        const QTextLayout *layout = block.layout();
        const int line = layout ? TULOLineNumberForPosition(layout, int(from - block.position())) : -1;
        from = line > 0 ? block.position() + layout->lineAt(line - 1).textStart() : block.position();
    }
    placeTokenViewsFrom(from);
    reloadTokenSelection();
    notifyChangeDelegate(uint(m_tokenViews.size()));
}

void TULOTokenTextView::placeTokenViewsFrom(qsizetype from)
{
    // The views of tokens before `from` stay as they are; the others are placed again.
    qsizetype kept = std::lower_bound(m_tokenIndexes.cbegin(), m_tokenIndexes.cend(), from) - m_tokenIndexes.cbegin();
    if (std::any_of(m_tokenViews.cbegin(), m_tokenViews.cbegin() + kept, [](const auto &view) { return view.isNull(); })) {
        kept = 0; // a view went with its attachment's last owner: place them all
        from = 0;
    }
    QSet<TULOTokenTextAttachmentView *> previous;
    for (qsizetype i = kept; i < m_tokenViews.size(); ++i) {
        if (m_tokenViews.at(i))
            previous.insert(m_tokenViews.at(i));
    }
    m_tokenViews.resize(kept);
    m_tokenIndexes.resize(kept);
    // The token characters from `from` on, found in the text itself: far cheaper than walking a
    // long paragraph's format runs from its start.
    QSet<const TULOTokenTextAttachmentView *> placed;
    for (QTextBlock block = document()->findBlock(int(from)); block.isValid(); block = block.next()) {
        const QString text = block.text();
        const qsizetype start = block.position();
        for (qsizetype offset = text.indexOf(QChar::ObjectReplacementCharacter, qMax<qsizetype>(0, from - start)); offset >= 0;
             offset = text.indexOf(QChar::ObjectReplacementCharacter, offset + 1)) {
            const qsizetype index = start + offset;
            const auto attachment = tokenAttachmentAtIndex(index);
            TULOTokenTextAttachmentView *view = attachment ? attachment->tokenView() : nullptr;
            if (!view || placed.contains(view))
                continue;
            // The view covers the first token character of its run; a run whose token lies
            // before `from` keeps its view where it is.
            if (index > 0 && tokenAttachmentAtIndex(index - 1) == attachment && objectIndexInRun(effectiveTokenRange(index)) != index)
                continue;
            const QRectF frame = tokenViewFrame(block, index, *attachment);
            if (view->parentWidget() != viewport())
                view->setParent(viewport());
            // Setting even the same geometry makes the viewport look at every child again before
            // it paints: most views stay where they are.
            const QRect geometry(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height()));
            if (view->geometry() != geometry)
                view->setGeometry(geometry);
            if (view->isHidden())
                view->show();
            m_tokenViews.append(view);
            m_tokenIndexes.append(index);
            placed.insert(view);
            previous.remove(view);
        }
    }
    for (TULOTokenTextAttachmentView *view : std::as_const(previous)) {
        view->hide();
        view->setParent(nullptr);
    }
}

void TULOTokenTextView::changeEvent(QEvent *event)
{
    QTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        scheduleTokenViewReload();
}

void TULOTokenTextView::scheduleTokenViewReload()
{
    m_tokenViewReloadTimer->start();
}

void TULOTokenTextView::reloadTokenSelection()
{
    // Only the tokens inside the selection are looked at, so moving the caret costs nothing.
    const TULOTextRange selection = selectedRange();
    QList<QPointer<TULOTokenTextAttachmentView>> selected;
    if (!selection.isNotFound() && selection.length > 0) {
        enumerateTokenRuns(selection.location, selection.end(), [&](const auto &attachment, TULOTextRange run, bool *) {
            TULOTokenTextAttachmentView *view = attachment->tokenView();
            if (view && document()->characterAt(int(objectIndexInRun(run))) == QChar::ObjectReplacementCharacter) {
                view->setSelected(true);
                selected.append(view);
            }
        });
    }
    for (const QPointer<TULOTokenTextAttachmentView> &view : std::as_const(m_selectedTokenViews)) {
        if (view && !selected.contains(view))
            view->setSelected(false);
    }
    m_selectedTokenViews = selected;
}

bool TULOTokenTextView::selectTokenAtIndex(qsizetype index)
{
    const auto attachment = tokenAttachmentAtIndex(index);
    TULOTokenTextAttachmentView *view = attachment ? attachment->tokenView() : nullptr;
    if (!view || view->isSelected())
        return false;
    view->setSelected(true);
    setSelectedRange(effectiveTokenRange(index));
    return true;
}

QTextDocumentFragment TULOTokenTextView::attributedText() const
{
    return QTextDocumentFragment(document());
}

void TULOTokenTextView::setAttributedText(const QTextDocumentFragment &text)
{
    // Setting the text is not an edit the user can undo.
    document()->setUndoRedoEnabled(false);
    document()->clear();
    QTextCursor cursor(document());
    cursor.insertFragment(text);
    document()->setUndoRedoEnabled(true);
    setSelectedRange({textLength(), 0});
    cleanTypingFormat();
    notifyChangeDelegate(trimmedTextLength());
}
