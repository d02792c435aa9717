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
  bool leftAlone = false;  // so that its set may be an old one
  bool toTunnels = false;  // of an extended VLAN whose floods the chips themselves take to the core

  // As textOf() has it of a set that was computed.
  std::string text() const;
};

class FloodsetOracle {
 public:
  using Vlans = std::set<Bridging::VlanId>;
  // `treeless`: VLANs that have run no spanning tree for a while since they came up.
  FloodsetOracle(Brindle::Sim::Host const & host, Vlans const & treeless);

  // All L2 routes that must stand, and those that may.
  std::map<Key, ExpectedFloodset> floodsets() const;
  // The same for VLANs whose L2 routes another process computes: what the resolver is to say that
  // it wants.
  std::map<Key, ExpectedFloodset> wantedElsewhere() const;

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

  // A collection of keys, by whether they must stand.
  using Keys = std::map<Key, ExpectedFloodset>;
  enum Standing { must, may, mayAsItWas };

  Keys wanted() const;
  Vlans floodedVlans() const;
  void add(Keys & out, Key const & key, Standing standing = must) const;
  void addCoreSide(Bridging::VlanId vlan, Keys & out) const;
  void addLearnedGroups(Keys & out) const;
  void addConfiguredGroups(Keys & out) const;
  void addPeers(Keys & out) const;
  ExpectedFloodset expected(Key const & key) const;
  Members membersOf(Set & set, Key const & key) const;
  void addFilter(Set & set, Nettle::IpGenAddr const & peer) const;
  void addVlan(Set & set) const;
  void addPorts(Set & set) const;
  void addListeners(Set & set, Zet::OrderedSet<Nettle::IntfId> const & ports) const;
  void addTunnels(Set & set) const;
  bool addPort(Set & set, Nettle::IntfId port) const;
  bool addMember(Set & set, Nettle::IntfId port, Brindle::OutLif outLif) const;
  bool isOrphan(Nettle::IntfId port) const;

  Brindle::Sim::Host const & host_;
  Brindle::Sim::Records const & records_;
  Vlans const & treeless_;
};

}  // namespace Simulation
