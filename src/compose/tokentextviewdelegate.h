#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/weakdelegate.h>

#include <Quillon/compose/textrange.h>

#include <QObject>
#include <QPointer>
#include <QString>

#include <optional>

class TULOTokenTextView;

// The change delegate of a token text view. The count is the trimmed text length after a
// token insertion or setAttributedText, and the number of token views after reloadTokenViews.
class QUILLON_EXPORT TULOTokenTextViewDelegate
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
class QUILLON_EXPORT TULOTextViewDelegate
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

