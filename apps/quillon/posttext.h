#pragma once

#include <Quillon/core/tag.h>
#include <Quillon/platform/error.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Asks the store's tag lookup for the tags matching `query`; nothing, with the error, when
// the lookup failed.
using TULOPostTagLookup = std::function<std::optional<QList<TULOTag>>(const QString &query, TULOError *error)>;

// `text` as the command line wrote it, with every inline tag ("@Name", or "@\"Two Words\"" for
// names with blanks) turned into a tag token. An "@" inside a word (an e-mail address) and
// tokens already written out are left alone. Names match as the store's search does: without
// case, accents or blanks, in any Unicode normalisation. Each name is looked up once. An @word
// the store does not know stays plain text, with a line for the user in `notices`; a name that
// fits more than one tag, a quoted name that fits none, or a failed lookup fails the whole
// text with an error naming it (and the candidates).
std::optional<QString> TULOPostTextWithResolvedTags(const QString &text, const TULOPostTagLookup &lookup,
                                                    TULOError *error = nullptr, QStringList *notices = nullptr);

// The tag a lookup gave for `identifier` (an explicit --tag), as a token to append.
QString TULOPostTextByAppendingTag(const QString &text, const TULOTag &tag);
