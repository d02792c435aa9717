// A fault at every point: for a fixed set of changes the n-th request to a chip, or its
// transaction, fails, for each n, with either programmer. The route itself stands on all chips or
// on none, what is published says which, and what is tried again repairs it.
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
  using Scenario = FaultPoints;

  // What a route wants beside its own entry; 0 for none.
  void sideEntries(U32 notify, U32 staticFastdrop, U32 frr, U32 fastdrop, U32 port = 4) {
    Mroute & m = this->route(1);
    m.notifyingVlanIdIs(VlanIdOrNone(notify));
    m.notifyOifSetIs(this->set({port}));
    m.staticFastdropVlanIdIs(VlanIdOrNone(staticFastdrop));
    m.staticFastdropOifSetIs(this->set({port + 1}));
    m.frrVlanIdIs(VlanIdOrNone(frr));
    m.frrOifSetIs(this->set({port + 2}));
    if (fastdrop) m.fastdropIs(VlanId(fastdrop), this->set({port + 3}));
  }

  struct Change {
    char const * what;
    void (*before)(FaultPoints &);
    void (*change)(FaultPoints &);
  };
  static std::vector<Change> changes() {
    using W = FaultPoints &;
    return {
        {"a new route", [](W) {},
         [](W w) {
           w.publish(1, 10, {1, 2});
         }},
        {"a new set",
         [](W w) {
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.publish(1, 10, {1, 3});
         }},
        {"a new input",
         [](W w) {
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.publish(1, 20, {1, 3});
         }},
        {"a route with all kinds of entries", [](W) {},
         [](W w) {
           w.sideEntries(30, 40, 50, 60);
           w.publish(1, 10, {1, 2});
         }},
        {"new entries beside a route",
         [](W w) {
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.sideEntries(30, 40, 50, 60);
           w.publish(1, 10, {1, 2});
         }},
        {"new sets of entries that stay",
         [](W w) {
           w.sideEntries(30, 40, 50, 60);
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.sideEntries(30, 40, 50, 60, 8);
           w.publish(1, 10, {1, 3});
         }},
        {"entries that move",
         [](W w) {
           w.sideEntries(30, 40, 50, 60);
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.sideEntries(31, 41, 51, 61);
           w.publish(1, 10, {1, 3});
         }},
        {"a backup that becomes the route",
         [](W w) {
           w.sideEntries(0, 0, 50, 60);
           w.publish(1, 10, {1, 2});
         },
         [](W w) {
           w.sideEntries(30, 0, 10, 60);
           w.publish(1, 50, {1, 3});
         }},
        {"an input that comes back",
         [](W w) {
           w.publish(1, 10, {1, 2});
           w.publish(1, 0, {1, 2});
         },
         [](W w) {
           w.publish(1, 10, {1, 2});
         }},
    };
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
    change.before(*this);
    this->answer();
    change.change(*this);
    this->answer();
    std::string const text = all();
    wipe();
    return text;
  }
  // False if there is no n-th step.
  bool tryPoint(Change const & change, U32 n, std::string const & wanted) {
    SCOPED_TRACE(std::string(change.what) + ", step " + std::to_string(n));
    change.before(*this);
    this->answer();
    this->failStepIn = n;
    change.change(*this);
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
