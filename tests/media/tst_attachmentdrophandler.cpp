#include "../library/mediafixtures.h"
#include "photofixtures.h"

#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/library/photolibrary.h>

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

class TestAttachmentDropHandler : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<TULOPhotoLibrary> m_photoLibrary;
    std::unique_ptr<TULOMediaLibrary> m_mediaLibrary;
    QHash<QString, QString> m_files; // by role

    QString path(const QString &role) const { return m_files.value(role, m_dir.filePath(role)); }

    std::unique_ptr<TULOAttachmentDropHandler> handler(qint64 maximum, qint64 existing)
    {
        auto drop = std::make_unique<TULOAttachmentDropHandler>(maximum);
        drop->setPhotoLibrary(m_photoLibrary.get());
        drop->setMediaLibrary(m_mediaLibrary.get());
        drop->setAttachmentCountProvider([existing] { return existing; });
        return drop;
    }

    static QMimeData *filesData(const QStringList &paths)
    {
        auto *data = new QMimeData;
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls << QUrl::fromLocalFile(path);
        data->setUrls(urls);
        return data;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString pictures = m_dir.filePath(QStringLiteral("Pictures"));
        const QStringList library = TULOTestWritePhotoLibrary(pictures);
        QVERIFY(!library.isEmpty());
        m_files.insert(QStringLiteral("library-photo"), library.last());
        m_files.insert(QStringLiteral("library-video"), library.at(2));
        m_photoLibrary = std::make_unique<TULOPhotoLibrary>(pictures);

        const QString outside = m_dir.filePath(QStringLiteral("Desktop/screenshot.png"));
        QVERIFY(TULOTestWritePhoto(outside, QSize(120, 80), 10, QDateTime::currentDateTime()));
        m_files.insert(QStringLiteral("outside-photo"), outside);
        // A PNG named like a text file is still a photo; a text file named .jpg is not.
        const QString disguised = m_dir.filePath(QStringLiteral("Desktop/notes.png"));
        QVERIFY(TULOTestWritePhoto(disguised, QSize(20, 20), 90, QDateTime::currentDateTime()));
        QVERIFY(QFile::rename(disguised, m_dir.filePath(QStringLiteral("Desktop/notes.txt"))));
        QFile text(m_dir.filePath(QStringLiteral("Desktop/fake.jpg")));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("this is not a photo") > 0);
        text.close();
        m_files.insert(QStringLiteral("fake-jpeg"), text.fileName());
        QFile pdf(m_dir.filePath(QStringLiteral("Desktop/letter.pdf")));
        QVERIFY(pdf.open(QIODevice::WriteOnly) && pdf.write("%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj\n<<>>\nendobj\n") > 0);
        pdf.close();
        m_files.insert(QStringLiteral("pdf"), pdf.fileName());

        const QString music = m_dir.filePath(QStringLiteral("Music"));
        QVERIFY(QDir().mkpath(music));
        QString failure;
        TULOTestTrack track;
        track.title = QStringLiteral("Night Drive");
        track.artist = QStringLiteral("The Lamps");
        track.album = QStringLiteral("Streets");
        QVERIFY2(TULOTestWriteTrack(music + QStringLiteral("/night.flac"), track, &failure), qPrintable(failure));
        m_files.insert(QStringLiteral("library-song"), music + QStringLiteral("/night.flac"));
        m_mediaLibrary = std::make_unique<TULOMediaLibrary>(music, m_dir.filePath(QStringLiteral("index.sqlite")));
        QVERIFY(m_mediaLibrary->reload());
        track.title = QStringLiteral("Loose Take");
        QVERIFY(TULOTestWriteTrack(m_dir.filePath(QStringLiteral("Desktop/take.wav")), track, &failure));
        m_files.insert(QStringLiteral("outside-song"), m_dir.filePath(QStringLiteral("Desktop/take.wav")));
    }

    void filesBecomeAttachmentsOfTheirKind_data()
    {
        QTest::addColumn<QString>("role");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("scheme"); // of the asset URL; "" when the bytes travel
        QTest::addColumn<bool>("mediaItem");
        QTest::addRow("library-photo") << "library-photo" << int(TULOAttachmentTypeImage) << "assets-library" << false;
        QTest::addRow("library-video") << "library-video" << int(TULOAttachmentTypeVideo) << "assets-library" << false;
        QTest::addRow("photo-from-elsewhere") << "outside-photo" << int(TULOAttachmentTypeImage) << "" << false;
        QTest::addRow("png-named-txt") << "Desktop/notes.txt" << int(TULOAttachmentTypeImage) << "" << false;
        QTest::addRow("library-song") << "library-song" << int(TULOAttachmentTypeAudio) << "file" << true;
        QTest::addRow("song-from-elsewhere") << "outside-song" << int(TULOAttachmentTypeAudio) << "file" << false;
    }
    void filesBecomeAttachmentsOfTheirKind()
    {
        QFETCH(QString, role);
        QFETCH(int, type);
        QFETCH(QString, scheme);
        QFETCH(bool, mediaItem);
        const std::unique_ptr<QMimeData> data(filesData({path(role)}));
        const auto result = handler(10, 0)->attachmentsFromMimeData(data.get());
        QVERIFY2(result.messages.isEmpty(), qPrintable(result.messages.join(QLatin1Char('\n'))));
        QCOMPARE(result.attachments.size(), 1);
        const TULOAttachmentPtr attachment = result.attachments.first();
        QCOMPARE(int(attachment->attachmentType()), type);
        QCOMPARE(attachment->assetURL().scheme(), scheme);
        if (scheme.isEmpty())
            QVERIFY(QImage::fromData(attachment->data()).size().isValid());
        QCOMPARE(bool(attachment->mediaItem()), mediaItem);
        if (mediaItem)
            QCOMPARE(attachment->title(), QStringLiteral("Night Drive"));
    }

    void badFilesAreNamedAndTheRestArrive_data()
    {
        QTest::addColumn<QStringList>("roles");
        QTest::addColumn<qint64>("maximum");
        QTest::addColumn<qint64>("existing");
        QTest::addColumn<int>("accepted");
        QTest::addColumn<QStringList>("messageParts");
        QTest::addRow("text-named-jpg") << QStringList{"fake-jpeg", "outside-photo"} << qint64(10) << qint64(0) << 1
                                        << QStringList{"fake.jpg"};
        QTest::addRow("pdf") << QStringList{"pdf"} << qint64(10) << qint64(0) << 0 << QStringList{"letter.pdf"};
        QTest::addRow("missing-file") << QStringList{"gone.png", "library-photo"} << qint64(10) << qint64(0) << 1
                                      << QStringList{"gone.png"};
        QTest::addRow("over-the-limit") << QStringList{"library-photo", "outside-photo", "library-song", "library-video"}
                                        << qint64(4) << qint64(2) << 2 << QStringList{"4", "2"};
        QTest::addRow("already-full") << QStringList{"library-photo"} << qint64(3) << qint64(3) << 0 << QStringList{"3", "1"};
        QTest::addRow("no-limit") << QStringList{"library-photo", "outside-photo", "library-video"} << qint64(0) << qint64(9)
                                  << 3 << QStringList{};
    }
    void badFilesAreNamedAndTheRestArrive()
    {
        QFETCH(QStringList, roles);
        QFETCH(qint64, maximum);
        QFETCH(qint64, existing);
        QFETCH(int, accepted);
        QFETCH(QStringList, messageParts);
        QStringList paths;
        for (const QString &role : roles)
            paths << path(role);
        const std::unique_ptr<QMimeData> data(filesData(paths));
        const auto result = handler(maximum, existing)->attachmentsFromMimeData(data.get());
        QCOMPARE(result.attachments.size(), accepted);
        // The first ones, in the order dropped.
        if (accepted > 0 && roles.first() == QLatin1String("library-photo"))
            QCOMPARE(result.attachments.first()->assetURL(), m_photoLibrary->assetURLForFilePath(path(roles.first())));
        QCOMPARE(result.messages.isEmpty(), messageParts.isEmpty());
        const QString messages = result.messages.join(QLatin1Char('\n'));
        for (const QString &part : messageParts)
            QVERIFY2(messages.contains(part), qPrintable(messages));
    }

    void pastedImageAndPlainText()
    {
        auto drop = handler(5, 0);
        QMimeData image;
        QImage pixels(30, 20, QImage::Format_RGB32);
        pixels.fill(Qt::green);
        image.setImageData(pixels);
        QVERIFY(drop->canHandleMimeData(&image));
        const auto result = drop->attachmentsFromMimeData(&image);
        QCOMPARE(result.attachments.size(), 1);
        QCOMPARE(result.attachments.first()->attachmentType(), TULOAttachmentTypeImage);
        QCOMPARE(result.attachments.first()->assetImage().size(), QSize(30, 20));

        QMimeData text;
        text.setText(QStringLiteral("just words"));
        QVERIFY(!drop->canHandleMimeData(&text));
        QVERIFY(drop->attachmentsFromMimeData(&text).attachments.isEmpty());
        QMimeData remote;
        remote.setUrls({QUrl(QStringLiteral("https://example.com/a.jpg"))});
        QVERIFY(!drop->canHandleMimeData(&remote));
    }

    // Installed on a text view: files dropped and an image pasted arrive; a text paste stays text.
    void installedOnATextView()
    {
        QTextEdit edit;
        edit.resize(300, 200);
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        auto drop = handler(5, 0);
        drop->installOnWidget(&edit);
        QSignalSpy received(drop.get(), &TULOAttachmentDropHandler::attachmentsReceived);
        QSignalSpy rejected(drop.get(), &TULOAttachmentDropHandler::attachmentsRejected);

        const std::unique_ptr<QMimeData> files(filesData({path(QStringLiteral("library-photo")), path(QStringLiteral("pdf"))}));
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, files.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(edit.viewport(), &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent dropEvent(QPointF(10, 10), Qt::CopyAction, files.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(edit.viewport(), &dropEvent);
        QCOMPARE(received.size(), 1);
        QCOMPARE(received.first().first().value<QList<TULOAttachmentPtr>>().size(), 1);
        QCOMPARE(rejected.size(), 1);
        QVERIFY(edit.toPlainText().isEmpty());

        QImage pixels(10, 10, QImage::Format_RGB32);
        pixels.fill(Qt::blue);
        QApplication::clipboard()->setImage(pixels);
        edit.setFocus();
        QTest::keySequence(&edit, QKeySequence::Paste);
        QCOMPARE(received.size(), 2);

        QApplication::clipboard()->setText(QStringLiteral("hello"));
        QTest::keySequence(&edit, QKeySequence::Paste);
        QCOMPARE(received.size(), 2);
        QCOMPARE(edit.toPlainText(), QStringLiteral("hello"));
    }
};

QTEST_MAIN(TestAttachmentDropHandler)
#include "tst_attachmentdrophandler.moc"
