#include <Quillon/media/videocoverimageselectionview.h>

#include <Quillon/media/filepathforasseturl.h>
#include <Quillon/media/videoscrubbercontrol.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/video/videosurface.h>

#include <QLabel>
#include <QLinearGradient>
#include <QPainter>

#include <cmath>
#include <limits>

namespace {

constexpr double TULODoubleEpsilon = std::numeric_limits<double>::epsilon();
constexpr int TULOMargin = 12;

// Darkens the lowest 15% of the video so the white prompt reads on any frame.
class TULOGradientOverlay : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        QLinearGradient gradient(0, 0, 0, height());
        gradient.setColorAt(0.0, Qt::transparent);
        gradient.setColorAt(0.85, Qt::transparent);
        gradient.setColorAt(1.0, Qt::black);
        painter.fillRect(rect(), gradient);
    }
};

} // namespace

TULOVideoCoverImageSelectionView::TULOVideoCoverImageSelectionView(const QUrl &assetURL,
                                                                   const TULOClientContext &clientContext,
                                                                   QWidget *parent)
    : QWidget(parent)
    , m_assetURL(assetURL)
    , m_clientContext(clientContext)
{
    setAutoFillBackground(true);
    QPalette black = palette();
    black.setColor(QPalette::Window, Qt::black);
    setPalette(black);

    m_backgroundView = new QWidget(this);
    m_backgroundView->setAutoFillBackground(true);
    m_backgroundView->setPalette(black);

    m_playerLayer = new TULOVideoSurface(m_backgroundView);
    m_playerLayer->setAccessibleName(localizedString(QStringLiteral("VIDEO_WORKFLOW_TITLE")));
    m_gradientOverlayLayer = new TULOGradientOverlay(m_backgroundView);
    m_gradientOverlayLayer->setAttribute(Qt::WA_TransparentForMouseEvents);

    m_promptLabel = new QLabel(this);
    m_promptLabel->setAttribute(Qt::WA_TranslucentBackground);
    m_promptLabel->setAlignment(Qt::AlignCenter);
    m_promptLabel->setWordWrap(true);
    QPalette white = m_promptLabel->palette();
    white.setColor(QPalette::WindowText, Qt::white);
    m_promptLabel->setPalette(white);
    m_promptLabel->setText(localizedString(QStringLiteral("VIDEO_WORKFLOW_COVER_IMAGE_PROMPT")));

    m_scrubber = new TULOVideoScrubberControl(this);
    m_scrubber->setAccessibleName(localizedString(QStringLiteral("VIDEO_WORKFLOW_COVER_IMAGE_PROMPT")));
    // Only touch cancel ends a scrub for the prompt; touch up leaves the explanation showing.
    connect(m_scrubber, &TULOVideoScrubberControl::controlEventsSent, this, [this](qint64 events) {
        if (events & TULOControlEventTouchDown)
            scrubberBeginScrubAction();
        if (events & TULOControlEventTouchCancel)
            scrubberEndScrubAction();
        if (events & TULOControlEventValueChanged)
            scrubberValueChangeAction();
    });

    connect(m_playerLayer, &TULOVideoSurface::statusChanged, this,
            &TULOVideoCoverImageSelectionView::playerStatusChanged);
    connect(m_playerLayer, &TULOVideoSurface::fullSizeFrameReady, this,
            &TULOVideoCoverImageSelectionView::coverImageChanged);
    // Photo library videos come as asset URLs: the surface finds their file on its own thread.
    m_playerLayer->setFileLocator([assetURL](TULOError *error) { return TULOFilePathForAssetURL(assetURL, error); });
    layoutSubviews();
}

TULOVideoCoverImageSelectionView::~TULOVideoCoverImageSelectionView() = default;

QString TULOVideoCoverImageSelectionView::localizedString(const QString &key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(key, QStringLiteral("PostComposition"),
                                                                          m_clientContext);
}

QSize TULOVideoCoverImageSelectionView::sizeHint() const
{
    return QSize(480, 320);
}

void TULOVideoCoverImageSelectionView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutSubviews();
}

