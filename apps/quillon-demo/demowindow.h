#pragma once

#include <Quillon/composition/composepostdelegate.h>
#include <Quillon/core/storeitem.h>

#include <QMainWindow>
#include <QPointer>
#include <QUrl>

#include <optional>

class DemoStore;
class DemoUploadsView;
class QLabel;
class QListWidget;
class QPushButton;
class TULOCompositionContainerViewController;
class TULOPostOutboxModel;
class TULOViewController;

// The demo media store: the artist's albums with their artwork, "Share…" on an album and "New
// Post" for a post about nothing in particular, the uploads on their way, and the feed once a
// post has landed. The composer opens as a sheet over the window, presented by the window's
// own screen as any host presents it.
class DemoWindow : public QMainWindow, public TULOComposePostDelegate
{
    Q_OBJECT

public:
    DemoWindow(DemoStore *store, TULOPostOutboxModel *uploads, QWidget *parent = nullptr);
    ~DemoWindow() override;

    // The address of the last post that landed, else the feed's; empty before the bag is loaded.
    QUrl feedURL() const;
    // Whether a post that lands opens the feed in the browser (yes, unless scripted).
    void setOpensFeedWhenPostLands(bool opens) { m_opensFeed = opens; }

    // The screen that presents the composer; its view is the window's content.
    TULOViewController *homeViewController() const { return m_home; }
    // The composer on screen, else null.
    TULOCompositionContainerViewController *compositionContainer() const;
    QListWidget *catalogueView() const { return m_catalogue; }
    QPushButton *shareButton() const { return m_share; }
    QPushButton *newPostButton() const { return m_newPost; }
    DemoUploadsView *uploadsView() const { return m_uploads; }

    // TULOComposePostDelegate
    void composePostViewControllerDidFinishWithResult(TULOCompositionContainerViewController *controller,
        TULOComposePostResult result) override;
    void composePostViewControllerConfigurationDidFailLoadWithError(TULOCompositionContainerViewController *controller,
        const TULOError &error) override;

public Q_SLOTS:
    void shareSelectedItem();
    void newPost();
    void openFeed();

Q_SIGNALS:
    void postDidLand(const QUrl &postURL);

private:
    // Opens the composer with the album to share, or with nothing.
    void compose(const std::optional<TULOStoreItem> &item);
    void reloadCatalogue();
    void updateStatus();
    void updateButtons();

    DemoStore *m_store;
    TULOViewController *m_home;
    QPointer<TULOCompositionContainerViewController> m_composer;
    QListWidget *m_catalogue;
    QPushButton *m_share;
    QPushButton *m_newPost;
    DemoUploadsView *m_uploads;
    QLabel *m_status;
    QString m_problem;
    QUrl m_lastPost;
    bool m_opensFeed = true;
};
