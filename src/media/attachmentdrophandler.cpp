#include <Quillon/media/attachmentdrophandler.h>

#include <Quillon/core/numberformatter.h>
#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QAbstractScrollArea>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QMimeData>
#include <QMimeDatabase>
#include <QWidget>

namespace {

QStringList localFiles(const QMimeData *data)
{
    QStringList files;
    if (!data || !data->hasUrls())
        return files;
    for (const QUrl &url : data->urls()) {
        if (url.isLocalFile())
            files << url.toLocalFile();
    }
    return files;
}

} // namespace

TULOAttachmentDropHandler::TULOAttachmentDropHandler(qint64 maximumNumberOfAttachments,
    const TULOClientContext &clientContext, QObject *parent)
    : QObject(parent), m_maximumNumberOfAttachments(maximumNumberOfAttachments), m_clientContext(clientContext)
{
}

TULOAttachmentDropHandler::~TULOAttachmentDropHandler() = default;

void TULOAttachmentDropHandler::setPhotoLibrary(TULOPhotoLibrary *library)
{
    m_photoLibrary = std::shared_ptr<TULOPhotoLibrary>(library, [](TULOPhotoLibrary *) {});
    m_photoLibraryLookedUp = true;
}

QString TULOAttachmentDropHandler::localizedString(const char *key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext);
}

bool TULOAttachmentDropHandler::canHandleMimeData(const QMimeData *data) const
{
    return data && (data->hasImage() || !localFiles(data).isEmpty());
}

TULOAttachmentPtr TULOAttachmentDropHandler::attachmentForFile(const QString &path, QString *message) const
{
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable()) {
        *message = TULOStringWithFormat(localizedString("ATTACHMENT_UNREADABLE_FILE_%@"), {info.fileName()});
        return nullptr;
    }
    // Judged by the bytes: a text file named .jpg is no photo.
    static const QMimeDatabase database;
    QMimeType mime = database.mimeTypeForFile(info, QMimeDatabase::MatchContent);
    if (mime.isDefault())
        mime = database.mimeTypeForFile(info, QMimeDatabase::MatchExtension);
    const QString type = TULOTypeIdentifiers::canonicalType(mime.name());
    const int kind = TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(type);
    if (kind == TULOAttachmentTypeUnknown) {
        *message = TULOStringWithFormat(localizedString("ATTACHMENT_UNSUPPORTED_FILE_%@"), {info.fileName()});
        return nullptr;
    }
    if (kind == TULOAttachmentTypeImage || kind == TULOAttachmentTypeVideo) {
        auto *self = const_cast<TULOAttachmentDropHandler *>(this);
        if (!m_photoLibraryLookedUp) {
            self->m_photoLibrary = TULOModulePhotoLibrary();
            self->m_photoLibraryLookedUp = true;
        }
        const QUrl assetURL = m_photoLibrary ? m_photoLibrary->assetURLForFilePath(info.absoluteFilePath()) : QUrl();
        if (!assetURL.isEmpty())
            return std::make_shared<TULOAttachment>(assetURL, type);
        if (kind == TULOAttachmentTypeImage) {
            // Photos from elsewhere travel as their bytes, so that their location data is
            // stripped like a library photo's.
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) {
                *message = TULOStringWithFormat(localizedString("ATTACHMENT_UNREADABLE_FILE_%@"), {info.fileName()});
                return nullptr;
            }
            QImage check;
            const QByteArray bytes = file.readAll();
            if (!check.loadFromData(bytes)) {
                *message = TULOStringWithFormat(localizedString("ATTACHMENT_UNSUPPORTED_FILE_%@"), {info.fileName()});
                return nullptr;
            }
            auto attachment = std::make_shared<TULOAttachment>(bytes, type);
            attachment->setPixelSize(check.size());
            return attachment;
        }
        return std::make_shared<TULOAttachment>(QUrl::fromLocalFile(info.absoluteFilePath()), type);
    }
    // A song of the media library keeps its tags and artwork.
    TULOMediaLibrary *library = m_mediaLibrary ? m_mediaLibrary.data() : TULOMediaLibrary::defaultMediaLibrary();
    if (library) {
        if (const TULOMediaLibraryItemPtr item = library->itemForFilePath(info.absoluteFilePath()))
            return std::make_shared<TULOAttachment>(item);
    }
    auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(info.absoluteFilePath()), type);
    attachment->setTitle(info.completeBaseName());
    return attachment;
}

