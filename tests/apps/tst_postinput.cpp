// What `quillon post` makes of its arguments, its text and its files, before any store is asked.

#include "../../apps/quillon/postattachments.h"
#include "../../apps/quillon/postjson.h"
#include "../../apps/quillon/postoptions.h"
#include "../../apps/quillon/posttext.h"

#include "library/mediafixtures.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

namespace {

TULOTag tag(const QString &identifier, const QString &name)
{
    return TULOTag(QVariantMap{{QStringLiteral("entityType"), QStringLiteral("artist")},
                               {QStringLiteral("id"), identifier},
                               {QStringLiteral("title"), name}});
}

// As the store's search compares names: no case, accents or blanks.
QString storeFolded(const QString &name)
{
    QString folded;
    for (const QChar c : name.normalized(QString::NormalizationForm_KD)) {
        if (!c.isMark() && !c.isSpace())
            folded.append(c);
    }
    return folded.toCaseFolded();
}

// A lookup over a fixed catalogue that, like the store, ignores case, accents and blanks.
struct Catalogue {
    QList<TULOTag> tags{tag(QStringLiteral("1008"), QStringLiteral("Mira Sol")),
                        tag(QStringLiteral("1003"), QStringLiteral("Zoë Marchetti")),
                        tag(QStringLiteral("1010"), QStringLiteral("Twin")),
                        tag(QStringLiteral("1011"), QStringLiteral("twin"))};
    QStringList queries;
    bool fail = false;

    TULOPostTagLookup lookup()
    {
        return [this](const QString &query, TULOError *error) -> std::optional<QList<TULOTag>> {
            queries << query;
            if (fail) {
                TULOSetError(error, TULOError::withDescription(QStringLiteral("test"), 100, QStringLiteral("store unreachable")));
                return std::nullopt;
            }
            QList<TULOTag> found;
            for (const TULOTag &t : tags) {
                if (storeFolded(t.name()).startsWith(storeFolded(query)))
                    found << t;
            }
            return found;
        };
    }
};

} // namespace

