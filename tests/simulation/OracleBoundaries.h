// What boundaries must bring about: which chip denies which groups in which VLAN by itself; where
// that is learned, which sources are recorded, and what is dropped of them. It hangs on what was
// before, since nothing that a chip had no room for is tried again, and what has gone is not
// learned anew before its next packet; so it follows the script, with the VLANs, connected subnets
// and times as they are published after each line.
//
// What a line does at a time that is not known may have happened or not; the comparison at the next
// rest finds out.
#pragma once

#include <map>
#include <optional>
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

  // That a source and a group were reported of an interface.
  struct Record {
    Is stands = Is::yes;
    U32 vlan = 0;  // of the interface, the last that it had
  };
  // What drops them where they come in on a VLAN.
  struct Drop {
    Is stands = Is::yes;
    // Of the route itself: it has stood since the last rest, and its version when that was.
    bool routed = false;
    U32 version = 0;
    // What is published after the last line: anything of the route, and when packets came last.
    bool published = false;
    std::optional<Zet::Seconds> seen;
    // The chips that hold it, unless one has refused it.
    std::set<std::string> chips;
    bool mayLack = false;
    // Found out at rest: its outputs, and those in chips that had no room for them.
    std::string outputs;
    std::map<std::string, std::string> old;
  };
  // A VRF in which boundaries are learned.
  struct Vrf {
    void const * resolver = nullptr;
    std::map<std::pair<IntfId, Key>, Record> records;
    std::map<std::pair<Key, U32>, Drop> drops;
    // By prefix the groups that were learned by it, for certain or perhaps.
    using Groups = std::map<Nettle::IpGenAddr, bool>;
    std::map<std::pair<IntfId, Prefix>, Groups> matched;
    // To be withdrawn before the next rest.
    std::set<std::pair<IntfId, Nettle::IpGenAddr>> going;
  };

  explicit BoundaryOracle(Brindle::Sim::Host const & host) : host_(host) {}

  // A line that the switch has taken.
  struct Line {
    Words const & words;
    std::string const & printed;
    Zet::Seconds before;  // when it began
    bool mayFail;         // chips lack room or refuse
  };
  void note(Line const & line);

  // What the comparison finds out it writes here.
  std::map<IntfId, Denier> & deniers() { return deniers_; }
  std::map<L3::VrfName, Vrf> & learning() { return vrfs_; }
  // What the boundary of an interface denies is not counted as a failure.
  bool isDenied(L3::VrfName vrf, Nettle::IpGenAddr const & group, U32 vlan) const;
  // A drop has had the route's key since the start: what is published is of either, and stays.
  bool sharesStatus(RouteName const & name) const { return shared_.count(name) != 0; }
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

  struct Span {
    Zet::Seconds first = 0;
    Zet::Seconds last = 0;
  };
  // Of a VRF whose resolver drops what is learned: when it looks for what has aged.
  struct Poll {
    void const * resolver = nullptr;
    Span due;
  };

  // Where boundaries run, and what they are
  void noteBoundary(Words const & words);
  void noteCard(Words const & words);
  bool can() const;
  bool allCan() const;
  void decide();

  // In the chips
  std::set<IntfId> remade(Words const & words) const;
  void noteDeniers(Words const & words);
  void make(IntfId intf, Subnets const & before);
  void addGroup(Denier & denier, Prefix const & group, Subnets const & before,
                Subnets const & subnets) const;
  void noteSubnets(Denier & denier, Subnets const & before, Subnets const & now) const;
  Denial tried() const;

  // Learned
  void noteVrfs(Line const & line);
  void noteResolver(Vrf & vrf, L3::VrfName name);
  void noteMoves(Vrf & vrf, L3::VrfName name);
  void noteReports(Line const & line);
  void report(L3::VrfName name, IntfId intf, Key const & key);
  std::optional<Prefix> match(IntfId intf, Nettle::IpGenAddr const & group) const;
  void withdraw(IntfId intf, std::optional<Prefix> const & prefix);
  void withdraw(Vrf & vrf, std::pair<IntfId, Nettle::IpGenAddr> const & group, bool sure);
  void makeDrop(Vrf & vrf, L3::VrfName name, Key const & key, Record const & record);
  static void takeDrop(Vrf & vrf, Key const & key, Record const & record, Is stands);
  void passTime(L3::VrfName name, Poll & state, Line const & line);
  void poll(Vrf & vrf, Span at, bool sure);
  void notePublished(Vrf & vrf, L3::VrfName name);
  std::map<IntfId, Subnets> publishedSubnets() const;
  U32 vlanOf(IntfId intf) const;
  IntfId intfOf(U32 vlan) const;

  Brindle::Sim::Host const & host_;
  bool mayFail_ = false;
  // What the script has said
  std::map<IntfId, std::set<Prefix>> boundaries_;
  std::string system_ = "FixedSystem";
  std::map<std::string, bool> cards_;  // each with whether it can deny groups
  // What follows from that
  bool begun_ = false;
  bool byTcam_ = false;
  bool learns_ = false;
  std::map<IntfId, Denier> deniers_;
  std::map<L3::VrfName, Vrf> vrfs_;
  std::set<RouteName> shared_;
  std::map<L3::VrfName, Poll> polls_;
  // As it was after the last line
  std::map<IntfId, Subnets> subnets_;
  std::map<IntfId, U32> internalVlans_;
};

}  // namespace Simulation
