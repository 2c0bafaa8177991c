#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/audioattachmentpreviewview.h>
#include <Quillon/compose/imageattachmentpreviewview.h>
#include <Quillon/compose/videoattachmentpreviewview.h>
#include <Quillon/platform/image/imagecoloranalyzer.h>

#include <QBuffer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QSignalSpy>
#include <QtTest>

namespace {

QByteArray jpeg(const QSize &size, QImageIOHandler::Transformations transform = QImageIOHandler::TransformationNone)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x)
            line[x] = qRgb(x * 255 / size.width(), y * 255 / size.height(), 128);
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setTransformation(transform);
    writer.write(image);
    return bytes;
}

TULOAttachmentPtr withType(const QString &typeIdentifier)
{
    return std::make_shared<TULOAttachment>(QByteArray("x"), typeIdentifier);
}

} // namespace

class TestAttachmentPreviewView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void previewForType_data()
    {
        QTest::addColumn<QString>("typeIdentifier");
        QTest::addColumn<QString>("childClass"); // empty: no preview
        QTest::newRow("photo") << "image/jpeg" << "TULOImageAttachmentPreviewView";
        QTest::newRow("video") << "video/mp4" << "TULOVideoAttachmentPreviewView";
        QTest::newRow("song") << "audio/mpeg" << "TULOAudioAttachmentPreviewView";
        QTest::newRow("sound bite") << "audio/x-caf" << QString();
        QTest::newRow("unknown type") << "application/pdf" << QString();
        QTest::newRow("no type") << QString() << QString();
    }
    void previewForType()
    {
        QFETCH(QString, typeIdentifier);
        QFETCH(QString, childClass);
        const auto attachment = withType(typeIdentifier);
        std::unique_ptr<TULOAttachmentPreviewView> preview(TULOAttachmentPreviewView::withAttachment(attachment));
        if (childClass.isEmpty()) {
            QVERIFY(!preview);
            return;
        }
        QVERIFY(preview);
        QCOMPARE(preview->attachment(), attachment);
        QCOMPARE(QString::fromLatin1(preview->childView()->metaObject()->className()), childClass);
        // The child fills the wrapper below and right of the button's overhang; the button's
        // centre sits on the child's corner, two points in.
        preview->resize(preview->sizeThatFits(QSize(400, 1000)));
        preview->show(); // children are placed as the wrapper gets its size on screen
        QVERIFY(QTest::qWaitForWindowExposed(preview.get()));
        QCOMPARE(preview->childView()->geometry().topLeft(), QPoint(TULOAttachmentPreviewView::ChildInset, TULOAttachmentPreviewView::ChildInset));
        QCOMPARE(preview->childView()->geometry().bottomRight(), preview->rect().bottomRight());
        QCOMPARE(QRectF(preview->removeButton()->geometry()).center(), QPointF(preview->childView()->geometry().topLeft() + QPoint(2, 2)));
        QVERIFY(preview->sizeThatFits(QSize(200, 1000)).width() <= 200);
    }

    // A big photo is decoded off the main thread at about the size shown, not at full size.
    void photoDecodedAtPreviewSize_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QSize>("shownAs"); // pixels of the decoded image's orientation, or invalid for none
        QTest::newRow("landscape") << jpeg(QSize(3200, 2400)) << QSize(4, 3);
        QTest::newRow("portrait") << jpeg(QSize(1800, 2400)) << QSize(3, 4);
        QTest::newRow("turned by its orientation tag") << jpeg(QSize(2400, 1800), QImageIOHandler::TransformationRotate90) << QSize(3, 4);
        QTest::newRow("smaller than the preview") << jpeg(QSize(100, 75)) << QSize(4, 3);
        QTest::newRow("not an image") << QByteArray("\xff\xd8 broken", 9) << QSize();
    }
    void photoDecodedAtPreviewSize()
    {
        QFETCH(QByteArray, data);
        QFETCH(QSize, shownAs);
        const auto attachment = std::make_shared<TULOAttachment>(data, QStringLiteral("image/jpeg"));
        TULOImageAttachmentPreviewView preview(attachment);
        QSignalSpy loaded(&preview, &TULOImageAttachmentPreviewView::imageLoaded);
        QVERIFY(preview.isLoading());
        QVERIFY(preview.image().isNull()); // nothing decoded on this thread
        QVERIFY(loaded.wait(20000));
        QVERIFY(!preview.isLoading());
        if (!shownAs.isValid()) {
            QVERIFY(preview.image().isNull());
            return;
        }
        const QImage image = preview.image();
        QVERIFY(!image.isNull());
        QVERIFY2(std::abs(image.width() * shownAs.height() / shownAs.width() - image.height()) <= 1,
                 qPrintable(QStringLiteral("%1x%2").arg(image.width()).arg(image.height())));
        const QSize box = QSize(TULOImageAttachmentPreviewView::PreferredWidth,
                                preview.heightForWidth(TULOImageAttachmentPreviewView::PreferredWidth)) * image.devicePixelRatio();
        // Covers the box (or is the whole source), and is far from full size.
        QVERIFY2((image.width() >= box.width() && image.height() >= box.height()) || image.width() * image.height() <= 100 * 75,
                 qPrintable(QStringLiteral("%1x%2").arg(image.width()).arg(image.height())));
        QVERIFY(image.width() * image.height() <= 4 * box.width() * box.height());
    }

    void videoPreview_data()
    {
        QTest::addColumn<bool>("thumbnail");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("overlay");
        QTest::newRow("thumbnail and title") << true << "Live at the Hall" << true;
        QTest::newRow("thumbnail, empty title") << true << QString() << false;
        QTest::newRow("no thumbnail, title") << false << "Rehearsal" << true;
    }
    void videoPreview()
    {
        QFETCH(bool, thumbnail);
        QFETCH(QString, title);
        QFETCH(bool, overlay);
        auto attachment = std::make_shared<TULOAttachment>(QByteArray("v"), QStringLiteral("video/mp4"));
        if (thumbnail) {
            QImage image(160, 90, QImage::Format_RGB32);
            image.fill(QColor(200, 30, 30));
            attachment->setThumbnailImage(image);
        }
        attachment->setTitle(title);
        TULOVideoAttachmentPreviewView preview(attachment);
        preview.resize(preview.sizeHint());
        QCOMPARE(preview.showsOverlay(), overlay);
        QCOMPARE(preview.label() != nullptr, overlay);
        const QImage drawn = preview.grab().toImage();
        const QColor middle = drawn.pixelColor(drawn.width() / 2, drawn.height() / 4);
        if (thumbnail)
            QVERIFY2(middle.red() > 150 && middle.green() < 80, qPrintable(middle.name()));
        else
            QCOMPARE(middle, QColor(204, 204, 204)); // white 0.8
        // The hairline border darkens the edge.
        QVERIFY(drawn.pixelColor(0, drawn.height() / 4).lightness() < middle.lightness() || middle.lightness() < 60);
        if (overlay) {
            QCOMPARE(preview.label()->text(), title);
            QCOMPARE(preview.label()->palette().color(QPalette::WindowText), QColor(Qt::white));
            // The gradient darkens the bottom, not the top.
            const QColor bottom = drawn.pixelColor(drawn.width() - 3, drawn.height() - 3);
            const QColor top = drawn.pixelColor(drawn.width() - 3, 3);
            QVERIFY(bottom.lightness() < top.lightness());
        }
    }

    // Without a thumbnail, a video's preview shows its first frame worth showing.
    void videoFrameWithoutThumbnail_data()
    {
        QTest::addColumn<QString>("filter"); // ffmpeg source; empty: a file that is no video
        QTest::addColumn<bool>("frame");
        QTest::newRow("red video") << "color=c=red:size=320x180:rate=10:duration=1" << true;
        QTest::newRow("not a video") << QString() << false;
    }
    void videoFrameWithoutThumbnail()
    {
        QFETCH(QString, filter);
        QFETCH(bool, frame);
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("clip.mp4"));
        if (filter.isEmpty()) {
            QFile broken(path);
            QVERIFY(broken.open(QIODevice::WriteOnly));
            broken.write("this is not a video");
        } else {
            QProcess ffmpeg;
            ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                                    QStringLiteral("-i"), filter, QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), path});
            QVERIFY(ffmpeg.waitForFinished(60000));
            QCOMPARE(ffmpeg.exitCode(), 0);
        }
        auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(path), QStringLiteral("video/mp4"));
        TULOVideoAttachmentPreviewView preview(attachment);
        QSignalSpy loaded(&preview, &TULOVideoAttachmentPreviewView::imageLoaded);
        QVERIFY(preview.isLoading());
        QVERIFY(loaded.wait(30000));
        QCOMPARE(!preview.image().isNull(), frame);
        if (frame) {
            const QColor middle = preview.image().pixelColor(preview.image().width() / 2, preview.image().height() / 2);
            QVERIFY2(middle.red() > 200 && middle.green() < 60, qPrintable(middle.name()));
        }
    }

    void audioPreview_data()
    {
        QTest::addColumn<bool>("cover");
        QTest::addColumn<QString>("category");
        QTest::addColumn<QStringList>("artists");
        QTest::addColumn<QString>("artistLine");
        QTest::newRow("cover, category, two artists") << true << "Live" << QStringList{"Ann", "Bo"} << "Ann, Bo";
        QTest::newRow("no category") << true << QString() << QStringList{"Ann"} << "Ann";
        QTest::newRow("no artists, no cover") << false << "Demo" << QStringList{} << QString();
    }
    void audioPreview()
    {
        QFETCH(bool, cover);
        QFETCH(QString, category);
        QFETCH(QStringList, artists);
        QFETCH(QString, artistLine);
        auto attachment = std::make_shared<TULOAttachment>(QByteArray("a"), QStringLiteral("audio/mpeg"));
        attachment->setTitle(QStringLiteral("Night Drive"));
        attachment->setCategoryName(category);
        QList<TULOPostArtist> credited;
        for (const QString &name : artists)
            credited.append(TULOPostArtist(QString::number(credited.size()), name));
        attachment->setArtists(credited);
        // 1 January 2021 belongs to week 53 of 2020: the shown year is the week-based one.
        attachment->setDate(QDateTime(QDate(2021, 1, 1), QTime(12, 0)));
        if (cover) {
            QImage image(100, 100, QImage::Format_RGB32);
            image.fill(QColor(30, 60, 140));
            attachment->setThumbnailImage(image);
        }
        const TULOAudioAttachmentPreviewView preview(attachment, TULOClientContext());
        QCOMPARE(preview.titleLabel()->text(), QStringLiteral("Night Drive"));
        QCOMPARE(preview.artistLabel()->text(), artistLine);
        QCOMPARE(preview.dateLabel()->text(), QStringLiteral("2020"));
        QCOMPARE(preview.categoryLabel() != nullptr, !category.isEmpty());
        if (!category.isEmpty())
            QCOMPARE(preview.categoryLabel()->text(), category.toUpper());
        if (cover) {
            QVERIFY(TULOImageColorAnalyzer::contrastRatio(preview.textPrimaryColor(), preview.backgroundColor()) >= 4.5);
            QCOMPARE(preview.titleLabel()->palette().color(QPalette::WindowText), preview.textPrimaryColor());
            QCOMPARE(preview.dateLabel()->palette().color(QPalette::WindowText), preview.textSecondaryColor());
        } else {
            QCOMPARE(preview.backgroundColor(), QColor::fromRgbF(0.9f, 0.9f, 0.9f));
            QCOMPARE(preview.textPrimaryColor(), QColor(Qt::black));
            QCOMPARE(preview.textSecondaryColor().alpha(), 77);
        }
    }

    void accessibleNames_data()
    {
        QTest::addColumn<QString>("typeIdentifier");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("button");
        QTest::newRow("photo") << "image/png" << 1 << 3 << "Remove photo 2 of 3";
        QTest::newRow("video") << "video/mp4" << 0 << 1 << "Remove video 1 of 1";
        QTest::newRow("song") << "audio/mpeg" << 2 << 3 << "Remove song 3 of 3";
    }
    void accessibleNames()
    {
        QFETCH(QString, typeIdentifier);
        QFETCH(int, index);
        QFETCH(int, count);
        QFETCH(QString, button);
        std::unique_ptr<TULOAttachmentPreviewView> preview(TULOAttachmentPreviewView::withAttachment(withType(typeIdentifier)));
        preview->setAccessiblePosition(index, count);
        QCOMPARE(preview->removeButton()->accessibleName(), button);
        QVERIFY(!preview->accessibleName().isEmpty());
        QVERIFY(preview->focusPolicy() & Qt::TabFocus);
    }
};

QTEST_MAIN(TestAttachmentPreviewView)
#include "tst_attachmentpreviewview.moc"
