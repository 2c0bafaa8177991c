#include <Quillon/compose/lockupview.h>

#include <Quillon/compose/previewdrawing_p.h>
#include <Quillon/core/storeitemartworkrequest.h>

#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

TULOLockupView::TULOLockupView(QWidget *parent)
    : QWidget(parent)
    , m_titleLabel(new QLabel(this))
    , m_subtitleLabel(new QLabel(this))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(ArtworkSide + 12, 4, 0, 4);
    column->setSpacing(2);
    QFont bold = m_titleLabel->font();
    bold.setBold(true);
    m_titleLabel->setFont(bold);
    m_subtitleLabel->setForegroundRole(QPalette::PlaceholderText);
    column->addStretch(1);
    column->addWidget(m_titleLabel);
    column->addWidget(m_subtitleLabel);
    column->addStretch(1);
    m_subtitleLabel->hide();
}

TULOLockupView::~TULOLockupView()
{
    if (m_request)
        m_request->setDelegate(nullptr);
}

QString TULOLockupView::title() const
{
    return m_titleLabel->text();
}

void TULOLockupView::setTitle(const QString &title)
{
    m_titleLabel->setText(title);
    setAccessibleName(title);
}

QString TULOLockupView::subtitle() const
{
    return m_subtitleLabel->text();
}

void TULOLockupView::setSubtitle(const QString &subtitle)
{
    m_subtitleLabel->setText(subtitle);
    m_subtitleLabel->setVisible(!subtitle.isEmpty());
    setAccessibleDescription(subtitle);
}

void TULOLockupView::adoptArtworkRequest(const std::shared_ptr<TULOStoreItemArtworkRequest> &request)
{
    if (m_request)
        m_request->setDelegate(nullptr);
    m_request = request;
    m_image = QImage();
    if (m_request)
        m_request->setDelegate(this);
    update();
}

void TULOLockupView::artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image)
{
    if (!m_request || request->requestIdentifier() != m_request->requestIdentifier())
        return;
    m_image = image;
    update();
}

QSize TULOLockupView::sizeHint() const
{
    return QSize(ArtworkSide + 12 + std::max(m_titleLabel->sizeHint().width(), m_subtitleLabel->sizeHint().width()),
                 ArtworkSide + 8);
}

void TULOLockupView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QRectF box(0, (height() - ArtworkSide) / 2.0, ArtworkSide, ArtworkSide);
    if (m_image.isNull())
        painter.fillRect(box, QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    else
        TULOPreviewDrawing::drawAspectFill(painter, box, m_image);
    TULOPreviewDrawing::drawHairlineBorder(painter, box, devicePixelRatioF());
}
