// What holds the programming of routes: VRFs, tables and chips that come and go, the list of failed
// routes with its retries, the messages to the operator, and the status left by an earlier life.
#include "tests/ProgrammerFixture.h"

namespace {

using ProgrammerFrame = ProgrammerFixture;

}  // namespace

TEST_F(ProgrammerFrame, AMachineLivesAsLongAsTheTableOfItsVrf) {
  chip("A");
  auto red = coll->vrfMrouteTableIs("red");
  Mroute & m = publish(*red->mrouteIs(key(1)), 10, {1});
  EXPECT_EQ(entries("A"), "1@10:1");
  EXPECT_TRUE(mfib->vrfStatus("red")->route(key(1)));

  coll->vrfMrouteTableDel("red");
  EXPECT_EQ(programmer->rootSm()->mrouteSm("red"), nullptr);
  EXPECT_EQ(mfib->vrfStatus("red"), nullptr);
  EXPECT_EQ(entries("A"), "1@10:1") << "chips stay as they stand";
  publish(m);
  leavesEntries = true;
}

// Somebody else may make the table anew before the programmer has heard of its end.
TEST_F(ProgrammerFrame, AMachineDoesNotOutliveATableThatWasMadeAnew) {
  struct Maker final : Zet::Reactor<Brindle::MrouteTableColl, Zet::Sm> {
    using Reactor::Reactor;
    void onVrfMrouteTable(L3::VrfName const & vrf) override {
      if (!target()->vrfMrouteTable(vrf)) target()->vrfMrouteTableIs(vrf);
    }
  };
  struct Owner final : Zet::Sm {};
  programmer->rootSmDel();
  Owner owner;
  Zet::ReactorPtr<Maker> maker(&owner);
  maker.attach(coll);
  start();
  chip("A");
  publish(*coll->vrfMrouteTableIs("red")->mrouteIs(key(1)), 10, {1});
  coll->vrfMrouteTableDel("red");
  EXPECT_EQ(sm("red").mrouteTable().get(), coll->vrfMrouteTable("red"));
  EXPECT_TRUE(sm("red").zetMroute().empty());
  publish(*coll->vrfMrouteTable("red")->mrouteIs(key(2)), 10, {1});
  EXPECT_EQ(sm("red").zetMroute().size(), 1u);
  maker.attach(nullptr);
  leavesEntries = true;
}

TEST_F(ProgrammerFrame, OnlyTheDefaultVrfProgramsL2Routes) {
  chip("A");
  coll->vrfMrouteTableIs("red");
  auto const l2Key = Routing::Multicast::Fib::makeRouteKeyMulticastFloodset(VlanId(30));
  publish(*l2Table->mrouteIs(l2Key), 30, {1});
  EXPECT_EQ(entries("A"), "L30@30:1");
  EXPECT_TRUE(sm("red").zetMroute().empty());
  publish(1, 10, {1});
  EXPECT_EQ(sm().zetMroute().size(), 2u);
  l2Table->mrouteDelAll();
  EXPECT_EQ(entries("A"), "1@10:1");
}

TEST_F(ProgrammerFrame, ANewLifeProgramsWhatStandsAndForgetsTheStatusOfTheRest) {
  chip("A");
  publish(1, 10, {1});
  publish(floodset(30), 30, {1});
  auto & boundary = *table->boundaryMrouteIs(key(2));
  boundary.fastdropIs(VlanId(20), set({}));
  auto vrf = mfib->vrfStatusIs("default");
  programmer->rootSmDel();
  vrf->routeIs(key(3));
  status(1)->notifyingIntfIdIs(IntfId("Vlan20"));
  for (auto & r : chip("A").simRoute()) chip("A").doDeleteRoute(r.routeHandle());
  chip("A").orphans = 0;

  start();
  EXPECT_EQ(vrf->route(key(3)), nullptr);
  EXPECT_EQ(status(1)->notifyingIntfId(), IntfId());
  EXPECT_TRUE(vrf->route(key(2))) << "a boundary route is held, too";
  EXPECT_EQ(entries("A"), "1@10:1 2@20:0 L30@30:1");
}

TEST_F(ProgrammerFrame, ABatchIsCommittedOnAllChips) {
  chips({"A", "B"});
  table->mrouteBatchVersionInc(1);
  EXPECT_EQ(takeCalls(), "A batch, B batch");
  start();
  EXPECT_EQ(takeCalls(), "A batch, B batch") << "once when the table is attached";
}

