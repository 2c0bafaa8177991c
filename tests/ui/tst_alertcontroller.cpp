#include "appearancerecorder.h"

#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/presentationwindow_p.h>
#include <Quillon/platform/ui/window.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

class TestAlertController : public QObject
{
    Q_OBJECT

private:
    // A window with a controller whose view holds a button near the bottom, as an anchor.
    struct Screen
    {
        QStringList log;
        TULOWindow window;
        TULOAppearanceRecorder *root;
        QPushButton *anchor;
        Screen()
        {
            root = new TULOAppearanceRecorder(QStringLiteral("Root"), &log, &window);
            auto *layout = new QVBoxLayout(root->view());
            layout->addStretch(1);
            anchor = new QPushButton(QStringLiteral("Attach"));
            layout->addWidget(anchor);
            window.setRootViewController(root);
            window.resize(420, 600);
            window.show();
        }
    };

    static TULOAlertController *deleteSheet(int *deletes, int *cancels, QStringList *order = nullptr,
                                            TULOViewController *presenter = nullptr)
    {
        auto *sheet = TULOAlertController::alertControllerWithTitle(QStringLiteral("Delete Account"),
                                                                    QStringLiteral("This cannot be undone."),
                                                                    TULOAlertControllerStyleActionSheet);
        sheet->addAction(TULOAlertAction::actionWithTitle(QStringLiteral("Cancel"), TULOAlertActionStyleCancel,
                                                          [cancels](TULOAlertAction *) { ++*cancels; }));
        sheet->addAction(TULOAlertAction::actionWithTitle(
            QStringLiteral("Delete"), TULOAlertActionStyleDestructive, [deletes, order, presenter](TULOAlertAction *) {
                ++*deletes;
                if (order && presenter)
                    order->append(presenter->presentedViewController() ? QStringLiteral("handler while shown")
                                                                       : QStringLiteral("handler after dismissal"));
            }));
        return sheet;
    }

private Q_SLOTS:
    void destructiveHandlerRunsOnce_data()
    {
        QTest::addColumn<QString>("followUp");
        QTest::newRow("second click") << "click";
        QTest::newRow("then escape") << "escape";
        QTest::newRow("then default action") << "default";
    }

    void destructiveHandlerRunsOnce()
    {
        QFETCH(QString, followUp);
        Screen screen;
        int deletes = 0, cancels = 0;
        QStringList order;
        TULOAlertController *sheet = deleteSheet(&deletes, &cancels, &order, screen.root);
        sheet->setPopoverSourceView(screen.anchor);
        screen.root->presentViewController(sheet, false);
        TULOAlertAction *destroy = sheet->actions().at(1);
        QPushButton *button = sheet->buttonForAction(destroy);
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        if (followUp == "click")
            QTest::mouseClick(button, Qt::LeftButton);
        else if (followUp == "escape")
            QTest::keyClick(sheet->view()->window(), Qt::Key_Escape);
        else
            sheet->performDefaultAction();
        QTRY_COMPARE(deletes, 1);
        QTest::qWait(50);
        QCOMPARE(deletes, 1);
        QCOMPARE(cancels, 0);
        QCOMPARE(order, QStringList{QStringLiteral("handler after dismissal")});
        QVERIFY(!screen.root->presentedViewController());
    }

    void escapeChoosesCancel_data()
    {
        QTest::addColumn<bool>("withCancel");
        QTest::addColumn<int>("style");
        QTest::newRow("sheet with cancel") << true << int(TULOAlertControllerStyleActionSheet);
        QTest::newRow("alert with cancel") << true << int(TULOAlertControllerStyleAlert);
        QTest::newRow("alert without cancel") << false << int(TULOAlertControllerStyleAlert);
    }

    void escapeChoosesCancel()
    {
        QFETCH(bool, withCancel);
        QFETCH(int, style);
        Screen screen;
        int cancels = 0, others = 0;
        auto *alert = new TULOAlertController(QStringLiteral("Sign-in failed"), QStringLiteral("Check the password."),
                                              TULOAlertControllerStyle(style));
        alert->addAction(new TULOAlertAction(QStringLiteral("OK"), TULOAlertActionStyleDefault,
                                             [&](TULOAlertAction *) { ++others; }));
        if (withCancel)
            alert->addAction(new TULOAlertAction(QStringLiteral("Cancel"), TULOAlertActionStyleCancel,
                                                 [&](TULOAlertAction *) { ++cancels; }));
        alert->setPopoverSourceView(screen.anchor);
        screen.root->presentViewController(alert, false);
        QTest::keyClick(alert->view()->window(), Qt::Key_Escape);
        QTRY_VERIFY(!screen.root->presentedViewController());
        QCOMPARE(cancels, withCancel ? 1 : 0);
        QCOMPARE(others, 0);
    }

