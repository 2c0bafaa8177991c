#include "tokentexttestsupport.h"

#include <Quillon/compose/tagtokenview.h>
#include <Quillon/compose/tokentextattachmentview.h>

#include <QLabel>
#include <QtTest>

namespace {

// Records what the change delegate is told.
class ChangeRecorder : public QObject, public TULOTokenTextViewDelegate
{
public:
    void textViewDidChange(TULOTokenTextView *, uint count) override { counts.append(count); }
    QList<uint> counts;
};

const QString TULOToken = QString(QChar::ObjectReplacementCharacter);

} // namespace

class TestTokenTextView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults()
    {
        TULOTokenTextView view;
        QCOMPARE(view.maximumTagLength(), 60);
        QCOMPARE(view.tagDelimeter(), QStringLiteral("@"));
        QCOMPARE(view.tagSuffix(), QStringLiteral(" "));
    }

    void pendingTag_data()
    {
        QTest::addColumn<QString>("text"); // § token with suffix in its run, ¤ bare token
        QTest::addColumn<int>("caret");    // -1: end of the text
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<int>("maximumTagLength");
        QTest::addColumn<QString>("expected"); // null: no pending tag
        QTest::addColumn<int>("location");

        const QString none;
        const QString far = QStringLiteral("@") + QString(60, QLatin1Char('a'));
        const QString near = QStringLiteral("@") + QString(59, QLatin1Char('a'));
        QTest::newRow("after a space") << "hello @ab" << -1 << "@" << 60 << "@ab" << 6;
        QTest::newRow("inside a word, as in mail") << "mail x@ab" << -1 << "@" << 60 << none << 0;
        QTest::newRow("at the start of the text") << "@ab" << -1 << "@" << 60 << "@ab" << 0;
        QTest::newRow("delimiter alone") << "hi @" << -1 << "@" << 60 << "@" << 3;
        QTest::newRow("after a line end") << "hi\n@ab" << -1 << "@" << 60 << "@ab" << 3;
        QTest::newRow("caret inside the word") << "x @abcd y" << 5 << "@" << 60 << "@ab" << 2;
        QTest::newRow("no delimiter") << "hello" << -1 << "@" << 60 << none << 0;
        QTest::newRow("delimiter just within the limit") << near << -1 << "@" << 60 << near << 0;
        QTest::newRow("delimiter beyond the limit") << far + "" << -1 << "@" << 60 << none << 0;
        QTest::newRow("no limit") << far << -1 << "@" << 0 << far << 0;
        QTest::newRow("token between delimiter and caret") << "@ab\u00a4cd" << -1 << "@" << 60 << none << 0;
        QTest::newRow("token before the delimiter") << "\u00a7@ab" << -1 << "@" << 60 << "@ab" << 2;
        QTest::newRow("last delimiter counts") << "@x @y" << -1 << "@" << 60 << "@y" << 3;
        QTest::newRow("other delimiter") << "a #tag" << -1 << "#" << 60 << "#tag" << 2;
        QTest::newRow("no delimiter: whole span") << "hello world" << -1 << "" << 60 << "hello world" << 0;
        QTest::newRow("no delimiter: span limited") << "hello world" << -1 << "" << 3 << "rld" << 8;
        QTest::newRow("no delimiter: leading blanks and punctuation skipped") << " ,\n;ab" << -1 << "" << 60 << "ab" << 4;
        QTest::newRow("no delimiter: after a token with its suffix") << "\u00a7ab" << -1 << "" << 60 << "ab" << 2;
        QTest::newRow("no delimiter: after a token, typed suffix skipped") << "\u00a4 ab" << -1 << "" << 60 << "ab" << 2;
        QTest::newRow("no delimiter: right after a token") << "x\u00a4" << -1 << "" << 60 << "" << 2;
    }
    void pendingTag()
    {
        QFETCH(QString, text);
        QFETCH(int, caret);
        QFETCH(QString, delimiter);
        QFETCH(int, maximumTagLength);
        QFETCH(QString, expected);
        QFETCH(int, location);

        TULOTokenTextView view;
        view.setTagDelimeter(delimiter);
        view.setMaximumTagLength(maximumTagLength);
        TULOSetTokenText(view, text);
        const qsizetype at = caret < 0 ? view.textLength() : caret;
        view.setSelectedRange({at, 0});

        TULOTextRange used{-7, -7};
        const QString pending = view.pendingTagForRange({at, 0}, &used);
        QCOMPARE(pending.isNull(), expected.isNull());
        QCOMPARE(view.pendingTagForSelectedRange().isNull(), expected.isNull());
        if (expected.isNull()) {
            QCOMPARE(used, (TULOTextRange{-7, -7})); // not written
            return;
        }
        QCOMPARE(pending, expected);
        QCOMPARE(view.pendingTagForSelectedRange(), expected);
        QCOMPARE(used.location, qsizetype(location));
        QCOMPARE(used.end(), at);
    }

    void noPendingTagForASelection()
    {
        TULOTokenTextView view;
        view.setPlainText(QStringLiteral("hello @ab"));
        view.setSelectedRange({8, 1});
        QVERIFY(view.pendingTagForSelectedRange().isNull());
        view.setSelectedRange({9, 0});
        QCOMPARE(view.pendingTagForSelectedRange(), QStringLiteral("@ab"));
    }

    void insertReplacesPendingTag_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("selectionStart");
        QTest::addColumn<int>("selectionLength");
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QString>("expected"); // ¤ for the token
        QTest::addColumn<int>("caret");

        QTest::newRow("pending tag at the caret") << "hi @an" << 6 << 0 << " " << "hi \u00a4 " << 5;
        QTest::newRow("pending tag before more text") << "hi @an there" << 6 << 0 << " " << "hi \u00a4  there" << 5;
        QTest::newRow("no pending tag: at the caret") << "hi you" << 2 << 0 << " " << "hi\u00a4  you" << 4;
        QTest::newRow("selection without a tag is replaced") << "hi you" << 3 << 3 << " " << "hi \u00a4 " << 5;
        QTest::newRow("empty suffix") << "@an" << 3 << 0 << "" << "\u00a4" << 1;
        QTest::newRow("longer suffix") << "@an" << 3 << 0 << ", " << "\u00a4, " << 3;
    }
    void insertReplacesPendingTag()
    {
        QFETCH(QString, text);
        QFETCH(int, selectionStart);
        QFETCH(int, selectionLength);
        QFETCH(QString, suffix);
        QFETCH(QString, expected);
        QFETCH(int, caret);

        TULOTokenTextView view;
        view.setTagSuffix(suffix);
        view.setPlainText(text);
        view.setSelectedRange({selectionStart, selectionLength});
        view.insertTokenWithAttachment(TULOTestToken(QStringLiteral("Ann")));
        QString shown = view.toPlainText();
        shown.replace(QChar::ObjectReplacementCharacter, QChar(0x00A4));
        QCOMPARE(shown, expected);
        QCOMPARE(view.selectedRange(), (TULOTextRange{caret, 0}));
    }

    void changeDelegateCounts()
    {
        TULOTokenTextView view;
        ChangeRecorder recorder;
        view.setChangeDelegate(&recorder);
        view.setPlainText(QStringLiteral("  hi @an"));
        view.setSelectedRange({8, 0});
        view.insertTokenWithAttachment(TULOTestToken(QStringLiteral("Ann")));
        // The trimmed text "hi" + token: the suffix and the leading blanks do not count.
        QCOMPARE(recorder.counts.value(0), 4u);

        recorder.counts.clear();
        view.reloadTokenViews();
        QCOMPARE(recorder.counts, QList<uint>{1u});

        recorder.counts.clear();
        TULOTokenTextView other;
        TULOSetTokenText(other, QStringLiteral("\u00a7x\u00a4 "));
        view.setAttributedText(other.attributedText());
        QCOMPARE(recorder.counts, QList<uint>{4u}); // the final suffix is trimmed away
    }

    void changeDelegateIsWeak()
    {
        TULOTokenTextView view;
        auto *recorder = new ChangeRecorder;
        view.setChangeDelegate(recorder);
        QCOMPARE(view.changeDelegate(), recorder);
        delete recorder;
        QCOMPARE(view.changeDelegate(), nullptr);
        view.insertTokenWithAttachment(TULOTestToken(QStringLiteral("Ann"))); // must not reach the dead delegate
        QVERIFY(view.tokenAttachmentAtIndex(0));
    }

    void resolvedText_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("expected");
        const QString t0 = QStringLiteral("@{artist:0:\"T0\"}");
        const QString t1 = QStringLiteral("@{artist:1:\"T1\"}");
        QTest::newRow("no tokens") << "plain text" << "plain text";
        QTest::newRow("suffix written as the space it looks like") << "\u00a7hi" << t0 + " hi";
        QTest::newRow("bare token then typed space") << "\u00a4 hi" << t0 + " hi";
        QTest::newRow("adjacent tokens each once") << "\u00a4\u00a4" << t0 + t1;
        QTest::newRow("tokens on two lines") << "a\u00a7\nb\u00a4" << "a" + t0 + " \nb" + t1;
        QTest::newRow("one token run of two characters written once") << "\u00b6hi" << t0 + "hi";
        QTest::newRow("adjacent runs of two tokens each once") << "\u00b6\u00b6" << t0 + t1;
        QTest::newRow("empty") << "" << "";
    }
    void resolvedText()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, expected);
        TULOTokenTextView view;
        TULOSetTokenText(view, pattern);
        QCOMPARE(view.textWithResolvedTokenStrings(), expected);
    }

    void strayObjectCharactersStayText()
    {
        TULOTokenTextView view;
        view.setPlainText(QStringLiteral("a") + TULOToken + QStringLiteral("b"));
        QCOMPARE(view.textWithResolvedTokenStrings(), QStringLiteral("a") + TULOToken + QStringLiteral("b"));
        QVERIFY(!view.tokenAttachmentAtIndex(1));
        QVERIFY(!view.selectTokenAtIndex(1));
        int tokens = 0;
        view.enumerateTokenAttachmentsUsingBlock([&](const auto &, qsizetype, bool *) { ++tokens; });
        QCOMPARE(tokens, 0);
    }

    void enumerateCountsTokensOnlyAndStops()
    {
        TULOTokenTextView view;
        TULOSetTokenText(view, QStringLiteral("a\u00a7b \u00a4\nc\u00a4"));
        QStringList seen;
        view.enumerateTokenAttachmentsUsingBlock([&](const auto &attachment, qsizetype index, bool *) {
            seen.append(QStringLiteral("%1:%2").arg(index).arg(attachment->accessibleName()));
        });
        QCOMPARE(seen, (QStringList{"0:T0", "1:T1", "2:T2"}));
        int visits = 0;
        view.enumerateTokenAttachmentsUsingBlock([&](const auto &, qsizetype, bool *stop) {
            ++visits;
            *stop = true;
        });
        QCOMPARE(visits, 1);
    }

    void tokenSelection()
    {
        TULOTokenTextView view;
        TULOSetTokenText(view, QStringLiteral("ab\u00a7cd\u00a4"));
        view.reloadTokenViews();
        const QList<TULOTokenTextAttachmentView *> views = view.tokenViews();
        QCOMPARE(views.size(), 2);

        QVERIFY(view.selectTokenAtIndex(2));
        QCOMPARE(view.selectedRange(), (TULOTextRange{2, 1})); // the token, not the space after it
        QVERIFY(views.at(0)->isSelected());
        QVERIFY(!views.at(1)->isSelected());
        QVERIFY(!view.selectTokenAtIndex(2)); // already selected: nothing changes
        QCOMPARE(view.selectedRange(), (TULOTextRange{2, 1}));
        QVERIFY(!view.selectTokenAtIndex(0)); // not a token

        // Selected exactly while the token's index lies in the selection, end excluded.
        view.setSelectedRange({3, 3});
        QVERIFY(!views.at(0)->isSelected());
        QVERIFY(!views.at(1)->isSelected());
        view.setSelectedRange({3, 4});
        QVERIFY(views.at(1)->isSelected());
        view.setSelectedRange({6, 0});
        QVERIFY(!views.at(1)->isSelected());
    }

    void tokenViewsFollowTheText()
    {
        TULOTokenTextView view;
        view.resize(300, 200);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        TULOSetTokenText(view, QStringLiteral("ab\u00a7cd\u00a4"));
        view.reloadTokenViews();
        QCOMPARE(view.tokenViews().size(), 2);
        for (TULOTokenTextAttachmentView *tokenView : view.tokenViews()) {
            QCOMPARE(tokenView->parentWidget(), view.viewport());
            QVERIFY(!tokenView->geometry().isEmpty());
        }
        QVERIFY(view.tokenViews().at(0)->x() < view.tokenViews().at(1)->x());

        QPointer<TULOTokenTextAttachmentView> removed = view.tokenViews().at(1);
        view.setSelectedRange({6, 1});
        view.textCursor().removeSelectedText();
        view.reloadTokenViews();
        QCOMPARE(view.tokenViews().size(), 1);
        // The token is still in the undo history, so its view lives on, but off the text view.
        if (removed)
            QVERIFY(removed->parentWidget() != view.viewport());
    }

    void tagTokenViewShowsTheName()
    {
        const auto attachment = TULOTestToken(QStringLiteral("Ann Lee"));
        TULOTagTokenView *tokenView = attachment->tagTokenView();
        QVERIFY(tokenView);
        QCOMPARE(tokenView->label()->text(), QStringLiteral("Ann Lee"));
        QVERIFY(tokenView->label()->font().bold());
        QCOMPARE(tokenView->sizeHint(), tokenView->label()->sizeHint());
        QCOMPARE(attachment->tag().name(), QStringLiteral("Ann Lee"));

        // Bounds: the intrinsic size, no wider than the line, lowered by the descent.
        const QRectF bounds = attachment->attachmentBounds(1000);
        QCOMPARE(bounds.size(), QSizeF(tokenView->sizeHint()));
        QCOMPARE(bounds.top(), -QFontMetricsF(tokenView->label()->font()).descent());
        QCOMPARE(attachment->attachmentBounds(10).width(), 10.0);

        tokenView->resize(tokenView->sizeHint().width(), tokenView->sizeHint().height() + 9);
        tokenView->show();
        QVERIFY(QTest::qWaitForWindowExposed(tokenView));
        QCOMPARE(tokenView->label()->y(), 4); // floor(9 / 2)
        QCOMPARE(tokenView->label()->width(), tokenView->width());
    }

    // The layout asks each token for its size on every pass and gets a remembered answer: it
    // must follow what changes the token view's size.
    void tokenSizeFollowsItsView_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("a larger label font") << "font";
        QTest::newRow("another view") << "view";
    }
    void tokenSizeFollowsItsView()
    {
        QFETCH(QString, change);
        const auto attachment = TULOTestToken(QStringLiteral("Ann Lee"));
        const QRectF before = attachment->cachedAttachmentBounds(1000);
        QCOMPARE(before.size(), QSizeF(attachment->tagTokenView()->sizeHint()));
        if (change == QLatin1String("font")) {
            QFont font = attachment->tagTokenView()->label()->font();
            font.setPointSizeF(font.pointSizeF() * 2);
            attachment->tagTokenView()->label()->setFont(font);
        } else {
            auto *view = new TULOTagTokenView;
            view->label()->setText(QStringLiteral("Ann Lee and a much longer name"));
            attachment->setTokenView(view);
        }
        const QRectF after = attachment->cachedAttachmentBounds(1000);
        QCOMPARE(after, attachment->attachmentBounds(1000));
        QVERIFY(after.width() > before.width());
    }

    void attributedTextKeepsTokens()
    {
        TULOTokenTextView source;
        TULOSetTokenText(source, QStringLiteral("x\u00a7y"));
        TULOTokenTextView copy;
        copy.setAttributedText(source.attributedText());
        QCOMPARE(copy.textWithResolvedTokenStrings(), source.textWithResolvedTokenStrings());
        QVERIFY(copy.tokenAttachmentAtIndex(1));
        QVERIFY(!copy.document()->isUndoAvailable());
    }

    void textRectForSelectedRange()
    {
        TULOTokenTextView view;
        view.resize(400, 200);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.setPlainText(QStringLiteral("first line\nsecond"));
        view.setSelectedRange({11, 0});
        const QRectF caret = view.textRectForSelectedRange();
        view.setSelectedRange({0, 5});
        const QRectF word = view.textRectForSelectedRange();
        QVERIFY(caret.top() > word.bottom() - 1); // the second line lies below the first
        QVERIFY(word.width() > 0);
        view.setSelectedRange({0, 17});
        const QRectF both = view.textRectForSelectedRange();
        QVERIFY(both.contains(word));
        QVERIFY(both.bottom() >= caret.bottom());
    }
};

QTEST_MAIN(TestTokenTextView)
#include "tst_tokentextview.moc"
