#include "tokentexttestsupport.h"

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/composepostview.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QAbstractButton>
#include <QLabel>
#include <QLocale>
#include <QtTest>

namespace {

const QChar TULOObject = QChar::ObjectReplacementCharacter;

// Plays the compose controller's part: knows some tags and records what it is told.
class Recorder : public QObject, public TULOComposePostViewDelegate
{
public:
    void composePostViewTextDidChange(TULOComposePostView *) override { ++textChanges; }
    void composePostViewTextSelectionDidChange(TULOComposePostView *) override { ++selectionChanges; }
    void composePostViewDidSelectAttachmentAtIndex(TULOComposePostView *, const TULOAttachmentPtr &attachment, int index) override
    {
        selected.append({attachment, index});
    }
    void composePostViewDidRemoveAttachmentViewAtIndex(TULOComposePostView *view, QWidget *attachmentView, int index) override
    {
        removed.append({attachmentView, index});
        removedAddresses.append(quintptr(attachmentView));
        viewsWhenRemoved = view->attachmentViews();
    }
    std::optional<TULOTag> composePostViewTagForString(TULOComposePostView *, const QString &string) override
    {
        return TULOExistingTagForString(known, string);
    }

    QList<TULOTag> known;
    int textChanges = 0;
    int selectionChanges = 0;
    QList<QPair<TULOAttachmentPtr, int>> selected;
    QList<QPair<QPointer<QWidget>, int>> removed;
    QList<QWidget *> viewsWhenRemoved;
    QList<quintptr> removedAddresses; // compared after the views are gone
};

TULOAttachmentPtr photo(const QColor &color)
{
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(color);
    return std::make_shared<TULOAttachment>(image, QStringLiteral("image/jpeg"));
}

// A plain row of a fixed height.
QWidget *row(int height)
{
    auto *widget = new QWidget;
    widget->setFixedHeight(height);
    return widget;
}

QString shown(const TULOTokenTextView &view)
{
    return view.toPlainText().replace(TULOObject, QChar(0x00A4));
}

} // namespace

class TestComposePostView : public QObject
{
    Q_OBJECT

    std::unique_ptr<TULOComposePostView> view;
    std::unique_ptr<Recorder> recorder;

    void type(const QString &text) { QTest::keyClicks(view->textView(), text); }

private Q_SLOTS:
    void init()
    {
        view = std::make_unique<TULOComposePostView>();
        recorder = std::make_unique<Recorder>();
        view->setDelegate(recorder.get());
        view->resize(420, 600);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
        QVERIFY(view->becomeFirstResponder());
    }
    void cleanup()
    {
        view.reset();
        recorder.reset();
    }

    void characterCount_data()
    {
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<QString>("text");  // '§' a token with its " " suffix
        QTest::addColumn<qint64>("remaining");
        QTest::addColumn<qint64>("underlinedFrom"); // -1: nothing underlined
        QTest::newRow("under the limit") << qint64(10) << "hello" << qint64(5) << qint64(-1);
        QTest::newRow("at the limit") << qint64(5) << "hello" << qint64(0) << qint64(-1);
        QTest::newRow("one over") << qint64(4) << "hello" << qint64(-1) << qint64(4);
        QTest::newRow("140 with 150") << qint64(140) << QString(150, QLatin1Char('x')) << qint64(-10) << qint64(140);
        // A token is one character, its suffix one more.
        QTest::newRow("token and suffix") << qint64(5) << QString::fromUtf8("ab§") << qint64(1) << qint64(-1);
        QTest::newRow("token over the limit") << qint64(3) << QString::fromUtf8("ab§c") << qint64(-2) << qint64(3);
        // Text lengths are UTF-16 units: each of these emoji counts two.
        QTest::newRow("surrogate pairs") << qint64(6) << QString::fromUtf8("a😀😀") << qint64(1) << qint64(-1);
        // The limit falls inside a pair: the whole character is marked.
        QTest::newRow("limit inside a pair") << qint64(2) << QString::fromUtf8("a😀b") << qint64(-2) << qint64(1);
        QTest::newRow("grouping") << qint64(12000) << "a" << qint64(11999) << qint64(-1);
    }
    void characterCount()
    {
        QFETCH(qint64, limit);
        QFETCH(QString, text);
        QFETCH(qint64, remaining);
        QFETCH(qint64, underlinedFrom);
        view->setAllowedCharacterCount(limit);
        TULOSetTokenText(*view->textView(), text);
        view->textView()->setSelectedRange({view->textView()->textLength(), 0});
        QVERIFY(view->characterCountLabel());
        QCOMPARE(view->characterCountLabel()->text(), QLocale().toString(remaining));
        // Typing keeps it up to date; type one and take it back.
        type(QStringLiteral("z"));
        QTest::keyClick(view->textView(), Qt::Key_Backspace);
        QCOMPARE(view->characterCountLabel()->text(), QLocale().toString(remaining));
        const QColor color = view->characterCountLabel()->palette().color(QPalette::WindowText);
        QCOMPARE(color, remaining < 0 ? QColor(255, 45, 85) : QColor(79, 181, 238));

        const QList<QTextEdit::ExtraSelection> marks = view->textView()->extraSelections();
        if (underlinedFrom < 0) {
            QVERIFY(marks.isEmpty());
        } else {
            QCOMPARE(marks.size(), 1);
            QCOMPARE(marks.first().cursor.selectionStart(), int(underlinedFrom));
            QCOMPARE(marks.first().cursor.selectionEnd(), int(view->textView()->textLength()));
            QCOMPARE(marks.first().format.underlineStyle(), QTextCharFormat::DotLine);
            QCOMPARE(marks.first().format.underlineColor(), QColor(255, 45, 85));
        }
    }

