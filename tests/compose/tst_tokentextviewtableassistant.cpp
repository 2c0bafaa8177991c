#include "support/screenshotsupport.h"
#include "tagtestsupport.h"

#include <Quillon/compose/attachmentpropertiesviewcontroller.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/compose/tokentextviewtableassistant.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QApplication>
#include <QLineEdit>
#include <QtTest>

// Tag completion in the artist field of the properties editor, against the sandbox store's
// tag lookup: the list opens under the row being edited, follows what is typed, inserts the
// chosen tag as an artist, and Return ends editing.
class TestTokenTextViewTableAssistant : public QObject
{
    Q_OBJECT

    TULOSandboxStore m_store;

    TULOConfiguration configuration() const
    {
        TULOConfiguration configuration = TULOSandboxTagConfiguration(m_store, {QStringLiteral("Dana Demo")});
        configuration.setAudioCategoryNames(QStringList{QStringLiteral("Rock")});
        return configuration;
    }

    static TULOTableViewCell *cellOf(QWidget *widget)
    {
        for (; widget; widget = widget->parentWidget())
            if (auto *cell = qobject_cast<TULOTableViewCell *>(widget))
                return cell;
        return nullptr;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }

    void completion_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("downs");
        QTest::addColumn<QStringList>("artists");
        QTest::addColumn<bool>("doneEnabled");
        QTest::newRow("chosen from the lookup") << "@kai" << 1 << QStringList{"Kaito Mori"} << true;
        QTest::newRow("second of two case twins") << "@mira" << 2 << QStringList{"MIRA SOL"} << true;
        QTest::newRow("return without a choice keeps the text") << "@qqqq" << 0 << QStringList{} << true;
    }
    void completion()
    {
        QFETCH(QString, typed);
        QFETCH(int, downs);
        QFETCH(QStringList, artists);
        QFETCH(bool, doneEnabled);
        auto item = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(QStringLiteral("/tmp/song.mpeg")), QStringLiteral("audio/mpeg"));
        item->setTitle(QStringLiteral("Song"));
        auto *controller = new TULOAttachmentPropertiesViewController(item, configuration());
        QList<TULOAttachmentPtr> edited;
        struct Receiver : TULOAttachmentPropertiesDelegate
        {
            QList<TULOAttachmentPtr> *edited;
            void attachmentPropertiesControllerDidEditAttachment(TULOAttachmentPropertiesViewController *,
                                                                 const TULOAttachmentPtr &attachment) override
            {
                edited->append(attachment);
            }
        } receiver;
        receiver.edited = &edited;
        controller->setDelegate(&receiver);
        TULONavigationController navigation(controller);
        QWidget *window = navigation.view();
        window->resize(420, 520);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));

        TULOTokenTextViewTableAssistant *assistant = controller->tokenTextViewAssistant();
        QCOMPARE(assistant->textViews().size(), 1);
        TULOTokenTextView *artistsView = assistant->textViews().first();
        QVERIFY(!controller->doneButton()->isEnabled());
        artistsView->setFocus();
        QTRY_VERIFY(assistant->isTagListShown());
        // Under the artist row, as wide as the table.
        TULOTableViewCell *row = cellOf(artistsView);
        QVERIFY(row);
        const QRect list = assistant->tagList()->viewIfLoaded()->geometry();
        QCOMPARE(list.top(), row->mapTo(controller->tableView(), QPoint(0, row->height())).y());
        QCOMPARE(list.width(), controller->tableView()->width());

        QTest::keyClicks(artistsView, typed);
        QTRY_VERIFY_WITH_TIMEOUT(assistant->tagList()->tagString() == typed.mid(1) && !assistant->tagList()->isLookingUp(),
                                 TULOStoreTestWait);
        for (int i = 0; i < downs; ++i)
            QTest::keyClick(artistsView, Qt::Key_Down);
        QTest::keyClick(artistsView, Qt::Key_Return);
        if (downs > 0) {
            // The choice became a token; a second Return ends editing.
            QVERIFY(artistsView->toPlainText().startsWith(QChar::ObjectReplacementCharacter));
            QTest::keyClick(artistsView, Qt::Key_Return);
        } else {
            QCOMPARE(artistsView->toPlainText(), typed);
        }
        QVERIFY(!artistsView->hasFocus());
        QVERIFY(!assistant->isTagListShown());
        QVERIFY(!artistsView->toPlainText().contains(QLatin1Char('\n')));
        QCOMPARE(controller->doneButton()->isEnabled(), doneEnabled);

        QVERIFY(controller->doneButton()->trigger());
        QCOMPARE(edited.size(), 1);
        QStringList names;
        for (const TULOPostArtist &artist : edited.first()->artists())
            names.append(artist.name());
        QCOMPARE(names, artists);
    }

    void screenshots_data()
    {
        TULOAddAppearanceRows("artists-");
    }
    void screenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        const QPalette light = QApplication::palette();
        if (dark)
            QApplication::setPalette(TULOTestDarkPalette());
        auto item = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(QStringLiteral("/tmp/song.mpeg")), QStringLiteral("audio/mpeg"));
        item->setTitle(QStringLiteral("Evening Tide"));
        auto *controller = new TULOAttachmentPropertiesViewController(item, configuration());
        TULONavigationController navigation(controller);
        QWidget *window = navigation.view();
        window->resize(420, 520);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        TULOTokenTextView *artistsView = controller->tokenTextViewAssistant()->textViews().first();
        artistsView->setFocus();
        QTest::keyClicks(artistsView, QStringLiteral("@mira"));
        TULOTagListViewController *list = controller->tokenTextViewAssistant()->tagList();
        QTRY_VERIFY_WITH_TIMEOUT(list->tagString() == QStringLiteral("mira") && !list->isLookingUp(), TULOStoreTestWait);
        QCOMPARE(list->activeTagSuggestions().size(), 2);
        const QImage image = TULOSaveScreenshot(&navigation, QSize(420, 520), QStringLiteral("tokentextviewtableassistant"),
                                                QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        QVERIFY(controller->tokenTextViewAssistant()->isTagListShown());
    }
};

QTEST_MAIN(TestTokenTextViewTableAssistant)
#include "tst_tokentextviewtableassistant.moc"
