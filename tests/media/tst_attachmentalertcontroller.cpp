#include "photofixtures.h"
#include "support/screenshotsupport.h"

#include <Quillon/media/attachmentalertcontroller.h>
#include <Quillon/media/photoassetmodel_p.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/window.h>

#include <QApplication>
#include <QItemSelectionModel>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

namespace {

class ResultRecorder : public TULOAttachmentAlertDelegate
{
public:
    QList<qint64> results;
    QList<TULOAttachmentPtr> attachmentsAtFinish;
    void attachmentAlertControllerDidFinishWithResult(TULOAttachmentAlertController *controller, qint64 result) override
    {
        results << result;
        attachmentsAtFinish = controller->selectedAttachments();
    }
};

// The texts by key, so that the checks hold in any locale.
QString text(const char *key, const QString &argument = QString())
{
    const QString format = TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext());
    return argument.isNull() ? format : TULOStringWithFormat(format, {argument});
}

QStringList titles(TULOAlertController *controller)
{
    QStringList list;
    for (TULOAlertAction *action : controller->actions())
        list << action->title();
    return list;
}

// The devices the menu asks about, as a test sets them up; cleared again on leaving.
struct SimulatedDevices {
    SimulatedDevices(bool camera, bool microphone, const QString &cameraImage)
    {
        TULODeviceCapabilities::setSimulatedCameraImageFile(camera ? cameraImage : QString());
        TULOVoiceCapture::setCaptureSourceFile(microphone ? QStringLiteral("/dev/null") : QString());
    }
    ~SimulatedDevices()
    {
        TULODeviceCapabilities::setSimulatedCameraImageFile(QString());
        TULOVoiceCapture::setCaptureSourceFile(QString());
    }
};

TULOPhotoPickerViewController *const noShelf = nullptr;

TULOConfiguration configuration(bool camera, bool microphone)
{
    TULOConfiguration configuration;
    configuration.setAllowsCamera(camera);
    configuration.setAllowsMicrophone(microphone);
    return configuration;
}

} // namespace

