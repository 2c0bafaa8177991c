#pragma once

#include <Quillon/core/storeitem.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/quillon_export.h>

#include <QPointer>

#include <functional>
#include <memory>
#include <optional>

class QLabel;
class TULOActivityIndicatorView;

// The author's albums to attach a song or video to, under an explanation. While the albums
// are still loading (and none are known yet) a spinner shows instead of rows. A tap moves the
// check mark and hands the album to the selection block.
class QUILLON_EXPORT TULOAlbumSelectionViewController : public TULOViewController,
                                                        public TULOTableViewDataSource,
                                                        public TULOTableViewDelegate
{
    Q_OBJECT

public:
    using SelectionBlock = std::function<void(const TULOStoreItem &album)>;

    explicit TULOAlbumSelectionViewController(QObject *parent = nullptr);
    ~TULOAlbumSelectionViewController() override;

    QList<TULOStoreItem> albumItems() const { return m_albumItems; }
    void setAlbumItems(const QList<TULOStoreItem> &items);
    bool isLoading() const { return m_loading; }
    void setLoading(bool loading);
    TULOClientContext clientContext() const { return m_clientContext; }
    void setClientContext(const TULOClientContext &context) { m_clientContext = context; }
    std::shared_ptr<TULOOperationQueue> operationQueue() const { return m_operationQueue; }
    void setOperationQueue(const std::shared_ptr<TULOOperationQueue> &queue) { m_operationQueue = queue; }
    QString headerText() const { return m_headerText; }
    void setHeaderText(const QString &text);
    // The album checked when the list opens, by identifier.
    QString selectedAlbumIdentifier() const { return m_selectedIdentifier; }
    void setSelectedAlbumIdentifier(const QString &identifier);
    std::optional<qint64> selectedIndex() const { return m_selectedIndex; }

    SelectionBlock selectionBlock() const { return m_selectionBlock; }
    void setSelectionBlock(SelectionBlock block) { m_selectionBlock = std::move(block); }

    TULOTableView *tableView();
    TULOActivityIndicatorView *activityIndicator() const;

    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    void updateSelectedIndex();
    void updateLoadingIndicator();

    QList<TULOStoreItem> m_albumItems;
    bool m_loading = false;
    TULOClientContext m_clientContext;
    std::shared_ptr<TULOOperationQueue> m_operationQueue;
    QString m_headerText;
    QString m_selectedIdentifier;
    std::optional<qint64> m_selectedIndex;
    SelectionBlock m_selectionBlock;
    QPointer<TULOTableView> m_tableView;
    QPointer<QLabel> m_headerLabel;
    QPointer<TULOActivityIndicatorView> m_activityIndicator;
};
