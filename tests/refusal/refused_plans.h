#pragma once

/// The FFT plans that exist, and planners that refuse the k-th real one, or the k-th in double precision.
///
/// Plans live in the FFT library's own memory, which the counted operator new does not see.
namespace refusal {

/// Plans of all kinds that were made and not destroyed.
int livePlans();

/// While one lives, the k-th request for a real plan from now on gets a null plan.
class RefusingRealPlanner {
 public:
  explicit RefusingRealPlanner(int k);
  ~RefusingRealPlanner();
  RefusingRealPlanner(const RefusingRealPlanner&) = delete;
  RefusingRealPlanner& operator=(const RefusingRealPlanner&) = delete;

  /// Whether there was a k-th request.
  static bool refused();
};

/// The same for plans in double precision.
class RefusingDoublePlanner {
 public:
  explicit RefusingDoublePlanner(int k);
  ~RefusingDoublePlanner();
  RefusingDoublePlanner(const RefusingDoublePlanner&) = delete;
  RefusingDoublePlanner& operator=(const RefusingDoublePlanner&) = delete;

  static bool refused();
};

}  // namespace refusal
