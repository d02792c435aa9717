// The entry of a route itself on chips that answer later: order of steps, commit, changes, and what
// comes while transactions are out.
#include "tests/AsyncFixture.h"

namespace {

struct AsyncRoutes : AsyncFixture {};
using AsyncRoutesDeathTest = AsyncRoutes;
using testing::HasSubstr;

}  // namespace

TEST_F(AsyncRoutes, AllStepsGoOutAtOnceAndTheLastConfirmationCommits) {
  chips({"A", "B"});
  publish(1, 10, {1, 2});
  EXPECT_EQ(takeCalls(), "A set, A route 10, A point 1, B set, B route 10, B point 1");
  EXPECT_TRUE(zet(1).inProgress());
  EXPECT_FALSE(zet(1).chipInfo()[0].mtableOifSetCommitted());
  chip("B").answer();
  EXPECT_TRUE(zet(1).inProgress());
  EXPECT_FALSE(status(1)->acceptingIntfId());
  chip("A").answer();
  EXPECT_FALSE(zet(1).inProgress());
  for (ChipInfo const & info : zet(1).chipInfo()) {
    EXPECT_TRUE(info.mtableOifSetCommitted());
    EXPECT_TRUE(info.rpfRouteHandleCommitted());
    EXPECT_FALSE(info.oifAllocXact());
    EXPECT_FALSE(info.setIngressXact());
  }
  EXPECT_EQ(status(1)->acceptingIntfId(), IntfId("Vlan10"));
  EXPECT_EQ(status(1)->lastPollTime(), 1000);
  EXPECT_EQ(zet(1).routeProgrammed(), Status::programmed);
  EXPECT_EQ(takeCalls(), "");
}

TEST_F(AsyncRoutes, ANewSetKeepsTheEntryAndTheOldSetUntilAllHaveConfirmed) {
  chips({"A", "B"});
  publish(1, 10, {1, 2});
  answer();
  takeCalls();
  publish(1, 10, {3});
  EXPECT_EQ(takeCalls(), "A set, A point 1, B set, B point 1");
  EXPECT_TRUE(zet(1).chipInfo()[0].oldMtableOifSet());
  chip("A").answer();
  EXPECT_EQ(chip("A").inUseOifSet().size(), 2u);
  answer();
  EXPECT_EQ(chip("A").inUseOifSet().size(), 1u);
  EXPECT_EQ(entries("A"), "1@10:1");
}

TEST_F(AsyncRoutes, ANewInputStandsOnAllChipsBeforeTheOldGoes) {
  chips({"A", "B"});
  publish(1, 10, {1, 2});
  answer();
  takeCalls();
  publish(1, 20, {3});
  EXPECT_EQ(takeCalls(), "A set, A route 20, A point 2, B set, B route 20, B point 2");
  EXPECT_EQ(entries("A"), "1@10:2 1@20:1");
  answer();
  EXPECT_EQ(takeCalls(), "A delete 1, B delete 1");
  EXPECT_EQ(entries("A"), "1@20:1");

  mfib->avoidDuplicatesIs(true);
  publish(1, 30, {3});
  EXPECT_EQ(takeCalls(),
            "A set, A route 30, A delete 2, A point 3, B set, B route 30, B delete 2, B point 3");
}

TEST_F(AsyncRoutes, AChangeMeanwhileWaitsForTheOutcomeAndIsProgrammedThen) {
  chip("A");
  publish(1, 10, {1});
  takeCalls();
  publish(1, 20, {2, 3});
  EXPECT_EQ(takeCalls(), "");
  EXPECT_EQ(failed(), "1:inProgress");
  EXPECT_EQ(sm().failureCounters()->inProgressRoutes(), 1u);
  answer();
  EXPECT_EQ(failed(), "1:inProgress");
  EXPECT_EQ(entries("A"), "1@10:1");
  settle(1);
  EXPECT_EQ(takeCalls(), "A set, A route 20, A point 2");
  answer();
  EXPECT_EQ(failed(), "");
  EXPECT_EQ(entries("A"), "1@20:2");
}

