// L2 routes, from the state of the switch to the chips.
#include <cstdlib>

#include "mira/MiraHelper.h"
#include "mira/MiraL2.h"
#include "tests/Switch.h"

namespace Tests {

using namespace Brindle;
using namespace Routing::Multicast::Fib;
using Bridging::VlanId;

class Floodsets : public Switch {
 protected:
  Floodsets() { l2Enabled = true; }

  // A peer of a VLAN, with the ports that it lets through.
  Evpn::EvpnPeerVlanFloodStatus & peer(U32 vid, std::string_view tep, std::string_view ports = "") {
    auto p = evpn->vlanFloodSetIs(VlanId(vid))->tepFilterIs(Nettle::IpGenAddr(tep));
    for (auto const & port : words(ports)) p->floodFilterIs(intf(port), true);
    return *p;
  }
  void leave(U32 vid, std::string_view tep) {
    evpn->vlanFloodSetIs(VlanId(vid))->tepFilterDel(Nettle::IpGenAddr(tep));
  }
  static Key toPeer(U32 vid, std::string_view tep) {
    return makeRouteKeyEvpnMultihomeFloodset(VlanId(vid), Nettle::IpGenAddr(tep));
  }
  static Key group(U32 vid, std::string_view mac) {
    return makeRouteKeyEthGroup(VlanId(vid), Nettle::EthAddr(mac));
  }
  void staticGroup(U32 vid, std::string_view mac, std::string_view ports) {
    auto g = bridging->fdbConfigIs(VlanId(vid))->ethGroupIs(Nettle::EthAddr(mac));
    for (auto const & p : words(ports)) g->intfIs(intf(p), true);
  }
  // All of a VLAN, by kind: "vlan | unknown | core side".
  std::string floods(U32 vid) {
    VlanId const v(vid);
    return floodset(makeRouteKeyVlanFloodset(v)) + " | " +
           floodset(makeRouteKeyMulticastFloodset(v)) + " | " +
           floodset(makeRouteKeyVxlanCoreSideFloodset(v));
  }
  MrouteTable & l2() { return *tables->l2FloodsetTable(); }
  Mroute & l2(Key const & key) { return *l2().mroute(key); }
  PortVlanSet const & set(Key const & key) { return l2(key).oifSet()->portVlanSet(); }
  MiraL2 & machine() { return *root().miraL2(); }

