#include <Quillon/compose/attachmentpropertiesviewcontroller.h>
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/media/albumselectionviewcontroller.h>
#include <Quillon/media/audiocoverimageselectiontableviewcell.h>
#include <Quillon/media/valuetableviewcontroller.h>
#include <Quillon/media/videocoverimageselectionview.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/switch.h>

#include "../store/storetestsupport.h"
#include "support/screenshotsupport.h"
#include "support/videosupport.h"

#include <Quillon/platform/video/videosurface.h>

#include <QApplication>
#include <QSignalSpy>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>

using SectionTypes = QList<qint64>;

// Records what the editor hands back.
class Receiver : public TULOAttachmentPropertiesDelegate
{
public:
    void attachmentPropertiesControllerDidEditAttachment(TULOAttachmentPropertiesViewController *,
                                                         const TULOAttachmentPtr &attachment) override
    {
        edited.append(attachment);
    }
    QList<TULOAttachmentPtr> edited;
};

class TestAttachmentPropertiesViewController : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    TULOClientContext m_context;
    TULOSandboxStore m_store;

    static TULOAttachmentPtr attachment(const QString &type, const QString &title = QString(),
                                        const QList<TULOPostArtist> &artists = {})
    {
        const QString extension = type.section(QLatin1Char('/'), 1);
        auto result = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(QStringLiteral("/tmp/item.") + extension), type);
        result->setTitle(title);
        result->setArtists(artists);
        return result;
    }
    static TULOConfiguration configuration(const QStringList &categories = {QStringLiteral("Rock"), QStringLiteral("Jazz")})
    {
        TULOConfiguration result;
        result.setAudioCategoryNames(categories);
        return result;
    }
    static TULOStoreItem album(const QString &identifier, const QString &name)
    {
        TULOStoreItem item;
        item.setKind(QStringLiteral("album"));
        item.setItemIdentifier(identifier);
        item.setDisplayName(name);
        return item;
    }
    static SectionTypes types(const TULOAttachmentPropertiesViewController &controller)
    {
        SectionTypes result;
        for (const auto *section : controller.sections())
            result.append(section->sectionType());
        return result;
    }
    static TULOAttachmentPropertiesTableViewSection *section(const TULOAttachmentPropertiesViewController &controller, qint64 type)
    {
        for (auto *section : controller.sections())
            if (section->sectionType() == type)
                return section;
        return nullptr;
    }
    QString text(const char *key) const
    {
        return TULOLocalization::defaultLocalization()->localizedStringForKey(QString::fromLatin1(key),
                                                                              QStringLiteral("PostComposition"), m_context);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        QVERIFY(m_dir.isValid());
        QString message;
        QVERIFY2(TULOMakeTestVideo(m_dir.filePath(QStringLiteral("clip.mp4")), 6.0, 10, QStringLiteral("160x120"),
                                   {QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-g"), QStringLiteral("10")},
                                   &message),
                 qPrintable(message));
    }

    void sections_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QStringList>("categories");
        QTest::addColumn<bool>("albums");
        QTest::addColumn<SectionTypes>("expected");
        QTest::addColumn<QList<int>>("rows");
        QTest::addColumn<QString>("title");
        const QString audio = QStringLiteral("audio/mpeg");
        const QString video = QStringLiteral("video/mp4");
        const QStringList two{QStringLiteral("Rock"), QStringLiteral("Jazz")};
        QTest::newRow("audio") << audio << two << false << SectionTypes{0, 1, 3, 2} << QList<int>{1, 2, 1, 1} << "AUDIO_WORKFLOW_TITLE";
        QTest::newRow("audio with albums") << audio << two << true << SectionTypes{0, 1, 3, 5, 2} << QList<int>{1, 2, 1, 1, 1}
                                           << "AUDIO_WORKFLOW_TITLE";
        QTest::newRow("audio without categories") << audio << QStringList() << false << SectionTypes{0, 1, 3, 2}
                                                  << QList<int>{1, 2, 0, 1} << "AUDIO_WORKFLOW_TITLE";
        QTest::newRow("video") << video << two << false << SectionTypes{4, 2} << QList<int>{3, 1} << "VIDEO_WORKFLOW_TITLE";
        QTest::newRow("video with albums") << video << two << true << SectionTypes{4, 5, 2} << QList<int>{3, 1, 1}
                                           << "VIDEO_WORKFLOW_TITLE";
        QTest::newRow("sound bite") << "audio/x-caf" << two << false << SectionTypes{0, 1, 3, 2} << QList<int>{1, 2, 1, 1}
                                    << "AUDIO_WORKFLOW_TITLE";
        QTest::newRow("image") << "image/jpeg" << two << false << SectionTypes{0, 1, 3, 2} << QList<int>{1, 2, 1, 1}
                               << "AUDIO_WORKFLOW_TITLE";
    }
    void sections()
    {
        QFETCH(QString, type);
        QFETCH(QStringList, categories);
        QFETCH(bool, albums);
        QFETCH(SectionTypes, expected);
        QFETCH(QList<int>, rows);
        QFETCH(QString, title);
        TULOAttachmentPropertiesViewController controller(attachment(type, QStringLiteral("Song")), configuration(categories));
        if (albums)
            controller.setAuthorAlbumItems({album("1", "Blue")});
        QCOMPARE(types(controller), expected);
        TULOTableView *table = controller.tableView();
        QCOMPARE(table->numberOfSections(), expected.size());
        for (int s = 0; s < rows.size(); ++s)
            QCOMPARE(table->numberOfRowsInSection(s), rows.at(s));
        QCOMPARE(controller.title(), text(title.toLatin1()));
        QCOMPARE(controller.doneButton()->title(), text("ATTACHMENT_WORKFLOW_DONE_BUTTON"));
        // Only cover art, song type and album rows can be selected.
        for (int s = 0; s < expected.size(); ++s)
            for (int row = 0; row < rows.at(s); ++row)
                QCOMPARE(table->canHighlightRowAtIndexPath(TULOIndexPath(s, row)),
                         expected.at(s) == 0 || expected.at(s) == 3 || expected.at(s) == 5);
    }

    void doneButton_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("artist");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("audio with title and artist") << "audio/mpeg" << "Song" << true << true;
        QTest::newRow("audio title of spaces") << "audio/mpeg" << "   " << true << false;
        QTest::newRow("audio without artist") << "audio/mpeg" << "Song" << false << false;
        QTest::newRow("audio without title") << "audio/mpeg" << "" << true << false;
        QTest::newRow("sound bite with title only") << "audio/x-caf" << "Memo" << false << true;
        QTest::newRow("sound bite title of line breaks") << "audio/x-caf" << "\n \t" << false << false;
        QTest::newRow("image with title only") << "image/jpeg" << "Photo" << false << true;
        QTest::newRow("video without artist") << "video/mp4" << "Clip" << false << false;
        QTest::newRow("video with title and artist") << "video/mp4" << "Clip" << true << true;
    }
    void doneButton()
    {
        QFETCH(QString, type);
        QFETCH(QString, title);
        QFETCH(bool, artist);
        QFETCH(bool, enabled);
        // Typed into the editor, so the section's length reports drive the button.
        TULOAttachmentPropertiesViewController controller(attachment(type, QStringLiteral("x")), configuration());
        const qint64 sectionType = type.startsWith(QLatin1String("video")) ? 4 : 1;
        auto *fields = section(controller, sectionType);
        QVERIFY(fields);
        fields->titleField()->setText(title);
        if (artist) {
            TULOTokenTextView *artists = nullptr;
            for (int row = 0; row < fields->numberOfRowsInTableView(nullptr) && !artists; ++row)
                artists = fields->tokenTextViewForRowAtIndexPath(TULOIndexPath(0, row));
            QVERIFY(artists);
            artists->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(
                TULOTag(TULOPostArtist(QStringLiteral("7"), QStringLiteral("Ada")))));
        }
        QCOMPARE(controller.doneButton()->isEnabled(), enabled);
        QCOMPARE(controller.performDefaultAction(), enabled);
    }

    void copyAndHandBack_data()
    {
        QTest::addColumn<bool>("explicitOn");
        QTest::addColumn<QString>("category");
        QTest::addColumn<QString>("expectedCategory");
        QTest::newRow("no category gets the first") << true << QString() << "Rock";
        QTest::newRow("chosen category kept") << false << "Jazz" << "Jazz";
    }
    void copyAndHandBack()
    {
        QFETCH(bool, explicitOn);
        QFETCH(QString, category);
        QFETCH(QString, expectedCategory);
        const TULOPostArtist ada(QStringLiteral("7"), QStringLiteral("Ada"));
        const TULOPostArtist bo(QStringLiteral("9"), QStringLiteral("Bo"));
        TULOAttachmentPtr original = attachment(QStringLiteral("audio/mpeg"), QStringLiteral("Old"), {ada});
        original->setCategoryName(category);
        Receiver receiver;
        {
            TULOAttachmentPropertiesViewController controller(original, configuration());
            controller.setDelegate(&receiver);
            QVERIFY(controller.attachment() != original);
            auto *fields = section(controller, 1);
            fields->titleField()->setText(QStringLiteral("  New  "));
            TULOTokenTextView *artists = fields->tokenTextViewForRowAtIndexPath(TULOIndexPath(1, 1));
            QVERIFY(artists);
            artists->setSelectedRange(TULOTextRange{artists->textLength(), 0});
            artists->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(TULOTag(bo)));
            auto *explicitCell = qobject_cast<TULOSettingsTableViewCell *>(section(controller, 2)->tableViewCells().first());
            if (explicitOn)
                explicitCell->valueSwitch()->click();
            QVERIFY(controller.doneButton()->trigger());
            QCOMPARE(receiver.edited.size(), 1);
            // Done again hands a fresh copy each time.
            QVERIFY(controller.doneButton()->trigger());
            QCOMPARE(receiver.edited.size(), 2);
            QVERIFY(receiver.edited.at(0) != receiver.edited.at(1));
            QVERIFY(receiver.edited.at(0) != controller.attachment());
        }
        const TULOAttachmentPtr edited = receiver.edited.first();
        QCOMPARE(edited->title(), QStringLiteral("  New  "));
        QCOMPARE(edited->artists(), (QList<TULOPostArtist>{ada, bo}));
        QCOMPARE(edited->isExplicitContent(), explicitOn);
        QCOMPARE(edited->categoryName(), expectedCategory);
        // The attachment given to the editor is never touched.
        QCOMPARE(original->title(), QStringLiteral("Old"));
        QCOMPARE(original->artists(), QList<TULOPostArtist>{ada});
        QCOMPARE(original->categoryName(), category);
        QVERIFY(!original->isExplicitContent());
    }

    void leavingWithoutDoneHandsNothing()
    {
        Receiver receiver;
        {
            TULOAttachmentPropertiesViewController controller(attachment(QStringLiteral("audio/mpeg"), QStringLiteral("Song")),
                                                              configuration());
            controller.setDelegate(&receiver);
            section(controller, 1)->titleField()->setText(QStringLiteral("Other"));
            controller.performCancelAction();
        }
        QVERIFY(receiver.edited.isEmpty());
    }

    void songTypeChoice_data()
    {
        QTest::addColumn<QString>("current");
        QTest::addColumn<int>("checked");
        QTest::addColumn<int>("tap");
        QTest::newRow("none yet") << QString() << -1 << 1;
        QTest::newRow("change") << "Jazz" << 1 << 0;
        QTest::newRow("unknown category checks none") << "Polka" << -1 << 1;
    }
    void songTypeChoice()
    {
        QFETCH(QString, current);
        QFETCH(int, checked);
        QFETCH(int, tap);
        auto item = attachment(QStringLiteral("audio/mpeg"), QStringLiteral("Song"));
        item->setCategoryName(current);
        auto *controller = new TULOAttachmentPropertiesViewController(item, configuration());
        TULONavigationController navigation(controller);
        navigation.view()->resize(400, 500);
        TULOTableView *table = controller->tableView();
        const int songType = int(types(*controller).indexOf(3));
        QVERIFY(table->activateRowAtIndexPath(TULOIndexPath(songType, 0)));
        auto *list = qobject_cast<TULOValueTableViewController *>(navigation.topViewController());
        QVERIFY(list);
        QCOMPARE(list->values(), (QStringList{TULOLocalization::defaultLocalization()->localizedStringForCategoryName(QStringLiteral("Rock"), m_context),
                                              TULOLocalization::defaultLocalization()->localizedStringForCategoryName(QStringLiteral("Jazz"), m_context)}));
        QCOMPARE(list->selectedIndex(), checked < 0 ? std::optional<qint64>() : std::optional<qint64>(checked));
        list->tableViewDidSelectRowAtIndexPath(list->tableView(), TULOIndexPath(0, tap));
        const QString chosen = tap == 0 ? QStringLiteral("Rock") : QStringLiteral("Jazz");
        QCOMPARE(controller->attachment()->categoryName(), chosen);
        QVERIFY(QTest::qWaitFor([&] { return navigation.topViewController() == controller; }, 5000));
        auto *cell = qobject_cast<TULOSettingsTableViewCell *>(table->cellForRowAtIndexPath(TULOIndexPath(songType, 0)));
        QVERIFY(cell);
        QCOMPARE(cell->textValue(), TULOLocalization::defaultLocalization()->localizedStringForCategoryName(chosen, m_context));
        QVERIFY(!table->indexPathForSelectedRow());
    }

    void albumChoice_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("prompt");
        QTest::newRow("audio") << "audio/mpeg" << "AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT";
        QTest::newRow("video") << "video/mp4" << "VIDEO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT";
    }
    void albumChoice()
    {
        QFETCH(QString, type);
        QFETCH(QString, prompt);
        auto *controller = new TULOAttachmentPropertiesViewController(attachment(type, QStringLiteral("Song")), configuration());
        TULONavigationController navigation(controller);
        TULOTableView *table = controller->tableView();
        const int sectionsBefore = table->numberOfSections();
        controller->setAuthorAlbumItems({album("3", "Dusk"), album("1", "Blue"), album("2", "Coast")});
        QStringList names;
        for (const TULOStoreItem &item : controller->authorAlbumItems())
            names.append(item.displayName());
        QCOMPARE(names, (QStringList{"Blue", "Coast", "Dusk"}));
        QCOMPARE(table->numberOfSections(), sectionsBefore + 1);
        QCOMPARE(types(*controller).last(), qint64(2));
        const int albumSection = int(types(*controller).indexOf(5));
        QCOMPARE(albumSection, sectionsBefore - 1);
        auto *cell = qobject_cast<TULOSettingsTableViewCell *>(table->cellForRowAtIndexPath(TULOIndexPath(albumSection, 0)));
        QCOMPARE(cell->textValue(), text("AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PLACEHOLDER"));

        QVERIFY(table->activateRowAtIndexPath(TULOIndexPath(albumSection, 0)));
        auto *list = qobject_cast<TULOAlbumSelectionViewController *>(navigation.topViewController());
        QVERIFY(list);
        QCOMPARE(list->headerText(), text(prompt.toLatin1()));
        QCOMPARE(list->albumItems().size(), 3);
        QVERIFY(!list->isLoading());
        list->tableViewDidSelectRowAtIndexPath(list->tableView(), TULOIndexPath(0, 1));
        QCOMPARE(controller->attachment()->album()->itemIdentifier(), QStringLiteral("2"));
        cell = qobject_cast<TULOSettingsTableViewCell *>(table->cellForRowAtIndexPath(TULOIndexPath(albumSection, 0)));
        QCOMPARE(cell->textValue(), QStringLiteral("Coast"));

        // Albums gone: the section goes, the explicit one stays last.
        controller->setAuthorAlbumItems({});
        QCOMPARE(table->numberOfSections(), sectionsBefore);
        QVERIFY(!types(*controller).contains(5));
        QCOMPARE(types(*controller).last(), qint64(2));
    }

    // The author's albums come from the store when the editor is shown, sorted by name.
    void albumsLoaded_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("author");
        QTest::addColumn<QStringList>("albums");
        QTest::addColumn<SectionTypes>("expected");
        const QString demo = TULOSandboxStore::demoArtistIdentifier();
        QTest::newRow("audio") << "audio/mpeg" << demo << QStringList{"Far From Shore", "First Light", "Kitchen Tapes"} << SectionTypes{0, 1, 3, 5, 2};
        QTest::newRow("video") << "video/mp4" << demo << QStringList{"Far From Shore", "First Light", "Kitchen Tapes"} << SectionTypes{4, 5, 2};
        QTest::newRow("author unknown to the store") << "audio/mpeg" << "999999" << QStringList() << SectionTypes{0, 1, 3, 2};
        QTest::newRow("sound bite asks nothing") << "audio/x-caf" << demo << QStringList() << SectionTypes{0, 1, 3, 2};
    }
    void albumsLoaded()
    {
        QFETCH(QString, type);
        QFETCH(QString, author);
        QFETCH(QStringList, albums);
        QFETCH(SectionTypes, expected);
        const bool asks = type != QStringLiteral("audio/x-caf");
        auto *controller = new TULOAttachmentPropertiesViewController(attachment(type, QStringLiteral("Song")), configuration());
        controller->setClientContext(std::make_shared<TULOClientContext>(TULOSandboxContext(m_store)));
        controller->setAuthor(TULOPostAuthor(author, QStringLiteral("Artist"), QStringLiteral("artist")));
        const int lookupsBefore = m_store.requestCount(QStringLiteral("/catalog/lookup"));
        TULONavigationController navigation(controller);
        navigation.view()->resize(400, 600);
        navigation.beginAppearanceTransition(true, false);
        navigation.endAppearanceTransition();
        QCOMPARE(controller->isLoadingAlbums(), asks);
        QTRY_VERIFY_WITH_TIMEOUT(!controller->isLoadingAlbums(), TULOStoreTestWait);
        QStringList names;
        for (const TULOStoreItem &item : controller->authorAlbumItems())
            names.append(item.displayName());
        QCOMPARE(names, albums);
        QCOMPARE(types(*controller), expected);
        QCOMPARE(controller->tableView()->numberOfSections(), expected.size());
        QCOMPARE(m_store.requestCount(QStringLiteral("/catalog/lookup")) > lookupsBefore, asks);
    }

    void coverArt_data()
    {
        QTest::addColumn<bool>("remove");
        QTest::newRow("replaced") << false;
        QTest::newRow("removed") << true;
    }
    void coverArt()
    {
        QFETCH(bool, remove);
        auto item = attachment(QStringLiteral("audio/mpeg"), QStringLiteral("Song"), {TULOPostArtist(QStringLiteral("1"), QStringLiteral("A"))});
        QImage old(40, 40, QImage::Format_RGB32);
        old.fill(Qt::red);
        item->setThumbnailImage(old);
        TULOAttachmentPropertiesViewController controller(item, configuration());
        Receiver receiver;
        controller.setDelegate(&receiver);
        auto *cover = section(controller, 0);
        auto *cell = qobject_cast<TULOAudioCoverImageSelectionTableViewCell *>(cover->tableViewCells().first());
        QCOMPARE(cell->coverImage(), old);
        QImage fresh(40, 40, QImage::Format_RGB32);
        fresh.fill(Qt::blue);
        controller.setCoverImage(remove ? QImage() : fresh);
        QCOMPARE(cell->coverImage(), remove ? QImage() : fresh);
        controller.doneButton()->trigger();
        QCOMPARE(receiver.edited.size(), 1);
        QCOMPARE(receiver.edited.first()->thumbnailImage(), remove ? QImage() : fresh);
    }

    void videoCoverTime_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<double>("stored");
        QTest::addColumn<double>("opened");
        QTest::newRow("chosen at 2.5 s") << "clip.mp4" << 2.5 << 2.5;
        QTest::newRow("none chosen opens on the middle") << "clip.mp4" << 0.0 << 3.0;
        // The other properties stay editable; no cover is handed back.
        QTest::newRow("unreadable file") << "missing.mp4" << 2.5 << 0.0;
    }
    void videoCoverTime()
    {
        QFETCH(QString, file);
        QFETCH(double, stored);
        QFETCH(double, opened);
        auto item = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(m_dir.filePath(file)), QStringLiteral("video/mp4"));
        item->setTitle(QStringLiteral("Clip"));
        item->setArtists({TULOPostArtist(QStringLiteral("1"), QStringLiteral("A"))});
        item->setThumbnailImageTime(stored);
        TULOAttachmentPropertiesViewController controller(item, configuration());
        Receiver receiver;
        controller.setDelegate(&receiver);
        TULOVideoCoverImageSelectionView *view = section(controller, 4)->videoCoverImageSelectionView();
        QVERIFY(view);
        const bool readable = opened > 0.0;
        if (readable) {
            QVERIFY(QTest::qWaitFor([&] { return view->duration() > 0.0 && qAbs(view->coverImageTime() - opened) < 1e-6; }, 10000));
            QVERIFY(QTest::qWaitFor([&] { return !view->coverImage().isNull(); }, 10000));
        } else {
            QSignalSpy status(view->playerLayer(), &TULOVideoSurface::statusChanged);
            QVERIFY(status.count() > 0 || status.wait(10000));
        }
        section(controller, 4)->titleField()->setText(QStringLiteral("Renamed"));
        QVERIFY(controller.doneButton()->trigger());
        const TULOAttachmentPtr edited = receiver.edited.first();
        QCOMPARE(edited->thumbnailImageTime(), opened * 1000.0);
        QCOMPARE(edited->thumbnailImage().isNull(), !readable);
        QCOMPARE(edited->title(), QStringLiteral("Renamed"));
    }

    void screenshots_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QString>("type");
        for (const char *type : {"audio/mpeg", "video/mp4"})
            for (const bool dark : {false, true})
                for (const qreal scale : {1.0, 2.0})
                    QTest::addRow("%s-%s-%dx", QByteArray(type).split('/').first().constData(), dark ? "dark" : "light",
                                  int(scale))
                        << dark << scale << QString::fromLatin1(type);
    }
    void screenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        QFETCH(QString, type);
        const QPalette light = QApplication::palette();
        if (dark) {
            QPalette palette(QColor(0x33, 0x33, 0x33), QColor(0x1e, 0x1e, 0x1e));
            palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Base, QColor(0x2a, 0x2a, 0x2a));
            palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xf0));
            QApplication::setPalette(palette);
        }
        auto item = type.startsWith(QLatin1String("video"))
            ? std::make_shared<TULOAttachment>(QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("clip.mp4"))), type)
            : attachment(type);
        item->setTitle(QStringLiteral("Evening Tide"));
        item->setArtists({TULOPostArtist(QStringLiteral("7"), QStringLiteral("Ada Lind"))});
        item->setThumbnailImageTime(2.0);
        auto *controller = new TULOAttachmentPropertiesViewController(item, configuration());
        controller->setAuthorAlbumItems({album("1", "Blue Hour")});
        TULONavigationController navigation(controller);
        if (auto *view = section(*controller, 4) ? section(*controller, 4)->videoCoverImageSelectionView() : nullptr)
            QVERIFY(QTest::qWaitFor([&] { return !view->coverImage().isNull(); }, 10000));
        const QImage image = TULOSaveScreenshot(&navigation, QSize(420, type.startsWith(QLatin1String("video")) ? 560 : 420),
                                                QStringLiteral("attachmentproperties"),
                                                QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        QCOMPARE(image.width(), int(420 * scale));
    }
};

QTEST_MAIN(TestAttachmentPropertiesViewController)
#include "tst_attachmentproperties.moc"
