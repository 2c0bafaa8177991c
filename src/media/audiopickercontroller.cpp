#include <Quillon/media/audiopickercontroller.h>

#include <Quillon/core/durationformatter.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/alertcontroller.h>

#include <QAbstractListModel>
#include <QCoreApplication>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHash>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QSet>
#include <QStyledItemDelegate>
#include <QTabBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int rowHeight = 52;
constexpr int artworkSide = 40;

QString localizedKey(const char *key, const TULOClientContext &context)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), context);
}

// Lower case without accents, so that "beyonce" finds "Beyoncé".
QString folded(const QString &text)
{
    const QString decomposed = text.normalized(QString::NormalizationForm_D).toCaseFolded();
    QString result;
    result.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.category() != QChar::Mark_NonSpacing)
            result.append(c);
    }
    return result;
}

bool isVoiceMemo(const TULOMediaLibraryItem &item, const QString &memosFolder)
{
    return (item.mediaType() & TULOMediaTypeVoiceMemo) != 0
        || (!item.filePath().isEmpty() && item.filePath().startsWith(memosFolder));
}

} // namespace

bool TULOAudioPickerItemMatches(const TULOMediaLibraryItem &item, const QString &search)
{
    const QString haystack = folded(item.title() + QLatin1Char('\n') + item.artist() + QLatin1Char('\n')
        + item.albumArtist() + QLatin1Char('\n') + item.albumTitle());
    const QStringList words = folded(search).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &word : words) {
        if (!haystack.contains(word))
            return false;
    }
    return true;
}

// The rows of the picker: artwork, title, artist and album, duration.
class TULOAudioPickerModel : public QAbstractListModel
{
public:
    enum Role { SubtitleRole = Qt::UserRole + 1, DurationRole, ArtworkRole };

    explicit TULOAudioPickerModel(const TULOClientContext &context, QObject *parent)
        : QAbstractListModel(parent), m_durations(context)
    {
    }

    void setItems(const QList<TULOMediaLibraryItemPtr> &items)
    {
        beginResetModel();
        m_items = items;
        endResetModel();
    }
    QList<TULOMediaLibraryItemPtr> items() const { return m_items; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : int(m_items.size());
    }

    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_items.size())
            return QVariant();
        const TULOMediaLibraryItem &item = *m_items.at(index.row());
        switch (role) {
        case Qt::DisplayRole:
            return item.title().isEmpty() ? QFileInfo(item.filePath()).completeBaseName() : item.title();
        case SubtitleRole: {
            QStringList parts;
            if (!item.artist().isEmpty())
                parts << item.artist();
            if (!item.albumTitle().isEmpty())
                parts << item.albumTitle();
            return parts.join(QStringLiteral(" — "));
        }
        case DurationRole:
            return m_durations.stringFromDuration(item.duration());
        case Qt::AccessibleTextRole:
            return data(index, Qt::DisplayRole).toString() + QStringLiteral(", ") + data(index, SubtitleRole).toString()
                + QStringLiteral(", ") + data(index, DurationRole).toString();
        case ArtworkRole: {
            const quint64 key = item.persistentID();
            const auto found = m_artwork.constFind(key);
            if (found != m_artwork.constEnd())
                return *found;
            if (!item.artwork().isNull() && !m_requested.contains(key)) {
                m_requested.insert(key);
                requestArtwork(index.row(), item.artwork(), key);
            }
            return QImage();
        }
        default:
            return QVariant();
        }
    }

private:
    // Artwork is decoded on an artwork thread; the row repaints when it is there.
    void requestArtwork(int row, TULOArtworkCatalog catalog, quint64 key) const
    {
        catalog.setFittingSize(QSizeF(artworkSide, artworkSide));
        catalog.setDestinationScale(2.0);
        const QPointer<const QObject> guard(this);
        auto *self = const_cast<TULOAudioPickerModel *>(this);
        catalog.requestImage([guard, self, row, key](const QImage &image, const TULOError &) {
            QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, self, row, key, image] {
                if (!guard)
                    return;
                self->m_artwork.insert(key, image);
                if (row < self->m_items.size() && self->m_items.at(row)->persistentID() == key)
                    Q_EMIT self->dataChanged(self->index(row), self->index(row), {ArtworkRole});
            }, Qt::QueuedConnection);
        });
    }

    QList<TULOMediaLibraryItemPtr> m_items;
    TULODurationFormatter m_durations;
    QHash<quint64, QImage> m_artwork;
    mutable QSet<quint64> m_requested;
};