void TULOVideoCoverImageSelectionView::layoutSubviews()
{
    const int scrubberHeight = m_scrubber->sizeHint().height();
    const QRect videoRect(0, 0, width(), std::max(0, height() - scrubberHeight - 2 * TULOMargin));
    m_backgroundView->setGeometry(videoRect);
    m_playerLayer->setGeometry(m_backgroundView->rect());
    m_gradientOverlayLayer->setGeometry(m_backgroundView->rect());
    const int promptHeight = m_promptLabel->heightForWidth(width() - 2 * TULOMargin);
    m_promptLabel->setGeometry(TULOMargin, videoRect.bottom() - promptHeight - TULOMargin / 2, width() - 2 * TULOMargin,
                               promptHeight);
    m_scrubber->setGeometry(TULOMargin, videoRect.bottom() + TULOMargin, width() - 2 * TULOMargin, scrubberHeight);
}

void TULOVideoCoverImageSelectionView::playerStatusChanged(qint64 status)
{
    if (status == TULOVideoSurfaceStatusFailed) {
        // The other properties stay editable; only the cover cannot be chosen.
        m_promptLabel->setText(localizedString(QStringLiteral("VIDEO_WORKFLOW_COVER_IMAGE_UNAVAILABLE")));
        m_scrubber->setEnabled(false);
        return;
    }
    if (status != TULOVideoSurfaceStatusReadyToPlay)
        return;
    m_duration = m_playerLayer->duration();
    m_scrubber->setDuration(m_duration);
    if (m_initialPlayerTime != 0.0) {
        if (m_initialPlayerTime > TULODoubleEpsilon && m_duration > TULODoubleEpsilon) {
            m_playerLayer->seekToTime(m_initialPlayerTime);
            m_scrubber->setScrubValue(float(m_initialPlayerTime / m_duration), false);
        }
        return;
    }
    // Hidden until the middle frame is there, so the first frame never flashes.
    m_playerLayer->setVisible(false);
    m_initialPlayerTime = m_duration / 2.0;
    m_scrubber->setScrubValue(0.5f, false);
    QPointer<TULOVideoSurface> layer = m_playerLayer;
    m_playerLayer->seekToTime(m_initialPlayerTime, [layer](bool) {
        if (layer)
            layer->setVisible(true);
    });
}

void TULOVideoCoverImageSelectionView::setInitialPlayerTime(double seconds)
{
    m_initialPlayerTime = seconds;
    if (m_playerLayer->status() == TULOVideoSurfaceStatusReadyToPlay)
        m_playerLayer->seekToTime(seconds);
}

void TULOVideoCoverImageSelectionView::scrubberBeginScrubAction()
{
    if (m_scrubber->usesDetailedScrubbing())
        m_promptLabel->setText(detailScrubbingExplanationString());
}

void TULOVideoCoverImageSelectionView::scrubberEndScrubAction()
{
    m_promptLabel->setText(localizedString(QStringLiteral("VIDEO_WORKFLOW_COVER_IMAGE_PROMPT")));
}

void TULOVideoCoverImageSelectionView::scrubberValueChangeAction()
{
    if (m_scrubber->usesDetailedScrubbing())
        m_promptLabel->setText(detailScrubbingExplanationString());
    reloadPlayerCurrentTime();
}

void TULOVideoCoverImageSelectionView::reloadPlayerCurrentTime()
{
    if (m_duration > TULODoubleEpsilon)
        m_playerLayer->seekToTime(m_duration * double(m_scrubber->scrubValue()));
}

QString TULOVideoCoverImageSelectionView::detailScrubbingExplanationString() const
{
    switch (m_scrubber->currentScrubSpeed()) {
    case TULOScrubSpeedHalf:
        return localizedString(QStringLiteral("VIDEO_WORKFLOW_DETAIL_SCRUB_HALF_SPEED"));
    case TULOScrubSpeedQuarter:
        return localizedString(QStringLiteral("VIDEO_WORKFLOW_DETAIL_SCRUB_QUARTER_SPEED"));
    case TULOScrubSpeedFine:
        return localizedString(QStringLiteral("VIDEO_WORKFLOW_DETAIL_SCRUB_FINE"));
    default:
        return localizedString(QStringLiteral("VIDEO_WORKFLOW_DETAIL_SCRUB_EXPLANATION"));
    }
}

double TULOVideoCoverImageSelectionView::coverImageTime() const
{
    return m_playerLayer->status() == TULOVideoSurfaceStatusReadyToPlay ? m_playerLayer->currentTime() : 0.0;
}

QImage TULOVideoCoverImageSelectionView::coverImage() const
{
    if (m_playerLayer->status() != TULOVideoSurfaceStatusReadyToPlay)
        return {};
    return m_playerLayer->fullSizeFrame();
}
