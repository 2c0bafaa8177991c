#include <Quillon/platform/credentials/credentialstore_file_p.h>

#include <Quillon/platform/privatefiles.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QTemporaryFile>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static const QString TULOCredentialFileName = QStringLiteral("credentials.json");
static const QString TULOCredentialLockName = QStringLiteral("credentials.lock");
static const QString TULOCredentialNoticeName = QStringLiteral("README");
static constexpr int TULOLockTimeoutMilliseconds = 15000;

TULOCredentialStoreFile::TULOCredentialStoreFile(const QString &directory)
    : m_directory(directory)
{
}

QString TULOCredentialStoreFile::filePath() const
{
    return QDir(m_directory).filePath(TULOCredentialFileName);
}

QString TULOCredentialStoreFile::locationDescription() const
{
    return QStringLiteral("the file %1, readable by you only but not encrypted, because no Secret Service "
                          "(desktop keyring) answers")
        .arg(filePath());
}

bool TULOCredentialStoreFile::leaveNotice() const
{
    QMutexLocker locker(&m_mutex);
    const QString path = QDir(m_directory).filePath(TULOCredentialNoticeName);
    if (QFileInfo::exists(path) || !prepareFolder(nullptr))
        return false;
    // O_EXCL: of two processes starting at once, one tells the user.
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return false;
    const QByteArray text = "Quillon keeps passwords and session tokens in credentials.json here because no\n"
                            "Secret Service (desktop keyring) answered. The file is readable by you only but\n"
                            "not encrypted. Start a keyring to have them kept there instead; set\n"
                            "QUILLON_REQUIRE_SECURE_CREDENTIALS=1 to forbid this file.\n";
    const bool written = ::write(fd, text.constData(), size_t(text.size())) == text.size();
    ::close(fd);
    return written;
}

QStringList TULOCredentialStoreFile::setAsidePaths() const
{
    QMutexLocker locker(&m_mutex);
    return m_setAsidePaths;
}

bool TULOCredentialStoreFile::prepareFolder(TULOError *error) const
{
    // Owner-only, also when the folder was made by someone less careful.
    TULOError folderError;
    if (!TULOPrivateFiles::makeFolder(m_directory, &folderError)) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorUnavailable,
                QStringLiteral("The credential folder cannot be used: %1").arg(folderError.localizedDescription())));
        return false;
    }
    return true;
}

std::optional<QList<TULOCredentialStoreFile::TULOItem>> TULOCredentialStoreFile::read(bool *damaged, TULOError *error) const
{
    *damaged = false;
    QList<TULOItem> items;
    QFile file(filePath());
    if (!file.exists())
        return items;
    if (!file.open(QIODevice::ReadOnly)) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorUnavailable,
                QStringLiteral("The credential file cannot be read: %1").arg(file.errorString())));
        return std::nullopt;
    }
    ::fchmod(file.handle(), S_IRUSR | S_IWUSR);
    const QByteArray bytes = file.readAll();
    file.close();

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    bool valid = parseError.error == QJsonParseError::NoError && document.isObject()
        && document.object().value(QStringLiteral("items")).isArray();
    if (valid) {
        for (const QJsonValue &value : document.object().value(QStringLiteral("items")).toArray()) {
            const QJsonObject object = value.toObject();
            const QJsonValue account = object.value(QStringLiteral("account"));
            const QJsonValue service = object.value(QStringLiteral("service"));
            const QJsonValue data = object.value(QStringLiteral("data"));
            if (!account.isString() || !service.isString() || !data.isString()) {
                valid = false;
                break;
            }
            const auto decoded = QByteArray::fromBase64Encoding(
                data.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded) {
                valid = false;
                break;
            }
            items.append({account.toString(), service.toString(), *decoded});
        }
    }
    if (valid)
        return items;
    *damaged = true;
    return std::nullopt;
}

std::optional<QList<TULOCredentialStoreFile::TULOItem>> TULOCredentialStoreFile::load(TULOError *error)
{
    bool damaged = false;
    std::optional<QList<TULOItem>> items = read(&damaged, error);
    if (items || !damaged)
        return items;

    // Kept for recovery by hand; the store carries on empty so the user can sign in again.
    const QString base = filePath() + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    QString target = base;
    for (int n = 1; QFileInfo::exists(target); ++n)
        target = base + QLatin1Char('-') + QString::number(n);
    if (std::rename(QFile::encodeName(filePath()).constData(), QFile::encodeName(target).constData()) != 0) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorFailed,
                QStringLiteral("The credential file is damaged and cannot be moved aside.")));
        return std::nullopt;
    }
    m_setAsidePaths.append(target);
    return QList<TULOItem>();
}

