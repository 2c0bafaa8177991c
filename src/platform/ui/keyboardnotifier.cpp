#include <Quillon/platform/ui/keyboardnotifier.h>

#include <Quillon/platform/notificationcenter.h>

#include <QGuiApplication>
#include <QInputMethod>
#include <QPointer>
#include <QWidget>
#include <QWindow>

const char *const TULOKeyboardWillShowNotification = "TULOKeyboardWillShowNotification";
const char *const TULOKeyboardWillHideNotification = "TULOKeyboardWillHideNotification";
const char *const TULOKeyboardWillChangeFrameNotification = "TULOKeyboardWillChangeFrameNotification";
const char *const TULOKeyboardDidChangeFrameNotification = "TULOKeyboardDidChangeFrameNotification";
const char *const TULOKeyboardFrameBeginUserInfoKey = "TULOKeyboardFrameBeginUserInfoKey";
const char *const TULOKeyboardFrameEndUserInfoKey = "TULOKeyboardFrameEndUserInfoKey";
const char *const TULOKeyboardAnimationDurationUserInfoKey = "TULOKeyboardAnimationDurationUserInfoKey";

namespace {

constexpr double TULOKeyboardAnimationDuration = 0.25;

} // namespace

TULOKeyboardNotifier::TULOKeyboardNotifier(TULONotificationCenter *center, QObject *parent)
    : QObject(parent)
    , m_center(center ? center : TULONotificationCenter::defaultCenter())
{
}

TULOKeyboardNotifier *TULOKeyboardNotifier::shared()
{
    static QPointer<TULOKeyboardNotifier> notifier;
    if (!notifier) {
        notifier = new TULOKeyboardNotifier(nullptr, QCoreApplication::instance());
        if (QInputMethod *input = QGuiApplication::inputMethod()) {
            connect(input, &QInputMethod::keyboardRectangleChanged, notifier.data(),
                    &TULOKeyboardNotifier::inputMethodChanged);
            connect(input, &QInputMethod::visibleChanged, notifier.data(), &TULOKeyboardNotifier::inputMethodChanged);
        }
    }
    return notifier;
}

void TULOKeyboardNotifier::inputMethodChanged()
{
    QInputMethod *input = QGuiApplication::inputMethod();
    if (!input)
        return;
    QRect frame;
    if (input->isVisible()) {
        // The input method reports the rectangle in the focus window's coordinates.
        const QRect local = input->keyboardRectangle().toAlignedRect();
        QWindow *window = QGuiApplication::focusWindow();
        frame = window && !local.isEmpty() ? QRect(window->mapToGlobal(local.topLeft()), local.size()) : local;
    }
    keyboardFrameChanged(frame);
}

void TULOKeyboardNotifier::keyboardFrameChanged(const QRect &frame)
{
    const QRect begin = m_frame.isEmpty() ? QRect() : m_frame;
    const QRect end = frame.isEmpty() ? QRect() : frame;
    if (begin == end)
        return;
    m_frame = end;
    const QVariantMap info{
        {QString::fromLatin1(TULOKeyboardFrameBeginUserInfoKey), begin},
        {QString::fromLatin1(TULOKeyboardFrameEndUserInfoKey), end},
        {QString::fromLatin1(TULOKeyboardAnimationDurationUserInfoKey), TULOKeyboardAnimationDuration},
    };
    if (begin.isEmpty())
        m_center->postNotification(QString::fromLatin1(TULOKeyboardWillShowNotification), this, info);
    else if (end.isEmpty())
        m_center->postNotification(QString::fromLatin1(TULOKeyboardWillHideNotification), this, info);
    m_center->postNotification(QString::fromLatin1(TULOKeyboardWillChangeFrameNotification), this, info);
    m_center->postNotification(QString::fromLatin1(TULOKeyboardDidChangeFrameNotification), this, info);
}

QRect TULOKeyboardOverlapInWidget(const QVariantMap &userInfo, const QWidget *widget)
{
    const QVariant value = userInfo.value(QString::fromLatin1(TULOKeyboardFrameEndUserInfoKey));
    if (!widget || !value.canConvert<QRect>())
        return {};
    const QRect end = value.toRect();
    if (end.isEmpty())
        return {};
    const QRect local(widget->mapFromGlobal(end.topLeft()), end.size());
    return local.intersected(widget->rect());
}
