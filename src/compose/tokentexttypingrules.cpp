#include <Quillon/compose/tokentexttypingrules_p.h>

#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>

namespace {

bool isLineEndOrPunctuation(const QString &text)
{
    if (text.size() != 1)
        return false;
    const QChar c = text.at(0);
    return c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QChar::LineSeparator || c == QChar::ParagraphSeparator
        || c.isPunct();
}

} // namespace

bool TULOTokenTextViewAllowsTypedChange(TULOTokenTextView *textView, TULOTextRange range, const QString &replacementText,
                                        const std::function<std::optional<TULOTag>(const QString &)> &tagForString)
{
    if (range.length == 1 && replacementText.isEmpty())
        return !textView->selectTokenAtIndex(range.location);
    if (isLineEndOrPunctuation(replacementText) && tagForString) {
        TULOTextRange used{TULONotFound, 0};
        const QString pending = textView->pendingTagForRange(range, &used);
        if (!pending.isEmpty() && !used.isNotFound()) {
            if (const std::optional<TULOTag> tag = tagForString(pending)) {
                textView->setSelectedRange(used);
                // Tells the view's delegates of the change itself, as a typed change would.
                textView->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(*tag));
                return false;
            }
        }
    }
    return true;
}