namespace {

class TULOAudioPickerItemDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const override
    {
        return QSize(option.rect.width(), rowHeight);
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = QIcon();
        const QWidget *widget = option.widget;
        QStyle *style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        const QRect row = option.rect.adjusted(8, 0, -10, 0);
        const QRect art(row.left(), row.center().y() - artworkSide / 2 + 1, artworkSide, artworkSide);
        const QImage artwork = index.data(TULOAudioPickerModel::ArtworkRole).value<QImage>();
        const bool selected = option.state & QStyle::State_Selected;
        const QPalette::ColorRole textRole = selected ? QPalette::HighlightedText : QPalette::Text;
        if (!artwork.isNull()) {
            const QSizeF size = QSizeF(artwork.size()).scaled(art.size(), Qt::KeepAspectRatio);
            painter->drawImage(QRectF(art.center().x() - size.width() / 2 + 0.5, art.center().y() - size.height() / 2 + 0.5,
                                   size.width(), size.height()),
                artwork);
        } else {
            // A note on a plain tile stands in for missing artwork.
            painter->setPen(Qt::NoPen);
            painter->setBrush(option.palette.color(QPalette::Mid));
            painter->drawRoundedRect(art, 3, 3);
            painter->setPen(option.palette.color(QPalette::Light));
            QFont note = painter->font();
            note.setPixelSize(20);
            painter->setFont(note);
            painter->drawText(art, Qt::AlignCenter, QString(QChar(0x266A)));
        }
        painter->restore();

        painter->save();
        const QString duration = index.data(TULOAudioPickerModel::DurationRole).toString();
        const QFontMetrics metrics(option.font);
        const int durationWidth = qMin(metrics.horizontalAdvance(duration) + 4, row.width() / 4);
        const QRect text(art.right() + 10, row.top() + 6, row.right() - art.right() - 16 - durationWidth, row.height() - 12);
        QFont titleFont = option.font;
        titleFont.setWeight(QFont::DemiBold);
        painter->setFont(titleFont);
        painter->setPen(option.palette.color(textRole));
        const QRect titleRect(text.left(), text.top(), text.width(), text.height() / 2);
        painter->drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
            QFontMetrics(titleFont).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, text.width()));
        painter->setFont(option.font);
        if (!selected)
            painter->setPen(option.palette.color(QPalette::PlaceholderText));
        const QRect subtitleRect(text.left(), text.center().y(), text.width(), text.height() / 2);
        painter->drawText(subtitleRect, Qt::AlignLeft | Qt::AlignVCenter,
            metrics.elidedText(index.data(TULOAudioPickerModel::SubtitleRole).toString(), Qt::ElideRight, text.width()));
        painter->drawText(QRect(row.right() - durationWidth, row.top(), durationWidth, row.height()),
            Qt::AlignRight | Qt::AlignVCenter, duration);
        painter->restore();
    }
};

} // namespace

TULOAudioPickerController::TULOAudioPickerController(const TULOClientContext &clientContext, TULOMediaLibrary *library,
    QObject *parent)
    : TULOViewController(parent), m_clientContext(clientContext), m_model(new TULOAudioPickerModel(clientContext, this))
{
    setTitle(localizedString("AUDIO_PICKER_TITLE"));
    TULOMediaLibrary *source = library ? library : TULOMediaLibrary::defaultMediaLibraryWithoutLoading();
    m_memosFolder = QDir(source->musicFolder()).filePath(QStringLiteral("Voice Memos")) + QLatin1Char('/');
    if (source->hasLoaded()) {
        addItems(source->items());
        chooseInitialSource();
        return;
    }
    // The first read of a music folder can take long: it runs on the library's worker and the
    // lists fill folder by folder.
    m_loading = true;
    const QPointer<TULOAudioPickerController> guard(this);
    source->loadInBackground(
        [guard](const QList<TULOMediaLibraryItemPtr> &items) {
            QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, items] {
                if (guard)
                    guard->addItems(items);
            }, Qt::QueuedConnection);
        },
        [guard](const TULOError &) {
            // A folder that cannot be read leaves the lists empty, as an empty folder does.
            QMetaObject::invokeMethod(QCoreApplication::instance(), [guard] {
                if (guard)
                    guard->finishLoading();
            }, Qt::QueuedConnection);
        });
}

