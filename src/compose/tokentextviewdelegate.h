#pragma once

#include "compose/textrange.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <optional>

class TULOTokenTextView;

// The change delegate of a token text view. The count is the trimmed text length after a
// token insertion or setAttributedText, and the number of token views after reloadTokenViews.
class TULOTokenTextViewDelegate
{
public:
    virtual ~TULOTokenTextViewDelegate() = default;
    virtual void textViewDidChange(TULOTokenTextView *textView, uint count)
    {
        Q_UNUSED(textView);
        Q_UNUSED(count);
    }
};

// The ordinary delegate of an editable text view: it may refuse a typed change and hears of
// changes the user made, selection changes and the start and end of editing.
class TULOTextViewDelegate
{
public:
    virtual ~TULOTextViewDelegate() = default;
    // std::nullopt: does not answer, the change goes ahead.
    virtual std::optional<bool> textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *textView,
                                                                             TULOTextRange range,
                                                                             const QString &replacementText)
    {
        Q_UNUSED(textView);
        Q_UNUSED(range);
        Q_UNUSED(replacementText);
        return std::nullopt;
    }
    virtual void textViewDidChange(TULOTokenTextView *textView) { Q_UNUSED(textView); }
    virtual void textViewDidChangeSelection(TULOTokenTextView *textView) { Q_UNUSED(textView); }
    virtual void textViewDidBeginEditing(TULOTokenTextView *textView) { Q_UNUSED(textView); }
    virtual void textViewDidEndEditing(TULOTokenTextView *textView) { Q_UNUSED(textView); }
};

// A weak delegate reference: when the delegate is also a QObject it is forgotten once that
// object is destroyed; a plain delegate must outlive its use or be unset.
template<typename Delegate>
class TULOWeakDelegate
{
public:
    void set(Delegate *delegate)
    {
        m_delegate = delegate;
        m_guard = dynamic_cast<QObject *>(delegate);
        m_guarded = !m_guard.isNull();
    }
    Delegate *get() const { return (m_guarded && m_guard.isNull()) ? nullptr : m_delegate; }

private:
    Delegate *m_delegate = nullptr;
    QPointer<QObject> m_guard;
    bool m_guarded = false;
};
