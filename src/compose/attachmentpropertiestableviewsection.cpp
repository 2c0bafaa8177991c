#include <Quillon/compose/attachmentpropertiestableviewsection.h>

#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>
#include <Quillon/media/audiocoverimageselectiontableviewcell.h>
#include <Quillon/media/videocoverimageselectionview.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/video/videosurface.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTextDocument>

#include <limits>

namespace {

// The artist row: a label column like the title row's and a token text view of artists.
class TULOArtistTokenTableViewCell : public TULOTableViewCell
{
public:
    TULOArtistTokenTableViewCell()
        : m_label(new QLabel(this))
        , m_tokenView(new TULOTokenTextView(this))
    {
        setSelectionStyle(TULOTableViewCellSelectionStyleNone);
        hideTitleColumn();
        m_label->setTextFormat(Qt::PlainText);
        m_label->setBuddy(m_tokenView);
        m_tokenView->setFrameShape(QFrame::NoFrame);
        m_tokenView->setTabChangesFocus(true);
        m_tokenView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_tokenView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_tokenView->viewport()->setAutoFillBackground(false);
        // One line high, so the layout centres the tokens on the label's line.
        m_tokenView->setFixedHeight(m_tokenView->fontMetrics().height()
                                    + 2 * int(m_tokenView->document()->documentMargin()));
        trailingLayout()->addWidget(m_label);
        trailingLayout()->addWidget(m_tokenView, 1);
        trailingLayout()->setSpacing(12);
    }
    QLabel *label() const { return m_label; }
    TULOTokenTextView *tokenView() const { return m_tokenView; }
    void setLabelText(const QString &text)
    {
        m_label->setText(text);
        setAccessibleName(text);
        m_tokenView->setAccessibleName(text);
    }

private:
    QLabel *m_label;
    TULOTokenTextView *m_tokenView;
};

// A row that shows one widget across its whole width (the video cover view).
class TULOWidgetTableViewCell : public TULOTableViewCell
{
public:
    explicit TULOWidgetTableViewCell(QWidget *widget)
    {
        setSelectionStyle(TULOTableViewCellSelectionStyleNone);
        hideTitleColumn();
        layout()->setContentsMargins(0, 0, 0, 0);
        trailingLayout()->setContentsMargins(0, 0, 0, 0);
        trailingLayout()->addWidget(widget, 1);
    }
    QSize sizeHint() const override { return QSize(TULOTableViewCell::sizeHint().width(), 240); }
};

// The smallest time that counts as a chosen cover frame (the double's epsilon).
constexpr double TULOMinimumCoverTime = std::numeric_limits<double>::epsilon();

} // namespace

TULOAttachmentPropertiesTableViewSection::TULOAttachmentPropertiesTableViewSection(TULOAttachmentPropertiesSectionType sectionType,
                                                                                   const TULOClientContext &clientContext,
                                                                                   QObject *parent)
    : QObject(parent)
    , m_sectionType(sectionType)
    , m_clientContext(clientContext)
{
}

TULOAttachmentPropertiesTableViewSection::~TULOAttachmentPropertiesTableViewSection()
{
    // Cells a table adopted belong to the table; the others are still ours.
    for (const QPointer<TULOTableViewCell> &cell : std::as_const(m_cells))
        if (cell && !cell->parent())
            delete cell;
}

QString TULOAttachmentPropertiesTableViewSection::localizedString(const QString &key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(key, QStringLiteral("PostComposition"),
                                                                          m_clientContext);
}

