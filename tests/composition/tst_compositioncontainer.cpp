#include "compositiontestsupport.h"

#include "../upload/uploadtestsupport.h"
#include "support/screenshotsupport.h"
#include "support/testsupport.h"

#include <Quillon/compose/draftstore.h>
#include <Quillon/composition/compositioncontainerviewcontroller.h>
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>
#include <Quillon/platform/records/postartist.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/semaphore_p.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/window.h>

#include <QApplication>
#include <QDir>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>

namespace {

// A configuration load that answers what the test says, when the test lets it.
class ScriptedLoad : public TULOLoadConfigurationOperation
{
public:
    std::optional<TULOConfiguration> configuration;
    TULOError error;
    std::shared_ptr<TULOSemaphore> gate;

protected:
    void main() override
    {
        if (gate)
            gate->wait();
        if (ConfigurationBlock block = configurationBlock())
            block(configuration, clientContext(), error);
    }
};

class Container : public TULOCompositionContainerViewController
{
public:
    using TULOCompositionContainerViewController::TULOCompositionContainerViewController;
    using TULOCompositionContainerViewController::finishLoadWithConfiguration;

    std::optional<TULOConfiguration> loaded;
    TULOError loadError;
    std::shared_ptr<TULOSemaphore> gate;
    int loadsStarted = 0;

protected:
    std::shared_ptr<TULOLoadConfigurationOperation> newLoadConfigurationOperation() override
    {
        ++loadsStarted;
        auto load = std::make_shared<ScriptedLoad>();
        load->configuration = loaded;
        load->error = loadError;
        load->gate = gate;
        return load;
    }
};

struct HostDelegate : QObject, TULOComposePostDelegate, TULOModalDocumentController
{
    QList<qint64> results;
    QList<TULOError> loadErrors;
    std::optional<bool> allowRecording;
    int unloads = 0;
    bool answersFinish = true;

    void composePostViewControllerDidFinishWithResult(TULOCompositionContainerViewController *controller,
                                                      TULOComposePostResult result) override
    {
        if (!answersFinish)
            return TULOComposePostDelegate::composePostViewControllerDidFinishWithResult(controller, result);
        results.append(result);
    }
    std::optional<bool> composePostViewControllerShouldAllowRecordingAttachments(TULOCompositionContainerViewController *) override
    {
        return allowRecording;
    }
    void composePostViewControllerConfigurationDidFailLoadWithError(TULOCompositionContainerViewController *,
                                                                    const TULOError &error) override
    {
        loadErrors.append(error);
    }
    void unloadDocumentForViewController(TULOViewController *) override { ++unloads; }
};

TULOConfiguration oneAuthor()
{
    return TULOTestConfiguration({TULOTestAuthor(QStringLiteral("a1"), QStringLiteral("Ann"))});
}

TULOStoreItem itemNamed(const QString &name)
{
    TULOStoreItem item;
    item.setDisplayName(name);
    return item;
}

// Written as `writer` (the signed-in account's author), who may also post as the band.
TULOConfiguration writerConfiguration(const QString &writer, const QString &itemIdentifier)
{
    const TULOPostAuthor self = TULOTestAuthor(writer, writer.toUpper());
    TULOConfiguration configuration =
        TULOTestConfiguration({self, TULOTestAuthor(QStringLiteral("band"), QStringLiteral("The Band"))});
    configuration.setAuthorForActiveAccount(self);
    if (!itemIdentifier.isEmpty()) {
        TULOStoreItem item = itemNamed(QStringLiteral("Item ") + itemIdentifier);
        item.setItemIdentifier(itemIdentifier);
        configuration.setItem(item);
    }
    return configuration;
}

// The one author the sandbox lets the demo account post as.
TULOConfiguration sandboxArtist()
{
    return TULOTestConfiguration({TULOTestAuthor(TULOSandboxStore::demoArtistIdentifier(), QStringLiteral("Dana Demo"))});
}

TULOAttachmentPtr titledImage(const QString &title, Qt::GlobalColor color)
{
    TULOAttachmentPtr image = TULOTestImageAttachment(color);
    image->setTitle(title);
    return image;
}

int tokenCount(TULOTokenTextView *view)
{
    int count = 0;
    view->enumerateTokenAttachmentsUsingBlock([&count](const auto &, qsizetype, bool *) { ++count; });
    return count;
}

// What the draft on disk says; a null text when there is none.
QString draftText(const QString &folder, const TULODraftKey &key)
{
    return TULODraftStore(folder).load(key).value_or(TULOCompositionDraft()).text;
}

TULOAlertAction *actionTitled(TULOAlertController *alert, const QString &title)
{
    for (TULOAlertAction *action : alert->actions())
        if (action->title() == title)
            return action;
    return nullptr;
}

} // namespace