// Chips that answer inside the call, and sets whose transaction ended long ago.
TEST_F(AsyncRoutes, WhatHasEndedBeforeTheCallReturnsIsSeen) {
  chips({"A", "B"});
  chip("A").answersAtOnce = chip("B").answersAtOnce = true;
  publish(1, 10, {1});
  EXPECT_EQ(zet(1).routeProgrammed(), Status::programmed);
  EXPECT_FALSE(zet(1).inProgress());
  publish(floodset(5), 5, {1});
  publish(floodset(5), 5, {1});
  EXPECT_EQ(sm().l2Status()->vlanStatus(VlanId(5))->vlanFloodsetStatus(), Status::programmed);
  // The other one answers later: nothing is complete before.
  chip("B").answersAtOnce = false;
  publish(2, 10, {2});
  EXPECT_TRUE(zet(2).inProgress());
  answer();
  EXPECT_FALSE(zet(2).inProgress());
}

TEST_F(AsyncRoutes, ALostInputTakesTheEntryAndIsNoFailure) {
  chip("A");
  publish(1, 10, {1});
  answer();
  publish(1, 0, {1});
  EXPECT_EQ(entries("A"), "");
  EXPECT_TRUE(zet(1).chipInfo().empty());
  EXPECT_EQ(status(1)->hwFlags(), 0u);
  EXPECT_FALSE(zet(1).inProgress());

  // Neither is that of a route that has failed.
  for (bool const later : {false, true}) {
    chip("A").failIn = 1;
    chip("A").failsLater = later;
    publish(1, 10, {1});
    answer();
    EXPECT_EQ(failed(), later ? "1:output sets 0x1" : "1:output sets 0x8");
    publish(1, 0, {1});
    EXPECT_EQ(failed(), "");
    EXPECT_EQ(status(1)->hwFlags(), 0u);
  }
}

TEST_F(AsyncRoutes, ARendezvousPointIsAnInputOfItsOwn) {
  chip("A");
  Mroute & m = route(1);
  m.rpaIdIs(Shoal::Multicast::Fib::rpaNotSet);
  publish(m, 0, {1});
  EXPECT_EQ(takeLog(), "");
  m.rpaIdIs(Shoal::Multicast::Fib::rpaInvalid);
  publish(m);
  EXPECT_EQ(takeLog(), "BIDIR_RPA_RESOURCE_FULL");
  EXPECT_EQ(takeCalls(), "");
  m.rpaIdIs(3);
  publish(m);
  answer();
  EXPECT_EQ(takeCalls(), "A set, A route 0, A point 1");
  m.rpaIdIs(4);
  publish(m);
  answer();
  EXPECT_EQ(takeCalls(), "A set, A route 0, A point 2, A delete 1");
  m.rpaIdIs(Shoal::Multicast::Fib::rpaNone);
  publish(m);
  EXPECT_EQ(takeCalls(), "A delete 2");
}

TEST_F(AsyncRoutes, ARouteThatGoesWhileTransactionsAreOutIsHeardOfNoMore) {
  chip("A");
  publish(1, 10, {1});
  auto const xact = chip("A").ingressXact(1);
  del(1);
  EXPECT_EQ(entries("A"), "");
  EXPECT_FALSE(status(1));
  xact->resultIs(Keel::XactResult::failure);
  xact->statusVersionIs(xact->statusVersion() + 1);
  EXPECT_EQ(failed(), "");
}

TEST_F(AsyncRoutes, AReviewGoesOnWhereItsTimeRanOut) {
  reviewConfig->reviewFreqIs(Brindle::mrouteReviewDisabled);
  for (U32 n = 1; n <= 25; ++n) publish(n, 10, {1});
  chip("A");
  sm().reviewQuantumIs(0.0);
  clock->readCostIs(0.001);
  reviewConfig->reviewFreqIs(Brindle::mrouteReviewEnabled);
  for (U32 left : {15u, 5u, 0u}) {
    sm().handleClock();
    EXPECT_EQ(sm().failedMroutes(), left);
    EXPECT_EQ(sm().bookmark() == Key(), left == 0);
  }
  answer();
  EXPECT_EQ(chip("A").inUseRouteHandle().size(), 25u);
}

