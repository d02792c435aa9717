// From published routes to dirty routes: priorities among tables, waiting (*,G) routes, connected
// prefixes.
#include "tests/MiraFixture.h"
#include "tests/Switch.h"

namespace {

using namespace Tests;

// A table that changes without telling, as one that was cut off does.
class MuteTable : public LocalTable {
 public:
  template <class F> void silently(F change) {
    hasNotificationActiveIs(false);
    change();
    hasNotificationActiveIs(true);
  }
  void lose() { notify(&NotifieeConst::onRoutesLost); }
};

class Ingest : public MiraFixture {
 protected:
  Ingest() {
    configure("default");
    for (unsigned v : {10u, 20u, 30u}) routed(v);
    start();
    t = muteTable();
  }
  Zet::Ptr<MuteTable> muteTable() {
    auto m = Zet::make<MuteTable>();
    root->shoalDir()->shoalCollIs("default")->shoalPtrIs(m.get(), m);
    return m;
  }
  static Route route(RouteKey const & k, IntfId iif, U8 priority = 0) {
    Route r(k);
    r.iifIs(iif);
    r.priorityIs(Shoal::Multicast::Fib::RoutePriority(priority));
    return r;
  }
  static Route starG(RouteKey const & k, IntfId iif, IntfId notify = {}) {
    Route r = route(k, iif);
    r.notifyIs(notify);
    r.flagsIs(Route::installStarG);
    return r;
  }
  auto * pim(IntfId intf) { return pimIntf->intfStatus(intf); }
  U32 refCount(IntfId intf) { return pim(intf) ? pim(intf)->refCount() : 0; }
  bool waits(RouteKey const & k, IntfId intf) { return pim(intf) && pim(intf)->toAddWc(k); }
  void programmed(IntfId intf, bool v) { pimIntf->intfStatusIs(intf)->routesProgrammedIs(v); }
  bool stands(RouteKey const & k) { return mroute(k) && !mroute(k)->markedForDeletion(); }

  Zet::Ptr<MuteTable> t;
  RouteKey const sg = key("10.0.0.1/32", "224.1.1.1/32");
  RouteKey const wc = key("0.0.0.0/0", "224.1.1.1/32");
  IntfId const v10{"Vlan10"}, v20{"Vlan20"}, v30{"Vlan30"}, plain{"Ethernet1"};
};

}  // namespace

TEST_F(Ingest, KeysThatAreNoMulticastRoutesAreIgnored) {
  auto const l2 = Routing::Multicast::Fib::makeRouteKeyVlanFloodset(VlanId(10));
  t->routeIs(route(l2, v10));
  t->routeIs(route(key("10.0.0.1/32", "10.1.1.1/32"), v10));
  t->routeIs(route(RouteKey(), v10));
  t->routeIs(route(sg, v10));
  EXPECT_EQ(mroutes(), 1u);
  EXPECT_EQ(mroute(sg)->fullName(), "/default/(10.0.0.1, 224.1.1.1)");
  t->routeDel(l2);
  run();
  EXPECT_EQ(mroutes(), 1u);
}

TEST_F(Ingest, FastRerouteNeedsAPrimaryPath) {
  Route r = route(sg, plain);  // no VLAN
  r.iifFrrIs(v20);
  t->routeIs(r);
  EXPECT_FALSE(mroute(sg));
  Route const good = route(sg, v10);
  t->routeIs(good);
  t->routeIs(r);
  EXPECT_EQ(mroute(sg)->shoalRoute(), good);
  EXPECT_FALSE(mroute(sg)->markedForDeletion());
  // Without a backup a route that has no VLAN yet is taken, and gets one as soon as it is told.
  RouteKey const other = key("10.0.0.2/32", "224.1.1.1/32");
  t->routeIs(route(other, plain));
  ASSERT_TRUE(mroute(other));
  t->routeIs(route(other, v30));
  EXPECT_EQ(mroute(other)->acceptingVlanId(), VlanIdOrNone(30));
}

// Several tables

// However high it was.
TEST_F(Ingest, WhatHasGoneUnheardDoesNotKeepTheNextOneOut) {
  auto const high = muteTable();
  Route const lowRoute = route(sg, v10, 5);
  t->routeIs(lowRoute);
  high->routeIs(route(sg, v20, 10));
  t->silently([&] { t->routeDel(sg); });
  high->routeDel(sg);
  EXPECT_TRUE(mroute(sg)->markedForDeletion());
  t->routeIs(lowRoute);
  run();
  EXPECT_TRUE(stands(sg));
  EXPECT_EQ(mroute(sg)->shoalRoute(), lowRoute);
}

