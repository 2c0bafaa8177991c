#include "../library/mediafixtures.h"
#include "support/screenshotsupport.h"

#include <Quillon/media/audiopickercontroller.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/alertcontroller.h>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QListView>
#include <QLabel>
#include <QPainter>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

class PickerRecorder : public TULOAudioPickerDelegate
{
public:
    QList<TULOAttachmentPtr> attachments;
    int cancels = 0;
    void audioPickerDidFinishWithAttachment(TULOAudioPickerController *, const TULOAttachmentPtr &attachment) override
    {
        attachments << attachment;
    }
    void audioPickerDidCancel(TULOAudioPickerController *) override { ++cancels; }
};

QStringList titles(const QList<TULOMediaLibraryItemPtr> &items)
{
    QStringList list;
    for (const TULOMediaLibraryItemPtr &item : items)
        list << item->title();
    return list;
}

QImage cover(int hue)
{
    QImage image(120, 120, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(hue, 140, 200));
    QPainter painter(&image);
    painter.setBrush(QColor::fromHsv((hue + 160) % 360, 200, 120));
    painter.drawEllipse(QRect(30, 30, 60, 60));
    return image;
}

} // namespace

class TestAudioPickerController : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<TULOMediaLibrary> m_library;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString music = m_dir.filePath(QStringLiteral("Music"));
        struct Song {
            const char *file, *title, *artist, *album;
            int hue;
        };
        const Song songs[] = {
            {"a/halo.flac", "Halo", "Beyoncé", "I Am... Sasha Fierce", 20},
            {"a/drive.flac", "Night Drive", "The Lamps", "Streets", 200},
            {"b/morning.ogg", "Morning Light", "Ana Lua", "Harbour Nights", 90},
            {"b/harbour.wav", "Harbour", "Kites", "Blue Hour", -1},
            {"Voice Memos/idea.wav", "Chorus idea", "", "", -1},
            {"Voice Memos/bridge.wav", "Bridge hum", "", "", -1},
        };
        QString failure;
        for (const Song &song : songs) {
            TULOTestTrack track;
            track.title = QString::fromUtf8(song.title);
            track.artist = QString::fromUtf8(song.artist);
            track.album = QString::fromUtf8(song.album);
            if (song.hue >= 0)
                track.artwork = cover(song.hue);
            QVERIFY(QDir().mkpath(QFileInfo(music + QLatin1Char('/') + QLatin1String(song.file)).absolutePath()));
            QVERIFY2(TULOTestWriteTrack(music + QLatin1Char('/') + QLatin1String(song.file), track, &failure), qPrintable(failure));
        }
        m_library = std::make_unique<TULOMediaLibrary>(music, m_dir.filePath(QStringLiteral("index.sqlite")));
        QVERIFY(m_library->reload());
    }

    void songsAndMemosAreApart()
    {
        TULOAudioPickerController picker(TULOClientContext(), m_library.get());
        QVERIFY(picker.hasSourceItems());
        QCOMPARE(titles(picker.songs()), (QStringList{"Halo", "Harbour", "Morning Light", "Night Drive"}));
        QCOMPARE(picker.voiceMemos().size(), 2);
        picker.setSource(TULOAudioPickerController::VoiceMemos);
        QCOMPARE(picker.visibleItems().size(), 2);
    }

    void searchAsYouType_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("expected");
        QTest::addRow("empty-shows-all") << "" << QStringList{"Halo", "Harbour", "Morning Light", "Night Drive"};
        QTest::addRow("title-word") << "morning" << QStringList{"Morning Light"};
        QTest::addRow("part-of-a-word") << "ni" << QStringList{"Morning Light", "Night Drive"};
        QTest::addRow("artist-any-case") << "LAMPS" << QStringList{"Night Drive"};
        QTest::addRow("artist-without-accent") << "beyonce" << QStringList{"Halo"};
        QTest::addRow("album") << "fierce" << QStringList{"Halo"};
        QTest::addRow("title-or-album") << "harbour" << QStringList{"Harbour", "Morning Light"};
        QTest::addRow("every-word-must-match") << "harbour blue" << QStringList{"Harbour"};
        QTest::addRow("surrounding-spaces") << "  drive " << QStringList{"Night Drive"};
        QTest::addRow("no-match") << "zzz" << QStringList{};
    }
    void searchAsYouType()
    {
        QFETCH(QString, search);
        QFETCH(QStringList, expected);
        TULOAudioPickerController picker(TULOClientContext(), m_library.get());
        // Typed into the field, one key at a time.
        QTest::keyClicks(picker.searchField(), search);
        QCOMPARE(picker.searchText(), search);
        QCOMPARE(titles(picker.visibleItems()), expected);
        QCOMPARE(picker.listView()->model()->rowCount(), expected.size());
    }

    void choosingReportsAnAudioAttachment_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addRow("return-key") << "return";
        QTest::addRow("default-action") << "default";
        QTest::addRow("activated-row") << "row";
    }
    void choosingReportsAnAudioAttachment()
    {
        QFETCH(QString, how);
        TULOAudioPickerController picker(TULOClientContext(), m_library.get());
        PickerRecorder recorder;
        picker.setAudioPickerDelegate(&recorder);
        picker.setSearchText(QStringLiteral("lamps"));
        if (how == QLatin1String("return")) {
            QTest::keyClick(picker.listView(), Qt::Key_Return);
        } else if (how == QLatin1String("default")) {
            QVERIFY(picker.performDefaultAction());
        } else {
            QVERIFY(picker.chooseItemAtRow(0));
            QVERIFY(!picker.chooseItemAtRow(1));
        }
        QCOMPARE(recorder.attachments.size(), 1);
        const TULOAttachmentPtr attachment = recorder.attachments.first();
        QCOMPARE(attachment->attachmentType(), TULOAttachmentTypeAudio);
        QCOMPARE(attachment->title(), QStringLiteral("Night Drive"));
        QVERIFY(attachment->mediaItem());
        QVERIFY(attachment->assetURL().isLocalFile());
        QCOMPARE(recorder.cancels, 0);
    }

    void escapeCancels()
    {
        TULOAudioPickerController picker(TULOClientContext(), m_library.get());
        PickerRecorder recorder;
        picker.setAudioPickerDelegate(&recorder);
        QVERIFY(picker.performCancelAction());
        QCOMPARE(recorder.cancels, 1);
        QVERIFY(recorder.attachments.isEmpty());
    }

    void emptyLibraryHasNoSourceItems_data()
    {
        QTest::addColumn<bool>("folderExists");
        QTest::addRow("empty-folder") << true;
        QTest::addRow("missing-folder") << false;
    }
    void emptyLibraryHasNoSourceItems()
    {
        QFETCH(bool, folderExists);
        const QString folder = m_dir.filePath(QStringLiteral("empty-%1").arg(QString::fromLatin1(QTest::currentDataTag())));
        if (folderExists)
            QVERIFY(QDir().mkpath(folder));
        TULOMediaLibrary library(folder, folder + QStringLiteral(".sqlite"));
        QCOMPARE(library.reload(), folderExists);
        TULOAudioPickerController picker(TULOClientContext(), &library);
        QVERIFY(!picker.hasSourceItems());
        std::unique_ptr<TULOAlertController> alert(
            TULOAudioPickerController::emptyAudioPickerAlertControllerWithClientContext(TULOClientContext()));
        QCOMPARE(alert->title(), TULOLocalization::defaultLocalization()->localizedStringForKey(
            QStringLiteral("AUDIO_PICKER_EMPTY_TITLE"), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext()));
        QCOMPARE(alert->actions().size(), 1);
    }

    // The first read of the music folder runs off the GUI thread: an event posted while the
    // library is still being read is handled before the read ends, with the picker showing that
    // it loads, and the list fills folder by folder.
    void firstReadDoesNotBlockTheGuiThread()
    {
        TULOMediaLibrary library(m_library->musicFolder(), m_dir.filePath(QStringLiteral("first-read.sqlite")));
        TULOAudioPickerController *picker = nullptr;
        const QString loadingText = TULOLocalization::defaultLocalization()->localizedStringForKey(
            QStringLiteral("AUDIO_PICKER_LOADING"), QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext());
        const auto showsLoading = [&picker, &loadingText] {
            for (const QLabel *label : picker->view()->findChildren<QLabel *>()) {
                if (label->isVisibleTo(picker->view()) && label->text() == loadingText)
                    return true;
            }
            return false;
        };
        QSemaphore handled;
        bool handledDuringRead = false, loadingWhenHandled = false, labelWhenHandled = false;
        // Runs on the reading thread once the folder has been read, before the picker hears of it.
        connect(&library, &TULOMediaLibrary::libraryDidChange, &library, [&] {
            QMetaObject::invokeMethod(qApp, [&] {
                loadingWhenHandled = !picker->hasLoadedItems();
                labelWhenHandled = showsLoading();
                handled.release();
            }, Qt::QueuedConnection);
            // A GUI thread busy reading could not handle it; the wait only bounds the failure.
            handledDuringRead = handled.tryAcquire(1, 30000);
        }, Qt::DirectConnection);

        TULOAudioPickerController created(TULOClientContext(), &library);
        picker = &created;
        QVERIFY(!picker->hasLoadedItems());
        QList<int> fills;
        connect(picker->listView()->model(), &QAbstractItemModel::modelReset, this,
            [&] { fills << picker->listView()->model()->rowCount(); });
        QSignalSpy loaded(picker, &TULOAudioPickerController::itemsDidLoad);
        QVERIFY(loaded.wait(30000));
        QVERIFY(handledDuringRead);
        QVERIFY(loadingWhenHandled);
        QVERIFY(labelWhenHandled);
        QVERIFY(!showsLoading());
        QCOMPARE(loaded.size(), 1);
        QCOMPARE(titles(picker->songs()), (QStringList{"Halo", "Harbour", "Morning Light", "Night Drive"}));
        QCOMPARE(picker->voiceMemos().size(), 2);
        // The songs' two folders arrive one after the other.
        QVERIFY2(fills.size() >= 2 && fills.first() < 4 && fills.last() == 4,
            qPrintable(QStringLiteral("fills: %1").arg(QVariant::fromValue(fills).toStringList().join(QLatin1Char(',')))));
        // A library that has been read is shown at once.
        TULOAudioPickerController second(TULOClientContext(), &library);
        QVERIFY(second.hasLoadedItems());
        QCOMPARE(second.songs().size(), 4);
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
        TULOAudioPickerController picker(TULOClientContext(), m_library.get());
        picker.view();
        // Artwork arrives from the artwork threads.
        for (int row = 0; row < picker.listView()->model()->rowCount(); ++row)
            picker.listView()->model()->index(row, 0).data(Qt::UserRole + 3);
        QTRY_VERIFY(!picker.listView()->model()->index(0, 0).data(Qt::UserRole + 3).value<QImage>().isNull());
        const QImage image = TULOSaveScreenshot(&picker, picker.preferredContentSize(), QStringLiteral("audiopicker"),
            QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
    }
};

QTEST_MAIN(TestAudioPickerController)
#include "tst_audiopickercontroller.moc"
