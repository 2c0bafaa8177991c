#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

class TULOPostOutbox;
class QTimer;

// Which composition a draft belongs to: the author it is written as and the store item it
// shares (empty for a post about nothing in particular).
struct QUILLON_EXPORT TULODraftKey
{
    QString authorIdentifier;
    QString itemIdentifier;

    bool operator==(const TULODraftKey &other) const = default;
};

QUILLON_EXPORT size_t qHash(const TULODraftKey &key, size_t seed = 0);

// What the user composed so far, as a value: the text with its tag tokens, the attachments with
// their properties, the author and attribution (by identifier, resolved against the
// configuration when restored) and the services the post is also shared to.
struct QUILLON_EXPORT TULOCompositionDraft
{
    QString text;
    QList<TULOAttachmentPtr> attachments;
    QString authorIdentifier;
    QString attributionAuthorIdentifier;
    QStringList enabledServiceIdentifiers;

    // Nothing typed and nothing attached: there is nothing to keep.
    bool isEmpty() const;
};

// Drafts on disk, one folder per key: "draft.json" and the attachment files it names. A draft is
// written whole or not at all (a new file renamed over the old), owner-only, so a kill at any
// moment leaves the previous draft or the new one. Attachment bytes and files that would not
// outlive the composition (recordings and prepared files in the temporary folder) are kept as
// content-named files that are written once; the user's own files are referred to.
// Main thread.
class QUILLON_EXPORT TULODraftStore : public QObject
{
    Q_OBJECT

public:
    // An empty folder means the default: "Library/com.vantor.Quillon/Drafts" in the shared
    // resources directory (or QUILLON_DRAFTS_DIR when set).
    explicit TULODraftStore(const QString &folder = QString(), QObject *parent = nullptr);
    // Writes what is still pending.
    ~TULODraftStore() override;

    // The application's store in the default folder, made on first use.
    static TULODraftStore *defaultStore();
    static QString defaultFolder();
    QString folder() const { return m_folder; }

    // The longest a change waits before it is written (500 ms by default; at most 1000 ms).
    // The wait starts with the first change after a write and is not pushed back by later
    // ones, so steady typing is written every interval.
    void setSaveDelay(int milliseconds);
    int saveDelay() const { return m_saveDelay; }

    // Remembers the composition and writes it within the save delay. An empty composition
    // removes the draft.
    void scheduleSave(const TULODraftKey &key, const TULOCompositionDraft &draft);
    // Writes every pending composition now (on close). False with the first error.
    bool flush(TULOError *error = nullptr);
    bool hasPendingChanges() const { return !m_pending.isEmpty(); }

    // Writes at once.
    bool save(const TULODraftKey &key, const TULOCompositionDraft &draft, TULOError *error = nullptr);
    // The composition last written (or still pending) for the key; nullopt without error when
    // there is none, with a file-domain error naming the file when it cannot be read. A draft
    // that cannot be read is left in place.
    std::optional<TULOCompositionDraft> load(const TULODraftKey &key, TULOError *error = nullptr) const;
    bool hasDraft(const TULODraftKey &key) const;
    // Removes the draft and forgets a pending change for it.
    bool discard(const TULODraftKey &key, TULOError *error = nullptr);
    // Removes the draft once the post made from it is safe: only when `outbox` holds the post
    // with this idempotency key. False (and the draft kept) otherwise; `error` is written only
    // when the removal itself fails.
    bool discardPosted(const TULODraftKey &key, const TULOPostOutbox *outbox, const QString &idempotencyKey,
        TULOError *error = nullptr);

    // The draft's folder.
    QString folderForKey(const TULODraftKey &key) const;

Q_SIGNALS:
    // A debounced write failed; the composition stays pending and is tried again on the next change.
    void draftSaveDidFail(const TULODraftKey &key, const TULOError &error);

private:
    void writePending();

    QString m_folder;
    QTimer *m_timer = nullptr;
    int m_saveDelay = 500;
    QHash<TULODraftKey, TULOCompositionDraft> m_pending;
};