void TULOAudioPickerController::addItems(const QList<TULOMediaLibraryItemPtr> &items)
{
    for (const TULOMediaLibraryItemPtr &item : items) {
        // Only what is on this computer can be attached now; videos are the photo pickers'.
        if (item->filePath().isEmpty() || item->hasVideo())
            continue;
        (isVoiceMemo(*item, m_memosFolder) ? m_voiceMemos : m_songs) << item;
    }
    const auto byTitle = [](const TULOMediaLibraryItemPtr &a, const TULOMediaLibraryItemPtr &b) {
        return QString::localeAwareCompare(a->title(), b->title()) < 0;
    };
    std::stable_sort(m_songs.begin(), m_songs.end(), byTitle);
    // Memos newest first, as they are recorded.
    std::stable_sort(m_voiceMemos.begin(), m_voiceMemos.end(), [](const TULOMediaLibraryItemPtr &a, const TULOMediaLibraryItemPtr &b) {
        return QFileInfo(a->filePath()).lastModified() > QFileInfo(b->filePath()).lastModified();
    });
    reloadVisibleItems();
}

void TULOAudioPickerController::chooseInitialSource()
{
    // Voice memos first only for a library without songs, and never against the user's choice.
    if (m_sourceChosen || !m_songs.isEmpty() || m_voiceMemos.isEmpty())
        return;
    m_source = VoiceMemos;
    if (m_tabBar) {
        const QSignalBlocker blocker(m_tabBar);
        m_tabBar->setCurrentIndex(int(m_source));
    }
    reloadVisibleItems();
}

void TULOAudioPickerController::finishLoading()
{
    m_loading = false;
    chooseInitialSource();
    updateStatusLabel();
    Q_EMIT itemsDidLoad();
}

TULOAudioPickerController::~TULOAudioPickerController() = default;

QString TULOAudioPickerController::localizedString(const char *key) const
{
    return localizedKey(key, m_clientContext);
}

TULOAlertController *TULOAudioPickerController::emptyAudioPickerAlertControllerWithClientContext(
    const TULOClientContext &clientContext)
{
    auto *alert = TULOAlertController::alertControllerWithTitle(localizedKey("AUDIO_PICKER_EMPTY_TITLE", clientContext),
        localizedKey("AUDIO_PICKER_EMPTY_MESSAGE", clientContext), TULOAlertControllerStyleAlert);
    alert->addAction(TULOAlertAction::actionWithTitle(
        localizedKey("AUDIO_PICKER_EMPTY_OK_BUTTON", clientContext), TULOAlertActionStyleCancel));
    return alert;
}

void TULOAudioPickerController::setSource(Source source)
{
    m_sourceChosen = true;
    if (m_source == source)
        return;
    m_source = source;
    if (m_tabBar)
        m_tabBar->setCurrentIndex(int(source));
    reloadVisibleItems();
}

void TULOAudioPickerController::setSearchText(const QString &text)
{
    if (m_searchText == text)
        return;
    m_searchText = text;
    if (m_searchField && m_searchField->text() != text)
        m_searchField->setText(text);
    reloadVisibleItems();
}

QList<TULOMediaLibraryItemPtr> TULOAudioPickerController::visibleItems() const
{
    return m_model->items();
}

void TULOAudioPickerController::reloadVisibleItems()
{
    QList<TULOMediaLibraryItemPtr> visible;
    for (const TULOMediaLibraryItemPtr &item : m_source == Songs ? m_songs : m_voiceMemos) {
        if (TULOAudioPickerItemMatches(*item, m_searchText))
            visible << item;
    }
    // The row the user is on stays current as the lists fill.
    const QModelIndex current = m_listView ? m_listView->currentIndex() : QModelIndex();
    const TULOMediaLibraryItemPtr currentItem = current.isValid() ? m_model->items().value(current.row()) : nullptr;
    m_model->setItems(visible);
    if (m_listView && !visible.isEmpty()) {
        const qsizetype row = currentItem ? visible.indexOf(currentItem) : -1;
        m_listView->setCurrentIndex(m_model->index(int(std::max<qsizetype>(row, 0))));
    }
    updateStatusLabel();
    updateAttachButton();
}

void TULOAudioPickerController::updateStatusLabel()
{
    auto *label = static_cast<QLabel *>(m_statusLabel.data());
    if (!label)
        return;
    QString status;
    if (m_loading)
        status = localizedString("AUDIO_PICKER_LOADING");
    else if (!hasSourceItems())
        status = localizedString("AUDIO_PICKER_EMPTY_MESSAGE");
    else if (m_model->rowCount() == 0 && !m_searchText.trimmed().isEmpty())
        status = TULOStringWithFormat(localizedString("AUDIO_PICKER_NO_RESULTS_%@"), {m_searchText.trimmed()});
    label->setText(status);
    label->setVisible(!status.isEmpty());
}

