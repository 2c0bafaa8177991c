#include <Quillon/compose/audioattachmentpreviewview.h>

#include <Quillon/compose/previewdrawing_p.h>
#include <Quillon/platform/image/imagecoloranalyzer.h>
#include <Quillon/platform/localization.h>

#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int TULOAudioPreviewWidth = 480;
constexpr int TULOBadgeRadius = 6;
constexpr int TULOBadgePadding = 5;

void colorLabel(QLabel *label, const QColor &color)
{
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    // Over the card's own colour, not the text colour of the view the card sits in.
    label->setForegroundRole(QPalette::WindowText);
}

QFont scaledFont(const QFont &base, qreal factor, bool bold = false)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * factor);
    font.setBold(bold);
    return font;
}

} // namespace

TULOAudioAttachmentPreviewView::TULOAudioAttachmentPreviewView(const TULOAttachmentPtr &attachment,
                                                               const TULOClientContext &clientContext, QWidget *parent)
    : QWidget(parent)
    , m_titleLabel(new QLabel(this))
    , m_artistLabel(new QLabel(this))
    , m_dateLabel(new QLabel(this))
{
    if (attachment)
        m_cover = attachment->thumbnailImage();
    if (!m_cover.isNull()) {
        const TULOImageColorAnalyzer analyzer(m_cover);
        m_backgroundColor = analyzer.backgroundColor();
        m_textPrimaryColor = analyzer.textPrimaryColor();
        m_textSecondaryColor = analyzer.textSecondaryColor();
    } else {
        m_backgroundColor = QColor::fromRgbF(0.9f, 0.9f, 0.9f);
        m_textPrimaryColor = Qt::black;
        m_textSecondaryColor = QColor(0, 0, 0, 77);
    }

    m_titleLabel->setFont(scaledFont(font(), 1.0, true));
    m_artistLabel->setFont(font());
    m_dateLabel->setFont(scaledFont(font(), 0.85));
    colorLabel(m_titleLabel, m_textPrimaryColor);
    colorLabel(m_artistLabel, m_textPrimaryColor);
    colorLabel(m_dateLabel, m_textSecondaryColor);
    if (!attachment)
        return;

    m_titleLabel->setText(attachment->title());
    QStringList names;
    for (const TULOPostArtist &artist : attachment->artists())
        names.append(artist.name());
    m_artistLabel->setText(names.join(QStringLiteral(", ")));
    const QDateTime date = attachment->date();
    // The year shown is the week-based one (ISO 8601); around New Year it may differ from the
    // calendar's.
    if (date.isValid()) {
        const QDate day = date.date();
        int weekYear = 0;
        day.weekNumber(&weekYear);
        m_dateLabel->setText(QString::number(weekYear));
    }

    if (!attachment->categoryName().isEmpty()) {
        const QString shown = TULOLocalization::defaultLocalization()->localizedStringForCategoryName(attachment->categoryName(),
                                                                                                      clientContext);
        m_categoryBackgroundView = new QWidget(this);
        m_categoryLabel = new QLabel(QLocale().toUpper(shown), this);
        m_categoryLabel->setFont(scaledFont(font(), 0.75, true));
        colorLabel(m_categoryLabel, m_backgroundColor);
        m_categoryLabel->adjustSize();
    }
    setAccessibleName(QStringList({m_titleLabel->text(), m_artistLabel->text()}).join(QStringLiteral(", ")));
}

TULOAudioAttachmentPreviewView::~TULOAudioAttachmentPreviewView() = default;

QSize TULOAudioAttachmentPreviewView::sizeHint() const
{
    return QSize(TULOAudioPreviewWidth, heightForWidth(TULOAudioPreviewWidth));
}

int TULOAudioAttachmentPreviewView::heightForWidth(int) const
{
    return CoverSide + 2 * Padding;
}

void TULOAudioAttachmentPreviewView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    const int left = Padding + CoverSide + 12;
    const int room = std::max(0, width() - left - Padding);
    int y = Padding;
    if (m_categoryLabel) {
        const QSize text = m_categoryLabel->sizeHint();
        m_categoryBackgroundView->setGeometry(left, y, std::min(room, text.width() + 2 * TULOBadgePadding), text.height() + 2);
        m_categoryBackgroundView->hide(); // the badge is painted; the view only keeps its frame
        m_categoryLabel->setGeometry(m_categoryBackgroundView->geometry().adjusted(TULOBadgePadding, 1, -TULOBadgePadding, -1));
        y += m_categoryBackgroundView->height() + 4;
    }
    for (QLabel *label : {m_titleLabel, m_artistLabel, m_dateLabel}) {
        const int height = label->sizeHint().height();
        label->setText(label->text());
        label->setGeometry(left, y, room, height);
        y += height + 1;
    }
}

void TULOAudioAttachmentPreviewView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_backgroundColor);
    const QRectF cover(Padding, Padding, CoverSide, CoverSide);
    if (m_cover.isNull())
        painter.fillRect(cover, QColor::fromRgbF(0.8f, 0.8f, 0.8f));
    else
        TULOPreviewDrawing::drawAspectFill(painter, cover, m_cover);
    TULOPreviewDrawing::drawHairlineBorder(painter, cover, devicePixelRatioF());
    if (m_categoryBackgroundView) {
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath badge;
        badge.addRoundedRect(QRectF(m_categoryBackgroundView->geometry()), TULOBadgeRadius, TULOBadgeRadius);
        painter.fillPath(badge, m_textPrimaryColor);
    }
    TULOPreviewDrawing::drawHairlineBorder(painter, rect(), devicePixelRatioF());
}
