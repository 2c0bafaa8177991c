#include "demowindow.h"

#include "demostore.h"
#include "demouploadsview.h"

#include <Quillon/composition/compositioncontainerviewcontroller.h>
#include <Quillon/platform/store/postoutboxmodel.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QAction>
#include <QDesktopServices>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

namespace {
constexpr int DemoIconSide = 120;
}

DemoWindow::DemoWindow(DemoStore *store, TULOPostOutboxModel *uploads, QWidget *parent)
    : QMainWindow(parent)
    , m_store(store)
    , m_home(new TULOViewController(this))
    , m_catalogue(new QListWidget)
    , m_share(new QPushButton(tr("&Share…")))
    , m_newPost(new QPushButton(tr("&New Post")))
    , m_uploads(new DemoUploadsView(uploads))
    , m_status(new QLabel)
{
    setWindowTitle(tr("Quillon Demo Store"));

    m_catalogue->setViewMode(QListView::IconMode);
    m_catalogue->setIconSize(QSize(DemoIconSide, DemoIconSide));
    m_catalogue->setGridSize(QSize(DemoIconSide + 40, DemoIconSide + 48));
    m_catalogue->setResizeMode(QListView::Adjust);
    m_catalogue->setMovement(QListView::Static);
    m_catalogue->setWordWrap(true);
    m_catalogue->setAccessibleName(tr("Catalogue"));
    m_share->setAccessibleName(tr("Share the selected album"));
    m_share->setEnabled(false);
    m_newPost->setAccessibleName(tr("Write a new post"));
    m_newPost->setShortcut(QKeySequence::New);

    auto *catalogueBox = new QGroupBox(tr("Catalogue"));
    auto *catalogueLayout = new QVBoxLayout(catalogueBox);
    catalogueLayout->addWidget(m_catalogue);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_newPost);
    buttons->addStretch();
    buttons->addWidget(m_share);
    catalogueLayout->addLayout(buttons);

    auto *uploadsBox = new QGroupBox(tr("Pending Uploads"));
    auto *uploadsLayout = new QVBoxLayout(uploadsBox);
    uploadsLayout->addWidget(m_uploads);

    auto *splitter = new QSplitter;
    splitter->addWidget(catalogueBox);
    splitter->addWidget(uploadsBox);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);
    setCentralWidget(splitter);
    m_home->setTitle(tr("Quillon Demo Store"));
    m_home->setView(splitter);

    QToolBar *toolbar = addToolBar(tr("Store"));
    toolbar->setObjectName(QStringLiteral("storeToolBar"));
    toolbar->setMovable(false);
    QAction *feed = toolbar->addAction(tr("Open Feed"), this, &DemoWindow::openFeed);
    feed->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_L));

    m_status->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_status->setOpenExternalLinks(true);
    statusBar()->addWidget(m_status, 1);

    setTabOrder(m_catalogue, m_newPost);
    setTabOrder(m_newPost, m_share);
    setTabOrder(m_share, m_uploads->listView());

    connect(m_newPost, &QPushButton::clicked, this, &DemoWindow::newPost);
    connect(m_share, &QPushButton::clicked, this, &DemoWindow::shareSelectedItem);
    connect(m_catalogue, &QListWidget::itemActivated, this, &DemoWindow::shareSelectedItem);
    connect(m_catalogue, &QListWidget::currentRowChanged, this, &DemoWindow::updateButtons);
    connect(store, &DemoStore::catalogueDidLoad, this, &DemoWindow::reloadCatalogue);
    connect(store, &DemoStore::bagDidLoad, this, &DemoWindow::updateStatus);
    connect(store, &DemoStore::artworkDidLoad, this, [this](int row) {
        if (QListWidgetItem *item = m_catalogue->item(row))
            item->setIcon(QIcon(QPixmap::fromImage(m_store->catalogue().at(row).artwork)));
    });
    connect(store, &DemoStore::catalogueDidFail, this, [this](const TULOError &error) {
        m_problem = tr("The catalogue could not be loaded: %1").arg(error.localizedDescription());
        updateStatus();
    });
    connect(store, &DemoStore::configurationDidLoad, this, &DemoWindow::updateButtons);
    connect(store, &DemoStore::configurationDidFail, this, [this](const TULOError &error) {
        m_problem = tr("The composer is not available: %1").arg(error.localizedDescription());
        updateStatus();
    });
    connect(uploads, &TULOPostOutboxModel::postDidFinish, this, [this](const QString &, const QUrl &postURL) {
        m_lastPost = postURL;
        updateStatus();
        if (m_opensFeed)
            openFeed();
        Q_EMIT postDidLand(postURL);
    });
    updateStatus();
    updateButtons();
    // Tall enough for the composer's sheet above it.
    resize(1000, 760);
}