// The container a host presents: loading, handing over, the bar's buttons, the host's
// delegate, and a whole post against the sandbox store.
class TestCompositionContainer : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    QPalette m_lightPalette;

    // Shows `container` as a form sheet over a host window.
    std::unique_ptr<TULOWindow> present(TULOViewController *container, bool animated = false)
    {
        auto window = std::make_unique<TULOWindow>();
        auto *host = new TULOViewController(window.get());
        window->setRootViewController(host);
        window->resize(900, 700);
        window->show();
        host->presentViewController(container, animated);
        return window;
    }

    static void answerSignInAs(const QString &password)
    {
        TULOAuthenticationContext::setDefaultPromptHandler([password](const QString &, const TULOError &previous) {
            // An empty password is the user cancelling; one refused is not offered twice.
            if (password.isEmpty() || !previous.isNull())
                return std::optional<TULOAuthenticationPromptReply>();
            return std::optional<TULOAuthenticationPromptReply>({TULOSandboxStore::demoAccountName(), password, false});
        });
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_fixture.start());
        m_lightPalette = QApplication::palette();
        // The configuration load signs in again when it must; the user answers as the demo artist.
        answerSignInAs(TULOSandboxStore::demoPassword());
    }
    void cleanupTestCase()
    {
        TULOAuthenticationContext::setDefaultPromptHandler(nullptr);
        m_fixture.stop();
    }

    // Containers without a store of their own keep drafts in the default one; no test may find
    // what another wrote.
    void init()
    {
        TULODraftStore *drafts = TULODraftStore::defaultStore();
        drafts->flush();
        QDir(drafts->folder()).removeRecursively();
    }

    void pendingAttachmentsReachTheEditorOnceInOrder_data()
    {
        QTest::addColumn<int>("count");
        QTest::newRow("three images") << 3;
        QTest::newRow("empty list") << 0;
    }
    void pendingAttachmentsReachTheEditorOnceInOrder()
    {
        QFETCH(int, count);
        Container container(itemNamed(QStringLiteral("Song")));
        container.loaded = oneAuthor();
        QList<TULOAttachmentPtr> attachments;
        for (int i = 0; i < count; ++i)
            attachments << TULOTestImageAttachment(i % 2 ? Qt::blue : Qt::green);
        container.addAttachments(attachments.mid(0, count / 2));
        container.addAttachments(attachments.mid(count / 2));
        QCOMPARE(container.pendingAttachments(), std::optional(attachments));
        QVERIFY(!container.composePostViewController());

        container.view();
        container.beginAppearanceTransition(true, false);
        QTRY_VERIFY(container.composePostViewController());
        container.endAppearanceTransition();
        QCOMPARE(container.childNavigationController()->viewControllers(),
                 QList<TULOViewController *>{container.composePostViewController()});
        QCOMPARE(container.composePostViewController()->attachments(), attachments);
        // Handed over: an empty list stays as it was, a full one is gone.
        QCOMPARE(container.pendingAttachments(), count ? std::nullopt : std::optional(QList<TULOAttachmentPtr>()));
        // Attachments after the editor exists go straight to it.
        const TULOAttachmentPtr late = TULOTestImageAttachment();
        container.addAttachments({late});
        QCOMPARE(container.composePostViewController()->attachments().constLast(), late);
    }

    void itemAndRecordingPermissions_data()
    {
        QTest::addColumn<bool>("configurationHasItem");
        QTest::addColumn<std::optional<bool>>("answer");
        QTest::addColumn<QString>("expectedItem");
        QTest::addColumn<bool>("itemLeftInContainer");
        QTest::addColumn<bool>("microphone");
        QTest::addColumn<bool>("camera");
        QTest::newRow("container's item moves in, NO turns both off")
            << false << std::optional<bool>(false) << "Handed in" << false << false << false;
        QTest::newRow("configuration's item wins, YES turns both on")
            << true << std::optional<bool>(true) << "Loaded" << true << true << true;
        QTest::newRow("no answer keeps the configuration's") << false << std::optional<bool>() << "Handed in" << false << true << false;
    }
    void itemAndRecordingPermissions()
    {
        QFETCH(bool, configurationHasItem);
        QFETCH(std::optional<bool>, answer);
        QFETCH(QString, expectedItem);
        QFETCH(bool, itemLeftInContainer);
        QFETCH(bool, microphone);
        QFETCH(bool, camera);
        HostDelegate host;
        host.allowRecording = answer;
        Container container(itemNamed(QStringLiteral("Handed in")));
        container.setDelegate(&host);
        TULOConfiguration loaded = oneAuthor();
        loaded.setAllowsMicrophone(true);
        loaded.setAllowsCamera(false);
        if (configurationHasItem)
            loaded.setItem(itemNamed(QStringLiteral("Loaded")));
        container.finishLoadWithConfiguration(loaded, TULOClientContext::defaultContext(), TULOError());
        QCOMPARE(container.configuration()->item()->displayName(), expectedItem);
        QCOMPARE(container.item().has_value(), itemLeftInContainer);
        QCOMPARE(container.configuration()->allowsMicrophone(), microphone);
        QCOMPARE(container.configuration()->allowsCamera(), camera);
        QCOMPARE(container.composePostViewController()->configuration().allowsMicrophone(), microphone);
    }

    // Post starts disabled on the loading screen and again on the editor, whatever was
    // reported before; only the editor's report enables it.
    void postIsDisabledAfterEveryReload()
    {
        Container container(itemNamed(QStringLiteral("Song")));
        container.view();
        TULOBarButtonItem *post = container.shareButtonItem();
        QVERIFY(!post->isEnabled());
        container.composePostViewControllerContentDidChange(nullptr, true);
        QVERIFY(post->isEnabled());
        container.finishLoadWithConfiguration(oneAuthor(), TULOClientContext::defaultContext(), TULOError());
        QVERIFY(!post->isEnabled());
        TULOComposePostViewController *editor = container.composePostViewController();
        QCOMPARE(editor->navigationItem()->rightBarButtonItem(), post);
        QCOMPARE(editor->navigationItem()->leftBarButtonItem(), container.cancelButtonItem());
        // Only what the user types is reported, so the test types.
        QTest::keyClicks(editor->composeView()->textView(), QStringLiteral("Hello"));
        QVERIFY(post->isEnabled());
        QTest::keyClick(editor->composeView()->textView(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(editor->composeView()->textView(), Qt::Key_Backspace);
        QVERIFY(!post->isEnabled());
    }

    void releasedWhileLoading()
    {
        HostDelegate host;
        auto gate = std::make_shared<TULOSemaphore>();
        auto queue = std::make_shared<TULOOperationQueue>();
        {
            Container container(itemNamed(QStringLiteral("Song")));
            container.setOperationQueue(queue);
            container.setDelegate(&host);
            container.gate = gate;
            container.loaded = oneAuthor();
            container.view();
            container.beginAppearanceTransition(true, false);
            container.endAppearanceTransition();
            // A second appearance while loading starts nothing new.
            container.beginAppearanceTransition(false, false);
            container.endAppearanceTransition();
            container.beginAppearanceTransition(true, false);
            container.endAppearanceTransition();
            QCOMPARE(container.loadsStarted, 1);
            QVERIFY(container.isLoadingConfiguration());
        }
        gate->signal();
        queue->waitUntilAllOperationsAreFinished();
        QCoreApplication::processEvents();
        QCOMPARE(host.results, QList<qint64>());
        QCOMPARE(host.loadErrors.size(), 0);
    }

    void loadFailure_data()
    {
        QTest::addColumn<bool>("withDelegate");
        QTest::newRow("told to the delegate") << true;
        QTest::newRow("no delegate: dismisses itself") << false;
    }
    void loadFailure()
    {
        QFETCH(bool, withDelegate);
        HostDelegate host;
        auto *container = new Container(itemNamed(QStringLiteral("Song")));
        QPointer<Container> guard(container);
        if (withDelegate)
            container->setDelegate(&host);
        container->setModalDocumentController(&host);
        container->loadError = TULOError(TULOStoreErrorDomain, TULOStoreErrorTimedOut);
        auto window = present(container);
        QTRY_COMPARE(host.unloads, 1);
        QVERIFY(container == nullptr || !container->isLoadingConfiguration());
        if (withDelegate) {
            QCOMPARE(host.loadErrors.size(), 1);
            QCOMPARE(host.loadErrors.first().code(), qint64(121));
            QVERIFY(guard);
            QVERIFY(guard->presentingViewController());
            // Still on the placeholder; the next appearance loads again.
            QVERIFY(!guard->composePostViewController());
        } else {
            QTRY_VERIFY(!guard || !guard->presentingViewController());
        }
    }

    void keyboardCancelsAndPosts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("key");
        QTest::addColumn<QList<qint64>>("results");
        QTest::newRow("Escape cancels") << QString() << int(Qt::Key_Escape) << QList<qint64>{0};
        QTest::newRow("Ctrl+Return with nothing written") << QString() << int(Qt::Key_Return) << QList<qint64>{};
        QTest::newRow("Ctrl+Return posts") << QStringLiteral("Hi") << int(Qt::Key_Return) << QList<qint64>{1};
    }
    void keyboardCancelsAndPosts()
    {
        QFETCH(QString, text);
        QFETCH(int, key);
        QFETCH(QList<qint64>, results);
        HostDelegate host;
        auto *container = new Container(std::optional(oneAuthor()));
        container->setDelegate(&host);
        TULOPostOutbox outbox(m_fixture.home.filePath(QStringLiteral("outbox-keys")));
        container->setOutbox(&outbox);
        auto window = present(container);
        QTRY_VERIFY(container->composePostViewController()->composeView()->isVisible());
        if (!text.isEmpty())
            QTest::keyClicks(container->composePostViewController()->composeView()->textView(), text);
        QWidget *focus = container->composePostViewController()->composeView()->textView();
        QWidget *sheet = container->view()->window();
        sheet->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(sheet));
        QTest::keyClick(focus, Qt::Key(key), key == Qt::Key_Return ? Qt::ControlModifier : Qt::NoModifier);
        QCOMPARE(host.results, results);
    }

    // A whole composition through the store: the configuration loaded from the sandbox, text
    // with a tag token, a photo handed in before the editor existed, the group as author with
    // the user credited, Twitter switched on; the post is read back from the store's list.
    void fullCompositionIsPostedAndReadBack()
    {
        HostDelegate host;
        auto *container = new TULOCompositionContainerViewController;
        container->setDelegate(&host);
        TULOPostOutbox outbox(m_fixture.home.filePath(QStringLiteral("outbox-e2e")));
        container->setOutbox(&outbox);
        const std::shared_ptr<TULOUploadStatus> status = container->uploadStatus();
        QFile photo(TULOSourcePath(QStringLiteral("resources/samples/sunset.jpg")));
        QVERIFY(photo.open(QIODevice::ReadOnly));
        container->addAttachments({std::make_shared<TULOAttachment>(photo.readAll(), QStringLiteral("image/jpeg"))});
        auto window = present(container);
        QTRY_VERIFY_WITH_TIMEOUT(container->composePostViewController() || !host.loadErrors.isEmpty(), 30000);
        QVERIFY2(host.loadErrors.isEmpty(), qPrintable(host.loadErrors.value(0).domain() + QLatin1Char(' ')
                                                       + QString::number(host.loadErrors.value(0).code())));
        TULOComposePostViewController *editor = container->composePostViewController();
        QCOMPARE(editor->attachments().size(), 1);

        const std::optional<TULOPostAuthor> active = container->configuration()->authorForActiveAccount();
        std::optional<TULOPostAuthor> group;
        for (const TULOPostAuthor &author : container->configuration()->authorsForSharing())
            if (!group && !(active && author == *active) && author.hasPermission(TULOAuthorPermissionShareWithAttribution))
                group = author;
        QVERIFY(group);
        // Twitter linked as the setup screen does it: signed in at the service, then kept.
        auto store = m_fixture.makeStore(*group);
        TULOCallbackResult<std::optional<TULOAccount>> signIn;
        store->verifyUserName(TULOSandboxSocial::twitterUserName(), TULOSandboxSocial::twitterPassword(), TULOTestTwitter,
                              [&signIn](const std::optional<TULOAccount> &account, const TULOError &error) {
                                  signIn.deliver(account, error);
                              });
        QTRY_COMPARE_WITH_TIMEOUT(signIn.calls(), 1, TULOStoreTestWait);
        QVERIFY(signIn.value().has_value());
        TULOAccount twitterAccount = *signIn.value();
        twitterAccount.setPassword(TULOSandboxSocial::twitterPassword());
        QVERIFY(store->saveAccount(twitterAccount));
        store->setAccountEnabled(true, TULOTestTwitter);

        // The author menu, as the user opens it.
        auto *authorRow = editor->composeView()->findChild<TULOAuthorView *>();
        QVERIFY(authorRow);
        authorRow->authorNameButton()->click();
        auto *menu = qobject_cast<TULOAlertController *>(editor->presentedViewController());
        QVERIFY(menu);
        TULOAlertAction *choice = nullptr;
        for (TULOAlertAction *action : menu->actions())
            if (action->title() == group->name())
                choice = action;
        QVERIFY(choice);
        QVERIFY(menu->triggerAction(choice));
        QTRY_COMPARE(editor->selectedAuthor()->identifier(), group->identifier());
        QCOMPARE(editor->attributionAuthor()->identifier(), active->identifier());

        TULOTokenTextView *text = editor->composeView()->textView();
        text->setFocus();
        QTest::keyClicks(text, QStringLiteral("Out now with "));
        editor->composeView()->insertTag(TULOTag(TULOPostArtist(QStringLiteral("9001"), QStringLiteral("The Quillons"))));
        QTest::keyClicks(text, QStringLiteral("on tour"));
        const QString written = editor->composeView()->text();
        QVERIFY2(written.contains(QStringLiteral("The Quillons")) && written.contains(QStringLiteral("@{")), qPrintable(written));
        QVERIFY(container->shareButtonItem()->isEnabled());

        QVERIFY(container->shareButtonItem()->trigger());
        QCOMPARE(host.results, QList<qint64>{TULOComposePostResultPosted});
        QTRY_VERIFY_WITH_TIMEOUT(status->state() == TULOUploadStatus::Posted || status->state() == TULOUploadStatus::Failed, 60000);
        QVERIFY2(status->state() == TULOUploadStatus::Posted, qPrintable(status->error().localizedDescription()));

        const QString postId = status->postURL().fragment().section(QLatin1Char('-'), 1);
        QJsonObject post;
        for (const QJsonValue &value : TULOFetchSandboxPosts(m_fixture.sandbox))
            if (value.toObject().value(QStringLiteral("postId")).toString() == postId)
                post = value.toObject();
        QVERIFY2(!post.isEmpty(), qPrintable(status->postURL().toString()));
        QCOMPARE(post.value(QStringLiteral("text")).toString(), written);
        QCOMPARE(post.value(QStringLiteral("authorId")).toString(), group->identifier());
        QCOMPARE(post.value(QStringLiteral("attributed")).toBool(), true);
        const QJsonArray attachments = post.value(QStringLiteral("attachments")).toArray();
        QCOMPARE(attachments.size(), 1);
        QCOMPARE(attachments.first().toObject().value(QStringLiteral("type")).toInt(), int(TULOAttachmentTypeImage));
        QVERIFY(attachments.first().toObject().value(QStringLiteral("size")).toDouble() > 1000);
        const QJsonArray destinations = post.value(QStringLiteral("externalDestinations")).toArray();
        QCOMPARE(destinations.size(), 1);
        QCOMPARE(destinations.first().toObject().value(QStringLiteral("service")).toString(), TULOTestTwitter);
    }

    void itemConstructorSignsInAndLoads_data()
    {
        QTest::addColumn<bool>("signedOut");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("storeReachable");
        QTest::addColumn<bool>("editorShown");
        QTest::newRow("kept session") << false << QString() << true << true;
        QTest::newRow("signs in") << true << TULOSandboxStore::demoPassword() << true << true;
        QTest::newRow("sign-in cancelled") << true << QString() << true << false;
        QTest::newRow("password refused") << true << QStringLiteral("not the password") << true << false;
        QTest::newRow("store unreachable") << false << TULOSandboxStore::demoPassword() << false << false;
    }
    // As a host shares a store item: the container presented at once (animated, so the
    // configuration may arrive while the sheet comes up) shows the editor about the item once
    // signed in, or tells the host why not; it never waits for ever.
    void itemConstructorSignsInAndLoads()
    {
        QFETCH(bool, signedOut);
        QFETCH(QString, password);
        QFETCH(bool, storeReachable);
        QFETCH(bool, editorShown);
        if (signedOut)
            TULOStoreAccountStore::defaultStore()->invalidateToken();
        answerSignInAs(password);
        // Later tests post with the demo account's session.
        const auto restore = qScopeGuard([this] {
            answerSignInAs(TULOSandboxStore::demoPassword());
            TULOSignInDemoAccount(m_fixture.sandbox);
        });
        HostDelegate host;
        TULOStoreItem album = itemNamed(QStringLiteral("First Light"));
        album.setItemIdentifier(QStringLiteral("2001"));
        auto *container = new TULOCompositionContainerViewController(album);
        QPointer<TULOCompositionContainerViewController> guard(container);
        container->setDelegate(&host);
        if (!storeReachable) {
            // A port nothing listens on: the bag cannot be loaded.
            TULOSandboxStore closed;
            QVERIFY(closed.start());
            const QUrl bag = closed.bagUrl();
            closed.stop();
            container->setClientContext(std::make_shared<TULOClientContext>(bag));
        }
        auto window = present(container, true);
        QTRY_VERIFY_WITH_TIMEOUT(!host.loadErrors.isEmpty() || (container->composePostViewController()
                                                                && container->composePostViewController()->isVisible()), 30000);
        QVERIFY(guard);
        QVERIFY(!container->isLoadingConfiguration());
        if (editorShown) {
            QVERIFY2(host.loadErrors.isEmpty(), qPrintable(host.loadErrors.value(0).localizedDescription()));
            TULOComposePostViewController *editor = container->composePostViewController();
            QCOMPARE(container->childNavigationController()->topViewController(), editor);
            QVERIFY(editor->composeView()->isVisible());
            QCOMPARE(editor->configuration().item()->itemIdentifier(), QStringLiteral("2001"));
            QCOMPARE(editor->navigationItem()->rightBarButtonItem(), container->shareButtonItem());
            // The editor took its appearance: typing reaches it and enables Post.
            QTest::keyClicks(editor->composeView()->textView(), QStringLiteral("Out now"));
            QVERIFY(container->shareButtonItem()->isEnabled());
        } else {
            QCOMPARE(host.loadErrors.size(), 1);
            // Said in words, not a bare code.
            const QString reason = host.loadErrors.first().localizedDescription();
            QVERIFY2(!reason.isEmpty() && !reason.startsWith(QLatin1String("The operation couldn")), qPrintable(reason));
            QVERIFY(!container->composePostViewController());
            QVERIFY(!container->shareButtonItem()->isEnabled());
        }
    }

    // A post whose file is gone by the time it is prepared: the host hears Posted at once, as
    // always, and the upload status then fails with the reason; nothing is left to retry.
    void unpreparablePostFailsTheUploadStatus()
    {
        HostDelegate host;
        auto *container = new Container(std::optional(oneAuthor()));
        container->setDelegate(&host);
        TULOPostOutbox outbox(m_fixture.home.filePath(QStringLiteral("outbox-missing")));
        container->setOutbox(&outbox);
        const std::shared_ptr<TULOUploadStatus> status = container->uploadStatus();
        QSignalSpy failed(status.get(), &TULOUploadStatus::failed);
        const QString missing = m_fixture.home.filePath(QStringLiteral("gone.jpg"));
        container->addAttachments({std::make_shared<TULOAttachment>(QUrl::fromLocalFile(missing), QStringLiteral("image/jpeg"))});
        auto window = present(container);
        QTRY_VERIFY(container->shareButtonItem()->isEnabled());
        QVERIFY(container->shareButtonItem()->trigger());
        QCOMPARE(host.results, QList<qint64>{TULOComposePostResultPosted});
        QCOMPARE(status->state(), TULOUploadStatus::Preparing);
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, 20000);
        QCOMPARE(status->state(), TULOUploadStatus::Failed);
        QVERIFY(!status->error().isNull());
        QVERIFY(!status->error().localizedDescription().isEmpty());
        QVERIFY(!status->retry());
        QVERIFY(outbox.entries().isEmpty());
    }

    void draftIsRestoredForTheSameWriterAndItemOnly_data()
    {
        QTest::addColumn<QString>("writer");
        QTest::addColumn<QString>("item");
        QTest::addColumn<bool>("restored");
        QTest::newRow("same writer and item") << "ann" << "2001" << true;
        QTest::newRow("another item") << "ann" << "2002" << false;
        QTest::newRow("no item") << "ann" << QString() << false;
        QTest::newRow("another writer") << "bob" << "2001" << false;
    }
    // Written, chosen and attached in one container; the next one for the same writer and item
    // shows it all again before anything is typed, and any other starts empty.
    void draftIsRestoredForTheSameWriterAndItemOnly()
    {
        QFETCH(QString, writer);
        QFETCH(QString, item);
        QFETCH(bool, restored);
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        const TULODraftKey written{QStringLiteral("ann"), QStringLiteral("2001")};
        const QList<TULOAttachmentPtr> attached{titledImage(QStringLiteral("First"), Qt::green),
                                                titledImage(QStringLiteral("Second"), Qt::blue)};
        QString text;
        {
            auto *container = new Container(std::optional(writerConfiguration(QStringLiteral("ann"), QStringLiteral("2001"))));
            container->setDraftStore(&drafts);
            auto window = present(container);
            QCOMPARE(container->draftKey(), std::optional(written));
            TULOComposePostViewController *editor = container->composePostViewController();
            container->addAttachments(attached);
            QTest::keyClicks(editor->composeView()->textView(), QStringLiteral("Tour dates with "));
            editor->composeView()->insertTag(TULOTag(TULOPostArtist(QStringLiteral("17"), QStringLiteral("Mira \"MS\" Sol"))));
            QTest::keyClicks(editor->composeView()->textView(), QStringLiteral("tonight"));
            // The band as author, through the author menu; the writer is credited.
            editor->composeView()->findChild<TULOAuthorView *>()->authorNameButton()->click();
            auto *menu = TULOSettingsTestFixture::presentedAlert(editor);
            QVERIFY(menu);
            QVERIFY(menu->triggerAction(actionTitled(menu, QStringLiteral("The Band"))));
            QTRY_COMPARE(editor->selectedAuthor()->identifier(), QStringLiteral("band"));
            text = editor->composeView()->text();
            // On disk while the container is still open.
            QTRY_COMPARE(draftText(folder.path(), written), text);
            // Closing writes what is still pending: the author chosen last.
            delete container;
        }
        const std::optional<TULOCompositionDraft> kept = TULODraftStore(folder.path()).load(written);
        QVERIFY(kept);
        QCOMPARE(kept->authorIdentifier, QStringLiteral("band"));

        Container reopened{std::optional(writerConfiguration(writer, item))};
        reopened.setDraftStore(&drafts);
        reopened.view();
        TULOComposePostViewController *editor = reopened.composePostViewController();
        if (restored) {
            QCOMPARE(editor->composeView()->text(), text);
            QCOMPARE(tokenCount(editor->composeView()->textView()), 1);
            QCOMPARE(editor->attachments().size(), 2);
            QCOMPARE(editor->attachments().at(0)->title(), QStringLiteral("First"));
            QCOMPARE(editor->attachments().at(1)->title(), QStringLiteral("Second"));
            QCOMPARE(editor->attachments().at(1)->assetImage().pixelColor(0, 0), QColor(Qt::blue));
            QCOMPARE(editor->selectedAuthor()->identifier(), QStringLiteral("band"));
            QCOMPARE(editor->attributionAuthor()->identifier(), QStringLiteral("ann"));
            QVERIFY(reopened.shareButtonItem()->isEnabled());
        } else {
            QCOMPARE(editor->composeView()->text(), QString());
            QVERIFY(editor->attachments().isEmpty());
            QVERIFY(!reopened.shareButtonItem()->isEnabled());
        }
        // Opening another composition leaves this draft as it was.
        QCOMPARE(drafts.load(written).value_or(TULOCompositionDraft()).text, text);
        QCOMPARE(drafts.load(written).value_or(TULOCompositionDraft()).attachments.size(), 2);
    }

    void cancelAsksWhetherToKeepTheDraft_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("draftKept");
        QTest::addColumn<bool>("closed");
        QTest::newRow("keep") << "Half a thought" << "COMPOSE_DRAFT_KEEP_BUTTON" << true << true;
        QTest::newRow("discard") << "Half a thought" << "COMPOSE_DRAFT_DISCARD_BUTTON" << false << true;
        QTest::newRow("continue writing") << "Half a thought" << "COMPOSE_DRAFT_CONTINUE_BUTTON" << true << false;
        QTest::newRow("empty: no question") << "   " << QString() << false << true;
    }
    void cancelAsksWhetherToKeepTheDraft()
    {
        QFETCH(QString, text);
        QFETCH(QString, answer);
        QFETCH(bool, draftKept);
        QFETCH(bool, closed);
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        TULOCompositionDraft other;
        other.text = QStringLiteral("for another item");
        const TULODraftKey otherKey{QStringLiteral("ann"), QStringLiteral("2009")};
        QVERIFY(drafts.save(otherKey, other));
        HostDelegate host;
        auto *container = new Container(std::optional(writerConfiguration(QStringLiteral("ann"), QStringLiteral("2001"))));
        container->setDraftStore(&drafts);
        container->setDelegate(&host);
        auto window = present(container);
        TULOComposePostViewController *editor = container->composePostViewController();
        QTRY_VERIFY(editor->composeView()->isVisible());
        QTest::keyClicks(editor->composeView()->textView(), text);
        const TULODraftKey key = *container->draftKey();
        QVERIFY(container->cancelButtonItem()->trigger());
        auto *alert = TULOSettingsTestFixture::presentedAlert(container);
        QCOMPARE(alert != nullptr, !answer.isEmpty());
        if (alert) {
            QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("COMPOSE_DRAFT_ALERT_TITLE")));
            QCOMPARE(alert->preferredAction()->title(), TULOSettingsTestText(QStringLiteral("COMPOSE_DRAFT_KEEP_BUTTON")));
            QCOMPARE(host.results, QList<qint64>());
            QVERIFY(alert->triggerAction(actionTitled(alert, TULOSettingsTestText(answer))));
        }
        // The answer's handler runs once the question has gone.
        QTRY_COMPARE(host.results, closed ? QList<qint64>{TULOComposePostResultCancelled} : QList<qint64>());
        if (!closed) {
            // Still writing: what follows is kept as before.
            QTest::keyClicks(editor->composeView()->textView(), QStringLiteral(" more"));
            QTRY_COMPARE(draftText(folder.path(), key), text + QStringLiteral(" more"));
        }
        QCOMPARE(TULODraftStore(folder.path()).hasDraft(key), draftKept);
        if (draftKept)
            QVERIFY(draftText(folder.path(), key).startsWith(text));
        QCOMPARE(draftText(folder.path(), otherKey), other.text);
    }

    void postRemovesTheDraftOnceTheOutboxHoldsThePost_data()
    {
        QTest::addColumn<int>("refusal");
        QTest::addColumn<bool>("outboxWritable");
        QTest::addColumn<TULOUploadStatus::State>("state");
        QTest::addColumn<bool>("draftKept");
        QTest::newRow("the store takes it") << 0 << true << TULOUploadStatus::Posted << false;
        // Refused, the post still waits in the outbox for a retry: the draft is not needed.
        QTest::newRow("the store refuses it") << 400 << true << TULOUploadStatus::Failed << false;
        QTest::newRow("the outbox cannot take it") << 0 << false << TULOUploadStatus::Failed << true;
    }
    void postRemovesTheDraftOnceTheOutboxHoldsThePost()
    {
        QFETCH(int, refusal);
        QFETCH(bool, outboxWritable);
        QFETCH(TULOUploadStatus::State, state);
        QFETCH(bool, draftKept);
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        // An outbox whose folder is a file takes nothing.
        const QString outboxPath = folder.filePath(QStringLiteral("outbox"));
        if (!outboxWritable)
            QVERIFY(TULOWriteFile(outboxPath, "not a folder"));
        TULOPostOutbox outbox(outboxPath);
        if (refusal)
            m_fixture.sandbox.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(refusal), 1);
        HostDelegate host;
        auto *container = new Container(std::optional(sandboxArtist()));
        container->setDraftStore(&drafts);
        container->setOutbox(&outbox);
        container->setDelegate(&host);
        const std::shared_ptr<TULOUploadStatus> status = container->uploadStatus();
        auto window = present(container);
        const QString text = QStringLiteral("Draft until the outbox has it %1").arg(QTest::currentDataTag());
        QTest::keyClicks(container->composePostViewController()->composeView()->textView(), text);
        const TULODraftKey key = *container->draftKey();
        // Whether the draft was still there when the post entered the outbox.
        std::optional<bool> draftWhenQueued;
        connect(&outbox, &TULOPostOutbox::postWasAdded, &outbox,
                [&] { draftWhenQueued = drafts.hasDraft(key); }, Qt::DirectConnection);
        QVERIFY(container->shareButtonItem()->trigger());
        QCOMPARE(host.results, QList<qint64>{TULOComposePostResultPosted});
        QTRY_COMPARE_WITH_TIMEOUT(status->state(), state, 60000);
        QCOMPARE(TULODraftStore(folder.path()).hasDraft(key), draftKept);
        if (draftKept) {
            QCOMPARE(draftText(folder.path(), key), text);
            QVERIFY(!draftWhenQueued.has_value());
        } else {
            QCOMPARE(draftWhenQueued, std::optional(true));
        }
        // A refused post waits in the outbox, to be sent again from its status.
        QCOMPARE(outbox.entry(status->idempotencyKey()).has_value(), refusal != 0);
        QCOMPARE(status->retry(), refusal != 0);
        if (refusal)
            QTRY_COMPARE_WITH_TIMEOUT(status->state(), TULOUploadStatus::Posted, 60000);
    }

    // One post refused for good, another waiting out its backoff: retrying the first sends it
    // alone.
    void retryingOneFailedPostLeavesAnotherWaiting()
    {
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        TULOPostOutbox outbox(folder.filePath(QStringLiteral("outbox")));
        outbox.setRetryDelays(10 * 60 * 1000, 10 * 60 * 1000);
        const auto post = [&](const QString &text, int refusal) {
            m_fixture.sandbox.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(refusal), 1);
            QSignalSpy failed(&outbox, &TULOPostOutbox::postDidFail);
            auto container = std::make_unique<Container>(std::optional(sandboxArtist()));
            container->setDraftStore(&drafts);
            container->setOutbox(&outbox);
            container->view();
            QTest::keyClicks(container->composePostViewController()->composeView()->textView(), text);
            container->shareButtonItem()->trigger();
            const std::shared_ptr<TULOUploadStatus> status = container->uploadStatus();
            container.reset();
            if (!QTest::qWaitFor([&] { return failed.size() == 1; }, 60000))
                return std::shared_ptr<TULOUploadStatus>();
            return status;
        };
        const std::shared_ptr<TULOUploadStatus> refused = post(QStringLiteral("refused, then retried"), 400);
        const std::shared_ptr<TULOUploadStatus> waiting = post(QStringLiteral("waiting its turn"), 503);
        QVERIFY(refused && waiting);
        QCOMPARE(refused->state(), TULOUploadStatus::Failed);
        QCOMPARE(waiting->state(), TULOUploadStatus::Uploading);
        QCOMPARE(outbox.entry(waiting->idempotencyKey())->attempts, 1);

        QVERIFY(refused->retry());
        QTRY_COMPARE_WITH_TIMEOUT(refused->state(), TULOUploadStatus::Posted, 60000);
        QTest::qWait(200); // room for a wrong second upload to start
        QVERIFY(!outbox.isSending(waiting->idempotencyKey()));
        QCOMPARE(outbox.entry(waiting->idempotencyKey())->attempts, 1);
        QCOMPARE(waiting->state(), TULOUploadStatus::Uploading);
        QStringList texts;
        for (const QJsonValue &value : TULOFetchSandboxPosts(m_fixture.sandbox))
            texts << value.toObject().value(QStringLiteral("text")).toString();
        QVERIFY2(texts.contains(QStringLiteral("refused, then retried")), qPrintable(texts.join(QLatin1Char('|'))));
        QVERIFY(!texts.contains(QStringLiteral("waiting its turn")));
    }

    void expiryLeavesThePostQueued_data()
    {
        QTest::addColumn<bool>("whileSending");
        QTest::addColumn<TULOUploadStatus::State>("state");
        QTest::addColumn<bool>("draftKept");
        QTest::newRow("while it is prepared") << false << TULOUploadStatus::Failed << true;
        QTest::newRow("while it is sent") << true << TULOUploadStatus::Queued << false;
    }
    // The host's process must stop mid-way: what the outbox holds stays queued there, what it
    // does not yet hold stays a draft, and the status tells which.
    void expiryLeavesThePostQueued()
    {
        QFETCH(bool, whileSending);
        QFETCH(TULOUploadStatus::State, state);
        QFETCH(bool, draftKept);
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        TULOPostOutbox outbox(folder.filePath(QStringLiteral("outbox")));
        // Long enough to stop in the middle of the upload.
        m_fixture.sandbox.addFault(QStringLiteral("/posts"), TULOSandboxFault::delay(3000), 1);
        auto container = std::make_unique<Container>(std::optional(sandboxArtist()));
        container->setDraftStore(&drafts);
        container->setOutbox(&outbox);
        container->view();
        QTest::keyClicks(container->composePostViewController()->composeView()->textView(),
                         QStringLiteral("cut off %1").arg(QTest::currentDataTag()));
        const TULODraftKey key = *container->draftKey();
        const std::shared_ptr<TULOUploadStatus> status = container->uploadStatus();
        QSignalSpy sending(&outbox, &TULOPostOutbox::postWillSend);
        QVERIFY(container->shareButtonItem()->trigger());
        container.reset();
        if (whileSending)
            QTRY_COMPARE_WITH_TIMEOUT(sending.size(), 1, 60000);
        QVERIFY(!TULOBackgroundTask::runningTaskNames().isEmpty());
        TULOBackgroundTask::expireRunningTasks();
        QVERIFY(TULOBackgroundTask::runningTaskNames().isEmpty());
        QCOMPARE(status->state(), state);
        QCOMPARE(drafts.hasDraft(key), draftKept);
        if (whileSending) {
            // Pending on disk: the outbox of the next start sends it.
            TULOPostOutbox nextStart(outbox.folder());
            QTRY_VERIFY(nextStart.isReady()); // it reads its folder in the background
            const auto entry = nextStart.entry(status->idempotencyKey());
            QVERIFY(entry);
            QCOMPARE(entry->state, TULOPostOutboxEntry::Pending);
        } else {
            QVERIFY(status->error().localizedDescription().contains(QStringLiteral("draft")));
        }
        // The process went on after all: the post lands and the draft goes.
        QTRY_COMPARE_WITH_TIMEOUT(status->state(), TULOUploadStatus::Posted, 60000);
        QTRY_VERIFY(!drafts.hasDraft(key));
    }

    void draftQuestionScreenshots_data() { TULOAddAppearanceRows(); }
    void draftQuestionScreenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        QApplication::setPalette(dark ? TULOTestDarkPalette() : m_lightPalette);
        QTemporaryDir folder;
        TULODraftStore drafts(folder.path());
        auto *container = new Container(std::optional(oneAuthor()));
        container->setDraftStore(&drafts);
        auto window = present(container);
        QTest::keyClicks(container->composePostViewController()->composeView()->textView(), QStringLiteral("Almost done"));
        QVERIFY(container->cancelButtonItem()->trigger());
        TULOAlertController *alert = TULOSettingsTestFixture::presentedAlert(container);
        QVERIFY(alert);
        QTRY_VERIFY(!alert->isBeingPresented());
        // The question where the user sees it: over the composer.
        const QSize size(540, 620);
        const QImage image = TULOSaveScreenshot(container, size, QStringLiteral("compositioncontainer"),
                                                QStringLiteral("draft-question-%1").arg(QTest::currentDataTag()), scale);
        QApplication::setPalette(m_lightPalette);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), size * scale);
        // Every answer is a button the keyboard reaches, named by its text.
        for (TULOAlertAction *action : alert->actions()) {
            QPushButton *button = alert->buttonForAction(action);
            QVERIFY(button);
            QCOMPARE(button->text(), action->title());
            QVERIFY(button->focusPolicy() & Qt::TabFocus);
        }
        QVERIFY(alert->triggerAction(actionTitled(alert, TULOSettingsTestText(QStringLiteral("COMPOSE_DRAFT_DISCARD_BUTTON")))));
    }

    void screenshots_data()
    {
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<bool>("dark");
        for (const qreal ratio : {1.0, 2.0})
            for (const bool dark : {false, true})
                QTest::addRow("%gx %s", ratio, dark ? "dark" : "light") << ratio << dark;
    }
    void screenshots()
    {
        QFETCH(qreal, ratio);
        QFETCH(bool, dark);
        QApplication::setPalette(dark ? TULOTestDarkPalette() : m_lightPalette);
        const TULOPostAuthor ann = TULOTestAuthor(QStringLiteral("ann"), QStringLiteral("Ann Artist"));
        const TULOPostAuthor band = TULOTestAuthor(QStringLiteral("band"), QStringLiteral("The Quillons"));
        TULOConfiguration configuration = TULOConfigurationWithServices({TULOTestTwitter, TULOTestFacebook});
        configuration.setPotentalAuthors(QList<TULOPostAuthor>{band, ann});
        configuration.setAuthorForActiveAccount(ann);
        configuration.setMaximumNumberOfAttachments(4);
        Container container{std::optional(configuration)};
        container.addAttachments({TULOTestImageAttachment(Qt::darkCyan)});
        container.view();
        TULOComposePostView *compose = container.composePostViewController()->composeView();
        QTest::keyClicks(compose->textView(), QStringLiteral("New single out on Friday with "));
        TULOTag tag;
        tag.setEntityType(QStringLiteral("artist"));
        tag.setIdentifier(QStringLiteral("17"));
        tag.setName(QStringLiteral("Mira Sol"));
        compose->insertTag(tag);
        QTest::keyClicks(compose->textView(), QStringLiteral("and friends. Thanks to everyone who came to the show!"));
        const QString name = QStringLiteral("composer-%1x-%2").arg(ratio).arg(dark ? QStringLiteral("dark") : QStringLiteral("light"));
        const QImage image = TULOSaveScreenshot(&container, QSize(540, 760), QStringLiteral("compositioncontainer"), name, ratio);
        QApplication::setPalette(m_lightPalette);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(540, 760) * ratio);
    }
};

QTEST_MAIN(TestCompositionContainer)
#include "tst_compositioncontainer.moc"
