#pragma once

#include <Quillon/quillon_export.h>

#include <QString>

#include <stdexcept>

// A programming error the caller made (starting a one-shot request twice, a table row no
// section handles). Thrown, never caught by the framework: it is a bug to fix, not a failure.
class QUILLON_EXPORT TULOInternalInconsistencyException : public std::logic_error
{
public:
    explicit TULOInternalInconsistencyException(const QString &reason)
        : std::logic_error(reason.toStdString()), m_reason(reason) {}
    QString reason() const { return m_reason; }

private:
    QString m_reason;
};