TEST_F(AsyncRoutes, WithoutChipsNothingIsWaitedFor) {
  publish(1, 10, {1});
  publish(1, 10, {2});
  EXPECT_FALSE(zet(1).inProgress());
  chip("A");
  route(1).notifyingVlanIdIs(VlanIdOrNone(20));
  route(1).notifyOifSetIs(set({3}));
  route(1).fastdropIs(VlanId(30), set({4}));
  publish(1, 10, {2});
  answer();
  EXPECT_EQ(entries("A"), "1@10:1 1@20:1 1@30:1");

  // What stood beside it on the last one is published no more.
  fabric->chipDel("A");
  publish(1, 10, {1});
  EXPECT_FALSE(status(1)->notifyingIntfId());
  EXPECT_TRUE(status(1)->fastdropLastPollTime().empty());

  // Nor does a change wait that was kept back until it had answered.
  chip("B");
  publish(1, 10, {2});
  publish(1, 10, {3});
  EXPECT_NE(failed(), "");
  fabric->chipDel("B");
  settle(1);
  EXPECT_EQ(failed(), "");
}

TEST_F(AsyncRoutes, WhatIsPublishedIsWhatTheChipsHaveConfirmed) {
  chip("A");
  publish(1, 10, {1});
  publish(floodset(5), 5, {1});
  publish(1, 20, {2});
  publish(floodset(5), 5, {2});
  answer();
  EXPECT_EQ(status(1)->acceptingIntfId(), IntfId("Vlan10"));
  EXPECT_EQ(sm().l2Status()->vlanStatus(VlanId(5))->vlanFloodsetOifSet(), set({1}));
}

// A driver may end what an entry waits for when it deletes another one, or points it elsewhere.
TEST_F(AsyncRoutes, ACallThatEndsOtherTransactionsIsSurvived) {
  chips({"A", "B"});
  auto const cancel = [](AsyncChip & chip) {
    return [&chip] { chip.doSetAllIngressXacts(Keel::XactResult::failure, true); };
  };
  chip("A").inDelete = cancel(chip("A"));
  chip("B").inDelete = cancel(chip("B"));
  with(notify, 1, 20, {3});
  route(1).fastdropIs(VlanId(30), set({4}));
  publish(1, 10, {1});
  chip("B").doSetAllIngressXacts(Keel::XactResult::failure, true);
  EXPECT_EQ(entries("A") + entries("B"), "");
  EXPECT_EQ(failed(), "1:route entries 0x100");
  chip("A").inDelete = chip("B").inDelete = nullptr;
  recover(2);
  EXPECT_EQ(failed(), "");
  EXPECT_EQ(entries("A"), entries("B"));

  // What stands beside a route does not go in once the route has failed.
  chip("B").inPoint = cancel(chip("A"));
  takeCalls();
  publish(1, 11, {1});
  EXPECT_EQ(takeCalls(),
            "A set, A delete 6, A route 11, A point 7, B set, B delete 6, B route 11, "
            "B point 7, A delete 4, A delete 7, A delete 5, B delete 4, B delete 7, "
            "B delete 5");
  EXPECT_EQ(entries("A") + entries("B"), "");
  chip("B").inPoint = nullptr;
  recover(2);
}

// A driver without an operation throws. What has begun is not taken for finished.
TEST_F(AsyncRoutes, AChipThatThrowsLeavesTheRouteUnfinished) {
  chips({"A", "B"});
  chip("A").answersAtOnce = true;
  chip("B").inPoint = [] { throw Zet::Exception("no such operation"); };
  publish(1, 10, {1});
  EXPECT_TRUE(zet(1).inProgress());
  EXPECT_FALSE(status(1)->acceptingIntfId());
}

