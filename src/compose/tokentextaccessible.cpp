#include <Quillon/compose/tokentextaccessible_p.h>

#include <Quillon/compose/tokentextview.h>

#include <QScrollBar>
#include <QTextCursor>

namespace {

QAccessibleInterface *TULOTokenTextAccessibleFactory(const QString &className, QObject *object)
{
    if (className == QLatin1String("TULOTokenTextView") && object && object->isWidgetType())
        return new TULOTokenTextAccessible(static_cast<TULOTokenTextView *>(object));
    return nullptr;
}

} // namespace

TULOTokenTextAccessible::TULOTokenTextAccessible(TULOTokenTextView *view)
    : QAccessibleWidget(view, QAccessible::EditableText)
{
}

void TULOTokenTextAccessible::install()
{
    static const bool installed = [] {
        QAccessible::installFactory(TULOTokenTextAccessibleFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

TULOTokenTextView *TULOTokenTextAccessible::view() const
{
    return static_cast<TULOTokenTextView *>(widget());
}

void *TULOTokenTextAccessible::interface_cast(QAccessible::InterfaceType type)
{
    if (type == QAccessible::TextInterface)
        return static_cast<QAccessibleTextInterface *>(this);
    return QAccessibleWidget::interface_cast(type);
}

QString TULOTokenTextAccessible::text(QAccessible::Text type) const
{
    if (type == QAccessible::Value)
        return view()->accessibleText();
    return QAccessibleWidget::text(type);
}

QAccessible::State TULOTokenTextAccessible::state() const
{
    QAccessible::State state = QAccessibleWidget::state();
    state.editable = !view()->isReadOnly();
    state.multiLine = true;
    state.selectableText = true;
    return state;
}

void TULOTokenTextAccessible::selection(int selectionIndex, int *startOffset, int *endOffset) const
{
    *startOffset = *endOffset = 0;
    const TULOTextRange range = view()->selectedRange();
    if (selectionIndex != 0 || range.isNotFound() || range.length == 0)
        return;
    *startOffset = int(view()->accessibleOffsetForIndex(range.location));
    *endOffset = int(view()->accessibleOffsetForIndex(range.end()));
}

int TULOTokenTextAccessible::selectionCount() const
{
    const TULOTextRange range = view()->selectedRange();
    return !range.isNotFound() && range.length > 0 ? 1 : 0;
}

void TULOTokenTextAccessible::addSelection(int startOffset, int endOffset)
{
    setSelection(0, startOffset, endOffset);
}

void TULOTokenTextAccessible::removeSelection(int selectionIndex)
{
    if (selectionIndex != 0)
        return;
    const TULOTextRange range = view()->selectedRange();
    if (!range.isNotFound())
        view()->setSelectedRange({range.end(), 0});
}

void TULOTokenTextAccessible::setSelection(int selectionIndex, int startOffset, int endOffset)
{
    if (selectionIndex != 0)
        return;
    const qsizetype start = view()->indexForAccessibleOffset(startOffset);
    const qsizetype end = view()->indexForAccessibleOffset(endOffset);
    view()->setSelectedRange({qMin(start, end), qAbs(end - start)});
}

int TULOTokenTextAccessible::cursorPosition() const
{
    return int(view()->accessibleOffsetForIndex(view()->textCursor().position()));
}

void TULOTokenTextAccessible::setCursorPosition(int position)
{
    view()->setSelectedRange({view()->indexForAccessibleOffset(position), 0});
}

QString TULOTokenTextAccessible::text(int startOffset, int endOffset) const
{
    return view()->accessibleText().mid(startOffset, qMax(0, endOffset - startOffset));
}

int TULOTokenTextAccessible::characterCount() const
{
    return int(view()->accessibleText().size());
}

QRect TULOTokenTextAccessible::characterRect(int offset) const
{
    QTextCursor cursor(view()->document());
    cursor.setPosition(int(view()->indexForAccessibleOffset(offset)));
    const QRect rect = view()->cursorRect(cursor);
    return QRect(view()->viewport()->mapToGlobal(rect.topLeft()), rect.size());
}

int TULOTokenTextAccessible::offsetAtPoint(const QPoint &point) const
{
    const QPoint local = view()->viewport()->mapFromGlobal(point);
    return int(view()->accessibleOffsetForIndex(view()->cursorForPosition(local).position()));
}

void TULOTokenTextAccessible::scrollToSubstring(int startIndex, int)
{
    QTextCursor cursor(view()->document());
    cursor.setPosition(int(view()->indexForAccessibleOffset(startIndex)));
    view()->setTextCursor(cursor);
    view()->ensureCursorVisible();
}

QString TULOTokenTextAccessible::attributes(int offset, int *startOffset, int *endOffset) const
{
    *startOffset = *endOffset = offset;
    return QString();
}
