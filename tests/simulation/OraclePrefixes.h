// Connected subnets, and the (*,G) routes that wait for them: what must stand, from the addresses
// of the interfaces, the published routes and what PrefixHistory has noted. Like the rest of the
// oracle it shares nothing with the resolver or the programmers.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/PrefixHistory.h"

namespace Simulation {

// An interface that (*,G) routes lean on, or that is tracked.
struct ExpectedIntf {
  bool ip = false;
  L3::VrfName vrf;
  U32 vlan = 0;
  std::set<Subnet> subnets;  // of its addresses
  // So many routes lean on it.
  U32 least = 0;
  U32 most = 0;
};

class PrefixOracle {
 public:
  enum Answer { no, yes, unknown };

  PrefixOracle(Brindle::Sim::Host const & host, std::vector<ReadTable> const & tables,
               PrefixHistory const & history);

  std::map<Nettle::IntfId, ExpectedIntf> const & intfs() const { return intfs_; }
  // Nobody follows its addresses any more.
  bool abandoned(Nettle::IntfId intf) const;
  // No route has to wait for the interface: all of its subnets are in hardware.
  Answer ready(Nettle::IntfId intf) const;
  Answer ready(Shoal::Multicast::Fib::Route const & route) const;
  // The subnets that are wanted in the chips, each with what the chips say of it.
  std::map<std::pair<Subnet, Nettle::IntfId>, bool> const & wanted() const { return wanted_; }

  // The (*,G) routes that wait, by table.
  using Waiting = std::map<std::pair<std::string, Key>, Shoal::Multicast::Fib::Route>;
  Waiting const & waiting() const { return waiting_; }
  // Tells of the (*,G) routes whether they stand, and adds the routes from the subnets to all
  // groups.
  void judge(std::map<RouteName, ExpectedRoute> & routes) const;

 private:
  using Route = Shoal::Multicast::Fib::Route;

  void addIntf(Ip::IpIntfStatus const & status);
  void countLeaning();
  void judgeStar(RouteName const & name, ExpectedRoute & out) const;
  void addRoute(Subnet const & subnet, Nettle::IntfId intf,
                std::map<RouteName, ExpectedRoute> & routes) const;

  Brindle::Sim::Host const & host_;
  std::vector<ReadTable> const & tables_;
  PrefixHistory const & history_;
  std::map<Nettle::IntfId, ExpectedIntf> intfs_;
  std::map<std::pair<Subnet, Nettle::IntfId>, bool> wanted_;
  Waiting const waiting_;
};

}  // namespace Simulation
