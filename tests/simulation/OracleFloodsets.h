// Which L2 routes the switch must hold, and what in them: floodsets of VLANs and Ethernet groups.
// Like the oracle of IP routes it computes each answer from scratch, from the published records
// alone.
#pragma once

#include <map>
#include <set>
#include <string>

#include "tests/simulation/Oracle.h"

namespace Simulation {

struct ExpectedFloodset {
  Routing::Multicast::Fib::RouteKeyType kind;
  U32 vlan = 0;  // of its key
  Outputs outputs;
  bool shared = false;     // chips may share the set
  bool mayStand = false;   // or may not: that hangs on what was before
  bool toTunnels = false;  // of an extended VLAN whose floods the chips themselves take to the core

  // As textOf() has it of a set that was computed.
  std::string text() const;
};

class FloodsetOracle {
 public:
  explicit FloodsetOracle(Brindle::Sim::Host const & host);

  // All L2 routes that must stand, and those that may.
  std::map<Key, ExpectedFloodset> floodsets() const;

 private:
  using Members = std::set<Brindle::PortVlan>;
  // What a set is computed for, and what of it is there.
  struct Set {
    Routing::Multicast::Fib::RouteKeyType kind;
    Bridging::VlanId vlan;
    Nettle::EthAddr mac;
    Members members;
    bool cpu = false;

    bool isFloodset() const;
    // Groups and what the VLAN itself floods: these go by the VLAN's MAC table.
    bool isOfVlan() const;
  };

  std::set<Bridging::VlanId> floodedVlans() const;
  void addCoreSide(Bridging::VlanId vlan, std::set<Key> & out, std::set<Key> & optional) const;
  void addLearnedGroups(std::set<Key> & out) const;
  void addConfiguredGroups(std::set<Key> & out) const;
  ExpectedFloodset expected(Key const & key) const;
  Members membersOf(Set & set) const;
  void addVlan(Set & set) const;
  void addPorts(Set & set) const;
  void addListeners(Set & set, Zet::OrderedSet<Nettle::IntfId> const & ports) const;
  void addTunnels(Set & set) const;
  bool addPort(Set & set, Nettle::IntfId port) const;
  bool addMember(Set & set, Nettle::IntfId port, Brindle::OutLif outLif) const;
  std::set<Nettle::IntfId> portsOf(Bridging::VlanId vlan) const;
  bool isOrphan(Nettle::IntfId port) const;

  Brindle::Sim::Host const & host_;
  Brindle::Sim::Records const & records_;
};

}  // namespace Simulation
