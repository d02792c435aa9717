// The entries beside a route's own on chips that answer later.
#include "tests/AsyncFixture.h"

namespace {

struct AsyncSideEntries : AsyncFixture {
  // The first entry of each chip is confirmed ahead of those beside it: a failure of one of these
  // is forgotten when the route itself completes.
  void confirmRoute() {
    for (auto & [name, chip] : allChips) {
      chip->doSetAllOifSetXacts(Keel::XactResult::success);
      chip->doSetIngressXactResult(1, Keel::XactResult::success);
    }
  }
};

}  // namespace

TEST_F(AsyncSideEntries, EachHasAChainOfItsOwnAndIsPublishedWhenAllHaveConfirmed) {
  chips({"A", "B"});
  with(notify, 1, 20, {1});
  with(persistent, 1, 30, {2});
  with(frr, 1, 40, {3});
  route(1).fastdropIs(VlanId(50), set({4}));
  publish(1, 10, {5, 6});
  EXPECT_FALSE(status(1)->notifyingIntfId());
  chip("A").answer();
  EXPECT_FALSE(status(1)->notifyingIntfId());
  EXPECT_TRUE(zet(1).inProgress());
  answer();
  EXPECT_EQ(entries("A"), "1@10:2 1@20:1 1@30:1 1@40:1 1@50:1");
  EXPECT_EQ(entries("B"), entries("A"));
  EXPECT_EQ(status(1)->notifyingIntfId(), IntfId("Vlan20"));
  EXPECT_EQ(status(1)->staticFastdropIntfId(), IntfId("Vlan30"));
  EXPECT_EQ(status(1)->frrIntfId(), IntfId("Vlan40"));
  EXPECT_EQ(status(1)->fastdropLastPollTime().size(), 1u);

  // New sets, the same entries.
  with(notify, 1, 20, {1, 2});
  route(1).fastdropIs(VlanId(50), set({4, 7}));
  publish(1, 10, {5, 6});
  answer();
  EXPECT_EQ(entries("A"), "1@10:2 1@20:2 1@30:1 1@40:1 1@50:2");

  // One by one they go, or move.
  with(notify, 1, 0, {});
  with(persistent, 1, 31, {2});
  with(frr, 1, 0, {});
  route(1).fastdropDel(VlanId(50));
  publish(1, 10, {5, 6});
  EXPECT_FALSE(status(1)->staticFastdropIntfId());
  answer();
  EXPECT_EQ(entries("A"), "1@10:2 1@31:1");
  EXPECT_FALSE(status(1)->notifyingIntfId());
  EXPECT_EQ(status(1)->staticFastdropIntfId(), IntfId("Vlan31"));
  EXPECT_TRUE(status(1)->fastdropLastPollTime().empty());
}

TEST_F(AsyncSideEntries, AFailureTakesTheKindOffAllChipsAndLeavesTheRoute) {
  chips({"A", "B"});
  publish(1, 10, {5, 6});
  answer();
  with(notify, 1, 20, {1});
  with(persistent, 1, 30, {2});
  chip("B").failIn = 7;  // of set, pointing; set, entry, pointing, set, pointing; ...
  chip("B").failsLater = true;
  publish(1, 10, {5, 6});
  confirmRoute();
  answer();
  EXPECT_EQ(entries("A"), "1@10:2 1@30:1");
  EXPECT_EQ(entries("B"), entries("A"));
  EXPECT_EQ(failed(), "1:route entries 0x100");
  EXPECT_FALSE(status(1)->notifyingIntfId());
  EXPECT_EQ(status(1)->staticFastdropIntfId(), IntfId("Vlan30"));
  recover(2);
  EXPECT_EQ(failed(), "");
  EXPECT_EQ(entries("B"), "1@10:2 1@20:1 1@30:1");
}

TEST_F(AsyncSideEntries, FailedFastdropsAllGoAndAreNoFailureOfTheRoute) {
  chip("A");
  publish(1, 10, {5, 6});
  answer();
  route(1).fastdropIs(VlanId(50), set({4}));
  route(1).fastdropIs(VlanId(60), set({4}));
  chip("A").failIn = 8;  // the last pointing
  chip("A").failsLater = true;
  publish(1, 10, {5, 6});
  answer();
  EXPECT_EQ(entries("A"), "1@10:2");
  EXPECT_EQ(failed(), "");
  EXPECT_TRUE(status(1)->fastdropLastPollTime().empty());
  publish(1, 10, {5, 6});
  answer();
  EXPECT_EQ(entries("A"), "1@10:2 1@50:1 1@60:1");
}

TEST_F(AsyncSideEntries, AFastdropOnAnInputIsSkippedAndStaysWanted) {
  chip("A");
  route(1).fastdropIs(VlanId(20), set({4}));
  publish(1, 10, {5});
  answer();
  EXPECT_EQ(entries("A"), "1@10:1 1@20:1");
  with(notify, 1, 20, {1, 2});
  publish(1, 10, {5});
  answer();
  EXPECT_EQ(entries("A"), "1@10:1 1@20:2");
  EXPECT_TRUE(route(1).fastdrop().contains(VlanId(20)));
}

TEST_F(AsyncSideEntries, ABackupBecomesTheRouteWithoutANewEntry) {
  chips({"A", "B"});
  with(frr, 1, 40, {3});
  publish(1, 10, {5, 6});
  answer();
  takeCalls();
  with(frr, 1, 0, {});
  publish(1, 40, {5, 6});
  EXPECT_EQ(takeCalls(), "A set, A point 2, B set, B point 2");
  EXPECT_FALSE(status(1)->frrIntfId());
  answer();
  EXPECT_EQ(takeCalls(), "A delete 1, B delete 1");
  EXPECT_EQ(entries("A"), "1@40:2");
}

// What a change asks for while transactions are out is not lost by the failure of a side entry.
TEST_F(AsyncSideEntries, AChangeThatWaitsOutlivesAFailureBesideIt) {
  chip("A");
  publish(1, 10, {5});
  answer();
  with(notify, 1, 20, {1});
  publish(1, 10, {5, 6});
  publish(1, 10, {5, 6, 7});
  chip("A").doSetIngressXactResult(2, Keel::XactResult::failure);  // the notify entry
  EXPECT_EQ(failed(), "1:route entries 0x100, inProgress");
  answer();
  recover(2);
  EXPECT_EQ(failed(), "");
  EXPECT_EQ(entries("A"), "1@10:3 1@20:1");
}
