// What the switch must hold, by a slow and plain computation from the published records and routes
// alone. It shares nothing with the resolver: each answer is computed from scratch, for one route
// at a time, and nothing is remembered.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "model/PortVlanSet.h"
#include "sim/Host.h"
#include "state/ShoalFib.h"

namespace Simulation {

using Key = Routing::Multicast::Fib::IpGenRouteKey;

// An output set.
struct Outputs {
  std::set<Brindle::PortVlan> members;
  std::set<U32> nat;
  bool toCpu = false;
  bool fastdrop = false;
  U32 vlan = 0;

  std::string text() const;
};
std::string textOf(Brindle::PortVlanSet const & set);

// An entry beside the one of the route itself.
struct SideEntry {
  U32 vlan = 0;
  Outputs outputs;
};

// A drop of packets that failed the reverse-path check.
struct Fastdrop {
  SideEntry entry;
  bool mayLack = false;  // in the chips
};

struct ExpectedRoute {
  // Whether the route is to be in the table: where that hangs on what was before, either will do.
  // Of one that is left as it is nothing can be told.
  enum Standing { stands, mayStand, leftAsItIs, absent } standing = stands;
  char const * why = "";  // of the two in the middle
  U32 vlan = 0;           // that it is accepted in
  U32 rpa = 0;
  bool noRpf = false;
  bool acceptsTwice = false;  // by outputs: the first one counts
  Shoal::Multicast::Fib::Route record;
  Shoal::Multicast::Fib::Status const * table = nullptr;  // that holds the record
  bool programmed = true;   // prefix routes are other machines' business where chips answer at once
  bool needsEntry = false;  // of its own
  Outputs outputs;
  std::optional<SideEntry> notify;
  std::optional<SideEntry> fastdrop;
  std::optional<SideEntry> frr;
  std::vector<Fastdrop> drops;  // by VLAN; they hang on what was before: see FastdropHistory
};

struct RouteName {
  L3::VrfName vrf;
  Key key;
  bool operator<(RouteName const & o) const { return vrf != o.vrf ? vrf < o.vrf : key < o.key; }
  std::string text() const { return key.pretty() + " in " + std::string(vrf.view()); }
};

// A table of routes that the switch reads, by its name "PROTOCOL.VRF", in the order of their
// coming.
struct ReadTable {
  std::string name;
  Shoal::Multicast::Fib::Status const * routes;
};
L3::VrfName vrfOf(std::string const & table);

// The chips of the switch answer later, to a programmer of their own.
bool chipsAnswerLater(Brindle::Sim::Host const & host);

class Oracle {
 public:
  Oracle(Brindle::Sim::Host const & host, std::vector<ReadTable> const & tables);

  // All routes that may stand.
  std::map<RouteName, ExpectedRoute> routes() const;
  // The entry that drops what comes in on a VLAN for a route.
  SideEntry fastdropEntry(ExpectedRoute const & route, U32 vlan) const;
  // The outputs of what drops denied traffic: none is sent there, as the entry says.
  Outputs boundaryOutputs(Key const & key, U32 vlan) const;
  // The VRFs in which multicast is routed.
  bool routed(L3::VrfName vrf) const;

 private:
  using Route = Shoal::Multicast::Fib::Route;
  struct Published {
    Shoal::Multicast::Fib::Status const * table;
    Route route;
  };
  struct Walk;
  using Members = std::set<Brindle::PortVlan>;

  ExpectedRoute expected(RouteName const & name, std::vector<Published> const & published) const;
  void judgeStanding(RouteName const & name, std::vector<Published> const & published,
                     ExpectedRoute & out) const;
  void compute(Published const & best, ExpectedRoute & out) const;
  void member(Walk & walk, Shoal::Multicast::Fib::OifIndexIntf const & oif, U32 vlan) const;
  void sideEntries(Walk & walk, Shoal::Multicast::Fib::OifIndexIntf const & oif, U32 vlan) const;
  void finishFrr(Walk & walk) const;
  SideEntry toCpuEntry(Key const & key, U32 vlan, Nettle::IntfId iif, bool fastdrop) const;

  // The members that a VLAN adds for a group, LAGs not yet resolved.
  Members vlanMembers(U32 vlan, Key const & key) const;
  void addListeners(U32 vlan, Key const & key, Members & out) const;
  void addTunnels(U32 vlan, Members & out) const;
  void addPort(U32 vlan, Nettle::IntfId port, Members & out) const;
  Members resolvedLags(Members const & members, U32 chooser, Key const & key) const;
  U32 forwardingPorts(U32 vlan) const;
  U32 vlanOf(Nettle::IntfId intf) const;
  bool inVrf(Nettle::IntfId intf, L3::VrfName vrf) const;

  Brindle::Sim::Host const & host_;
  Brindle::Sim::Records const & records_;
  std::vector<ReadTable> const & tables_;
};

}  // namespace Simulation
