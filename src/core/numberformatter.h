#pragma once

#include <Quillon/quillon_export.h>

#include <QLocale>
#include <QString>

class TULOClientContext;

// Whole numbers in decimal style with a minimum count of integer digits, in the locale of
// the client context's texts (the user's locale without one). No group separators: a count
// of seconds reads "1200", not "1,200".
class QUILLON_EXPORT TULONumberFormatter
{
public:
    explicit TULONumberFormatter(int minimumIntegerDigits = 1);
    TULONumberFormatter(const TULOClientContext &context, int minimumIntegerDigits);

    int minimumIntegerDigits() const { return m_minimumIntegerDigits; }
    QLocale locale() const { return m_locale; }

    QString stringFromNumber(qint64 value) const;

private:
    QLocale m_locale;
    int m_minimumIntegerDigits = 1;
};
