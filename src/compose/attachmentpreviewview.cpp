#include <Quillon/compose/attachmentpreviewview.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

TULOAttachmentPreviewView *TULOAttachmentPreviewView::withAttachment(const TULOAttachmentPtr &attachment,
                                                                    const TULOClientContext &context)
{
    Q_UNUSED(context)
    if (!attachment)
        return nullptr;
    switch (attachment->attachmentType()) {
    case TULOAttachmentTypeAudio:
    case TULOAttachmentTypeImage:
    case TULOAttachmentTypeVideo:
        return new TULOAttachmentPreviewView(attachment);
    default:
        return nullptr;
    }
}

TULOAttachmentPreviewView::TULOAttachmentPreviewView(const TULOAttachmentPtr &attachment)
    : m_attachment(attachment)
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    auto *remove = new QToolButton;
    remove->setIcon(QIcon::fromTheme(QStringLiteral("edit-delete")));
    remove->setText(tr("Remove"));
    remove->setAccessibleName(tr("Remove attachment"));
    m_removeButton = remove;
    auto *image = new QLabel;
    QImage picture = attachment->thumbnailImage().isNull() ? attachment->assetImage() : attachment->thumbnailImage();
    if (!picture.isNull())
        image->setPixmap(QPixmap::fromImage(picture.scaled(64, 64, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    auto *title = new QLabel(attachment->title());
    row->addWidget(remove);
    row->addWidget(image);
    row->addWidget(title, 1);
    setAccessibleName(attachment->title());
}

TULOAttachmentPreviewView::~TULOAttachmentPreviewView() = default;
