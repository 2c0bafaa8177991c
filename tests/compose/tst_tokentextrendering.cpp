#include "tokentexttestsupport.h"

#include <Quillon/compose/tagtokenview.h>

#include <support/testsupport.h>

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QLabel>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>
#include <QtTest>

namespace {

// The lowest row in `area` holding a dark (text) pixel, or -1.
int lowestInkRow(const QImage &image, const QRect &area)
{
    const QRect clipped = area.intersected(image.rect());
    for (int y = clipped.bottom(); y >= clipped.top(); --y) {
        for (int x = clipped.left(); x <= clipped.right(); ++x) {
            if (qGray(image.pixel(x, y)) < 90)
                return y;
        }
    }
    return -1;
}

} // namespace

class TestTokenTextRendering : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 15));
    }

    // Names and words without descenders, so the lowest ink of each lies on the baseline.
    void tokensSitOnTheBaseline_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("file");
        QTest::newRow("one line") << QString::fromUtf8("Hello ¤ HELLO") << "tokens-one-line.png";
        QTest::newRow("token at the line start") << QString::fromUtf8("¤ Hello") << "tokens-line-start.png";
        QTest::newRow("second line") << QString::fromUtf8("Hello\nHi ¤ and ¤") << "tokens-second-line.png";
    }
    void tokensSitOnTheBaseline()
    {
        QFETCH(QString, text);
        QFETCH(QString, file);

        TULOTokenTextView view;
        view.setFont(QApplication::font());
        view.setCursorWidth(0); // no caret among the ink
        view.resize(420, 160);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        // Tokens named "Ann Lee", "Ann Lee 2", ...
        view.clear();
        int count = 0;
        for (const QChar c : text) {
            const TULOTextRange end{view.textLength(), 0};
            if (c == QChar(0x00A4)) {
                const QString name = count == 0 ? QStringLiteral("Ann Lee") : QStringLiteral("Ann Lee %1").arg(count + 1);
                view.replaceTextInRange(end, TULOTestToken(name), QString());
                ++count;
            } else {
                view.setSelectedRange(end);
                view.insertPlainText(QString(c));
            }
        }
        view.setSelectedRange({0, 0});
        view.reloadTokenViews();
        QCOMPARE(view.tokenViews().size(), count);

        const QImage image = view.viewport()->grab().toImage();
        const QString path = TULOTestOutputPath(QStringLiteral("compose")) + QLatin1Char('/') + file;
        QVERIFY(image.save(path));

        int checked = 0;
        for (qsizetype index = 0; index < view.textLength(); ++index) {
            const auto attachment = std::dynamic_pointer_cast<TULOTagTokenTextAttachment>(view.tokenAttachmentAtIndex(index));
            if (!attachment)
                continue;
            TULOTagTokenView *tokenView = attachment->tagTokenView();
            QVERIFY(tokenView->isVisible());

            // The line's baseline, in viewport coordinates.
            const QTextBlock block = view.document()->findBlock(int(index));
            const QTextLayout *layout = block.layout();
            const QTextLine line = layout->lineForTextPosition(int(index - block.position()));
            const qreal baseline = layout->position().y() + line.y() + line.ascent() - view.verticalScrollBar()->value();

            // Geometry: the label's text baseline is the line's.
            const QLabel *label = tokenView->label();
            const QFontMetrics metrics(label->font());
            const QPoint labelTop = label->mapTo(view.viewport(), QPoint(0, 0));
            const qreal labelBaseline = labelTop.y() + (label->height() - metrics.height()) / 2.0 + metrics.ascent();
            QVERIFY2(qAbs(labelBaseline - baseline) <= 1.0,
                     qPrintable(QStringLiteral("label baseline %1, line baseline %2").arg(labelBaseline).arg(baseline)));
            // The token box reaches below the baseline by the label's descent.
            QVERIFY(qAbs(tokenView->geometry().bottom() + 1 - (baseline + metrics.descent())) <= 1.0);

            // Pixels: the name's lowest ink is on the same row as the text's next to it.
            const QRect tokenRect = tokenView->geometry().adjusted(2, 1, -2, -1);
            const int tokenInk = lowestInkRow(image, tokenRect);
            const qreal lineTop = layout->position().y() + line.y() - view.verticalScrollBar()->value();
            const QRect textArea(int(layout->position().x() + line.x()), int(lineTop), int(line.naturalTextWidth()),
                                 int(line.height()));
            // Ink of the line outside the token.
            QImage masked = image.copy();
            for (int y = tokenView->geometry().top(); y <= tokenView->geometry().bottom(); ++y)
                for (int x = tokenView->geometry().left(); x <= tokenView->geometry().right(); ++x)
                    if (masked.rect().contains(x, y))
                        masked.setPixel(x, y, qRgb(255, 255, 255));
            const int textInk = lowestInkRow(masked, textArea);
            QVERIFY2(tokenInk >= 0 && textInk >= 0, qPrintable(path));
            QVERIFY2(qAbs(tokenInk - textInk) <= 1,
                     qPrintable(QStringLiteral("token ink at row %1, text ink at row %2 in %3").arg(tokenInk).arg(textInk).arg(path)));
            ++checked;
        }
        QCOMPARE(checked, count);
    }

    // A token view keeps a picture of its label between paints: after each change it must look
    // exactly as a new view in the same state does.
    void tokenLooksAsNewAfterAChange_data()
    {
        QTest::addColumn<bool>("selectedBefore");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<bool>("dark");
        QTest::addColumn<int>("extraWidth");
        QTest::newRow("selected") << false << true << false << 0;
        QTest::newRow("no longer selected") << true << false << false << 0;
        QTest::newRow("another palette") << false << false << true << 0;
        QTest::newRow("another palette, selected") << true << true << true << 0;
        QTest::newRow("wider") << false << false << false << 30;
    }
    void tokenLooksAsNewAfterAChange()
    {
        QFETCH(bool, selectedBefore);
        QFETCH(bool, selected);
        QFETCH(bool, dark);
        QFETCH(int, extraWidth);
        QPalette darkPalette = QApplication::palette();
        darkPalette.setColor(QPalette::Highlight, QColor(20, 200, 90));
        darkPalette.setColor(QPalette::Text, QColor(240, 240, 240));
        const auto apply = [&](TULOTagTokenView *tokenView) {
            tokenView->resize(tokenView->sizeHint() + QSize(extraWidth, 0));
            if (dark)
                tokenView->setPalette(darkPalette);
            tokenView->setSelected(selected);
        };

        const auto shown = TULOTestToken(QStringLiteral("Ann Lee"));
        TULOTagTokenView *changed = shown->tagTokenView();
        changed->resize(changed->sizeHint());
        changed->setSelected(selectedBefore);
        const QImage before = changed->grab().toImage(); // the picture is made here
        apply(changed);
        const QImage after = changed->grab().toImage();
        QVERIFY(after != before); // the change shows

        const auto fresh = TULOTestToken(QStringLiteral("Ann Lee"));
        apply(fresh->tagTokenView());
        QCOMPARE(after, fresh->tagTokenView()->grab().toImage());
    }
};

QTEST_MAIN(TestTokenTextRendering)
#include "tst_tokentextrendering.moc"
