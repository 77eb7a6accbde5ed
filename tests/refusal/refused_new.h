#pragma once

/// Control over the global allocation functions, which this program replaces (`refused_new.cpp`):
/// they keep count of the live blocks and refuse one request, or one and all after it.
namespace refusal {

enum class Refuse { OnlyThat, ThatAndAllLater };

/// Blocks that are allocated now by any form of operator new.
long liveBlocks();

/// While one lives, requests are counted from 1 on and the k-th is refused. For k = 0 none is.
///
/// All threads count together. One at a time.
class RefusingNew {
 public:
  RefusingNew(long k, Refuse refuse);
  ~RefusingNew();
  RefusingNew(const RefusingNew&) = delete;
  RefusingNew& operator=(const RefusingNew&) = delete;

  /// How many requests there were.
  static long requests();

  /// How many of them were refused, and how many by throwing: the nothrow forms return null, which
  /// their callers may live with.
  static long refused();
  static long refusedByThrowing();
};

}  // namespace refusal
