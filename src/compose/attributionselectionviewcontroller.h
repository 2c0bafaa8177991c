#pragma once

#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/quillon_export.h>

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QList>

#include <functional>
#include <limits>
#include <memory>

class TULOResourceLoader;

// The attribution list: who the post is credited to. One row per author, the destination
// author (who posts) in bold, any other as "<person> from <group>" with both names in bold;
// the current choice carries a check mark.
class QUILLON_EXPORT TULOAttributionSelectionViewController : public TULOStoreViewController,
                                                             public TULOTableViewDataSource,
                                                             public TULOTableViewDelegate,
                                                             public TULOArtworkRequestDelegate
{
    Q_OBJECT

public:
    using SelectionBlock = std::function<void(const TULOPostAuthor &author)>;
    static constexpr uint NotFound = std::numeric_limits<uint>::max();

    explicit TULOAttributionSelectionViewController(QObject *parent = nullptr);
    ~TULOAttributionSelectionViewController() override;

    QList<TULOPostAuthor> authors() const { return m_authors; }
    void setAuthors(const QList<TULOPostAuthor> &authors);
    TULOPostAuthor destinationAuthor() const { return m_destinationAuthor; }
    void setDestinationAuthor(const TULOPostAuthor &author);
    uint selectedAuthorIndex() const { return m_selectedAuthorIndex; }
    void setSelectedAuthorIndex(uint index);
    SelectionBlock selectionBlock() const { return m_selectionBlock; }
    void setSelectionBlock(SelectionBlock block) { m_selectionBlock = std::move(block); }

    void reloadData();
    TULOTableView *tableView() const { return m_tableView; }
    // The row's text as shown (rich text: the names are bold).
    QString attributedTextForRow(int row) const;
    // A format with two "%@" filled with the person, then the group, both bold; a format that
    // lacks one of them gives the person's name alone, bold.
    static QString attributedText(const QString &format, const QString &personName, const QString &groupName);
    QImage placeholderImage() const { return m_placeholderImage; }

    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image) override;

protected:
    void loadView() override;

private:
    TULOResourceLoader *artworkLoader();
    QImage imageForAuthor(const TULOPostAuthor &author);

    QList<TULOPostAuthor> m_authors;
    TULOPostAuthor m_destinationAuthor;
    uint m_selectedAuthorIndex = NotFound;
    SelectionBlock m_selectionBlock;
    std::unique_ptr<TULOResourceLoader> m_artworkLoader;
    QHash<QString, std::shared_ptr<TULOArtworkRequest>> m_requests; // by author identifier
    QImage m_placeholderImage;
    QPointer<TULOTableView> m_tableView;
};
