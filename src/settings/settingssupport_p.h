#pragma once

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>

#include <QImage>
#include <QString>

#include <functional>
#include <memory>

class QLineEdit;
class QWidget;
class TULOAccountStore;
class TULOAlertController;
class TULOViewController;

// Helpers shared by the account settings screens.

// A text of the "PostComposition" table.
QString TULOSettingsLocalizedString(const QString &key, const TULOClientContext &context);

// The context a settings screen speaks with: its own when it was given one, else the account
// store's.
TULOClientContext TULOSettingsClientContext(const std::shared_ptr<TULOClientContext> &screenContext,
                                            const TULOAccountStore *accountStore);

// Form fields of account names and passwords: nothing corrects or capitalises what is typed.
void TULOSetDefaultOptionsForTextField(QLineEdit *textField);

// The service's icon ("FacebookIcon" for Facebook, else "TwitterIcon") at `points` square,
// drawn for `devicePixelRatio`.
QImage TULOServiceIcon(const QString &serviceIdentifier, int points, qreal devicePixelRatio);

// Whether `error` means the store never answered (no connection, refused, timed out) rather
// than that it answered no.
bool TULOIsNoAnswerError(const TULOError &error);

// The message key for a store request that failed: the store did not answer, or refused.
// Either way nothing was changed.
QString TULOStoreRequestErrorMessageKey(const TULOError &error);
// The message key for a change this computer could not store (the account database refused).
extern const char *const TULOLocalChangeErrorMessageKey;

// An alert with the texts of `titleKey` and `messageKey` and one OK button.
TULOAlertController *TULOSettingsErrorAlert(const QString &titleKey, const QString &messageKey,
                                            const TULOClientContext &context);

// Presents a sheet from `presenter` that asks to confirm a step: a default-style button
// `confirmTitle` that runs `confirmed`, and a cancel button. Anchored at `sourceView`.
void TULOPresentConfirmationSheet(TULOViewController *presenter, const QString &title, const QString &message,
                                  const QString &confirmTitle, const QString &cancelTitle, QWidget *sourceView,
                                  std::function<void()> confirmed);

// Presents `controller` from `presenter` once whatever `presenter` presents now has gone.
// Takes ownership of `controller`; it is deleted when `presenter` goes first.
void TULOPresentAfterDismissal(TULOViewController *presenter, TULOViewController *controller);
