#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/records/postitem.h>

#include <QTest>

class TestPostAuthor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void queryKey_data()
    {
        QTest::addColumn<QString>("authorType");
        QTest::addColumn<QString>("key");
        QTest::newRow("artist") << "artist" << "artist";
        QTest::newRow("artist upper case") << "ARTIST" << "artist";
        QTest::newRow("brand") << "Brand" << "brand";
        QTest::newRow("sorvel brand") << "sorvelBrand" << "SorvelBrand";
        QTest::newRow("activity curator") << "ActivityCurator" << "activityCurator";
        QTest::newRow("curator alone is a user") << "curator" << "user";
        QTest::newRow("empty") << "" << "user";
        QTest::newRow("null") << QString() << "user";
    }
    void queryKey()
    {
        QFETCH(QString, authorType);
        QFETCH(QString, key);
        QCOMPARE(TULOPostAuthor::queryKeyForAuthorType(authorType), key);
    }

    void copyIsIndependent()
    {
        TULOPostAuthor a(QStringLiteral("1"), QStringLiteral("Ann"), QStringLiteral("artist"));
        a.setPermissions({QString::fromLatin1(TULOAuthorPermissionShareAsEntity)});
        TULOPostAuthor b = a;
        b.setName(QStringLiteral("Bob"));
        b.setPermissions({});
        QCOMPARE(a.name(), QStringLiteral("Ann"));
        QVERIFY(a.hasPermission(TULOAuthorPermissionShareAsEntity));
        QVERIFY(!b.hasPermission(TULOAuthorPermissionShareAsEntity));
        QVERIFY(a != b);
        b = a;
        QCOMPARE(b, a);
    }

    void postItemKinds_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("type");
        QTest::newRow("album") << "album" << int(TULOPostItemTypeAlbum);
        QTest::newRow("music video") << "musicVideo" << int(TULOPostItemTypeMusicVideo);
        QTest::newRow("radio station") << "radioStation" << int(TULOPostItemTypeRadioStation);
        QTest::newRow("wrong case") << "Album" << int(TULOPostItemTypeUnknown);
        QTest::newRow("null") << QString() << int(TULOPostItemTypeUnknown);
    }
    void postItemKinds()
    {
        QFETCH(QString, kind);
        QFETCH(int, type);
        QCOMPARE(int(TULOPostItemTypeForStorePlatformKind(kind)), type);
        if (type != TULOPostItemTypeUnknown)
            QCOMPARE(TULOStorePlatformKindForPostItemType(TULOPostItemType(type)), kind);
    }
};

QTEST_GUILESS_MAIN(TestPostAuthor)
#include "tst_postauthor.moc"
