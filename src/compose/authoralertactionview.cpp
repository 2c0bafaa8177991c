#include <Quillon/compose/authoralertactionview.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>

TULOAuthorAlertActionView::TULOAuthorAlertActionView(QWidget *parent)
    : QWidget(parent)
    , m_nameLabel(new QLabel(this))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(Margin + ImageSide + Margin, Margin, Margin, Margin);
    layout->addWidget(m_nameLabel, 1);
}

TULOAuthorAlertActionView::~TULOAuthorAlertActionView() = default;

QString TULOAuthorAlertActionView::authorName() const
{
    return m_nameLabel->text();
}

void TULOAuthorAlertActionView::setAuthorName(const QString &name)
{
    m_nameLabel->setText(name);
}

void TULOAuthorAlertActionView::setImage(const QImage &image)
{
    m_image = image;
    update();
}

void TULOAuthorAlertActionView::paintEvent(QPaintEvent *)
{
    if (m_image.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF box(Margin, (height() - ImageSide) / 2.0, ImageSide, ImageSide);
    QPainterPath clip;
    clip.addRoundedRect(box, 4, 4);
    painter.setClipPath(clip);
    painter.drawImage(box, m_image);
}
