#pragma once

#include <Quillon/compose/tokentextattachment.h>

#include <QMimeData>

#include <memory>
#include <vector>

// Text with tokens on the clipboard or in a drag. Elsewhere it is plain text (tokens in their
// represented form); in a token text view the tokens come back as tokens. Attachments are held
// weakly so the clipboard keeps no views alive; a tag token is rebuilt from its tag.
class TULOTokenTextMimeData : public QMimeData
{
    Q_OBJECT

public:
    struct Segment
    {
        QString text;                                   // the characters, token run included
        std::weak_ptr<TULOTokenTextAttachment> attachment; // empty for ordinary text
        QVariant representedObject;
        QString representedText;
        bool isToken = false;
    };

    static QString mimeType() { return QStringLiteral("application/x-quillon-token-text"); }

    std::vector<Segment> segments;

    QStringList formats() const override;
    bool hasFormat(const QString &mimeType) const override;

    // A new attachment for a token segment, or null when it cannot be rebuilt.
    static std::shared_ptr<TULOTokenTextAttachment> attachmentForSegment(const Segment &segment);
};
