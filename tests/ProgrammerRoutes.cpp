// The entry of a route itself: order of calls, changes of its input, and every refusal of a chip.
#include "tests/ProgrammerFixture.h"

namespace {

using ProgrammerRoutes = ProgrammerFixture;
using testing::HasSubstr;

}  // namespace

TEST_F(ProgrammerRoutes, AllChipsGiveBeforeAnyIsCommitted) {
  chips({"A", "B"});
  publish(1, 10, {1, 2});
  EXPECT_EQ(
      takeCalls(),
      "A set, B set, A route 10, B route 10, A point 1, A activate 1, B point 1, B activate 1");
  EXPECT_EQ(entries("A"), "1@10:2");
  EXPECT_EQ(status(1)->hwFlags(), 0u);
  EXPECT_EQ(status(1)->acceptingIntfId(), IntfId("Vlan10"));
  EXPECT_EQ(status(1)->lastPollTime(), 1000);

  publish(1, 10, {3});
  EXPECT_EQ(takeCalls(), "A set, B set, A point 1, B point 1");
  EXPECT_EQ(chip("A").pvNumFree(), 999u);
}

TEST_F(ProgrammerRoutes, ANewInputIsActiveBeforeTheOldGoes) {
  chips({"A", "B"});
  publish(1, 10, {1});
  takeCalls();
  publish(1, 20, {1});
  EXPECT_EQ(takeCalls(),
            "A set, B set, A route 20, B route 20, A point 2, A activate 2, A delete 1, "
            "B point 2, B activate 2, B delete 1");
}

TEST_F(ProgrammerRoutes, WhereDuplicatesAreForbiddenTheOldGoesFirst) {
  mfib->avoidDuplicatesIs(true);
  chip("A").reusesHandles = true;
  publish(1, 10, {1});
  takeCalls();
  publish(1, 20, {1});
  EXPECT_EQ(takeCalls(), "A set, A delete 1, A route 20, A point 1, A activate 1");
  EXPECT_EQ(entries("A"), "1@20:1");
}

TEST_F(ProgrammerRoutes, ATableFullOfTheRouteItselfBreaksBeforeItMakes) {
  chip("A").routeTotalIs(1);
  chip("A").reusesHandles = true;
  publish(1, 10, {1});
  takeCalls();
  publish(1, 20, {1});
  EXPECT_EQ(takeCalls(), "A set, A route 20, A delete 1, A route 20, A point 1, A activate 1");
  EXPECT_EQ(entries("A"), "1@20:1");
  EXPECT_EQ(failed(), "");
}

TEST_F(ProgrammerRoutes, TheBackupEntryBecomesTheRoutesOwn) {
  chips({"A", "B"});
  publish(1, 10, {1});
  Mroute & m = publish(with(frr, 1, 20, {1, 2}));
  EXPECT_EQ(entries("A"), "1@10:1 1@20:2");
  EXPECT_EQ(status(1)->frrIntfId(), IntfId("Vlan20"));
  takeCalls();

  m.frrVlanIdIs(VlanIdOrNone());
  publish(1, 20, {3});
  EXPECT_EQ(takeCalls(), "A set, B set, A point 2, A delete 1, B point 2, B delete 1");
  EXPECT_EQ(entries("B"), "1@20:1");
  EXPECT_EQ(status(1)->frrIntfId(), IntfId());
}

TEST_F(ProgrammerRoutes, TheSetOfABackupEntryThatTookOverMakesRoomForTheNextOne) {
  slotsIs(chip("A"), 5);
  publish(1, 10, {1});
  publish(with(frr, 1, 20, {1, 2, 3}));
  with(frr, 1, 30, {1, 2, 4});
  publish(1, 20, {1});
  EXPECT_EQ(entries("A"), "1@20:1 1@30:3");
  EXPECT_EQ(failed(), "");
}

TEST_F(ProgrammerRoutes, SomeRoutesStayAwayFromTheChips) {
  chip("A");
  route(1).acceptingVlanIdIs(VlanIdOrNone(10));  // version 0
  Mroute & waits = route(2);
  waits.rpaIdIs(Shoal::Multicast::Fib::rpaNotSet);
  publish(waits);
  EXPECT_EQ(takeLog(), "");
  waits.rpaIdIs(Shoal::Multicast::Fib::rpaInvalid);
  publish(waits);
  EXPECT_EQ(takeLog(), "BIDIR_RPA_RESOURCE_FULL");
  Mroute & prefix = *table->mrouteIs(Key(Nettle::IpGenPrefix("10.0.0.0/24"), group(3)));
  prefix.oifSetIs(set({1}));
  publish(prefix);
  EXPECT_EQ(takeCalls(), "");
  EXPECT_EQ(failed(), "");

  Mroute & starG = *table->mrouteIs(Key(Nettle::IpGenPrefix("0.0.0.0/0"), group(4)));
  starG.oifSetIs(set({1}));
  starG.noRpfIs(true);
  publish(starG);
  waits.rpaIdIs(7);
  waits.oifSetIs(set({1}));
  publish(waits);
  EXPECT_EQ(entries("A"), "2@0:1 4@0:1");
}

