#include <Quillon/media/soundbiteview.h>

#include <Quillon/platform/localization.h>
#include <Quillon/core/numberformatter.h>
#include <Quillon/media/soundbiteviewbutton.h>
#include <Quillon/media/waveformimageproducer.h>
#include <Quillon/platform/audio/proximitysensor.h>

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPainter>

#include <cmath>

namespace {

// Metrics of the two rows: the main row (record button, then the prompt or the play button,
// waveform and time) and the explicit row beneath it.
constexpr int SideMargin = 12;
constexpr int TopMargin = 8;
constexpr int BottomMargin = 8;
constexpr int MainRowMinimumHeight = 44;
constexpr int RowSpacing = 6;
constexpr int ExplicitRowHeight = 24;
constexpr int ItemSpacing = 10;
constexpr int WaveformHorizontalInset = 8;
constexpr int WaveformCornerRadius = 8;

bool showsPlayback(qint64 mode)
{
    return mode == TULOSoundBiteViewModePlaying || mode == TULOSoundBiteViewModePaused;
}

bool showsPlayButton(qint64 mode)
{
    return showsPlayback(mode) || mode == TULOSoundBiteViewModeRecorded;
}

// The scale the painter draws at: the widget's own, or that of the image it is rendered into.
qreal paintScale(QPainter &painter, const QWidget *widget)
{
    const QPaintDevice *device = painter.paintEngine() ? painter.paintEngine()->paintDevice() : nullptr;
    return device ? device->devicePixelRatioF() : widget->devicePixelRatioF();
}

QImage tintedImage(const QImage &mask, const QColor &color)
{
    if (mask.isNull())
        return {};
    QImage tinted(mask.size(), QImage::Format_ARGB32_Premultiplied);
    tinted.setDevicePixelRatio(mask.devicePixelRatio());
    tinted.fill(color);
    QPainter painter(&tinted);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.drawImage(QPointF(0, 0), mask);
    return tinted;
}

// The rounded plate the waveform sits on.
class WaveformBackgroundView : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette().color(QPalette::Highlight));
        painter.drawRoundedRect(QRectF(rect()), WaveformCornerRadius, WaveformCornerRadius);
    }
};

} // namespace

// Shows the view's waveform template image in one tint; the progress overlay is a second one,
// as wide as the played part, so the clip does the rest.
class TULOSoundBiteView::ImageView : public QWidget
{
public:
    explicit ImageView(TULOSoundBiteView *owner)
        : QWidget(owner), m_owner(owner)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

    void setTint(const QColor &color)
    {
        if (m_tint == color)
            return;
        m_tint = color;
        m_tinted = QImage();
        update();
    }
    void imageDidChange()
    {
        m_tinted = QImage();
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const qreal scale = paintScale(painter, this);
        const QImage mask = m_owner->waveformImageAtScale(scale);
        if (mask.isNull())
            return;
        if (m_tinted.isNull() || m_tintedKey != mask.cacheKey()) {
            m_tinted = tintedImage(mask, m_tint);
            m_tintedKey = mask.cacheKey();
        }
        painter.drawImage(QPointF(0, 0), m_tinted);
    }

private:
    TULOSoundBiteView *m_owner;
    QColor m_tint = Qt::white;
    QImage m_tinted;
    qint64 m_tintedKey = 0;
};

QWidget *TULOSoundBiteView::waveformImageView() const
{
    return m_waveformImageView;
}

QWidget *TULOSoundBiteView::playbackProgressView() const
{
    return m_playbackProgressView;
}

