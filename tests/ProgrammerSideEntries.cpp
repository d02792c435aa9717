// The entries beside a route's own: notify, persistent fastdrop, fast-reroute, fastdrops, and those
// of boundary routes.
#include "tests/ProgrammerFixture.h"

namespace {

using Brindle::Mroute;
using Status = Routing::Multicast::Fib::Hardware::RouteStatus;
// The three special routes, as a scenario uses them.
struct Special {
  char const * name;
  RouteWorld::Side side;
  Nettle::IntfId (Status::*intfId)() const;
};
Special const specials[] = {
    {"notify", RouteWorld::notify, &Status::notifyingIntfId},
    {"persistent fastdrop", RouteWorld::persistent, &Status::staticFastdropIntfId},
    {"fast-reroute", RouteWorld::frr, &Status::frrIntfId},
};

struct ProgrammerSideEntries : ProgrammerFixture {
  Mroute & publish(Special const & special, U32 vlan, Ports ports) {
    with(special.side, 1, vlan, ports);
    return ProgrammerFixture::publish(1, 10, {1});
  }
  Mroute & fastdrop(U32 vlan, Ports ports) {
    route(1).fastdropIs(VlanId(vlan), set(ports));
    return ProgrammerFixture::publish(1, 10, {1});
  }
  // The interfaces whose fastdrops have a poll time.
  std::string polled(U32 n = 1) {
    std::string text;
    for (auto const & t : status(n)->fastdropLastPollTime().items()) {
      text += (text.empty() ? "" : " ") + std::string(t.key.view());
    }
    return text;
  }
  BoundaryMroute & boundary() { return *table->boundaryMrouteIs(key(1)); }
};

}  // namespace

TEST_F(ProgrammerSideEntries, ASpecialEntryFollowsItsVlanAndSet) {
  chips({"A", "B"});
  for (Special const & special : specials) {
    publish(special, 20, {1, 2});
    EXPECT_EQ(entries("A"), "1@10:1 1@20:2") << special.name;
    EXPECT_EQ(((*status(1)).*special.intfId)(), IntfId("Vlan20")) << special.name;
    takeCalls();
    publish(special, 20, {1, 2, 3});
    EXPECT_EQ(entries("B"), "1@10:1 1@20:3") << special.name;
    EXPECT_THAT(takeCalls(), testing::Not(testing::HasSubstr("route"))) << special.name;
    (route(1).*special.side.setIs)(nullptr);
    ProgrammerFixture::publish(route(1));
    EXPECT_EQ(entries("B"), "1@10:1 1@20:3") << special.name << ": not computed yet";
    publish(special, 30, {1});
    EXPECT_EQ(entries("B"), "1@10:1 1@30:1") << special.name;
    publish(special, 0, {});
    EXPECT_EQ(entries("A"), "1@10:1") << special.name;
    EXPECT_EQ(((*status(1)).*special.intfId)(), IntfId()) << special.name;
    EXPECT_EQ(failed(), "") << special.name;
  }
}

TEST_F(ProgrammerSideEntries, ARefusalThatRepeatsItselfIsListedAgain) {
  chip("A");
  publish(specials[0], 20, {1});
  Zet::Ptr<Brindle::ZetMroute> const zetMroute(sm().zetMroute().find(key(1)));
  chip("A").refuseSets = true;
  for (U32 times = 0; times < 2; ++times) {
    zetMroute->doUpdateFabricWithNotifyRoute();
    EXPECT_EQ(failed(), "1");
    sm().failedMrouteDel(key(1));
  }
}

TEST_F(ProgrammerSideEntries, ARefusedNotifyEntryHoldsTheOthersBack) {
  chip("A");
  ProgrammerFixture::publish(1, 10, {1});
  U32 vlan = 20;
  for (Special const & special : specials) {
    with(special.side, 1, vlan++, {1, 2});
  }
  chip("A").refuseRouteIn = 1;
  ProgrammerFixture::publish(route(1));
  EXPECT_EQ(entries("A"), "1@10:1");
  settle();
  chip("A").roomIs();
  settle();
  EXPECT_EQ(entries("A"), "1@10:1 1@20:2 1@21:2 1@22:2");
  del(1);
  EXPECT_EQ(entries("A"), "");
}

TEST_F(ProgrammerSideEntries, FastdropsFollowTheirVlansButKeepOffTheRoutesInputs) {
  chips({"A", "B"});
  fastdrop(20, {});
  fastdrop(21, {5});
  fastdrop(10, {});
  Mroute & m = fastdrop(22, {});
  EXPECT_EQ(entries("B"), "1@10:1 1@20:0 1@21:1 1@22:0");
  EXPECT_EQ(polled(), "Vlan20 Vlan21 Vlan22");

  settle();
  with(notify, 1, 22, {1, 2});
  m.fastdropDel(VlanId(20));
  m.fastdropIs(VlanId(21), set({5, 6}));
  ProgrammerFixture::publish(m);
  EXPECT_EQ(entries("A"), "1@10:1 1@21:2 1@22:2");
  EXPECT_EQ(status(1)->fastdropLastPollTime("Vlan21"), 1000) << "those that stay keep their time";
  EXPECT_EQ(polled(), "Vlan21");

  intfVlanIdTable->internalVlanIdIs(IntfId("Vlan21"), VlanIdOrNone(50));
  EXPECT_EQ(polled(), "") << "no interface routes VLAN 21 any more";
  m.doClearFastdrop();
  intfVlanIdTable->internalVlanIdIs(IntfId("Ethernet9"), VlanIdOrNone(21));
  EXPECT_EQ(polled(), "Ethernet9") << "the entry stands until the next version";
  m.fastdropIs(VlanId(10), set({}));
  m.fastdropIs(VlanId(21), set({5, 6}));
  takeCalls();
  ProgrammerFixture::publish(1, 30, {1});
  EXPECT_THAT(takeCalls(), testing::HasSubstr("A route 21")) << "it belonged to the old input";
  EXPECT_EQ(entries("A"), "1@10:0 1@21:2 1@22:2 1@30:1") << "VLAN 10 is no input any more";
}

