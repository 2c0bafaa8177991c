#include <Quillon/media/valuetableviewcontroller.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QTest>

// The song type list: one check mark that moves with the tap, one answer per list.
class TestValueTableViewController : public QObject
{
    Q_OBJECT

    static QList<int> checkedRows(TULOTableView *tableView, int count)
    {
        QList<int> rows;
        for (int row = 0; row < count; ++row)
            if (TULOTableViewCell *cell = tableView->cellForRowAtIndexPath(TULOIndexPath(0, row));
                cell && cell->accessoryType() == TULOTableViewCellAccessoryCheckmark)
                rows.append(row);
        return rows;
    }

private Q_SLOTS:
    void taps_data()
    {
        QTest::addColumn<std::optional<qint64>>("selected");
        QTest::addColumn<QList<int>>("taps");
        QTest::addColumn<QList<int>>("checkedBefore");
        QTest::addColumn<QList<qint64>>("answers");
        QTest::addColumn<QList<int>>("checkedAfter");
        QTest::newRow("nothing chosen yet") << std::optional<qint64>() << QList<int>{2} << QList<int>{}
                                            << QList<qint64>{2} << QList<int>{2};
        QTest::newRow("another value") << std::optional<qint64>(0) << QList<int>{1} << QList<int>{0}
                                       << QList<qint64>{1} << QList<int>{1};
        QTest::newRow("the chosen value again") << std::optional<qint64>(1) << QList<int>{1} << QList<int>{1}
                                                << QList<qint64>{1} << QList<int>{1};
        QTest::newRow("a second tap is not answered") << std::optional<qint64>(0) << QList<int>{2, 1} << QList<int>{0}
                                                      << QList<qint64>{2} << QList<int>{1};
        QTest::newRow("index out of range checks nothing") << std::optional<qint64>(7) << QList<int>{0} << QList<int>{}
                                                           << QList<qint64>{0} << QList<int>{0};
    }
    void taps()
    {
        QFETCH(std::optional<qint64>, selected);
        QFETCH(QList<int>, taps);
        QFETCH(QList<int>, checkedBefore);
        QFETCH(QList<qint64>, answers);
        QFETCH(QList<int>, checkedAfter);
        const QStringList values{QStringLiteral("Single"), QStringLiteral("Demo"), QStringLiteral("Live")};
        TULOValueTableViewController controller(values, selected);
        QList<qint64> answered;
        controller.setSelectionBlock([&](qint64 index) { answered.append(index); });
        TULOTableView *table = controller.tableView();
        QCOMPARE(table->numberOfRowsInSection(0), 3);
        QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, 2))->text(), QStringLiteral("Live"));
        QCOMPARE(checkedRows(table, 3), checkedBefore);
        for (int row : taps)
            controller.tableViewDidSelectRowAtIndexPath(table, TULOIndexPath(0, row));
        QCOMPARE(answered, answers);
        QCOMPARE(checkedRows(table, 3), checkedAfter);
        QCOMPARE(controller.selectedIndex(), std::optional<qint64>(taps.last()));
        QVERIFY(!table->indexPathForSelectedRow());
    }
};

QTEST_MAIN(TestValueTableViewController)
#include "tst_valuetableviewcontroller.moc"
