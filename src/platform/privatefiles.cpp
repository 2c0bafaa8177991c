#include <Quillon/platform/privatefiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t TULOPrivateFolderMode = S_IRWXU;
constexpr mode_t TULOPrivateFileMode = S_IRUSR | S_IWUSR;

// Error codes of the file domain, as the platform numbers them.
constexpr qint64 TULOFileWriteNoPermissionError = 513;
constexpr qint64 TULOFileWriteUnknownError = 512;
constexpr qint64 TULOFileWriteOutOfSpaceError = 640;

TULOError fileError(qint64 code, const QString &path, const QString &description)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), path);
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    return TULOError(TULOFileErrorDomain, code, info);
}

// An unbuffered file that keeps the reason of a failed write: QFile reports a write cut short
// by a full disk as no error at all.
class TULOFileDescriptorDevice : public QIODevice
{
public:
    explicit TULOFileDescriptorDevice(int descriptor)
        : m_descriptor(descriptor)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    int failure() const { return m_failure; }
    void setFailure(int failure) { m_failure = failure; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        qint64 written = 0;
        while (written < size) {
            const ssize_t result = ::write(m_descriptor, data + written, size_t(size - written));
            if (result < 0 && errno == EINTR)
                continue;
            if (result <= 0) {
                m_failure = result < 0 ? errno : EIO;
                setErrorString(QString::fromLocal8Bit(std::strerror(m_failure)));
                return -1;
            }
            written += result;
        }
        return written;
    }

private:
    int m_descriptor;
    int m_failure = 0;
};

bool makePrivate(const QString &folder)
{
    return ::chmod(QFile::encodeName(folder).constData(), TULOPrivateFolderMode) == 0;
}

} // namespace

bool TULOPrivateFiles::makeFolder(const QString &folder, TULOError *error)
{
    const QString target = QDir::cleanPath(QDir(folder).absolutePath());
    QStringList created;
    for (QString at = target; !at.isEmpty() && !QFileInfo::exists(at);) {
        created.prepend(at);
        const QString parent = QFileInfo(at).path();
        if (parent == at)
            break;
        at = parent;
    }
    if (!QDir().mkpath(target)) {
        const int code = errno;
        TULOSetError(error,
            fileError(code == ENOSPC ? TULOFileWriteOutOfSpaceError : TULOFileWriteNoPermissionError, target,
                code == ENOSPC ? QStringLiteral("No space left on device: the folder %1 cannot be created.").arg(target)
                               : QStringLiteral("The folder %1 cannot be created: %2")
                                     .arg(target, QString::fromLocal8Bit(std::strerror(code)))));
        return false;
    }
    QStringList folders = created;
    if (!folders.contains(target))
        folders << target;
    // The framework's own folder may have been made by someone less careful.
    for (QString at = target; at.contains(QLatin1String("/com.vantor.Quillon")); at = QFileInfo(at).path()) {
        if (at.endsWith(QLatin1String("/com.vantor.Quillon")) && !folders.contains(at))
            folders << at;
    }
    for (const QString &path : std::as_const(folders)) {
        if (!makePrivate(path)) {
            TULOSetError(error,
                fileError(TULOFileWriteNoPermissionError, path,
                    QStringLiteral("The folder %1 cannot be made private: %2")
                        .arg(path, QString::fromLocal8Bit(std::strerror(errno)))));
            return false;
        }
    }
    return true;
}

bool TULOPrivateFiles::makeFile(const QString &path)
{
    return ::chmod(QFile::encodeName(path).constData(), TULOPrivateFileMode) == 0;
}

bool TULOPrivateFiles::makeFile(int descriptor)
{
    return ::fchmod(descriptor, TULOPrivateFileMode) == 0;
}

bool TULOPrivateFiles::writeFile(const QString &path, const std::function<bool(QIODevice *file, TULOError *error)> &write,
    TULOError *error, Durability durability)
{
    const QFileInfo info(path);
    if (!makeFolder(info.absolutePath(), error))
        return false;
    // mkstemp makes the file 0600 whatever the umask, and in the same folder, so the rename is atomic.
    QByteArray temporary = QFile::encodeName(info.absolutePath() + QStringLiteral("/.") + info.fileName()
        + QStringLiteral(".XXXXXX"));
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) {
        TULOSetError(error, writeError(path, errno, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    TULOFileDescriptorDevice file(descriptor);
    TULOError writeFailure;
    bool written = write(&file, &writeFailure) && file.failure() == 0;
    if (written && durability == Synced && ::fdatasync(descriptor) != 0) {
        written = false;
        file.setFailure(errno);
    }
    const bool closed = ::close(descriptor) == 0; // a full disk may only show here (NFS)
    const int closeFailure = closed ? 0 : errno;
    if (written && closed && std::rename(temporary.constData(), QFile::encodeName(path).constData()) == 0)
        return true;
    // The file's own failure first (a full disk is said as such, whatever the writer made of
    // it), then the writer's reason, then the rename's.
    int failure = file.failure() ? file.failure() : closeFailure;
    if (failure == 0 && written)
        failure = errno;
    ::unlink(temporary.constData());
    if (failure == 0 && !writeFailure.isNull())
        TULOSetError(error, writeFailure);
    else
        TULOSetError(error, writeError(path, failure ? failure : EIO, QString::fromLocal8Bit(std::strerror(failure ? failure : EIO))));
    return false;
}

TULOError TULOPrivateFiles::writeError(const QString &path, int errorNumber, const QString &reason)
{
    if (errorNumber == ENOSPC || errorNumber == EDQUOT) {
        const QString folder = QFileInfo(path).absolutePath();
        return fileError(TULOFileWriteOutOfSpaceError, path,
            QStringLiteral("No space left on device: %1 cannot be written in the folder %2.")
                .arg(QFileInfo(path).fileName(), folder));
    }
    return fileError(TULOFileWriteUnknownError, path, QStringLiteral("Could not write %1: %2").arg(path, reason));
}