TULOSoundBiteView::TULOSoundBiteView(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("soundBiteView"));

    m_promptLabel = new QLabel(this);
    m_promptLabel->setWordWrap(true);
    m_promptLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    m_recordButton = new TULOSoundBiteViewButton(TULOSoundBiteViewButton::Record, this);
    m_recordButton->setHoldButton(true);
    m_stopRecordingIndicator = new TULOSoundBiteViewButton(TULOSoundBiteViewButton::StopRecording, this);
    m_playButton = new TULOSoundBiteViewButton(TULOSoundBiteViewButton::Play, this);

    m_waveformBackgroundView = new WaveformBackgroundView(this);
    m_waveformBackgroundView->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_waveformImageView = new ImageView(this);
    m_playbackProgressView = new ImageView(this);

    m_timeLabel = new QLabel(this);
    m_timeLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    m_explicitPromptLabel = new QLabel(this);
    m_explicitPromptLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_explicitButton = new TULOSoundBiteViewButton(TULOSoundBiteViewButton::Explicit, this);
    m_explicitButton->setCheckable(true);
    m_explicitPromptLabel->setBuddy(m_explicitButton);

    setTabOrder(m_recordButton, m_stopRecordingIndicator);
    setTabOrder(m_stopRecordingIndicator, m_playButton);
    setTabOrder(m_playButton, m_explicitButton);

    connect(m_recordButton, &TULOSoundBiteViewButton::holdBegan, this, &TULOSoundBiteView::holdRecord);
    connect(m_recordButton, &TULOSoundBiteViewButton::holdEnded, this, &TULOSoundBiteView::releaseRecord);
    connect(m_recordButton, &TULOSoundBiteViewButton::clicked, this, &TULOSoundBiteView::recordButtonActivated);
    connect(m_stopRecordingIndicator, &TULOSoundBiteViewButton::holdEnded, this, &TULOSoundBiteView::releaseRecord);
    connect(m_stopRecordingIndicator, &TULOSoundBiteViewButton::clicked, this, &TULOSoundBiteView::releaseRecord);
    connect(m_playButton, &TULOSoundBiteViewButton::clicked, this, [this] {
        if (TULOSoundBiteViewDelegate *delegate = m_delegate.get())
            delegate->soundBiteViewDidTogglePlayback(this);
    });
    connect(m_explicitButton, &TULOSoundBiteViewButton::clicked, this, [this] {
        // The button has flipped its checked state, which is isExplicit().
        if (TULOSoundBiteViewDelegate *delegate = m_delegate.get())
            delegate->soundBiteViewDidToggleExplicit(this);
    });

    tintColorDidChange();
    applyVisibility();
    setNeedsLayout();
}

TULOSoundBiteView::~TULOSoundBiteView()
{
    stopObservingProximity();
}

void TULOSoundBiteView::setNeedsLayout()
{
    m_needsLayout = true;
    if (!m_layoutPosted) {
        m_layoutPosted = true;
        QCoreApplication::postEvent(this, new QEvent(QEvent::LayoutRequest));
    }
}

void TULOSoundBiteView::layoutIfNeeded()
{
    if (m_needsLayout)
        layoutSubviews();
}

bool TULOSoundBiteView::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest) {
        m_layoutPosted = false;
        layoutIfNeeded();
    }
    return QWidget::event(event);
}

void TULOSoundBiteView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutSubviews();
}

void TULOSoundBiteView::setMode(qint64 mode)
{
    if (m_mode == mode)
        return;
    const bool wasRecording = m_mode == TULOSoundBiteViewModeRecording;
    m_mode = mode;
    if (wasRecording)
        m_recordHeld = false; // the take is over, whoever ended it
    applyVisibility();
    updatePlayButtonAccessibility();
    setNeedsLayout();
}

void TULOSoundBiteView::applyVisibility()
{
    const qint64 mode = m_mode;
    const bool known = mode >= TULOSoundBiteViewModePrompt && mode <= TULOSoundBiteViewModeRecorded;
    const bool recording = mode == TULOSoundBiteViewModeRecording;
    const bool holding = m_recordButton->isHolding();
    const bool recordFocused = m_recordButton->hasFocus();
    const bool stopFocused = m_stopRecordingIndicator->hasFocus();

    m_promptLabel->setVisible(mode == TULOSoundBiteViewModePrompt);
    m_stopRecordingIndicator->setVisible(recording);
    m_recordButton->setVisible(!recording);
    m_playButton->setVisible(showsPlayButton(mode));
    m_playbackProgressView->setVisible(showsPlayButton(mode)); // laid out 0 wide unless playing or paused
    const bool waveform = mode != TULOSoundBiteViewModePrompt || !known;
    m_timeLabel->setVisible(waveform);
    m_waveformBackgroundView->setVisible(waveform);
    m_waveformImageView->setVisible(waveform);

    // The indicator takes the place of the record button under the pointer and the focus.
    if (recording && holding)
        m_stopRecordingIndicator->continueHold();
    if (recording && recordFocused)
        m_stopRecordingIndicator->setFocus(Qt::OtherFocusReason);
    if (!recording && stopFocused)
        m_recordButton->setFocus(Qt::OtherFocusReason);
    m_playButton->setShowsPause(mode == TULOSoundBiteViewModePlaying);
}

