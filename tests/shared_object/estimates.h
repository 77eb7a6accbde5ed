#pragma once

#include <vector>

/// Every engine's distances of two paths, for several numbers of subcarriers: plans FFTs, solves
/// and searches from scratch on each call.
///
/// rangerThreads  threads of a Ranger, of which there is one per method
/// returns two distances per measurement and engine, all in metres
std::vector<double> estimatedDistances(unsigned rangerThreads);

/// Whether each pair is the two true distances.
bool areRight(const std::vector<double>& distances);