    void limitBackToZeroRemovesLabelAndMarks()
    {
        view->setAllowedCharacterCount(3);
        type(QStringLiteral("abcdef"));
        QVERIFY(view->characterCountLabel());
        QCOMPARE(view->textView()->extraSelections().size(), 1);
        view->setAllowedCharacterCount(0);
        QVERIFY(!view->characterCountLabel());
        QVERIFY(view->textView()->extraSelections().isEmpty());
        QCOMPARE(view->textView()->toPlainText(), QStringLiteral("abcdef")); // the text itself is untouched
    }

    // The first backspace only selects a token, the second deletes it.
    void backspaceOntoToken()
    {
        TULOSetTokenText(*view->textView(), QString::fromUtf8("hi §"));
        view->textView()->reloadTokenViews();
        view->textView()->setSelectedRange({view->textView()->textLength(), 0});
        QTest::keyClick(view->textView(), Qt::Key_Backspace); // the suffix
        QCOMPARE(shown(*view->textView()), QString::fromUtf8("hi ¤"));
        QTest::keyClick(view->textView(), Qt::Key_Backspace);
        QCOMPARE(shown(*view->textView()), QString::fromUtf8("hi ¤"));
        QCOMPARE(view->textView()->selectedRange().location, 3);
        QCOMPARE(view->textView()->selectedRange().length, 1);
        QTest::keyClick(view->textView(), Qt::Key_Backspace);
        QCOMPARE(shown(*view->textView()), QStringLiteral("hi "));
    }

    void punctuationAfterPendingTag_data()
    {
        QTest::addColumn<QStringList>("known");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("resolved");
        QTest::newRow("one match: token and space, no comma")
            << QStringList{"Radiohead", "Rammstein"} << "hi @radiohead," << QString::fromUtf8("hi ¤ ") << "Radiohead";
        QTest::newRow("two matches differing in case: the comma is text")
            << QStringList{"Radiohead", "RADIOHEAD"} << "hi @radiohead," << "hi @radiohead," << QString();
        QTest::newRow("no match: the comma is text") << QStringList{"Rammstein"} << "@radiohead," << "@radiohead," << QString();
        QTest::newRow("line end after a known tag") << QStringList{"Muse"} << "@Muse\n" << QString::fromUtf8("¤ ") << "Muse";
        QTest::newRow("a letter never makes a token") << QStringList{"Muse"} << "@Muses" << "@Muses" << QString();
    }
    void punctuationAfterPendingTag()
    {
        QFETCH(QStringList, known);
        QFETCH(QString, typed);
        QFETCH(QString, expected);
        QFETCH(QString, resolved);
        for (int i = 0; i < known.size(); ++i)
            recorder->known.append(TULOTestTag(known.at(i), QString::number(i)));
        const int changesBefore = recorder->textChanges;
        for (const QChar c : typed) {
            if (c == QLatin1Char('\n'))
                QTest::keyClick(view->textView(), Qt::Key_Return);
            else
                QTest::keyClicks(view->textView(), QString(c));
        }
        QCOMPARE(shown(*view->textView()), expected);
        if (!resolved.isEmpty()) {
            const auto token = view->textView()->tokenAttachmentAtIndex(expected.indexOf(QChar(0x00A4)));
            QVERIFY(token);
            QCOMPARE(std::static_pointer_cast<TULOTagTokenTextAttachment>(token)->tag().name(), resolved);
            QVERIFY(view->text().contains(resolved));
        }
        QVERIFY(recorder->textChanges > changesBefore);
    }

