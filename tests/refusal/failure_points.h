#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/refusal/scenario.h"

namespace refusal {

enum class Outcome { Succeeded, BadAlloc, LengthError, InvalidArgument, LogicError, Other };

/// A row of the tables: a call, how it ends where every allocation is granted, and what its
/// documentation promises beyond that.
///
/// keepsResults  after a refusal the objects are as before the call
struct Case {
  const char* name;
  MakeScenario make;
  Outcome granted = Outcome::Succeeded;
  bool keepsResults = false;
};

std::ostream& operator<<(std::ostream& out, const Case& row);

/// Ends the call and says how.
Outcome outcomeOf(Scenario& scenario);

/// How many failure points were visited, for the line at the end of the program.
void countVisited(const char* kind, long points);

/// Refuses allocation 1, 2, ... of the call, each alone and each with all that follow, on fresh
/// objects every time, until the call runs to its end without a refusal. Every time:
///
///   std::bad_alloc reaches the caller, or the error that the call ends with anyway
///   inputs keep their bits
///   the same call on the same objects then gives the bits of an undisturbed one
///   no block and no FFT plan is left when the objects are gone
///
/// returns the number of allocations that were refused in turn
long visitAllFailurePoints(const Case& row);

/// The tables: calls that allocate, and calls that must not.
class Allocating : public testing::TestWithParam<Case> {};
class NotAllocating : public testing::TestWithParam<Case> {};

/// A row's name as an identifier.
std::string identifier(std::string name);
std::string testName(const testing::TestParamInfo<Case>& info);

}  // namespace refusal
