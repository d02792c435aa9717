// Changes of the switch: each reaches every route that depends on it, in every VRF, and only routes
// whose filters meet it. That none was missed, the fixture proves at the end of each scenario.
#include "tests/Switch.h"

namespace {

using namespace Tests;
using Bridging::VlanId;
using Bridging::Topology::PortState;

// Two routes come in on VLAN 10. One goes out in VLAN 20, as does one of VRF red, in which VLAN 20
// is not; the other goes out in VLAN 53, whose bit is another.
class ChangeTracking : public Switch {
 protected:
  ChangeTracking() {
    lagOperation = Brindle::lagExpand;
    for (char const * vrf : {"default", "red"}) configure(vrf);
    vlan(10, "Ethernet1");
    vlan(20, "Ethernet3 Ethernet4 Port-Channel5");
    vlan(40, "Ethernet8", "red");
    vlan(53, "Ethernet9");
    lag("Port-Channel5", "Ethernet6 Ethernet7");
    publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
    publish("10.0.0.1", "239.1.1.53", "Vlan10", "Vlan53");
    publish(record("10.0.0.4", "239.1.1.1", "Vlan40", "Vlan20", "pim.red"), "pim.red");
    settle();
  }
  std::string ports() { return outputs("10.0.0.1", "239.1.1.1"); }
  // Computations since the last time that this was asked.
  U32 computed(std::string_view vrf) {
    U32 & before = computed_[std::string(vrf)];
    U32 const now = routes(vrf).recomputations();
    return now - std::exchange(before, now);
  }
  Zet::Ptr<Bridging::Topology::TopoPortConfig> stp(U32 vid, std::string_view port) {
    return topology->topoConfigIs(Zet::String("vlan" + std::to_string(vid)))
        ->topoPortConfigIs(intf(port));
  }

 private:
  std::map<std::string, U32, std::less<>> computed_;
};

constexpr char const * allPorts = "Ethernet3@20 Ethernet4@20 Ethernet6@20 Ethernet7@20";
VlanId const vlan20(20);

}  // namespace

TEST_F(ChangeTracking, EachReachesEveryRouteThatDependsOnIt) {
  auto const expectPorts = [this](char const * what, char const * expected) {
    settle();
    EXPECT_EQ(ports(), expected) << what;
    EXPECT_EQ(outputs("10.0.0.4", "239.1.1.1", "red"), expected) << what;
  };
  topology->topoConfigIs(Zet::String("vlan20"))->topoPortConfigDel(intf("Ethernet3"));
  expectPorts("a port's tree state goes", "Ethernet4@20 Ethernet6@20 Ethernet7@20");
  auto const other = topology->topoConfigIs(Zet::String("other"));
  topology->vidToTopoMapIs(vlan20, other);
  topology->topoConfigDel(Zet::String("vlan20"));
  expectPorts("a VLAN runs in another tree", "");
  for (auto port : {"Ethernet3", "Port-Channel5"}) {
    other->topoPortConfigIs(intf(port))->stateIs(PortState::forwarding);
  }
  expectPorts("a tree of that VLAN changes", "Ethernet3@20 Ethernet6@20 Ethernet7@20");
  intfVlans->internalVlanIdIs(intf("Vlan20"), Bridging::VlanIdOrNone(53));
  expectPorts("a VLAN is routed by another number", "Ethernet9@53");
  intfVlans->internalVlanIdDel(intf("Vlan20"));
  expectPorts("and by its own", "Ethernet3@20 Ethernet6@20 Ethernet7@20");
  intfVlans->internalVlanIdIs(intf("Vlan20"), Bridging::VlanIdOrNone(53));
  expectPorts("a VLAN without an entry of its own", "Ethernet9@53");
  intfVlans->internalVlanIdDel(intf("Vlan20"));
  Made<Lag::ConfigDir> lagConfig;
  agent->mira()->lagConfigDirIs(lagConfig);
  lagConfig->phyIntfIs(intf("Ethernet7"))->lagIs(intf("Port-Channel5"));
  for (auto port : {"Ethernet3", "Port-Channel5"}) {
    bridging->vlanConfigIs(vlan20)->intfIs(intf(port), true);
  }
  settle();
  agent->mira()->configuredLagMembersInOifSetIs(true);
  expectPorts("LAG members are taken as configured", "Ethernet3@20 Ethernet7@20");
  lagConfig->phyIntfDel(intf("Ethernet7"));
  expectPorts("the last configured member leaves a LAG", "Ethernet3@20");
  bridging->vlanConfigIs(vlan20)->intfDel(intf("Ethernet3"));
  expectPorts("a configured port leaves a VLAN", "");
  bridging->vlanConfigIs(vlan20)->intfIs(intf("Ethernet3"), true);
  expectPorts("and comes back", "Ethernet3@20");
  bridging->vlanConfigDel(vlan20);
  expectPorts("a VLAN is configured no longer", "");
}

