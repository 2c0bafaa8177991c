#include "compositiontestsupport.h"

#include "../audio/testaudio.h"

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/voicerecorder.h>
#include <Quillon/platform/audio/voicecapture.h>

#include <QAbstractButton>
#include <QFileInfo>
#include <QPushButton>
#include <QTest>

namespace {

// Opens the state the tests check; the properties editor is recorded instead of shown.
class Composer : public TULOComposePostViewController
{
public:
    using TULOComposePostViewController::TULOComposePostViewController;
    using TULOComposePostViewController::allowedCharacterCount;
    using TULOComposePostViewController::attributionButton;
    using TULOComposePostViewController::authorSelectionView;
    using TULOComposePostViewController::defaultAttributionAuthorForDestinationAuthor;
    using TULOComposePostViewController::didEditAttachment;
    using TULOComposePostViewController::externalServicesButton;
    using TULOComposePostViewController::handleAttachmentMenuResult;
    using TULOComposePostViewController::hasSoundBite;
    using TULOComposePostViewController::setSelectedAuthor;

    QList<TULOAttachmentPtr> edited;
    QList<TULOAttachmentPtr> removedFromLibrary;

protected:
    void editPropertiesForAttachment(const TULOAttachmentPtr &attachment, bool) override { edited.append(attachment); }
    void removeDownloadedMediaItem(const TULOAttachmentPtr &attachment) override { removedFromLibrary.append(attachment); }
};

QStringList identifiers(const QList<TULOAttachmentPtr> &attachments, const QList<TULOAttachmentPtr> &all)
{
    QStringList names;
    for (const TULOAttachmentPtr &attachment : attachments)
        names << QString::number(all.indexOf(attachment));
    return names;
}

} // namespace

