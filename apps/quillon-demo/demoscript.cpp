#include "demoscript.h"

#include "demostore.h"
#include "demouploadsview.h"
#include "demowindow.h"

#include <Quillon/core/attachment.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/core/preparepostdescriptionoperation.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>
// postrequest.h needs the outbox class complete for its inline setter.
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QPointer>
#include <QTimer>

namespace {

QStringList visibleTexts(QWidget *screen)
{
    QStringList texts { screen->windowTitle() };
    for (QWidget *child : screen->findChildren<QWidget *>()) {
        if (!child->isVisibleTo(screen))
            continue;
        if (auto *label = qobject_cast<QLabel *>(child))
            texts << label->text();
        else if (auto *box = qobject_cast<QGroupBox *>(child))
            texts << box->title();
        else if (auto *button = qobject_cast<QAbstractButton *>(child))
            texts << button->text();
    }
    texts.removeAll(QString());
    return texts;
}

} // namespace

DemoScript::DemoScript(DemoWindow *window, DemoStore *store, const QString &outputFolder, const QString &samplePhoto, QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_store(store)
    , m_folder(outputFolder)
    , m_samplePhoto(samplePhoto)
{
}

void DemoScript::start()
{
    QDir().mkpath(m_folder);
    m_window->show();
    const auto catalogueShown = [this] {
        const QList<DemoCatalogueItem> catalogue = m_store->catalogue();
        if (catalogue.isEmpty() || m_window->catalogueView()->count() != catalogue.size())
            return false;
        for (const DemoCatalogueItem &item : catalogue) {
            if (item.artwork.isNull() && !item.item.artworkTemplate().isNull())
                return false;
        }
        return !m_store->feedURL().isEmpty();
    };
    waitFor(catalogueShown, QStringLiteral("the catalogue with its artwork"), [this] {
        if (capture(m_window, QStringLiteral("01-store")))
            compose();
    });
}

void DemoScript::compose()
{
    // What the composer hands over for the first album: the configuration loaded for the
    // signed-in account, then the text with a tag and the sample photo.
    auto load = std::make_shared<TULOLoadConfigurationOperation>();
    load->setClientContext(m_store->clientContext());
    QPointer<DemoScript> self(this);
    load->setConfigurationBlock([self](const std::optional<TULOConfiguration> &configuration, const TULOClientContext &, const TULOError &error) {
        TULODispatchMain([self, configuration, error] {
            if (!self)
                return;
            if (!configuration)
                self->fail(QStringLiteral("the configuration could not be loaded: %1").arg(error.localizedDescription()));
            else
                self->post(*configuration);
        });
    });
    static TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.demo.script"));
    queue.addOperation(load);
}

void DemoScript::post(const TULOConfiguration &configuration)
{
    const QList<TULOPostAuthor> authors = configuration.authorsForSharing();
    if (authors.isEmpty()) {
        fail(QStringLiteral("the demo account may not post"));
        return;
    }
    QFile photo(m_samplePhoto);
    if (!photo.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("the sample photo %1 cannot be read: %2").arg(m_samplePhoto, photo.errorString()));
        return;
    }
    const TULOStoreItem album = m_store->catalogue().first().item;
    auto operation = std::make_shared<TULOPreparePostDescriptionOperation>();
    operation->setAuthor(authors.first());
    operation->setClientContext(m_store->clientContext());
    operation->setContentItem(album);
    // Typed by its bytes, as the framework types every file it is handed.
    const QString type = TULOTypeIdentifiers::typeForFile(m_samplePhoto);
    operation->setAttachments({ std::make_shared<TULOAttachment>(photo.readAll(), type) });
    operation->setText(QStringLiteral("Sunset over the harbour with @{artist:%1:\"%2\"}, and %3 out now")
                           .arg(authors.first().identifier(), authors.first().name(), album.collectionName()));
    QPointer<DemoScript> self(this);
    operation->setOutputBlock([self](const std::optional<TULOPostDescription> &description, const TULOError &error) {
        TULODispatchMain([self, description, error] {
            if (!self)
                return;
            if (!description) {
                self->fail(QStringLiteral("the post could not be prepared: %1").arg(error.localizedDescription()));
                return;
            }
            auto *request = new TULOPostRequest(*description);
            request->setClientContext(self->m_store->clientContext());
            request->setAccountName(self->m_store->accountName());
            request->startWithCompletionBlock([self](const QUrl &url, const TULOError &failure) {
                if (!self)
                    return;
                if (url.isEmpty())
                    self->fail(QStringLiteral("the post was not published: %1").arg(failure.localizedDescription()));
                else
                    self->m_postURL = url;
            });
            // The upload shows in the pending list until the store has it.
            self->waitFor([self] { return self && (self->m_window->uploadsView()->listView()->model()->rowCount() > 0 || !self->m_postURL.isEmpty()); },
                QStringLiteral("the upload in the list"), [self] {
                    if (!self->capture(self->m_window, QStringLiteral("02-uploading")))
                        return;
                    self->waitFor([self] { return self && !self->m_postURL.isEmpty(); }, QStringLiteral("the post to land"), [self] {
                        if (self->capture(self->m_window, QStringLiteral("03-posted")))
                            Q_EMIT self->finished(self->m_postURL);
                    });
                });
        });
    });
    static TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.demo.prepare"));
    queue.addOperation(operation);
}

void DemoScript::waitFor(const std::function<bool()> &condition, const QString &what, const std::function<void()> &then)
{
    auto *timer = new QTimer(this);
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    connect(timer, &QTimer::timeout, this, [this, timer, clock, condition, what, then] {
        // Stopped before anything else: a step that turns the event loop must not run twice.
        const bool met = !m_failed && condition();
        if (!m_failed && !met && clock->elapsed() <= m_stepTimeout)
            return;
        timer->stop();
        timer->deleteLater();
        if (met)
            then();
        else if (!m_failed)
            fail(QStringLiteral("gave up waiting for %1").arg(what));
    });
    timer->start(50);
}

bool DemoScript::capture(QWidget *screen, const QString &name)
{
    QApplication::processEvents();
    const QString path = QDir(m_folder).filePath(name + QStringLiteral(".png"));
    const QImage image = screen->grab().toImage();
    if (!image.save(path)) {
        fail(QStringLiteral("could not save %1").arg(path));
        return false;
    }
    m_screens.append(DemoScreen { path, screen->windowTitle(), visibleTexts(screen) });
    return true;
}

void DemoScript::fail(const QString &reason)
{
    if (m_failed)
        return;
    m_failed = true;
    Q_EMIT failed(reason);
}