TEST_F(ChangeTracking, OnlyRoutesWhoseFiltersMeetTheChangeAreComputed) {
  computed("default");
  computed("red");
  block(20, "Ethernet3");
  settle();
  EXPECT_EQ(computed("default"), 1u);
  EXPECT_EQ(computed("red"), 1u);
  vlan(52, "Ethernet9");  // the bit of VLAN 20
  settle();
  EXPECT_EQ(computed("default"), 1u);
  EXPECT_EQ(routes().noChangeRecomputations(), 1u);
  for (U32 vid = 1; vid <= 4094; ++vid) {
    if (vid % 32 != 10 && vid % 32 != 20 && vid % 32 != 53 % 32) vlans->vlanStatusIs(VlanId(vid));
  }
  settle();
  EXPECT_EQ(computed("default"), 0u);
}

// They hold on to it until they run in another.
TEST_F(ChangeTracking, ATreeThatGoesMarksItsVlans) {
  computed("default");
  topology->topoConfigDel(Zet::String("vlan20"));
  settle();
  EXPECT_EQ(computed("default"), 1u);
}

TEST_F(ChangeTracking, ARouteFollowsItsInputInterfaceIntoAVrf) {
  vlan(60, "Ethernet10", "");
  publish("10.0.0.6", "239.1.1.6", "Vlan60", "Vlan20");
  settle();
  EXPECT_EQ(outputs("10.0.0.6", "239.1.1.6"), "not computed");
  ip->ipIntfStatusIs(intf("Vlan60"))->vrfIs(L3::VrfName("default"));
  settle();
  EXPECT_EQ(outputs("10.0.0.6", "239.1.1.6"), allPorts);
  ip->ipIntfStatusIs(intf("Vlan60"))->vrfIs({});
  block(60, "Ethernet10");  // a mark that meets the route while it cannot be computed
  settle();
  intfVlans->internalVlanIdIs(intf("Vlan60"), Bridging::VlanIdOrNone(61));
  ip->ipIntfStatusIs(intf("Vlan60"))->vrfIs(L3::VrfName("default"));
  settle();
  EXPECT_EQ(iifVlan("10.0.0.6", "239.1.1.6"), 61u);
}

// What a tree says of its ports is counted for whoever asks, beside the marks.
TEST_F(ChangeTracking, ForwardingPortsOfATreeAreCounted) {
  auto count = [this] { return agent->mira()->forwardingPorts(Zet::String("vlan20")); };
  EXPECT_EQ(count(), 3u);
  stp(20, "Ethernet3")->stateIs(PortState::learning);
  topology->topoConfigIs(Zet::String("vlan20"))->topoPortConfigDel(intf("Ethernet4"));
  EXPECT_EQ(count(), 1u);
  topology->vidToTopoMapDel(vlan20);  // its last VLAN
  EXPECT_EQ(count(), 0u);
  EXPECT_EQ(agent->mira()->oldVidToTopoMap(vlan20), Zet::String());
}
