#include <Quillon/core/durationformatter.h>

#include <Quillon/core/quillon.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <cmath>

TULODurationFormatter::TULODurationFormatter(const TULOClientContext &context)
    : m_format(TULOLocalization::defaultLocalization()->localizedStringForKey(
          QStringLiteral("AUDIO_PICKER_VOICE_MEMO_DURATION_FORMAT_%@_%@_%@"),
          QLatin1String(TULOStringsTablePostComposition), context)),
      m_oneDigit(context, 1),
      m_twoDigits(context, 2)
{
}

QString TULODurationFormatter::stringFromDuration(double seconds) const
{
    quint64 s = 0;
    // Past 2^63 the conversion is undefined; no recording is that long anyway.
    if (std::isfinite(seconds) && seconds > 0)
        s = seconds >= 9.2e18 ? quint64(9.2e18) : quint64(std::ceil(seconds));
    const auto hours = qint64(s / 3600 - (s / 86400) * 24);
    const auto minutes = qint64((s / 60) % 60);
    const auto secs = qint64(s % 60);
    return TULOStringWithFormat(m_format, {m_oneDigit.stringFromNumber(hours), m_twoDigits.stringFromNumber(minutes),
                                           m_twoDigits.stringFromNumber(secs)});
}
