#include <Quillon/media/audiocoverimageselectiontableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include "support/screenshotsupport.h"

#include <QApplication>
#include <QPainter>
#include <QTest>

namespace {

// Two cover rows: one chosen, one still empty.
class CoverRows : public TULOTableViewDataSource
{
public:
    QImage cover;
    int tableViewNumberOfRowsInSection(TULOTableView *, int) override { return 2; }
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *, const TULOIndexPath &indexPath) override
    {
        auto *cell = new TULOAudioCoverImageSelectionTableViewCell;
        cell->setPromptText(QStringLiteral("Cover Art"));
        if (indexPath.row() == 0)
            cell->setCoverImage(cover);
        return cell;
    }
};

// A wide cover: red band, green centre square, red band.
QImage wideCover()
{
    QImage image(300, 100, QImage::Format_RGB32);
    image.fill(Qt::red);
    QPainter(&image).fillRect(100, 0, 100, 100, Qt::green);
    return image;
}

} // namespace

class TestAudioCoverImageSelectionTableViewCell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A cover of any shape fills the square by its centre, at the screen's scale.
    void coverFillsTheSquare_data()
    {
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<bool>("dark");
        for (const bool dark : {false, true})
            for (const qreal scale : {1.0, 2.0})
                QTest::addRow("cover-rows-%s-%dx", dark ? "dark" : "light", int(scale)) << scale << dark;
    }
    void coverFillsTheSquare()
    {
        QFETCH(qreal, scale);
        QFETCH(bool, dark);
        const QPalette light = QApplication::palette();
        if (dark) {
            QPalette palette(QColor(0x33, 0x33, 0x33), QColor(0x1e, 0x1e, 0x1e));
            palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Base, QColor(0x2a, 0x2a, 0x2a));
            palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9a, 0x9a));
            QApplication::setPalette(palette);
        }
        TULOViewController controller;
        auto *table = new TULOTableView(TULOTableViewStyleGrouped);
        CoverRows rows;
        rows.cover = wideCover();
        table->setDataSource(&rows);
        controller.setView(table);
        table->reloadData();
        const QImage image = TULOSaveScreenshot(&controller, QSize(360, 220), QStringLiteral("audiocover"),
                                                QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        auto *cell = qobject_cast<TULOAudioCoverImageSelectionTableViewCell *>(table->cellForRowAtIndexPath(TULOIndexPath(0, 0)));
        QVERIFY(cell);
        const QImage shown = cell->image();
        QCOMPARE(shown.size(), QSize(56, 56) * scale);
        // Only the green centre of the wide cover is left.
        QCOMPARE(QColor(shown.pixel(1, 1)), QColor(Qt::green));
        QCOMPARE(QColor(shown.pixel(shown.width() - 2, shown.height() - 2)), QColor(Qt::green));
        // Removing the cover brings back the empty frame (transparent inside).
        cell->setCoverImage({});
        QCOMPARE(qAlpha(cell->image().pixel(cell->image().width() / 4, cell->image().height() / 4)), 0);
        table->setDataSource(nullptr);
    }
};

QTEST_MAIN(TestAudioCoverImageSelectionTableViewCell)
#include "tst_audiocoverimageselectiontableviewcell.moc"
