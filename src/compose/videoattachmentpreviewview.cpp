#include <Quillon/compose/videoattachmentpreviewview.h>

#include <Quillon/compose/previewdrawing_p.h>
#include <Quillon/compose/previewimageloader_p.h>
#include <Quillon/media/filepathforasseturl.h>
#include <Quillon/platform/video/videoframesource.h>

#include <QGuiApplication>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>

namespace {
constexpr int TULOVideoPreviewWidth = 320;
constexpr int TULOVideoTitleMargin = 8;
}

TULOVideoAttachmentPreviewView::TULOVideoAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *parent)
    : QWidget(parent)
{
    if (!attachment)
        return;
    m_image = attachment->thumbnailImage();
    if (m_image.isNull() && !attachment->assetURL().isEmpty()) {
        // No thumbnail yet: the first frame worth showing, found and decoded off the main thread.
        m_loading = true;
        const QUrl url = attachment->assetURL();
        const qreal scale = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
        const QSize maxSize = QSize(TULOVideoPreviewWidth * 2, heightForWidth(TULOVideoPreviewWidth) * 2) * scale;
        TULOPreviewImageLoader::run(
            this,
            [url, maxSize] {
                TULOVideoFrameSource source(TULOFilePathForAssetURL(url));
                return source.open() ? source.firstGoodFrame(maxSize) : QImage();
            },
            [this, scale](const QImage &frame) {
                m_loading = false;
                m_image = frame;
                m_image.setDevicePixelRatio(scale);
                update();
                Q_EMIT imageLoaded();
            });
    }
    if (!attachment->title().isEmpty()) {
        m_overlay = true;
        m_label = new QLabel(attachment->title(), this);
        QFont footnote = m_label->font();
        footnote.setPointSizeF(footnote.pointSizeF() * 0.85);
        m_label->setFont(footnote);
        QPalette palette = m_label->palette();
        palette.setColor(QPalette::WindowText, Qt::white);
        m_label->setPalette(palette);
        m_label->setForegroundRole(QPalette::WindowText);
        m_label->adjustSize();
    }
}

TULOVideoAttachmentPreviewView::~TULOVideoAttachmentPreviewView() = default;

QSize TULOVideoAttachmentPreviewView::sizeHint() const
{
    return QSize(TULOVideoPreviewWidth, heightForWidth(TULOVideoPreviewWidth));
}

int TULOVideoAttachmentPreviewView::heightForWidth(int width) const
{
    return width * 9 / 16;
}

void TULOVideoAttachmentPreviewView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (!m_label)
        return;
    const int room = width() - 2 * TULOVideoTitleMargin;
    const QString elided = m_label->fontMetrics().elidedText(m_label->text(), Qt::ElideRight, room);
    const QSize fitted(std::min(room, m_label->sizeHint().width()), m_label->sizeHint().height());
    m_label->setToolTip(elided != m_label->text() ? m_label->text() : QString());
    m_label->setGeometry(TULOVideoTitleMargin, height() - TULOVideoTitleMargin - fitted.height(), fitted.width(), fitted.height());
}

void TULOVideoAttachmentPreviewView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QRectF box = rect();
    if (m_image.isNull()) {
        painter.fillRect(box, QColor::fromRgbF(0.8f, 0.8f, 0.8f));
    } else {
        painter.fillRect(box, Qt::black);
        TULOPreviewDrawing::drawAspectFill(painter, box, m_image);
    }
    if (m_overlay) {
        QLinearGradient gradient(box.topLeft(), box.bottomLeft());
        gradient.setColorAt(0, Qt::transparent);
        gradient.setColorAt(0.67, Qt::transparent);
        gradient.setColorAt(1, QColor(0, 0, 0, 77));
        painter.fillRect(box, gradient);
    }
    TULOPreviewDrawing::drawHairlineBorder(painter, box, devicePixelRatioF());
}
