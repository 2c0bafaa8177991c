#include <Quillon/core/configuration.h>

#include <QTest>

namespace {

TULOPostAuthor author(const char *identifier, QSet<QString> permissions)
{
    TULOPostAuthor a(QString::fromLatin1(identifier), QStringLiteral("Author %1").arg(QLatin1String(identifier)),
                     QStringLiteral("artist"));
    a.setPermissions(permissions);
    return a;
}

const QString kEntity = QString::fromLatin1(TULOAuthorPermissionShareAsEntity);
const QString kAttribution = QString::fromLatin1(TULOAuthorPermissionShareWithAttribution);

} // namespace

class TestConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults()
    {
        const TULOConfiguration configuration;
        QCOMPARE(configuration.maximumNumberOfAttachments(), 1);
        QCOMPARE(configuration.maximumSoundBiteDuration(), 10.0);
        QVERIFY(configuration.allowsCamera());
        QVERIFY(configuration.allowsMicrophone());
        QVERIFY(!configuration.potentalAuthors());
        QVERIFY(!configuration.item());
        QVERIFY(!configuration.allowedExternalServices());
        QVERIFY(!configuration.authorForActiveAccount());
        QVERIFY(configuration.tagLookupURLWithTag(QStringLiteral("x")).isEmpty());
    }

    void copyIsIndependent()
    {
        TULOConfiguration original;
        TULOStoreItem item;
        item.setDisplayName(QStringLiteral("Album"));
        original.setItem(item);
        original.setPotentalAuthors(QList<TULOPostAuthor>{author("1", {kEntity})});
        original.setTagLookupBaseURL(QUrl(QStringLiteral("http://store/search")));
        original.setAudioCategoryNames(QStringList{QStringLiteral("Song")});

        TULOConfiguration copy = original;
        TULOStoreItem changed = *copy.item();
        changed.setDisplayName(QStringLiteral("Other"));
        copy.setItem(changed);
        QList<TULOPostAuthor> authors = *copy.potentalAuthors();
        authors[0].setName(QStringLiteral("Renamed"));
        authors.append(author("2", {}));
        copy.setPotentalAuthors(authors);
        copy.setTagLookupBaseURL(QUrl(QStringLiteral("http://elsewhere/")));
        copy.setMaximumNumberOfAttachments(4);
        copy.setAllowsCamera(false);

        QCOMPARE(original.item()->displayName(), QStringLiteral("Album"));
        QCOMPARE(original.potentalAuthors()->size(), 1);
        QCOMPARE(original.potentalAuthors()->first().name(), QStringLiteral("Author 1"));
        QCOMPARE(original.tagLookupBaseURL(), QUrl(QStringLiteral("http://store/search")));
        QCOMPARE(original.maximumNumberOfAttachments(), 1);
        QVERIFY(original.allowsCamera());
        QCOMPARE(copy.potentalAuthors()->first().name(), QStringLiteral("Renamed"));
    }

    void tagLookupURL_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no query") << "http://s/search" << "ann" << "http://s/search?q=ann";
        QTest::newRow("items kept first, in order")
            << "http://s/search?b=2&a=1" << "ann" << "http://s/search?b=2&a=1&q=ann";
        QTest::newRow("existing q is not replaced") << "http://s/search?q=old" << "new" << "http://s/search?q=old&q=new";
        QTest::newRow("tag with reserved characters")
            << "http://s/search" << "a&b=c+d #1" << "http://s/search?q=a%26b%3Dc%2Bd%20%231";
        QTest::newRow("non-ascii tag") << "http://s/search" << "Björk" << "http://s/search?q=Bj%C3%B6rk";
        QTest::newRow("encoded item stays encoded")
            << "http://s/search?x=a%26b" << "t" << "http://s/search?x=a%26b&q=t";
        QTest::newRow("empty tag") << "http://s/search" << "" << "http://s/search?q=";
    }
    void tagLookupURL()
    {
        QFETCH(QString, base);
        QFETCH(QString, tag);
        QFETCH(QString, expected);
        TULOConfiguration configuration;
        configuration.setTagLookupBaseURL(QUrl(base));
        QCOMPARE(configuration.tagLookupURLWithTag(tag).toString(QUrl::FullyEncoded), expected);
        // The base itself is not changed by building a lookup URL.
        QCOMPARE(configuration.tagLookupBaseURL(), QUrl(base));
    }

    void authorsForSharing_data()
    {
        QTest::addColumn<QList<TULOPostAuthor>>("authors");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("order kept, unpermitted dropped")
            << QList<TULOPostAuthor>{author("3", {kAttribution}), author("1", {}), author("2", {kEntity}),
                                     author("4", {QStringLiteral("other")}), author("5", {kEntity, kAttribution})}
            << QStringList{"3", "2", "5"};
        QTest::newRow("none permitted") << QList<TULOPostAuthor>{author("1", {})} << QStringList{};
        QTest::newRow("empty") << QList<TULOPostAuthor>{} << QStringList{};
    }
    void authorsForSharing()
    {
        QFETCH(QList<TULOPostAuthor>, authors);
        QFETCH(QStringList, expected);
        TULOConfiguration configuration;
        configuration.setPotentalAuthors(authors);
        QStringList identifiers;
        for (const TULOPostAuthor &a : configuration.authorsForSharing())
            identifiers.append(a.identifier());
        QCOMPARE(identifiers, expected);
    }

    void authorsForSharingWithoutList()
    {
        QVERIFY(TULOConfiguration().authorsForSharing().isEmpty());
    }

    void sharedAuthorsAreCopies()
    {
        TULOConfiguration configuration;
        configuration.setPotentalAuthors(QList<TULOPostAuthor>{author("1", {kEntity})});
        QList<TULOPostAuthor> shared = configuration.authorsForSharing();
        shared[0].setName(QStringLiteral("Changed"));
        QCOMPARE(configuration.potentalAuthors()->first().name(), QStringLiteral("Author 1"));
    }
};

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"
