#include <Quillon/platform/records/artworklist.h>
#include <Quillon/platform/records/authorprofile.h>
#include <Quillon/platform/records/lookupitemartwork.h>

#include <QJsonDocument>
#include <QTest>

// Store replies arrive as JSON; decode the way the store client does.
// Test data write JSON with single quotes for readability.
static QVariant json(const char *text)
{
    return QJsonDocument::fromJson(QByteArray(text).replace('\'', '"')).toVariant();
}

class TestLookupArtwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void templateFilled_data()
    {
        QTest::addColumn<QString>("dictionary");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<qint64>("originalWidth");
        QTest::newRow("width and height")
            << "{'url':'http://s/a/{w}x{h}bb.{f}','width':1400,'height':1400}"
            << "http://s/a/64x32bb.jpg" << qint64(1400);
        QTest::newRow("repeated placeholders")
            << "{'url':'http://s/{w}/{w}-{h}.png'}" << "http://s/64/64-32.png" << qint64(0);
        QTest::newRow("width as string") << "{'url':'http://s/{w}','width':'600'}" << "http://s/64" << qint64(600);
        QTest::newRow("url not a string") << "{'url':17,'width':10}" << "" << qint64(10);
        QTest::newRow("width of wrong type") << "{'url':'http://s/x','width':[1]}" << "http://s/x" << qint64(0);
    }
    void templateFilled()
    {
        QFETCH(QString, dictionary);
        QFETCH(QString, expected);
        QFETCH(qint64, originalWidth);
        const TULOLookupItemArtwork artwork(json(dictionary.toUtf8().constData()).toMap());
        QCOMPARE(artwork.URLWithHeight(32, 64).toString(), expected);
        QCOMPARE(artwork.isNull(), expected.isEmpty());
        QCOMPARE(artwork.originalWidth(), originalWidth);
    }

    void listChoosesSize_data()
    {
        QTest::addColumn<qint64>("width");
        QTest::addColumn<QString>("expected");
        QTest::newRow("smaller than all") << qint64(10) << "http://s/100";
        QTest::newRow("exact") << qint64(200) << "http://s/200";
        QTest::newRow("between") << qint64(201) << "http://s/600";
        QTest::newRow("larger than all") << qint64(5000) << "http://s/600";
    }
    void listChoosesSize()
    {
        QFETCH(qint64, width);
        QFETCH(QString, expected);
        // Out of order, with malformed entries mixed in.
        const TULOArtworkList list(json("[\n"
            "            {'url':'http://s/600','width':600,'height':600},\n"
            "            'junk',\n"
            "            {'url':'http://s/100','width':100},\n"
            "            {'url':5,'width':300},\n"
            "            {'url':'http://s/none'},\n"
            "            {'url':'http://s/200','width':'200'}]").toList());
        QCOMPARE(list.entries().size(), 3);
        QCOMPARE(list.URLForWidth(width).toString(), expected);
    }

    void emptyListHasNoURL()
    {
        QVERIFY(TULOArtworkList(QVariantList{}).URLForWidth(100).isEmpty());
        QVERIFY(TULOArtworkList(json("[1,2,3]").toList()).isEmpty());
    }

    void profileFromReply_data()
    {
        QTest::addColumn<QString>("reply");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("image");
        QTest::newRow("complete") << "{'id':'77','name':'Ann','type':'artist','imageUrl':'http://i/a.png'}"
                                  << "77" << "Ann" << "http://i/a.png";
        QTest::newRow("numeric id") << "{'id':123,'name':'Ann'}" << "123" << "Ann" << "";
        QTest::newRow("wrong types") << "{'id':{},'name':5,'imageUrl':[]}" << "" << "" << "";
    }
    void profileFromReply()
    {
        QFETCH(QString, reply);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(QString, image);
        const TULOAuthorProfile profile = TULOAuthorProfile::withProfileDictionary(json(reply.toUtf8().constData()).toMap());
        QCOMPARE(profile.identifier(), identifier);
        QCOMPARE(profile.name(), name);
        QCOMPARE(profile.profileImageURL().toString(), image);
    }
};

QTEST_GUILESS_MAIN(TestLookupArtwork)
#include "tst_lookupartwork.moc"