TULOAttachmentDropHandler::Result TULOAttachmentDropHandler::attachmentsFromFiles(const QStringList &filePaths) const
{
    QList<TULOAttachmentPtr> accepted;
    QStringList messages;
    for (const QString &path : filePaths) {
        QString message;
        if (TULOAttachmentPtr attachment = attachmentForFile(path, &message))
            accepted << attachment;
        else
            messages << message;
    }
    return limited(accepted, messages);
}

TULOAttachmentDropHandler::Result TULOAttachmentDropHandler::attachmentsFromMimeData(const QMimeData *data) const
{
    if (!data)
        return Result();
    const QStringList files = localFiles(data);
    if (!files.isEmpty())
        return attachmentsFromFiles(files);
    QList<TULOAttachmentPtr> accepted;
    if (data->hasImage()) {
        const QImage image = qvariant_cast<QImage>(data->imageData());
        if (!image.isNull()) {
            auto attachment = std::make_shared<TULOAttachment>(image, QString::fromLatin1(TULOTypeIdentifierPNG));
            attachment->setPixelSize(image.size());
            accepted << attachment;
        }
    }
    return limited(accepted, {});
}

TULOAttachmentDropHandler::Result TULOAttachmentDropHandler::limited(QList<TULOAttachmentPtr> accepted,
    QStringList messages) const
{
    // The first ones fit, up to the limit; the user learns how many did not.
    const qint64 existing = m_countProvider ? m_countProvider() : 0;
    if (m_maximumNumberOfAttachments > 0) {
        const qint64 room = qMax<qint64>(0, m_maximumNumberOfAttachments - existing);
        if (accepted.size() > room) {
            const TULONumberFormatter formatter(m_clientContext, 1);
            messages << TULOStringWithFormat(localizedString("ATTACHMENT_LIMIT_REACHED_%@_%@"),
                {formatter.stringFromNumber(m_maximumNumberOfAttachments),
                    formatter.stringFromNumber(accepted.size() - room)});
            accepted = accepted.mid(0, room);
        }
    }
    return Result{accepted, messages};
}

void TULOAttachmentDropHandler::installOnWidget(QWidget *widget)
{
    if (!widget)
        return;
    widget->setAcceptDrops(true);
    widget->installEventFilter(this);
    // Scroll areas (text views) receive drops on their viewport.
    if (auto *area = qobject_cast<QAbstractScrollArea *>(widget)) {
        area->viewport()->setAcceptDrops(true);
        area->viewport()->installEventFilter(this);
    }
}

void TULOAttachmentDropHandler::deliver(const QMimeData *data)
{
    const Result result = attachmentsFromMimeData(data);
    if (!result.attachments.isEmpty())
        Q_EMIT attachmentsReceived(result.attachments);
    if (!result.messages.isEmpty())
        Q_EMIT attachmentsRejected(result.messages);
}

bool TULOAttachmentDropHandler::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto *drag = static_cast<QDropEvent *>(event);
        if (!canHandleMimeData(drag->mimeData()))
            break;
        drag->setDropAction(Qt::CopyAction);
        drag->accept();
        return true;
    }
    case QEvent::Drop: {
        auto *drop = static_cast<QDropEvent *>(event);
        if (!canHandleMimeData(drop->mimeData()))
            break;
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        deliver(drop->mimeData());
        return true;
    }
    case QEvent::KeyPress:
    case QEvent::ShortcutOverride: {
        auto *key = static_cast<QKeyEvent *>(event);
        if (!key->matches(QKeySequence::Paste))
            break;
        const QMimeData *data = QGuiApplication::clipboard()->mimeData();
        // Text pastes belong to the text view.
        if (!canHandleMimeData(data))
            break;
        key->accept();
        if (event->type() == QEvent::KeyPress)
            deliver(data);
        return true;
    }
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
