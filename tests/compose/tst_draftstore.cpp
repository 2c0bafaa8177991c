#include <Quillon/compose/draftstore.h>
#include <Quillon/platform/store/postoutbox.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "support/testsupport.h"

#include <csignal>
#include <sys/stat.h>
#include <time.h>

Q_DECLARE_METATYPE(TULOAttachmentPtr)

namespace {

const TULODraftKey TULOTestKey { QStringLiteral("1001"), QStringLiteral("2001") };

// What the typing child types, character by character: tags and text beyond Latin-1 included.
QString typedText()
{
    static const QString text = [] {
        QString s;
        while (s.size() < 20000)
            s += QStringLiteral("Zürich tonight with @{artist:1001:\"Dana Demo\"}, ß and 東京 next. ");
        return s;
    }();
    return text;
}

qint64 monotonicMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Types one character every 4 ms into a draft, saying after each how much was typed and when.
int runTypingChild(const QString &folder)
{
    TULODraftStore store(folder);
    int typed = 0;
    QTimer keyboard;
    keyboard.setTimerType(Qt::PreciseTimer);
    QObject::connect(&keyboard, &QTimer::timeout, [&] {
        ++typed;
        TULOCompositionDraft draft;
        draft.text = typedText().left(typed);
        store.scheduleSave(TULOTestKey, draft);
        std::printf("%d %lld\n", typed, monotonicMilliseconds());
        std::fflush(stdout);
    });
    keyboard.start(4);
    return QCoreApplication::exec();
}

TULOAttachmentPtr photo()
{
    QImage image(24, 16, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    auto attachment = std::make_shared<TULOAttachment>(image, QStringLiteral("public.png"));
    attachment->setTitle(QStringLiteral("Harbour"));
    attachment->setExplicitContent(true);
    attachment->setPixelSize(QSizeF(24, 16));
    attachment->setArtists({ TULOPostArtist(QStringLiteral("1001"), QStringLiteral("Dana Demo")) });
    return attachment;
}

} // namespace

class TestDraftStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_files;

    QString folder(const QString &name) const { return m_files.filePath(name); }

private Q_SLOTS:
    void restoresEveryPartOfTheComposition_data()
    {
        QTest::addColumn<TULOAttachmentPtr>("attachment");

        QTest::newRow("image in memory with properties") << photo();

        auto data = std::make_shared<TULOAttachment>(QByteArray("RIFF....WAVEfmt "), QStringLiteral("com.microsoft.waveform-audio"));
        data->setDuration(3.25);
        data->setMessage(QStringLiteral("first take"));
        QTest::newRow("bytes") << data;

        QImage cover(8, 8, QImage::Format_RGB32);
        cover.fill(Qt::red);
        auto video = std::make_shared<TULOAttachment>(
            QUrl::fromLocalFile(TULOSourcePath(QStringLiteral("resources/samples/sunset.jpg"))), QStringLiteral("public.jpeg"));
        video->setThumbnailImage(cover);
        video->setThumbnailImageTime(2500);
        TULOStoreItem album;
        album.setItemIdentifier(QStringLiteral("3003"));
        album.setCollectionName(QStringLiteral("Night Tides"));
        video->setAlbum(album);
        video->setCategoryName(QStringLiteral("Live"));
        QTest::newRow("user's photo file with a cover frame and album") << video;
    }