void TULOSoundBiteView::setPlaybackProgress(float progress)
{
    m_playbackProgress = progress;
    if (!showsPlayback(m_mode))
        return;
    const QRect frame = waveformFrame();
    const int width = int(std::ceil(float(double(progress) * frame.width())));
    const QRect overlay = m_playbackProgressView->geometry();
    m_playbackProgressView->setGeometry(overlay.x(), overlay.y(), std::max(0, width), overlay.height());
}

QString TULOSoundBiteView::promptString() const
{
    return m_promptLabel->text();
}

void TULOSoundBiteView::setPromptString(const QString &text)
{
    m_promptLabel->setText(text);
    setNeedsLayout();
}

QString TULOSoundBiteView::timeString() const
{
    return m_timeLabel->text();
}

void TULOSoundBiteView::setTimeString(const QString &text)
{
    if (m_timeLabel->text() == text)
        return; // the countdown repeats its text fifteen times a second
    m_timeLabel->setText(text);
    setNeedsLayout();
}

bool TULOSoundBiteView::isExplicit() const
{
    return m_explicitButton->isChecked();
}

void TULOSoundBiteView::setExplicit(bool isExplicit)
{
    m_explicitButton->setChecked(isExplicit);
}

void TULOSoundBiteView::setExplictButtonTitle(const QString &title)
{
    m_explicitButton->setText(title);
    setNeedsLayout();
}

void TULOSoundBiteView::setExplictPromptString(const QString &text)
{
    m_explicitPromptLabel->setText(text);
    m_explicitButton->setAccessibleName(text);
}

void TULOSoundBiteView::setWaveformImageUsingProducer(const std::shared_ptr<TULOWaveformImageProducer> &producer)
{
    m_producer = producer;
    setNeedsLayout();
}

void TULOSoundBiteView::reserveSpaceForRecordingTimes(qint64 count, const QString &timeFormat)
{
    m_recordingTimeLabelWidth = 0.0;
    const QString previous = m_timeLabel->text();
    const TULONumberFormatter formatter;
    for (qint64 k = 1; k <= count; ++k) {
        m_timeLabel->setText(TULOStringWithFormat(timeFormat, {formatter.stringFromNumber(k)}));
        m_recordingTimeLabelWidth = std::max(m_recordingTimeLabelWidth, double(m_timeLabel->sizeHint().width()));
    }
    m_timeLabel->setText(previous);
    setNeedsLayout();
}

void TULOSoundBiteView::setRecordButtonAccessibleTexts(const QString &name, const QString &description)
{
    m_recordName = name;
    m_recordDescription = description;
    updateRecordButtonAccessibility();
}

void TULOSoundBiteView::setStopRecordingAccessibleName(const QString &name)
{
    m_stopRecordingIndicator->setAccessibleName(name);
    m_stopRecordingIndicator->setToolTip(name);
}

void TULOSoundBiteView::setPlayButtonAccessibleNames(const QString &play, const QString &pause)
{
    m_playName = play;
    m_pauseName = pause;
    updatePlayButtonAccessibility();
}

void TULOSoundBiteView::setRecordingUnavailableReason(const QString &reason)
{
    m_unavailableReason = reason;
    updateRecordButtonAccessibility();
}

void TULOSoundBiteView::updateRecordButtonAccessibility()
{
    const bool available = m_unavailableReason.isNull();
    m_recordButton->setEnabled(available);
    m_recordButton->setAccessibleName(m_recordName);
    m_recordButton->setAccessibleDescription(available ? m_recordDescription : m_unavailableReason);
    m_recordButton->setToolTip(available ? m_recordDescription : m_unavailableReason);
}

void TULOSoundBiteView::updatePlayButtonAccessibility()
{
    const QString name = m_mode == TULOSoundBiteViewModePlaying ? m_pauseName : m_playName;
    m_playButton->setAccessibleName(name);
    m_playButton->setToolTip(name);
}

int TULOSoundBiteView::mainRowHeight(int width) const
{
    if (m_mode != TULOSoundBiteViewModePrompt)
        return MainRowMinimumHeight;
    const int promptWidth = width - 2 * SideMargin - m_recordButton->sizeHint().width() - ItemSpacing;
    return std::max(MainRowMinimumHeight, m_promptLabel->heightForWidth(std::max(1, promptWidth)));
}

int TULOSoundBiteView::heightForWidth(int width) const
{
    return TopMargin + mainRowHeight(width) + RowSpacing + ExplicitRowHeight + BottomMargin;
}

QSize TULOSoundBiteView::sizeThatFits(const QSize &size) const
{
    return QSize(size.width(), heightForWidth(size.width()));
}

