#include <Quillon/core/tag.h>

#include <QCoreApplication>
#include <QTest>

// Tags are made in the command line too, where only a QCoreApplication exists: sizing the
// thumbnail must not treat it as a GUI application (a bad downcast the sanitizers report).
class TestTagWithoutGui : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thumbnailIsSizedForOnePixelPerPoint_data()
    {
        QTest::addColumn<QVariantList>("images");
        QTest::addColumn<QUrl>("thumbnail");
        QTest::newRow("one image") << QVariantList {QVariantMap {{"url", "http://127.0.0.1/a/{w}x{h}.{f}"}}}
                                   << QUrl(QStringLiteral("http://127.0.0.1/a/32x32.jpg"));
        QTest::newRow("first of two")
            << QVariantList {QVariantMap {{"url", "http://127.0.0.1/b/{h}-{w}.{f}"}},
                   QVariantMap {{"url", "http://127.0.0.1/c/{w}.{f}"}}}
            << QUrl(QStringLiteral("http://127.0.0.1/b/32-32.jpg"));
    }
    void thumbnailIsSizedForOnePixelPerPoint()
    {
        QFETCH(QVariantList, images);
        QFETCH(QUrl, thumbnail);
        QVERIFY(QCoreApplication::instance());
        QVERIFY(!QCoreApplication::instance()->inherits("QGuiApplication"));
        const TULOTag tag(QVariantMap {{"entityType", "artist"}, {"id", "1001"}, {"title", "Ann Lee"},
            {"images", images}});
        QCOMPARE(tag.thumbnailImageURL(), thumbnail);
        QCOMPARE(tag.tagString(), QStringLiteral("@AnnLee"));
    }
};

QTEST_GUILESS_MAIN(TestTagWithoutGui)
#include "tst_tagwithoutgui.moc"