  Made<Evpn::EvpnVlanFilteredFloodSetDir> evpn;
  Key const vlan10 = makeRouteKeyVlanFloodset(VlanId(10));
  Key const unknown10 = makeRouteKeyMulticastFloodset(VlanId(10));
};

// --- Which routes stand

// Who hears of a group's end first may make it again: its old ports must not stay.
TEST_F(Floodsets, groupIsMadeAgainWhileItGoes) {
  struct Again : Bridging::FdbConfig::NotifieeConst {
    void onEthGroup(Nettle::EthAddr const & mac) override {
      if (!config->ethGroup(mac)) config->ethGroupIs(mac);
    }
    Bridging::FdbConfig * config = nullptr;
  };
  auto const config = bridging->fdbConfigIs(VlanId(10));
  auto const again = Zet::make<Again>();
  again->config = config.get();
  again->notifierIs(config.get());
  vlan(10, "Ethernet1");
  staticGroup(10, "01:aa:00:00:00:01", "Ethernet1");
  settle();
  config->ethGroupDel(Nettle::EthAddr("01:aa:00:00:00:01"));
  again->detach();
  settle();
  EXPECT_EQ("", floodset(group(10, "01:aa:00:00:00:01")));
}

// What an earlier machine left in the table goes, and that machine has no say any more.
TEST_F(Floodsets, rootIsMadeAgain) {
  for (U32 vid : {10u, 20u}) vlan(vid, "Ethernet1");
  settle();
  Zet::Ptr<MiraL2> const old(root().miraL2());
  old->doMarkAllVlansDirty();
  agent->miraDel();
  vlans->vlanStatusDel(VlanId(10));
  settle();
  EXPECT_EQ("- | - | -", floods(10));
  EXPECT_EQ("Ethernet1@20 | Ethernet1@20 | -", floods(20));
}

// --- What a set holds

// --- EVPN

TEST_F(Floodsets, evpnPeerWhoseFilterIsNoLongerComplete) {
  vlan(10, "Ethernet1 Ethernet2");
  auto & p = peer(10, "10.9.0.1", "Ethernet1 Ethernet2");
  p.initialSyncCompleteIs(true);
  root().vlanFilteredFloodSetDirIs(evpn);
  settle();
  p.initialSyncCompleteIs(false);
  p.floodFilterDel(intf("Ethernet2"));
  settle();
  EXPECT_EQ("Ethernet1@10 Ethernet2@10", floodset(toPeer(10, "10.9.0.1"))) << "what was stays";
  p.initialSyncCompleteIs(true);
}

// What stood under one directory and not under the next has departed.
TEST_F(Floodsets, evpnDirectoryIsExchanged) {
  vlan(10, "Ethernet1 Ethernet2");
  vlan(20, "Ethernet1");
  for (U32 vid : {10u, 20u}) peer(vid, "10.9.0.1", "Ethernet1").initialSyncCompleteIs(true);
  peer(10, "10.9.0.2", "Ethernet1").initialSyncCompleteIs(true);
  root().vlanFilteredFloodSetDirIs(evpn);
  settle();
  EXPECT_EQ("Ethernet1@20", floodset(toPeer(20, "10.9.0.1")));
  static_cast<Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir> &>(evpn) =
      Zet::make<Evpn::EvpnVlanFilteredFloodSetDir>();
  peer(10, "10.9.0.2", "Ethernet2").initialSyncCompleteIs(true);
  root().vlanFilteredFloodSetDirIs(evpn);
  settle();
  EXPECT_EQ("-", floodset(toPeer(10, "10.9.0.1")));
  EXPECT_EQ("Ethernet2@10", floodset(toPeer(10, "10.9.0.2")));
  EXPECT_EQ("-", floodset(toPeer(20, "10.9.0.1")));
  peer(10, "10.9.0.2", "Ethernet1");
  settle();
  EXPECT_EQ("Ethernet1@10 Ethernet2@10", floodset(toPeer(10, "10.9.0.2")));
  peer(10, "10.9.0.3");
  root().vlanFilteredFloodSetDirIs(nullptr);
  settle();
  EXPECT_EQ("-", floodset(toPeer(10, "10.9.0.2"))) << "and one that is not complete is no fault";
}

TEST_F(Floodsets, brokenInvariants) {
  vlan(10, "Ethernet1");
  peer(10, "10.9.0.1");
  root().vlanFilteredFloodSetDirIs(evpn);
  EXPECT_DEATH(leave(10, "10.9.0.1"), "peerFloodStatus");
  EXPECT_DEATH(root().handleL2Route(), "l2Routes\\(\\) == 0");
  peer(10, "10.9.0.1").initialSyncCompleteIs(true);
}

// --- VXLAN

struct Environment {
  Environment(char const * name, char const * value) : name_(name) { setenv(name, value, 1); }
  ~Environment() { unsetenv(name_); }
  char const * const name_;
};

TEST_F(Floodsets, coreSideOfTheSimulatedPlatform) {
  Environment const used("useVxlanCoreSideFloodset", ""), everywhere("floodToAllVteps", "");
  Environment const vteps("vtepFloodsetPortOutLifSet", "5001,Vxlan1\nnone\n5002,Ethernet7\n");
  auto helper = Zet::make<MiraHelper>(&root());
  helper->simModeIs(true);
  root().miraHelperIs(helper);
  vlan(10, "Ethernet1");
  vlan(20, "Ethernet2");
  publish("10.0.0.1", "239.1.1.1", "Vlan20", "Vlan10");
  root().vxlanVlanIs(VlanId(10), true);
  settle();
  std::string const all = "Ethernet1@10 Vxlan1@5001 Ethernet7@5002";
  EXPECT_EQ(all + " | " + all + " | Ethernet1@10", floods(10));
  EXPECT_NE(entries().find("vxlanCoreSideFloodset vlan 10@10 -> Ethernet1@10"), std::string::npos);
  EXPECT_EQ("Ethernet1@10 Vxlan1@10", outputs("10.0.0.1", "239.1.1.1"));
  EXPECT_EQ(0u, set(vlan10).flags());
  EXPECT_EQ("Ethernet2@20 | Ethernet2@20 | -", floods(20));
  // PIM is asked by the name of the routed interface, also while another one has the VLAN.
  intfVlans->internalVlanIdDel(intf("Vlan10"));
  intfVlans->internalVlanIdIs(intf("Ethernet8"), Bridging::VlanIdOrNone(10));
  settle();
  overVxlan->vxlanIntfIs(intf("Vlan10"), true);
  settle();
  EXPECT_EQ(all + " | Ethernet1@10 | Ethernet1@10", floods(10));
  overVxlan->vxlanIntfDel(intf("Vlan10"));
  root().vxlanVlanIs(VlanId(10), false);
  settle();
  EXPECT_EQ("Ethernet1@10 | Ethernet1@10 | -", floods(10));
}

TEST_F(Floodsets, pimOverVxlanLeavesTheCoreToVlansThatAreExtended) {
  for (U32 vid : {10u, 20u}) vlan(vid, "Ethernet1");
  root().vxlanVlanIs(VlanId(20), true);
  overVxlan->vxlanIntfIs(intf("Vlan10"), true);
  settle();
  overVxlan->vxlanIntfDel(intf("Vlan10"));
  settle();
  EXPECT_EQ("Ethernet1@10 | Ethernet1@10 | -", floods(10));
  EXPECT_EQ("Ethernet1@20 | Ethernet1@20 | Ethernet1@20", floods(20));
}

// --- Review

TEST_F(Floodsets, sameSetIsKept) {
  vlan(10, "Ethernet1");
  settle();
  auto const before = l2(vlan10).oifSet();
  l2(vlan10).versionIs(0xffffffff);
  machine().doMarkVlanDirty(VlanId(10));
  settle();
  EXPECT_EQ(1u, l2(vlan10).version());
  EXPECT_EQ(before, l2(vlan10).oifSet());
  EXPECT_EQ(vlanBit(VlanId(10)), l2(vlan10).vlanFilter());
  EXPECT_EQ(vlanPortBit(VlanId(10), intf("Ethernet1")), l2(vlan10).vlanPortFilter());
  EXPECT_EQ(0u, l2(vlan10).vlanGroupFilter());
}

// A platform that finds, while a set is computed, that it has to be computed anew.
TEST_F(Floodsets, markDuringTheComputation) {
  struct Marking : MiraHelper {
    using MiraHelper::MiraHelper;
    U32 doGetMiraFeatureFlag(L3::VrfName const &, Key const & key, PortVlanSet const &,
                             Iterator const *) override {
      if (key == marked) miraRoot()->miraL2()->markMrouteDirty(std::exchange(marked, {}));
      return 0;
    }
    Key marked;
  };
  vlan(10, "Ethernet1");
  settle();
  auto const helper = Zet::make<Marking>(&root());
  helper->marked = vlan10;
  U32 const before = l2(vlan10).version();
  root().miraHelperIs(helper);
  settle();
  EXPECT_EQ(before + 2, l2(vlan10).version());
}

// Who hears that the only route goes may want others.
TEST_F(Floodsets, onlyRouteGivesWayToOthers) {
  struct Next : MrouteTable::NotifieeConst {
    void onMroute(Key const &) override {
      if (root && table->mroute().empty()) std::exchange(root, nullptr)->l2RouteIs(next, true);
    }
    Key next;
    MiraRoot * root = nullptr;
    MrouteTable * table = nullptr;
  };
  start();
  Key const only = group(10, "01:aa:00:00:00:01");
  root().l2RouteIs(only, true);
  settle();
  auto const next = Zet::make<Next>();
  next->next = group(10, "01:aa:00:00:00:02");
  next->root = &root();
  next->table = &l2();
  next->notifierIs(&l2());
  root().l2RouteDel(only);
  settle();
  EXPECT_EQ("", floodset(next->next)) << "it stands, and is computed";
  next->detach();
  root().l2RouteDel(next->next);
}

TEST_F(Floodsets, onlyWhatAMarkMeetsIsComputed) {
  for (U32 vid : {10u, 11u}) vlan(vid, "Ethernet1");
  settle();
  U32 const ten = l2(vlan10).version(), unknown = l2(unknown10).version();
  vlan(11, "Ethernet2");
  pimEnabled->pimVlanEnabledIs(VlanId(10), true);
  settle();
  EXPECT_EQ(ten, l2(vlan10).version());
  EXPECT_EQ(unknown + 1, l2(unknown10).version()) << "PIM concerns one route of the VLAN";
}

TEST_F(Floodsets, emptyTableIsReviewedAtOnce) {
  start();
  EXPECT_FALSE(l2().mroutesInitialized());
  machine().doMarkAllVlansDirty();
  settle();
  EXPECT_TRUE(l2().mroutesInitialized());
  EXPECT_FALSE(l2().dirtyInfo()->isDirty());
  EXPECT_FALSE(machine().reviewInProgress());
}

// Slices of one route each: whatever changes between any two of them is caught by the same pass,
// also where the routes go at which it began and at which it stands.
TEST_F(Floodsets, passIsCutAnywhere) {
  for (U32 vid = 10; vid < 14; ++vid) vlan(vid, "Ethernet1");
  settle();
  clock->readCostIs(0.06);
  for (U32 slices = 1; slices <= 8; ++slices) {
    SCOPED_TRACE(slices);
    machine().doMarkAllVlansDirty();
    for (U32 n = 0; n < slices; ++n) clock->nowIs(std::max(clock->earliest(), clock->shown()));
    EXPECT_EQ(slices < 8, machine().reviewInProgress());
    EXPECT_EQ(slices < 8, reviewInfo->review("floodset") == machine().review());
    VlanId const first(machine().startingBookmark().kind() ? machine().startingBookmark().vlanId()
                                                           : VlanId(10));
    vlans->vlanStatusDel(first);
    vlan(13, slices % 2 ? "Ethernet2" : "Ethernet3");
    settle();
    EXPECT_EQ("- | - | -", floods(first.value()));
    EXPECT_FALSE(machine().reviewInProgress());
    EXPECT_EQ(0u, l2().dirtyMroutes());
    vlan(first.value(), "Ethernet1");
    settle();
  }
  clock->readCostIs(0);
}

TEST_F(Floodsets, delayedSlicesWaitForTheNextChange) {
  for (U32 vid : {10u, 11u}) vlan(vid, "Ethernet1");
  settle();
  machine().reviewDelayIs(1);
  clock->readCostIs(0.06);
  machine().doMarkAllVlansDirty();
  settle();
  clock->readCostIs(0);
  EXPECT_TRUE(machine().reviewInProgress());
  U32 const pass = machine().review();
  machine().doMarkVlanDirty(VlanId(10));
  settle();
  EXPECT_FALSE(machine().reviewInProgress());
  EXPECT_EQ(pass + 2, machine().review()) << "a change, and a pass that is resumed";
}

// --- Chips

}  // namespace Tests
