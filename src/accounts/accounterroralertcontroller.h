#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/ui/alertcontroller.h>

// Tells the user why linking a social account failed, in the table's words: Facebook's own
// message, no connection, Twitter's login verification, or else bad credentials.
class QUILLON_EXPORT TULOAccountErrorAlertController : public TULOAlertController
{
    Q_OBJECT

public:
    // An alert with one "OK" button that only closes it.
    static TULOAccountErrorAlertController *alertControllerWithError(const TULOError &error, const TULOClientContext &clientContext);

    // The title key and the message (already localised) chosen for `error`.
    static std::pair<QString, QString> titleKeyAndMessageForError(const TULOError &error, const TULOClientContext &clientContext);

    // Whether `error` says that the machine is not connected to a network.
    static bool isNotConnectedError(const TULOError &error);

private:
    TULOAccountErrorAlertController(const QString &title, const QString &message);
};
