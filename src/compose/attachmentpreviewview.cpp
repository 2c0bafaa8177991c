#include <Quillon/compose/attachmentpreviewview.h>

#include <Quillon/compose/audioattachmentpreviewview.h>
#include <Quillon/compose/imageattachmentpreviewview.h>
#include <Quillon/compose/videoattachmentpreviewview.h>
#include <Quillon/platform/localization.h>

#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QStyleOptionFocusRect>

namespace {

// A round, dark button with a white cross, as removal buttons on thumbnails look.
class TULORemoveAttachmentButton : public QAbstractButton
{
public:
    explicit TULORemoveAttachmentButton(QWidget *parent)
        : QAbstractButton(parent)
    {
        setFocusPolicy(Qt::StrongFocus);
        setCursor(Qt::PointingHandCursor);
        setFixedSize(TULOAttachmentPreviewView::RemoveButtonSize, TULOAttachmentPreviewView::RemoveButtonSize);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF circle = QRectF(rect()).adjusted(1, 1, -1, -1);
        painter.setPen(QPen(QColor(255, 255, 255, 230), 1.5));
        painter.setBrush(isDown() ? QColor(20, 20, 20) : QColor(60, 60, 60, 235));
        painter.drawEllipse(circle);
        painter.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap));
        const QPointF c = circle.center();
        const qreal arm = circle.width() * 0.18;
        painter.drawLine(c + QPointF(-arm, -arm), c + QPointF(arm, arm));
        painter.drawLine(c + QPointF(-arm, arm), c + QPointF(arm, -arm));
        if (hasFocus()) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
            painter.drawEllipse(circle.adjusted(-0.5, -0.5, 0.5, 0.5));
        }
    }
};

} // namespace

TULOAttachmentPreviewView *TULOAttachmentPreviewView::withAttachment(const TULOAttachmentPtr &attachment,
                                                                     const TULOClientContext &clientContext, QWidget *parent)
{
    if (!attachment)
        return nullptr;
    QWidget *child = nullptr;
    switch (attachment->attachmentType()) {
    case TULOAttachmentTypeVideo:
        child = new TULOVideoAttachmentPreviewView(attachment);
        break;
    case TULOAttachmentTypeImage:
        child = new TULOImageAttachmentPreviewView(attachment);
        break;
    case TULOAttachmentTypeAudio:
        child = new TULOAudioAttachmentPreviewView(attachment, clientContext);
        break;
    default:
        return nullptr;
    }
    auto *view = new TULOAttachmentPreviewView(attachment, child, parent);
    view->m_clientContext = clientContext;
    view->setAccessiblePosition(0, 1);
    return view;
}

TULOAttachmentPreviewView::TULOAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *childView, QWidget *parent)
    : QWidget(parent)
    , m_attachment(attachment)
    , m_childView(childView)
    , m_removeButton(new TULORemoveAttachmentButton(this))
{
    // Focusable as one item, so that Tab walks text, previews and rows; Return opens it.
    setFocusPolicy(Qt::StrongFocus);
    if (m_childView) {
        m_childView->setParent(this);
        m_childView->setFocusPolicy(Qt::NoFocus);
        // A click anywhere on the picture is a click on the preview.
        m_childView->setAttribute(Qt::WA_TransparentForMouseEvents);
        m_childView->show();
    }
    m_removeButton->raise();
    resize(sizeHint());
}

TULOAttachmentPreviewView::~TULOAttachmentPreviewView() = default;

QSize TULOAttachmentPreviewView::sizeThatFits(const QSize &size) const
{
    if (!m_childView)
        return QSize(ChildInset, ChildInset);
    const int room = std::max(0, size.width() - ChildInset);
    const QSize hint = m_childView->sizeHint();
    const int width = std::min(room, hint.width());
    const int height = m_childView->hasHeightForWidth() ? m_childView->heightForWidth(width) : hint.height();
    return QSize(width + ChildInset, height + ChildInset);
}

QSize TULOAttachmentPreviewView::sizeHint() const
{
    return sizeThatFits(QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
}

void TULOAttachmentPreviewView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (m_childView)
        m_childView->setGeometry(ChildInset, ChildInset, width() - ChildInset, height() - ChildInset);
    // The button's centre sits on the child's corner, two points in.
    m_removeButton->move(ChildInset + 2 - RemoveButtonSize / 2, ChildInset + 2 - RemoveButtonSize / 2);
    m_removeButton->raise();
}

QString TULOAttachmentPreviewView::kindKey() const
{
    switch (m_attachment ? m_attachment->attachmentType() : TULOAttachmentTypeUnknown) {
    case TULOAttachmentTypeVideo:
        return QStringLiteral("VIDEO");
    case TULOAttachmentTypeAudio:
        return QStringLiteral("AUDIO");
    default:
        return QStringLiteral("PHOTO");
    }
}

void TULOAttachmentPreviewView::setAccessiblePosition(int index, int count)
{
    const TULOLocalization *localization = TULOLocalization::defaultLocalization();
    const QStringList position{QString::number(index + 1), QString::number(count)};
    const auto text = [&](const QString &key) {
        return TULOStringWithFormat(localization->localizedStringForKey(key, QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext),
                                    position);
    };
    QString name = text(QStringLiteral("ATTACHMENT_%1_%@_%@").arg(kindKey()));
    if (m_attachment && !m_attachment->title().isEmpty())
        name += QStringLiteral(": ") + m_attachment->title();
    setAccessibleName(name);
    m_removeButton->setAccessibleName(text(QStringLiteral("REMOVE_ATTACHMENT_%1_%@_%@").arg(kindKey())));
    m_removeButton->setToolTip(m_removeButton->accessibleName());
}
