#include <Quillon/core/numberformatter.h>

#include <Quillon/platform/clientcontext.h>

TULONumberFormatter::TULONumberFormatter(int minimumIntegerDigits)
    : m_minimumIntegerDigits(minimumIntegerDigits)
{
    m_locale.setNumberOptions(QLocale::OmitGroupSeparator);
}

TULONumberFormatter::TULONumberFormatter(const TULOClientContext &context, int minimumIntegerDigits)
    : m_minimumIntegerDigits(minimumIntegerDigits)
{
    // Digits follow the same locale as the texts.
    const QString localeName = context.isNull() ? QString() : context.locale().trimmed();
    if (!localeName.isEmpty())
        m_locale = QLocale(localeName);
    m_locale.setNumberOptions(QLocale::OmitGroupSeparator);
}

QString TULONumberFormatter::stringFromNumber(qint64 value) const
{
    QString digits = m_locale.toString(value < 0 ? -value : value);
    const QString zero = m_locale.zeroDigit();
    while (digits.size() < m_minimumIntegerDigits * zero.size())
        digits.prepend(zero);
    return value < 0 ? m_locale.negativeSign() + digits : digits;
}
