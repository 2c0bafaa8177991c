#include <Quillon/platform/error.h>

#include <QCoreApplication>
#include <QDebug>


const char *const TULOLocalizedDescriptionKey = "localizedDescription";
const char *const TULOLocalizedFailureReasonKey = "localizedFailureReason";
const char *const TULOUnderlyingErrorKey = "underlyingError";
const char *const TULOFilePathErrorKey = "filePath";
const char *const TULOURLErrorKey = "url";

TULOError::TULOError(const QString &domain, qint64 code, const QVariantMap &userInfo)
    : m_domain(domain.isNull() ? QStringLiteral("") : domain)
    , m_code(code)
    , m_userInfo(userInfo)
{
}

TULOError TULOError::withDescription(const QString &domain, qint64 code, const QString &description)
{
    return TULOError(domain, code, {{QString::fromLatin1(TULOLocalizedDescriptionKey), description}});
}

QString TULOError::localizedDescription() const
{
    const QString own = m_userInfo.value(QString::fromLatin1(TULOLocalizedDescriptionKey)).toString();
    if (!own.isEmpty())
        return own;
    return QCoreApplication::translate("TULOError", "The operation couldn't be completed. (%1 error %2.)")
        .arg(m_domain)
        .arg(m_code);
}

QString TULOError::localizedFailureReason() const
{
    return m_userInfo.value(QString::fromLatin1(TULOLocalizedFailureReasonKey)).toString();
}

TULOError TULOError::underlyingError() const
{
    return m_userInfo.value(QString::fromLatin1(TULOUnderlyingErrorKey)).value<TULOError>();
}

bool TULOError::operator==(const TULOError &other) const
{
    return m_domain == other.m_domain && m_code == other.m_code && m_userInfo == other.m_userInfo;
}

QDebug operator<<(QDebug debug, const TULOError &error)
{
    QDebugStateSaver saver(debug);
    if (error.isNull())
        return debug.nospace() << "TULOError()";
    return debug.nospace() << "TULOError(" << error.domain() << ", " << error.code() << ", "
                           << error.localizedDescription() << ")";
}
