#include "compositiontestsupport.h"

#include "../compose/tokentexttestsupport.h"
#include "../library/mediafixtures.h"
#include "../media/photofixtures.h"
#include "../support/screenshotsupport.h"
#include "../support/videosupport.h"

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/attachmentpropertiesviewcontroller.h>
#include <Quillon/compose/attributionselectionviewcontroller.h>
#include <Quillon/compose/authorselectionalertcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/lockupview.h>
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/storeitemartworkrequest.h>
#include <Quillon/media/attachmentalertcontroller.h>
#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/tableview.h>

#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QPushButton>
#include <QTest>

namespace {

// The editor with the menu and pickers over the test's libraries; what goes to the properties
// editor is recorded.
class WiredComposer : public TULOComposePostViewController
{
public:
    using TULOComposePostViewController::TULOComposePostViewController;
    using TULOComposePostViewController::attributionButton;
    using TULOComposePostViewController::audioPickerController;
    using TULOComposePostViewController::authorSelectionView;
    using TULOComposePostViewController::dropHandler;
    using TULOComposePostViewController::imagePickerController;
    using TULOComposePostViewController::tagCompletionViewController;

    TULOPhotoLibrary *photoLibrary = nullptr;
    const TULOThumbnailCache *thumbnails = nullptr;
    TULOMediaLibrary *mediaLibrary = nullptr;
    QList<TULOAttachmentPtr> edited;
    bool opensEditor = false;

protected:
    TULOAttachmentAlertController *makeAttachmentMenu() override
    {
        auto *shelf = new TULOPhotoPickerViewController(photoLibrary, *thumbnails);
        return new TULOAttachmentAlertController(configuration(), TULOClientContext(), shelf);
    }
    TULOAudioPickerController *makeAudioPicker() override { return new TULOAudioPickerController(TULOClientContext(), mediaLibrary); }
    TULOComposeImagePickerController *makeImagePicker(int sourceType) override
    {
        return new TULOComposeImagePickerController(sourceType, photoLibrary, *thumbnails);
    }
    void editPropertiesForAttachment(const TULOAttachmentPtr &attachment, bool animated) override
    {
        edited.append(attachment);
        if (opensEditor)
            TULOComposePostViewController::editPropertiesForAttachment(attachment, animated);
    }
};

enum Step { Shelf, ShelfVideo, Library, Camera, Audio, Record };

// A song as a store lookup lists it, its artwork served by the sandbox.
TULOStoreItem songWithArtwork(const TULOSandboxStore &sandbox)
{
    TULOStoreItem item;
    item.setKind(QStringLiteral("song"));
    item.setDisplayName(QStringLiteral("Night Drive"));
    item.setArtistName(QStringLiteral("The Band"));
    item.setCollectionName(QStringLiteral("Late Hours"));
    const QVariantMap artwork{{QStringLiteral("url"), sandbox.baseUrl().toString() + QStringLiteral("/artwork/1004/96x96.png")},
                              {QStringLiteral("width"), 96},
                              {QStringLiteral("height"), 96}};
    item.setArtworkList(TULOArtworkList(QVariantList{artwork}));
    return item;
}

} // namespace