// The editor's decisions: who posts, the rows, the attachment button, the character limit,
// when the post is complete and what goes into it.
class TestComposePostViewController : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    QTemporaryDir m_audio;

    TULOPreferences preferences() const { return TULOPreferences::frameworkPreferences(); }

    // A composer whose account store has its linked accounts.
    std::unique_ptr<Composer> makeComposer(const TULOConfiguration &configuration)
    {
        auto composer = std::make_unique<Composer>(configuration);
        if (composer->accountStore()) {
            QSignalSpy finished(composer->accountStore().get(), &TULOAccountStore::accountInfoRequestDidFinish);
            if (!finished.wait(TULOStoreTestWait))
                qWarning("no account information answer");
        }
        return composer;
    }

    // Records a take of about a second into a new slot of `composer`.
    bool recordSoundBite(Composer &composer)
    {
        const QString source = m_audio.filePath(QStringLiteral("take.wav"));
        if (!TULOTestWriteWav(source, TULOTestSineSamples(3.0, 330, 0.5)))
            return false;
        TULOVoiceCapture::setCaptureSourceFile(source);
        composer.handleAttachmentMenuResult(TULOComposePostViewController::AttachmentMenuResultSoundBite, {});
        TULOSoundBiteViewController *slot = composer.soundBiteViewControllers().constLast();
        slot->soundBiteViewDidHoldRecordButton(slot->soundBiteView());
        if (!QTest::qWaitFor([&] { return slot->voiceRecorder() && slot->voiceRecorder()->totalRecordedPacketCount() >= 44100; }, 20000))
            return false;
        slot->soundBiteViewDidReleaseRecordButton(slot->soundBiteView());
        return QTest::qWaitFor([&] { return slot->attachment() != nullptr; }, 20000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_fixture.start());
        QVERIFY(m_audio.isValid());
        qputenv("QUILLON_AUDIO_OUTPUT", "none");
    }
    void cleanupTestCase() { m_fixture.stop(); }
    void cleanup()
    {
        preferences().removeObjectForKey(QString::fromLatin1(TULOPreferredAuthorIDKey));
        TULOVoiceCapture::setCaptureSourceFile(QString());
    }

    void selectedAuthor_data()
    {
        QTest::addColumn<int>("authorCount");
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("authorRow");
        QTest::newRow("one author, another stored") << 1 << QVariant(QStringLiteral("a2")) << "a1" << false;
        QTest::newRow("stored second of three") << 3 << QVariant(QStringLiteral("a2")) << "a2" << true;
        QTest::newRow("stored matches none") << 2 << QVariant(QStringLiteral("a9")) << "a1" << true;
        QTest::newRow("stored not a string") << 2 << QVariant(2) << "a1" << true;
        QTest::newRow("nothing stored") << 2 << QVariant() << "a1" << true;
    }
    void selectedAuthor()
    {
        QFETCH(int, authorCount);
        QFETCH(QVariant, stored);
        QFETCH(QString, expected);
        QFETCH(bool, authorRow);
        QList<TULOPostAuthor> authors;
        for (int i = 1; i <= authorCount; ++i)
            authors << TULOTestAuthor(QStringLiteral("a%1").arg(i), QStringLiteral("Author %1").arg(i));
        if (stored.isValid())
            preferences().setObject(QString::fromLatin1(TULOPreferredAuthorIDKey), stored);

        Composer composer(TULOTestConfiguration(authors));
        QCOMPARE(composer.selectedAuthor()->identifier(), expected);
        QVERIFY(composer.accountStore());
        composer.view();
        QCOMPARE(composer.authorSelectionView() != nullptr, authorRow);
        if (authorRow) {
            QCOMPARE(composer.composeView()->headerViews(), QList<QWidget *>{composer.authorSelectionView()});
            QCOMPARE(composer.authorSelectionView()->authorName(), composer.selectedAuthor()->name());
        }
    }

    void choosingAnAuthorIsRemembered()
    {
        const QList<TULOPostAuthor> authors{TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann")),
                                            TULOTestAuthor(QStringLiteral("a2"), QStringLiteral("The Band"))};
        Composer first(TULOTestConfiguration(authors));
        first.view();
        const std::shared_ptr<TULOAccountStore> before = first.accountStore();
        first.setSelectedAuthor(authors.at(1));
        QCOMPARE(first.authorSelectionView()->authorName(), QStringLiteral("The Band"));
        QVERIFY(first.accountStore() != before);
        QCOMPARE(first.accountStore()->author().identifier(), QStringLiteral("a2"));
        QCOMPARE(preferences().objectForKey(QString::fromLatin1(TULOPreferredAuthorIDKey)), QVariant(QStringLiteral("a2")));

        Composer second(TULOTestConfiguration(authors));
        QCOMPARE(second.selectedAuthor()->identifier(), QStringLiteral("a2"));
    }

    void noAuthorLeavesStoreAndAttributionUnset()
    {
        Composer composer(TULOTestConfiguration({}));
        QVERIFY(!composer.selectedAuthor());
        QVERIFY(!composer.accountStore());
        QVERIFY(!composer.attributionAuthor());
        composer.view();
        QVERIFY(!composer.attributionButton());
    }

    void attribution_data()
    {
        QTest::addColumn<QString>("active");
        QTest::addColumn<bool>("destinationMayAttribute");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("rowValue");
        QTest::newRow("no active account") << QString() << true << QString() << QString();
        QTest::newRow("active is the destination") << "band" << true << QString() << QString();
        QTest::newRow("destination may attribute")
            << "ann" << true << "ann"
            << TULOStringWithFormat(TULOSettingsTestText(QStringLiteral("ATTRIBUTION_PERSON_%@_FROM_GROUP_%@")),
                                    {QStringLiteral("Ann"), QStringLiteral("The Band")});
        QTest::newRow("destination may not attribute") << "ann" << false << "band" << "The Band";
    }
    void attribution()
    {
        QFETCH(QString, active);
        QFETCH(bool, destinationMayAttribute);
        QFETCH(QString, expected);
        QFETCH(QString, rowValue);
        const TULOPostAuthor band = TULOTestAuthor(QStringLiteral("band"), QStringLiteral("The Band"), destinationMayAttribute);
        const TULOPostAuthor ann = TULOTestAuthor(QStringLiteral("ann"), QStringLiteral("Ann"));
        TULOConfiguration configuration = TULOTestConfiguration({band});
        if (!active.isNull())
            configuration.setAuthorForActiveAccount(active == QLatin1String("ann") ? ann : band);

        Composer composer(configuration);
        QCOMPARE(composer.attributionAuthor() ? composer.attributionAuthor()->identifier() : QString(), expected);
        composer.view();
        QCOMPARE(composer.attributionButton() != nullptr, !expected.isNull());
        if (composer.attributionButton()) {
            QCOMPARE(composer.attributionButton()->valueText(), rowValue);
            QCOMPARE(composer.composeView()->footerViews().first(), composer.attributionButton());
        }
    }

    void allowedCharacterCount_data()
    {
        QTest::addColumn<qint64>("twitterLimit");
        QTest::addColumn<qint64>("facebookLimit");
        QTest::addColumn<bool>("twitterOn");
        QTest::addColumn<bool>("facebookOn");
        QTest::addColumn<qint64>("expected");
        QTest::addColumn<QString>("servicesRow");
        const QString also = TULOSettingsTestText(QStringLiteral("ALSO_SHARING_TO"));
        QTest::newRow("140 and no limit") << qint64(140) << qint64(0) << true << true << qint64(140)
                                          << also + QStringLiteral("|") + TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER_AND_FACEBOOK"));
        QTest::newRow("140 and a larger limit") << qint64(140) << qint64(5000) << true << true << qint64(140) << QString();
        QTest::newRow("larger first, then 140") << qint64(5000) << qint64(140) << true << true << qint64(140) << QString();
        QTest::newRow("only facebook on") << qint64(140) << qint64(5000) << false << true << qint64(5000)
                                          << also + QStringLiteral("|") + TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_FACEBOOK"));
        QTest::newRow("negative limit skipped") << qint64(-1) << qint64(300) << true << true << qint64(300) << QString();
        QTest::newRow("none on") << qint64(140) << qint64(5000) << false << false << qint64(0)
                                 << TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_NEEDS_SETUP")) + QStringLiteral("|");
    }
    void allowedCharacterCount()
    {
        QFETCH(qint64, twitterLimit);
        QFETCH(qint64, facebookLimit);
        QFETCH(bool, twitterOn);
        QFETCH(bool, facebookOn);
        QFETCH(qint64, expected);
        QFETCH(QString, servicesRow);
        const TULOPostAuthor author = TULOTestAuthor(TULOSettingsTestFixture::newAuthor().identifier(), QStringLiteral("Ann"));
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QString()));
        auto store = m_fixture.makeStore(author);
        QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        store->setAccountEnabled(twitterOn, TULOTestTwitter);
        store->setAccountEnabled(facebookOn, TULOTestFacebook);

        TULOConfiguration configuration = TULOConfigurationWithServices({TULOTestTwitter, TULOTestFacebook});
        QVariantList services = *configuration.allowedExternalServices();
        for (QVariant &value : services) {
            TULOSocialService service = value.value<TULOSocialService>();
            service.setMaximumNumberOfCharacters(service.identifier() == TULOTestTwitter ? twitterLimit : facebookLimit);
            value = QVariant::fromValue(service);
        }
        configuration.setAllowedExternalServices(services);
        configuration.setPotentalAuthors(QList<TULOPostAuthor>{author});

        auto composer = makeComposer(configuration);
        QCOMPARE(composer->allowedCharacterCount(), expected);
        QCOMPARE(composer->composeView()->allowedCharacterCount(), expected);
        if (!servicesRow.isNull())
            QCOMPARE(composer->externalServicesButton()->labelText() + QLatin1Char('|') + composer->externalServicesButton()->valueText(),
                     servicesRow);
    }

    // A switch turned in the settings reaches the open editor through the account store's
    // notification: the limit and the services row follow.
    void accountStoreChangeUpdatesTheLimit()
    {
        const TULOPostAuthor author = TULOTestAuthor(TULOSettingsTestFixture::newAuthor().identifier(), QStringLiteral("Ann"));
        auto store = m_fixture.makeStore(author);
        QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        store->setAccountEnabled(false, TULOTestTwitter);
        TULOConfiguration configuration = TULOConfigurationWithServices({TULOTestTwitter});
        configuration.setPotentalAuthors(QList<TULOPostAuthor>{author});
        auto composer = makeComposer(configuration);
        QCOMPARE(composer->composeView()->allowedCharacterCount(), qint64(0));
        QCOMPARE(composer->externalServicesButton()->labelText(),
                 TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_NEEDS_SETUP_TWITTER_ONLY")));
        QCOMPARE(composer->externalServicesButton()->valueText(), QString());

        store->setAccountEnabled(true, TULOTestTwitter);
        QTRY_COMPARE(composer->composeView()->allowedCharacterCount(), qint64(140));
        QCOMPARE(composer->externalServicesButton()->labelText(), TULOSettingsTestText(QStringLiteral("ALSO_SHARING_TO")));
        QCOMPARE(composer->externalServicesButton()->valueText(), TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER")));
    }

    void addAttachmentsOpensTheFirstEditable_data()
    {
        QTest::addColumn<QList<int>>("types");
        QTest::addColumn<QStringList>("edited");
        QTest::addColumn<QStringList>("added");
        QTest::newRow("two videos") << QList<int>{4, 4} << QStringList{"0"} << QStringList{"1"};
        QTest::newRow("image, song, video") << QList<int>{2, 1, 4} << QStringList{"1"} << QStringList{"0", "2"};
        QTest::newRow("images only") << QList<int>{2, 2} << QStringList{} << QStringList{"0", "1"};
    }
    void addAttachmentsOpensTheFirstEditable()
    {
        QFETCH(QList<int>, types);
        QFETCH(QStringList, edited);
        QFETCH(QStringList, added);
        QList<TULOAttachmentPtr> attachments;
        for (int type : types)
            attachments << TULOTestAttachmentOfType(TULOAttachmentType(type));
        Composer composer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}));
        TULOContentRecorder recorder;
        composer.setDelegate(&recorder);
        composer.view();
        composer.addAttachments(attachments, true);
        QCOMPARE(identifiers(composer.edited, attachments), edited);
        QCOMPARE(identifiers(composer.attachments(), attachments), added);
        QCOMPARE(composer.composeView()->attachmentViews().size(), added.size());
        QCOMPARE(recorder.reports.constLast(), !added.isEmpty());
    }

    void attachmentButton_data()
    {
        QTest::addColumn<int>("maximum");
        QTest::addColumn<int>("attachments");
        QTest::addColumn<int>("openSlots");
        QTest::addColumn<bool>("withItem");
        QTest::addColumn<bool>("shown");
        QTest::newRow("below the limit") << 2 << 1 << 0 << false << true;
        QTest::newRow("at the limit") << 2 << 2 << 0 << false << false;
        QTest::newRow("an open recorder slot counts") << 2 << 1 << 1 << false << false;
        QTest::newRow("content item hides it") << 4 << 0 << 0 << true << false;
    }
    void attachmentButton()
    {
        QFETCH(int, maximum);
        QFETCH(int, attachments);
        QFETCH(int, openSlots);
        QFETCH(bool, withItem);
        QFETCH(bool, shown);
        TULOConfiguration configuration = TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}, maximum);
        if (withItem)
            configuration.setItem(TULOStoreItem());
        Composer composer(configuration);
        composer.view();
        for (int i = 0; i < attachments; ++i)
            composer.didEditAttachment(TULOTestImageAttachment());
        for (int i = 0; i < openSlots; ++i)
            composer.handleAttachmentMenuResult(TULOComposePostViewController::AttachmentMenuResultSoundBite, {});
        QCOMPARE(composer.composeView()->showsAttachmentButton(), shown);
        if (withItem)
            QVERIFY(composer.composeView()->attachmentViews().isEmpty());
        else
            QCOMPARE(composer.composeView()->attachmentViews().size(), attachments + openSlots);
    }

    void postButtonFollowsTheContent()
    {
        Composer composer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}));
        TULOContentRecorder recorder;
        composer.setDelegate(&recorder);
        composer.view();
        QCOMPARE(recorder.reports, QList<bool>{false});
        // Only what the user types is reported, so the test types.
        QTest::keyClicks(composer.composeView()->textView(), QStringLiteral("Out now"));
        QCOMPARE(recorder.reports.constLast(), true);
        QTest::keyClick(composer.composeView()->textView(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(composer.composeView()->textView(), Qt::Key_Backspace);
        QCOMPARE(recorder.reports.constLast(), false);

        composer.didEditAttachment(TULOTestImageAttachment());
        QCOMPARE(recorder.reports.constLast(), true);
        // Taking it out again empties the post.
        composer.composePostViewDidRemoveAttachmentViewAtIndex(composer.composeView(), composer.composeView()->attachmentViews().first(), 0);
        QVERIFY(composer.attachments().isEmpty());
        QCOMPARE(recorder.reports.constLast(), false);
    }

    void removingADownloadedSongRemovesItFromTheLibrary_data()
    {
        QTest::addColumn<bool>("downloaded");
        QTest::newRow("downloaded for this post") << true;
        QTest::newRow("already in the library") << false;
    }
    void removingADownloadedSongRemovesItFromTheLibrary()
    {
        QFETCH(bool, downloaded);
        Composer composer(TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}));
        composer.view();
        const TULOAttachmentPtr song = TULOTestAttachmentOfType(TULOAttachmentTypeAudio, QStringLiteral("Song"));
        const TULOAttachmentPtr image = TULOTestImageAttachment();
        composer.didEditAttachment(image);
        composer.didEditAttachment(song);
        composer.setAttachmentWasDownloadedAndNeedsRemoval(downloaded);
        composer.composePostViewDidRemoveAttachmentViewAtIndex(composer.composeView(), composer.composeView()->attachmentViews().at(1), 1);
        QCOMPARE(composer.attachments(), QList<TULOAttachmentPtr>{image});
        QCOMPARE(composer.removedFromLibrary, downloaded ? QList<TULOAttachmentPtr>{song} : QList<TULOAttachmentPtr>{});
        QCOMPARE(composer.attachmentWasDownloadedAndNeedsRemoval(), downloaded);
    }

    // A finished take enables Post alone, stops counting as an open slot, and is the only
    // attachment the post carries.
    void soundBiteReplacesTheOtherAttachments()
    {
        TULOConfiguration configuration = TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))}, 2);
        Composer composer(configuration);
        TULOContentRecorder recorder;
        composer.setDelegate(&recorder);
        composer.view();
        composer.handleAttachmentMenuResult(TULOComposePostViewController::AttachmentMenuResultSoundBite, {});
        QCOMPARE(recorder.reports.constLast(), false);
        composer.composePostViewDidRemoveAttachmentViewAtIndex(composer.composeView(), composer.composeView()->attachmentViews().first(), 0);
        QVERIFY(composer.soundBiteViewControllers().isEmpty());

        QVERIFY(recordSoundBite(composer));
        QVERIFY(composer.hasSoundBite());
        QCOMPARE(recorder.reports.constLast(), true);
        composer.didEditAttachment(TULOTestImageAttachment());
        // One attachment and a filled slot: the filled slot does not count.
        QVERIFY(composer.composeView()->showsAttachmentButton());

        std::optional<TULOPostDescription> description;
        bool called = false;
        composer.getPostDescriptionUsingBlock([&](const std::optional<TULOPostDescription> &result, const TULOError &) {
            called = true;
            description = result;
        });
        QTRY_VERIFY_WITH_TIMEOUT(called, 20000);
        QVERIFY(description);
        const QList<TULOPostAttachment> attachments = description->attachments().value_or(QList<TULOPostAttachment>());
        QCOMPARE(attachments.size(), 1);
        QCOMPARE(attachments.first().UTI(), composer.soundBiteViewControllers().first()->attachment()->UTI());
        QVERIFY(QFileInfo(attachments.first().assetURL().toLocalFile()).size() > 0);
    }
};

QTEST_MAIN(TestComposePostViewController)
#include "tst_composepostviewcontroller.moc"
