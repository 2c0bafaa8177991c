#include "tokentexttestsupport.h"

#include <Quillon/compose/tokentextattachmentview.h>

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QtTest>

namespace {

const QChar TULOObject = QChar::ObjectReplacementCharacter;

// Plays the compose screen's typing rules: a backspace first selects a token, and a typed
// punctuation mark after a known tag turns the tag into a token.
class TypingRules : public QObject, public TULOTextViewDelegate
{
public:
    std::optional<bool> textViewShouldChangeTextInRangeReplacementText(TULOTokenTextView *view, TULOTextRange range,
                                                                     const QString &text) override
    {
        asked.append(text);
        if (range.length == 1 && text.isEmpty())
            return !view->selectTokenAtIndex(range.location);
        if (text.size() == 1 && text.at(0).isPunct()) {
            TULOTextRange used;
            const QString pending = view->pendingTagForRange(range, &used);
            const auto tag = TULOExistingTagForString(known, pending);
            if (pending.isNull() || !tag)
                return true;
            view->setSelectedRange(used);
            view->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(*tag));
            return false;
        }
        return std::nullopt;
    }
    void textViewDidChange(TULOTokenTextView *) override { ++changes; }

    QList<TULOTag> known;
    QStringList asked;
    int changes = 0;
};

QString shown(const TULOTokenTextView &view)
{
    return view.toPlainText().replace(TULOObject, QChar(0x00A4));
}

} // namespace

class TestTokenTextTyping : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TULOTokenTextView> view;

    void focus()
    {
        view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
        QVERIFY(view->becomeFirstResponder());
    }

