#pragma once

#include "../store/storetestsupport.h"

#include <QTest>
#include <QVariant>
#include <QWebEnginePage>

// The sandbox's web sign-in dialog, driven the way a user fills it in.

// Waits until the sign-in form in `page` has loaded, then runs `script` in it (nothing for an
// empty script). False when the form never appeared.
inline bool TULORunInSignInForm(QWebEnginePage *page, const QString &script)
{
    bool ready = false;
    const auto poll = [&] {
        bool answered = false;
        page->runJavaScript(QStringLiteral("document.getElementById('login') !== null && document.readyState === 'complete'"),
                            [&](const QVariant &result) {
                                ready = result.toBool();
                                answered = true;
                            });
        return QTest::qWaitFor([&] { return answered; }, 5000) && ready;
    };
    if (!QTest::qWaitFor(poll, TULOStoreTestWait))
        return false;
    if (!script.isEmpty())
        page->runJavaScript(script);
    return true;
}

// A script that fills the form in and presses `button` ("login_button", "cancel_button").
inline QString TULOSignInFormScript(const QString &email, const QString &password, const char *button)
{
    return QStringLiteral("document.getElementById('email').value = %1; document.getElementById('pass').value = %2;"
                          "document.getElementById('%3').click();")
        .arg(QStringLiteral("'%1'").arg(email), QStringLiteral("'%1'").arg(password), QString::fromLatin1(button));
}
