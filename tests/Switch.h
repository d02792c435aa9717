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
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fabric/SimFabric.h"
#include "mira/Agent.h"
#include "mira/MiraHelper.h"
#include "prefix/PrefixMrouteSm.h"
#include "programmer/MrouteProgrammer.h"
#include "tests/LocalTable.h"
#include "tests/SwitchRecords.h"

namespace Tests {

using Key = Routing::Multicast::Fib::IpGenRouteKey;

// Names in a text, separated by blanks.
std::vector<std::string> words(std::string_view text);
Nettle::IntfId intf(std::string_view name);

class Switch : public SwitchRecords {
 protected:
  Switch();
  ~Switch() override;
  void TearDown() override;

  // Bridging. Ports are created forwarding and untagged, with an SVI "Vlan<vid>" in the VRF.
  void vlan(U32 vid, std::string_view ports, std::string_view vrf = "default");
  void block(U32 vid, std::string_view ports);
  // Snooping; join() turns it on.
  void snoop(U32 vid);
  void join(U32 vid, std::string_view group, std::string_view ports);
  void lag(std::string_view name, std::string_view members);
  // IP. "10.1.0.1/24"; the empty text takes the primary address away.
  void address(std::string_view intfName, std::string_view primary);
  void secondary(std::string_view intfName, std::string_view address, bool stands = true);

  // Publishing. `outs` are interfaces, each with properties behind a colon: f forward (default),
  // a accept, n notify, r noRpf, p persistent fastdrop, b fast-reroute; "Vlan20 Vlan30:fn". The iif
  // accepts; what else a record says is set in it before it is published.
  using Route = Shoal::Multicast::Fib::Route;
  void publish(std::string_view source, std::string_view group, std::string_view iif,
               std::string_view outs);
  Route record(std::string_view source, std::string_view group, std::string_view iif,
               std::string_view outs, std::string_view table = "pim.default");
  void publish(Route const & route, std::string_view table = "pim.default");
  // (*,G), of sparse mode; it waits for the subnets of `iif` and `notify`.
  void publishStar(std::string_view group, std::string_view iif, std::string_view outs,
                   std::string_view notify = "", std::string_view table = "pim.default");
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
  // The same of an L2 route.
  std::string floodset(Key const & key);
  // Entries of a chip: "(10.0.0.1, 239.1.1.1)@10 -> Ethernet1@20", sorted, joined by "; ".
  std::string entries(std::string_view chip = "chip0");
  Brindle::SimSwitchChip & chip(std::string_view name = "chip0");
  Brindle::MrouteTable & routes(std::string_view vrf = "default");
  Brindle::Mira & mira(std::string_view vrf = "default");
  Brindle::MiraRoot & root();

  // Parts of a scenario's world, to be set before start(); the verbs above start it.
  void chips(U32 count, U32 routes = 1000, U32 slots = 10000);
  void start();

  // Opting out of a free check; the reason goes into the report of a failure elsewhere.
  void noRecheck(char const * why) { noRecheck_ = why; }

  Zet::Ptr<Brindle::SimFabric> fabric = Brindle::simFabricFactory("fabric");
  Zet::Ptr<Brindle::MrouteProgrammer> programmer = Brindle::mrouteProgrammerFactory("programmer");
  Zet::Ptr<Brindle::PrefixMrouteSm> prefixes;
  Zet::Ptr<Brindle::Agent> agent = Zet::make<Brindle::Agent>("agent");
  Nettle::AddressFamily af = Nettle::ipv4();

 private:
  Zet::Ptr<Bridging::Topology::TopoConfig> topo(U32 vid);
  void checkRecheck();
  void checkHwFlags();
  void checkTeardown();
  void takeDown();
  Brindle::Mroute * mroute(Key const & key, L3::VrfName vrf);
  std::string all();

  std::map<std::string, Zet::Ptr<LocalTable>, std::less<>> table_;
  std::map<std::string, U16, std::less<>> oifIndex_;
  char const * noRecheck_ = nullptr;
};

}  // namespace Tests
