#pragma once

#include <Quillon/compose/textrange.h>
#include <Quillon/core/tag.h>

#include <QString>

#include <functional>
#include <optional>

class TULOTokenTextView;

// The typing rules every token field follows (the compose view's text and the artist fields
// alike): a backspace over one character first selects a token there; a typed line end or
// punctuation mark after a pending tag that `tagForString` resolves turns the pending tag into
// a token instead of being typed. Returns whether the typed change may go ahead.
bool TULOTokenTextViewAllowsTypedChange(TULOTokenTextView *textView, TULOTextRange range, const QString &replacementText,
                                        const std::function<std::optional<TULOTag>(const QString &)> &tagForString);
