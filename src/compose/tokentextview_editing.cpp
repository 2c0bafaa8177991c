// Editing behaviour of TULOTokenTextView: focus with the tag suffix, typing through the
// delegate, and the clipboard.
#include <Quillon/compose/tokentextview.h>

#include <Quillon/compose/tokentextattachment.h>
#include <Quillon/compose/tokentextmimedata_p.h>

#include <QFocusEvent>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QTextCursor>
#include <QTextDocument>

namespace {

// Focus that leaves for a popup or another window comes back to the same caret.
bool TULOIsTransientFocusChange(Qt::FocusReason reason)
{
    return reason == Qt::PopupFocusReason || reason == Qt::ActiveWindowFocusReason;
}

} // namespace

bool TULOTokenTextView::becomeFirstResponder()
{
    setFocus(Qt::OtherFocusReason);
    return hasFocus();
}

bool TULOTokenTextView::resignFirstResponder()
{
    clearFocus();
    return !hasFocus();
}

void TULOTokenTextView::focusInEvent(QFocusEvent *event)
{
    if (!TULOIsTransientFocusChange(event->reason())) {
        const qsizetype length = textLength();
        // So the caret can sit after a final token.
        if (length > 0 && !m_tagSuffix.isEmpty() && tokenAttachmentAtIndex(length - 1)) {
            QTextCursor cursor(document());
            cursor.movePosition(QTextCursor::End);
            cursor.insertText(m_tagSuffix, typingFormat(cursor.charFormat()));
        }
    }
    m_selectionCleared = false;
    QTextEdit::focusInEvent(event);
    if (!TULOIsTransientFocusChange(event->reason())) {
        if (TULOTextViewDelegate *delegate = m_delegate.get())
            delegate->textViewDidBeginEditing(this);
    }
}

void TULOTokenTextView::focusOutEvent(QFocusEvent *event)
{
    const bool transient = TULOIsTransientFocusChange(event->reason());
    if (!transient && !m_tagSuffix.isEmpty() && document()->toPlainText().endsWith(m_tagSuffix)) {
        QTextCursor cursor(document());
        cursor.movePosition(QTextCursor::End);
        cursor.movePosition(QTextCursor::PreviousCharacter, QTextCursor::KeepAnchor, int(m_tagSuffix.size()));
        cursor.removeSelectedText();
    }
    QTextEdit::focusOutEvent(event);
    if (transient || hasFocus())
        return;
    QTextCursor cursor = textCursor();
    cursor.clearSelection();
    setTextCursor(cursor);
    m_selectionCleared = true;
    reloadTokenSelection();
    if (TULOTextViewDelegate *delegate = m_delegate.get())
        delegate->textViewDidEndEditing(this);
}

QTextCharFormat TULOTokenTextView::typingFormat(const QTextCharFormat &format) const
{
    QTextCharFormat typing = format;
    typing.clearProperty(TULOTokenTextAttachmentProperty);
    typing.clearProperty(QTextFormat::ObjectType);
    typing.clearProperty(QTextFormat::ObjectIndex);
    return typing;
}

void TULOTokenTextView::cleanTypingFormat()
{
    // Text typed after a token must not join the token's run.
    const QTextCursor cursor = textCursor();
    const QTextCharFormat format = cursor.charFormat();
    if (!cursor.hasSelection() && TULOTokenTextAttachment::attachmentForFormat(format))
        setCurrentCharFormat(typingFormat(format));
}

bool TULOTokenTextView::shouldChangeText(TULOTextRange range, const QString &replacement)
{
    TULOTextViewDelegate *delegate = m_delegate.get();
    if (!delegate || range.isNotFound())
        return true;
    return delegate->textViewShouldChangeTextInRangeReplacementText(this, range, replacement).value_or(true);
}

void TULOTokenTextView::userEditDidEnd(int changesBefore)
{
    if (m_contentChanges == changesBefore)
        return;
    if (TULOTextViewDelegate *delegate = m_delegate.get())
        delegate->textViewDidChange(this);
}