    // Rows stack from the top with the spacings of the compose screen.
    void layoutStack_data()
    {
        QTest::addColumn<bool>("header");
        QTest::addColumn<bool>("scrollable");
        QTest::addColumn<int>("attachments");
        QTest::addColumn<bool>("button");
        QTest::addColumn<bool>("footer");
        QTest::newRow("text alone") << false << false << 0 << false << false;
        QTest::newRow("author header") << true << false << 0 << false << true;
        QTest::newRow("content item") << true << true << 0 << false << true;
        QTest::newRow("attachments and button") << false << false << 2 << true << true;
        QTest::newRow("everything") << true << true << 3 << true << true;
    }
    void layoutStack()
    {
        QFETCH(bool, header);
        QFETCH(bool, scrollable);
        QFETCH(int, attachments);
        QFETCH(bool, button);
        QFETCH(bool, footer);
        QWidget *headerRow = header ? row(44) : nullptr;
        QWidget *scrollRow = scrollable ? row(56) : nullptr;
        QWidget *footerRow = footer ? row(44) : nullptr;
        view->setHeaderViews(header ? QList<QWidget *>{headerRow} : QList<QWidget *>{});
        view->setScrollableHeaderViews(scrollable ? QList<QWidget *>{scrollRow} : QList<QWidget *>{});
        QList<QWidget *> previews;
        for (int i = 0; i < attachments; ++i)
            previews.append(TULOAttachmentPreviewView::withAttachment(photo(Qt::red)));
        view->setAttachmentViews(previews);
        view->setShowsAttachmentButton(button);
        view->setAllowedCharacterCount(140);
        view->setFooterViews(footer ? QList<QWidget *>{footerRow} : QList<QWidget *>{});
        view->layoutSubviews();

        const QMargins margins = view->layoutMargins();
        int y = 0;
        if (header) {
            QCOMPARE(headerRow->geometry(), QRect(0, 0, view->viewport()->width(), 44));
            y = 44;
        }
        if (scrollable) {
            QCOMPARE(scrollRow->geometry().top(), y + 15);
            QCOMPARE(scrollRow->geometry().left(), margins.left());
            QCOMPARE(scrollRow->geometry().right(), view->viewport()->width() - margins.right() - 1);
            y = scrollRow->geometry().bottom() + 1 + 3;
        }
        QCOMPARE(view->textView()->geometry().top(), y);
        y = view->textView()->geometry().bottom() + 1;
        for (QWidget *preview : std::as_const(previews)) {
            QCOMPARE(preview->geometry().top(), y);
            y = preview->geometry().bottom() + 1 + 15;
        }
        QCOMPARE(view->attachmentButton()->isVisible(), button);
        if (button) {
            QCOMPARE(view->attachmentButton()->geometry().top(), y + 32);
            y = view->attachmentButton()->geometry().bottom() + 1;
            // The count stands 10 points right of the button.
            QCOMPARE(view->characterCountLabel()->geometry().left(), view->attachmentButton()->geometry().right() + 1 + 10);
        }
        if (footer)
            QVERIFY2(footerRow->geometry().top() >= y + 16, qPrintable(QString::number(footerRow->geometry().top())));
        // Tab goes from the text through the previews to the button and the footer.
        if (attachments > 0) {
            view->textView()->setFocus();
            QTest::keyClick(view->textView(), Qt::Key_Tab);
            QCOMPARE(QApplication::focusWidget(), previews.first());
        }
    }

    void removeAnimationKeepsOrder()
    {
        QList<QWidget *> previews;
        QList<TULOAttachmentPtr> attachments;
        for (const QColor &color : {QColor(Qt::red), QColor(Qt::green), QColor(Qt::blue)}) {
            attachments.append(photo(color));
            previews.append(TULOAttachmentPreviewView::withAttachment(attachments.last()));
        }
        view->setAttachmentViews(previews);
        auto *middle = static_cast<TULOAttachmentPreviewView *>(previews.at(1));
        QCOMPARE(middle->removeButton()->accessibleName(), QStringLiteral("Remove photo 2 of 3"));
        const int lastTop = previews.at(2)->geometry().top();
        middle->removeButton()->click();
        // Taken out at once, the rest closes up; the delegate hears of it when the animation ends.
        QCOMPARE(view->attachmentViews(), (QList<QWidget *>{previews.at(0), previews.at(2)}));
        QVERIFY(previews.at(2)->geometry().top() < lastTop);
        QVERIFY(recorder->removed.isEmpty());
        QTRY_COMPARE(recorder->removed.size(), 1);
        QCOMPARE(recorder->removed.first().second, 1);
        QCOMPARE(recorder->removedAddresses.first(), quintptr(previews.at(1)));
        QCOMPARE(recorder->viewsWhenRemoved, (QList<QWidget *>{previews.at(0), previews.at(2)}));
        // Gone from the view, and deleted since nobody took it.
        QTRY_VERIFY(!recorder->removed.first().first);
        QCOMPARE(static_cast<TULOAttachmentPreviewView *>(previews.at(2))->removeButton()->accessibleName(),
                 QStringLiteral("Remove photo 2 of 2"));
        // Removing the first of the remaining ones reports index 0.
        static_cast<TULOAttachmentPreviewView *>(previews.at(0))->removeButton()->click();
        QTRY_COMPARE(recorder->removed.size(), 2);
        QCOMPARE(recorder->removed.at(1).second, 0);
        QCOMPARE(view->attachmentViews(), QList<QWidget *>{previews.at(2)});
    }

