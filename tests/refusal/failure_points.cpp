#include "tests/refusal/failure_points.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <map>
#include <new>
#include <stdexcept>

#include "tests/refusal/refused_new.h"
#include "tests/refusal/refused_plans.h"

namespace refusal {
namespace {

/// What must come back to what it was.
struct Holdings {
  long blocks = liveBlocks();
  int plans = livePlans();
};

void expectNothingLeft(const Holdings& before) {
  const Holdings now;
  EXPECT_EQ(now.blocks, before.blocks) << "blocks of operator new";
  EXPECT_EQ(now.plans, before.plans) << "FFT plans";
}

/// What an undisturbed call on fresh objects gives.
struct Reference {
  std::string results;
  long allocations = 0;
};

Reference undisturbed(const Case& row) {
  Reference reference;
  const auto scenario = row.make();
  {
    const RefusingNew none(0, Refuse::OnlyThat);
    EXPECT_EQ(outcomeOf(*scenario), row.granted);
    reference.allocations = RefusingNew::requests();
  }
  reference.results = scenario->results();
  return reference;
}

/// A refusal that the call could see must end it with std::bad_alloc. One that arrives while the text
/// of another error is put together may give way to that error.
bool isAllowed(Outcome outcome, const Case& row) {
  if (RefusingNew::refusedByThrowing() == 0) {
    return outcome == row.granted;
  }
  return outcome == Outcome::BadAlloc ||
         (row.granted != Outcome::Succeeded && outcome == row.granted);
}

/// One failure point. False: the call came to its end before allocation k.
bool visit(const Case& row, long k, Refuse refuse, const Reference& reference) {
  const auto scenario = row.make();
  const std::string inputs = scenario->inputs();
  const std::string resultsBefore = row.keepsResults ? scenario->results() : "";
  Outcome outcome = Outcome::Other;
  {
    const RefusingNew refusing(k, refuse);
    outcome = outcomeOf(*scenario);
  }
  EXPECT_TRUE(isAllowed(outcome, row)) << "ended with outcome " << static_cast<int>(outcome);
  EXPECT_EQ(scenario->inputs(), inputs) << "an input changed";
  if (row.keepsResults && outcome != Outcome::Succeeded) {
    EXPECT_EQ(scenario->results(), resultsBefore) << "a result changed although the call failed";
  }
  if (outcome != Outcome::Succeeded) {
    EXPECT_EQ(outcomeOf(*scenario), row.granted) << "the call after the refusal";
    EXPECT_EQ(scenario->inputs(), inputs) << "an input changed in the call after the refusal";
  }
  if (row.granted == Outcome::Succeeded) {
    EXPECT_TRUE(scenario->results() == reference.results) << "other bits than undisturbed";
  }
  return RefusingNew::refused() > 0;
}

bool visitWithoutLoss(const Case& row, long k, Refuse refuse, const Reference& reference) {
  SCOPED_TRACE(testing::Message() << "allocation " << k
                                  << (refuse == Refuse::OnlyThat ? "" : " and all later")
                                  << " refused");
  const Holdings before;
  const bool refused = visit(row, k, refuse, reference);
  if (!testing::Test::HasFailure()) {  // whose own record takes blocks
    expectNothingLeft(before);
  }
  return refused;
}

struct Tally {
  long cases = 0;
  long points = 0;
};

std::map<std::string, Tally>& tallies() {
  static std::map<std::string, Tally> all;
  return all;
}

class Summary : public testing::Environment {
 public:
  void TearDown() override {
    for (const auto& [kind, tally] : tallies()) {
      std::cout << "Failure points visited, " << kind << ": " << tally.points << " in "
                << tally.cases << " cases\n";
    }
  }
};

[[maybe_unused]] testing::Environment* const summary =
    testing::AddGlobalTestEnvironment(new Summary);

}  // namespace

std::ostream& operator<<(std::ostream& out, const Case& row) { return out << row.name; }

Outcome outcomeOf(Scenario& scenario) {
  try {
    scenario.call();
    return Outcome::Succeeded;
  } catch (const std::bad_alloc&) {
    return Outcome::BadAlloc;
  } catch (const std::length_error&) {
    return Outcome::LengthError;
  } catch (const std::invalid_argument&) {
    return Outcome::InvalidArgument;
  } catch (const std::logic_error&) {
    return Outcome::LogicError;
  } catch (...) {
    return Outcome::Other;
  }
}

void countVisited(const char* kind, long points) {
  Tally& tally = tallies()[kind];
  ++tally.cases;
  tally.points += points;
  testing::Test::RecordProperty("failure_points", std::to_string(points));
}

long visitAllFailurePoints(const Case& row) {
  undisturbed(row);  // what is made once a process is made here, and counts as nobody's
  const Reference reference = undisturbed(row);
  long visited = 0;
  for (const Refuse refuse : {Refuse::OnlyThat, Refuse::ThatAndAllLater}) {
    long k = 1;
    while (visitWithoutLoss(row, k, refuse, reference)) {
      ++k;
      if (testing::Test::HasFailure()) {
        return k - 1;  // the points behind would say the same again
      }
    }
    visited = k - 1;
    EXPECT_EQ(visited, reference.allocations) << "as many failure points as allocations";
  }
  return visited;
}

TEST_P(Allocating, EveryRefusalReachesTheCallerAndNothingIsLostOrChanged) {
  const long points = visitAllFailurePoints(GetParam());
  EXPECT_GT(points, 0) << "a case that allocates nothing shows nothing";
  countVisited("operator new", points);
}

TEST_P(NotAllocating, HasNoFailurePoint) { EXPECT_EQ(visitAllFailurePoints(GetParam()), 0); }

std::string identifier(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

std::string testName(const testing::TestParamInfo<Case>& info) {
  return identifier(info.param.name);
}

}  // namespace refusal
