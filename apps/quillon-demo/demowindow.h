#pragma once

#include <Quillon/core/storeitem.h>

#include <QMainWindow>
#include <QUrl>

#include <functional>
#include <optional>

class DemoStore;
class DemoUploadsView;
class QLabel;
class QListWidget;
class QPushButton;
class TULOPostOutboxModel;

// The demo media store: the artist's albums with their artwork, "Share…" on an album and "New
// Post" for a post about nothing in particular, the uploads on their way, and the feed once a
// post has landed.
class DemoWindow : public QMainWindow
{
    Q_OBJECT

public:
    DemoWindow(DemoStore *store, TULOPostOutboxModel *uploads, QWidget *parent = nullptr);

    // Opens the composer: with the album to share, or with nothing.
    using ComposeHandler = std::function<void(const std::optional<TULOStoreItem> &item)>;
    void setComposeHandler(ComposeHandler handler) { m_compose = std::move(handler); }

    // The address of the last post that landed, else the feed's; empty before the bag is loaded.
    QUrl feedURL() const;

    QListWidget *catalogueView() const { return m_catalogue; }
    QPushButton *shareButton() const { return m_share; }
    DemoUploadsView *uploadsView() const { return m_uploads; }

public Q_SLOTS:
    void shareSelectedItem();
    void newPost();
    void openFeed();

Q_SIGNALS:
    void postDidLand(const QUrl &postURL);

private:
    void reloadCatalogue();
    void updateStatus();

    DemoStore *m_store;
    QListWidget *m_catalogue;
    QPushButton *m_share;
    QPushButton *m_newPost;
    DemoUploadsView *m_uploads;
    QLabel *m_status;
    QUrl m_lastPost;
    ComposeHandler m_compose;
};
