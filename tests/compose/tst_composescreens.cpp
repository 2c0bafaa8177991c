#include "support/screenshotsupport.h"
#include "tokentexttestsupport.h"

#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/attributionselectionviewcontroller.h>
#include <Quillon/compose/authorselectionalertcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/composepostview.h>
#include <Quillon/compose/lockupview.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QStyle>
#include <QtTest>

namespace {

QImage picture(const QSize &size, const QColor &from, const QColor &to)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, size.width(), size.height());
    gradient.setColorAt(0, from);
    gradient.setColorAt(1, to);
    painter.fillRect(image.rect(), gradient);
    painter.setBrush(QColor(255, 255, 255, 90));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QRectF(size.width() * 0.55, size.height() * 0.2, size.height() * 0.5, size.height() * 0.5));
    return image;
}

// The compose screen's body as its controller fills it.
class ComposeScreen : public TULOViewController
{
public:
    explicit ComposeScreen(bool withList)
        : m_withList(withList)
    {
        setEdgesForExtendedLayout(TULORectEdgeNone); // the author row stays below the bar
    }
    TULOComposePostView *composeView = nullptr;
    std::unique_ptr<TULOTagListViewController> list;

protected:
    void loadView() override
    {
        composeView = new TULOComposePostView;
        auto *author = new TULOAuthorView;
        author->setLabelText(QStringLiteral("Post as"));
        author->setAuthorName(QStringLiteral("Northern Lights Orchestra"));
        composeView->setHeaderViews({author});

        QList<QWidget *> previews;
        auto photo = std::make_shared<TULOAttachment>(picture(QSize(800, 600), QColor(240, 150, 60), QColor(120, 40, 110)),
                                                      QStringLiteral("image/jpeg"));
        auto video = std::make_shared<TULOAttachment>(QByteArray("v"), QStringLiteral("video/mp4"));
        video->setThumbnailImage(picture(QSize(640, 360), QColor(20, 90, 120), QColor(10, 20, 40)));
        video->setTitle(QStringLiteral("Live at the Harbour Hall"));
        auto song = std::make_shared<TULOAttachment>(QByteArray("a"), QStringLiteral("audio/mpeg"));
        song->setTitle(QStringLiteral("Night Drive"));
        song->setArtists({TULOPostArtist(QStringLiteral("1"), QStringLiteral("Dana Demo")),
                          TULOPostArtist(QStringLiteral("2"), QStringLiteral("Mira Sol"))});
        song->setCategoryName(QStringLiteral("Live"));
        song->setDate(QDateTime(QDate(2024, 6, 1), QTime(12, 0)));
        song->setThumbnailImage(picture(QSize(300, 300), QColor(30, 60, 140), QColor(60, 120, 200)));
        for (const auto &attachment : {photo, video, song})
            previews.append(TULOAttachmentPreviewView::withAttachment(attachment));
        composeView->setAttachmentViews(previews);
        composeView->attachmentButton();
        composeView->setShowsAttachmentButton(true);
        composeView->setAllowedCharacterCount(60);

        auto *attribution = new TULOComposeLabelValueButton;
        attribution->setLabelText(QStringLiteral("Attribution"));
        attribution->setValueText(QStringLiteral("Dana Demo from Northern Lights Orchestra"));
        attribution->setCharge(-1.0);
        auto *services = new TULOComposeLabelValueButton;
        services->setLabelText(QStringLiteral("Also sharing to"));
        services->setValueText(QStringLiteral("Twitter"));
        composeView->setFooterViews({attribution, services});

        TULOSetTokenText(*composeView->textView(), QStringLiteral("New songs tonight with "));
        composeView->insertTag(TULOTestTag(QStringLiteral("Dana Demo")));
        QTest::keyClicks(composeView->textView(), QStringLiteral("and the whole band, doors open at eight. Come early!"));
        if (m_withList) {
            TULOConfiguration configuration;
            QVariantList suggested;
            for (const QString &name : {QStringLiteral("Mira Sol"), QStringLiteral("Kaito Mori"), QStringLiteral("Zoë Marchetti")})
                suggested.append(QVariant::fromValue(TULOTestTag(name, name)));
            configuration.setSuggestedTags(suggested);
            list = std::make_unique<TULOTagListViewController>(configuration);
            QTest::keyClicks(composeView->textView(), QStringLiteral(" @"));
            list->reloadWithTagString(composeView->tagForSelectedRange());
            composeView->showTextCompletionViewController(list.get(), false);
        }
        setView(composeView);
    }

private:
    bool m_withList;
};

} // namespace