    void clickOnAttachmentSelectsIt()
    {
        const auto first = photo(Qt::red), second = photo(Qt::blue);
        QList<QWidget *> previews{TULOAttachmentPreviewView::withAttachment(first), TULOAttachmentPreviewView::withAttachment(second)};
        view->setAttachmentViews(previews);
        QVERIFY(view->textView()->hasFocus());
        QTest::mouseClick(previews.at(1), Qt::LeftButton, {}, previews.at(1)->rect().center());
        QCOMPARE(recorder->selected.size(), 1);
        QCOMPARE(recorder->selected.first().first, second);
        QCOMPARE(recorder->selected.first().second, 1);
        QVERIFY(!view->textView()->hasFocus());
        // From the keyboard: focus on a preview and Return.
        previews.at(0)->setFocus();
        QTest::keyClick(previews.at(0), Qt::Key_Return);
        QCOMPARE(recorder->selected.size(), 2);
        QCOMPARE(recorder->selected.at(1).first, first);
        // A click on empty space brings the caret back.
        QWidget *content = view->widget();
        QTest::mouseClick(content, Qt::LeftButton, {}, QPoint(content->width() - 5, content->height() - 5));
        QTRY_VERIFY(view->textView()->hasFocus());
    }

    // While the completion list shows, Up/Down/Return go to it and Escape closes it.
    void completionListKeys()
    {
        TULOConfiguration configuration;
        QVariantList suggested;
        for (const QString &name : {QStringLiteral("Muse"), QStringLiteral("Moby")})
            suggested.append(QVariant::fromValue(TULOTestTag(name, name)));
        configuration.setSuggestedTags(suggested);
        TULOTagListViewController list(configuration);
        struct Chooser : TULOTagListViewControllerDelegate
        {
            TULOComposePostView *view = nullptr;
            void tagListDidSelectTag(TULOTagListViewController *, const TULOTag &tag) override
            {
                view->insertTag(tag);
                view->hideTextCompletionViewControllerAnimated(true);
            }
        } chooser;
        chooser.view = view.get();
        list.setDelegate(&chooser);

        type(QStringLiteral("hi @"));
        list.reloadWithTagString(view->tagForSelectedRange());
        view->showTextCompletionViewController(&list, true);
        QVERIFY(list.view()->isVisible());
        QVERIFY(list.view()->geometry().top() > view->textView()->geometry().top());
        QCOMPARE(list.tableView()->numberOfRowsInSection(0), 2);

        QTest::keyClick(view->textView(), Qt::Key_Escape);
        QVERIFY(!list.view()->isVisible());
        QCOMPARE(view->textView()->toPlainText(), QStringLiteral("hi @"));

        view->showTextCompletionViewController(&list, true);
        QTest::keyClick(view->textView(), Qt::Key_Down);
        QTest::keyClick(view->textView(), Qt::Key_Down);
        QTest::keyClick(view->textView(), Qt::Key_Down); // stays on the last row
        QTest::keyClick(view->textView(), Qt::Key_Up);
        QCOMPARE(list.keyboardRow(), 0);
        QTest::keyClick(view->textView(), Qt::Key_Down);
        QTest::keyClick(view->textView(), Qt::Key_Return);
        QCOMPARE(shown(*view->textView()), QString::fromUtf8("hi ¤ "));
        QVERIFY(view->text().contains(QStringLiteral("Moby")));
        QVERIFY(!list.view()->isVisible());
        // With the list gone, Return is a line break again.
        QTest::keyClick(view->textView(), Qt::Key_Return);
        QCOMPARE(shown(*view->textView()), QString::fromUtf8("hi ¤ \n"));
    }
};

QTEST_MAIN(TestComposePostView)
#include "tst_composepostview.moc"
