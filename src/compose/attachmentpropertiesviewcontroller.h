#pragma once

#include <Quillon/compose/attachmentpropertiestableviewsection.h>
#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/core/storeitem.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/quillon_export.h>

#include <QPointer>

#include <memory>
#include <optional>

#include <Quillon/media/albumselectionviewcontroller.h>
class TULOAttachmentPropertiesViewController;
#include <Quillon/platform/ui/barbuttonitem.h>
class TULOLoadAuthorAlbumsOperation;
class TULONotification;
class TULOTokenTextViewTableAssistant;
class TULOValueTableViewController;

class TULOAttachmentPropertiesDelegate
{
public:
    virtual ~TULOAttachmentPropertiesDelegate() = default;
    // The edited copy; the editor does not dismiss itself.
    virtual void attachmentPropertiesControllerDidEditAttachment(TULOAttachmentPropertiesViewController *controller,
                                                                 const TULOAttachmentPtr &attachment)
    {
        Q_UNUSED(controller);
        Q_UNUSED(attachment);
    }
};

// The properties of an audio or video attachment in a grouped table: cover art or cover frame,
// title, artists, song type, album and the explicit flag. It edits its own copy and hands a
// further copy with the user's entries to its delegate on Done; leaving it any other way hands
// back nothing.
class QUILLON_EXPORT TULOAttachmentPropertiesViewController : public TULOStoreViewController,
                                                              public TULOTableViewDataSource,
                                                              public TULOTableViewDelegate,
                                                              public TULOAttachmentPropertiesTableViewSectionDelegate
{
    Q_OBJECT

public:
    TULOAttachmentPropertiesViewController(const TULOAttachmentPtr &attachment, const TULOConfiguration &configuration,
                                           QObject *parent = nullptr);
    ~TULOAttachmentPropertiesViewController() override;

    TULOAttachmentPtr attachment() const { return m_attachment; }
    TULOConfiguration configuration() const { return m_configuration; }
    std::optional<TULOPostAuthor> author() const { return m_author; }
    void setAuthor(const std::optional<TULOPostAuthor> &author) { m_author = author; }
    TULOAttachmentPropertiesDelegate *delegate() const { return m_delegate; }
    void setDelegate(TULOAttachmentPropertiesDelegate *delegate) { m_delegate = delegate; }

    QList<TULOAttachmentPropertiesTableViewSection *> sections() const;
    QList<TULOStoreItem> authorAlbumItems() const { return m_authorAlbumItems; }
    bool isLoadingAlbums() const { return bool(m_authorAlbumsOperation); }
    qint64 titleLength() const { return m_titleLength; }
    qint64 artistNameLength() const { return m_artistNameLength; }
    TULOBarButtonItem *doneButton() const { return m_doneButton; }
    TULOTableView *tableView();
    // Gives the artist fields the compose view's tag completion.
    TULOTokenTextViewTableAssistant *tokenTextViewAssistant() const { return m_tokenAssistant; }

    int numberOfSectionsInTableView(TULOTableView *tableView) override;
    int tableViewNumberOfRowsInSection(TULOTableView *tableView, int section) override;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;
    std::optional<bool> tableViewShouldHighlightRowAtIndexPath(TULOTableView *tableView,
                                                               const TULOIndexPath &indexPath) override;
    void tableViewDidSelectRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) override;

    void tableViewSectionTitleLengthChanged(TULOAttachmentPropertiesTableViewSection *section, qint64 length) override;
    void tableViewSectionArtistLengthChanged(TULOAttachmentPropertiesTableViewSection *section, qint64 length) override;

    bool performDefaultAction() override;

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;

    // Protected for tests: what the buttons, the lists and the album loading do.
    void doneButtonAction();
    void updateDoneButton();
    void reloadSectionWithType(TULOAttachmentPropertiesSectionType type);
    void setAuthorAlbumItems(const QList<TULOStoreItem> &items);
    void setCoverImage(const QImage &image);
    void presentCoverImageEditingOptionsForIndexPath(const TULOIndexPath &indexPath);
    void presentCoverImagePickerControllerForIndexPath(const TULOIndexPath &indexPath);
    TULOAlbumSelectionViewController *pushAlbumSelectionViewController();
    TULOValueTableViewController *pushCategorySelectionViewController();

private:
    friend class TestAttachmentPropertiesViewController;

    void keyboardChangeNotification(const TULONotification &notification);
    void layoutTableView();
    void startLoadingAlbums();
    bool isAudioOrVideo() const;
    TULOAttachmentPropertiesTableViewSection *makeSection(TULOAttachmentPropertiesSectionType type);
    int indexOfSectionWithType(TULOAttachmentPropertiesSectionType type) const;
    QString localizedString(const QString &key) const;

    TULOAttachmentPtr m_attachment;
    TULOConfiguration m_configuration;
    std::optional<TULOPostAuthor> m_author;
    TULOAttachmentPropertiesDelegate *m_delegate = nullptr;
    QList<TULOAttachmentPropertiesTableViewSection *> m_sections;
    QList<TULOStoreItem> m_authorAlbumItems;
    bool m_albumsLoaded = false;
    std::shared_ptr<TULOLoadAuthorAlbumsOperation> m_authorAlbumsOperation;
    QPointer<TULOAlbumSelectionViewController> m_albumSelectionController;
    qint64 m_titleLength = 0;
    qint64 m_artistNameLength = 0;
    QPointer<TULOBarButtonItem> m_doneButton;
    QPointer<TULOTableView> m_tableView;
    TULOTokenTextViewTableAssistant *m_tokenAssistant = nullptr;
    QList<quint64> m_keyboardObservers;
    int m_keyboardInset = 0;
};