TEST_F(ProgrammerFrame, AMachineStartsOnFifteenChipsAtMost) {
  for (U32 i = 0; i < 15; ++i) chip(std::to_string(i).c_str());
  start();
  chips({"x", "y"});
  for (U32 vlan : {10, 20}) publish(1, vlan, {1});
  EXPECT_EQ(entries("y"), "1@20:1") << "those that come later are served";
  EXPECT_DEATH(start(), "chips\\(\\) < 16");
}

TEST_F(ProgrammerFrame, BadArgumentsAreRefused) {
  EXPECT_THROW(sm().mrouteIs(nullptr), Zet::RangeException);
  EXPECT_THROW(sm().boundaryMrouteIs(nullptr), Zet::RangeException);
  EXPECT_THROW(sm().chipIs(nullptr), Zet::RangeException);
  EXPECT_THAT([&] { programmer->rootSmIs({}); },
              testing::ThrowsMessage<Zet::RangeException>(testing::HasSubstr(
                  "constructor parameter attribute _clock has a different value of None")));
  EXPECT_DEATH(sm().handleInternalVlanId(), "assertion failed: false");
}

// --- Retries

TEST_F(ProgrammerFrame, ARetryPassEndsAtTheFirstRouteThatFailsAgain) {
  FaultyChip & a = chip("A");
  a.refuseSets = true;
  for (U32 n = 1; n <= 3; ++n) publish(n, 10, {1});
  std::vector<U32> order;
  for (auto & f : sm().failedMroute()) order.push_back(f.fwkKey().group().address().v4() & 0xff);
  publish(order[1], 10, {1, 2, 3});  // the third could still fit when this one does not

  a.refuseSets = false;
  a.refuseSetIn = 2;
  a.mtableFreeIs(true);
  takeCalls();
  clock->nowIs(clock->shown() + 0.11);
  EXPECT_EQ(takeCalls(), "A set, A route 10, A point 1, A activate 1, A set");
  EXPECT_EQ(reason(order[0]), 0u);
  EXPECT_EQ(reason(order[1]), 1u);
  EXPECT_EQ(reason(order[2]), 1u);
}

TEST_F(ProgrammerFrame, ARouteThatGetsItsSetLetsTheOthersTry) {
  FaultyChip & a = chip("A");
  a.refuseSets = true;
  for (U32 n : {1, 2}) publish(n, 10, {1, 2});
  settle();
  a.refuseSets = false;
  publish(1, 10, {1});
  EXPECT_EQ(failed(), "2");
  EXPECT_TRUE(sm().reviewTimer()->reviewPending());
}

TEST_F(ProgrammerFrame, OnlyWhatMayHelpStartsARetry) {
  FaultyChip & a = chip("A");
  a.refuseSets = true;
  publish(1, 10, {1});
  auto & timer = *sm().reviewTimer();
  a.mrouteReviewKickIs(1);
  a.mrouteTcamFreeIs(false);
  a.mrouteTcamFreeIs(true);
  EXPECT_FALSE(timer.reviewPending()) << "no route waits for an entry";
  a.mtableFreeIs(true);
  EXPECT_TRUE(timer.reviewPending());
  settle();
  EXPECT_FALSE(timer.reviewPending()) << "no pass asks for another one";

  a.roomIs();
  settle();
  a.refuseRoutes = true;
  publish(2, 10, {1});
  a.mtableFreeIs(false);
  a.mtableFreeIs(true);
  EXPECT_FALSE(timer.reviewPending()) << "no route waits for a set";
  a.mrouteReviewKickIs(2);
  EXPECT_TRUE(timer.reviewPending());
  settle();
  a.mrouteTcamFreeIs(true);
  EXPECT_TRUE(timer.reviewPending());
  settle();
  EXPECT_EQ(failed(), "2");
  EXPECT_FALSE(timer.reviewPending()) << "that there is no room is no reason";
}

TEST_F(ProgrammerFrame, ARouteThatGoesMakesRoomForOthers) {
  chips({"A", "B"});
  for (U32 n : {1, 2}) publish(n, 10, {1, 2});
  chip("B").refuseRoutes = true;
  publish(3, 10, {1});
  auto & timer = *sm().reviewTimer();
  del(3);
  EXPECT_FALSE(timer.reviewPending()) << "it had held nothing, and nobody waits";
  publish(3, 10, {1});
  allChips["A"]->routeTotalIs(2);
  chip("B").refuseRoutes = false;
  del(1);
  EXPECT_TRUE(timer.reviewPending());
  settle();
  EXPECT_EQ(entries("B"), "2@10:2 3@10:1");
}

