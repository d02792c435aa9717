// The review loop: its slices, its bookmarks, its queue and its ring walk.
#include <limits>

#include "mira/Mira.h"
#include "tests/Switch.h"

namespace Tests {

using namespace Brindle;

class Review : public Switch {
 protected:
  void SetUp() override {
    vlan(10, "Ethernet1");
    vlan(20, "Ethernet2");
    vlan(30, "Ethernet3");
    chips(1, 100000, 1000000);
    start();
  }
  void publishMany(U32 count, char const * outs = "Vlan20") {
    for (U32 i = 0; i < count; ++i) publish(source(i), "239.1.1.1", "Vlan10", outs);
  }
  static std::string source(U32 i) {
    return "10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
  }
  U64 recomputations() { return routes().recomputations(); }
};

TEST_F(Review, ASliceEndsAfterItsQuantumAndTheNextGoesOn) {
  publishMany(1000);
  settle();
  U64 before = recomputations();
  publishMany(1000, "Vlan30");
  clock->readCostIs(0.001);  // 50 reads a slice, one for each ten routes
  clock->nowIs(clock->shown());
  U64 first = recomputations() - before;
  EXPECT_GE(first, 450u);
  EXPECT_LE(first, 520u);
  EXPECT_TRUE(mira().reviewInProgress());
  EXPECT_TRUE(mira().reviewPending());
  EXPECT_EQ(reviewInfo->review(L3::VrfName("default")), mira().review());
  clock->readCostIs(0);
  settle();
  EXPECT_EQ(recomputations() - before, 1000u) << "each route once";
  EXPECT_FALSE(mira().reviewInProgress());
  EXPECT_EQ(reviewInfo->review(L3::VrfName("default")), 0u);
  EXPECT_EQ(chip().simRoute().size(), 1000u);
}

TEST_F(Review, ARouteThatCannotBeComputedIsNotLookedForAllTheTime) {
  publishMany(5000);
  publish("10.9.9.9", "239.1.1.1", "Vlan99", "Vlan20");  // no IP on its input
  settle();
  EXPECT_EQ(routes().heldMroutes(), 1u);
  clock->readCostIs(0.001);  // a walk reads the clock once in 100 routes
  double const before = clock->shown();
  publish("10.9.9.8", "239.1.1.1", "Vlan10", "Vlan20");
  clock->nowIs(clock->shown());
  EXPECT_LT(clock->shown() - before, 0.02);
  clock->readCostIs(0);
  vlan(99, "Ethernet9");
  settle();
  EXPECT_EQ(outputs("10.9.9.9", "239.1.1.1"), "Ethernet2@20");
  EXPECT_EQ(routes().heldMroutes(), 0u);
}

TEST_F(Review, AChangeBetweenSlicesMovesTheEndOfThePass) {
  publishMany(2000);
  settle();
  mira().doMarkVlanDirty(Bridging::VlanIdOrNone(20));
  clock->readCostIs(0.001);
  clock->nowIs(clock->shown());
  ASSERT_TRUE(mira().reviewInProgress());
  EXPECT_NE(mira().currentBookmark(), Key());
  U32 review = mira().review();
  clock->readCostIs(0);
  U64 before = recomputations();
  mira().doMarkVlanDirty(Bridging::VlanIdOrNone(20));
  settle();
  EXPECT_EQ(recomputations() - before, 2000u) << "the whole table once more";
  EXPECT_GT(mira().review(), review);
}

TEST_F(Review, AnOverflowingQueueLosesNeitherChangesNorDeletions) {
  constexpr U32 routeCount = Mira::dirtyMrouteLimit + 50;
  auto reviewNow = [this] {
    EXPECT_EQ(mira().dirtyMrouteMetadata().size(), Mira::dirtyMrouteLimit);
    mira().reviewDisabledIs(false);
    mira().doKickReview();
    settle();
  };
  settle();
  mira().reviewDisabledIs(true);
  publishMany(routeCount);
  reviewNow();
  EXPECT_EQ(chip().simRoute().size(), routeCount);
  mira().reviewDisabledIs(true);
  for (U32 i = 0; i < routeCount; ++i) withdraw(source(i), "239.1.1.1");
  reviewNow();
  EXPECT_EQ(routes().mroute().size(), 0u);
  EXPECT_EQ(entries(), "");
}

TEST_F(Review, OnlyAWalkThatHasSeenTheLastRouteMakesTheTableInitialized) {
  publishMany(200);
  settle();
  mira().doMarkVlanDirty(Bridging::VlanIdOrNone(20));
  clock->readCostIs(0.001);
  mira().loopQuantumIs(0);
  clock->nowIs(clock->shown());
  routes().mroutesInitializedIs(false);
  std::vector<Key> rest;
  for (auto i = routes().mroute().startAt(mira().currentBookmark()); i; i.advance()) {
    rest.push_back(i.key());
  }
  ASSERT_EQ(rest.size(), 190u);
  for (Key const & k : rest) table("pim.default").routeDel(k);
  while (routes().mroute().size() > 10) clock->nowIs(clock->shown());
  EXPECT_FALSE(routes().mroutesInitialized()) << "the queue has taken the walk to the first route";
  clock->readCostIs(0);
  settle();
  EXPECT_TRUE(routes().mroutesInitialized());
}

TEST_F(Review, GenerationsSkipZero) {
  publishMany(5);
  settle();
  mira().reviewIs(std::numeric_limits<U32>::max());
  reviewAll();
  EXPECT_GE(mira().review(), 1u);
  EXPECT_LE(mira().review(), 3u);
  auto m = mroute(source(0), "239.1.1.1");
  m->versionIs(std::numeric_limits<U32>::max());
  reviewAll();
  EXPECT_EQ(m->version(), 1u);
}

TEST_F(Review, ABatchEndsWithEachPass) {
  status->batchEnabledIs(true);
  publishMany(10);
  U32 before = routes().mrouteBatchVersion();
  settle();
  EXPECT_EQ(routes().mrouteBatchVersion(), before + 1);
}

TEST_F(Review, AVrfDrainsOverSeveralSlicesAndMayComeBack) {
  configure("blue");
  vlan(50, "Ethernet5", "blue");
  vlan(60, "Ethernet6", "blue");
  for (U32 i = 0; i < 3000; ++i) {
    publish(record(source(i), "239.1.1.1", "Vlan50", "Vlan60", "pim.blue"), "pim.blue");
  }
  settle();
  EXPECT_EQ(chip().simRoute().size(), 3000u);
  clock->readCostIs(0.001);
  vrfs->vrfDel(L3::VrfName("blue"));
  EXPECT_EQ(chip().simRoute().size(), 3000u) << "nothing is deleted inside the notification";
  clock->nowIs(clock->shown());
  U32 left = chip().simRoute().size();
  EXPECT_GT(left, 0u);
  EXPECT_LT(left, 3000u);
  vrfs->vrfIs(L3::VrfName("blue"));
  clock->readCostIs(0);
  settle();
  EXPECT_EQ(chip().simRoute().size(), 3000u) << "the tables still hold them";
  EXPECT_EQ(routes("blue").vlanFilterCounter(60 & 31), 3000u);
  vrfs->vrfDel(L3::VrfName("blue"));
  settle();
  EXPECT_EQ(agent->mira()->mira(L3::VrfName("blue")), nullptr);
  EXPECT_EQ(tables->vrfMrouteTable(L3::VrfName("blue")), nullptr);
  EXPECT_EQ(reviewInfo->review(L3::VrfName("blue")), 0u);
}

}  // namespace Tests
