// From a published route and the state of the switch to accepting VLAN, output set, special entries
// and filters, by the full and by the incremental path.
#include <random>

#include "mira/Expansion.h"
#include "mira/Mira.h"
#include "tests/Switch.h"

namespace Tests {

using namespace Brindle;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;

class Computation : public Switch {
 protected:
  // VLANs 10 to 12: one input port; 20 and 30 with listeners.
  void threeVlans() {
    vlan(10, "Ethernet1");
    vlan(20, "Ethernet2 Ethernet3");
    vlan(30, "Ethernet3 Ethernet4");
  }
};

TEST_F(Computation, ANoRpfInterfaceWithoutVlanStillSetsNoRpf) {
  threeVlans();
  ip->ipIntfStatusIs(intf("Tunnel1"))->vrfIs(L3::VrfName("default"));
  Route route = record("10.0.0.1", "239.1.1.1", "", "Tunnel1:ar Vlan20");
  route.iifIs(intf("Tunnel1"));
  route.flagsIs(Route::acceptAny);
  publish(route);
  settle();
  auto m = mroute("10.0.0.1", "239.1.1.1");
  EXPECT_TRUE(m->noRpf());
  EXPECT_EQ(m->acceptingIntfId(), intf("Tunnel1"));
  EXPECT_EQ(entries(), "(10.0.0.1, 239.1.1.1)@0 -> Ethernet2@20 Ethernet3@20");
  EXPECT_EQ(m->vlanFilter() & 1, 1u) << "this is how it is found when the interface gets a VLAN";
}

// What platforms ask for themselves.
TEST_F(Computation, LagsOfASetOfAPlatformAreResolved) {
  lagOperation = lagDesignated;
  lag("Port-Channel1", "Ethernet4 Ethernet5 Ethernet6 PeerEthernet5");
  start();
  PortVlanSet plain, found;
  plain.portVlanIs({intf("Ethernet9"), VlanIdOrNone(20), 0}, true);
  found.portVlanIs({intf("Port-Channel1"), VlanIdOrNone(20), 0}, true);
  PortVlanSet set = root().resolveAndAddLagsToPvSet("default", VlanIdOrNone(10),
                                                    key("10.0.0.1", "239.1.0.1"), plain, found);
  EXPECT_EQ(set.pretty(), "vlan 20: Et4 Et9");
}

TEST_F(Computation, LagsPassOnlyWhereNoHelperOrTheHelperLetsThem) {
  lagOperation = lagPass;
  struct Passing : MiraHelper {
    using MiraHelper::MiraHelper;
    bool isIntfHwLag(Nettle::IntfId) override { return true; }
    bool passLag(PortVlanSet const &, PortVlanSet const &, L3::VrfName const &,
                 Key const &) override {
      return pass;
    }
    bool pass = true;
  };
  vlan(10, "Ethernet1");
  vlan(20, "Port-Channel1");
  lag("Port-Channel1", "Ethernet5 Ethernet6");
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Port-Channel1@20");
  auto helper = Zet::make<Passing>(agent->mira().get());
  agent->mira()->miraHelperIs(helper);
  reviewAll();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Port-Channel1@20");
  helper->pass = false;
  reviewAll();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet5@20 Ethernet6@20");
}

TEST_F(Computation, SpecialEntriesHaveTheirFeatureFlagsAndDependOnTheInput) {
  threeVlans();
  for (U32 vid : {40u, 41u, 42u, 43u}) vlan(vid, "Ethernet5");
  struct Telling : MiraHelper {
    using MiraHelper::MiraHelper;
    U32 doGetMiraFeatureFlag(L3::VrfName const &, Key const &, PortVlanSet const & set,
                             Iterator const *) override {
      return (set.toCpu() ? 1 : 0) + (set.fastdropSet() ? 2 : 0);
    }
  };
  start();
  agent->mira()->miraHelperIs(Zet::make<Telling>(agent->mira().get()));
  Route route = record("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan40:n Vlan41:p Vlan42:b");
  route.notifyIs(intf("Vlan40"));
  route.notifyProgrammableIs(true);
  route.staticFastdropIntfIs(intf("Vlan41"));
  route.iifFrrIs(intf("Vlan42"));
  publish(route);
  settle();
  auto m = mroute("10.0.0.1", "239.1.1.1");
  EXPECT_EQ(m->notifyOifSet()->portVlanSet().featureFlag(), 1u);
  EXPECT_EQ(m->staticFastdropOifSet()->portVlanSet().featureFlag(), 3u);
  EXPECT_EQ(m->frrOifSet()->portVlanSet().featureFlag(), 2u);
  m->fastdropIs(VlanId(43), m->staticFastdropOifSet());
  reviewAll();
  EXPECT_EQ(m->fastdrop(VlanId(43))->portVlanSet().featureFlag(), 2u);
  m->fastdropDel(VlanId(43));
  route.oifIs(oifIndex("Vlan20", "pim.default"), false);
  publish(route);
  settle();
  EXPECT_TRUE(m->optimizeStatus());
  EXPECT_TRUE(m->vlanPortFilter() & vlanPortBit(VlanId(10), intf("Ethernet1")))
      << "a patch leaves them as they are";
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
}

TEST_F(Computation, AFastRerouteInputInTheVlanOfTheInputIsNone) {
  threeVlans();
  intfVlans->internalVlanIdIs(intf("Ethernet9"), VlanIdOrNone(10));
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Ethernet9:b");
  settle();
  EXPECT_FALSE(mroute("10.0.0.1", "239.1.1.1")->frrVlanId());
}

TEST_F(Computation, ABackupOfARouteWithoutInputVlanSendsToLogicalInterfaces) {
  struct Tunnels : MiraHelper {
    using MiraHelper::MiraHelper;
    OutLif doGetOutLifValue(VlanId vid, Nettle::IntfId,
                            Routing::Multicast::Fib::RouteKeyType) const override {
      return OutLif(5000 + VlanIdOrNone(vid).value());
    }
  };
  threeVlans();
  start();
  agent->mira()->miraHelperIs(Zet::make<Tunnels>(agent->mira().get()));
  publish(record("10.0.0.1", "239.1.1.1", "", "Vlan20 Vlan30:b"));
  settle();
  auto m = mroute("10.0.0.1", "239.1.1.1");
  EXPECT_EQ(m->frrVlanId().value(), 30);
  EXPECT_EQ(m->frrOifSet()->portVlanSet().portVlan(), m->oifSet()->portVlanSet().portVlan());
}

TEST_F(Computation, AConnectedPrefixThatATableHoldsIsARouteLikeAnyOther) {
  threeVlans();
  Routing::Multicast::Fib::PimIntf::PrefixKey const prefix{Nettle::IpGenPrefix("10.9.0.0/24"),
                                                           "default"};
  pimIntf->srcToIntfMapIs(prefix, intf("Vlan10"));
  Route route = record("10.9.0.0/24", "224.0.0.0/4", "", "Vlan20");
  route.iifIs(intf("Vlan10"));
  publish(route);
  settle();
  EXPECT_EQ(outputs("10.9.0.0/24", "224.0.0.0/4"), "Ethernet2@20 Ethernet3@20 cpu");
  EXPECT_EQ(iifVlan("10.9.0.0/24", "224.0.0.0/4"), 0u) << "no output of it accepts";
  pimIntf->srcToIntfMapDel(prefix);
}

TEST_F(Computation, ARouteWhoseInputMovesToAnotherVrfKeepsItsOutput) {
  threeVlans();
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
  ip->ipIntfStatusIs(intf("Vlan10"))->vrfIs(L3::VrfName("blue"));
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan30");
  settle();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet2@20 Ethernet3@20");
  ip->ipIntfStatusIs(intf("Vlan10"))->vrfIs(L3::VrfName("default"));
  reviewAll();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet3@30 Ethernet4@30");
}

TEST_F(Computation, ChangedOutputsArePatchedAndAllElseIsComputedAfresh) {
  threeVlans();
  vlan(40, "Ethernet5");
  auto patched = [&] { return mroute("10.0.0.1", "239.1.1.1")->optimizeStatus(); };
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
  EXPECT_FALSE(patched()) << "the first computation";
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan30 Vlan40");
  settle();
  EXPECT_TRUE(patched());
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet3@30 Ethernet4@30 Ethernet5@40");
  table("pim.default").oifIndexIntfIs(oifIndex("Vlan30", "pim.default"), {intf("Vlan20"), 1});
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan30");
  settle();
  EXPECT_FALSE(patched()) << "the index of Vlan30 now means Vlan20";
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet2@20 Ethernet3@20");
}

// What the output was that has gone cannot be told any more.
TEST_F(Computation, AnIndexThatChangedHandsIsNotPatchedAway) {
  threeVlans();
  for (bool const sameIntf : {false, true}) {
    publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
    settle();
    publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan30");
    settle();
    ASSERT_TRUE(mroute("10.0.0.1", "239.1.1.1")->optimizeStatus());
    auto const accepting = oifIndex("Vlan10:a", "pim.default");
    Shoal::Multicast::Fib::OifIndexIntf const is{intf(sameIntf ? "Vlan10" : "Vlan20"), 1};
    table("pim.default").oifIndexIntfIs(accepting, is);
    publish("10.0.0.1", "239.1.1.1", "Vlan30", "Vlan20");
    settle();
    EXPECT_EQ(iifVlan("10.0.0.1", "239.1.1.1"), 30u);
    table("pim.default").oifIndexIntfIs(accepting, {intf("Vlan10"), 2});
  }
}

TEST_F(Computation, AnIndexWithoutInterfaceLeavesTheRouteDirtyUntilTheNextPublication) {
  threeVlans();
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
  Route route = record("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan30");
  table("pim.default").oifIndexIntfIs(oifIndex("Vlan30", "pim.default"), {});
  publish(route);
  settle();
  EXPECT_TRUE(mroute("10.0.0.1", "239.1.1.1")->dirty());
  table("pim.default").oifIndexIntfIs(oifIndex("Vlan30", "pim.default"), {intf("Vlan30"), 1});
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan30");
  settle();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet3@30 Ethernet4@30");

  // An output that stays may lose its interface, too, and must not hide what is behind it.
  vlan(40, "Ethernet5");
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan30");
  settle();
  auto vlan20 = oifIndex("Vlan20", "pim.default");
  table("pim.default").oifIndexIntfIs(vlan20, {});
  table("pim.default").oifIndexIntfIs(oifIndex("Vlan30", "pim.default"), {intf("Vlan40"), 1});
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan30 Vlan10:af");
  settle();
  EXPECT_TRUE(mroute("10.0.0.1", "239.1.1.1")->dirty()) << "not patched";
  table("pim.default").oifIndexIntfIs(vlan20, {intf("Vlan20"), 1});
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20 Vlan30");
  settle();
  EXPECT_EQ(outputs("10.0.0.1", "239.1.1.1"), "Ethernet2@20 Ethernet3@20 Ethernet5@40");
}

// Random publications: after each burst the patched sets are those of a full computation, and the
// filters, too, but that wide ones may have a bit too many.
TEST_F(Computation, PatchingAndComputingAfreshAgree) {
  std::mt19937 random(42);
  vlan(10, "Ethernet1");
  for (U32 v = 20; v < 60; ++v) {
    std::string ports = "Ethernet" + std::to_string(v) + " Ethernet" + std::to_string(v % 7 + 2);
    vlan(v, ports);
    if (v % 3 == 0) join(v, "239.1.1.1", "Ethernet" + std::to_string(v));
  }
  U32 patched = 0;
  for (int round = 0; round < 150; ++round) {
    std::string outs;
    bool wide = round % 4 == 0;
    for (U32 v = 20; v < 60; ++v) {
      if ((random() % 8 == 0) != wide) outs += " Vlan" + std::to_string(v);
    }
    if (random() % 10 == 0) outs += " Vlan21:n";
    bool both = random() % 2;
    publish("10.0.0.1", "239.1.1.1", "Vlan10", outs);
    if (both) publish("10.0.0.2", "239.1.1.1", "Vlan10", outs);
    settle();
    auto m = mroute("10.0.0.1", "239.1.1.1");
    patched += m->optimizeStatus();
    std::string set = outputs("10.0.0.1", "239.1.1.1");
    Filters filters = m->filters();
    reviewAll();
    ASSERT_EQ(set, outputs("10.0.0.1", "239.1.1.1")) << "round " << round << ":" << outs;
    if (!wide) {
      ASSERT_EQ(filters.vlanPort, m->vlanPortFilter());
    }
    Filters needed = m->filters();
    ASSERT_TRUE((needed |= filters) == filters) << "round " << round << ":" << outs;
  }
  EXPECT_GT(patched, 100u) << "the cheap path must have run";
  EXPECT_EQ(tables->oifSet().size(),
            1u + (outputs("10.0.0.2", "239.1.1.1") != "-" &&
                  outputs("10.0.0.2", "239.1.1.1") != outputs("10.0.0.1", "239.1.1.1")));
}

TEST_F(Computation, APrefixGroupIsOfRoutesOnlyAndEvpnSetsAreNotExpanded) {
  vlan(20, "Ethernet2");
  start();
  noRecheck("nothing is published");
  PortVlanSet set;
  using namespace Routing::Multicast::Fib;
  Expansion prefix(*agent->mira(), {vlanFloodset_, {}, true}, set);
  EXPECT_DEATH(prefix.addVlanToPortVlanSet(VlanId(20)),
               "!isPrefixGroup .. forwardingType == Routing::Multicast::Fib::mroute_");
  Expansion evpn(*agent->mira(), {evpnMultihomeFloodset_, {}, false}, set);
  EXPECT_DEATH(evpn.addVlanToPortVlanSet(VlanId(20)),
               "forwardingType != Routing::Multicast::Fib::evpnMultihomeFloodset_");
  EXPECT_DEATH(ethAddrFromIpAddr(Nettle::IpGenAddr()), "Unknown Address family");
}

}  // namespace Tests