    void restoresEveryPartOfTheComposition()
    {
        QFETCH(TULOAttachmentPtr, attachment);
        TULODraftStore store(folder(QString::fromLatin1(QTest::currentDataTag())));
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("Tonight @{artist:1001:\"Dana Demo\"}");
        draft.attachments = { attachment };
        draft.authorIdentifier = QStringLiteral("1001");
        draft.attributionAuthorIdentifier = QStringLiteral("42");
        draft.enabledServiceIdentifiers = { QStringLiteral("twitter"), QStringLiteral("facebook") };
        TULOError error;
        QVERIFY2(store.save(TULOTestKey, draft, &error), qPrintable(error.localizedDescription()));

        const auto restored = TULODraftStore(store.folder()).load(TULOTestKey, &error);
        QVERIFY2(restored, qPrintable(error.localizedDescription()));
        QCOMPARE(restored->text, draft.text);
        QCOMPARE(restored->authorIdentifier, draft.authorIdentifier);
        QCOMPARE(restored->attributionAuthorIdentifier, draft.attributionAuthorIdentifier);
        QCOMPARE(restored->enabledServiceIdentifiers, draft.enabledServiceIdentifiers);
        QCOMPARE(restored->attachments.size(), 1);
        const TULOAttachment &back = *restored->attachments.first();
        QCOMPARE(back.attachmentType(), attachment->attachmentType());
        QCOMPARE(back.data(), attachment->data());
        QCOMPARE(back.assetImage().convertToFormat(QImage::Format_RGB32), attachment->assetImage().convertToFormat(QImage::Format_RGB32));
        QCOMPARE(back.thumbnailImage().convertToFormat(QImage::Format_RGB32), attachment->thumbnailImage().convertToFormat(QImage::Format_RGB32));
        QCOMPARE(back.assetURL(), attachment->assetURL());
        QCOMPARE(back.title(), attachment->title());
        QCOMPARE(back.isExplicitContent(), attachment->isExplicitContent());
        QCOMPARE(back.pixelSize(), attachment->pixelSize());
        QCOMPARE(back.artists(), attachment->artists());
        QCOMPARE(back.duration(), attachment->duration());
        QCOMPARE(back.message(), attachment->message());
        QCOMPARE(back.thumbnailImageTime(), attachment->thumbnailImageTime());
        QCOMPARE(back.categoryName(), attachment->categoryName());
        QCOMPARE(back.album().has_value(), attachment->album().has_value());
        if (attachment->album())
            QCOMPARE(back.album()->collectionName(), attachment->album()->collectionName());
    }

