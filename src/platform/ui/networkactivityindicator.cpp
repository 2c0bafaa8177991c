#include <Quillon/platform/ui/networkactivityindicator.h>

#include <Quillon/platform/notificationcenter.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>

const char *const TULONetworkActivityDidStartNotification = "TULONetworkActivityDidStartNotification";
const char *const TULONetworkActivityDidStopNotification = "TULONetworkActivityDidStopNotification";

void TULOPostNetworkActivityStarted(const void *sender)
{
    TULONotificationCenter::defaultCenter()->postNotification(
        QString::fromLatin1(TULONetworkActivityDidStartNotification), sender);
}

void TULOPostNetworkActivityStopped(const void *sender)
{
    TULONotificationCenter::defaultCenter()->postNotification(
        QString::fromLatin1(TULONetworkActivityDidStopNotification), sender);
}

TULONetworkActivityIndicator::TULONetworkActivityIndicator(TULONotificationCenter *center, QObject *parent)
    : QObject(parent)
    , m_center(center ? center : TULONotificationCenter::defaultCenter())
{
    const QPointer<TULONetworkActivityIndicator> self(this);
    auto deliver = [self](int delta) {
        // Hop to this object's thread; a stop that arrives after we are gone is dropped.
        QMetaObject::invokeMethod(self.data(), [self, delta] {
            if (self)
                self->change(delta);
        }, Qt::AutoConnection);
    };
    m_startObserver = m_center->addObserver(this, QString::fromLatin1(TULONetworkActivityDidStartNotification),
                                            nullptr, [deliver](const TULONotification &) { deliver(1); });
    m_stopObserver = m_center->addObserver(this, QString::fromLatin1(TULONetworkActivityDidStopNotification),
                                           nullptr, [deliver](const TULONotification &) { deliver(-1); });
}

TULONetworkActivityIndicator::~TULONetworkActivityIndicator()
{
    m_center->removeObserver(m_startObserver);
    m_center->removeObserver(m_stopObserver);
}

TULONetworkActivityIndicator *TULONetworkActivityIndicator::shared()
{
    static QPointer<TULONetworkActivityIndicator> indicator;
    if (!indicator)
        indicator = new TULONetworkActivityIndicator(nullptr, QCoreApplication::instance());
    return indicator;
}

void TULONetworkActivityIndicator::change(int delta)
{
    const bool wasActive = isActive();
    // An unmatched stop does not drive the count below zero.
    m_count = qMax(0, m_count + delta);
    if (wasActive != isActive())
        Q_EMIT activeChanged(isActive());
}
