#pragma once

// Decibels to linear amplitude: 10^(dB × 0.05). 0 dB is 1.0, -20 dB is 0.1.
double TULOLinearValueForDecibels(double decibels);
