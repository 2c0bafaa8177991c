#include <Quillon/compose/imageattachmentpreviewview.h>

#include <Quillon/compose/previewdrawing_p.h>
#include <Quillon/compose/previewimageloader_p.h>

#include <QGuiApplication>
#include <QPainter>

TULOImageAttachmentPreviewView::TULOImageAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    if (!attachment)
        return;
    if (!attachment->assetImage().isNull()) {
        m_image = attachment->assetImage();
        return;
    }
    // Decoded for the largest box this preview takes, at the main screen's scale.
    const qreal scale = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    const QSize pixels = QSize(PreferredWidth, heightForWidth(PreferredWidth)) * scale;
    const auto done = [this, scale](const QImage &image) {
        m_loading = false;
        m_image = image;
        m_image.setDevicePixelRatio(scale);
        update();
        Q_EMIT imageLoaded();
    };
    if (!attachment->data().isEmpty()) {
        m_loading = true;
        TULOPreviewImageLoader::loadImage(attachment->data(), pixels, this, done);
    } else if (!attachment->assetURL().isEmpty()) {
        m_loading = true;
        TULOPreviewImageLoader::loadImage(attachment->assetURL(), pixels, this, done);
    }
}

TULOImageAttachmentPreviewView::~TULOImageAttachmentPreviewView() = default;

QSize TULOImageAttachmentPreviewView::sizeHint() const
{
    return QSize(PreferredWidth, heightForWidth(PreferredWidth));
}

int TULOImageAttachmentPreviewView::heightForWidth(int width) const
{
    return width * 3 / 4;
}

void TULOImageAttachmentPreviewView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QRectF box = rect();
    if (m_image.isNull())
        painter.fillRect(box, QColor::fromRgbF(0.8f, 0.8f, 0.8f));
    else
        TULOPreviewDrawing::drawAspectFill(painter, box, m_image);
    TULOPreviewDrawing::drawHairlineBorder(painter, box, devicePixelRatioF());
}
