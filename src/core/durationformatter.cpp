#include <Quillon/core/durationformatter.h>

#include <Quillon/core/quillon.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <cmath>

TULODurationFormatter::TULODurationFormatter(const TULOClientContext &context)
    : m_format(TULOLocalization::defaultLocalization()->localizedStringForKey(
          QStringLiteral("AUDIO_PICKER_VOICE_MEMO_DURATION_FORMAT_%@_%@_%@"),
          QLatin1String(TULOStringsTablePostComposition), context))
{
    // Digits follow the same locale as the texts.
    const QString localeName = context.locale().trimmed();
    if (!localeName.isEmpty())
        m_locale = QLocale(localeName);
    m_locale.setNumberOptions(QLocale::OmitGroupSeparator);
}

QString TULODurationFormatter::number(quint64 value, int minimumDigits) const
{
    QString digits = m_locale.toString(value);
    const QString zero = m_locale.zeroDigit();
    while (digits.size() < minimumDigits * zero.size())
        digits.prepend(zero);
    return digits;
}

QString TULODurationFormatter::stringFromDuration(double seconds) const
{
    quint64 s = 0;
    // Past 2^63 the conversion is undefined; no recording is that long anyway.
    if (std::isfinite(seconds) && seconds > 0)
        s = seconds >= 9.2e18 ? quint64(9.2e18) : quint64(std::ceil(seconds));
    const quint64 hours = s / 3600 - (s / 86400) * 24;
    const quint64 minutes = (s / 60) % 60;
    const quint64 secs = s % 60;
    return TULOStringWithFormat(m_format, {number(hours, 1), number(minutes, 2), number(secs, 2)});
}
