#include "../store/storetestsupport.h"

#include <Quillon/compose/authoralertactionview.h>
#include <Quillon/compose/authorselectionalertcontroller.h>
#include <Quillon/compose/attributionselectionviewcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

class TestAuthorSelection : public QObject
{
    Q_OBJECT

    TULOSandboxStore m_store;

    TULOPostAuthor author(const QString &identifier, const QString &name, bool thumbnail) const
    {
        TULOPostAuthor result(identifier, name, QStringLiteral("artist"));
        if (thumbnail)
            result.setThumbnailImageURL(QUrl(m_store.baseUrl().toString() + QStringLiteral("/artwork/%1/64x64.png").arg(identifier)));
        return result;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }

    void authorMenu()
    {
        TULOResourceLoader loader;
        std::unique_ptr<TULOAuthorSelectionAlertController> menu(TULOAuthorSelectionAlertController::alertControllerWithTitle(
            QStringLiteral("Post as"), QString(), TULOAlertControllerStyleActionSheet));
        menu->setResourceLoader(&loader);
        QStringList chosen;
        TULOAlertAction *dana = menu->addActionWithAuthor(author(QStringLiteral("1001"), QStringLiteral("Dana Demo"), true),
                                                          [&] { chosen.append(QStringLiteral("dana")); });
        TULOAlertAction *group = menu->addActionWithAuthor(author(QStringLiteral("1002"), QStringLiteral("Northern Lights"), false),
                                                           [&] { chosen.append(QStringLiteral("group")); });
        menu->addAction(new TULOAlertAction(QStringLiteral("Cancel"), TULOAlertActionStyleCancel));
        QCOMPARE(menu->actions().size(), 3);
        menu->view();

        TULOAuthorAlertActionView *danaView = menu->actionViewForAction(dana);
        TULOAuthorAlertActionView *groupView = menu->actionViewForAction(group);
        QVERIFY(danaView && groupView);
        QCOMPARE(danaView->authorName(), QStringLiteral("Dana Demo"));
        QVERIFY(danaView->testAttribute(Qt::WA_TransparentForMouseEvents));
        QCOMPARE(menu->buttonForAction(group)->accessibleName(), QStringLiteral("Northern Lights"));
        // Artwork replaces the placeholder for the author with a thumbnail, and only for it.
        QTRY_VERIFY_WITH_TIMEOUT(danaView->image() != menu->placeholderImage(), TULOStoreTestWait);
        QCOMPARE(groupView->image(), menu->placeholderImage());
        QVERIFY(!loader.hasRequestWithIdentifier(QStringLiteral("1002")));

        QVERIFY(menu->triggerAction(group));
        QTRY_COMPARE(chosen, QStringList{QStringLiteral("group")});
    }