class TestPostInput : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void options_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("failureMentions");

        QTest::newRow("text") << QStringList{"--text", "hi"} << true << QString();
        QTest::newRow("inline-value") << QStringList{"--text=hi", "--share=twitter,facebook"} << true << QString();
        QTest::newRow("help-alone") << QStringList{"--help"} << true << QString();
        QTest::newRow("nothing-to-post") << QStringList{"--dry-run"} << false << "nothing to post";
        QTest::newRow("blank-text") << QStringList{"--text", "   "} << false << "nothing to post";
        QTest::newRow("missing-value") << QStringList{"--text", "hi", "--attach"} << false << "--attach";
        QTest::newRow("unknown-option") << QStringList{"--text", "hi", "--colour"} << false << "--colour";
        QTest::newRow("unknown-service") << QStringList{"--text", "hi", "--share", "twitter,myspace"} << false << "myspace";
        QTest::newRow("empty-share") << QStringList{"--text", "hi", "--share", ","} << false << "--share";
        QTest::newRow("store-not-http") << QStringList{"--text", "hi", "--store", "ftp://x/bag"} << false << "ftp://x/bag";
        QTest::newRow("store-no-host") << QStringList{"--text", "hi", "--store", "http:///bag"} << false << "--store";
        QTest::newRow("flag-with-value") << QStringList{"--text", "hi", "--dry-run=yes"} << false << "--dry-run";
        QTest::newRow("tag-only") << QStringList{"--tag", "1008"} << true << QString();
        QTest::newRow("record-under-minimum") << QStringList{"--record", "0.3"} << false << "at least 0.5 seconds";
        QTest::newRow("record-at-minimum") << QStringList{"--record", "0.5"} << true << QString();
        QTest::newRow("record-not-a-number") << QStringList{"--record", "soon"} << false << "'soon'";
        QTest::newRow("stray-argument") << QStringList{"--text", "hi", "there"} << false << "'there'";
    }

    void options()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, valid);
        QFETCH(QString, failureMentions);
        QString failure;
        const auto parsed = TULOParsePostOptions(arguments, &failure);
        QCOMPARE(bool(parsed), valid);
        if (!valid) {
            QVERIFY2(failure.contains(failureMentions), qPrintable(failure));
            QVERIFY(!failure.contains(QLatin1Char('\n')));
        }
    }

    void optionsCollect()
    {
        QString failure;
        const auto parsed = TULOParsePostOptions(
            {"--text", "hi", "--attach", "a.jpg", "--attach=b.png", "--tag", "1", "--tag", " 2 ", "--as", "77", "--attribute",
             "--share", "Facebook, twitter,facebook", "--dry-run", "--json", "--item", "2001", "--store", "https://store.example/bag"},
            &failure);
        QVERIFY2(parsed, qPrintable(failure));
        QCOMPARE(parsed->attachmentPaths, (QStringList{"a.jpg", "b.png"}));
        QCOMPARE(parsed->tagIdentifiers, (QStringList{"1", "2"}));
        QCOMPARE(parsed->shareServices, (QStringList{"facebook", "twitter"}));
        QCOMPARE(parsed->authorIdentifier, QStringLiteral("77"));
        QCOMPARE(parsed->itemIdentifier, QStringLiteral("2001"));
        QVERIFY(parsed->attributed && parsed->dryRun && parsed->json);
        QCOMPARE(parsed->storeBagURL, QUrl(QStringLiteral("https://store.example/bag")));
    }

    void helpDocumentsEveryOption()
    {
        const QString usage = TULOPostUsage();
        for (const char *option : {"--text", "--tag", "--attach", "--item", "--as", "--attribute", "--share", "--dry-run", "--json", "--store", "--help"})
            QVERIFY2(usage.contains(QLatin1String(option)), option);
    }

    void inlineTags_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("failureMentions");
        QTest::addColumn<int>("lookups");
        QTest::addColumn<QString>("noticeMentions");

        const QString zoe = QStringLiteral("@{artist:1003:\"Zoë Marchetti\"}");
        QTest::newRow("no-tags") << "plain text" << "plain text" << QString() << 0 << QString();
        QTest::newRow("joined-name") << "Hear @MiraSol live" << "Hear @{artist:1008:\"Mira Sol\"} live" << QString() << 1 << QString();
        QTest::newRow("quoted-name") << "With @\"Mira Sol\"!" << "With @{artist:1008:\"Mira Sol\"}!" << QString() << 1 << QString();
        QTest::newRow("full-accented") << "(@ZoëMarchetti)" << "(" + zoe + ")" << QString() << 1 << QString();
        QTest::newRow("accents-left-out") << "@zoemarchetti" << zoe << QString() << 1 << QString();
        QTest::newRow("decomposed-accent") << QString::fromUtf8("@Zoe\u0308Marchetti").normalized(QString::NormalizationForm_D)
                                           << zoe << QString() << 1 << QString();
        QTest::newRow("partial-name-stays-text") << "@Zoë_ " << "@Zoë_ " << QString() << 1 << "@Zoë_";
        QTest::newRow("same-name-once") << "@MiraSol and @mirasol" << "@{artist:1008:\"Mira Sol\"} and @{artist:1008:\"Mira Sol\"}"
                                        << QString() << 1 << QString();
        QTest::newRow("email-untouched") << "mail me@example.com" << "mail me@example.com" << QString() << 0 << QString();
        QTest::newRow("token-untouched") << "@{artist:5:\"X\"} hi" << "@{artist:5:\"X\"} hi" << QString() << 0 << QString();
        QTest::newRow("trailing-dot-not-name") << "by @MiraSol." << "by @{artist:1008:\"Mira Sol\"}." << QString() << 1 << QString();
        QTest::newRow("unknown-word-stays-text") << "working @home tonight, @home" << "working @home tonight, @home" << QString() << 1 << "@home";
        QTest::newRow("unknown-beside-known") << "@home with @MiraSol" << "@home with @{artist:1008:\"Mira Sol\"}" << QString() << 2 << "@home";
        QTest::newRow("quoted-unknown-refused") << "hi @\"No Body\"" << QString() << "@\"No Body\"" << 1 << QString();
        QTest::newRow("ambiguous-lists-candidates") << "hi @Twin" << QString() << "Twin (artist 1010), twin (artist 1011)" << 1 << QString();
        QTest::newRow("bare-at") << "a @ b" << "a @ b" << QString() << 0 << QString();
    }

    void inlineTags()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QFETCH(QString, failureMentions);
        QFETCH(int, lookups);
        QFETCH(QString, noticeMentions);
        Catalogue catalogue;
        TULOError error;
        QStringList notices;
        const auto resolved = TULOPostTextWithResolvedTags(text, catalogue.lookup(), &error, &notices);
        QCOMPARE(catalogue.queries.size(), lookups);
        if (failureMentions.isEmpty()) {
            QVERIFY2(resolved, qPrintable(error.localizedDescription()));
            QCOMPARE(*resolved, expected);
        } else {
            QVERIFY(!resolved);
            QVERIFY2(error.localizedDescription().contains(failureMentions), qPrintable(error.localizedDescription()));
        }
        if (noticeMentions.isEmpty()) {
            QVERIFY2(notices.isEmpty(), qPrintable(notices.join(QLatin1Char('\n'))));
        } else {
            QCOMPARE(notices.size(), 1); // told once, however often the word comes
            QVERIFY2(notices.first().contains(noticeMentions), qPrintable(notices.first()));
        }
    }

    void lookupFailureIsReported()
    {
        Catalogue catalogue;
        catalogue.fail = true;
        TULOError error;
        QVERIFY(!TULOPostTextWithResolvedTags(QStringLiteral("@MiraSol"), catalogue.lookup(), &error));
        QVERIFY(error.localizedDescription().contains(QStringLiteral("store unreachable")));
    }

    void attachmentFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("expectedType"); // 0: refused
        QTest::addColumn<QString>("failureMentions");

        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        QImage(16, 8, QImage::Format_RGB32).save(&buffer, "PNG");
        QTest::newRow("png") << "photo.png" << png << 2 << QString();
        QTest::newRow("png-named-jpg") << "misnamed.jpg" << png << 2 << QString();
        QTest::newRow("text-file") << "notes.txt" << QByteArray("just words\n") << 0 << "not a photo";
        QTest::newRow("empty") << "empty.jpg" << QByteArray() << 0 << "empty";
        QTest::newRow("missing") << "" << QByteArray() << 0 << "no such file";
    }

    void attachmentFiles()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(int, expectedType);
        QFETCH(QString, failureMentions);
        QString path = m_dir.filePath(QStringLiteral("missing-file.png"));
        if (!name.isEmpty()) {
            path = m_dir.filePath(name);
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        TULOError error;
        const TULOAttachmentPtr attachment = TULOPostAttachmentForFile(path, &error);
        if (expectedType == 0) {
            QVERIFY(!attachment);
            QVERIFY2(error.localizedDescription().contains(failureMentions), qPrintable(error.localizedDescription()));
            QVERIFY(error.localizedDescription().contains(path));
            return;
        }
        QVERIFY2(attachment, qPrintable(error.localizedDescription()));
        QCOMPARE(int(attachment->attachmentType()), expectedType);
        QCOMPARE(attachment->data(), content); // photos go in as data, so their metadata is stripped
        QCOMPARE(attachment->UTI(), QStringLiteral("image/png"));
    }

    void songFileCarriesTagsAndArtwork()
    {
        TULOTestTrack track;
        track.title = QStringLiteral("Night Drive");
        track.advisory = QStringLiteral("1");
        track.artwork = QImage(30, 30, QImage::Format_RGB32);
        track.artwork.fill(Qt::red);
        const QString path = m_dir.filePath(QStringLiteral("song.flac"));
        QString failure;
        QVERIFY2(TULOTestWriteTrack(path, track, &failure), qPrintable(failure));
        const TULOAttachmentPtr attachment = TULOPostAttachmentForFile(path);
        QVERIFY(attachment);
        QCOMPARE(int(attachment->attachmentType()), 1);
        QCOMPARE(attachment->title(), QStringLiteral("Night Drive"));
        QVERIFY(attachment->isExplicitContent());
        QCOMPARE(attachment->thumbnailImage().size(), QSize(30, 30));
        QCOMPARE(attachment->assetURL(), QUrl::fromLocalFile(path));
    }

    void descriptionJSON()
    {
        TULOPostAttachment cover;
        cover.setAssetURL(QUrl::fromLocalFile(QStringLiteral("/tmp/a/cover.jpg")));
        TULOPostAttachment song;
        song.setAssetURL(QUrl::fromLocalFile(QStringLiteral("/tmp/a/song.flac")));
        song.setChildAttachment(cover, QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        TULOExternalDestination page(QStringLiteral("facebook"));
        page.setPageIdentifier(QStringLiteral(""));
        TULOPostDescription description;
        description.setText(QStringLiteral("hi"));
        description.setAttachments(QList<TULOPostAttachment>{song});
        description.setExternalServiceDestinations(QList<TULOExternalDestination>{page, TULOExternalDestination(QStringLiteral("twitter"))});
        const QJsonObject json = TULOPostDescriptionJSON(description);
        const QJsonObject first = json.value(QStringLiteral("attachments")).toArray().first().toObject();
        QCOMPARE(first.value(QStringLiteral("path")).toString(), QStringLiteral("/tmp/a/song.flac"));
        QCOMPARE(first.value(QStringLiteral("children")).toObject().value(QString::fromLatin1(TULOAttachmentRelationshipCoverImage))
                     .toObject().value(QStringLiteral("path")).toString(),
                 QStringLiteral("/tmp/a/cover.jpg"));
        const QJsonArray destinations = json.value(QStringLiteral("externalServiceDestinations")).toArray();
        QVERIFY(destinations.at(0).toObject().contains(QStringLiteral("pageIdentifier")));
        QVERIFY(!destinations.at(1).toObject().contains(QStringLiteral("pageIdentifier")));
        QVERIFY(!json.contains(QStringLiteral("contentItems"))); // never set, so left out
    }
};

QTEST_MAIN(TestPostInput)
#include "tst_postinput.moc"
