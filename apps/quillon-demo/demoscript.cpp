#include "demoscript.h"

#include "demostore.h"
#include "demouploadsview.h"
#include "demowindow.h"

#include <Quillon/compose/attachmentpropertiesviewcontroller.h>
#include <Quillon/compose/composepostview.h>
#include <Quillon/compose/composepostviewcontroller.h>
#include <Quillon/compose/lockupview.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/composition/compositioncontainerviewcontroller.h>
#include <Quillon/media/attachmentalertcontroller.h>
#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/soundbiteviewbutton.h>
#include <Quillon/media/soundbiteviewcontroller.h>
#include <Quillon/media/videocoverimageselectionview.h>
#include <Quillon/media/videoscrubbercontrol.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/screenshot.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPainter>
#include <QStyleOptionGroupBox>
#include <QTimer>

namespace {

// What the script types; the tag is chosen from the list that "@Kai" brings up.
const char *const DemoTextBeforeTag = "Sunset over the harbour with @Kai";
const char *const DemoTextAfterTag = ", and the new album is out now";
const char *const DemoSoundBiteText = "A first listen from the studio";
const char *const DemoShareText = "On repeat all week";
constexpr int DemoCoverFrameSteps = 4; // Page Up moves the cover frame a tenth of the video on
constexpr int DemoRecordingTime = 2200;

// As a keyboard sends them: a press and a release per character.
void typeText(QWidget *target, const QString &text)
{
    target->setFocus(Qt::OtherFocusReason);
    for (const QChar character : text) {
        const int key = character.toUpper().unicode();
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(character));
        QApplication::sendEvent(target, &press);
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, QString(character));
        QApplication::sendEvent(target, &release);
    }
}

void pressKey(QWidget *target, int key)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
    QApplication::sendEvent(target, &release);
}

QString localized(const char *key)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(QString::fromLatin1(key),
        QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext::defaultContext());
}

QString shownText(QWidget *widget)
{
    if (auto *label = qobject_cast<QLabel *>(widget))
        return label->text();
    if (auto *box = qobject_cast<QGroupBox *>(widget))
        return box->title();
    if (auto *button = qobject_cast<QAbstractButton *>(widget))
        return QString(button->text()).remove(QLatin1Char('&'));
    if (auto *field = qobject_cast<QLineEdit *>(widget))
        return field->text();
    return {};
}

// Where a widget draws `text`: a group box's title strip, or the whole of a label or button.
QRect textRect(QWidget *widget)
{
    if (auto *box = qobject_cast<QGroupBox *>(widget)) {
        QStyleOptionGroupBox option;
        option.initFrom(box);
        option.text = box->title();
        option.lineWidth = 1;
        option.textAlignment = box->alignment();
        option.subControls = QStyle::SC_GroupBoxFrame | QStyle::SC_GroupBoxLabel;
        return box->style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, box);
    }
    return widget->rect();
}

// The windows a capture shows, the lowest first: the store window, the composer's sheet, then
// what the screens on it present (menus, lists).
QList<QWidget *> shownWindows(DemoWindow *window)
{
    QList<QWidget *> windows { window };
    TULOViewController *sheet = window->homeViewController()->presentedViewController();
    if (QWidget *view = sheet ? sheet->viewIfLoaded() : nullptr; view && view->window()->isVisible())
        windows.append(view->window());
    for (QWidget *topLevel : QApplication::topLevelWidgets()) {
        if (topLevel->isVisible() && !windows.contains(topLevel))
            windows.append(topLevel);
    }
    return windows;
}

} // namespace