    void titlesChangeWhileShown()
    {
        Screen screen;
        int deletes = 0, cancels = 0;
        TULOAlertController *sheet = deleteSheet(&deletes, &cancels);
        screen.root->presentViewController(sheet, false);
        TULOAlertAction *destroy = sheet->actions().at(1);
        destroy->setTitle(QStringLiteral("Delete 3 Photos"));
        QCOMPARE(sheet->buttonForAction(destroy)->text(), QStringLiteral("Delete 3 Photos"));
        QCOMPARE(sheet->buttonForAction(destroy)->accessibleName(), QStringLiteral("Delete 3 Photos"));
        destroy->setEnabled(false);
        QVERIFY(!sheet->buttonForAction(destroy)->isEnabled());
        QVERIFY(!sheet->triggerAction(destroy));
        sheet->setTitle(QStringLiteral("Remove"));
        const QList<QLabel *> labels = sheet->view()->findChildren<QLabel *>();
        QVERIFY(std::any_of(labels.begin(), labels.end(),
                            [](QLabel *label) { return label->text() == QStringLiteral("Remove") && label->isVisible(); }));
        QCOMPARE(deletes, 0);
    }

    void cancelClosesTheSheetLast()
    {
        int deletes = 0, cancels = 0;
        TULOAlertController *sheet = deleteSheet(&deletes, &cancels);
        sheet->startNewActionGroup();
        sheet->addAction(new TULOAlertAction(QStringLiteral("Archive"), TULOAlertActionStyleDefault));
        auto *layout = sheet->buttonForAction(sheet->actions().at(0))->parentWidget()->layout();
        QStringList titles;
        for (int i = 0; i < layout->count(); ++i) {
            if (auto *button = qobject_cast<QPushButton *>(layout->itemAt(i)->widget()))
                titles.append(button->text());
        }
        QCOMPARE(titles, QStringList({"Delete", "Archive", "Cancel"}));
        // Tab follows the same order.
        auto nextFocusable = [](QWidget *widget) {
            do
                widget = widget->nextInFocusChain();
            while (!(widget->focusPolicy() & Qt::TabFocus));
            return widget;
        };
        QCOMPARE(nextFocusable(sheet->buttonForAction(sheet->actions().at(1))),
                 sheet->buttonForAction(sheet->actions().at(2)));
        QCOMPARE(nextFocusable(sheet->buttonForAction(sheet->actions().at(2))),
                 sheet->buttonForAction(sheet->actions().at(0)));
        delete sheet;
    }

    void popoverAnchoredAtSourceView_data()
    {
        QTest::addColumn<int>("permitted");
        QTest::addColumn<int>("expected");
        QTest::newRow("arrow down: above the button") << int(TULOPopoverArrowDirectionDown)
                                                      << int(TULOPopoverArrowDirectionDown);
        // The button sits at the bottom of the window: below it there is no room.
        QTest::newRow("any: the side with room") << int(TULOPopoverArrowDirectionAny)
                                                 << int(TULOPopoverArrowDirectionDown);
    }

    void popoverAnchoredAtSourceView()
    {
        QFETCH(int, permitted);
        QFETCH(int, expected);
        Screen screen;
        int deletes = 0, cancels = 0;
        TULOAlertController *sheet = deleteSheet(&deletes, &cancels);
        sheet->setPopoverSourceView(screen.anchor);
        sheet->setPopoverSourceRect(screen.anchor->rect());
        sheet->setPopoverPermittedArrowDirections(permitted);
        screen.root->presentViewController(sheet, false);
        auto *window = qobject_cast<TULOPresentationWindow *>(sheet->view()->window());
        QVERIFY(window);
        QVERIFY(window->isPopover());
        QVERIFY(window->windowFlags() & Qt::Popup);
        QCOMPARE(window->arrowDirection(), expected);
        const QRect anchor(screen.anchor->mapToGlobal(QPoint()), screen.anchor->size());
        const QRect popup = window->frameGeometry();
        if (expected == TULOPopoverArrowDirectionDown)
            QVERIFY2(popup.bottom() < anchor.top(), "popover must sit above its anchor");
        else
            QVERIFY2(popup.top() > anchor.bottom(), "popover must sit below its anchor");
        QVERIFY(popup.left() <= anchor.center().x() && anchor.center().x() <= popup.right());
    }