void TULOTokenTextView::keyPressEvent(QKeyEvent *event)
{
    const int changesBefore = m_contentChanges;
    const TULOTextRange selection = selectedRange();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier);
    const bool plain = modifiers == Qt::NoModifier;
    cleanTypingFormat();

    if (!isReadOnly() && plain && !selection.isNotFound()) {
        TULOTextRange range{TULONotFound, 0};
        QString replacement;
        bool typed = false;
        switch (event->key()) {
        case Qt::Key_Backspace:
            range = selection.length > 0 ? selection : (selection.location > 0 ? TULOTextRange{selection.location - 1, 1} : range);
            break;
        case Qt::Key_Delete:
            range = selection.length > 0 ? selection
                    : (selection.location < textLength() ? TULOTextRange{selection.location, 1} : range);
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            range = selection;
            replacement = QStringLiteral("\n");
            break;
        default:
            if (!event->text().isEmpty() && event->text().at(0).isPrint()) {
                range = selection;
                replacement = event->text();
                typed = true;
            }
            break;
        }
        if (!range.isNotFound() && !shouldChangeText(range, replacement)) {
            event->accept();
            return;
        }
        if (typed && selection.length > 0) {
            // Typing over a selection takes the format of the text before it, never a token's.
            QTextCursor cursor = textCursor();
            cursor.beginEditBlock();
            const QTextCharFormat format = typingFormat(cursor.charFormat());
            cursor.removeSelectedText();
            cursor.insertText(replacement, format);
            cursor.endEditBlock();
            setTextCursor(cursor);
            ensureCursorVisible();
            event->accept();
            userEditDidEnd(changesBefore);
            return;
        }
    }
    QTextEdit::keyPressEvent(event);
    cleanTypingFormat();
    userEditDidEnd(changesBefore);
}

void TULOTokenTextView::inputMethodEvent(QInputMethodEvent *event)
{
    const int changesBefore = m_contentChanges;
    if (!event->commitString().isEmpty() && !shouldChangeText(selectedRange(), event->commitString())) {
        event->accept();
        return;
    }
    cleanTypingFormat();
    QTextEdit::inputMethodEvent(event);
    userEditDidEnd(changesBefore);
}

QMimeData *TULOTokenTextView::createMimeDataFromSelection() const
{
    const QTextCursor cursor = textCursor();
    const qsizetype from = cursor.selectionStart();
    const qsizetype to = cursor.selectionEnd();
    auto *data = new TULOTokenTextMimeData;
    qsizetype position = from;
    const auto appendText = [&](qsizetype end) {
        if (end > position)
            data->segments.push_back({textInRange(position, end), {}, {}, {}, false});
    };
    enumerateTokenRuns(from, to, [&](const auto &attachment, TULOTextRange run, bool *) {
        appendText(run.location);
        data->segments.push_back({textInRange(run.location, run.end()), attachment, attachment->representedObject(),
                                  attachment->representedText(), true});
        position = run.end();
    });
    appendText(to);
    data->setText(resolvedText(from, to));
    return data;
}

bool TULOTokenTextView::canInsertFromMimeData(const QMimeData *source) const
{
    return qobject_cast<const TULOTokenTextMimeData *>(source) || source->hasText();
}

void TULOTokenTextView::insertFromMimeData(const QMimeData *source)
{
    if (isReadOnly() || !source)
        return;
    const auto *tokens = qobject_cast<const TULOTokenTextMimeData *>(source);
    if (!tokens && !source->hasText())
        return;
    if (!shouldChangeText(selectedRange(), source->text()))
        return;
    const int changesBefore = m_contentChanges;
    QTextCursor cursor = textCursor();
    cursor.beginEditBlock();
    const QTextCharFormat typing = typingFormat(cursor.charFormat());
    cursor.removeSelectedText();
    if (tokens) {
        for (const TULOTokenTextMimeData::Segment &segment : tokens->segments) {
            if (const auto attachment = TULOTokenTextMimeData::attachmentForSegment(segment))
                cursor.insertText(segment.text, attachment->attributedStringWithBaseAttributes());
            else
                cursor.insertText(segment.isToken ? segment.representedText : segment.text, typing);
        }
    } else {
        // Pasted text is ordinary text, object replacement characters included.
        cursor.insertText(source->text(), typing);
    }
    cursor.endEditBlock();
    setTextCursor(cursor);
    cleanTypingFormat();
    ensureCursorVisible();
    userEditDidEnd(changesBefore);
}
