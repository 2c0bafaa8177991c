#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>

class TULONotificationCenter;

// Posted (default notification centre) when a screen starts and stops talking to the network
// on the user's behalf; they drive the network-activity indicator.
extern QUILLON_EXPORT const char *const TULONetworkActivityDidStartNotification;
extern QUILLON_EXPORT const char *const TULONetworkActivityDidStopNotification;

QUILLON_EXPORT void TULOPostNetworkActivityStarted(const void *sender = nullptr);
QUILLON_EXPORT void TULOPostNetworkActivityStopped(const void *sender = nullptr);

// Counts started and not yet stopped activities of a notification centre. Notifications may
// come from any thread; the count and the signal live on the thread of this object.
class QUILLON_EXPORT TULONetworkActivityIndicator : public QObject
{
    Q_OBJECT

public:
    explicit TULONetworkActivityIndicator(TULONotificationCenter *center = nullptr, QObject *parent = nullptr);
    ~TULONetworkActivityIndicator() override;

    // The indicator of the default centre, made on first use on the GUI thread.
    static TULONetworkActivityIndicator *shared();

    bool isActive() const { return m_count > 0; }
    int activityCount() const { return m_count; }

Q_SIGNALS:
    void activeChanged(bool active);

private:
    void change(int delta);

    TULONotificationCenter *m_center;
    quint64 m_startObserver = 0;
    quint64 m_stopObserver = 0;
    int m_count = 0;
};