void TULOAudioPickerController::updateAttachButton()
{
    if (m_attachButton)
        m_attachButton->setEnabled(m_listView && m_listView->currentIndex().isValid());
}

bool TULOAudioPickerController::chooseItemAtRow(int row)
{
    const QList<TULOMediaLibraryItemPtr> items = m_model->items();
    if (row < 0 || row >= items.size())
        return false;
    auto attachment = std::make_shared<TULOAttachment>(items.at(row));
    if (TULOAudioPickerDelegate *delegate = m_delegate.get())
        delegate->audioPickerDidFinishWithAttachment(this, attachment);
    return true;
}

void TULOAudioPickerController::cancel()
{
    if (TULOAudioPickerDelegate *delegate = m_delegate.get())
        delegate->audioPickerDidCancel(this);
}

bool TULOAudioPickerController::performCancelAction()
{
    cancel();
    return true;
}

bool TULOAudioPickerController::performDefaultAction()
{
    // The current row, or the first one before the list has been shown.
    return chooseItemAtRow(m_listView ? m_listView->currentIndex().row() : 0);
}

QListView *TULOAudioPickerController::listView()
{
    view();
    return m_listView;
}

QLineEdit *TULOAudioPickerController::searchField()
{
    view();
    return m_searchField;
}

void TULOAudioPickerController::loadView()
{
    auto *root = new QWidget;
    root->setAccessibleName(title());
    auto *layout = new QVBoxLayout(root);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(8);

    m_searchField = new QLineEdit;
    m_searchField->setPlaceholderText(localizedString("AUDIO_PICKER_SEARCH_PLACEHOLDER"));
    m_searchField->setAccessibleName(m_searchField->placeholderText());
    m_searchField->setClearButtonEnabled(true);
    m_searchField->setText(m_searchText);
    connect(m_searchField, &QLineEdit::textChanged, this, &TULOAudioPickerController::setSearchText);
    layout->addWidget(m_searchField);

    m_tabBar = new QTabBar;
    m_tabBar->setExpanding(false);
    m_tabBar->setDrawBase(false);
    m_tabBar->addTab(localizedString("AUDIO_PICKER_SONGS"));
    m_tabBar->addTab(localizedString("AUDIO_PICKER_VOICE_MEMOS"));
    m_tabBar->setCurrentIndex(int(m_source));
    m_tabBar->setAccessibleName(title());
    connect(m_tabBar, &QTabBar::currentChanged, this, [this](int index) { setSource(Source(index)); });
    layout->addWidget(m_tabBar);

    m_listView = new QListView;
    m_listView->setAccessibleName(title());
    m_listView->setModel(m_model);
    m_listView->setItemDelegate(new TULOAudioPickerItemDelegate(m_listView));
    m_listView->setUniformItemSizes(true);
    m_listView->setAlternatingRowColors(false);
    m_listView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    connect(m_listView, &QListView::activated, this, [this](const QModelIndex &index) { chooseItemAtRow(index.row()); });
    connect(m_listView->selectionModel(), &QItemSelectionModel::currentChanged, this,
        &TULOAudioPickerController::updateAttachButton);
    layout->addWidget(m_listView, 1);

    // "Loading…" while the library is read, or why the list is empty.
    auto *status = new QLabel;
    status->setAlignment(Qt::AlignCenter);
    status->setWordWrap(true);
    QPalette palette = status->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    status->setPalette(palette);
    m_statusLabel = status;
    layout->addWidget(status);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto *cancelButton = new QPushButton(localizedString("ATTACHMENT_CANCEL_BUTTON"));
    connect(cancelButton, &QPushButton::clicked, this, &TULOAudioPickerController::cancel);
    m_attachButton = new QPushButton(localizedString("AUDIO_PICKER_ATTACH_BUTTON"));
    m_attachButton->setDefault(true);
    connect(m_attachButton, &QPushButton::clicked, this, [this] { performDefaultAction(); });
    buttons->addWidget(cancelButton);
    buttons->addWidget(m_attachButton);
    layout->addLayout(buttons);

    // Typing goes to the search, Down moves into the list, Tab reaches the buttons.
    QWidget::setTabOrder(m_searchField, m_tabBar);
    QWidget::setTabOrder(m_tabBar, m_listView);
    QWidget::setTabOrder(m_listView, cancelButton);
    QWidget::setTabOrder(cancelButton, m_attachButton);
    setView(root);
    reloadVisibleItems();
}

void TULOAudioPickerController::viewDidAppear(bool animated)
{
    TULOViewController::viewDidAppear(animated);
    m_searchField->setFocus();
}