// A chip tells of room once; what comes free later is not told.
TEST_F(ProgrammerFrame, ARouteThatGoesMakesRoomWithoutTheChipsWord) {
  FaultyChip & a = chip("A");
  publish(1, 10, {1});
  a.refuseRoutes = true;
  publish(2, 10, {1});
  settle();
  a.refuseRoutes = false;
  a.hasNotificationActiveIs(false);
  a.mrouteTcamFreeIs(true);
  del(1);
  a.hasNotificationActiveIs(true);
  EXPECT_TRUE(sm().reviewTimer()->reviewPending());
  settle();
  EXPECT_EQ(entries("A"), "2@10:1");
}

TEST_F(ProgrammerFrame, ARouteGoesOnWaitingForAChipThatIsBack) {
  FaultyChip & a = chip("A");
  a.refuseRoutes = true;
  publish(1, 10, {1});
  fabric->chipDel("A");
  fabric->chipIs(&a);
  a.roomIs();
  settle();
  EXPECT_EQ(entries("A"), "1@10:1");
}

// The resolver is about to give such a route a new version, which will program it.
TEST_F(ProgrammerFrame, DirtyRoutesAreNotRetried) {
  FaultyChip & a = chip("A");
  programmer->initDirtyInfo(*table);
  programmer->initDirtyInfo(*l2Table);
  a.refuseRoutes = true;
  publish(1, 10, {1});
  publish(floodset(30), 30, {1});

  table->dirtyInfo()->allRoutesDirtyIs(true);
  a.roomIs();
  settle();
  EXPECT_EQ(entries("A"), "L30@30:1") << "its own table has no dirty route";
  EXPECT_TRUE(sm().failedMroute().empty());
  EXPECT_EQ(status(1)->hwFlags(), 1u);
  publish(1, 10, {1});
  EXPECT_EQ(entries("A"), "1@10:1 L30@30:1");

  EXPECT_TRUE(sm().isDirty(route(1)));
  EXPECT_FALSE(sm().isDirty(floodset(30)));
  l2Table->dirtyInfo()->allRoutesDirtyIs(true);
  EXPECT_TRUE(sm().isDirty(floodset(30)));
}

// --- Messages

TEST_F(ProgrammerFrame, TheOperatorHearsOfTheFirstFailureAndOfTheLastSuccess) {
  FaultyChip & a = chip("A");
  a.refuseSets = true;
  publish(1, 10, {1});
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_FULL");
  publish(2, 10, {1});
  EXPECT_TRUE(mfib->hwResourceFull());
  a.roomIs();
  publish(1, 10, {1});
  EXPECT_EQ(takeLog(), "");
  del(2);
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL");
  EXPECT_FALSE(mfib->hwResourceFull());
}

TEST_F(ProgrammerFrame, OutputSetsMayBeKeptOutOfTheLog) {
  programmer->rootSmDel();
  start(true);
  FaultyChip & a = chip("A");
  a.refuseSets = true;
  publish(1, 10, {1});
  EXPECT_EQ(takeLog(), "");
  EXPECT_FALSE(mfib->hwResourceFull());
  a.roomIs();
  a.refuseRoutes = true;
  publish(2, 10, {1});
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_FULL");
  a.refuseSets = true;
  a.mrouteTcamFreeIs(true);
  publish(2, 10, {1});
  EXPECT_EQ(failed(), "1 2");
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL") << "it now wants for a set alone";
}

TEST_F(ProgrammerFrame, AVrfThatGoesTakesItsFailuresAlong) {
  chip("A").refuseRoutes = true;
  auto red = coll->vrfMrouteTableIs("red");
  publish(*red->mrouteIs(key(1)), 10, {1});
  takeLog();
  publish(2, 10, {1});
  coll->vrfMrouteTableDel("red");
  EXPECT_EQ(takeLog(), "") << "another VRF still has one";
  EXPECT_TRUE(mfib->hwResourceFull());
  table = nullptr;
  coll->vrfMrouteTableDel("default");
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL");
  EXPECT_FALSE(mfib->hwResourceFull());
  table = coll->vrfMrouteTableIs("default");
}