    void popoverGeometry_data()
    {
        QTest::addColumn<QRect>("anchor");
        QTest::addColumn<int>("permitted");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QRect>("expected");
        const QRect screen(0, 0, 1000, 800);
        Q_UNUSED(screen)
        // Content 200x100, arrow 10.
        QTest::newRow("up fits") << QRect(400, 100, 40, 20) << int(TULOPopoverArrowDirectionAny)
                                 << int(TULOPopoverArrowDirectionUp) << QRect(320, 120, 200, 110);
        QTest::newRow("up has no room, down taken") << QRect(400, 750, 40, 20) << int(TULOPopoverArrowDirectionAny)
                                                    << int(TULOPopoverArrowDirectionDown) << QRect(320, 640, 200, 110);
        QTest::newRow("only left permitted") << QRect(100, 300, 40, 20) << int(TULOPopoverArrowDirectionLeft)
                                             << int(TULOPopoverArrowDirectionLeft) << QRect(140, 260, 210, 100);
        QTest::newRow("right") << QRect(800, 300, 40, 20) << int(TULOPopoverArrowDirectionRight)
                               << int(TULOPopoverArrowDirectionRight) << QRect(590, 260, 210, 100);
        QTest::newRow("slides back on screen") << QRect(960, 100, 30, 20) << int(TULOPopoverArrowDirectionUp)
                                               << int(TULOPopoverArrowDirectionUp) << QRect(800, 120, 200, 110);
        QTest::newRow("nothing fits: first permitted") << QRect(400, 750, 40, 20) << int(TULOPopoverArrowDirectionUp)
                                                       << int(TULOPopoverArrowDirectionUp) << QRect(320, 770, 200, 110);
    }

    void popoverGeometry()
    {
        QFETCH(QRect, anchor);
        QFETCH(int, permitted);
        QFETCH(int, direction);
        QFETCH(QRect, expected);
        int chosen = 0;
        const QRect rect = TULOPresentationWindow::popoverGeometry(anchor, QSize(200, 100), permitted,
                                                                   QRect(0, 0, 1000, 800), &chosen);
        QCOMPARE(chosen, direction);
        QCOMPARE(rect, expected);
    }

    void sheetWithoutSourceIsDialog()
    {
        Screen screen;
        int deletes = 0, cancels = 0;
        TULOAlertController *sheet = deleteSheet(&deletes, &cancels);
        screen.root->presentViewController(sheet, false);
        auto *window = qobject_cast<TULOPresentationWindow *>(sheet->view()->window());
        QVERIFY(window);
        QVERIFY(!window->isPopover());
        QCOMPARE(window->windowModality(), Qt::WindowModal);
    }

    void textPrompt()
    {
        Screen screen;
        QString typed;
        auto *prompt = new TULOAlertController(QStringLiteral("Password"), QStringLiteral("Enter the password again."),
                                               TULOAlertControllerStyleAlert);
        prompt->addTextFieldWithConfigurationHandler([](QLineEdit *field) {
            field->setPlaceholderText(QStringLiteral("Required"));
            field->setEchoMode(QLineEdit::Password);
        });
        prompt->addAction(new TULOAlertAction(QStringLiteral("Cancel"), TULOAlertActionStyleCancel));
        auto *verify = new TULOAlertAction(QStringLiteral("Verify"), TULOAlertActionStyleDefault,
                                           [prompt, &typed](TULOAlertAction *) { typed = prompt->textFields().first()->text(); });
        prompt->addAction(verify);
        prompt->setPreferredAction(verify);
        screen.root->presentViewController(prompt, false);
        QCOMPARE(prompt->textFields().size(), 1);
        QLineEdit *field = prompt->textFields().first();
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(field->accessibleName(), QStringLiteral("Required"));
        QTest::keyClicks(field, QStringLiteral("s3cret"));
        QVERIFY(prompt->performDefaultAction());
        QTRY_COMPARE(typed, QStringLiteral("s3cret"));
    }
};

QTEST_MAIN(TestAlertController)
#include "tst_alertcontroller.moc"
