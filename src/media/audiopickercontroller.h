#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/library/medialibraryitem.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>

class QLineEdit;
class QListView;
class QPushButton;
class QTabBar;
class TULOAlertController;
class TULOAudioPickerController;
class TULOAudioPickerModel;
class TULOMediaLibrary;

class TULOAudioPickerDelegate
{
public:
    virtual ~TULOAudioPickerDelegate() = default;
    virtual void audioPickerDidFinishWithAttachment(TULOAudioPickerController *picker, const TULOAttachmentPtr &attachment)
    {
        Q_UNUSED(picker)
        Q_UNUSED(attachment)
    }
    virtual void audioPickerDidCancel(TULOAudioPickerController *picker) { Q_UNUSED(picker) }
};

// Chooses one song or voice memo of the media library: two lists, searched as the user types
// over title, artist and album, each row with its artwork and duration. A library nobody has
// read yet is read on a worker thread; the lists fill as it is read.
class QUILLON_EXPORT TULOAudioPickerController : public TULOViewController
{
    Q_OBJECT

public:
    enum Source { Songs = 0, VoiceMemos = 1 };

    // A null `library` means the default media library. An injected library must outlive the picker.
    explicit TULOAudioPickerController(const TULOClientContext &clientContext, TULOMediaLibrary *library = nullptr,
        QObject *parent = nullptr);
    ~TULOAudioPickerController() override;

    // The alert shown instead of a picker that would be empty.
    static TULOAlertController *emptyAudioPickerAlertControllerWithClientContext(const TULOClientContext &clientContext);

    TULOAudioPickerDelegate *audioPickerDelegate() const { return m_delegate.get(); }
    void setAudioPickerDelegate(TULOAudioPickerDelegate *delegate) { m_delegate.set(delegate); }

    // True when there is at least one song or voice memo to choose (so far, while loading).
    bool hasSourceItems() const { return !m_songs.isEmpty() || !m_voiceMemos.isEmpty(); }
    // False while the library is being read; itemsDidLoad follows.
    bool hasLoadedItems() const { return !m_loading; }
    QList<TULOMediaLibraryItemPtr> songs() const { return m_songs; }
    QList<TULOMediaLibraryItemPtr> voiceMemos() const { return m_voiceMemos; }

    Source source() const { return m_source; }
    void setSource(Source source);
    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    // The items shown now: the source's, filtered by the search text.
    QList<TULOMediaLibraryItemPtr> visibleItems() const;

    // Finishes with the visible item at `row`; false for a row that is not there.
    bool chooseItemAtRow(int row);
    void cancel();

    QListView *listView();
    QLineEdit *searchField();

    QSize preferredContentSize() const override { return QSize(460, 520); }
    bool performCancelAction() override;
    bool performDefaultAction() override;

Q_SIGNALS:
    void itemsDidLoad();

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;

private:
    void addItems(const QList<TULOMediaLibraryItemPtr> &items);
    void chooseInitialSource();
    void finishLoading();
    void updateStatusLabel();
    void reloadVisibleItems();
    void updateAttachButton();
    QString localizedString(const char *key) const;

    TULOClientContext m_clientContext;
    TULOWeakDelegate<TULOAudioPickerDelegate> m_delegate;
    QList<TULOMediaLibraryItemPtr> m_songs;
    QList<TULOMediaLibraryItemPtr> m_voiceMemos;
    QString m_memosFolder;
    Source m_source = Songs;
    bool m_sourceChosen = false; // by the user: loading does not switch it any more
    bool m_loading = false;
    QString m_searchText;
    TULOAudioPickerModel *m_model = nullptr;
    QLineEdit *m_searchField = nullptr;
    QTabBar *m_tabBar = nullptr;
    QListView *m_listView = nullptr;
    QPushButton *m_attachButton = nullptr;
    QPointer<QWidget> m_statusLabel;
};

// Whether the item matches every word of `search` in its title, artist or album (any case,
// any accents); an empty search matches everything.
bool TULOAudioPickerItemMatches(const TULOMediaLibraryItem &item, const QString &search);
