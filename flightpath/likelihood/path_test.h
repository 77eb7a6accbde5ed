#pragma once

namespace flightpath {

/// The test whether a path is there: the logarithm of the likelihood ratio of the fits with it and
/// without it against a threshold.
///
///   T = d ln(RSS_0 / RSS_1) > t,    d = M n - (M + 1/2) K
///
/// RSS_1 is the cost with the path, RSS_0 the cost without it, M the number of rows, and d the complex
/// degrees of freedom that the larger fit leaves, K paths of M amplitudes and half a delay each. t is
/// the level that the periodogram of M rows of white noise crosses upwards, over all delays, with the
/// probability `falseAlarm`:
///
///   n sqrt(pi / 3) t^(M - 1/2) exp(-t) / Gamma(M) = falseAlarm
///
/// for n independent delays; n sqrt(pi t / 3) exp(-t) for one row. Where tones lie in far blocks the
/// crossings come in clusters, and the probability is below that.
///
/// Source: R. B. Davies, Hypothesis testing when a nuisance parameter is present only under the
/// alternative, Biometrika 74(1), 1987, for the rate of the crossings; B. Mamandipoor, D. Ramasamy,
/// U. Madhow, Newtonized orthogonal matching pursuit: frequency estimation over the continuum, IEEE
/// Trans. Signal Process. 64(19), 2016, for a stopping rule by false alarms.
///
/// independentDelays  n, at least 1
/// falseAlarm         above 0, below 1
double pathThreshold(double falseAlarm, double independentDelays, int numRows);

/// T. `unexplained` is power that no path is to explain, over all samples: it is part of both costs.
double pathStatistic(double costWithout, double costWith, double degreesLeft, double unexplained);

/// The cost at which a fit without the path has T = t.
double costAtThreshold(double costWith, double degreesLeft, double unexplained, double threshold);

}  // namespace flightpath
