// Changes of the switch: each reaches every route that depends on it, in every VRF, and only routes
// whose filters meet it. That none was missed, the fixture proves at the end of each scenario.
#include <functional>

#include "tests/Switch.h"

namespace {

using namespace Tests;
using Bridging::VlanId;
using Bridging::VlanPortMode;
using Bridging::Topology::PortState;

// Two routes come in on VLAN 10. One goes out in VLAN 20, as does one of VRF red, in which VLAN 20
// is not; the other goes out in VLAN 53, whose bit is another.
class ChangeTracking : public Switch {
 public:
  // For the table of changes.
  using Switch::agent;
  using Switch::bridging;
  using Switch::intfVlans;
  using Switch::join;
  using Switch::lags;
  using Switch::mlag;
  using Switch::nat;
  using Switch::settle;
  using Switch::snoop;
  using Switch::snooping;
  using Switch::topology;
  using Switch::vlans;

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
  void takeConfiguredLags() {
    agent->mira()->lagConfigDirIs(lagConfig);
    agent->mira()->configuredLagMembersInOifSetIs(true);
  }
  Made<Lag::ConfigDir> lagConfig;
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
  Zet::Ptr<Bridging::IgmpSnooping::EthGroup> group20() {
    return snooping->vlanStatusIs(VlanId(20))->ethGroupIs(Nettle::EthAddr("01:00:5e:01:01:01"));
  }

