#include "tagtestsupport.h"

#include <Quillon/compose/composepostview.h>
#include <Quillon/compose/taglisttableviewcell.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QApplication>
#include <QtTest>

namespace {

// Does what the compose controller does with the list: follows the pending tag, shows and
// hides the list, and inserts the chosen tag.
class CompletionGlue : public QObject, public TULOComposePostViewDelegate, public TULOTagListViewControllerDelegate
{
public:
    CompletionGlue(TULOComposePostView *view, TULOTagListViewController *list)
        : view(view)
        , list(list)
    {
    }
    void composePostViewTextDidChange(TULOComposePostView *) override { reload(); }
    void composePostViewTextSelectionDidChange(TULOComposePostView *) override { reload(); }
    std::optional<TULOTag> composePostViewTagForString(TULOComposePostView *, const QString &string) override
    {
        return list->existingTagForString(string);
    }
    void tagListDidSelectTag(TULOTagListViewController *, const TULOTag &tag) override
    {
        chosen.append(tag);
        view->insertTag(tag);
        view->hideTextCompletionViewControllerAnimated(true);
    }
    void reload()
    {
        const QString tag = view->tagForSelectedRange();
        if (tag.isEmpty()) {
            view->hideTextCompletionViewControllerAnimated(true);
            return;
        }
        list->reloadWithTagString(tag);
        view->showTextCompletionViewController(list, true);
    }

    TULOComposePostView *view;
    TULOTagListViewController *list;
    QList<TULOTag> chosen;
};

QStringList names(const QList<TULOTag> &tags)
{
    QStringList result;
    for (const TULOTag &tag : tags)
        result.append(tag.name());
    return result;
}

} // namespace

class TestTagListViewController : public QObject
{
    Q_OBJECT

    TULOSandboxStore m_store;

    TULOConfiguration configuration() const
    {
        return TULOSandboxTagConfiguration(m_store, {QStringLiteral("Dana Demo"), QStringLiteral("Mira Sol")});
    }

    // Waits for the lookup of the current string to answer.
    static bool settle(TULOTagListViewController &list)
    {
        return QTest::qWaitFor([&] { return !list.isLookingUp(); }, TULOStoreTestWait);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }

    void rowsForTypedString_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<int>("lookups");
        QTest::newRow("the delimiter alone: suggestions, no lookup") << "@" << QStringList{"Dana Demo", "Mira Sol"} << 0;
        QTest::newRow("one artist") << "@kaito" << QStringList{"Kaito Mori"} << 1;
        QTest::newRow("case twins, in the order received") << "@mira" << QStringList{"Mira Sol", "MIRA SOL"} << 1;
        QTest::newRow("nothing found") << "@qqqq" << QStringList{} << 1;
        QTest::newRow("without the delimiter") << "kaito" << QStringList{"Kaito Mori"} << 1;
    }
    void rowsForTypedString()
    {
        QFETCH(QString, typed);
        QFETCH(QStringList, rows);
        QFETCH(int, lookups);
        TULOTagListViewController list(configuration());
        list.view();
        const int before = m_store.requestCount(QStringLiteral("/search/tags"));
        list.reloadWithTagString(typed);
        QVERIFY(settle(list));
        QCOMPARE(names(list.activeTagSuggestions()), rows);
        QCOMPARE(list.tableView()->numberOfRowsInSection(0), rows.size());
        for (int row = 0; row < rows.size(); ++row)
            QCOMPARE(list.tableView()->cellForRowAtIndexPath(TULOIndexPath(0, row))->text(), rows.at(row));
        QCOMPARE(m_store.requestCount(QStringLiteral("/search/tags")) - before, lookups);
        // The same string again asks nothing.
        list.reloadWithTagString(typed);
        QVERIFY(!list.isLookingUp());
    }

    void existingTag_data()
    {
        QTest::addColumn<QString>("lookup");
        QTest::addColumn<QString>("string");
        QTest::addColumn<QString>("found"); // empty: none
        QTest::newRow("exact name") << "kaito" << "Kaito Mori" << "Kaito Mori";
        QTest::newRow("other case, delimiter") << "kaito" << "@kaito mori" << "Kaito Mori";
        QTest::newRow("two names differing in case") << "mira" << "mira sol" << QString();
        QTest::newRow("part of a name") << "kaito" << "Kaito" << QString();
        QTest::newRow("nothing matched yet") << QString() << "Dana Demo" << QString();
    }
    void existingTag()
    {
        QFETCH(QString, lookup);
        QFETCH(QString, string);
        QFETCH(QString, found);
        TULOTagListViewController list(configuration());
        list.reloadWithTagString(lookup);
        QVERIFY(settle(list));
        const std::optional<TULOTag> tag = list.existingTagForString(string);
        QCOMPARE(tag.has_value(), !found.isEmpty());
        if (tag)
            QCOMPARE(tag->name(), found);
    }

    // A newer string drops the older lookup: its late answer is never shown.
    void newerStringWins()
    {
        m_store.addFault(QStringLiteral("/search/tags"), TULOSandboxFault::delay(600), 1);
        TULOTagListViewController list(configuration());
        list.view();
        list.reloadWithTagString(QStringLiteral("@kaito")); // slow
        list.reloadWithTagString(QStringLiteral("@mira"));
        QVERIFY(settle(list));
        QCOMPARE(names(list.activeTagSuggestions()), (QStringList{"Mira Sol", "MIRA SOL"}));
        QTest::qWait(900); // the slow answer arrives meanwhile
        QCOMPARE(names(list.activeTagSuggestions()), (QStringList{"Mira Sol", "MIRA SOL"}));
        m_store.clearFaults();
    }

    void failedLookupEmptiesList()
    {
        TULOTagListViewController list(configuration());
        list.reloadWithTagString(QStringLiteral("@kaito"));
        QVERIFY(settle(list));
        QCOMPARE(list.activeTagSuggestions().size(), 1);
        m_store.addFault(QStringLiteral("/search/tags"), TULOSandboxFault::status(500), 1);
        list.reloadWithTagString(QStringLiteral("@mira"));
        QVERIFY(settle(list));
        QVERIFY(list.activeTagSuggestions().isEmpty());
        m_store.clearFaults();
    }

    void thumbnailsReplacePlaceholder()
    {
        TULOTagListViewController list(configuration());
        list.view();
        list.reloadWithTagString(QStringLiteral("@mira"));
        QVERIFY(settle(list));
        QCOMPARE(list.tableView()->numberOfRowsInSection(0), 2);
        for (int row = 0; row < 2; ++row) {
            QTRY_VERIFY_WITH_TIMEOUT(list.tableView()->cellForRowAtIndexPath(TULOIndexPath(0, row))->image() != list.placeholderImage(),
                                     TULOStoreTestWait);
        }
    }

    // The whole round: typing in the compose view brings the list, the keys pick a row.
    void completionByKeyboard()
    {
        TULOComposePostView view;
        TULOTagListViewController list(configuration());
        CompletionGlue glue(&view, &list);
        view.setDelegate(&glue);
        list.setDelegate(&glue);
        view.resize(420, 500);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        QVERIFY(view.becomeFirstResponder());

        QTest::keyClicks(view.textView(), QStringLiteral("Hi @"));
        QVERIFY(list.view()->isVisible());
        QCOMPARE(names(list.activeTagSuggestions()), (QStringList{"Dana Demo", "Mira Sol"}));
        QTest::keyClicks(view.textView(), QStringLiteral("mir"));
        QTRY_COMPARE_WITH_TIMEOUT(list.activeTagSuggestions().size(), 2, TULOStoreTestWait);
        QVERIFY(settle(list));
        QTest::keyClick(view.textView(), Qt::Key_Down);
        QTest::keyClick(view.textView(), Qt::Key_Down);
        QTest::keyClick(view.textView(), Qt::Key_Return);
        QCOMPARE(glue.chosen.size(), 1);
        QCOMPARE(glue.chosen.first().name(), QStringLiteral("MIRA SOL"));
        QCOMPARE(view.textView()->toPlainText(), QStringLiteral("Hi ") + QChar::ObjectReplacementCharacter + QLatin1Char(' '));
        QVERIFY(!list.view()->isVisible());

        // Tab takes the first row; Escape closes the list and keeps what was typed.
        QTest::keyClicks(view.textView(), QStringLiteral("@kai"));
        QTRY_COMPARE_WITH_TIMEOUT(names(list.activeTagSuggestions()), QStringList{"Kaito Mori"}, TULOStoreTestWait);
        QVERIFY(list.view()->isVisible());
        QTest::keyClick(view.textView(), Qt::Key_Escape);
        QVERIFY(!list.view()->isVisible());
        QVERIFY(view.textView()->toPlainText().endsWith(QStringLiteral("@kai")));
        QTest::keyClicks(view.textView(), QStringLiteral("t"));
        QTRY_COMPARE_WITH_TIMEOUT(names(list.activeTagSuggestions()), QStringList{"Kaito Mori"}, TULOStoreTestWait);
        QVERIFY(settle(list));
        QTest::keyClick(view.textView(), Qt::Key_Tab);
        QCOMPARE(glue.chosen.size(), 2);
        QCOMPARE(glue.chosen.last().name(), QStringLiteral("Kaito Mori"));
        QVERIFY(view.text().contains(QStringLiteral("Kaito Mori")));
    }

    void cellLayout()
    {
        TULOTagListTableViewCell cell;
        QCOMPARE(TULOTagListTableViewCell::imageSize(), QSize(29, 29));
        QCOMPARE(TULOTagListTableViewCell::separatorInsetWithLayoutMargins(QMargins(16, 0, 16, 0)).left(), 16 + 29 + 9);
        QCOMPARE(cell.imageSize(), QSize(29, 29));
    }
};

QTEST_MAIN(TestTagListViewController)
#include "tst_taglistviewcontroller.moc"