QSize TULOSoundBiteView::sizeHint() const
{
    return sizeThatFits(QSize(360, 0));
}

QRect TULOSoundBiteView::waveformFrame() const
{
    return m_waveformImageView->geometry();
}

void TULOSoundBiteView::layoutSubviews()
{
    m_needsLayout = false;
    const int width = this->width();
    const int rowHeight = mainRowHeight(width);
    const int right = width - SideMargin;

    const QSize recordSize = m_recordButton->sizeHint();
    const QRect recordFrame(SideMargin, TopMargin + (rowHeight - recordSize.height()) / 2, recordSize.width(),
                            recordSize.height());
    m_recordButton->setGeometry(recordFrame);
    m_stopRecordingIndicator->setGeometry(recordFrame);
    int x = recordFrame.right() + 1 + ItemSpacing;
    m_promptLabel->setGeometry(x, TopMargin, std::max(0, right - x), rowHeight);

    // The countdown keeps the width reserved for its longest text.
    const int timeWidth = m_mode == TULOSoundBiteViewModeRecording ? int(std::ceil(m_recordingTimeLabelWidth))
                                                                   : m_timeLabel->sizeHint().width();
    m_timeLabel->setGeometry(right - timeWidth, TopMargin, timeWidth, rowHeight);

    if (showsPlayButton(m_mode)) {
        const QSize playSize = m_playButton->sizeHint();
        m_playButton->setGeometry(x, TopMargin + (rowHeight - playSize.height()) / 2, playSize.width(), playSize.height());
        x += playSize.width() + ItemSpacing;
    }
    const int waveformRight = right - timeWidth - ItemSpacing;
    const QRect row(x, TopMargin, std::max(0, waveformRight - x), rowHeight);
    m_waveformBackgroundView->setGeometry(row);
    const QRect frame(row.x() + WaveformHorizontalInset, row.y() + 4, std::max(0, row.width() - 2 * WaveformHorizontalInset),
                      std::max(0, row.height() - 8));
    m_waveformImageView->setGeometry(frame);

    if (m_producer)
        m_producer->setWaveformMode(m_mode == TULOSoundBiteViewModeRecording ? TULOWaveformImageProducer::Latest
                                                                           : TULOWaveformImageProducer::Averaged);
    m_waveformImage = m_producer && !frame.isEmpty() ? m_producer->imageWithSize(frame.size(), devicePixelRatioF()) : QImage();

    const bool playback = showsPlayback(m_mode);
    m_waveformImageView->setTint(playback ? QColor(255, 255, 255, 128) : QColor(Qt::white));
    m_waveformImageView->imageDidChange();
    const float progress = playback ? m_playbackProgress : 0.0f;
    m_playbackProgressView->setGeometry(frame.x(), frame.y(), int(std::ceil(float(double(progress) * frame.width()))),
                                        frame.height());
    m_playbackProgressView->imageDidChange();

    const int explicitY = TopMargin + rowHeight + RowSpacing;
    const int labelWidth = m_explicitPromptLabel->sizeHint().width();
    m_explicitPromptLabel->setGeometry(SideMargin, explicitY, labelWidth, ExplicitRowHeight);
    const QSize toggleSize = m_explicitButton->sizeHint();
    m_explicitButton->setGeometry(SideMargin + labelWidth + RowSpacing, explicitY, toggleSize.width(), ExplicitRowHeight);
    updateGeometry();
}

QImage TULOSoundBiteView::waveformImageAtScale(qreal scale)
{
    // Rendering into an image of another scale (screenshots, a window moved to another
    // screen) draws the bars again rather than stretching them.
    if (!m_waveformImage.isNull() && !qFuzzyCompare(m_waveformImage.devicePixelRatio(), scale) && m_producer) {
        const QRect frame = waveformFrame();
        if (!frame.isEmpty())
            m_waveformImage = m_producer->imageWithSize(frame.size(), scale);
    }
    return m_waveformImage;
}

void TULOSoundBiteView::tintColorDidChange()
{
    QPalette secondary = m_promptLabel->palette();
    QColor text = palette().color(QPalette::WindowText);
    text.setAlphaF(0.7f);
    secondary.setColor(QPalette::WindowText, text);
    m_promptLabel->setPalette(secondary);
    m_explicitPromptLabel->setPalette(secondary);
    setNeedsLayout();
    update();
}

void TULOSoundBiteView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        tintColorDidChange();
}

