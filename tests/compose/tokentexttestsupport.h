#pragma once

#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>

#include <QTextCursor>
#include <QTextDocument>

#include <memory>

// Tags and texts for the token text view tests.

inline TULOTag TULOTestTag(const QString &name, const QString &identifier = QStringLiteral("7"),
                           const QString &entityType = QStringLiteral("artist"))
{
    TULOTag tag;
    tag.setEntityType(entityType);
    tag.setIdentifier(identifier);
    tag.setName(name);
    return tag;
}

inline std::shared_ptr<TULOTagTokenTextAttachment> TULOTestToken(const QString &name,
                                                                const QString &identifier = QStringLiteral("7"))
{
    return std::make_shared<TULOTagTokenTextAttachment>(TULOTestTag(name, identifier));
}

// Fills the view from a pattern: '§' is a token inserted with a " " suffix, '¤' a bare token,
// '¶' a token whose format also covers a space after it (one run of two characters, as text
// put together elsewhere may have it), '\n' a line end, anything else plain text. Tokens are
// named T0, T1, ...
inline void TULOSetTokenText(TULOTokenTextView &view, const QString &pattern)
{
    view.clear();
    int tokens = 0;
    for (const QChar c : pattern) {
        const TULOTextRange end{view.textLength(), 0};
        const auto token = [&] {
            const QString identifier = QString::number(tokens++);
            return TULOTestToken(QLatin1Char('T') + identifier, identifier);
        };
        if (c == QChar(0x00A7) || c == QChar(0x00A4)) {
            view.replaceTextInRange(end, token(), c == QChar(0x00A7) ? QStringLiteral(" ") : QString());
        } else if (c == QChar(0x00B6)) {
            QTextCursor cursor(view.document());
            cursor.movePosition(QTextCursor::End);
            const auto attachment = token();
            cursor.insertText(attachment->attributedString() + QLatin1Char(' '), attachment->attributedStringWithBaseAttributes());
        } else {
            QTextCursor cursor(view.document());
            cursor.movePosition(QTextCursor::End);
            if (c == QLatin1Char('\n'))
                cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
            else
                cursor.insertText(QString(c), QTextCharFormat());
        }
    }
}
