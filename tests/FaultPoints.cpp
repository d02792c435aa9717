// A fault at every point: for a fixed set of changes the n-th request to a chip, or its
// transaction, fails, for each n, with either programmer. The route itself stands on all chips or
// on none, what is published says which, and what is tried again repairs it.
#include <array>

#include "tests/AsyncFixture.h"
#include "tests/ProgrammerFixture.h"

namespace {

struct AsyncRefused : AsyncFixture {};
struct AsyncRefusedLateAnswers : AsyncFixture {
  AsyncRefusedLateAnswers() { answersAtOnce = true; }
};
struct AsyncFailsLater : AsyncFixture {
  AsyncFailsLater() { failsLater = true; }
};
struct AsyncFailsInTheCall : AsyncFixture {
  AsyncFailsInTheCall() { failsLater = answersAtOnce = true; }
};

template <class World> struct FaultPoints : World {
  using Mroute = Brindle::Mroute;
  using VlanId = Bridging::VlanId;
  using VlanIdOrNone = Bridging::VlanIdOrNone;

  // A route that sends to port 1 and another one, with the VLANs of its notify, persistent
  // fastdrop, fast-reroute and fastdrop entries; 0 for none.
  struct State {
    U32 input;
    U32 port = 2;
    std::array<U32, 4> side{};
    U32 sidePort = 4;
  };
  void become(State const & s) {
    Mroute & m = this->route(1);
    this->with(World::notify, 1, s.side[0], {s.sidePort});
    this->with(World::persistent, 1, s.side[1], {s.sidePort + 1});
    this->with(World::frr, 1, s.side[2], {s.sidePort + 2});
    if (s.side[3]) m.fastdropIs(VlanId(s.side[3]), this->set({s.sidePort + 3}));
    this->publish(1, s.input, {1, s.port});
  }

  struct Change {
    char const * what;
    std::vector<State> before;
    State change;
  };
  static std::vector<Change> changes() {
    return {
        {"a new route", {}, {10}},
        {"a new set", {{10}}, {10, 3}},
        {"a new input", {{10}}, {20, 3}},
        {"a route with all kinds of entries", {}, {10, 2, {30, 40, 50, 60}}},
        {"new entries beside a route", {{10}}, {10, 2, {30, 40, 50, 60}}},
        {"new sets of entries that stay",
         {{10, 2, {30, 40, 50, 60}}},
         {10, 3, {30, 40, 50, 60}, 8}},
        {"entries that move", {{10, 2, {30, 40, 50, 60}}}, {10, 3, {31, 41, 51, 61}}},
        {"a backup that becomes the route", {{10, 2, {0, 0, 50, 60}}}, {50, 3, {30, 0, 10, 60}}},
        {"an input that comes back", {{10}, {0}}, {10}},
    };
  }
  void prepare(Change const & change) {
    for (State const & state : change.before) become(state);
    this->answer();
  }

  static constexpr char const * names[] = {"A", "B", "C"};
  std::string all() {
    std::string text;
    for (char const * name : names) text += this->entries(name) + ";";
    return text;
  }
  // On how many chips the route itself stands.
  U32 standing() {
    std::string const own = "1@" + std::to_string(this->route(1).acceptingVlanId().value()) + ":";
    U32 chips = 0;
    for (char const * name : names) chips += (" " + this->entries(name)).find(" " + own) + 1 != 0;
    return chips;
  }
  void wipe() {
    this->failStepIn = 0;
    this->table->mrouteDelAll();
    this->recover();
    this->answer();
  }
  // What the chips hold if nothing fails.
  std::string reference(Change const & change) {
    prepare(change);
    become(change.change);
    this->answer();
    std::string const text = all();
    wipe();
    return text;
  }
  // False if there is no n-th step.
  bool tryPoint(Change const & change, U32 n, std::string const & wanted) {
    SCOPED_TRACE(std::string(change.what) + ", step " + std::to_string(n));
    prepare(change);
    this->failStepIn = n;
    become(change.change);
    this->answer();
    bool const happened = this->failStepIn == 0;
    this->failStepIn = 0;
    U32 const chips = standing();
    EXPECT_TRUE(chips == 0 || chips == std::size(names)) << all();
    EXPECT_EQ(this->status(1)->hwFlags() == 0, chips != 0);
    this->recover();
    this->answer();
    EXPECT_EQ(standing(), std::size(names)) << all();
    EXPECT_EQ(this->status(1)->hwFlags(), 0u);
    EXPECT_EQ(this->failed(), "");
    // Fastdrops, and what failed beside a route that was not complete yet, come with the next one.
    this->publish(this->route(1));
    this->answer();
    EXPECT_EQ(all(), wanted);
    wipe();
    EXPECT_EQ(all(), ";;;");
    return happened;
  }
};
using Worlds = testing::Types<ProgrammerFixture, AsyncRefused, AsyncRefusedLateAnswers,
                              AsyncFailsLater, AsyncFailsInTheCall>;
TYPED_TEST_SUITE(FaultPoints, Worlds);

using FaultPointsDeathTest = ProgrammerFixture;

}  // namespace

TYPED_TEST(FaultPoints, AllOrNothingAndTheRetryRepairsIt) {
  this->chips({"A", "B", "C"});
  U32 points = 0;
  for (auto const & change : this->changes()) {
    std::string const wanted = this->reference(change);
    U32 n = 1;
    while (this->tryPoint(change, n, wanted)) ++n;
    points += n - 1;
    EXPECT_GT(n, 3u) << change.what;
  }
  this->RecordProperty("points", static_cast<int>(points));
}

// A chip that came later has no entry of the route: where it refuses one the route would have to
// leave the other chips while their entries are being replaced.
TEST_F(FaultPointsDeathTest, AChipThatCameLaterRefusesAnEntry) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  chip("A");
  publish(1, 10, {1});
  chip("B");
  failStepIn = 3;
  EXPECT_DEATH(publish(1, 10, {2}), "!routeSaver->routeHandles\\(\\)");
  failStepIn = 0;
}
