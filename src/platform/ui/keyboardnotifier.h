#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QRect>
#include <QVariantMap>

class QWidget;
class TULONotificationCenter;

// Posted when an on-screen keyboard moves. User info: the frames before and after (QRect,
// global coordinates; an empty rectangle is "not on screen") and the animation duration
// (seconds, double).
extern QUILLON_EXPORT const char *const TULOKeyboardWillShowNotification;
extern QUILLON_EXPORT const char *const TULOKeyboardWillHideNotification;
extern QUILLON_EXPORT const char *const TULOKeyboardWillChangeFrameNotification;
extern QUILLON_EXPORT const char *const TULOKeyboardDidChangeFrameNotification;
extern QUILLON_EXPORT const char *const TULOKeyboardFrameBeginUserInfoKey;
extern QUILLON_EXPORT const char *const TULOKeyboardFrameEndUserInfoKey;
extern QUILLON_EXPORT const char *const TULOKeyboardAnimationDurationUserInfoKey;

// Turns the input method's keyboard rectangle into the notifications above. Desktops without an
// on-screen keyboard simply never post them.
class QUILLON_EXPORT TULOKeyboardNotifier : public QObject
{
    Q_OBJECT

public:
    explicit TULOKeyboardNotifier(TULONotificationCenter *center = nullptr, QObject *parent = nullptr);

    // The notifier of the default centre, following the application's input method.
    static TULOKeyboardNotifier *shared();

    QRect frame() const { return m_frame; }
    // The keyboard now covers `frame` (global coordinates; empty when it went away).
    void keyboardFrameChanged(const QRect &frame);

private:
    void inputMethodChanged();

    TULONotificationCenter *m_center;
    QRect m_frame;
};

// The part of `widget` (in its own coordinates) that the keyboard's end frame of a
// notification's user info covers; empty when it covers nothing or the info has no frame.
QUILLON_EXPORT QRect TULOKeyboardOverlapInWidget(const QVariantMap &userInfo, const QWidget *widget);
