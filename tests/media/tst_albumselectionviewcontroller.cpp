#include <Quillon/media/albumselectionviewcontroller.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QTest>

// The album list: the album handed back is the one tapped, the check mark follows it, and the
// spinner shows only while albums are loading and none are known.
class TestAlbumSelectionViewController : public QObject
{
    Q_OBJECT

    static TULOStoreItem album(const QString &identifier, const QString &name)
    {
        TULOStoreItem item;
        item.setKind(QStringLiteral("album"));
        item.setItemIdentifier(identifier);
        item.setDisplayName(name);
        return item;
    }

private Q_SLOTS:
    void taps_data()
    {
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QList<int>>("taps");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<int>("checked");
        QTest::newRow("first choice") << QString() << QList<int>{1} << QStringList{"b"} << 1;
        QTest::newRow("change of album") << "a" << QList<int>{2} << QStringList{"c"} << 2;
        QTest::newRow("every tap answers") << "a" << QList<int>{2, 0} << QStringList{"c", "a"} << 0;
        QTest::newRow("unknown album checks nothing first") << "zz" << QList<int>{0} << QStringList{"a"} << 0;
    }
    void taps()
    {
        QFETCH(QString, selected);
        QFETCH(QList<int>, taps);
        QFETCH(QStringList, answers);
        QFETCH(int, checked);
        TULOAlbumSelectionViewController controller;
        controller.setAlbumItems({album("a", "Blue Hour"), album("b", "Coastlines"), album("c", "Dusk Songs")});
        controller.setSelectedAlbumIdentifier(selected);
        QStringList answered;
        controller.setSelectionBlock([&](const TULOStoreItem &item) { answered.append(item.itemIdentifier()); });
        TULOTableView *table = controller.tableView();
        QCOMPARE(table->numberOfRowsInSection(0), 3);
        QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, 1))->text(), QStringLiteral("Coastlines"));
        for (int row : taps)
            controller.tableViewDidSelectRowAtIndexPath(table, TULOIndexPath(0, row));
        QCOMPARE(answered, answers);
        for (int row = 0; row < 3; ++row)
            QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, row))->accessoryType() == TULOTableViewCellAccessoryCheckmark,
                     row == checked);
        QCOMPARE(controller.selectedIndex(), std::optional<qint64>(checked));
    }

    void spinner_data()
    {
        QTest::addColumn<bool>("loading");
        QTest::addColumn<int>("albums");
        QTest::addColumn<bool>("spinning");
        QTest::newRow("loading, nothing yet") << true << 0 << true;
        QTest::newRow("loading, some known") << true << 2 << false;
        QTest::newRow("loaded, none exist") << false << 0 << false;
    }
    void spinner()
    {
        QFETCH(bool, loading);
        QFETCH(int, albums);
        QFETCH(bool, spinning);
        TULOAlbumSelectionViewController controller;
        controller.setLoading(true);
        controller.tableView();
        QVERIFY(controller.activityIndicator()->isAnimating());
        QList<TULOStoreItem> items;
        for (int i = 0; i < albums; ++i)
            items.append(album(QString::number(i), QStringLiteral("Album %1").arg(i)));
        controller.setAlbumItems(items);
        controller.setLoading(loading);
        QCOMPARE(controller.activityIndicator()->isAnimating(), spinning);
        QCOMPARE(controller.tableView()->numberOfRowsInSection(0), albums);
    }
};

QTEST_MAIN(TestAlbumSelectionViewController)
#include "tst_albumselectionviewcontroller.moc"