    void aRecordingInTheTemporaryFolderIsKeptWithTheDraft()
    {
        TULODraftStore store(folder(QStringLiteral("recording")));
        const QString recording = QDir::temp().filePath(QStringLiteral("tulo-draft-test-%1.caf").arg(QCoreApplication::applicationPid()));
        QFile file(recording);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'a'));
        file.close();
        TULOCompositionDraft draft;
        draft.attachments = { std::make_shared<TULOAttachment>(QUrl::fromLocalFile(recording), QStringLiteral("com.apple.coreaudio-format")) };
        QVERIFY(store.save(TULOTestKey, draft));
        QFile::remove(recording); // the temporary folder is emptied
        const auto restored = store.load(TULOTestKey);
        QVERIFY(restored);
        const QString kept = restored->attachments.first()->assetURL().toLocalFile();
        QVERIFY(kept.startsWith(store.folderForKey(TULOTestKey)));
        QFile copy(kept);
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), QByteArray(4096, 'a'));
        QCOMPARE(restored->attachments.first()->UTI(), QStringLiteral("com.apple.coreaudio-format"));
    }

    void aDraftPerAuthorAndItem()
    {
        TULODraftStore store(folder(QStringLiteral("keys")));
        const QList<TULODraftKey> keys {
            { QStringLiteral("1001"), QStringLiteral("2001") },
            { QStringLiteral("1001"), QStringLiteral("2002") },
            { QStringLiteral("1002"), QStringLiteral("2001") },
            { QStringLiteral("1001"), QString() },
            // Must not meet "1001" + "2001" by joining the two.
            { QStringLiteral("10012001"), QString() },
        };
        for (const TULODraftKey &key : keys) {
            TULOCompositionDraft draft;
            draft.text = key.authorIdentifier + QLatin1Char('/') + key.itemIdentifier;
            QVERIFY(store.save(key, draft));
        }
        TULODraftStore reader(store.folder());
        for (const TULODraftKey &key : keys)
            QCOMPARE(reader.load(key)->text, key.authorIdentifier + QLatin1Char('/') + key.itemIdentifier);
        QVERIFY(!reader.hasDraft({ QStringLiteral("1002"), QStringLiteral("2002") }));
        QVERIFY(reader.discard(keys.first()));
        QVERIFY(!reader.hasDraft(keys.first()));
        QVERIFY(reader.hasDraft(keys.at(1)));
    }

    void filesAreTheUsersAlone()
    {
        TULODraftStore store(folder(QStringLiteral("modes")));
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("private");
        draft.attachments = { photo() };
        QVERIFY(store.save(TULOTestKey, draft));
        const QDir draftFolder(store.folderForKey(TULOTestKey));
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(draftFolder.path()).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0700u);
        for (const QString &name : draftFolder.entryList(QDir::Files)) {
            QCOMPARE(::stat(QFile::encodeName(draftFolder.filePath(name)).constData(), &info), 0);
            QCOMPARE(info.st_mode & 0777, 0600u);
        }
    }

    void changesAreWrittenWithinTheDelayEvenWhileTypingGoesOn()
    {
        TULODraftStore store(folder(QStringLiteral("debounce")));
        store.setSaveDelay(300);
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("a");
        store.scheduleSave(TULOTestKey, draft);
        QVERIFY(!QFileInfo::exists(store.folderForKey(TULOTestKey))); // nothing before the delay
        // A keystroke every 50 ms for 1.5 s: the draft on disk must catch up while it goes on.
        TULODraftStore reader(store.folder());
        bool writtenWhileTyping = false;
        for (int i = 0; i < 30; ++i) {
            draft.text += QLatin1Char('b');
            store.scheduleSave(TULOTestKey, draft);
            QTest::qWait(50);
            if (const auto onDisk = reader.load(TULOTestKey); onDisk && onDisk->text.size() > 1)
                writtenWhileTyping = true;
        }
        QVERIFY(writtenWhileTyping);
        QTRY_COMPARE(reader.load(TULOTestKey)->text, draft.text);
        QVERIFY(!store.hasPendingChanges());
    }

    void pendingChangesAreWrittenOnClose()
    {
        const QString path = folder(QStringLiteral("close"));
        {
            TULODraftStore store(path);
            store.setSaveDelay(1000);
            TULOCompositionDraft draft;
            draft.text = QStringLiteral("closing now");
            store.scheduleSave(TULOTestKey, draft);
        }
        QCOMPARE(TULODraftStore(path).load(TULOTestKey)->text, QStringLiteral("closing now"));
    }

    void emptyingTheCompositionRemovesTheDraft()
    {
        TULODraftStore store(folder(QStringLiteral("empty")));
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("x");
        draft.attachments = { photo() };
        QVERIFY(store.save(TULOTestKey, draft));
        draft.text = QStringLiteral("  \n");
        draft.attachments.clear();
        store.scheduleSave(TULOTestKey, draft);
        QVERIFY(!store.hasDraft(TULOTestKey));
        QVERIFY(store.flush());
        QVERIFY(!QFileInfo::exists(store.folderForKey(TULOTestKey)));
    }

    void replacedAttachmentFilesAreRemoved()
    {
        TULODraftStore store(folder(QStringLiteral("replace")));
        TULOCompositionDraft draft;
        draft.attachments = { std::make_shared<TULOAttachment>(QByteArray(100, 'x'), QStringLiteral("public.data")) };
        QVERIFY(store.save(TULOTestKey, draft));
        draft.attachments = { std::make_shared<TULOAttachment>(QByteArray(100, 'y'), QStringLiteral("public.data")) };
        QVERIFY(store.save(TULOTestKey, draft));
        // Left behind by a writer killed before its rename.
        QFile leftover(store.folderForKey(TULOTestKey) + QStringLiteral("/.draft.json.AbC123"));
        QVERIFY(leftover.open(QIODevice::WriteOnly));
        leftover.close();
        QVERIFY(store.save(TULOTestKey, draft));
        QCOMPARE(QDir(store.folderForKey(TULOTestKey)).entryList(QDir::Files | QDir::Hidden).size(), 2);
        QCOMPARE(store.load(TULOTestKey)->attachments.first()->data(), QByteArray(100, 'y'));
    }

    void discardingForgetsAPendingChange()
    {
        TULODraftStore store(folder(QStringLiteral("discard")));
        store.setSaveDelay(100);
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("gone");
        store.scheduleSave(TULOTestKey, draft);
        QVERIFY(store.discard(TULOTestKey));
        QTest::qWait(300);
        QVERIFY(!store.hasDraft(TULOTestKey));
        QVERIFY(!QFileInfo::exists(store.folderForKey(TULOTestKey)));
    }

    void postedDraftIsRemovedOnlyOnceTheOutboxHoldsThePost()
    {
        TULODraftStore store(folder(QStringLiteral("posted")));
        TULOCompositionDraft draft;
        draft.text = QStringLiteral("to the feed");
        QVERIFY(store.save(TULOTestKey, draft));

        TULOPostOutbox outbox(folder(QStringLiteral("outbox")));
        outbox.setSendsRequestedPostsOnly(true);
        QVERIFY(!store.discardPosted(TULOTestKey, &outbox, QString()));
        QVERIFY(!store.discardPosted(TULOTestKey, &outbox, QStringLiteral("not-a-queued-post")));
        QVERIFY(!store.discardPosted(TULOTestKey, nullptr, QStringLiteral("x")));
        QVERIFY(store.hasDraft(TULOTestKey));

        TULOPostDescription description;
        description.setText(draft.text);
        TULOError error;
        const QString key = outbox.enqueue(description, QUrl(QStringLiteral("http://127.0.0.1:9/bag")), QStringLiteral("demo"), &error);
        QVERIFY2(!key.isEmpty(), qPrintable(error.localizedDescription()));
        QVERIFY(store.discardPosted(TULOTestKey, &outbox, key));
        QVERIFY(!store.hasDraft(TULOTestKey));
        outbox.discard(key);
    }

    void anUnreadableDraftIsReportedAndKept_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("reason");

        QTest::newRow("cut short") << QByteArray("{\"version\":1,\"text\":\"half") << QStringLiteral("cannot be read");
        QTest::newRow("not an object") << QByteArray("[1,2]") << QStringLiteral("cannot be read");
        QTest::newRow("newer format") << QByteArray("{\"version\":99}") << QStringLiteral("unknown format version");
        QTest::newRow("another composition's")
            << QByteArray("{\"version\":1,\"authorKey\":\"7\",\"itemKey\":\"8\",\"text\":\"t\"}")
            << QStringLiteral("another composition");
        QTest::newRow("attachment file missing")
            << QByteArray("{\"version\":1,\"authorKey\":\"1001\",\"itemKey\":\"2001\",\"attachments\":[{\"dataFile\":\"abc.bin\"}]}")
            << QStringLiteral("\"abc.bin\" is missing");
        QTest::newRow("attachment outside the draft")
            << QByteArray("{\"version\":1,\"authorKey\":\"1001\",\"itemKey\":\"2001\",\"attachments\":[{\"dataFile\":\"../../x\"}]}")
            << QStringLiteral("is missing");
    }

    void anUnreadableDraftIsReportedAndKept()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, reason);
        TULODraftStore store(folder(QStringLiteral("corrupt-") + QString::fromLatin1(QTest::currentDataTag())));
        QVERIFY(QDir().mkpath(store.folderForKey(TULOTestKey)));
        const QString path = store.folderForKey(TULOTestKey) + QStringLiteral("/draft.json");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
        file.close();
        TULOError error;
        QVERIFY(!store.load(TULOTestKey, &error));
        QCOMPARE(error.domain(), TULOFileErrorDomain);
        QVERIFY2(error.localizedDescription().contains(reason), qPrintable(error.localizedDescription()));
        QVERIFY(error.localizedDescription().contains(path));
        QVERIFY(QFileInfo::exists(path));
    }

    void aKillWhileTypingLosesAtMostTheLastSecond()
    {
        const quint32 seed = QRandomGenerator::global()->generate();
        QRandomGenerator random(seed);
        for (int run = 0; run < 20; ++run) {
            const QString draftFolder = folder(QStringLiteral("kill-%1").arg(run));
            QProcess child;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("TULO_DRAFT_CHILD"), draftFolder);
            child.setProcessEnvironment(environment);
            child.start(QCoreApplication::applicationFilePath(), {});
            QVERIFY(child.waitForStarted());
            QVERIFY(child.waitForReadyRead(10000)); // typing has begun
            QTest::qWait(int(random.bounded(100u, 2000u)));
            const qint64 killedAt = monotonicMilliseconds();
            ::kill(pid_t(child.processId()), SIGKILL);
            QVERIFY(child.waitForFinished(10000));

            // Everything typed a second before the kill must be in the draft.
            int typed = 0;
            int typedASecondBefore = 0;
            for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
                const QList<QByteArray> fields = line.split(' ');
                if (fields.size() != 2)
                    continue;
                typed = fields.at(0).toInt();
                if (fields.at(1).toLongLong() <= killedAt - 1000)
                    typedASecondBefore = typed;
            }
            TULOError error;
            const auto restored = TULODraftStore(draftFolder).load(TULOTestKey, &error);
            const QString context = QStringLiteral("run %1, seed %2: typed %3, %4 a second before, error \"%5\"")
                                        .arg(run).arg(seed).arg(typed).arg(typedASecondBefore).arg(error.localizedDescription());
            QVERIFY2(error.isNull(), qPrintable(context));
            const QString text = restored ? restored->text : QString();
            QVERIFY2(typedText().left(typed).startsWith(text), qPrintable(context));
            QVERIFY2(text.size() >= typedASecondBefore, qPrintable(context + QStringLiteral(", restored %1").arg(text.size())));
        }
    }
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString child = qEnvironmentVariable("TULO_DRAFT_CHILD");
    if (!child.isEmpty())
        return runTypingChild(child);
    TestDraftStore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_draftstore.moc"
