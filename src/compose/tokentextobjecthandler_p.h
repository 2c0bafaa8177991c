#pragma once

#include <QObject>
#include <QTextObjectInterface>

// Lays out token characters at their attachment's size. Draws nothing: the token's view is
// laid over the text.
class TULOTokenTextObjectHandler : public QObject, public QTextObjectInterface
{
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)

public:
    explicit TULOTokenTextObjectHandler(QObject *parent = nullptr);

    QSizeF intrinsicSize(QTextDocument *document, int positionInDocument, const QTextFormat &format) override;
    void drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int positionInDocument,
                    const QTextFormat &format) override;

    // The width a line offers a token in `document`.
    static qreal lineFragmentWidth(const QTextDocument *document);
};
