#include "settingstestsupport.h"

#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/screenshot.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/platform/ui/switch.h>
#include <Quillon/platform/ui/tableviewcell.h>
#include <Quillon/settings/facebookpageselectionviewcontroller.h>
#include <Quillon/settings/manageaccountviewcontroller.h>
#include <Quillon/settings/setupaccountviewcontroller.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>
#include "support/screenshotsupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QStyle>

// Every settings screen rendered offscreen at 1x and 2x, light and dark, into
// <build>/test-output/settings for review.
class TestSettingsScreenshots : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    std::unique_ptr<TULOAccountStore> m_store;
    QPalette m_lightPalette;

    TULOViewController *makeScreen(const QString &name)
    {
        if (name == QLatin1String("settings")) {
            auto *list = new TULOSocialServiceSetupViewController(
                TULOConfigurationWithServices({TULOTestFacebook, TULOTestTwitter}), m_store.get());
            list->setTitle(TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_SETTINGS_TITLE")));
            return list;
        }
        if (name == QLatin1String("sign-in")) {
            TULOSocialService twitter;
            twitter.setIdentifier(TULOTestTwitter);
            auto *setup = new TULOSetupAccountViewController(twitter, m_store.get());
            setup->setTitle(TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER")));
            setup->userNameCell()->textField()->setText(QStringLiteral("@quillondemo"));
            return setup;
        }
        if (name == QLatin1String("manage-account")) {
            auto *manage = new TULOManageAccountViewController(*m_store->accountForServiceIdentifier(TULOTestTwitter), m_store.get());
            manage->setTitle(TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER")));
            return manage;
        }
        return new TULOFacebookPageSelectionViewController(*m_store->accountForServiceIdentifier(TULOTestFacebook), m_store.get());
    }

    static double luminance(const QColor &color) { return 0.2126 * color.redF() + 0.7152 * color.greenF() + 0.0722 * color.blueF(); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_fixture.start());
        m_lightPalette = QApplication::style()->standardPalette();
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QStringLiteral("p2")));
        m_store = m_fixture.makeStore(author);
        QVERIFY(m_store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        m_store->setAccountEnabled(true, TULOTestTwitter);
        m_store->setAccountEnabled(false, TULOTestFacebook);
        m_store->setPreferredFacebookAutopostingDestination(1);
    }
    void cleanupTestCase()
    {
        QApplication::setPalette(m_lightPalette);
        m_store.reset();
        m_fixture.stop();
    }

    void screen_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<bool>("dark");
        for (const char *name : {"settings", "sign-in", "manage-account", "page-selection"}) {
            for (const qreal ratio : {1.0, 2.0}) {
                for (const bool dark : {false, true}) {
                    QTest::addRow("%s %gx %s", name, ratio, dark ? "dark" : "light")
                        << QString::fromLatin1(name) << ratio << dark;
                }
            }
        }
    }
    void screen()
    {
        QFETCH(QString, name);
        QFETCH(qreal, ratio);
        QFETCH(bool, dark);
        QApplication::setPalette(dark ? TULOTestDarkPalette() : m_lightPalette);
        TULOViewController *screen = makeScreen(name);
        TULONavigationController navigation(screen);
        const QSize size(420, 560);
        const QImage image = TULOSaveScreenshot(&navigation, size, QStringLiteral("settings"),
                                                QStringLiteral("%1-%2x-%3").arg(name).arg(ratio).arg(dark ? QStringLiteral("dark") : QStringLiteral("light")),
                                                ratio);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), size * ratio);
        // The rows begin below the bar, not under it.
        QVERIFY(screen->view()->mapTo(navigation.view(), QPoint(0, 0)).y() >= navigation.navigationBar()->geometry().bottom());
        // Every row, field and switch on screen has a name for assistive technology.
        const QList<QWidget *> widgets = screen->view()->findChildren<QWidget *>();
        int controls = 0;
        for (QWidget *widget : widgets) {
            const bool control = qobject_cast<TULOTableViewCell *>(widget) || qobject_cast<QLineEdit *>(widget)
                || qobject_cast<TULOSwitch *>(widget);
            if (!control || !widget->isVisibleTo(screen->view()))
                continue;
            QVERIFY2(!widget->accessibleName().isEmpty(), widget->metaObject()->className());
            ++controls;
        }
        QVERIFY(controls >= 3);
        // The grouped background below the rows follows the palette.
        const QColor background = image.pixelColor(image.width() / 2, image.height() - 4);
        if (dark)
            QVERIFY2(luminance(background) < 0.25, qPrintable(background.name()));
        else
            QVERIFY2(luminance(background) > 0.75, qPrintable(background.name()));
        // Something is drawn: the rows differ from the background somewhere.
        int differing = 0;
        for (int y = 0; y < image.height(); y += 4) {
            for (int x = 0; x < image.width(); x += 4)
                differing += image.pixelColor(x, y) != background;
        }
        QVERIFY(differing > 100);
    }
};

QTEST_MAIN(TestSettingsScreenshots)
#include "tst_settingsscreenshots.moc"