class TestComposeScreens : public QObject
{
    Q_OBJECT

    QPalette m_lightPalette;

    static TULOViewController *makeScreen(const QString &name)
    {
        if (name == QLatin1String("compose") || name == QLatin1String("completion"))
            return new ComposeScreen(name == QLatin1String("completion"));
        if (name == QLatin1String("author-menu")) {
            auto *menu = TULOAuthorSelectionAlertController::alertControllerWithTitle(QStringLiteral("Post as"), QString(),
                                                                                     TULOAlertControllerStyleActionSheet);
            for (const QString &author : {QStringLiteral("Dana Demo"), QStringLiteral("Northern Lights Orchestra")})
                menu->addActionWithAuthor(TULOPostAuthor(author.left(4), author, QStringLiteral("artist")), {});
            menu->addAction(new TULOAlertAction(QStringLiteral("Cancel"), TULOAlertActionStyleCancel));
            return menu;
        }
        auto *list = new TULOAttributionSelectionViewController;
        const TULOPostAuthor group(QStringLiteral("1002"), QStringLiteral("Northern Lights Orchestra"), QStringLiteral("artist"));
        list->setDestinationAuthor(group);
        list->setAuthors({group, TULOPostAuthor(QStringLiteral("1001"), QStringLiteral("Dana Demo"), QStringLiteral("user"))});
        list->setSelectedAuthorIndex(1);
        list->setTitle(QStringLiteral("Post As"));
        return list;
    }

private Q_SLOTS:
    void initTestCase() { m_lightPalette = QApplication::style()->standardPalette(); }
    void cleanupTestCase() { QApplication::setPalette(m_lightPalette); }

    void screen_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<bool>("dark");
        for (const char *name : {"compose", "completion", "author-menu", "attribution"})
            for (const qreal ratio : {1.0, 2.0})
                for (const bool dark : {false, true})
                    QTest::addRow("%s %gx %s", name, ratio, dark ? "dark" : "light") << QString::fromLatin1(name) << ratio << dark;
    }
    void screen()
    {
        QFETCH(QString, name);
        QFETCH(qreal, ratio);
        QFETCH(bool, dark);
        QApplication::setPalette(dark ? TULOTestDarkPalette() : m_lightPalette);
        TULOViewController *screen = makeScreen(name);
        const QString file = QStringLiteral("%1-%2x-%3").arg(name).arg(ratio).arg(dark ? QStringLiteral("dark") : QStringLiteral("light"));
        // The menu is a popup of its own; the other screens sit in the navigation stack.
        const bool menu = name == QLatin1String("author-menu");
        std::unique_ptr<TULOViewController> alone(menu ? screen : nullptr);
        std::unique_ptr<TULONavigationController> navigation(menu ? nullptr : new TULONavigationController(screen));
        const QSize size = menu ? QSize(320, 190) : QSize(440, name == QLatin1String("compose") ? 900 : 600);
        const QImage image = TULOSaveScreenshot(menu ? screen : navigation.get(), size, QStringLiteral("compose"), file, ratio);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), size * ratio);
        // Every control on screen has a name for assistive technology.
        int controls = 0;
        for (QWidget *widget : screen->view()->findChildren<QWidget *>()) {
            const bool control = qobject_cast<QAbstractButton *>(widget) || qobject_cast<TULOAttachmentPreviewView *>(widget)
                              || qobject_cast<TULOTableViewCell *>(widget);
            if (!control || !widget->isVisibleTo(screen->view()))
                continue;
            QVERIFY2(!widget->accessibleName().isEmpty(), widget->metaObject()->className());
            ++controls;
        }
        QVERIFY(controls >= 2);
        if (navigation) // nothing starts under the bar
            QVERIFY(screen->view()->mapTo(navigation->view(), QPoint(0, 0)).y() >= navigation->navigationBar()->geometry().bottom());
        // The text follows the palette: light text on dark, dark text on light.
        const QColor text = screen->view()->palette().color(QPalette::Text);
        QCOMPARE(text.lightness() > 128, dark);
    }
};

QTEST_MAIN(TestComposeScreens)
#include "tst_composescreens.moc"