bool TULOCredentialStoreFile::save(const QList<TULOItem> &items, TULOError *error) const
{
    QJsonArray array;
    for (const TULOItem &item : items) {
        array.append(
            QJsonObject {{QStringLiteral("account"), item.account}, {QStringLiteral("service"), item.service},
                {QStringLiteral("data"), QString::fromLatin1(item.data.toBase64())}});
    }
    const QByteArray bytes = QJsonDocument(QJsonObject {{QStringLiteral("items"), array}}).toJson();

    // QTemporaryFile creates its file 0600; renaming it over the old file replaces it at once.
    QTemporaryFile temporary(QDir(m_directory).filePath(QStringLiteral("credentials.XXXXXX")));
    const auto fail = [&](const QString &what) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorFailed,
                QStringLiteral("The credential file cannot be written: %1").arg(what)));
        return false;
    };
    if (!temporary.open())
        return fail(temporary.errorString());
    if (temporary.write(bytes) != bytes.size() || !temporary.flush())
        return fail(temporary.errorString());
    if (::fsync(temporary.handle()) != 0)
        return fail(QStringLiteral("the disk did not take the data"));
    ::fchmod(temporary.handle(), S_IRUSR | S_IWUSR);
    if (std::rename(
            QFile::encodeName(temporary.fileName()).constData(), QFile::encodeName(filePath()).constData())
        != 0)
        return fail(QStringLiteral("it could not replace the old file"));
    temporary.setAutoRemove(false);
    return true;
}

std::optional<QByteArray> TULOCredentialStoreFile::findItem(
    const QString &account, const QString &service, TULOError *error)
{
    QMutexLocker locker(&m_mutex);
    if (!prepareFolder(error))
        return std::nullopt;
    // Changes replace the file by a rename, so a read sees one whole version without the lock,
    // whose file is written and flushed to disk each time it is taken. Only a damaged file,
    // which is moved aside, needs it.
    bool damaged = false;
    std::optional<QList<TULOItem>> items = read(&damaged, error);
    if (damaged) {
        QLockFile lock(QDir(m_directory).filePath(TULOCredentialLockName));
        if (!lock.tryLock(TULOLockTimeoutMilliseconds)) {
            TULOSetError(error,
                makeError(TULOCredentialStoreErrorUnavailable,
                    QStringLiteral("Another program holds the credential file.")));
            return std::nullopt;
        }
        items = load(error);
    }
    if (!items)
        return std::nullopt;
    for (const TULOItem &item : *items) {
        if (item.account == account && item.service == service)
            return item.data;
    }
    TULOSetError(error,
        makeError(
            TULOCredentialStoreErrorItemNotFound, QStringLiteral("There is no password for this account.")));
    return std::nullopt;
}

bool TULOCredentialStoreFile::change(
    TULOChange kind, const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    QMutexLocker locker(&m_mutex);
    if (!prepareFolder(error))
        return false;
    QLockFile lock(QDir(m_directory).filePath(TULOCredentialLockName));
    if (!lock.tryLock(TULOLockTimeoutMilliseconds)) {
        TULOSetError(error,
            makeError(TULOCredentialStoreErrorUnavailable,
                QStringLiteral("Another program holds the credential file.")));
        return false;
    }
    std::optional<QList<TULOItem>> items = load(error);
    if (!items)
        return false;
    const auto found = std::find_if(items->begin(), items->end(),
        [&](const TULOItem &item) { return item.account == account && item.service == service; });
    const bool exists = found != items->end();
    switch (kind) {
    case TULOChange::Add:
        if (exists) {
            TULOSetError(error,
                makeError(TULOCredentialStoreErrorDuplicateItem,
                    QStringLiteral("A password for this account is stored already.")));
            return false;
        }
        items->append({account, service, data});
        break;
    case TULOChange::Update:
    case TULOChange::Delete:
        if (!exists) {
            TULOSetError(error,
                makeError(TULOCredentialStoreErrorItemNotFound,
                    QStringLiteral("There is no password for this account.")));
            return false;
        }
        if (kind == TULOChange::Update)
            found->data = data;
        else
            items->erase(found);
        break;
    }
    return save(*items, error);
}

bool TULOCredentialStoreFile::addItem(
    const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    return change(TULOChange::Add, account, service, data, error);
}

bool TULOCredentialStoreFile::updateItem(
    const QString &account, const QString &service, const QByteArray &data, TULOError *error)
{
    return change(TULOChange::Update, account, service, data, error);
}

bool TULOCredentialStoreFile::deleteItem(const QString &account, const QString &service, TULOError *error)
{
    return change(TULOChange::Delete, account, service, {}, error);
}