DemoWindow::~DemoWindow()
{
    // The composer's delegate is about to go.
    if (m_composer)
        m_composer->setDelegate(nullptr);
}

TULOCompositionContainerViewController *DemoWindow::compositionContainer() const
{
    return m_composer;
}

QUrl DemoWindow::feedURL() const
{
    return m_lastPost.isEmpty() ? m_store->feedURL() : m_lastPost;
}

void DemoWindow::reloadCatalogue()
{
    m_catalogue->clear();
    QPixmap placeholder(DemoIconSide, DemoIconSide);
    placeholder.fill(palette().color(QPalette::Mid));
    for (const DemoCatalogueItem &entry : m_store->catalogue()) {
        const QString name = entry.item.displayName().isEmpty() ? entry.item.collectionName() : entry.item.displayName();
        auto *item = new QListWidgetItem(QIcon(entry.artwork.isNull() ? placeholder : QPixmap::fromImage(entry.artwork)), name);
        item->setToolTip(QStringLiteral("%1 — %2").arg(name, entry.item.artistName()));
        m_catalogue->addItem(item);
    }
    if (m_catalogue->count() > 0)
        m_catalogue->setCurrentRow(0);
}

void DemoWindow::shareSelectedItem()
{
    const int row = m_catalogue->currentRow();
    if (row < 0 || row >= m_store->catalogue().size())
        return;
    compose(m_store->catalogue().at(row).item);
}

void DemoWindow::newPost()
{
    compose(std::nullopt);
}

// An album is shared as a host shares a store item: the container signs in and loads its own
// configuration. A new post opens at once with the configuration loaded at start, its attachment
// limit raised.
void DemoWindow::compose(const std::optional<TULOStoreItem> &item)
{
    if (m_composer)
        return;
    TULOCompositionContainerViewController *composer = nullptr;
    if (item) {
        composer = new TULOCompositionContainerViewController(*item);
    } else {
        const std::optional<TULOConfiguration> configuration = m_store->configuration();
        if (!configuration)
            return;
        composer = new TULOCompositionContainerViewController(configuration);
    }
    composer->setClientContext(std::make_shared<TULOClientContext>(m_store->clientContext()));
    composer->setDelegate(this);
    m_composer = composer;
    updateButtons();
    // The presenter owns it from here on and lets it go once dismissed.
    m_home->presentViewController(composer, true);
}

void DemoWindow::composePostViewControllerDidFinishWithResult(TULOCompositionContainerViewController *controller,
    TULOComposePostResult result)
{
    Q_UNUSED(result) // a posted post shows in the pending uploads until it lands
    QPointer<DemoWindow> self(this);
    controller->dismissViewController(true, [self] {
        if (self)
            self->updateButtons();
    });
    m_composer = nullptr;
}

void DemoWindow::composePostViewControllerConfigurationDidFailLoadWithError(
    TULOCompositionContainerViewController *controller, const TULOError &error)
{
    m_problem = tr("The composer could not open: %1").arg(error.localizedDescription());
    updateStatus();
    composePostViewControllerDidFinishWithResult(controller, TULOComposePostResultCancelled);
}

void DemoWindow::updateButtons()
{
    m_newPost->setEnabled(m_store->configuration() && !m_composer);
    m_share->setEnabled(!m_composer && m_catalogue->currentRow() >= 0);
}

void DemoWindow::openFeed()
{
    const QUrl url = feedURL();
    if (url.isEmpty())
        return;
    if (!QDesktopServices::openUrl(url))
        QMessageBox::information(this, tr("Feed"), tr("Open %1 in a browser to see the feed.").arg(url.toString()));
}

void DemoWindow::updateStatus()
{
    const QUrl url = feedURL();
    const QString account = tr("Signed in as %1").arg(m_store->accountName().toHtmlEscaped());
    if (!m_problem.isEmpty()) {
        m_status->setText(QStringLiteral("%1 · %2").arg(account, m_problem.toHtmlEscaped()));
        return;
    }
    if (url.isEmpty()) {
        m_status->setText(account);
        return;
    }
    const QString label = m_lastPost.isEmpty() ? tr("Feed") : tr("Your post");
    m_status->setText(QStringLiteral("%1 · %2: <a href=\"%3\">%3</a>").arg(account, label, url.toString().toHtmlEscaped()));
}