// The editor's screens working together: the attachment menu and its pickers, the author menu,
// the attribution list, tag completion and drops.
class TestComposeWiring : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    QTemporaryDir m_dir;
    QStringList m_photos; // newest first
    QString m_cameraImage;
    std::unique_ptr<TULOPhotoLibrary> m_photoLibrary;
    std::unique_ptr<TULOThumbnailCache> m_thumbnails;
    std::unique_ptr<TULOMediaLibrary> m_music;
    std::unique_ptr<TULOMediaLibrary> m_emptyMusic;
    QPalette m_lightPalette;

    // An editor over the test's libraries, shown at the bottom of a navigation stack.
    WiredComposer *showComposer(const TULOConfiguration &configuration, bool emptyMusic = false, bool opensEditor = false)
    {
        auto *composer = new WiredComposer(configuration);
        composer->photoLibrary = m_photoLibrary.get();
        composer->thumbnails = m_thumbnails.get();
        composer->mediaLibrary = emptyMusic ? m_emptyMusic.get() : m_music.get();
        composer->opensEditor = opensEditor;
        m_fixture.show(composer);
        return composer;
    }

    // Opens the menu with the attachment button, as the user does.
    TULOAttachmentAlertController *openMenu(WiredComposer &composer)
    {
        QTest::mouseClick(composer.composeView()->attachmentButton(), Qt::LeftButton);
        auto *menu = qobject_cast<TULOAttachmentAlertController *>(composer.presentedViewController());
        if (!menu)
            return nullptr;
        if (TULOPhotoPickerViewController *shelf = menu->photoPickerViewController())
            // An empty library is a case of its own; what the shelf then offers is checked later.
            (void)QTest::qWaitFor([shelf] { return shelf->assetCount() > 0; }, 5000);
        return menu;
    }

    static bool waitUntilNothingPresented(TULOViewController &controller)
    {
        return QTest::qWaitFor([&] { return !controller.presentedViewController(); }, 5000);
    }

    // Takes `step` through the menu; returns how the attachment it adds is recognised ("" when
    // it adds none to the list).
    QString perform(WiredComposer &composer, Step step)
    {
        TULOAttachmentAlertController *menu = openMenu(composer);
        if (!menu)
            return QStringLiteral("no menu");
        const QList<TULOAlertAction *> actions = menu->actions();
        const auto trigger = [&](const QStringList &keys) {
            for (TULOAlertAction *action : actions)
                for (const QString &key : keys)
                    if (action->title() == TULOSettingsTestText(key))
                        return menu->triggerAction(action);
            return false;
        };
        switch (step) {
        case Shelf:
        case ShelfVideo: {
            // Row 1 is a photo, row 2 a video.
            const int row = step == Shelf ? 1 : 2;
            menu->photoPickerViewController()->setRowSelected(row, true);
            menu->triggerAction(actions.first());
            waitUntilNothingPresented(composer);
            return step == Shelf ? m_photoLibrary->assetURLForFilePath(m_photos.at(row)).toString() : QString();
        }
        case Library:
        case Camera: {
            if (step == Camera)
                trigger({QStringLiteral("TAKE_PHOTO_OR_VIDEO_BUTTON"), QStringLiteral("TAKE_PHOTO_BUTTON")});
            else
                menu->triggerAction(actions.first()); // nothing chosen on the shelf: the library
            if (!QTest::qWaitFor([&] { return composer.imagePickerController()
                                              && composer.presentedViewController() == composer.imagePickerController(); }, 5000))
                return QStringLiteral("no picker");
            TULOComposeImagePickerController *picker = composer.imagePickerController();
            if (step == Camera) {
                picker->performDefaultAction();
            } else {
                if (!QTest::qWaitFor([picker] { return picker->hasLoadedAssets(); }, 5000))
                    return QStringLiteral("the library never loaded");
                picker->setVisibleRowSelected(0, true);
                const QString url = picker->selectedAttachments().value(0) ? picker->selectedAttachments().first()->assetURL().toString()
                                                                           : QStringLiteral("nothing selected");
                picker->finish();
                waitUntilNothingPresented(composer);
                return url;
            }
            if (!QTest::qWaitFor([&] { return !composer.imagePickerController(); }, 5000))
                return QStringLiteral("the camera picker stayed");
            waitUntilNothingPresented(composer);
            return QStringLiteral("camera");
        }
        case Audio: {
            trigger({QStringLiteral("ATTACH_AUDIO_BUTTON")});
            if (!QTest::qWaitFor([&] { return composer.presentedViewController() == composer.audioPickerController()
                                              && composer.audioPickerController(); }, 5000))
                return QStringLiteral("no audio picker");
            composer.audioPickerController()->chooseItemAtRow(0);
            waitUntilNothingPresented(composer);
            if (!QTest::qWaitFor([&] { return !composer.audioPickerController(); }, 5000))
                return QStringLiteral("the audio picker stayed");
            return QString();
        }
        case Record:
            trigger({QStringLiteral("RECORD_AUDIO_BUTTON")});
            waitUntilNothingPresented(composer);
            return QString();
        }
        return QString();
    }

    static QString recognise(const TULOAttachmentPtr &attachment)
    {
        if (!attachment->assetURL().isEmpty())
            return attachment->assetURL().toString();
        return attachment->data().isEmpty() ? QStringLiteral("unknown") : QStringLiteral("camera");
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_fixture.start());
        QVERIFY(m_dir.isValid());
        m_lightPalette = QApplication::palette();
        const QString pictures = m_dir.filePath(QStringLiteral("Pictures"));
        m_photos = TULOTestWritePhotoLibrary(pictures);
        QVERIFY(!m_photos.isEmpty());
        // Drops recognise files of the user's photo library, which this folder is now.
        qputenv("QUILLON_PICTURES_DIR", QFile::encodeName(pictures));
        // A microphone for the recorder slot; the tests never record.
        TULOVoiceCapture::setCaptureSourceFile(QStringLiteral("/dev/null"));
        m_photoLibrary = std::make_unique<TULOPhotoLibrary>(pictures);
        m_thumbnails = std::make_unique<TULOThumbnailCache>(m_dir.filePath(QStringLiteral("thumbnails")));
        m_cameraImage = m_dir.filePath(QStringLiteral("camera.png"));
        QVERIFY(TULOTestWritePhoto(m_cameraImage, QSize(320, 240), 40, QDateTime::currentDateTime()));
        TULODeviceCapabilities::setSimulatedCameraImageFile(m_cameraImage);

        const QString music = m_dir.filePath(QStringLiteral("Music"));
        QVERIFY(QDir().mkpath(music));
        TULOTestTrack track;
        track.title = QStringLiteral("Night Drive");
        track.artist = QStringLiteral("The Band");
        QString failure;
        QVERIFY2(TULOTestWriteTrack(music + QStringLiteral("/night.flac"), track, &failure), qPrintable(failure));
        m_music = std::make_unique<TULOMediaLibrary>(music, m_dir.filePath(QStringLiteral("music.sqlite")));
        QVERIFY(m_music->reload());
        const QString noMusic = m_dir.filePath(QStringLiteral("NoMusic"));
        QVERIFY(QDir().mkpath(noMusic));
        m_emptyMusic = std::make_unique<TULOMediaLibrary>(noMusic, m_dir.filePath(QStringLiteral("nomusic.sqlite")));
        QVERIFY(m_emptyMusic->reload());
    }
    void cleanupTestCase()
    {
        TULODeviceCapabilities::setSimulatedCameraImageFile(QString());
        TULOVoiceCapture::setCaptureSourceFile(QString());
        m_fixture.stop();
    }
    void cleanup()
    {
        m_fixture.closeWindow();
        TULOPreferences::frameworkPreferences().removeObjectForKey(QString::fromLatin1(TULOPreferredAuthorIDKey));
    }

    void menuResultsReachTheListInOrder_data()
    {
        QTest::addColumn<QList<int>>("steps");
        QTest::addColumn<int>("slotCount");
        QTest::addColumn<int>("edited");
        QTest::newRow("shelf, library, camera") << QList<int>{Shelf, Library, Camera} << 0 << 0;
        QTest::newRow("camera before the shelf") << QList<int>{Camera, Shelf} << 0 << 0;
        QTest::newRow("recorder slot after a photo") << QList<int>{Library, Record} << 1 << 0;
        QTest::newRow("a song goes to the editor first") << QList<int>{Shelf, Audio} << 0 << 1;
        QTest::newRow("a video from the shelf goes to the editor") << QList<int>{ShelfVideo, Library} << 0 << 1;
    }
    void menuResultsReachTheListInOrder()
    {
        QFETCH(QList<int>, steps);
        QFETCH(int, slotCount);
        QFETCH(int, edited);
        TULOConfiguration configuration = TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}, 6);
        configuration.setAllowsCamera(true);
        WiredComposer *editor = showComposer(configuration);

        QStringList expected;
        for (const int step : steps) {
            const QString added = perform(*editor, Step(step));
            if (!added.isEmpty())
                expected << added;
        }
        QStringList actual;
        for (const TULOAttachmentPtr &attachment : editor->attachments())
            actual << recognise(attachment);
        QCOMPARE(actual, expected);
        QCOMPARE(editor->soundBiteViewControllers().size(), slotCount);
        QCOMPARE(editor->edited.size(), edited);
        if (edited)
            QCOMPARE(editor->edited.first()->attachmentType(),
                     steps.contains(Audio) ? TULOAttachmentTypeAudio : TULOAttachmentTypeVideo);
        // Previews in the same order, recorder slotCount after them.
        const QList<QWidget *> views = editor->composeView()->attachmentViews();
        QCOMPARE(views.size(), actual.size() + slotCount);
        for (int i = 0; i < actual.size(); ++i) {
            auto *preview = qobject_cast<TULOAttachmentPreviewView *>(views.at(i));
            QVERIFY(preview);
            QCOMPARE(preview->attachment(), editor->attachments().at(i));
        }
        if (slotCount)
            QCOMPARE(views.last(), editor->soundBiteViewControllers().first()->view());
    }

    void emptyMusicFolderShowsAnAlertInstead()
    {
        WiredComposer *editor =
            showComposer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}), true);
        TULOAttachmentAlertController *menu = openMenu(*editor);
        QVERIFY(menu);
        for (TULOAlertAction *action : menu->actions())
            if (action->title() == TULOSettingsTestText(QStringLiteral("ATTACH_AUDIO_BUTTON")))
                QVERIFY(menu->triggerAction(action));
        // Shown once the menu has gone.
        QTRY_VERIFY(editor->presentedViewController() && editor->presentedViewController() != menu);
        QVERIFY(!editor->audioPickerController());
        auto *alert = qobject_cast<TULOAlertController *>(editor->presentedViewController());
        QVERIFY(alert);
        QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("AUDIO_PICKER_EMPTY_TITLE")));
        QVERIFY(editor->attachments().isEmpty());
    }

    void authorMenuChoice_data()
    {
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("author");
        QTest::newRow("second author") << 1 << "a2";
        QTest::newRow("first author again") << 0 << "a1";
        QTest::newRow("cancel keeps the author") << 2 << "a1";
    }
    void authorMenuChoice()
    {
        QFETCH(int, action);
        QFETCH(QString, author);
        const QList<TULOPostAuthor> authors{TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann")),
                                            TULOTestAuthor(QStringLiteral("a2"), QStringLiteral("The Band"))};
        WiredComposer *editor = showComposer(TULOTestConfiguration(authors));
        QTest::mouseClick(editor->authorSelectionView()->authorNameButton(), Qt::LeftButton);
        auto *menu = qobject_cast<TULOAuthorSelectionAlertController *>(editor->presentedViewController());
        QVERIFY(menu);
        QCOMPARE(menu->title(), TULOSettingsTestText(QStringLiteral("AUTHOR_SELECTION_TITLE")));
        QCOMPARE(menu->actions().size(), 3);
        QCOMPARE(menu->actions().at(1)->title(), QStringLiteral("The Band"));
        QCOMPARE(menu->actions().last()->style(), TULOAlertActionStyleCancel);
        QVERIFY(menu->triggerAction(menu->actions().at(action)));
        QVERIFY(waitUntilNothingPresented(*editor));
        QCOMPARE(editor->selectedAuthor()->identifier(), author);
        QCOMPARE(editor->accountStore()->author().identifier(), author);
        QCOMPARE(editor->authorSelectionView()->authorName(), editor->selectedAuthor()->name());
        const QVariant stored =
            TULOPreferences::frameworkPreferences().objectForKey(QString::fromLatin1(TULOPreferredAuthorIDKey));
        QCOMPARE(stored, action == 2 ? QVariant() : QVariant(author));
    }

    void attributionListChoice_data()
    {
        QTest::addColumn<bool>("mayAttribute");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<int>("selectedRow");
        QTest::addColumn<int>("chosenRow");
        QTest::newRow("choose the band itself") << true << QStringList{"band", "ann"} << 1 << 0;
        QTest::newRow("choose the person") << true << QStringList{"band", "ann"} << 1 << 1;
        QTest::newRow("without permission only the band") << false << QStringList{"band"} << 0 << 0;
    }
    void attributionListChoice()
    {
        QFETCH(bool, mayAttribute);
        QFETCH(QStringList, rows);
        QFETCH(int, selectedRow);
        QFETCH(int, chosenRow);
        const TULOPostAuthor band = TULOTestAuthor(QStringLiteral("band"), QStringLiteral("The Band"), mayAttribute);
        TULOConfiguration configuration = TULOTestConfiguration({band});
        configuration.setAuthorForActiveAccount(TULOTestAuthor(QStringLiteral("ann"), QStringLiteral("Ann")));
        WiredComposer *editor = showComposer(configuration);
        QTest::mouseClick(editor->attributionButton(), Qt::LeftButton);
        auto *list = qobject_cast<TULOAttributionSelectionViewController *>(m_fixture.navigation->topViewController());
        QVERIFY(list);
        QStringList identifiers;
        for (const TULOPostAuthor &author : list->authors())
            identifiers << author.identifier();
        QCOMPARE(identifiers, rows);
        QCOMPARE(list->selectedAuthorIndex(), uint(selectedRow));
        QCOMPARE(list->title(), TULOSettingsTestText(QStringLiteral("ATTRIBUTION_POST_AS")));
        // The row stays highlighted while its list is shown.
        QVERIFY(editor->attributionButton()->isSelected());

        list->tableViewDidSelectRowAtIndexPath(list->tableView(), TULOIndexPath(0, chosenRow));
        QTRY_COMPARE(m_fixture.navigation->topViewController(), editor);
        QTRY_VERIFY(!editor->attributionButton()->isSelected());
        QCOMPARE(editor->attributionAuthor()->identifier(), rows.at(chosenRow));
        const QString value = chosenRow == 0
            ? QStringLiteral("The Band")
            : TULOStringWithFormat(TULOSettingsTestText(QStringLiteral("ATTRIBUTION_PERSON_%@_FROM_GROUP_%@")),
                                   {QStringLiteral("Ann"), QStringLiteral("The Band")});
        QCOMPARE(editor->attributionButton()->valueText(), value);
    }

    void tagCompletionTurnsTheTypedRangeIntoAToken_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QList<int>>("keys");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<bool>("knownAfterwards"); // two names differing in case name no one tag
        QTest::newRow("tab takes the first row") << "@kaito" << QList<int>{Qt::Key_Tab} << "Kaito Mori" << true;
        QTest::newRow("down twice and return take the second")
            << "@mira" << QList<int>{Qt::Key_Down, Qt::Key_Down, Qt::Key_Return} << "MIRA SOL" << false;
    }
    void tagCompletionTurnsTheTypedRangeIntoAToken()
    {
        QFETCH(QString, typed);
        QFETCH(QList<int>, keys);
        QFETCH(QString, tag);
        QFETCH(bool, knownAfterwards);
        TULOConfiguration configuration = TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))});
        QUrl lookup = m_fixture.sandbox.baseUrl();
        lookup.setPath(QStringLiteral("/search/tags"));
        lookup.setQuery(QStringLiteral("types=artist"));
        configuration.setTagLookupBaseURL(lookup);
        WiredComposer *editor = showComposer(configuration);
        TULOTokenTextView *text = editor->composeView()->textView();
        text->setFocus();
        QTest::keyClicks(text, QStringLiteral("Hi ") + typed);
        TULOTagListViewController *list = editor->tagCompletionViewController();
        QVERIFY(list);
        QCOMPARE(editor->composeView()->textCompletionViewController(), list);
        QCOMPARE(list->tagString(), typed.mid(1)); // without the delimiter
        QVERIFY(QTest::qWaitFor([list] { return !list->isLookingUp() && !list->activeTagSuggestions().isEmpty(); },
                                TULOStoreTestWait));
        for (const int key : keys)
            QTest::keyClick(text, Qt::Key(key));

        QVERIFY(!editor->composeView()->textCompletionViewController());
        QVERIFY(!list->view()->isVisible());
        QCOMPARE(text->tokenViews().size(), 1);
        // The token stands where the delimiter was typed.
        const auto token = std::dynamic_pointer_cast<TULOTagTokenTextAttachment>(text->tokenAttachmentAtIndex(3));
        QVERIFY(token);
        QCOMPARE(token->tag().name(), tag);
        // The typed range is gone; the token stands after the text before it.
        const QString posted = editor->composeView()->text();
        QVERIFY2(posted.startsWith(QStringLiteral("Hi ") + token->representedText()), qPrintable(posted));
        QVERIFY(!posted.contains(typed));
        // The view asks the list whether a name typed out is a known tag.
        const std::optional<TULOTag> known = editor->composePostViewTagForString(editor->composeView(), tag);
        QCOMPARE(known.has_value(), knownAfterwards);
        if (known)
            QCOMPARE(known->name(), tag);
    }

    // The editor works on a copy; Done hands it back, and the copy takes the original's place
    // (or joins the post, for an attachment the host handed in).
    void editorCopyReplacesTheAttachment_data()
    {
        QTest::addColumn<QString>("type");
        QTest::newRow("video") << "video/mp4";
        QTest::newRow("song") << "audio/flac";
    }
    void editorCopyReplacesTheAttachment()
    {
        QFETCH(QString, type);
        QString file;
        if (type.startsWith(QLatin1String("video"))) {
            file = m_dir.filePath(QStringLiteral("clip.mp4"));
            QString message;
            if (!QFileInfo::exists(file))
                QVERIFY2(TULOMakeTestVideo(file, 1.0, 12, QStringLiteral("160x120"), {QStringLiteral("-c:v"), QStringLiteral("libx264")}, &message),
                         qPrintable(message));
        } else {
            file = m_dir.filePath(QStringLiteral("Music/night.flac"));
        }
        const TULOAttachmentPtr photo = TULOTestImageAttachment();
        const auto original = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(file), type);
        original->setTitle(QStringLiteral("Draft"));
        original->setArtists({TULOPostArtist(QStringLiteral("7"), QStringLiteral("Ada"))}); // Done needs one
        WiredComposer *editor =
            showComposer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}), false, true);

        const auto done = [&](const QString &title) {
            auto *properties = qobject_cast<TULOAttachmentPropertiesViewController *>(m_fixture.navigation->topViewController());
            if (!properties)
                return false;
            for (TULOAttachmentPropertiesTableViewSection *section : properties->sections())
                if (section->titleField())
                    section->titleField()->setText(title);
            // Back on the editor once the pop has ended.
            return properties->doneButton()->trigger()
                && QTest::qWaitFor([&] { return m_fixture.navigation->topViewController() == editor
                                            && !editor->transitionCoordinator(); }, 5000);
        };

        // Handed in by the host: the editor opens first, the photo joins at once.
        editor->addAttachments({photo, original}, false);
        QCOMPARE(editor->attachments(), QList<TULOAttachmentPtr>{photo});
        QVERIFY(done(QStringLiteral("First")));
        QCOMPARE(editor->attachments().size(), 2);
        const TULOAttachmentPtr first = editor->attachments().at(1);
        QVERIFY(first != original);
        QCOMPARE(first->title(), QStringLiteral("First"));
        QCOMPARE(original->title(), QStringLiteral("Draft"));

        // Tapping its preview edits it again; the new copy stands in its place.
        QWidget *preview = editor->composeView()->attachmentViews().at(1);
        QTRY_VERIFY(preview->isVisible());
        QTest::mouseClick(preview, Qt::LeftButton, {}, preview->rect().center());
        QTRY_VERIFY(qobject_cast<TULOAttachmentPropertiesViewController *>(m_fixture.navigation->topViewController()));
        QVERIFY(done(QStringLiteral("Second")));
        QCOMPARE(editor->attachments().size(), 2);
        QCOMPARE(editor->attachments().at(0), photo);
        QVERIFY(editor->attachments().at(1) != first);
        QCOMPARE(editor->attachments().at(1)->title(), QStringLiteral("Second"));
        auto *shown = qobject_cast<TULOAttachmentPreviewView *>(editor->composeView()->attachmentViews().at(1));
        QVERIFY(shown);
        QCOMPARE(shown->attachment(), editor->attachments().at(1));
    }

    // Files dropped on the editor or its text, or pasted into the text, join the post up to the
    // limit; the rest is named in an alert, and the text stays as it was.
    void dropsAndPastesJoinThePost_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("dropped on the text") << "drop-text";
        QTest::newRow("dropped beside the text") << "drop-editor";
        QTest::newRow("pasted into the text") << "paste";
    }
    void dropsAndPastesJoinThePost()
    {
        QFETCH(QString, how);
        WiredComposer *editor =
            showComposer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}, 2));
        TULOTokenTextView *text = editor->composeView()->textView();
        text->setFocus();
        QTest::keyClicks(text, QStringLiteral("Keep me"));
        auto *files = new QMimeData;
        files->setUrls({QUrl::fromLocalFile(m_photos.at(0)), QUrl::fromLocalFile(m_photos.at(1)),
                        QUrl::fromLocalFile(m_photos.at(3))});
        if (how == QLatin1String("paste")) {
            QGuiApplication::clipboard()->setMimeData(files);
            QTest::keyClick(text, Qt::Key_V, Qt::ControlModifier);
        } else {
            QWidget *target = how == QLatin1String("drop-text") ? text->viewport() : editor->composeView()->viewport();
            const QPoint at = target->rect().center();
            QDragEnterEvent enter(at, Qt::CopyAction, files, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &enter);
            QVERIFY(enter.isAccepted());
            QDropEvent drop(QPointF(at), Qt::CopyAction, files, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &drop);
            QVERIFY(drop.isAccepted());
            delete files;
        }
        // Two fit; the third is over the limit and is named as not added.
        QCOMPARE(editor->attachments().size(), 2);
        QCOMPARE(editor->attachments().at(0)->assetURL(), m_photoLibrary->assetURLForFilePath(m_photos.at(0)));
        QCOMPARE(editor->attachments().at(1)->assetURL(), m_photoLibrary->assetURLForFilePath(m_photos.at(1)));
        QCOMPARE(editor->composeView()->text(), QStringLiteral("Keep me"));
        QVERIFY(!editor->composeView()->showsAttachmentButton());
        auto *alert = qobject_cast<TULOAlertController *>(editor->presentedViewController());
        QVERIFY(alert);
        QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("ATTACHMENT_NOT_ADDED_TITLE")));
        QVERIFY(!alert->message().isEmpty());
        alert->dismissViewController(false);
        QGuiApplication::clipboard()->clear();
    }

    void contentItemRowWithArtwork()
    {
        TULOConfiguration configuration = TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))});
        configuration.setItem(songWithArtwork(m_fixture.sandbox));
        WiredComposer *editor = showComposer(configuration);
        QCOMPARE(editor->composeView()->scrollableHeaderViews().size(), 1);
        auto *lockup = qobject_cast<TULOLockupView *>(editor->composeView()->scrollableHeaderViews().first());
        QVERIFY(lockup);
        QCOMPARE(lockup->title(), QStringLiteral("Night Drive"));
        QCOMPARE(lockup->subtitle(),
                 TULOStringWithFormat(TULOSettingsTestText(QStringLiteral("CONTENT_ITEM_SUBTITLE_%@_%@")),
                                      {QStringLiteral("The Band"), QStringLiteral("Late Hours")}));
        QVERIFY(lockup->testAttribute(Qt::WA_TransparentForMouseEvents));
        QVERIFY(lockup->artworkRequest());
        QTRY_VERIFY_WITH_TIMEOUT(!lockup->image().isNull(), TULOStoreTestWait);
        // No drops either: the post is about the item.
        QVERIFY(!editor->dropHandler());
    }
};

QTEST_MAIN(TestComposeWiring)
#include "tst_composewiring.moc"
