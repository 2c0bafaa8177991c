#pragma once

#include <Quillon/core/configuration.h>
#include <Quillon/core/tag.h>
#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QList>

#include <memory>

class QKeyEvent;
class TULOOperation;
class TULOResourceLoader;
class TULOTagListViewController;

class TULOTagListViewControllerDelegate
{
public:
    virtual ~TULOTagListViewControllerDelegate() = default;
    virtual void tagListDidSelectTag(TULOTagListViewController *tagList, const TULOTag &tag)
    {
        Q_UNUSED(tagList) Q_UNUSED(tag)
    }
};

// The tag completion list under the caret: the configuration's suggested tags before anything
// is typed after "@", then the store's tags for what is typed, each with its thumbnail. A newer
// string cancels the older lookup, so a late answer is never shown. Keys, forwarded by the
// text view's owner: Up and Down move, Return and Tab choose.
class QUILLON_EXPORT TULOTagListViewController : public TULOStoreViewController,
                                                 public TULOTableViewDataSource,
                                                 public TULOTableViewDelegate,
                                                 public TULOArtworkRequestDelegate
{
    Q_OBJECT

public:
    explicit TULOTagListViewController(const TULOConfiguration &configuration, QObject *parent = nullptr);
    ~TULOTagListViewController() override;

    TULOConfiguration configuration() const { return m_configuration; }
    TULOTagListViewControllerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOTagListViewControllerDelegate *delegate) { m_delegate.set(delegate); }

    void reloadWithTagString(const QString &tagString);
    // The one matched tag whose name (or else tag string) equals `string` ignoring case; a
    // null tag when there is none or more than one.
    std::optional<TULOTag> existingTagForString(const QString &string) const;

    QString tagString() const { return m_tagString; }
    QList<TULOTag> activeTagSuggestions() const;
    bool isLookingUp() const { return m_lookup != nullptr; }
    TULOTableView *tableView() const { return m_tableView; }
    QImage placeholderImage() const { return m_placeholderImage; }

    // Up/Down/Return/Enter/Tab; returns whether the key was used.
    bool handleKeyPress(QKeyEvent *event);
    // The row the keyboard is on; -1 for none.
    int keyboardRow() const { return m_keyboardRow; }

    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image) override;

Q_SIGNALS:
    // The table shows a new set of rows (after a lookup answered, or the string changed).
    void tagsReloaded();

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;

private:
    void reloadWithMatchedTags(const std::optional<QList<TULOTag>> &tags);
    void loadThumbnailsForTags(const QList<TULOTag> &tags, int reason);
    void reloadTable();
    void setKeyboardRow(int row);
    TULOResourceLoader *artworkLoader();

    TULOConfiguration m_configuration;
    TULOWeakDelegate<TULOTagListViewControllerDelegate> m_delegate;
    QList<TULOTag> m_defaultTagSuggestions;
    QList<TULOTag> m_matchedTagSuggestions;
    QString m_tagString;
    std::shared_ptr<TULOOperation> m_lookup;
    QPointer<TULOTableView> m_tableView;
    std::unique_ptr<TULOResourceLoader> m_artworkLoader;
    QHash<QString, std::shared_ptr<TULOArtworkRequest>> m_requests; // by tag identifier
    QImage m_placeholderImage;
    int m_keyboardRow = -1;
};
