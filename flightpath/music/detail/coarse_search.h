#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

class MUSICLib;

namespace flightpath {

/// 20 log10 of every value, in place.
void toDecibels(coder::array<float, 1>& spectrum);

/// What a coarse peak has to pass: mean plus one standard deviation (n - 1 in its denominator) of
/// the spectrum. NaN for an empty spectrum or one with a non-finite value.
float spectrumThreshold(const coder::array<float, 1>& spectrum);

/// Normalised frequencies of the coarse peaks, ascending: at most numSignals, the leftmost ones
/// above the threshold in the FFT pseudo-spectrum of the signal subspace.
///
/// signalSubspace  conjugated on the way
/// work            overwritten with the coarse spectrum
void coarseFrequencies(MUSICLib* obj, coder::array<creal32_T, 2>& signalSubspace, float numSignals,
                       float coarseResolution, coder::array<float, 1>& work,
                       coder::array<float, 1>& frequencies);

}  // namespace flightpath
