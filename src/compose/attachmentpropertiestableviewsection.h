#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/ui/indexpath.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QLineEdit>
#include <QList>
#include <QObject>
#include <QPointer>

class TULOAttachmentPropertiesTableViewSection;
class TULOTableView;
class TULOTableViewCell;
class TULOTokenTextView;
#include <Quillon/media/videocoverimageselectionview.h>

enum TULOAttachmentPropertiesSectionType : qint64 {
    TULOAttachmentPropertiesSectionTypeCoverArt = 0,
    TULOAttachmentPropertiesSectionTypeTitleAndArtist = 1,
    TULOAttachmentPropertiesSectionTypeExplicit = 2,
    TULOAttachmentPropertiesSectionTypeSongType = 3,
    TULOAttachmentPropertiesSectionTypeVideo = 4,
    TULOAttachmentPropertiesSectionTypeAlbum = 5,
};

// Hears how long the title and the artist list are as the user edits them (to enable Done).
class TULOAttachmentPropertiesTableViewSectionDelegate
{
public:
    virtual ~TULOAttachmentPropertiesTableViewSectionDelegate() = default;
    virtual void tableViewSectionTitleLengthChanged(TULOAttachmentPropertiesTableViewSection *section, qint64 length)
    {
        Q_UNUSED(section);
        Q_UNUSED(length);
    }
    virtual void tableViewSectionArtistLengthChanged(TULOAttachmentPropertiesTableViewSection *section, qint64 length)
    {
        Q_UNUSED(section);
        Q_UNUSED(length);
    }
};

// One group of rows of the attachment properties editor. It builds its cells from an
// attachment and writes what the user entered back into another one (a copy) on Done.
// The cells are its own until a table shows them.
class QUILLON_EXPORT TULOAttachmentPropertiesTableViewSection : public QObject
{
    Q_OBJECT

public:
    TULOAttachmentPropertiesTableViewSection(TULOAttachmentPropertiesSectionType sectionType,
                                             const TULOClientContext &clientContext, QObject *parent = nullptr);
    ~TULOAttachmentPropertiesTableViewSection() override;

    TULOAttachmentPropertiesSectionType sectionType() const { return m_sectionType; }
    TULOClientContext clientContext() const { return m_clientContext; }
    double sectionHeaderHeight() const { return m_sectionHeaderHeight; }
    TULOAttachmentPropertiesTableViewSectionDelegate *sectionDelegate() const { return m_sectionDelegate; }
    void setSectionDelegate(TULOAttachmentPropertiesTableViewSectionDelegate *delegate) { m_sectionDelegate = delegate; }

    void setTableCellsWithAttachment(const TULOAttachment &attachment, const TULOConfiguration &configuration);
    void commitValuesToAttachment(TULOAttachment &attachment) const;

    QList<TULOTableViewCell *> tableViewCells() const;
    int numberOfRowsInTableView(TULOTableView *tableView) const;
    TULOTableViewCell *tableViewCellForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) const;
    double tableViewHeightForRowAtIndexPath(TULOTableView *tableView, const TULOIndexPath &indexPath) const;
    void tableViewWillDisplayCellForRowAtIndexPath(TULOTableView *tableView, TULOTableViewCell *cell,
                                                   const TULOIndexPath &indexPath);
    // The artist token view of the row, or null when the row has none.
    TULOTokenTextView *tokenTextViewForRowAtIndexPath(const TULOIndexPath &indexPath) const;
    QLineEdit *titleField() const { return m_titleField; }

    QImage selectedCoverImage() const { return m_selectedCoverImage; }
    void setCoverImage(const QImage &image);
    TULOVideoCoverImageSelectionView *videoCoverImageSelectionView() const { return m_videoView; }
    bool isExplicit() const { return m_explicit; }

    // Ends editing in the section's fields.
    void resignFirstResponder();

private:
    QString localizedString(const QString &key) const;
    void addTitleRow(const TULOAttachment &attachment);
    void addArtistRow(const TULOAttachment &attachment);
    void reportTitleLength(const QString &text);
    void reportArtistLength();

    const TULOAttachmentPropertiesSectionType m_sectionType;
    const TULOClientContext m_clientContext;
    const double m_sectionHeaderHeight = 5.0;
    TULOAttachmentPropertiesTableViewSectionDelegate *m_sectionDelegate = nullptr;
    QList<QPointer<TULOTableViewCell>> m_cells;
    QImage m_selectedCoverImage;
    bool m_explicit = false;
    QPointer<QLineEdit> m_titleField;
    QPointer<TULOTokenTextView> m_artistView;
    int m_artistRow = -1;
    QPointer<TULOVideoCoverImageSelectionView> m_videoView;
};
