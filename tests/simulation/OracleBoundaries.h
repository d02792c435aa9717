// What boundaries must bring about: which chip denies which groups in which VLAN by itself. It
// hangs on what was before, since nothing that a chip had no room for is tried again; so it follows
// the script, with the VLANs and connected subnets as they are published after each line.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/Oracle.h"

namespace Simulation {

class BoundaryOracle {
 public:
  using IntfId = Nettle::IntfId;
  using Prefix = Nettle::IpGenPrefix;
  using Words = std::vector<std::string>;
  enum class Is { no, yes, unknown };
  // An entry for a prefix of groups and one of sources, by chips.
  using Denial = std::map<std::string, Is>;
  // An interface whose groups the chips deny, with the prefixes of sources of each.
  struct Denier {
    U32 vlan = 0;
    std::map<Prefix, std::map<Prefix, Denial>> groups;
  };

  explicit BoundaryOracle(Brindle::Sim::Host const & host) : host_(host) {}

  // After a line that the switch has taken. `mayFail`: chips lack room or refuse.
  void note(Words const & words, bool mayFail);

  // What the comparison finds out it writes here.
  std::map<IntfId, Denier> & deniers() { return deniers_; }
  // Of the entries of a chip those by which it does not deny groups.
  using Entries = std::vector<Brindle::Sim::Chip::Entry>;
  Entries others(Brindle::Sim::Chip const & chip, Entries entries) const;

 private:
  using Status = Routing::Multicast::Fib::PimIntf::IntfStatus;
  using Route = Routing::Multicast::Fib::PimIntf::PrefixRouteInfo;
  // The connected subnets of an interface as they are published. Another object has come anew.
  struct Subnets {
    Zet::Ptr<Status const> status;
    std::map<Prefix, Zet::Ptr<Route const>> routes;
  };

  // Where boundaries run
  void noteBoundary(Words const & words);
  void noteCard(Words const & words);
  void decide();

  // In the chips
  std::set<IntfId> remade(Words const & words) const;
  void noteDeniers(Words const & words);
  void make(IntfId intf, Subnets const & before);
  void addGroup(Denier & denier, Prefix const & group, Subnets const & before,
                Subnets const & subnets) const;
  void noteSubnets(Denier & denier, Subnets const & before, Subnets const & now) const;
  Denial tried() const;
  std::map<IntfId, Subnets> publishedSubnets() const;
  U32 vlanOf(IntfId intf) const;

  Brindle::Sim::Host const & host_;
  bool mayFail_ = false;
  // What the script has said
  std::map<IntfId, std::set<Prefix>> boundaries_;
  std::string system_ = "FixedSystem";
  std::map<std::string, bool> cards_;  // each with whether it can deny groups
  // What follows from that
  bool begun_ = false;
  bool byTcam_ = false;
  std::map<IntfId, Denier> deniers_;
  // As it was after the last line
  std::map<IntfId, Subnets> subnets_;
  std::map<IntfId, U32> internalVlans_;
};

}  // namespace Simulation
