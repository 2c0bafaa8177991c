#include <Quillon/platform/records/postdescription.h>

#include <QTest>

class TestPostAttachment : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void childrenByRelationship()
    {
        TULOPostAttachment song;
        song.setTitle(QStringLiteral("Song"));
        QVERIFY(!song.childAttachmentForRelationship(QString::fromLatin1(TULOAttachmentRelationshipCoverImage)));

        TULOPostAttachment cover;
        cover.setAssetURL(QUrl::fromLocalFile(QStringLiteral("/tmp/cover.jpg")));
        cover.setDeletesAssetWhenFinished(true);
        song.setChildAttachment(cover, QString::fromLatin1(TULOAttachmentRelationshipCoverImage));

        TULOPostAttachment other;
        other.setTitle(QStringLiteral("Other cover"));
        TULOPostAttachment copy = song;
        copy.setChildAttachment(other, QString::fromLatin1(TULOAttachmentRelationshipCoverImage));

        // The first song keeps its own child: copies do not share children.
        const auto child = song.childAttachmentForRelationship(QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        QVERIFY(child);
        QVERIFY(child->deletesAssetWhenFinished());
        QCOMPARE(child->assetURL().toLocalFile(), QStringLiteral("/tmp/cover.jpg"));
        QCOMPARE(copy.childAttachmentForRelationship(QString::fromLatin1(TULOAttachmentRelationshipCoverImage))->title(),
                 QStringLiteral("Other cover"));
        QCOMPARE(copy.childRelationships().size(), 1);
        QVERIFY(song != copy);
        copy.removeChildAttachment(QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        QVERIFY(copy.childRelationships().isEmpty());
    }

    void descriptionKeepsUnsetApartFromEmpty()
    {
        TULOPostDescription description;
        QVERIFY(!description.attachments());
        QVERIFY(!description.externalServiceDestinations());
        description.setExternalServiceDestinations(QList<TULOExternalDestination>{});
        QVERIFY(description.externalServiceDestinations());
        QVERIFY(description.externalServiceDestinations()->isEmpty());

        TULOExternalDestination page(QString::fromLatin1(TULOExternalServiceFacebook));
        TULOExternalDestination noPage = page;
        page.setPageIdentifier(QStringLiteral(""));
        QVERIFY(!(page == noPage)); // "" is a page, null is none
        TULOPostDescription copy = description;
        copy.setExternalServiceDestinations(QList<TULOExternalDestination>{page});
        QVERIFY(description.externalServiceDestinations()->isEmpty());
        QVERIFY(!(copy == description));
    }
};

QTEST_GUILESS_MAIN(TestPostAttachment)
#include "tst_postattachment.moc"
