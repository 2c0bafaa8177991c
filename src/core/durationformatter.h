#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/numberformatter.h>

#include <QString>

class TULOClientContext;

// Durations as hours, minutes and seconds in the localised format
// "AUDIO_PICKER_VOICE_MEMO_DURATION_FORMAT_%@_%@_%@" of "PostComposition". Whole days are
// dropped: 90061 s (a day, an hour, a minute, a second) reads 1:01:01.
class QUILLON_EXPORT TULODurationFormatter
{
public:
    explicit TULODurationFormatter(const TULOClientContext &context);

    // Rounds up to whole seconds. Negative, not-a-number and infinite durations read as zero.
    QString stringFromDuration(double seconds) const;

private:
    QString m_format;
    TULONumberFormatter m_oneDigit;
    TULONumberFormatter m_twoDigits;
};
