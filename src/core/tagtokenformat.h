#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/tag.h>

#include <QRegularExpression>
#include <QString>

// The in-text form of a tag token: @{type:identifier:"name"}, with only double quotes in the
// name escaped by a backslash. Nil fields are left out; a nil name leaves out its quotes too.
QUILLON_EXPORT QString TULOTagTokenString(const TULOTag &tag);

// The reader's pattern, @\{[^:]+:[^:]+:"([^"]+)"\}, group 1 being the name. It deliberately
// leaves tokens with an empty type or identifier, no name, or an escaped quote as raw text.
QUILLON_EXPORT const QRegularExpression &TULOTagTokenRegularExpression();

// `text` with every token the reader matches replaced by its name.
QUILLON_EXPORT QString TULOStringByReplacingTagTokensWithNames(const QString &text);

// A token written out in a text, where it stands.
struct QUILLON_EXPORT TULOTagTokenMatch
{
    qsizetype start = 0;
    qsizetype length = 0;
    TULOTag tag;
};

// The tokens in `text` as TULOTagTokenString writes them (nil fields left out, escaped quotes in
// the name), in order: the way back from text to tokens.
QUILLON_EXPORT QList<TULOTagTokenMatch> TULOTagTokensInString(const QString &text);