TEST_F(ProgrammerRoutes, ARouteThatWasNotComputedWithASetEndsTheProcess) {
  route(1).acceptingVlanIdIs(VlanIdOrNone(10));
  EXPECT_DEATH(publish(route(1)), "mroute->oifSet\\(\\)");
}

// Those of the highest chip reach the ends of both halves.
TEST_F(ProgrammerRoutes, EachChipHasReasonsOfItsOwn) {
  for (auto const & [index, bit] : {std::pair(0u, 1u), {2u, 4u}, {15u, 0x8000u}}) {
    auto const faulty = Zet::make<FaultyChip>("Z", index);
    faulty->routeTotalIs(9);
    faulty->pvTotalIs(9);
    faulty->pvNumFreeIs(9);
    faulty->portIs(port(1), true);
    fabric->chipIs(faulty);
    for (bool const refusesSet : {true, false}) {
      (refusesSet ? faulty->refuseSets : faulty->refuseRoutes) = true;
      publish(1, 10, {1});
      EXPECT_EQ(reason(1), refusesSet ? bit : bit << 16) << index;
      EXPECT_EQ(status(1)->hwFlags(), refusesSet ? 2u : 1u) << index;
      Brindle::ZetChip & waited = *sm().chips()[0];
      EXPECT_EQ(refusesSet ? waited.oifFailed() : waited.routeFailed(), 1u) << index;
      faulty->roomIs();
      settle();
      EXPECT_EQ(waited.oifFailed() + waited.routeFailed(), 0u) << index;
      del(1);
    }
    fabric->chipDel("Z");
  }
}

// A chip refuses an entry while one before it has two of the route: nobody knows any more which of
// them stands.
TEST_F(ProgrammerRoutes, AChangeRefusedAfterAnotherChipMadeItEndsTheProcess) {
  chips({"A", "B"});
  publish(1, 10, {1});
  chip("B").refuseRoutes = true;
  EXPECT_DEATH(publish(1, 20, {1}), "!routeSaver->routeHandles\\(\\)");
  EXPECT_DEATH(
      {
        chip("C").refuseRoutes = true;
        publish(1, 10, {1});
      },
      "!routeSaver->routeHandles\\(\\)");
}

TEST_F(ProgrammerRoutes, AFullChipIsAskedOnlyForSmallerSets) {
  FaultyChip & a = chip("A");
  slotsIs(a, 5);
  publish(1, 10, {1, 2, 3});
  publish(2, 10, {1, 2, 3, 4});
  EXPECT_EQ(sm().chips()[0]->lastOifFailure(), 4u);
  takeCalls();
  publish(3, 10, {1, 2, 3, 4});
  publish(4, 10, {1, 2, 3, 4, 5});
  EXPECT_EQ(takeCalls(), "");
  publish(5, 10, {1, 2, 3});
  EXPECT_EQ(takeCalls(), "A set");
  EXPECT_EQ(sm().chips()[0]->lastOifFailure(), 3u);
  publish(6, 10, {1, 2});
  EXPECT_EQ(entries("A"), "1@10:3 6@10:2");
  EXPECT_EQ(failed(), "2 3 4 5");

  del(1);
  EXPECT_EQ(sm().chips()[0]->lastOifFailure(), 0u);
  publish(3, 10, {1, 2, 3});
  EXPECT_EQ(entries("A"), "3@10:3 6@10:2");
}

TEST_F(ProgrammerRoutes, AChipThatSaysItIsFullButRefusedNothingIsAsked) {
  chip("A").mtableFreeIs(false);
  publish(1, 10, {1});
  EXPECT_EQ(entries("A"), "1@10:1");
}

TEST_F(ProgrammerRoutes, AFullTableIsNotAskedForNewEntries) {
  FaultyChip & a = chip("A");
  a.routeTotalIs(2);
  publish(1, 10, {1});
  publish(2, 10, {1});
  publish(3, 10, {1});
  takeCalls();
  publish(4, 10, {1});
  EXPECT_EQ(takeCalls(), "");
  EXPECT_EQ(status(4)->hwFlags(), 1u);
  publish(1, 10, {2, 3});  // needs none
  EXPECT_EQ(entries("A"), "1@10:2 2@10:1");
  EXPECT_EQ(sm().chips()[0]->routeFailed(), 2u);
}

TEST_F(ProgrammerRoutes, WhatStandsOnAChipThatLeftIsTakenOffItUnlessItIsBack) {
  chips({"A", "B"});
  publish(1, 10, {1});
  fabric->chipDel("A");
  publish(1, 20, {1});
  EXPECT_EQ(entries("A"), "");
  EXPECT_EQ(entries("B"), "1@20:1");
  fabric->chipIs(allChips["A"]);
  EXPECT_EQ(entries("A"), "");
  publish(1, 20, {1, 2});
  EXPECT_EQ(entries("A"), "1@20:2");
  EXPECT_EQ(entries("B"), "1@20:2");

  fabric->chipDel("B");
  fabric->chipIs(allChips["B"]);
  takeCalls();
  publish(1, 20, {1});
  EXPECT_THAT(takeCalls(), testing::Not(HasSubstr("B route"))) << "it still has its entry";
  EXPECT_EQ(entries("B"), "1@20:1");
}