TEST_F(Ingest, ATableThatDoesNotHoldARouteDoesNotBringItBack) {
  auto const other = muteTable();
  programmed(v10, true);
  Route held = starG(wc, v10);
  t->routeIs(held);
  ASSERT_TRUE(stands(wc));
  held.flagsIs(0);
  t->routeIs(held);
  EXPECT_FALSE(stands(wc));
  mira()->mfibShoalSm(other.get())->handleRoute(wc);  // as a walk does with keys that have gone
  EXPECT_FALSE(stands(wc)) << "its table does not want it installed";
}

// A review reads a route before anybody was told of it; then its table is lost.
TEST_F(Ingest, ARouteComputedFromWhatWasNeverToldGoesBackWithItsTable) {
  auto const accepting = [this](LocalTable & table, IntfId intf, U8 priority) {
    table.oifIndexIntfIs(OifIndex(1), {intf, Shoal::Multicast::Fib::oifAccept});
    Route r = route(sg, v10, priority);
    r.oifIs(OifIndex(1), true);
    table.routeIs(r);
  };
  accepting(*t, v10, 0);
  run();
  auto const better = muteTable();
  better->silently([&] { accepting(*better, v20, 9); });
  mira()->doMarkAllVlansDirty();
  run();
  ASSERT_EQ(mroute(sg)->acceptingVlanId(), VlanIdOrNone(20));
  better->silently([&] { better->routeDel(sg); });
  better->lose();
  run();
  EXPECT_EQ(mroute(sg)->acceptingVlanId(), VlanIdOrNone(10));
}

TEST_F(Ingest, AnEmptyTableStillBringsAReviewAndANullOneNothing) {
  run();
  EXPECT_TRUE(mira()->mrouteTable()->mroutesInitialized());
  EXPECT_FALSE(mira()->reviewPending());
  auto const late = Zet::make<MuteTable>();
  auto const coll = root->shoalDir()->shoalCollIs("default");
  coll->shoalPtrIs(late.get(), nullptr);
  EXPECT_FALSE(mira()->mfibShoalSm(late.get()));
  coll->shoalPtrIs(late.get(), late);
  EXPECT_TRUE(mira()->mfibShoalSm(late.get()));
  EXPECT_TRUE(mira()->reviewPending());
}

TEST_F(Ingest, TheCooperativeWalkGivesUpTheLoopAndGoesOn) {
  t->silently([&] {
    for (U32 n = 1; n <= 120; ++n) {
      RouteKey const k(IpGenPrefix(Nettle::IpGenAddr(0x0a000000 + n)), sg.group());
      t->routeIs(route(k, v10));
    }
  });
  mira()->reviewDisabledIs(true);
  clock->readCostIs(16);
  mira()->mfibShoalSm(t.get())->handleRouteWithCodef(true);
  EXPECT_EQ(mroutes(), 100u);
  clock->readCostIs(0);
  // The key at which it stopped goes: it begins anew.
  t->silently([&] {
    auto i = t->routeBegin();
    while (mroute(i.key())) i.advance();
    t->routeDel(i.key());
  });
  run();
  EXPECT_EQ(mroutes(), 119u);
}

// (*,G) routes

TEST_F(Ingest, AWildcardRouteLeansOnNoInterfaceWithoutIpOrVlan) {
  IntfId const noIp("Vlan40");
  for (IntfId const intf : {noIp, plain}) {
    t->routeIs(starG(wc, intf));
    EXPECT_EQ(static_cast<bool>(mroute(wc)), intf == noIp);
    EXPECT_TRUE(mira()->mfibShoalSm(t.get())->unprogrammedWcRoute().empty());
    EXPECT_EQ(refCount(intf), 0u);
    EXPECT_FALSE(waits(wc, intf));
    t->routeDel(wc);
    run();
    EXPECT_EQ(mroutes(), 0u);
  }
}

// It is one more to wait for.
TEST_F(Ingest, IpMayComeToAnInterfaceAfterTheRouteThatWaits) {
  IntfId const v60 = routed(60), v70("Vlan70");
  t->routeIs(starG(wc, v60, v70));
  routed(70);
  EXPECT_EQ(refCount(v70), 1u);
  programmed(v60, true);
  EXPECT_FALSE(mroute(wc));
  programmed(v70, true);
  EXPECT_TRUE(mroute(wc));
}

