#pragma once

#include <Quillon/platform/credentials/credentialstore.h>

#include <QList>
#include <QMutex>
#include <QStringList>

// Items in one JSON file, 0600 in a 0700 folder, replaced atomically on each change. A lock
// file serialises the processes that change it (readers need none); a file that does not
// parse is moved aside, never deleted.
class TULOCredentialStoreFile : public TULOCredentialStore
{
public:
    explicit TULOCredentialStoreFile(const QString &directory);

    QString backendName() const override { return QStringLiteral("file"); }
    QString locationDescription() const override;
    // Leaves a note beside the file that says why it is there; true when there was none yet,
    // which is when the user is to be told.
    bool leaveNotice() const;
    QString filePath() const;
    QStringList setAsidePaths() const;

    std::optional<QByteArray> findItem(
        const QString &account, const QString &service, TULOError *error = nullptr) override;
    bool addItem(const QString &account, const QString &service, const QByteArray &data,
        TULOError *error = nullptr) override;
    bool updateItem(const QString &account, const QString &service, const QByteArray &data,
        TULOError *error = nullptr) override;
    bool deleteItem(const QString &account, const QString &service, TULOError *error = nullptr) override;

private:
    struct TULOItem
    {
        QString account;
        QString service;
        QByteArray data;
    };
    enum class TULOChange { Add, Update, Delete };

    bool change(TULOChange kind, const QString &account, const QString &service, const QByteArray &data,
        TULOError *error);
    bool prepareFolder(TULOError *error) const;
    // The file's items; null with `damaged` set when it does not parse.
    std::optional<QList<TULOItem>> read(bool *damaged, TULOError *error) const;
    // The same, a damaged file moved aside (and an empty list): under the lock.
    std::optional<QList<TULOItem>> load(TULOError *error);
    bool save(const QList<TULOItem> &items, TULOError *error) const;

    const QString m_directory;
    mutable QMutex m_mutex;
    QStringList m_setAsidePaths;
};
