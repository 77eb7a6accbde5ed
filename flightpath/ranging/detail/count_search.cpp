#include "flightpath/ranging/detail/count_search.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "flightpath/rules/penalty.h"

namespace flightpath {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// The most that S log(AM / GM) is taken to be.
constexpr double mostLogarithm = 30.0;

double charge(int k, int m) { return penalty(k, m, /*smoothed=*/true); }

/// Q(0), Q(1), ... one after the other, and the first of the smallest.
class Criterion {
 public:
  Criterion(int m, int snapshots, double trace, double logDeterminant)
      : m_(m), snapshots_(snapshots), tailSum_(trace), tailLog_(logDeterminant) {
    evaluate();
  }

  /// Takes the next eigenvalue for a signal.
  void add(double eigenvalue) {
    ++k_;
    tailSum_ -= eigenvalue;
    tailLog_ -= std::log(eigenvalue);
    evaluate();
  }

  double tailSum() const { return tailSum_; }
  double last() const { return last_; }
  double best() const { return best_; }
  int bestCount() const { return bestCount_; }

 private:
  void evaluate() {
    const double left = m_ - k_;
    const double likelihood = snapshots_ * (left * std::log(tailSum_ / left) - tailLog_);
    last_ = charge(k_, m_) + likelihood;
    if (last_ < best_) {
      best_ = last_;
      bestCount_ = k_;
    }
  }

  int m_;
  double snapshots_;
  double tailSum_;
  double tailLog_;
  double last_ = 0.0;
  double best_ = infinity;
  int k_ = 0;
  int bestCount_ = 0;
};

/// Q(0) ... Q(k) after the k leading eigenvalues, less the logarithms that all of them have in
/// common.
Criterion upToLeading(int m, int snapshots, double trace, std::span<const double> leading) {
  Criterion criterion(m, snapshots, trace, 0.0);
  for (const double value : leading) {
    criterion.add(value);
  }
  return criterion;
}

/// The most that n log AM falls by where `more` of n eigenvalues with this sum become signals.
double mostFall(int more, int n, double sum, const EigenvalueBounds& bounds) {
  const double share = std::min(more * bounds.next, std::sqrt(more * bounds.squares)) / sum;
  if (!(share < 1.0) || more >= n) {
    return infinity;
  }
  return -n * (std::log1p(-share) + std::log(static_cast<double>(n) / (n - more)));
}

/// Whether a count above k, the last that was looked at, can still give the smallest Q.
bool mayStillFall(const Criterion& criterion, int k, const EigenvalueBounds& bounds) {
  const int m = bounds.count;
  const int n = m - k;
  const double lead = criterion.last() - criterion.best();
  for (int more = 1; more < n; ++more) {
    const double rise = charge(k + more, m) - charge(k, m) + lead;
    if (rise > mostLogarithm * n) {
      return false;
    }
    if (rise <= bounds.snapshots * mostFall(more, n, criterion.tailSum(), bounds)) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::optional<int> countSignals(const EigenvalueSums& sums, std::span<const double> leading) {
  const int m = sums.count;
  Criterion criterion(m, sums.snapshots, sums.trace, sums.logDeterminant);
  for (int k = 1; k < m; ++k) {
    if (charge(k, m) >= criterion.best()) {
      break;
    }
    if (static_cast<std::size_t>(k) > leading.size()) {
      return {};
    }
    criterion.add(leading[static_cast<std::size_t>(k) - 1]);
  }
  return criterion.bestCount();
}

std::optional<int> countSignals(const EigenvalueBounds& bounds, std::span<const double> leading) {
  const Criterion criterion = upToLeading(bounds.count, bounds.snapshots, bounds.trace, leading);
  if (mayStillFall(criterion, static_cast<int>(leading.size()), bounds)) {
    return {};
  }
  return criterion.bestCount();
}

int countAmongLeading(int m, int snapshots, double trace, std::span<const double> leading) {
  return upToLeading(m, snapshots, trace, leading).bestCount();
}

int countAboveRounding(int m, int snapshots, std::vector<double>& leading) {
  if (leading.empty() || !(leading.front() > 0.0)) {
    return 0;
  }
  const double least = roundingOfSamples * leading.front();
  std::erase_if(leading, [least](double value) { return value <= least; });
  const auto others = static_cast<double>(m) - static_cast<double>(leading.size());
  EigenvalueSums sums = {m, snapshots, others * least, others * std::log(least)};
  for (const double value : leading) {
    sums.trace += value;
    sums.logDeterminant += std::log(value);
  }
  return countSignals(sums, leading).value();  // behind these the criterion only rises
}

}  // namespace flightpath
