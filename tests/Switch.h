// The fixture of the scenarios: a whole switch on a simulated clock, told what to do in the words
// of the field, and asked for short texts.
//
// At the end of each scenario it proves three things for nothing:
//  - Marking everything dirty and reviewing to the end changes no set and no entry of a chip: what
//    the filters or the incremental computation missed shows here.
//  - Deleting all inputs leaves no entry and no set in a chip, and all slots free.
//  - hwFlags is 0 exactly where every chip holds the entry that the route needs.
// A scenario that opts out says why.
#pragma once
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fabric/SimFabric.h"
#include "mira/Agent.h"
#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "platform/Clock.h"
#include "platform/EntityManager.h"
#include "programmer/MrouteProgrammer.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/MulticastFib.h"
#include "state/Pim.h"
#include "state/PimIntf.h"
#include "state/Vxlan.h"
#include "tests/LocalTable.h"

namespace Tests {

using Key = Routing::Multicast::Fib::IpGenRouteKey;

// Names in a text, separated by blanks.
std::vector<std::string> words(std::string_view text);
Nettle::IntfId intf(std::string_view name);
// The key of a host source, or "*", and a group (a host unless a prefix length is given).
Key key(std::string_view source, std::string_view group);

class Switch : public ::testing::Test {
 protected:
  Switch();
  ~Switch() override;
  void TearDown() override;

  // Bridging. Ports are created forwarding and untagged, with an SVI "Vlan<vid>" in the VRF.
  void vlan(U32 vid, std::string_view ports, std::string_view vrf = "default");
  void noVlan(U32 vid);
  void tag(U32 vid, std::string_view ports);
  void block(U32 vid, std::string_view ports);
  void forward(U32 vid, std::string_view ports);
  // A routed port: an interface with an internal VLAN that holds it alone.
  void routedPort(std::string_view name, U32 internalVlan, std::string_view vrf = "default");
  // Snooping; join() and router() turn it on.
  void snoop(U32 vid);
  void join(U32 vid, std::string_view group, std::string_view ports);
  void leave(U32 vid, std::string_view group, std::string_view ports);
  void router(U32 vid, std::string_view ports);
  void lag(std::string_view name, std::string_view members);

  // Publishing. `outs` are interfaces, each with properties behind a colon: f forward (default),
  // a accept, n notify, r noRpf, p persistent fastdrop, b fast-reroute; "Vlan20 Vlan30:fn". The iif
  // accepts; what else the record says is set with publishAs.
  using Route = Shoal::Multicast::Fib::Route;
  void publish(std::string_view source, std::string_view group, std::string_view iif,
               std::string_view outs);
  Route record(std::string_view source, std::string_view group, std::string_view iif,
               std::string_view outs, std::string_view table = "pim.default");
  void publish(Route const & route, std::string_view table = "pim.default");
  void withdraw(std::string_view source, std::string_view group,
                std::string_view table = "pim.default");
  // The index that a table gives to an interface with properties.
  Shoal::Multicast::Fib::OifIndex oifIndex(std::string_view out, std::string_view table);
  LocalTable & table(std::string_view name);

  // Runs the clock until nothing is due any more, at most `seconds`.
  void settle(double seconds = 30);
  // Everything is computed again.
  void reviewAll();

  // What stands. "Ethernet1@20 Ethernet2@30" in the order of the set; "-" where there is no route.
  std::string outputs(std::string_view source, std::string_view group,
                      std::string_view vrf = "default");
  U32 iifVlan(std::string_view source, std::string_view group, std::string_view vrf = "default");
  Zet::Ptr<Brindle::Mroute> mroute(std::string_view source, std::string_view group,
                                   std::string_view vrf = "default");
  // Entries of a chip: "(10.0.0.1, 239.1.1.1)@10 -> Ethernet1@20", sorted, joined by "; ".
  std::string entries(std::string_view chip = "chip0");
  Brindle::SimSwitchChip & chip(std::string_view name = "chip0");
  Brindle::MrouteTable & routes(std::string_view vrf = "default");
  Brindle::Mira & mira(std::string_view vrf = "default");

  // Parts of a scenario's world, to be set before start(); the verbs above start it.
  void vrf(std::string_view name);
  void chips(U32 count, U32 routes = 1000, U32 slots = 10000);
  void start();

  // Opting out of a free check; the reason goes into the report of a failure elsewhere.
  void noRecheck(char const * why) { noRecheck_ = why; }
  void noTeardownCheck(char const * why) { noTeardownCheck_ = why; }

  // The world
  Zet::Ptr<Zet::SimClock> clock;
  Zet::Ptr<Brindle::SimFabric> fabric;
  Zet::Ptr<Brindle::MrouteTableColl> tables;
  Zet::Ptr<Brindle::MrouteProgrammer> programmer;
  Zet::Ptr<Brindle::Agent> agent;
  Zet::Ptr<Bridging::Topology::Config> topology;
  Zet::Ptr<Bridging::VlanStatusDir> vlans;
  Zet::Ptr<Bridging::Config> bridging;
  Zet::Ptr<Bridging::IgmpSnooping::Status> snooping;
  Zet::Ptr<Interface::EthLagIntfStatusDir> lags;
  Zet::Ptr<Mlag::Status> mlag;
  Zet::Ptr<Ip::Status> ip;
  Zet::Ptr<Ip::AllVrfStatusLocal> vrfs;
  Zet::Ptr<IntfVlanId::Table> intfVlans;
  Zet::Ptr<Routing::Multicast::Fib::VrfConfig> vrfConfig;
  Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> status;
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntf;
  Zet::Ptr<Routing::Multicast::Fib::MbrIntf> mbr;
  Zet::Ptr<Routing::Multicast::Fib::SparseModeStatus> sparse;
  Zet::Ptr<Brindle::PimEnabled> pimEnabled;
  Zet::Ptr<Brindle::StaticNatInfo> nat;
  Zet::Ptr<Brindle::ReviewInfo> reviewInfo;
  Zet::Ptr<Zet::Dir> routingInfo;
  Brindle::LagOperation lagOperation = Brindle::lagExpand;
  Brindle::PortPropertyMask portPropertyMask = 0;
  Nettle::AddressFamily af = Nettle::ipv4();

 private:
  void checkRecheck();
  void checkHwFlags();
  void checkTeardown();
  std::string all();

  std::map<std::string, Zet::Ptr<LocalTable>, std::less<>> table_;
  std::map<std::string, U16, std::less<>> oifIndex_;
  char const * noRecheck_ = nullptr;
  char const * noTeardownCheck_ = nullptr;
};

}  // namespace Tests
