#include <Quillon/compose/authorselectionalertcontroller.h>

#include <Quillon/compose/authoralertactionview.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPushButton>

namespace {

QImage authorPlaceholderImage()
{
    const qreal scale = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    QImage image(QSize(TULOAuthorAlertActionView::ImageSide, TULOAuthorAlertActionView::ImageSide) * scale,
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    image.setDevicePixelRatio(scale);
    return image;
}

} // namespace

TULOAuthorSelectionAlertController::TULOAuthorSelectionAlertController(const QString &title, const QString &message,
                                                                       TULOAlertControllerStyle preferredStyle, QObject *parent)
    : TULOAlertController(title, message, preferredStyle, parent)
    , m_placeholderImage(authorPlaceholderImage())
{
}

TULOAuthorSelectionAlertController::~TULOAuthorSelectionAlertController()
{
    for (const AuthorAction &entry : std::as_const(m_authorActions)) {
        if (entry.request)
            entry.request->setDelegate(nullptr);
    }
}

TULOAuthorSelectionAlertController *TULOAuthorSelectionAlertController::alertControllerWithTitle(
    const QString &title, const QString &message, TULOAlertControllerStyle preferredStyle)
{
    return new TULOAuthorSelectionAlertController(title, message, preferredStyle);
}

std::shared_ptr<TULOArtworkRequest> TULOAuthorSelectionAlertController::newArtworkRequestForAuthor(const TULOPostAuthor &author)
{
    if (!author.thumbnailImageURL().isValid())
        return nullptr;
    auto request = std::make_shared<TULOArtworkRequest>(author.thumbnailImageURL(), author.identifier());
    auto consumer = std::make_shared<TULOStyledImageDataConsumer>();
    consumer->setImageSize(QSizeF(TULOAuthorAlertActionView::ImageSide, TULOAuthorAlertActionView::ImageSide));
    consumer->setScale(qGuiApp ? qGuiApp->devicePixelRatio() : 1.0);
    consumer->setBackgroundColor(QColor::fromRgbF(0.9725f, 0.9725f, 0.9725f));
    consumer->setBorderColor(QColor(0, 0, 0, 51));
    consumer->setBorderWidth(1.0 / consumer->scale());
    request->setDataConsumer(consumer);
    request->setDelegate(this);
    return request;
}

TULOAlertAction *TULOAuthorSelectionAlertController::addActionWithAuthor(const TULOPostAuthor &author,
                                                                         const std::function<void()> &handler)
{
    auto *action = new TULOAlertAction(author.name(), TULOAlertActionStyleDefault, [handler](TULOAlertAction *) {
        if (handler)
            handler();
    });
    AuthorAction entry;
    entry.action = action;
    entry.author = author;
    entry.request = newArtworkRequestForAuthor(author);
    if (entry.request && m_resourceLoader) {
        const QImage cached = m_resourceLoader->cachedResourceForRequestIdentifier(entry.request->requestIdentifier());
        if (!cached.isNull())
            entry.image = cached;
        else
            m_resourceLoader->loadResourceWithRequest(entry.request, TULOResourceLoadReasonVisible);
    }
    m_authorActions.append(entry);
    addAction(action);
    installActionViews();
    return action;
}

TULOAuthorAlertActionView *TULOAuthorSelectionAlertController::actionViewForAction(TULOAlertAction *action) const
{
    for (const AuthorAction &entry : m_authorActions) {
        if (entry.action == action)
            return entry.view;
    }
    return nullptr;
}

void TULOAuthorSelectionAlertController::loadView()
{
    TULOAlertController::loadView();
    installActionViews();
}

void TULOAuthorSelectionAlertController::viewWillAppear(bool animated)
{
    TULOAlertController::viewWillAppear(animated);
    installActionViews();
}

void TULOAuthorSelectionAlertController::installActionViews()
{
    if (!isViewLoaded())
        return;
    // The sheet makes its buttons anew when actions are added; each author's row gets its view
    // on whichever button stands for it now.
    for (AuthorAction &entry : m_authorActions) {
        QPushButton *button = entry.action ? buttonForAction(entry.action) : nullptr;
        if (!button || (entry.view && entry.view->parentWidget() == button))
            continue;
        delete entry.view;
        entry.view = new TULOAuthorAlertActionView(button);
        entry.view->setAuthorName(entry.author.name());
        entry.view->setImage(entry.image.isNull() ? m_placeholderImage : entry.image);
        auto *layout = button->layout() ? button->layout() : new QHBoxLayout(button);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(entry.view);
        // The view draws the name; the button keeps its title for assistive technology only.
        button->setText(QString());
        button->setAccessibleName(entry.author.name());
        button->setMinimumHeight(TULOAuthorAlertActionView::ImageSide + 2 * TULOAuthorAlertActionView::Margin);
    }
}

void TULOAuthorSelectionAlertController::artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request,
                                                                    const QImage &image)
{
    for (AuthorAction &entry : m_authorActions) {
        if (entry.request && entry.request->requestIdentifier() == request->requestIdentifier()) {
            entry.image = image;
            if (entry.view)
                entry.view->setImage(image);
        }
    }
}