void TULOAttachmentPropertiesTableViewSection::addTitleRow(const TULOAttachment &attachment)
{
    auto *cell = new TULOSettingsTextFieldTableViewCell;
    cell->setLabelText(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_TITLE_LABEL")));
    cell->textField()->setPlaceholderText(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_TITLE_PLACEHOLDER")));
    cell->textField()->setText(attachment.title());
    m_titleField = cell->textField();
    connect(m_titleField, &QLineEdit::textChanged, this, &TULOAttachmentPropertiesTableViewSection::reportTitleLength);
    m_cells.append(cell);
}

void TULOAttachmentPropertiesTableViewSection::addArtistRow(const TULOAttachment &attachment)
{
    auto *cell = new TULOArtistTokenTableViewCell;
    cell->setLabelText(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_ARTIST_LABEL")));
    TULOTokenTextView *view = cell->tokenView();
    view->setPlaceholderText(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_ARTIST_PLACEHOLDER")));
    for (const TULOPostArtist &artist : attachment.artists()) {
        view->setSelectedRange(TULOTextRange{view->textLength(), 0});
        view->insertTokenWithAttachment(std::make_shared<TULOTagTokenTextAttachment>(TULOTag(artist)));
    }
    m_artistView = view;
    m_artistRow = int(m_cells.size());
    connect(view, &QTextEdit::textChanged, this, &TULOAttachmentPropertiesTableViewSection::reportArtistLength);
    m_cells.append(cell);

    // Title and artist labels share one column so the two fields line up.
    if (m_titleField) {
        auto *titleCell = static_cast<TULOSettingsTextFieldTableViewCell *>(m_cells.at(m_artistRow - 1).data());
        const int width = qMax(titleCell->preferredLabelWidth(),
                               cell->label()->fontMetrics().horizontalAdvance(cell->label()->text()) + 2);
        titleCell->setLabelWidth(width);
        cell->label()->setFixedWidth(width);
    }
}

void TULOAttachmentPropertiesTableViewSection::setTableCellsWithAttachment(const TULOAttachment &attachment,
                                                                           const TULOConfiguration &configuration)
{
    for (const QPointer<TULOTableViewCell> &cell : std::as_const(m_cells))
        if (cell && !cell->parent())
            delete cell;
    m_cells.clear();
    m_artistRow = -1;

    switch (m_sectionType) {
    case TULOAttachmentPropertiesSectionTypeCoverArt: {
        auto *cell = new TULOAudioCoverImageSelectionTableViewCell;
        cell->setPromptText(localizedString(QStringLiteral("AUDIO_WORKFLOW_COVER_ART_PROMPT")));
        m_selectedCoverImage = attachment.thumbnailImage();
        cell->setCoverImage(m_selectedCoverImage);
        m_cells.append(cell);
        break;
    }
    case TULOAttachmentPropertiesSectionTypeTitleAndArtist:
        addTitleRow(attachment);
        addArtistRow(attachment);
        break;
    case TULOAttachmentPropertiesSectionTypeExplicit: {
        auto *cell = new TULOSettingsTableViewCell;
        cell->setValueType(TULOSettingsValueTypeSwitch);
        cell->setAccessoryType(TULOTableViewCellAccessoryNone);
        cell->setSelectionStyle(TULOTableViewCellSelectionStyleNone);
        cell->setText(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_EXPLICIT_LABEL")));
        m_explicit = attachment.isExplicitContent();
        cell->setSwitchValue(m_explicit);
        connect(cell, &TULOSettingsTableViewCell::switchToggled, this, [this](bool on) { m_explicit = on; });
        m_cells.append(cell);
        break;
    }
    case TULOAttachmentPropertiesSectionTypeSongType: {
        const QStringList names = configuration.audioCategoryNames().value_or(QStringList());
        if (names.isEmpty())
            break;
        const QString name = attachment.categoryName().isEmpty() ? names.first() : attachment.categoryName();
        auto *cell = new TULOSettingsTableViewCell;
        cell->setValueType(TULOSettingsValueTypeText);
        cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
        cell->setText(localizedString(QStringLiteral("AUDIO_WORKFLOW_SONG_TYPE_LABEL")));
        cell->setTextValue(TULOLocalization::defaultLocalization()->localizedStringForCategoryName(name, m_clientContext));
        m_cells.append(cell);
        break;
    }
    case TULOAttachmentPropertiesSectionTypeVideo: {
        m_videoView = new TULOVideoCoverImageSelectionView(attachment.assetURL(), m_clientContext);
        if (attachment.thumbnailImageTime() > TULOMinimumCoverTime)
            m_videoView->setInitialPlayerTime(attachment.thumbnailImageTime());
        m_cells.append(new TULOWidgetTableViewCell(m_videoView));
        addTitleRow(attachment);
        addArtistRow(attachment);
        break;
    }
    case TULOAttachmentPropertiesSectionTypeAlbum: {
        auto *cell = new TULOSettingsTableViewCell;
        cell->setValueType(TULOSettingsValueTypeText);
        cell->setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
        cell->setText(localizedString(QStringLiteral("AUDIO_WORKFLOW_ATTACH_TO_ALBUM")));
        const std::optional<TULOStoreItem> album = attachment.album();
        cell->setTextValue(album ? album->displayName()
                                 : localizedString(QStringLiteral("AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PLACEHOLDER")));
        m_cells.append(cell);
        break;
    }
    }
}

void TULOAttachmentPropertiesTableViewSection::commitValuesToAttachment(TULOAttachment &attachment) const
{
    switch (m_sectionType) {
    case TULOAttachmentPropertiesSectionTypeCoverArt:
        attachment.setThumbnailImage(m_selectedCoverImage);
        break;
    case TULOAttachmentPropertiesSectionTypeVideo:
        if (m_videoView) {
            // Done right after a move may come before the full-size frame: the exact frame
            // shown is the cover then, rather than none or a wait.
            const TULOVideoSurface *surface = m_videoView->playerLayer();
            const QImage cover = m_videoView->coverImage();
            attachment.setThumbnailImage(!cover.isNull() || !surface->isShowingExactFrame() ? cover : surface->currentFrame());
            // Stored in milliseconds, though it is read back as seconds on reopening.
            attachment.setThumbnailImageTime(m_videoView->coverImageTime() * 1000.0);
        }
        [[fallthrough]];
    case TULOAttachmentPropertiesSectionTypeTitleAndArtist: {
        if (m_titleField)
            attachment.setTitle(m_titleField->text());
        if (m_artistView) {
            QList<TULOPostArtist> artists;
            m_artistView->enumerateTokenAttachmentsUsingBlock([&](const auto &token, qsizetype, bool *) {
                if (token->representedObject().template canConvert<TULOTag>())
                    artists.append(token->representedObject().template value<TULOTag>().artistRepresentation());
            });
            attachment.setArtists(artists);
        }
        break;
    }
    case TULOAttachmentPropertiesSectionTypeExplicit:
        attachment.setExplicitContent(m_explicit);
        break;
    case TULOAttachmentPropertiesSectionTypeSongType:
    case TULOAttachmentPropertiesSectionTypeAlbum:
        break; // chosen in their lists and written at once
    }
}

QList<TULOTableViewCell *> TULOAttachmentPropertiesTableViewSection::tableViewCells() const
{
    QList<TULOTableViewCell *> cells;
    for (const QPointer<TULOTableViewCell> &cell : m_cells)
        cells.append(cell.data());
    return cells;
}

int TULOAttachmentPropertiesTableViewSection::numberOfRowsInTableView(TULOTableView *) const
{
    return int(m_cells.size());
}

TULOTableViewCell *TULOAttachmentPropertiesTableViewSection::tableViewCellForRowAtIndexPath(TULOTableView *,
                                                                                          const TULOIndexPath &indexPath) const
{
    return indexPath.row() >= 0 && indexPath.row() < m_cells.size() ? m_cells.at(indexPath.row()).data() : nullptr;
}

double TULOAttachmentPropertiesTableViewSection::tableViewHeightForRowAtIndexPath(TULOTableView *tableView,
                                                                                const TULOIndexPath &indexPath) const
{
    const TULOTableViewCell *cell = tableViewCellForRowAtIndexPath(tableView, indexPath);
    return cell ? cell->sizeHint().height() : TULOTableViewCell::TULORowHeight;
}

void TULOAttachmentPropertiesTableViewSection::tableViewWillDisplayCellForRowAtIndexPath(TULOTableView *,
                                                                                       TULOTableViewCell *cell,
                                                                                       const TULOIndexPath &)
{
    if (auto *settingsCell = qobject_cast<TULOSettingsTableViewCell *>(cell);
        settingsCell && m_sectionType == TULOAttachmentPropertiesSectionTypeExplicit)
        settingsCell->setSwitchValue(m_explicit);
}

TULOTokenTextView *TULOAttachmentPropertiesTableViewSection::tokenTextViewForRowAtIndexPath(const TULOIndexPath &indexPath) const
{
    return indexPath.row() == m_artistRow ? m_artistView.data() : nullptr;
}

void TULOAttachmentPropertiesTableViewSection::setCoverImage(const QImage &image)
{
    if (m_sectionType != TULOAttachmentPropertiesSectionTypeCoverArt)
        return;
    m_selectedCoverImage = image;
    if (auto *cell = m_cells.isEmpty() ? nullptr : qobject_cast<TULOAudioCoverImageSelectionTableViewCell *>(m_cells.first()))
        cell->setCoverImage(image);
}

void TULOAttachmentPropertiesTableViewSection::resignFirstResponder()
{
    if (m_titleField && m_titleField->hasFocus())
        m_titleField->clearFocus();
    if (m_artistView)
        m_artistView->resignFirstResponder();
}

void TULOAttachmentPropertiesTableViewSection::reportTitleLength(const QString &text)
{
    if (m_sectionDelegate)
        m_sectionDelegate->tableViewSectionTitleLengthChanged(this, text.trimmed().size());
}

void TULOAttachmentPropertiesTableViewSection::reportArtistLength()
{
    if (m_sectionDelegate && m_artistView)
        m_sectionDelegate->tableViewSectionArtistLengthChanged(this, m_artistView->textWithResolvedTokenStrings().trimmed().size());
}