TEST_F(Switch, ARouteThatLacksAVlanComesInWithIt) {
  vlan(20, "Ethernet2");
  vlan(30, "Ethernet3");
  ip->ipIntfStatusIs(intf("Ethernet7"))->vrfIs("default");
  address("Ethernet7", "10.7.0.1/24");
  publishStar("239.1.1.1", "Ethernet7", "Vlan30");
  publishStar("239.1.1.2", "Ethernet7", "Vlan30");
  Route backed = record("10.7.0.2", "239.1.1.3", "Ethernet7", "Vlan30");
  backed.iifFrrIs(intf("Vlan20"));
  publish(backed);
  withdraw("*", "239.1.1.2");
  settle();
  EXPECT_EQ(routes().mroute().size(), 0u);
  intfVlans->internalVlanIdIs(intf("Ethernet7"), VlanIdOrNone(1006));
  settle();
  EXPECT_EQ(outputs("*", "239.1.1.1"), "Ethernet3@30");
  EXPECT_FALSE(mroute("*", "239.1.1.2"));
  EXPECT_EQ(outputs("10.7.0.2", "239.1.1.3"), "Ethernet3@30");
}

TEST_F(Ingest, TwoTablesThatWaitForOneInterfaceAreBothReleased) {
  auto const other = muteTable();
  Route low = starG(wc, v10), high = starG(wc, v10);
  high.priorityIs(Shoal::Multicast::Fib::RoutePriority(9));
  t->routeIs(low);
  other->routeIs(high);
  EXPECT_EQ(refCount(v10), 2u);
  programmed(v10, true);
  EXPECT_EQ(mroute(wc)->shoalRoute(), high);
  EXPECT_TRUE(mira()->mfibShoalSm(other.get())->unprogrammedWcRoute().empty());
  takeAway("default", other);
  EXPECT_EQ(refCount(v10), 1u);
  EXPECT_EQ(mroute(wc)->shoalRoute(), low);
  RouteKey const second = key("0.0.0.0/0", "224.1.1.2/32");
  t->routeIs(starG(second, v20));
  EXPECT_TRUE(waits(second, v20));
  root = nullptr;
  EXPECT_EQ(refCount(v10), 0u);
  EXPECT_FALSE(waits(second, v20));
}

// Connected prefixes

TEST_F(Ingest, ConnectedPrefixesComeFromTheirInterfacesAlone) {
  IpGenPrefix const subnet("10.1.0.0/16");
  RouteKey const prefix = key("10.1.0.0/16", "224.0.0.0/4");
  auto const other = muteTable();
  auto add = [&] {
    pimIntf->srcToIntfMapIs({subnet, "default"}, v10);
    pimIntf->intfStatusIs(v10)->routeIs(subnet);
  };
  add();
  ASSERT_TRUE(mroute(prefix));
  EXPECT_EQ(mroute(prefix)->acceptingVlanId(), VlanIdOrNone(10));
  run();
  // They belong to no table: one table fewer changes nothing, a new one finds them.
  takeAway("default", other);
  run();
  EXPECT_TRUE(stands(prefix));
  auto const later = muteTable();
  takeAway("default", t);
  run();
  EXPECT_TRUE(stands(prefix));

  pimIntf->srcToIntfMapDel({subnet, "default"});
  pimIntf->intfStatus(v10)->routeDel(subnet);
  EXPECT_TRUE(mroute(prefix)->markedForDeletion());
  EXPECT_FALSE(pim(v10)) << "nothing leans on it";
  run();
  EXPECT_EQ(mroutes(), 0u);

  // The last table takes them along.
  add();
  takeAway("default", later);
  run();
  EXPECT_EQ(mroutes(), 0u);
  muteTable();
  EXPECT_TRUE(mroute(prefix));
  // Another VRF's are not ours.
  pimIntf->srcToIntfMapIs({IpGenPrefix("10.2.0.0/16"), "red"}, v20);
  pimIntf->intfStatusIs(v20)->routeIs(IpGenPrefix("10.2.0.0/16"));
  EXPECT_FALSE(mroute(key("10.2.0.0/16", "224.0.0.0/4")));
}

TEST_F(Ingest, AnInterfaceThatRoutesLeanOnOutlivesItsPrefixes) {
  IpGenPrefix const subnet("10.1.0.0/16");
  t->routeIs(starG(wc, v10));
  pim(v10)->routeIs(subnet);
  pim(v10)->routeDel(subnet);
  EXPECT_EQ(refCount(v10), 1u);
}