private Q_SLOTS:
    void init()
    {
        view = std::make_unique<TULOTokenTextView>();
        view->resize(400, 200);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        focus();
    }
    void cleanup() { view.reset(); }

    void typedTextNeverJoinsAToken_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("expected"); // ¤ stands for the token's represented text
        QTest::newRow("after the suffix, posted as the space it looks like") << " " << "now" << "hi ¤ now";
        QTest::newRow("after a longer suffix") << ", " << "x" << "hi ¤, x";
        QTest::newRow("right after a bare token") << "" << "y" << "hi ¤y";
        QTest::newRow("a new line after a token") << "" << "\nz" << "hi ¤\nz";
    }
    void typedTextNeverJoinsAToken()
    {
        QFETCH(QString, suffix);
        QFETCH(QString, typed);
        QFETCH(QString, expected);
        view->setTagSuffix(suffix);
        QTest::keyClicks(view.get(), QStringLiteral("hi @an"));
        QCOMPARE(view->pendingTagForSelectedRange(), QStringLiteral("@an"));
        const auto token = TULOTestToken(QStringLiteral("Ann"));
        view->insertTokenWithAttachment(token);
        for (const QChar c : typed) {
            if (c == QLatin1Char('\n'))
                QTest::keyClick(view.get(), Qt::Key_Return);
            else
                QTest::keyClicks(view.get(), QString(c));
        }
        QCOMPARE(view->textWithResolvedTokenStrings(), QString(expected).replace(QChar(0x00A4), token->representedText()));
    }

    // After an edit every token's view sits where the layout now puts its token, in text order,
    // without waiting for a full reload of the views.
    void tokenViewsFollowEdits_data()
    {
        QTest::addColumn<int>("caret"); // -1: the end
        QTest::addColumn<QString>("typed"); // \b: backspace, \n: return
        QTest::addColumn<int>("tokens");
        QTest::newRow("typing at the start moves every token") << 0 << "wider words " << 12;
        QTest::newRow("typing in the middle") << 60 << "and more" << 12;
        QTest::newRow("a line end before tokens") << 30 << "\n\n" << 12;
        QTest::newRow("backspace over a token") << 24 << "\b\b" << 11;
        QTest::newRow("backspace pulls a word back onto the line before") << 47 << "\b\b\b\b\b\b" << 12;
        QTest::newRow("typing at the end") << -1 << "tail" << 12;
    }
    void tokenViewsFollowEdits()
    {
        QFETCH(int, caret);
        QFETCH(QString, typed);
        QFETCH(int, tokens);
        view->resize(220, 400); // many lines
        TULOSetTokenText(*view, QString::fromUtf8("one ¤ two three ¤ four ¤ five six seven ¤ eight ¤ nine\nten ¤ eleven twelve ¤ "
                                                  "thirteen ¤ fourteen fifteen ¤ sixteen ¤ seventeen ¤ eighteen ¤ end"));
        view->reloadTokenViews();
        view->setSelectedRange({caret < 0 ? view->textLength() : caret, 0});
        for (const QChar c : typed) {
            if (c == QLatin1Char('\b'))
                QTest::keyClick(view.get(), Qt::Key_Backspace);
            else if (c == QLatin1Char('\n'))
                QTest::keyClick(view.get(), Qt::Key_Return);
            else
                QTest::keyClicks(view.get(), QString(c));
        }
        // No event processing: the views were placed by the edit itself.
        QList<qsizetype> indexes;
        for (qsizetype index = 0; index < view->textLength(); ++index) {
            if (view->tokenAttachmentAtIndex(index))
                indexes.append(index);
        }
        QCOMPARE(indexes.size(), tokens);
        const QList<TULOTokenTextAttachmentView *> views = view->tokenViews();
        QCOMPARE(views.size(), tokens);
        for (qsizetype i = 0; i < indexes.size(); ++i) {
            QCOMPARE(views.at(i), view->tokenAttachmentAtIndex(indexes.at(i))->tokenView());
            const QRectF frame = view->tokenViewFrameForCharacterIndex(indexes.at(i));
            QCOMPARE(views.at(i)->geometry(), QRect(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height())));
            QVERIFY(views.at(i)->isVisible());
        }
    }

    // A new width or font lays every line out again: once that has settled, all views are
    // where their tokens now are.
    void tokenViewsFollowRelayout_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("pointSize"); // 0: as it is
        QTest::newRow("narrower") << 150 << 0;
        QTest::newRow("wider") << 380 << 0;
        QTest::newRow("larger font") << 220 << 20;
    }
    void tokenViewsFollowRelayout()
    {
        QFETCH(int, width);
        QFETCH(int, pointSize);
        view->resize(220, 400);
        TULOSetTokenText(*view, QString::fromUtf8("one ¤ two three ¤ four ¤ five six seven ¤ eight ¤ nine ten ¤ eleven"));
        view->reloadTokenViews();
        const QList<QRect> before = [&] {
            QList<QRect> frames;
            for (const TULOTokenTextAttachmentView *tokenView : view->tokenViews())
                frames.append(tokenView->geometry());
            return frames;
        }();
        view->resize(width, 400);
        if (pointSize > 0) {
            QFont font = view->font();
            font.setPointSize(pointSize);
            view->setFont(font);
        }
        QTRY_VERIFY(view->tokenViews().size() == 6);
        QList<QRect> after;
        const QList<TULOTokenTextAttachmentView *> views = view->tokenViews();
        QTRY_VERIFY([&] {
            for (qsizetype index = 0, token = 0; index < view->textLength(); ++index) {
                if (!view->tokenAttachmentAtIndex(index))
                    continue;
                const QRectF frame = view->tokenViewFrameForCharacterIndex(index);
                if (views.at(token++)->geometry() != QRect(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height())))
                    return false;
            }
            return true;
        }());
        for (const TULOTokenTextAttachmentView *tokenView : views)
            after.append(tokenView->geometry());
        QVERIFY(after != before); // the relayout did move them
    }

    void undoAndRedoKeepTheTokenWhole()
    {
        QTest::keyClicks(view.get(), QStringLiteral("hi @an"));
        const auto token = TULOTestToken(QStringLiteral("Ann"));
        view->insertTokenWithAttachment(token);
        QCOMPARE(shown(*view), QString::fromUtf8("hi ¤ "));

        QTest::keySequence(view.get(), QKeySequence::Undo);
        QCOMPARE(view->toPlainText(), QStringLiteral("hi @an"));
        QVERIFY(!view->tokenAttachmentAtIndex(3));

        QTest::keySequence(view.get(), QKeySequence::Redo);
        QCOMPARE(shown(*view), QString::fromUtf8("hi ¤ "));
        QCOMPARE(view->tokenAttachmentAtIndex(3), token);
        QVERIFY(!view->tokenAttachmentAtIndex(4)); // the suffix came back as ordinary text
        QCOMPARE(view->textWithResolvedTokenStrings(), QStringLiteral("hi ") + token->representedText() + QLatin1Char(' '));
    }

    void caretStepsOverATokenWhole()
    {
        TULOSetTokenText(*view, QString::fromUtf8("a¤b"));
        view->setSelectedRange({0, 0});
        QTest::keyClick(view.get(), Qt::Key_Right);
        QTest::keyClick(view.get(), Qt::Key_Right);
        QCOMPARE(view->selectedRange(), (TULOTextRange{2, 0}));
        QTest::keyClick(view.get(), Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(view->selectedRange(), (TULOTextRange{1, 1}));
        view->reloadTokenViews();
        QVERIFY(view->tokenViews().at(0)->isSelected());
    }

    void backspaceFirstSelectsTheToken()
    {
        TypingRules rules;
        view->setDelegate(&rules);
        view->setTagSuffix(QString());
        TULOSetTokenText(*view, QString::fromUtf8("ab¤"));
        view->setSelectedRange({3, 0});
        view->reloadTokenViews();

        QTest::keyClick(view.get(), Qt::Key_Backspace);
        QCOMPARE(shown(*view), QString::fromUtf8("ab¤"));
        QCOMPARE(view->selectedRange(), (TULOTextRange{2, 1}));
        QVERIFY(view->tokenViews().at(0)->isSelected());
        QCOMPARE(rules.changes, 0);

        QTest::keyClick(view.get(), Qt::Key_Backspace);
        QCOMPARE(view->toPlainText(), QStringLiteral("ab"));
        QCOMPARE(rules.changes, 1);
    }

    void punctuationAfterAKnownTagMakesAToken_data()
    {
        QTest::addColumn<QStringList>("known");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one known tag") << QStringList{"Ann"} << QString::fromUtf8("hi ¤ ");
        QTest::newRow("two tags of that name") << QStringList{"Ann", "ann"} << QStringLiteral("hi @ann,");
        QTest::newRow("unknown tag") << QStringList{"Bob"} << QStringLiteral("hi @ann,");
    }
    void punctuationAfterAKnownTagMakesAToken()
    {
        QFETCH(QStringList, known);
        QFETCH(QString, expected);
        TypingRules rules;
        for (const QString &name : known)
            rules.known.append(TULOTestTag(name));
        view->setDelegate(&rules);
        QTest::keyClicks(view.get(), QStringLiteral("hi @ann,"));
        QCOMPARE(shown(*view), expected);
        QVERIFY(rules.asked.contains(QStringLiteral(",")));
    }

    void focusAddsAndRemovesTheSuffix()
    {
        view->clearFocus();
        TULOSetTokenText(*view, QString::fromUtf8("abc¤"));
        focus();
        QCOMPARE(shown(*view), QString::fromUtf8("abc¤ "));
        QVERIFY(!view->tokenAttachmentAtIndex(4)); // an ordinary space the caret can follow

        QVERIFY(view->resignFirstResponder());
        QCOMPARE(shown(*view), QString::fromUtf8("abc¤"));
        QVERIFY(view->selectedRange().isNotFound());
        QVERIFY(view->pendingTagForSelectedRange().isNull());

        // With no selection a token goes to the end.
        view->insertTokenWithAttachment(TULOTestToken(QStringLiteral("Bob")));
        QCOMPARE(shown(*view), QString::fromUtf8("abc¤¤ "));
    }

    void resigningRemovesATypedTrailingSpace()
    {
        QTest::keyClicks(view.get(), QStringLiteral("abc "));
        QVERIFY(view->resignFirstResponder());
        QCOMPARE(view->toPlainText(), QStringLiteral("abc"));
    }

    void copyAndPaste()
    {
        TULOSetTokenText(*view, QString::fromUtf8("hi §there"));
        const QString resolved = view->textWithResolvedTokenStrings();
        view->selectAll();
        QTest::keySequence(view.get(), QKeySequence::Copy);
        QCOMPARE(QApplication::clipboard()->text(), resolved); // elsewhere: plain text

        view->setSelectedRange({view->textLength(), 0});
        QTest::keySequence(view.get(), QKeySequence::Paste);
        QCOMPARE(view->textWithResolvedTokenStrings(), resolved + resolved);
        const auto first = view->tokenAttachmentAtIndex(3);
        const auto second = view->tokenAttachmentAtIndex(3 + 10);
        QVERIFY(first && second);
        QVERIFY(first != second); // a pasted token is a token of its own
        view->reloadTokenViews();
        QCOMPARE(view->tokenViews().size(), 2);

        TULOTokenTextView other;
        QTest::keySequence(&other, QKeySequence::Paste);
        QCOMPARE(other.textWithResolvedTokenStrings(), resolved);
    }

    void pastedObjectCharactersAreText()
    {
        const QString stray = QStringLiteral("a") + TULOObject + QStringLiteral("b");
        QApplication::clipboard()->setText(stray);
        QTest::keySequence(view.get(), QKeySequence::Paste);
        QCOMPARE(view->toPlainText(), stray);
        QCOMPARE(view->textWithResolvedTokenStrings(), stray);
        view->reloadTokenViews();
        QVERIFY(view->tokenViews().isEmpty());
    }

    void screenReadersHearTheName()
    {
        TULOSetTokenText(*view, QString::fromUtf8("hi ¤ you"));
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(view.get());
        QVERIFY(accessible);
        QAccessibleTextInterface *text = accessible->textInterface();
        QVERIFY(text);
        QCOMPARE(text->text(0, text->characterCount()), QStringLiteral("hi T0 you"));
        view->setSelectedRange({4, 0}); // after the token
        QCOMPARE(text->cursorPosition(), 5);
        text->setCursorPosition(6);
        QCOMPARE(view->selectedRange(), (TULOTextRange{5, 0}));
    }
};

QTEST_MAIN(TestTokenTextTyping)
#include "tst_tokentexttyping.moc"
