#include <Quillon/compose/tagdataconsumer.h>
#include <Quillon/core/tag.h>

#include <QGuiApplication>
#include <QTest>

class TestTag : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromDictionary_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::addColumn<QString>("entityType");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("tagString");
        QTest::addColumn<QUrl>("thumbnail");

        QTest::newRow("all fields")
            << QVariantMap{{"entityType", "artist"}, {"id", "123"}, {"title", "Ann Lee Band"},
                           {"imageUrl", "http://127.0.0.1/a.jpg"}}
            << "artist" << "123" << "Ann Lee Band" << "@AnnLeeBand" << QUrl("http://127.0.0.1/a.jpg");
        QTest::newRow("no title: no name, no tag string")
            << QVariantMap{{"entityType", "album"}, {"id", "9"}} << "album" << "9" << QString() << QString() << QUrl();
        QTest::newRow("wrong types stay nil")
            << QVariantMap{{"entityType", 5}, {"id", 123}, {"title", QVariantList{"x"}}, {"imageUrl", 1}}
            << QString() << QString() << QString() << QString() << QUrl();
        QTest::newRow("thumbnail from the first image when imageUrl is not a string")
            << QVariantMap{{"id", "1"}, {"imageUrl", 17},
                           {"images", QVariantList{QVariantMap{{"url", "http://127.0.0.1/a/{w}x{h}.{f}"}},
                                                   QVariantMap{{"url", "http://127.0.0.1/b/{w}x{h}.{f}"}}}}}
            << QString() << "1" << QString() << QString() << QUrl("http://127.0.0.1/a/64x64.jpg");
        QTest::newRow("imageUrl string wins over images")
            << QVariantMap{{"imageUrl", "http://127.0.0.1/x.png"},
                           {"images", QVariantList{QVariantMap{{"url", "http://127.0.0.1/a/{w}x{h}.{f}"}}}}}
            << QString() << QString() << QString() << QString() << QUrl("http://127.0.0.1/x.png");
        QTest::newRow("images whose first element is not a dictionary")
            << QVariantMap{{"images", QVariantList{"http://127.0.0.1/a.jpg"}}}
            << QString() << QString() << QString() << QString() << QUrl();
        QTest::newRow("empty title is not nil")
            << QVariantMap{{"title", ""}} << QString() << QString() << "" << "@" << QUrl();
    }
    void fromDictionary()
    {
        QFETCH(QVariantMap, dictionary);
        QFETCH(QString, entityType);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(QString, tagString);
        QFETCH(QUrl, thumbnail);
        const TULOTag tag(dictionary);
        QCOMPARE(tag.entityType(), entityType);
        QCOMPARE(tag.entityType().isNull(), entityType.isNull());
        QCOMPARE(tag.identifier(), identifier);
        QCOMPARE(tag.name(), name);
        QCOMPARE(tag.name().isNull(), name.isNull());
        QCOMPARE(tag.tagString(), tagString);
        QCOMPARE(tag.tagString().isNull(), tagString.isNull());
        QCOMPARE(tag.thumbnailImageURL(), thumbnail);
    }

    void existingTag_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("string");
        QTest::addColumn<int>("expected"); // index into names, -1 for none

        QTest::newRow("one exact match") << QStringList{"Ann", "Bob"} << "Bob" << 1;
        QTest::newRow("leading delimiter ignored") << QStringList{"Ann", "Bob"} << "@ann" << 0;
        QTest::newRow("case differs") << QStringList{"Ann"} << "ANN" << 0;
        QTest::newRow("same name in two cases is ambiguous") << QStringList{"Ann", "ANN"} << "ann" << -1;
        QTest::newRow("no match") << QStringList{"Ann"} << "Annie" << -1;
        QTest::newRow("no matched tags") << QStringList{} << "Ann" << -1;
        QTest::newRow("name with a space is not its tag string") << QStringList{"Ann Lee"} << "@AnnLee" << -1;
    }
    void existingTag()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, string);
        QFETCH(int, expected);
        QList<TULOTag> tags;
        for (int i = 0; i < names.size(); ++i)
            tags.append(TULOTag(QVariantMap{{"id", QString::number(i)}, {"title", names.at(i)}}));
        const std::optional<TULOTag> found = TULOExistingTagForString(tags, string);
        QCOMPARE(found.has_value(), expected >= 0);
        if (found)
            QCOMPARE(found->identifier(), QString::number(expected));
    }

    void existingTagMatchesTagStringOfNamelessTag()
    {
        TULOTag nameless;
        nameless.setIdentifier("1");
        nameless.setTagString("Zed");
        QCOMPARE(TULOExistingTagForString({nameless}, "@zed")->identifier(), QString("1"));
    }

    void consumer_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QStringList>("identifiers");

        QTest::newRow("data list") << QByteArray(R"({"data":[{"id":"1","title":"A"},{"id":"2","title":"B"}],"next":3})")
                                   << true << QStringList{"1", "2"};
        QTest::newRow("elements that are not dictionaries are skipped")
            << QByteArray(R"({"data":[1,"x",null,{"id":"2"},[]]})") << true << QStringList{"2"};
        QTest::newRow("empty list") << QByteArray(R"({"data":[]})") << true << QStringList{};
        QTest::newRow("no data key") << QByteArray(R"({"results":[]})") << false << QStringList{};
        QTest::newRow("data is not a list") << QByteArray(R"({"data":{"id":"1"}})") << false << QStringList{};
        QTest::newRow("top level list") << QByteArray(R"([{"id":"1"}])") << false << QStringList{};
        QTest::newRow("not JSON") << QByteArray("<html>busy</html>") << false << QStringList{};
        QTest::newRow("truncated") << QByteArray(R"({"data":[{"id":"1")") << false << QStringList{};
    }
    void consumer()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, ok);
        QFETCH(QStringList, identifiers);
        TULOError error;
        const auto tags = TULOTagDataConsumer().tagsForData(body, &error);
        QCOMPARE(tags.has_value(), ok);
        QCOMPARE(error.isNull(), ok);
        if (!ok) {
            QVERIFY(!error.localizedDescription().isEmpty());
            return;
        }
        QStringList found;
        for (const TULOTag &tag : *tags)
            found.append(tag.identifier());
        QCOMPARE(found, identifiers);
    }

    void artistRoundTrip()
    {
        const TULOTag tag(TULOPostArtist(QStringLiteral("42"), QStringLiteral("Ann Lee")));
        QCOMPARE(tag.identifier(), QStringLiteral("42"));
        QCOMPARE(tag.name(), QStringLiteral("Ann Lee"));
        QVERIFY(tag.entityType().isNull());
        QVERIFY(tag.tagString().isNull());
        QVERIFY(tag.thumbnailImageURL().isEmpty());
        QCOMPARE(tag.artistRepresentation(), TULOPostArtist(QStringLiteral("42"), QStringLiteral("Ann Lee")));
    }

    void copiesAreIndependent()
    {
        TULOTag original(QVariantMap{{"title", "Ann"}});
        TULOTag copy = original;
        copy.setName("Bob");
        QCOMPARE(original.name(), QString("Ann"));
        QVERIFY(!(copy == original));
    }
};

// A screen of scale 2, so the thumbnail size shows the screen's scale at work.
int main(int argc, char **argv)
{
    qputenv("QT_SCALE_FACTOR", "2");
    QGuiApplication app(argc, argv);
    TestTag test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_tag.moc"
