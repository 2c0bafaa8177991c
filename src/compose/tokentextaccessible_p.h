#pragma once

#include <QAccessibleWidget>

class TULOTokenTextView;

// What a screen reader gets from a token text view: its text with every token read as its
// name, and caret and selection offsets in that text.
class TULOTokenTextAccessible : public QAccessibleWidget, public QAccessibleTextInterface
{
public:
    explicit TULOTokenTextAccessible(TULOTokenTextView *view);

    // Registers the factory once per process.
    static void install();

    void *interface_cast(QAccessible::InterfaceType type) override;
    QString text(QAccessible::Text type) const override;
    QAccessible::State state() const override;

    void selection(int selectionIndex, int *startOffset, int *endOffset) const override;
    int selectionCount() const override;
    void addSelection(int startOffset, int endOffset) override;
    void removeSelection(int selectionIndex) override;
    void setSelection(int selectionIndex, int startOffset, int endOffset) override;
    int cursorPosition() const override;
    void setCursorPosition(int position) override;
    QString text(int startOffset, int endOffset) const override;
    int characterCount() const override;
    QRect characterRect(int offset) const override;
    int offsetAtPoint(const QPoint &point) const override;
    void scrollToSubstring(int startIndex, int endIndex) override;
    QString attributes(int offset, int *startOffset, int *endOffset) const override;

private:
    TULOTokenTextView *view() const;
};
