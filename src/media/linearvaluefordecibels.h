#pragma once

#include <Quillon/quillon_export.h>

// Decibels to linear amplitude: 10^(dB × 0.05). 0 dB is 1.0, -20 dB is 0.1.
QUILLON_EXPORT double TULOLinearValueForDecibels(double decibels);
