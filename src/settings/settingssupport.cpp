#include <Quillon/settings/settingssupport_p.h>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/alertcontroller.h>

#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QSvgRenderer>
#include <QWidget>

#include <cmath>

QString TULOSettingsLocalizedString(const QString &key, const TULOClientContext &context)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        key, QString::fromLatin1(TULOStringsTablePostComposition), context);
}

TULOClientContext TULOSettingsClientContext(const std::shared_ptr<TULOClientContext> &screenContext,
                                            const TULOAccountStore *accountStore)
{
    if (screenContext && !screenContext->isNull())
        return *screenContext;
    return accountStore ? accountStore->clientContext() : TULOClientContext();
}

void TULOSetDefaultOptionsForTextField(QLineEdit *textField)
{
    textField->setInputMethodHints(textField->inputMethodHints() | Qt::ImhNoAutoUppercase | Qt::ImhNoPredictiveText);
    // Return does something only when there is text; the screens check that themselves.
}

QImage TULOServiceIcon(const QString &serviceIdentifier, int points, qreal devicePixelRatio)
{
    const bool facebook = serviceIdentifier == QLatin1String(TULOServiceIdentifierFacebook);
    QSvgRenderer renderer(QStringLiteral(":/quillon/settings/%1.svg")
                              .arg(facebook ? QStringLiteral("FacebookIcon") : QStringLiteral("TwitterIcon")));
    // At least 2x: a screen's ratio may change under the row (a window moved, a 2x capture),
    // and a sharp icon scaled down looks better than a blurred one scaled up.
    const qreal ratio = qMax<qreal>(2.0, std::ceil(devicePixelRatio));
    QImage image(QSize(points, points) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (renderer.isValid()) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(image.size())));
    }
    image.setDevicePixelRatio(ratio);
    return image;
}

bool TULOIsNoAnswerError(const TULOError &error)
{
    for (TULOError current = error; !current.isNull(); current = current.underlyingError()) {
        if (current.domain() == TULONetworkErrorDomain)
            return true;
        if (current.is(TULOStoreErrorDomain, TULOStoreErrorTimedOut))
            return true;
    }
    return false;
}

QString TULOStoreRequestErrorMessageKey(const TULOError &error)
{
    return TULOIsNoAnswerError(error) ? QStringLiteral("STORE_REQUEST_ERROR_BODY_NO_ANSWER")
                                      : QStringLiteral("STORE_REQUEST_ERROR_BODY_REFUSED");
}

const char *const TULOLocalChangeErrorMessageKey = "ACCOUNT_SETTINGS_ERROR_BODY_NOT_STORED";

TULOAlertController *TULOSettingsErrorAlert(const QString &titleKey, const QString &messageKey,
                                            const TULOClientContext &context)
{
    auto *alert = TULOAlertController::alertControllerWithTitle(TULOSettingsLocalizedString(titleKey, context),
                                                                TULOSettingsLocalizedString(messageKey, context),
                                                                TULOAlertControllerStyleAlert);
    alert->addAction(TULOAlertAction::actionWithTitle(
        TULOSettingsLocalizedString(QStringLiteral("ACCOUNT_SETUP_ERROR_BUTTON_OK"), context), TULOAlertActionStyleDefault));
    return alert;
}

void TULOPresentConfirmationSheet(TULOViewController *presenter, const QString &title, const QString &message,
                                  const QString &confirmTitle, const QString &cancelTitle, QWidget *sourceView,
                                  std::function<void()> confirmed)
{
    auto *sheet = TULOAlertController::alertControllerWithTitle(title, message, TULOAlertControllerStyleActionSheet);
    sheet->addAction(TULOAlertAction::actionWithTitle(confirmTitle, TULOAlertActionStyleDefault,
                                                      [confirmed = std::move(confirmed)](TULOAlertAction *) {
                                                          if (confirmed)
                                                              confirmed();
                                                      }));
    sheet->addAction(TULOAlertAction::actionWithTitle(cancelTitle, TULOAlertActionStyleCancel));
    if (sourceView) {
        sheet->setPopoverSourceView(sourceView);
        sheet->setPopoverSourceRect(sourceView->rect());
    }
    presenter->presentViewController(sheet, true);
}

void TULOPresentAfterDismissal(TULOViewController *presenter, TULOViewController *controller)
{
    if (!controller)
        return;
    if (!presenter) {
        delete controller;
        return;
    }
    if (!presenter->presentedViewController()) {
        presenter->presentViewController(controller, true);
        return;
    }
    const QPointer<TULOViewController> weakPresenter(presenter);
    const QPointer<TULOViewController> weakController(controller);
    presenter->dismissViewController(true, [weakPresenter, weakController] {
        if (!weakController)
            return;
        if (!weakPresenter) {
            delete weakController.data();
            return;
        }
        weakPresenter->presentViewController(weakController, true);
    });
}
