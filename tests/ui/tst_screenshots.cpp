#include "support/screenshotsupport.h"

#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/screenshot.h>
#include <Quillon/platform/ui/settingsbuttontableviewcell.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/window.h>

#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QVBoxLayout>

// A settings screen of the usual shape: switch rows, a value row, a check-mark list, a form
// and a button row.
class TULOSampleSettingsController : public TULOViewController, public TULOTableViewDataSource
{
public:
    TULOTableView *table = nullptr;

protected:
    void loadView() override
    {
        table = new TULOTableView;
        table->registerCellClass<TULOSettingsTableViewCell>("0");
        table->registerCellClass<TULOSettingsTextFieldTableViewCell>("1");
        table->registerCellClass<TULOSettingsButtonTableViewCell>("2");
        table->setDataSource(this);
        table->reloadData();
        // The form's fields line up: both labels get the wider width.
        TULOSettingsTextFieldTableViewCell::shareLabelWidth({field(0), field(1)});
        setView(table);
    }

public:
    TULOSettingsTextFieldTableViewCell *field(int row) const
    {
        return static_cast<TULOSettingsTextFieldTableViewCell *>(table->cellForRowAtIndexPath(TULOIndexPath(1, row)));
    }

protected:

    int numberOfSectionsInTableView(TULOTableView *) override { return 3; }
    int tableViewNumberOfRowsInSection(TULOTableView *, int section) override { return section == 2 ? 1 : 2; }
    QString tableViewTitleForHeaderInSection(TULOTableView *, int section) override
    {
        return section == 0 ? QStringLiteral("Share to") : section == 1 ? QStringLiteral("Account") : QString();
    }
    QString tableViewTitleForFooterInSection(TULOTableView *, int section) override
    {
        return section == 0 ? QStringLiteral("Posts are shared when the switch is on.") : QString();
    }
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &path) override
    {
        if (path.section() == 0) {
            auto *cell = static_cast<TULOSettingsTableViewCell *>(tableView->dequeueReusableCellWithIdentifier("0"));
            QImage icon(QSize(64, 64), QImage::Format_ARGB32_Premultiplied);
            icon.setDevicePixelRatio(2);
            icon.fill(Qt::transparent);
            QPainter painter(&icon);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setBrush(path.row() == 0 ? QColor(0x3b, 0x59, 0x98) : QColor(0x1d, 0xa1, 0xf2));
            painter.setPen(Qt::NoPen);
            painter.drawRoundedRect(QRectF(0, 0, 32, 32), 7, 7);
            painter.end();
            cell->setImage(icon);
            if (path.row() == 0) {
                cell->setText(QStringLiteral("Facebook"));
                cell->setValueType(TULOSettingsValueTypeSwitch);
                cell->setSwitchValue(true);
            } else {
                cell->setText(QStringLiteral("Twitter"));
                cell->setValueType(TULOSettingsValueTypeText);
                cell->setTextValue(QStringLiteral("Add Account"));
                cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
            }
            return cell;
        }
        if (path.section() == 1) {
            auto *cell = static_cast<TULOSettingsTextFieldTableViewCell *>(tableView->dequeueReusableCellWithIdentifier("1"));
            cell->setLabelText(path.row() == 0 ? QStringLiteral("User Name") : QStringLiteral("Password"));
            cell->textField()->setPlaceholderText(path.row() == 0 ? QStringLiteral("@name") : QStringLiteral("Required"));
            cell->textField()->setEchoMode(path.row() == 0 ? QLineEdit::Normal : QLineEdit::Password);
            return cell;
        }
        auto *cell = static_cast<TULOSettingsButtonTableViewCell *>(tableView->dequeueReusableCellWithIdentifier("2"));
        cell->setTitle(QStringLiteral("Sign In"));
        return cell;
    }
};

class TestScreenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void navigationStackWithTable_data()
    {
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("1x") << qreal(1.0);
        QTest::newRow("2x") << qreal(2.0);
    }

    void navigationStackWithTable()
    {
        QFETCH(qreal, ratio);
        auto *first = new TULOViewController;
        first->setTitle(QStringLiteral("Compose"));
        auto *settings = new TULOSampleSettingsController;
        settings->setTitle(QStringLiteral("Sharing"));
        settings->setEdgesForExtendedLayout(TULORectEdgeNone);
        auto *done = new TULOBarButtonItem(QStringLiteral("Done"), TULOBarButtonItemStyleDone, settings,
                                           [](TULOBarButtonItem *) {}, settings);
        settings->navigationItem()->setRightBarButtonItem(done);
        TULONavigationController navigation(first);
        navigation.pushViewController(settings, false);

        const QSize size(375, 560);
        const QImage image = TULOSaveScreenshot(&navigation, size, QStringLiteral("ui"),
                                                QStringLiteral("navigation-table@%1x").arg(ratio), ratio);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), (QSizeF(size) * ratio).toSize());
        QCOMPARE(image.devicePixelRatio(), ratio);

        // The bar shows the top title, a back button named after the screen below, and Done.
        TULONavigationBar *bar = navigation.navigationBar();
        QCOMPARE(bar->titleText(), QStringLiteral("Sharing"));
        QVERIFY(bar->backButton()->isVisibleTo(bar));
        QCOMPARE(bar->backButton()->accessibleName(), QStringLiteral("Compose"));
        QCOMPARE(bar->rightButton()->text(), QStringLiteral("Done"));
        QCOMPARE(settings->field(0)->textField()->mapTo(settings->view(), QPoint()).x(),
                 settings->field(1)->textField()->mapTo(settings->view(), QPoint()).x());
        // The table sits below the bar, not under it.
        QCOMPARE(settings->view()->geometry().top(), bar->height());
        // Something was drawn where the title is: its pixels are not all the bar's background.
        const QRect titleArea = QRect(bar->width() / 2 - 30, 12, 60, 20);
        const QRect pixels(titleArea.topLeft() * ratio, titleArea.size() * ratio);
        const QColor background = image.pixelColor(pixels.topLeft() - QPoint(0, 8 * int(ratio)));
        bool inked = false;
        for (int y = pixels.top(); y <= pixels.bottom() && !inked; ++y) {
            for (int x = pixels.left(); x <= pixels.right() && !inked; ++x)
                inked = image.pixelColor(x, y) != background;
        }
        QVERIFY2(inked, "the title is not drawn in the bar");
        // The screen was shown for the picture and is off screen again.
        QCOMPARE(settings->appearanceState(), TULOAppearanceStateDisappeared);
    }

    void actionSheetAnchoredAtButton()
    {
        TULOWindow window;
        auto *root = new TULOViewController(&window);
        root->setTitle(QStringLiteral("Compose"));
        auto *layout = new QVBoxLayout(root->view());
        layout->addStretch(1);
        auto *attach = new QPushButton(QStringLiteral("Attach"));
        layout->addWidget(attach, 0, Qt::AlignLeft);
        window.setRootViewController(root);
        window.resize(420, 640);
        window.show();

        auto *sheet = TULOAlertController::alertControllerWithTitle(QString(), QString(), TULOAlertControllerStyleActionSheet);
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Upload Photo or Video"), TULOAlertActionStyleDefault));
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Take Photo or Video"), TULOAlertActionStyleDefault));
        sheet->startNewActionGroup();
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Record Audio"), TULOAlertActionStyleDefault));
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Remove"), TULOAlertActionStyleDestructive));
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Cancel"), TULOAlertActionStyleCancel));
        sheet->setPopoverSourceView(attach);
        sheet->setPopoverSourceRect(attach->rect());
        sheet->setPopoverPermittedArrowDirections(TULOPopoverArrowDirectionDown);
        root->presentViewController(sheet, false);

        const QImage image = TULOSaveScreenshot(root, QSize(420, 640), QStringLiteral("ui"), QStringLiteral("action-sheet"));
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(420, 640));
        // The sheet is drawn above the button: the rows just above the anchor carry its colour.
        QWidget *popup = sheet->view()->window();
        const QRect inWindow(popup->mapToGlobal(QPoint()) - window.mapToGlobal(QPoint()), popup->size());
        QVERIFY2(QRect(QPoint(), image.size()).contains(inWindow),
                 qPrintable(QStringLiteral("the sheet lies outside the window: %1,%2 %3x%4 (screen %5x%6)")
                                .arg(inWindow.x()).arg(inWindow.y()).arg(inWindow.width()).arg(inWindow.height())
                                .arg(window.screen()->availableGeometry().width())
                                .arg(window.screen()->availableGeometry().height())));
        const QPoint anchorTop = attach->mapTo(&window, QPoint(attach->width() / 2, 0));
        QVERIFY(inWindow.bottom() < anchorTop.y());
        const QColor inside = image.pixelColor(inWindow.center().x(), inWindow.top() + 20);
        QCOMPARE(inside, popup->palette().color(QPalette::Window));
        root->dismissViewController(false);
    }

    void alertDialogCentredOverWindow()
    {
        TULOWindow window;
        auto *root = new TULOViewController(&window);
        window.setRootViewController(root);
        window.resize(420, 640);
        window.show();
        auto *alert = new TULOAlertController(QStringLiteral("Delete Account?"),
                                              QStringLiteral("Posts will no longer be shared to Twitter."),
                                              TULOAlertControllerStyleAlert);
        alert->addAction(new TULOAlertAction(QStringLiteral("Cancel"), TULOAlertActionStyleCancel));
        alert->addAction(new TULOAlertAction(QStringLiteral("Delete"), TULOAlertActionStyleDestructive));
        root->presentViewController(alert, false);
        const QImage image = TULOSaveScreenshot(root, QSize(420, 640), QStringLiteral("ui"), QStringLiteral("alert"));
        QCOMPARE(image.size(), QSize(420, 640));
        QWidget *dialog = alert->view()->window();
        const QPoint offset = dialog->mapToGlobal(QPoint()) - window.mapToGlobal(QPoint());
        const QRect inWindow(offset, dialog->size());
        QVERIFY(qAbs(inWindow.center().x() - 210) <= 1);
        QVERIFY(qAbs(inWindow.center().y() - 320) <= 1);
        // Cancel comes first, on the left, as the two buttons share a row.
        QVERIFY(alert->buttonForAction(alert->actions().at(0))->x() < alert->buttonForAction(alert->actions().at(1))->x());
        root->dismissViewController(false);
    }

    void renderingNothing()
    {
        QVERIFY(TULORenderViewController(nullptr, QSize(10, 10)).isNull());
        TULOViewController controller;
        QVERIFY(TULORenderViewController(&controller, QSize()).isNull());
        QVERIFY(TULORenderViewController(&controller, QSize(10, 10), 0).isNull());
    }
};

QTEST_MAIN(TestScreenshots)
#include "tst_screenshots.moc"