TEST_F(AsyncRoutes, ADirtyRouteIsLeftToTheResolver) {
  chip("A").failIn = 1;
  table->dirtyInfoIs(Zet::make<Brindle::DirtyInfo>());
  publish(1, 10, {1});
  takeCalls();
  route(1).dirtyIs(true);
  settle(1);
  EXPECT_EQ(takeCalls(), "");
  EXPECT_EQ(failed(), "");
  route(1).dirtyIs(false);
}

TEST_F(AsyncRoutes, ChipsThatLeaveAreNotWaitedForAndThoseThatComeAreAskedAtTheNextChange) {
  chips({"A", "B"});
  publish(1, 10, {1});
  answer();
  fabric->chipDel("B");
  EXPECT_EQ(entries("B"), "");
  takeCalls();
  publish(1, 10, {2});
  EXPECT_EQ(takeCalls(), "A set, A point 1");
  answer();
  EXPECT_FALSE(zet(1).inProgress());
  publish(1, 10, {3});
  fabric->chipIs(&chip("B"));
  publish(2, 10, {1});
  chip("A").answer();
  EXPECT_TRUE(zet(2).inProgress());
  fabric->chipDel("B");
  EXPECT_FALSE(zet(2).inProgress());
  takeCalls();
  chip("C");
  EXPECT_EQ(takeCalls(), "");
  publish(1, 10, {2});
  answer();
  EXPECT_EQ(entries("C"), "1@10:1");
}

TEST_F(AsyncRoutes, TheEndOfTheProgrammerTakesRoutesOffUnlessItIsKilled) {
  chip("A");
  publish(1, 10, {1});
  answer();
  sm().testKillIs(true);
  programmer->rootSmDel();
  EXPECT_EQ(entries("A"), "1@10:1");
  EXPECT_TRUE(status(1));

  // Another life finds the status, and makes the entry again.
  start();
  answer();
  EXPECT_EQ(entries("A"), "1@10:1 1@10:1");
  programmer->rootSmDel();
  EXPECT_EQ(entries("A"), "1@10:1");
  EXPECT_FALSE(status(1));
  chip("A").doDeleteRoute({1});  // what the first life left is the platform's
  chip("A").leftSetsDelAll();
  start();
}

TEST_F(AsyncRoutes, StaleStatusGoesWhenTheTablesOfAllVrfsAreFull) {
  leavesEntries = true;
  chip("A");
  programmer->rootSmDel();
  auto const red = coll->vrfMrouteTableIs("red");
  mfib->vrfStatusIs("default")->routeIs(key(7));
  mfib->vrfStatusIs("red")->routeIs(key(8));
  start();
  table->mroutesInitializedIs(true);
  EXPECT_TRUE(status(7));
  red->mroutesInitializedIs(true);
  EXPECT_FALSE(status(7));
  EXPECT_FALSE(mfib->vrfStatus("red")->route(key(8)));
  coll->vrfMrouteTableDel("red");
  EXPECT_FALSE(mfib->vrfStatus("red"));
  EXPECT_EQ(takeCalls(), "");
}

TEST_F(AsyncRoutes, OnlyTheDefaultVrfHasL2Routes) {
  chip("A");
  coll->l2FloodsetTableDel();
  EXPECT_EQ(sm().l2FloodsetTable(), l2Table);  // it keeps what it had
  l2Table = coll->l2FloodsetTableIs("default");
  EXPECT_EQ(sm().l2FloodsetTable(), l2Table);
  coll->vrfMrouteTableIs("red");
  publish(floodset(5), 5, {1});
  EXPECT_TRUE(sm("red").zetMroute().empty());
  EXPECT_EQ(sm().zetMroute().size(), 1u);
  coll->vrfMrouteTableDel("red");
}

TEST_F(AsyncRoutesDeathTest, SixteenChipsAreTooMany) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (U32 n = 0; n < 16; ++n) chip(("C" + std::to_string(10 + n)).c_str());
  programmer->rootSmDel();
  EXPECT_DEATH(start(), HasSubstr("fabric()->chips() < 16"));
  fabric->chipDel("C10");
  start();
}