class TestAttachmentAlertController : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_libraryPath;
    QStringList m_photos; // newest first
    QString m_cameraImage;
    std::unique_ptr<TULOPhotoLibrary> m_library;
    std::unique_ptr<TULOThumbnailCache> m_cache;

    // A menu with a shelf over the test library, its assets loaded.
    TULOAttachmentAlertController *menuWithShelf(const TULOConfiguration &configuration)
    {
        auto *shelf = new TULOPhotoPickerViewController(m_library.get(), *m_cache);
        QSignalSpy loaded(shelf, &TULOPhotoPickerViewController::assetsDidLoad);
        auto *menu = new TULOAttachmentAlertController(configuration, TULOClientContext(), shelf);
        if (!loaded.wait(5000))
            qWarning("the shelf did not load");
        return menu;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_libraryPath = m_dir.filePath(QStringLiteral("Pictures"));
        m_photos = TULOTestWritePhotoLibrary(m_libraryPath);
        QVERIFY(!m_photos.isEmpty());
        m_cameraImage = m_dir.filePath(QStringLiteral("camera.png"));
        QVERIFY(TULOTestWritePhoto(m_cameraImage, QSize(64, 48), 200, QDateTime::currentDateTime()));
        m_library = std::make_unique<TULOPhotoLibrary>(m_libraryPath);
        m_cache = std::make_unique<TULOThumbnailCache>(m_dir.filePath(QStringLiteral("thumbnails")));
    }

    void actionsFollowPermissionsAndDevices_data()
    {
        QTest::addColumn<bool>("allowsCamera");
        QTest::addColumn<bool>("allowsMicrophone");
        QTest::addColumn<bool>("camera");
        QTest::addColumn<bool>("microphone");
        QTest::addColumn<QStringList>("expectedTitles");
        QTest::addColumn<QList<qint64>>("expectedResults");
        const QString photos = text("UPLOAD_PHOTO_OR_VIDEO_BUTTON"), audio = text("ATTACH_AUDIO_BUTTON"),
                      record = text("RECORD_AUDIO_BUTTON"), cancel = text("ATTACHMENT_CANCEL_BUTTON"),
                      photoOrVideo = text("TAKE_PHOTO_OR_VIDEO_BUTTON"), photo = text("TAKE_PHOTO_BUTTON");
        QTest::addRow("everything")
            << true << true << true << true << QStringList{photos, photoOrVideo, audio, record, cancel}
            << QList<qint64>{4, 3, 2, 5, 0};
        QTest::addRow("camera-without-microphone-takes-photos")
            << true << true << true << false << QStringList{photos, photo, audio, cancel}
            << QList<qint64>{4, 3, 2, 0};
        QTest::addRow("camera-not-allowed")
            << false << true << true << true << QStringList{photos, audio, record, cancel} << QList<qint64>{4, 2, 5, 0};
        QTest::addRow("no-camera-on-this-machine")
            << true << true << false << true << QStringList{photos, audio, record, cancel} << QList<qint64>{4, 2, 5, 0};
        QTest::addRow("microphone-not-allowed")
            << true << false << true << true << QStringList{photos, photoOrVideo, audio, cancel}
            << QList<qint64>{4, 3, 2, 0};
        QTest::addRow("nothing-allowed") << false << false << false << false << QStringList{photos, audio, cancel}
                                         << QList<qint64>{4, 2, 0};
    }
    void actionsFollowPermissionsAndDevices()
    {
        QFETCH(bool, allowsCamera);
        QFETCH(bool, allowsMicrophone);
        QFETCH(bool, camera);
        QFETCH(bool, microphone);
        QFETCH(QStringList, expectedTitles);
        QFETCH(QList<qint64>, expectedResults);
        const SimulatedDevices devices(camera, microphone, m_cameraImage);
        for (int index = 0; index < expectedResults.size(); ++index) {
            ResultRecorder recorder;
            TULOAttachmentAlertController menu(configuration(allowsCamera, allowsMicrophone), TULOClientContext(), noShelf);
            menu.setTULODelegate(&recorder);
            QCOMPARE(titles(&menu), expectedTitles);
            QCOMPARE(menu.actions().last()->style(), TULOAlertActionStyleCancel);
            QVERIFY(menu.triggerAction(menu.actions().at(index)));
            QCOMPARE(recorder.results, QList<qint64>{expectedResults.at(index)});
        }
    }

    void noDelegateAndGoneControllerAreHarmless()
    {
        auto *menu = new TULOAttachmentAlertController(configuration(true, true), TULOClientContext(), noShelf);
        TULOAlertAction::Handler handler = menu->actions().first()->handler();
        QVERIFY(menu->triggerAction(menu->actions().first())); // no delegate: nothing happens
        delete menu;
        handler(nullptr); // the handler holds the menu weakly
    }

    void shelfSelectionRetitlesTheFirstAction_data()
    {
        QTest::addColumn<QList<int>>("rows");
        QTest::addColumn<QString>("title");
        QTest::addColumn<qint64>("result");
        QTest::addRow("none") << QList<int>{} << text("UPLOAD_PHOTO_OR_VIDEO_BUTTON") << qint64(4);
        QTest::addRow("one") << QList<int>{2} << text("ATTACH_PHOTO_BUTTON") << qint64(1);
        QTest::addRow("three") << QList<int>{3, 0, 1} << text("ATTACH_PHOTOS_BUTTON_%@", QStringLiteral("3")) << qint64(1);
    }
    void shelfSelectionRetitlesTheFirstAction()
    {
        QFETCH(QList<int>, rows);
        QFETCH(QString, title);
        QFETCH(qint64, result);
        std::unique_ptr<TULOAttachmentAlertController> menu(menuWithShelf(configuration(false, false)));
        TULOPhotoPickerViewController *shelf = menu->photoPickerViewController();
        QVERIFY(shelf);
        QCOMPARE(shelf->assetCount(), m_photos.size());
        ResultRecorder recorder;
        menu->setTULODelegate(&recorder);
        for (const int row : rows)
            shelf->setRowSelected(row, true);
        QCOMPARE(menu->actions().first()->title(), title);

        // Attachments come in the order they were checked, as library asset URLs.
        const QList<TULOAttachmentPtr> attachments = menu->selectedAttachments();
        QCOMPARE(attachments.size(), rows.size());
        for (int i = 0; i < rows.size(); ++i) {
            QCOMPARE(attachments.at(i)->assetURL(), m_library->assetURLForFilePath(m_photos.at(rows.at(i))));
            QVERIFY(attachments.at(i)->attachmentType() == TULOAttachmentTypeImage
                || attachments.at(i)->attachmentType() == TULOAttachmentTypeVideo);
        }

        // Clearing the selection brings the library title back.
        shelf->clearSelection();
        QCOMPARE(menu->actions().first()->title(), text("UPLOAD_PHOTO_OR_VIDEO_BUTTON"));
        for (const int row : rows)
            shelf->setRowSelected(row, true);
        QVERIFY(menu->triggerAction(menu->actions().first()));
        QCOMPARE(recorder.results, QList<qint64>{result});
        QCOMPARE(recorder.attachmentsAtFinish.size(), rows.size());
    }

    void shelfShowsNewestFirstWithinItsLimit()
    {
        auto *shelf = new TULOPhotoPickerViewController(m_library.get(), *m_cache);
        std::unique_ptr<TULOPhotoPickerViewController> owner(shelf);
        shelf->setMaximumAssetCount(3);
        QSignalSpy loaded(shelf, &TULOPhotoPickerViewController::assetsDidLoad);
        shelf->reloadAssets();
        QVERIFY(loaded.wait(5000));
        QCOMPARE(shelf->assetCount(), 3);
        for (int row = 0; row < 3; ++row)
            QCOMPARE(shelf->model()->assetAt(row).filePath(), QFileInfo(m_photos.at(row)).absoluteFilePath());
    }

    // The corrupt photo gets a placeholder; every other photo still gets its thumbnail.
    void brokenPhotoIsAPlaceholderCell()
    {
        std::unique_ptr<TULOAttachmentAlertController> menu(menuWithShelf(configuration(false, false)));
        TULOPhotoAssetModel *model = menu->photoPickerViewController()->model();
        for (int row = 0; row < model->rowCount(); ++row)
            model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole); // as a painted cell asks
        QTRY_COMPARE(model->thumbnailCount(), model->rowCount());
        for (int row = 0; row < model->rowCount(); ++row) {
            const QString name = QFileInfo(model->assetAt(row).filePath()).fileName();
            const bool broken = name == QLatin1String("broken.jpg") || name == QLatin1String("clip.mp4");
            QCOMPARE(model->data(model->index(row), TULOPhotoAssetModel::FailedRole).toBool(), broken);
            QCOMPARE(model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole).value<QImage>().isNull(), broken);
        }
    }

    void missingLibraryFolderLeavesAnEmptyShelf()
    {
        TULOPhotoLibrary missing(m_dir.filePath(QStringLiteral("no-such-folder")));
        auto *shelf = new TULOPhotoPickerViewController(&missing, *m_cache);
        QSignalSpy loaded(shelf, &TULOPhotoPickerViewController::assetsDidLoad);
        TULOAttachmentAlertController menu(configuration(false, false), TULOClientContext(), shelf);
        QVERIFY(loaded.wait(5000));
        QCOMPARE(shelf->assetCount(), 0);
        QCOMPARE(shelf->libraryError().code(), qint64(TULOPhotoLibraryErrorUnavailable));
        QVERIFY(menu.selectedAttachments().isEmpty());
        ResultRecorder recorder;
        menu.setTULODelegate(&recorder);
        QVERIFY(menu.triggerAction(menu.actions().first()));
        QCOMPARE(recorder.results, QList<qint64>{4});
    }

    void keyboardTogglesShelfSelection()
    {
        TULOWindow window;
        auto *root = new TULOViewController(&window);
        window.setRootViewController(root);
        window.resize(420, 600);
        window.show();
        auto *menu = menuWithShelf(configuration(false, false));
        root->presentViewController(menu, false);
        QListView *list = menu->photoPickerViewController()->collectionView();
        list->setFocus();
        list->selectionModel()->setCurrentIndex(list->model()->index(0, 0), QItemSelectionModel::NoUpdate);
        QTest::keyClick(list, Qt::Key_Right);
        QTest::keyClick(list, Qt::Key_Space);
        QTest::keyClick(list, Qt::Key_Right);
        QTest::keyClick(list, Qt::Key_Space);
        QCOMPARE(menu->actions().first()->title(), text("ATTACH_PHOTOS_BUTTON_%@", QStringLiteral("2")));
        QTest::keyClick(list, Qt::Key_Space);
        QCOMPARE(menu->actions().first()->title(), text("ATTACH_PHOTO_BUTTON"));
        QCOMPARE(menu->selectedAttachments().first()->assetURL(), m_library->assetURLForFilePath(m_photos.at(1)));
        root->dismissViewController(false);
    }

    void screenshots_data()
    {
        TULOAddAppearanceRows("");
    }
    void screenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        const QPalette light = QApplication::palette();
        if (dark)
            QApplication::setPalette(TULOTestDarkPalette());
        const SimulatedDevices devices(true, true, m_cameraImage);
        std::unique_ptr<TULOAttachmentAlertController> menu(menuWithShelf(configuration(true, true)));
        TULOPhotoAssetModel *model = menu->photoPickerViewController()->model();
        for (int row = 0; row < model->rowCount(); ++row)
            model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole);
        QTRY_COMPARE(model->thumbnailCount(), model->rowCount());
        menu->photoPickerViewController()->setRowSelected(0, true);
        menu->photoPickerViewController()->setRowSelected(2, true);
        // The sheet on its own, as its popup shows it.
        const QSize size(menu->view()->sizeHint().expandedTo(QSize(320, 200)));
        const QImage image = TULOSaveScreenshot(menu.get(), size, QStringLiteral("attachmentmenu"),
            QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), size * scale);
    }
};

QTEST_MAIN(TestAttachmentAlertController)
#include "tst_attachmentalertcontroller.moc"