TEST_F(ProgrammerSideEntries, ARefusedFastdropIsNoFailureButSparesOthersTheQuestion) {
  chips({"A", "B"});
  fastdrop(20, {7});
  chip("B").refuseSetIn = 3;  // of the route, of the fastdrop that stands, of the new one
  fastdrop(21, {7, 8});
  EXPECT_EQ(entries("A"), "1@10:1 1@20:1");
  EXPECT_EQ(reason(1), 0u);
  EXPECT_EQ(polled(), "Vlan20");
  EXPECT_EQ(sm().chips()[1]->lastOifFailure(), 2u);
}

TEST_F(ProgrammerSideEntries, OneFastdropMayBeProgrammedByItself) {
  chips({"A", "B"});
  ProgrammerFixture::publish(1, 10, {1});
  auto zetMroute = Zet::Ptr<Brindle::ZetMroute>(sm().zetMroute().find(key(1)));
  EXPECT_TRUE(zetMroute->doProgramFastdropRoute(VlanId(20), set({1, 2}), false, true, 0));
  EXPECT_EQ(entries("B"), "1@10:1 1@20:2");
}

TEST_F(ProgrammerSideEntries, ABoundaryDropMovesToItsNewSetWithoutAGap) {
  chips({"A", "B"});
  boundary().fastdropIs(VlanId(20), set({}));
  boundary().fastdropIs(VlanId(21), set({}));
  boundary().fastdropIs(VlanId(22), nullptr);  // not computed yet
  EXPECT_EQ(entries("A"), "1@20:0 1@21:0");
  EXPECT_EQ(polled(), "Vlan20 Vlan21");
  takeCalls();
  boundary().fastdropIs(VlanId(20), set({4}));
  EXPECT_EQ(takeCalls(), "A set, B set, A point 1, B point 1");
  EXPECT_EQ(entries("B"), "1@20:1 1@21:0");

  boundary().fastdropDel(VlanId(20));
  EXPECT_EQ(entries("B"), "1@21:0");
  EXPECT_EQ(polled(), "Vlan21");
  table->boundaryMrouteDel(key(1));
  EXPECT_EQ(entries("B"), "");
}

TEST_F(ProgrammerSideEntries, ARefusedBoundaryDropLeavesTheOthers) {
  chips({"A", "B"});
  boundary().fastdropIs(VlanId(20), set({4}));
  for (bool refusesSet : {true, false}) {
    (refusesSet ? chip("B").refuseSetIn : chip("B").refuseRouteIn) = 1;
    boundary().fastdropIs(VlanId(21), set({4, 5}));
    EXPECT_EQ(entries("A"), "1@20:1") << refusesSet;
    EXPECT_EQ(entries("B"), "1@20:1") << refusesSet;
    EXPECT_EQ(status(1)->hwFlags(), refusesSet ? 2u : 1u);
    EXPECT_EQ(polled(), "Vlan20");
    EXPECT_EQ(failed(), "") << "nobody retries it";
    boundary().fastdropDel(VlanId(21));
    chip("B").roomIs();
    boundary().fastdropIs(VlanId(21), set({}));
    EXPECT_EQ(entries("B"), "1@20:1 1@21:0");
    EXPECT_EQ(status(1)->hwFlags(), 0u);
    boundary().fastdropDel(VlanId(21));
  }
}

TEST_F(ProgrammerSideEntries, ABoundaryRouteThatGoesCountsOutNobodyElse) {
  FaultyChip & a = chip("A");
  for (U32 vlan : {20u, 21u}) boundary().fastdropIs(VlanId(vlan), set({}));
  a.refuseRoutes = true;
  boundary().fastdropIs(VlanId(22), set({}));
  ProgrammerFixture::publish(2, 10, {1});
  EXPECT_EQ(sm().chips()[0]->routeFailed(), 2u);
  table->boundaryMrouteDel(key(1));
  EXPECT_EQ(sm().chips()[0]->routeFailed(), 1u);
}

TEST_F(ProgrammerSideEntries, ABoundaryDropLeavesAChipThatLeftUnlessItIsBack) {
  chips({"A", "B"});
  boundary().fastdropIs(VlanId(20), set({}));
  fabric->chipDel("A");
  boundary().fastdropIs(VlanId(20), set({4}));
  EXPECT_EQ(entries("A"), "");
  EXPECT_EQ(entries("B"), "1@20:1");

  fabric->chipDel("B");
  fabric->chipIs(allChips["B"]);
  takeCalls();
  boundary().fastdropIs(VlanId(20), set({}));
  EXPECT_EQ(takeCalls(), "B set, B point 1") << "it is back with its entry";
}
