#include <Quillon/accounts/accounterroralertcontroller.h>
#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/core/quillon.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/ui/alertaction.h>

#include <QNetworkReply>
#include <QPushButton>
#include <QTest>

class TestAccountErrorAlert : public QObject
{
    Q_OBJECT

private:
    TULOClientContext m_context{QVariantMap{{QString::fromLatin1(TULOClientConfigurationLocaleKey), QStringLiteral("en_GB")}}};

    QString text(const QString &key) const
    {
        return TULOLocalization::defaultLocalization()->localizedStringForKey(key, QString::fromLatin1(TULOStringsTablePostComposition), m_context);
    }

private Q_SLOTS:
    void wording_data()
    {
        QTest::addColumn<TULOError>("error");
        QTest::addColumn<QString>("titleKey");
        QTest::addColumn<QString>("messageKey"); // null: the error's own description
        const QString facebook = TULOFacebookErrorDomain;
        const QString network = TULONetworkErrorDomain;
        QTest::newRow("facebook needs approval") << TULOError::withDescription(facebook, 406, QStringLiteral("Awaiting review"))
                                                 << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_NEEDS_APPROVAL") << QString();
        QTest::newRow("facebook other code") << TULOError::withDescription(facebook, 190, QStringLiteral("Token expired"))
                                             << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QString();
        QTest::newRow("not connected") << TULOError(network, QNetworkReply::NetworkSessionFailedError)
                                       << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_NO_INTERNET");
        QTest::newRow("connection dropped") << TULOError(network, QNetworkReply::TemporaryNetworkFailureError)
                                            << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_NO_INTERNET");
        QTest::newRow("refused is bad credentials") << TULOError(network, QNetworkReply::ConnectionRefusedError)
                                                    << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC")
                                                    << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("twitter verification") << TULOError(TULOTwitterErrorDomain, TULOTwitterErrorLoginVerificationRequired)
                                              << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA");
        QTest::newRow("twitter other code") << TULOError(TULOTwitterErrorDomain, 32)
                                            << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("231 of another domain") << TULOError(TULOStoreErrorDomain, 231)
                                               << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("facebook cancel") << TULOError(TULOFacebookAuthenticationErrorDomain, 0)
                                         << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("server error") << TULOError(TULOStoreErrorDomain, TULOStoreErrorRequestFailed)
                                      << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("406 of another domain") << TULOError(TULOErrorDomain, 406)
                                               << QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC") << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
    }
    void wording()
    {
        QFETCH(TULOError, error);
        QFETCH(QString, titleKey);
        QFETCH(QString, messageKey);
        std::unique_ptr<TULOAccountErrorAlertController> alert(TULOAccountErrorAlertController::alertControllerWithError(error, m_context));
        QCOMPARE(alert->preferredStyle(), TULOAlertControllerStyleAlert);
        QCOMPARE(alert->title(), text(titleKey));
        QVERIFY(alert->title() != titleKey); // the table has the text
        QCOMPARE(alert->message(), messageKey.isNull() ? error.localizedDescription() : text(messageKey));
        QCOMPARE(alert->actions().size(), 1);
        TULOAlertAction *ok = alert->actions().constFirst();
        QCOMPARE(ok->style(), TULOAlertActionStyleDefault);
        QCOMPARE(ok->title(), text(QStringLiteral("ACCOUNT_SETUP_ERROR_BUTTON_OK")));
    }

    // Texts follow the host's locale.
    void germanTexts()
    {
        const TULOClientContext german(QVariantMap{{QString::fromLatin1(TULOClientConfigurationLocaleKey), QStringLiteral("de_DE")}});
        std::unique_ptr<TULOAccountErrorAlertController> alert(
            TULOAccountErrorAlertController::alertControllerWithError(TULOError(TULOTwitterErrorDomain, TULOTwitterErrorLoginVerificationRequired), german));
        QVERIFY(alert->message() != text(QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA")));
        QVERIFY(!alert->message().startsWith(QLatin1String("ACCOUNT_SETUP")));
    }
};

QTEST_MAIN(TestAccountErrorAlert)
#include "tst_accounterroralert.moc"
