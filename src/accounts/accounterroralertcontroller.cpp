#include <Quillon/accounts/accounterroralertcontroller.h>

#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/alertaction.h>

#include <QNetworkReply>

namespace {

constexpr qint64 TULOFacebookNeedsApprovalCode = 406;
// The web page's own code for a machine without a network connection.
constexpr qint64 TULOWebEngineInternetDisconnectedCode = -106;

QString text(const char *key, const TULOClientContext &context)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(QString::fromLatin1(key),
                                                                          QString::fromLatin1(TULOStringsTablePostComposition), context);
}

} // namespace

TULOAccountErrorAlertController::TULOAccountErrorAlertController(const QString &title, const QString &message)
    : TULOAlertController(title, message, TULOAlertControllerStyleAlert)
{
}

bool TULOAccountErrorAlertController::isNotConnectedError(const TULOError &error)
{
    if (error.domain() != TULONetworkErrorDomain)
        return false;
    switch (error.code()) {
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case TULOWebEngineInternetDisconnectedCode:
        return true;
    default:
        return false;
    }
}

std::pair<QString, QString> TULOAccountErrorAlertController::titleKeyAndMessageForError(const TULOError &error,
                                                                                      const TULOClientContext &clientContext)
{
    if (error.domain() == TULOFacebookErrorDomain) {
        const char *title = error.code() == TULOFacebookNeedsApprovalCode ? "ACCOUNT_SETUP_ERROR_TITLE_NEEDS_APPROVAL"
                                                                          : "ACCOUNT_SETUP_ERROR_TITLE_GENERIC";
        return {QString::fromLatin1(title), error.localizedDescription()};
    }
    const char *message = "ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS";
    if (isNotConnectedError(error))
        message = "ACCOUNT_SETUP_ERROR_BODY_NO_INTERNET";
    else if (error.is(TULOTwitterErrorDomain, TULOTwitterErrorLoginVerificationRequired))
        message = "ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA";
    return {QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC"), text(message, clientContext)};
}

TULOAccountErrorAlertController *TULOAccountErrorAlertController::alertControllerWithError(const TULOError &error,
                                                                                         const TULOClientContext &clientContext)
{
    const auto [titleKey, message] = titleKeyAndMessageForError(error, clientContext);
    auto *alert = new TULOAccountErrorAlertController(
        TULOLocalization::defaultLocalization()->localizedStringForKey(titleKey, QString::fromLatin1(TULOStringsTablePostComposition),
                                                                       clientContext),
        message);
    alert->addAction(new TULOAlertAction(text("ACCOUNT_SETUP_ERROR_BUTTON_OK", clientContext), TULOAlertActionStyleDefault));
    return alert;
}