DemoScript::DemoScript(DemoWindow *window, DemoStore *store, const QString &outputFolder, const QString &samplesFolder,
    QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_store(store)
    , m_folder(outputFolder)
    , m_samples(samplesFolder)
    , m_timer(new QTimer(this))
{
    m_timer->setInterval(50);
    connect(m_timer, &QTimer::timeout, this, &DemoScript::advance);
    connect(window, &DemoWindow::postDidLand, this, [this](const QUrl &postURL) { m_postURL = postURL; });
}

TULOComposePostViewController *DemoScript::editor() const
{
    TULOCompositionContainerViewController *container = m_window->compositionContainer();
    return container ? container->composePostViewController() : nullptr;
}

TULOAttachmentAlertController *DemoScript::menu() const
{
    TULOComposePostViewController *composer = editor();
    auto *menu = composer ? qobject_cast<TULOAttachmentAlertController *>(composer->presentedViewController()) : nullptr;
    // Only once it is fully up: a choice made while it comes up is refused.
    return menu && !menu->transitionCoordinator() ? menu : nullptr;
}

void DemoScript::start()
{
    QDir().mkpath(m_folder);
    m_window->show();
    const auto storeShown = [this] {
        const QList<DemoCatalogueItem> catalogue = m_store->catalogue();
        if (catalogue.isEmpty() || m_window->catalogueView()->count() != catalogue.size())
            return false;
        for (const DemoCatalogueItem &item : catalogue) {
            if (item.artwork.isNull() && !item.item.artworkTemplate().isNull())
                return false;
        }
        return !m_store->feedURL().isEmpty() && m_store->configuration().has_value();
    };
    then(QStringLiteral("the catalogue with its artwork"), storeShown, [this] {
        // A post of its own: one about an album takes no attachments.
        if (capture(QStringLiteral("01-store"), tr("Catalogue")))
            m_window->newPostButton()->click();
    });
    then(QStringLiteral("the composer"), [this] {
        TULOComposePostViewController *composer = editor();
        return composer && composer->isVisible() && !m_window->compositionContainer()->transitionCoordinator();
    }, [this] {
        capture(QStringLiteral("02-container"), editor()->title());
    });
    composeSteps();
    attachmentSteps();
    videoSteps();
    postSteps();
    soundBiteSteps();
    shareSteps();
    m_stepClock.start();
    m_timer->start();
}

void DemoScript::composeSteps()
{
    then(QString(), [] { return true; }, [this] {
        typeText(editor()->composeView()->textView(), QString::fromUtf8(DemoTextBeforeTag));
    });
    then(QStringLiteral("the tag completion list"), [this] {
        auto *list = qobject_cast<TULOTagListViewController *>(editor()->composeView()->textCompletionViewController());
        return list && list->view()->isVisible() && !list->isLookingUp() && !list->activeTagSuggestions().isEmpty();
    }, [this] {
        if (!capture(QStringLiteral("03-completion"), editor()->title()))
            return;
        // The first row, chosen with the keyboard.
        TULOTokenTextView *text = editor()->composeView()->textView();
        pressKey(text, Qt::Key_Down);
        pressKey(text, Qt::Key_Return);
    });
    then(QStringLiteral("the tag in the text"), [this] { return editor()->composeView()->textView()->tokenViews().size() == 1; },
        [this] { typeText(editor()->composeView()->textView(), QString::fromUtf8(DemoTextAfterTag)); });
}

void DemoScript::openMenu()
{
    editor()->composeView()->attachmentButton()->click();
}

bool DemoScript::chooseOnShelf(const QString &fileName)
{
    TULOPhotoPickerViewController *shelf = menu()->photoPickerViewController();
    const QUrl wanted = TULOPhotoLibrary(m_samples).assetURLForFilePath(QDir(m_samples).filePath(fileName));
    for (int row = 0; row < shelf->assetCount(); ++row) {
        shelf->clearSelection();
        shelf->setRowSelected(row, true);
        const QList<TULOAttachmentPtr> chosen = shelf->selectedAttachments();
        if (chosen.size() == 1 && chosen.first()->assetURL() == wanted)
            return menu()->triggerAction(menu()->actions().first());
    }
    fail(QStringLiteral("%1 is not on the attachment menu's shelf").arg(fileName));
    return false;
}

bool DemoScript::chooseMenuAction(const QString &title)
{
    for (TULOAlertAction *action : menu()->actions()) {
        if (action->title() == title)
            return menu()->triggerAction(action);
    }
    fail(QStringLiteral("the attachment menu offers no \"%1\"").arg(title));
    return false;
}

void DemoScript::attachmentSteps()
{
    then(QString(), [] { return true; }, [this] { openMenu(); });
    const auto shelfShown = [this] {
        TULOAttachmentAlertController *shown = menu();
        return shown && shown->photoPickerViewController() && shown->photoPickerViewController()->hasLoadedAssets()
            && shown->photoPickerViewController()->assetCount() >= 2;
    };
    // The thumbnails come a moment after the shelf's rows.
    then(QStringLiteral("the attachment menu with its shelf"), shelfShown, [this] {
        if (capture(QStringLiteral("04-menu"), menu()->actions().first()->title()))
            chooseOnShelf(QString::fromLatin1(SamplePhoto));
    }, 600);
    then(QStringLiteral("the photo in the post"), [this] {
        return !editor()->presentedViewController() && editor()->attachments().size() == 1;
    }, [this] { openMenu(); });
}

void DemoScript::videoSteps()
{
    then(QStringLiteral("the attachment menu"), [this] {
        return menu() && menu()->photoPickerViewController() && menu()->photoPickerViewController()->hasLoadedAssets();
    }, [this] { chooseOnShelf(QString::fromLatin1(SampleVideo)); });
    const auto properties = [this]() -> TULOAttachmentPropertiesViewController * {
        TULONavigationController *stack = m_window->compositionContainer()->childNavigationController();
        auto *top = qobject_cast<TULOAttachmentPropertiesViewController *>(stack->topViewController());
        return top && top->isVisible() && !stack->transitionCoordinator() ? top : nullptr;
    };
    const auto videoView = [properties]() -> TULOVideoCoverImageSelectionView * {
        for (TULOAttachmentPropertiesTableViewSection *section : properties()->sections())
            if (TULOVideoCoverImageSelectionView *view = section->videoCoverImageSelectionView())
                return view;
        return nullptr;
    };
    then(QStringLiteral("the video's properties"), [properties, videoView] {
        return properties() && videoView();
    }, [this, properties] {
        // A video needs a title and an artist before Done; the sample brings neither.
        for (TULOAttachmentPropertiesTableViewSection *section : properties()->sections()) {
            if (QLineEdit *title = section->titleField(); title && title->text().isEmpty())
                typeText(title, QStringLiteral("Harbour lights"));
        }
        const QList<TULOTokenTextView *> artists = properties()->view()->findChildren<TULOTokenTextView *>();
        if (artists.isEmpty()) {
            fail(QStringLiteral("the video's properties have no artist field"));
            return;
        }
        typeText(artists.first(), m_store->catalogue().first().item.artistName());
    });
    then(QStringLiteral("the video's properties filled in"), [properties] { return properties()->doneButton()->isEnabled(); },
        [this, properties, videoView] {
            if (!capture(QStringLiteral("05-properties"), properties()->title()))
                return;
            TULOVideoScrubberControl *scrubber = videoView()->scrubber();
            scrubber->setFocus(Qt::OtherFocusReason);
            pressKey(scrubber, Qt::Key_Home); // the thumb starts in the middle
            for (int step = 0; step < DemoCoverFrameSteps; ++step)
                pressKey(scrubber, Qt::Key_PageUp);
        }, 400);
    // The frame is decoded off the main thread.
    then(QStringLiteral("the cover frame"), [] { return true; },
        [this, properties, videoView] {
            if (!capture(QStringLiteral("06-coverframe"), properties()->title()))
                return;
            m_coverFrameTime = videoView()->coverImageTime();
            properties()->doneButton()->trigger();
        }, 800);
}

void DemoScript::postSteps()
{
    then(QStringLiteral("the composed post"), [this] {
        TULOCompositionContainerViewController *container = m_window->compositionContainer();
        return container->childNavigationController()->topViewController() == editor()
            && !container->childNavigationController()->transitionCoordinator() && editor()->attachments().size() == 2
            && container->shareButtonItem()->isEnabled();
    }, [this] {
        if (capture(QStringLiteral("07-composed"), editor()->title()))
            // Ctrl+Return's way: the container's default action, Post.
            m_window->compositionContainer()->performDefaultAction();
    }, 300);
    // The upload shows in the pending list until the store has it.
    then(QStringLiteral("the upload in the list"), [this] {
        return !m_window->compositionContainer()
            && (m_window->uploadsView()->listView()->model()->rowCount() > 0 || !m_postURL.isEmpty());
    }, [this] { capture(QStringLiteral("08-uploading"), tr("Pending Uploads")); });
    then(QStringLiteral("the post to land"), [this] { return !m_postURL.isEmpty(); }, [this] {
        m_firstPostURL = m_postURL;
        m_postURL.clear();
        if (capture(QStringLiteral("09-posted"), tr("Pending Uploads")))
            m_window->newPostButton()->click();
    }, 200);
}

// A sound bite is a post of its own: it replaces every other attachment of the post it is in.
void DemoScript::soundBiteSteps()
{
    then(QStringLiteral("the composer again"), [this] {
        TULOComposePostViewController *composer = editor();
        return composer && composer->isVisible() && !m_window->compositionContainer()->transitionCoordinator();
    }, [this] {
        typeText(editor()->composeView()->textView(), QString::fromUtf8(DemoSoundBiteText));
        openMenu();
    });
    then(QStringLiteral("the attachment menu"), [this] { return menu() != nullptr; },
        [this] { chooseMenuAction(localized("RECORD_AUDIO_BUTTON")); });
    const auto recorder = [this]() -> TULOSoundBiteViewController * {
        const QList<TULOSoundBiteViewController *> recorders = editor()->soundBiteViewControllers();
        return recorders.size() == 1 && recorders.first()->viewIfLoaded() && recorders.first()->view()->isVisible() ? recorders.first() : nullptr;
    };
    then(QStringLiteral("the sound bite recorder"), [this, recorder] {
        return !editor()->presentedViewController() && recorder(); },
        [recorder] { recorder()->soundBiteView()->recordButton()->click(); });
    then(QStringLiteral("the recording"), [] { return true; },
        [this] { capture(QStringLiteral("10-soundbite"), editor()->title()); }, DemoRecordingTime / 2);
    then(QString(), [] { return true; }, [this] {
        if (TULOSoundBiteViewController *slot = editor()->soundBiteViewControllers().value(0); slot && !slot->attachment())
            slot->soundBiteView()->recordButton()->click();
    }, DemoRecordingTime / 2);
    then(QStringLiteral("the recorded sound bite"), [this, recorder] {
        return recorder() && recorder()->attachment() && m_window->compositionContainer()->shareButtonItem()->isEnabled();
    }, [this] { m_window->compositionContainer()->performDefaultAction(); });
    then(QStringLiteral("the sound bite to land"), [this] { return !m_postURL.isEmpty(); }, [this] {
        m_soundBitePostURL = m_postURL;
        m_postURL.clear();
        capture(QStringLiteral("11-soundbite-posted"), tr("Pending Uploads"));
    }, 200);
}

// An album shared from the catalogue: the container signs in and loads its configuration itself.
void DemoScript::shareSteps()
{
    then(QString(), [] { return true; }, [this] {
        m_window->catalogueView()->setCurrentRow(0);
        m_window->shareButton()->click();
    });
    then(QStringLiteral("the composer for the album"), [this] {
        TULOComposePostViewController *composer = editor();
        return composer && composer->isVisible() && !m_window->compositionContainer()->transitionCoordinator();
    }, [] {});
    // The album's artwork comes from the store; the screen is taken with it, unless it is slow.
    then(QString(), [this] {
        const auto *lockup = editor()->composeView()->findChild<TULOLockupView *>();
        return (lockup && !lockup->image().isNull()) || m_stepClock.elapsed() > 5000;
    }, [this] {
        if (!capture(QStringLiteral("12-share"), editor()->title()))
            return;
        typeText(editor()->composeView()->textView(), QString::fromUtf8(DemoShareText));
    });
    then(QStringLiteral("the album's post to be ready"), [this] { return m_window->compositionContainer()->shareButtonItem()->isEnabled(); },
        [this] { m_window->compositionContainer()->performDefaultAction(); });
    then(QStringLiteral("the album's post to land"), [this] { return !m_postURL.isEmpty(); }, [this] {
        m_sharePostURL = m_postURL;
        if (capture(QStringLiteral("13-share-posted"), tr("Pending Uploads")))
            Q_EMIT finished(m_firstPostURL);
    }, 200);
}

void DemoScript::then(const QString &what, std::function<bool()> ready, std::function<void()> run, int delay)
{
    m_steps.append(Step { what, std::move(ready), std::move(run), delay });
}

void DemoScript::advance()
{
    // A capture turns the event loop; the next step waits for the one running to end.
    if (m_running)
        return;
    if (m_failed || m_steps.isEmpty()) {
        m_timer->stop();
        return;
    }
    const Step &step = m_steps.first();
    const bool ready = m_stepClock.elapsed() >= step.delay && step.ready();
    if (!ready) {
        if (m_stepClock.elapsed() > m_stepTimeout + step.delay)
            fail(QStringLiteral("gave up waiting for %1").arg(step.what));
        return;
    }
    const Step current = m_steps.takeFirst();
    m_running = true;
    current.run();
    m_running = false;
    m_stepClock.restart();
}

bool DemoScript::capture(const QString &name, const QString &title)
{
    if (m_failed)
        return false;
    // The store window with the composer's sheet, then what the screens on the sheet present
    // (menus, lists), each where it sits.
    const QPoint origin = m_window->mapToGlobal(QPoint(0, 0));
    const QList<QWidget *> windows = shownWindows(m_window);
    QImage image = TULORenderViewController(m_window->homeViewController(), m_window->size());
    {
        QPainter painter(&image);
        const TULOViewController *sheet = m_window->homeViewController()->presentedViewController();
        const QWidget *sheetWindow = sheet && sheet->viewIfLoaded() ? sheet->viewIfLoaded()->window() : nullptr;
        for (QWidget *window : windows) {
            if (window == m_window || window == sheetWindow)
                continue;
            window->render(&painter, window->mapToGlobal(QPoint(0, 0)) - origin, QRegion(),
                QWidget::DrawWindowBackground | QWidget::DrawChildren);
        }
    }
    const QString path = QDir(m_folder).filePath(name + QStringLiteral(".png"));
    if (image.isNull() || !image.save(path)) {
        fail(QStringLiteral("could not save %1").arg(path));
        return false;
    }
    // What the picture shows, read from the screens as they were drawn.
    DemoScreen screen { path, title, QRect(), {} };
    for (auto window = windows.crbegin(); window != windows.crend(); ++window) {
        QList<QWidget *> widgets = (*window)->findChildren<QWidget *>();
        widgets.prepend(*window);
        for (QWidget *widget : widgets) {
            const QString text = shownText(widget);
            if (text.isEmpty() || !widget->isVisible())
                continue;
            screen.visibleTexts << text;
            if (screen.titleRect.isNull() && text == title)
                screen.titleRect = textRect(widget).translated(widget->mapToGlobal(QPoint(0, 0)) - origin);
        }
    }
    if (title.isEmpty() || screen.titleRect.isNull()) {
        fail(QStringLiteral("%1 does not show its title \"%2\"").arg(name, title));
        return false;
    }
    m_screens.append(screen);
    return true;
}

void DemoScript::fail(const QString &reason)
{
    if (m_failed)
        return;
    m_failed = true;
    m_timer->stop();
    Q_EMIT failed(reason);
}
