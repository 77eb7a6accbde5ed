#pragma once

#include <vector>

/// Every engine's distances of two paths, for several numbers of subcarriers: plans FFTs, solves
/// and searches from scratch on each call.
///
/// rangerThreads  threads of the structured engine
/// returns two distances a measurement and engine, all in metres
std::vector<double> estimatedDistances(unsigned rangerThreads);

/// Whether each pair is the two true distances.
bool areRight(const std::vector<double>& distances);