void TULOSoundBiteView::holdRecord()
{
    m_recordHeld = true;
    if (TULOSoundBiteViewDelegate *delegate = m_delegate.get())
        delegate->soundBiteViewDidHoldRecordButton(this);
}

void TULOSoundBiteView::releaseRecord()
{
    m_recordHeld = false;
    if (TULOSoundBiteViewDelegate *delegate = m_delegate.get())
        delegate->soundBiteViewDidReleaseRecordButton(this);
}

void TULOSoundBiteView::recordButtonActivated()
{
    // Space and assistive technology: the first activation starts, the next one stops.
    if (m_mode == TULOSoundBiteViewModeRecording)
        releaseRecord();
    else
        holdRecord();
}

TULOSoundBiteViewButton *TULOSoundBiteView::buttonForTouchAt(const QPoint &point) const
{
    // Touch areas overlap between neighbours; the button nearest to the point takes it.
    TULOSoundBiteViewButton *nearest = nullptr;
    double nearestDistance = 0.0;
    for (TULOSoundBiteViewButton *button : {m_recordButton, m_stopRecordingIndicator, m_playButton, m_explicitButton}) {
        if (button->isHidden() || !button->isEnabled() || !button->pointInside(button->mapFrom(this, QPointF(point))))
            continue;
        const QRect own = button->geometry();
        const double dx = std::max({own.left() - point.x(), 0, point.x() - own.right()});
        const double dy = std::max({own.top() - point.y(), 0, point.y() - own.bottom()});
        const double distance = std::hypot(dx, dy);
        if (!nearest || distance < nearestDistance) {
            nearest = button;
            nearestDistance = distance;
        }
    }
    return nearest;
}

namespace {

void forwardMouseEvent(QWidget *from, QWidget *to, QMouseEvent *event)
{
    QMouseEvent mapped(event->type(), to->mapFrom(from, event->position()), event->scenePosition(), event->globalPosition(),
                       event->button(), event->buttons(), event->modifiers(), event->pointingDevice());
    QCoreApplication::sendEvent(to, &mapped);
    event->setAccepted(mapped.isAccepted());
}

} // namespace

void TULOSoundBiteView::mousePressEvent(QMouseEvent *event)
{
    // A press that missed every control may still be in a button's enlarged touch area.
    m_touchTarget = buttonForTouchAt(event->position().toPoint());
    if (!m_touchTarget) {
        QWidget::mousePressEvent(event);
        return;
    }
    forwardMouseEvent(this, m_touchTarget, event);
}

void TULOSoundBiteView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_touchTarget && m_touchTarget->isVisible())
        forwardMouseEvent(this, m_touchTarget, event);
    else
        QWidget::mouseMoveEvent(event);
}

void TULOSoundBiteView::mouseReleaseEvent(QMouseEvent *event)
{
    const QPointer<TULOSoundBiteViewButton> target = m_touchTarget;
    m_touchTarget.clear();
    if (target && target->isVisible())
        forwardMouseEvent(this, target, event);
    else
        QWidget::mouseReleaseEvent(event);
}

void TULOSoundBiteView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    startObservingProximity();
}

void TULOSoundBiteView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    stopObservingProximity();
    // A window that closes under a held button ends the hold: nobody can let go of it now.
    if (m_recordHeld)
        releaseRecord();
}

void TULOSoundBiteView::startObservingProximity()
{
    if (m_isObservingProximity)
        return;
    m_coordinator = TULOProximityCoordinator::coordinator();
    m_coordinator->addObserver(this);
    const TULOProximitySensor *sensor = TULOProximitySensor::device();
    m_detectedFaceProximity = sensor && sensor->proximityState();
    m_isObservingProximity = true;
}

void TULOSoundBiteView::stopObservingProximity()
{
    if (!m_isObservingProximity)
        return;
    m_coordinator->removeObserver(this);
    m_coordinator.reset();
    m_isObservingProximity = false;
}

void TULOSoundBiteView::proximityCoordinatorStateDidChange(TULOProximityCoordinator *coordinator)
{
    Q_UNUSED(coordinator);
    const TULOProximitySensor *sensor = TULOProximitySensor::device();
    const bool near = sensor && sensor->proximityState();
    if (near == m_detectedFaceProximity)
        return;
    m_detectedFaceProximity = near;
    if (TULOSoundBiteViewDelegate *delegate = m_delegate.get()) {
        if (near)
            delegate->soundBiteViewFaceProximityDidBegin(this);
        else
            delegate->soundBiteViewFaceProximityDidEnd(this);
    }
}