    void attributedText_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both placeholders") << "%@ from %@" << "<b>Ann</b> from <b>The Band</b>";
        QTest::newRow("words around") << "By %@ of %@." << "By <b>Ann</b> of <b>The Band</b>.";
        QTest::newRow("format omits one") << "%@ from the group" << "<b>Ann</b>";
        QTest::newRow("format omits both") << "from the group" << "<b>Ann</b>";
        QTest::newRow("names are escaped") << "%@ & %@" << "<b>Ann</b> &amp; <b>The Band</b>";
    }
    void attributedText()
    {
        QFETCH(QString, format);
        QFETCH(QString, expected);
        QCOMPARE(TULOAttributionSelectionViewController::attributedText(format, QStringLiteral("Ann"), QStringLiteral("The Band")),
                 expected);
    }

    void attributionRows_data()
    {
        QTest::addColumn<int>("authors");
        QTest::addColumn<uint>("selected");
        QTest::addColumn<int>("choose");
        QTest::newRow("group and person, person chosen") << 2 << 0u << 1;
        QTest::newRow("destination alone, checked") << 1 << 0u << 0;
        QTest::newRow("nothing selected yet") << 2 << TULOAttributionSelectionViewController::NotFound << 0;
    }
    void attributionRows()
    {
        QFETCH(int, authors);
        QFETCH(uint, selected);
        QFETCH(int, choose);
        const TULOPostAuthor group = author(QStringLiteral("1002"), QStringLiteral("Northern Lights"), true);
        const TULOPostAuthor person = author(QStringLiteral("1001"), QStringLiteral("Dana Demo"), false);
        TULOAttributionSelectionViewController list;
        list.setDestinationAuthor(group);
        list.setAuthors(authors == 1 ? QList<TULOPostAuthor>{group} : QList<TULOPostAuthor>{group, person});
        list.setSelectedAuthorIndex(selected);
        QList<TULOPostAuthor> picked;
        list.setSelectionBlock([&](const TULOPostAuthor &chosen) { picked.append(chosen); });
        list.view();
        TULOTableView *table = list.tableView();
        QCOMPARE(table->numberOfRowsInSection(0), authors);
        for (int row = 0; row < authors; ++row) {
            TULOTableViewCell *cell = table->cellForRowAtIndexPath(TULOIndexPath(0, row));
            QCOMPARE(cell->accessoryType(), uint(row) == selected ? TULOTableViewCellAccessoryCheckmark : TULOTableViewCellAccessoryNone);
            QVERIFY(!cell->accessibleName().isEmpty());
        }
        QCOMPARE(list.attributedTextForRow(0), QStringLiteral("<b>Northern Lights</b>"));
        if (authors == 2) {
            QCOMPARE(list.attributedTextForRow(1), QStringLiteral("<b>Dana Demo</b> from <b>Northern Lights</b>"));
            // The author without a thumbnail keeps the placeholder; the other's artwork arrives.
            QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, 1))->image(), list.placeholderImage());
            QTRY_VERIFY_WITH_TIMEOUT(table->cellForRowAtIndexPath(TULOIndexPath(0, 0))->image() != list.placeholderImage(),
                                     TULOStoreTestWait);
        }

        QVERIFY(table->activateRowAtIndexPath(TULOIndexPath(0, choose)));
        QCOMPARE(list.selectedAuthorIndex(), uint(choose));
        QCOMPARE(picked.size(), 1);
        QCOMPARE(picked.first(), choose == 0 ? group : person);
        for (int row = 0; row < authors; ++row)
            QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, row))->accessoryType(),
                     row == choose ? TULOTableViewCellAccessoryCheckmark : TULOTableViewCellAccessoryNone);
    }

    void rows()
    {
        TULOAuthorView authorView;
        authorView.setLabelText(QStringLiteral("Post as"));
        authorView.setAuthorName(QStringLiteral("Dana Demo"));
        QCOMPARE(authorView.authorName(), QStringLiteral("Dana Demo"));
        QCOMPARE(authorView.authorNameButton()->accessibleName(), QStringLiteral("Post as Dana Demo"));
        QSignalSpy opened(authorView.authorNameButton(), &QPushButton::clicked);
        QTest::mouseClick(authorView.authorNameButton(), Qt::LeftButton);
        QCOMPARE(opened.size(), 1);

        TULOComposeLabelValueButton button;
        button.setLabelText(QStringLiteral("Attribution"));
        button.setValueText(QStringLiteral("Dana Demo"));
        button.setCharge(-1.0);
        button.resize(button.sizeHint());
        QSignalSpy clicked(&button, &QAbstractButton::clicked);
        QTest::mouseClick(&button, Qt::LeftButton);
        QCOMPARE(clicked.size(), 1);
        QVERIFY(button.isSelected()); // stays highlighted while its screen opens
        button.deselectAnimated(false);
        QVERIFY(!button.isSelected());
        QCOMPARE(button.accessibleName(), QStringLiteral("Attribution"));
        QCOMPARE(button.accessibleDescription(), QStringLiteral("Dana Demo"));
        button.setValueText(QString());
        QVERIFY(button.accessibleDescription().isEmpty());
    }
};

QTEST_MAIN(TestAuthorSelection)
#include "tst_authorselection.moc"