 private:
  std::map<std::string, U32, std::less<>> computed_;
};

struct Change {
  char const * name;
  std::function<void(ChangeTracking &)> prepare;
  std::function<void(ChangeTracking &)> change;
  char const * ports;  // that the route in VLAN 20 then has
};

class EachChange : public ChangeTracking, public testing::WithParamInterface<Change> {};

std::ostream & operator<<(std::ostream & out, Change const & c) { return out << c.name; }

void nothing(ChangeTracking &) {}

constexpr char const * allPorts = "Ethernet3@20 Ethernet4@20 Ethernet6@20 Ethernet7@20";
VlanId const vlan20(20);

std::vector<Change> changes() {
  return {
      {"a port is blocked", nothing,
       [](ChangeTracking & t) { t.stp(20, "Ethernet3")->stateIs(PortState::discarding); },
       "Ethernet4@20 Ethernet6@20 Ethernet7@20"},
      {"a port's tree state goes", nothing,
       [](ChangeTracking & t) {
         t.topology->topoConfigIs(Zet::String("vlan20"))->topoPortConfigDel(intf("Ethernet3"));
       },
       "Ethernet4@20 Ethernet6@20 Ethernet7@20"},
      {"a VLAN runs in another tree", nothing,
       [](ChangeTracking & t) {
         auto other = t.topology->topoConfigIs(Zet::String("other"));
         other->topoPortConfigIs(intf("Ethernet4"))->stateIs(PortState::forwarding);
         t.topology->vidToTopoMapIs(vlan20, other);
       },
       "Ethernet4@20"},
      {"a tree of that VLAN changes",
       [](ChangeTracking & t) {
         auto other = t.topology->topoConfigIs(Zet::String("other"));
         t.topology->vidToTopoMapIs(vlan20, other);
         t.topology->topoConfigDel(Zet::String("vlan20"));
       },
       [](ChangeTracking & t) {
         t.topology->topoConfigIs(Zet::String("other"))
             ->topoPortConfigIs(intf("Ethernet3"))
             ->stateIs(PortState::forwarding);
       },
       "Ethernet3@20"},
      {"a VLAN runs in none", nothing,
       [](ChangeTracking & t) { t.topology->vidToTopoMapDel(vlan20); }, ""},
      {"a VLAN goes down", nothing, [](ChangeTracking & t) { t.vlans->vlanStatusDel(vlan20); }, ""},
      {"a VLAN comes up", [](ChangeTracking & t) { t.vlans->vlanStatusDel(vlan20); },
       [](ChangeTracking & t) {
         t.vlans->vlanStatusIs(vlan20)->vlanPortStatusIs(intf("Ethernet4"), {VlanPortMode::tagged});
       },
       "Ethernet4@20"},
      {"a port leaves a VLAN", nothing,
       [](ChangeTracking & t) {
         t.vlans->vlanStatusIs(vlan20)->vlanPortStatusDel(intf("Ethernet4"));
       },
       "Ethernet3@20 Ethernet6@20 Ethernet7@20"},
      {"snooping comes on", nothing, [](ChangeTracking & t) { t.snoop(20); }, ""},
      {"snooping goes off", [](ChangeTracking & t) { t.snoop(20); },
       [](ChangeTracking & t) { t.snooping->vlanStatusDel(vlan20); }, allPorts},
      {"a host joins", [](ChangeTracking & t) { t.snoop(20); },
       [](ChangeTracking & t) { t.join(20, "239.1.1.1", "Ethernet3"); }, "Ethernet3@20"},
      {"a host leaves", [](ChangeTracking & t) { t.join(20, "239.1.1.1", "Ethernet3 Ethernet4"); },
       [](ChangeTracking & t) { t.group20()->intfDel(intf("Ethernet3")); }, "Ethernet4@20"},
      {"the last host leaves", [](ChangeTracking & t) { t.join(20, "239.1.1.1", "Ethernet3"); },
       [](ChangeTracking & t) {
         t.snooping->vlanStatusIs(vlan20)->ethGroupDel(Nettle::EthAddr("01:00:5e:01:01:01"));
       },
       ""},
      {"a router appears", [](ChangeTracking & t) { t.snoop(20); },
       [](ChangeTracking & t) {
         t.snooping->vlanStatusIs(vlan20)->routerIntfIs(intf("Ethernet4"), true);
       },
       "Ethernet4@20"},
      {"a snooped VLAN floods", [](ChangeTracking & t) { t.snoop(20); },
       [](ChangeTracking & t) { t.snooping->vlanStatusIs(vlan20)->useVlanFloodsetIs(true); },
       allPorts},
      {"a snooped VLAN floods no longer",
       [](ChangeTracking & t) {
         t.join(20, "239.1.1.1", "Ethernet3");
         t.snooping->vlanStatusIs(vlan20)->useVlanFloodsetIs(true);
         t.settle();
         t.join(20, "239.1.1.1", "Ethernet4");
       },
       [](ChangeTracking & t) { t.snooping->vlanStatusIs(vlan20)->useVlanFloodsetIs(false); },
       "Ethernet3@20 Ethernet4@20"},
      {"a LAG member fails", nothing,
       [](ChangeTracking & t) {
         t.lags->intfStatusIs(intf("Port-Channel5"))->memberDel(intf("Ethernet6"));
       },
       "Ethernet3@20 Ethernet4@20 Ethernet7@20"},
      {"a LAG goes", nothing,
       [](ChangeTracking & t) { t.lags->intfStatusDel(intf("Port-Channel5")); },
       "Ethernet3@20 Ethernet4@20"},
      {"a LAG that the MLAG peer knows gets a port here",
       [](ChangeTracking & t) {
         t.lags->intfStatusDel(intf("Port-Channel5"));
         t.mlag->intfStatusIs(intf("Port-Channel5"));
       },
       [](ChangeTracking & t) {
         t.mlag->intfStatusIs(intf("Port-Channel5"))->localIntfIs(intf("Ethernet7"));
       },
       "Ethernet3@20 Ethernet4@20 Ethernet7@20"},
      {"LAG members are taken as configured", nothing,
       [](ChangeTracking & t) {
         t.takeConfiguredLags();
         t.lagConfig->phyIntfIs(intf("Ethernet7"))->lagIs(intf("Port-Channel5"));
         auto vlan = t.bridging->vlanConfigIs(vlan20);
         for (auto port : {"Ethernet3", "Port-Channel5"}) vlan->intfIs(intf(port), true);
       },
       "Ethernet3@20 Ethernet7@20"},
      {"a configured LAG member moves",
       [](ChangeTracking & t) {
         t.takeConfiguredLags();
         for (auto port : {"Ethernet6", "Ethernet7"}) {
           t.lagConfig->phyIntfIs(intf(port))->lagIs(intf("Port-Channel5"));
         }
         t.bridging->vlanConfigIs(vlan20)->intfIs(intf("Port-Channel5"), true);
       },
       [](ChangeTracking & t) {
         t.lagConfig->phyIntfIs(intf("Ethernet6"))->lagIs(intf("Port-Channel8"));
       },
       "Ethernet7@20"},
      {"the group's address is translated", nothing,
       [](ChangeTracking & t) {
         Brindle::StaticNatIpInfo info;
         info.vlan.insert(vlan20);
         t.nat->ipInfoIs(Nettle::IpGenAddr("239.1.1.1"), info);
       },
       allPorts},
      {"a VLAN without an entry of its own is routed by another number",
       [](ChangeTracking & t) { t.intfVlans->internalVlanIdDel(intf("Vlan20")); },
       [](ChangeTracking & t) {
         t.intfVlans->internalVlanIdIs(intf("Vlan20"), Bridging::VlanIdOrNone(53));
       },
       "Ethernet9@53"},
      {"the LAG of configured members is up in no VLAN",
       [](ChangeTracking & t) {
         t.takeConfiguredLags();
         t.vlans->vlanStatusIs(vlan20)->vlanPortStatusDel(intf("Port-Channel5"));
         t.bridging->vlanConfigIs(vlan20)->intfIs(intf("Port-Channel5"), true);
       },
       [](ChangeTracking & t) {
         t.lagConfig->phyIntfIs(intf("Ethernet7"))->lagIs(intf("Port-Channel5"));
       },
       "Ethernet7@20"},
      {"a VLAN is routed by another number", nothing,
       [](ChangeTracking & t) {
         t.intfVlans->internalVlanIdIs(intf("Vlan20"), Bridging::VlanIdOrNone(53));
       },
       "Ethernet9@53"},
  };
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Of, EachChange, testing::ValuesIn(changes()), [](auto const & row) {
  std::string name = row.param.name;
  std::erase_if(name, [](char c) { return !std::isalnum(c); });
  return name;
});

TEST_P(EachChange, ReachesEveryRouteThatDependsOnIt) {
  GetParam().prepare(*this);
  settle();
  EXPECT_EQ(outputs("10.0.0.4", "239.1.1.1", "red"), ports());
  GetParam().change(*this);
  settle();
  EXPECT_EQ(ports(), GetParam().ports);
  EXPECT_EQ(outputs("10.0.0.4", "239.1.1.1", "red"), ports());
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
