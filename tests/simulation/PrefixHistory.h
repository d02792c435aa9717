// What happened to connected subnets, as far as the switch goes by it later on.
//
// The oracle has no memory, but of a few things the switch is to have one: two addresses of a
// subnet share its entry, words of the chips are counted, a chip gets only what comes after it.
// This notes, after each line of a script, which interfaces, subnets and routes such a thing has
// befallen to. All is seen from outside: from the records of the other agents, from the published
// routes, and from whether an interface is tracked at all.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/Oracle.h"

namespace Simulation {

using Subnet = Nettle::IpGenPrefix;

class PrefixHistory {
 public:
  explicit PrefixHistory(Brindle::Sim::Host const & host) : host_(host) {}

  // After each line. `tables` are those that are attached.
  void note(std::vector<std::string> const & line, std::vector<ReadTable> const & tables);

  // One address of the subnet has gone while another stayed: the subnet may have gone with it.
  bool shared(Nettle::IntfId intf, Subnet const & subnet) const;
  // What the chips said of its subnets was counted twice, or while nobody leaned on it.
  bool miscounted(Nettle::IntfId intf) const { return flags(intf).miscounted; }
  // A table went that may have been the one to follow its subnets.
  bool tableWent(Nettle::IntfId intf) const { return flags(intf).tableWent; }
  // Its VLAN is another one, without a change of its internal VLAN.
  bool otherVlan(Nettle::IntfId intf) const { return flags(intf).otherVlan; }
  // The last route left it while it had no subnet: it is tracked on.
  bool idle(Nettle::IntfId intf) const { return flags(intf).idle; }
  // It has had subnets since it has been tracked.
  bool hadSubnets(Nettle::IntfId intf) const { return flags(intf).hadSubnets; }
  // Two interfaces have had the subnet at a time, and one of them has it still.
  bool contested(Subnet const & subnet) const { return contested_.count(subnet) != 0; }
  // The chip came when the subnet stood already.
  bool older(std::string const & chip, Subnet const & subnet, Nettle::IntfId intf) const;
  // The interface got IP when the route stood already.
  bool older(std::string const & table, Key const & key, Nettle::IntfId intf) const;
  // Several tables have held the route at a time, and who holds it now has not published it since:
  // it stands where the other's stood, whether or not it is to be installed.
  bool inherited(RouteName const & name) const { return several_.count(name) != 0; }
  // Tables of whatever VRFs have held the key at a time, or between two rests, and one of them
  // holds it still.
  bool heldTwice(Key const & key) const { return heldTwice_.count(key) != 0; }
  // The route has been published once, and at no time since did all subnets that it waits for
  // stand in hardware.
  bool neverLetIn(RouteName const & name) const;
  // Routes that waited when the switch was at rest, and have been published anew since: that lets
  // them in.
  std::set<RouteName> const & letIn() const { return letIn_; }

 private:
  using Line = std::vector<std::string>;
  using Star = std::pair<std::string, Key>;  // by table
  using Standing = std::pair<Subnet, Nettle::IntfId>;
  // An address of an interface, and whether it is the primary one.
  using Address = std::pair<Nettle::IpAddrWithMask, bool>;
  struct Intf {
    std::set<Address> addresses;
  };
  // Its VLAN, and its internal one.
  using Vlans = std::pair<U32, U32>;
  struct Flags {
    bool miscounted = false;
    bool tableWent = false;
    bool otherVlan = false;
    bool idle = false;
    bool hadSubnets = false;
    std::set<Subnet> shared;
  };
  struct Publication {
    bool once = true;
    bool lacking = true;
  };

  Flags const & flags(Nettle::IntfId intf) const;
  static std::set<Subnet> subnetsOf(Intf const & intf);
  Intf intf(Ip::IpIntfStatus const & status) const;
  std::set<Standing> inHardware() const;
  std::set<std::string> readTables(std::vector<ReadTable> const & tables) const;
  U32 holders(RouteName const & name) const;

  void noteIntfs();
  void noteAddresses(Nettle::IntfId intf, Intf const & was, Intf const & is);
  void noteVlans(Line const & line);
  void noteContested();
  void noteIdle(bool settled);
  bool leanedOn(Nettle::IntfId intf) const;
  bool mayBeLeanedOn(Nettle::IntfId intf) const;
  void noteTables(Line const & line, std::vector<ReadTable> const & tables);
  void noteStars(Line const & line, std::vector<ReadTable> const & tables);
  void noteChanged(Star const & star);
  void noteSeveral(bool settled);
  void notePublications(bool settled);
  void noteWaiting(bool settled);
  bool lacks(Star const & star, Shoal::Multicast::Fib::Route const & route) const;
  bool lacks(Star const & star, Nettle::IntfId intf) const;
  void noteChips(Line const & line);
  void noteRestart(Line const & line);

  Brindle::Sim::Host const & host_;
  // As it was after the last line
  std::map<Nettle::IntfId, Intf> intfs_;
  std::map<Nettle::IntfId, Vlans> vlans_;
  std::map<Star, Shoal::Multicast::Fib::Route> stars_;
  std::set<std::string> read_;
  // What is noted
  std::map<Nettle::IntfId, Flags> flags_;  // of interfaces that are tracked
  std::set<Subnet> contested_;
  std::map<std::string, std::set<Standing>> olderThanChip_;
  std::set<std::pair<Star, Nettle::IntfId>> olderThanIp_;
  std::map<RouteName, Publication> publications_;
  std::set<Key> heldTwice_;
  std::set<Star> gone_;                // since the last rest
  std::set<Star> stopped_;             // of them those whose publishers did
  std::map<RouteName, bool> several_;  // true once the switch has settled with one of them left
  std::map<Star, Shoal::Multicast::Fib::Route> waited_;  // and has been published since
  std::set<RouteName> letIn_;
  bool tablesGo_ = false;
};

// The VRF of a table, by its name.

// The (*,G) routes that wait, by table.
std::map<std::pair<std::string, Key>, Shoal::Multicast::Fib::Route> waitingRoutes(
    Brindle::Sim::Host const & host);

// Whether a (*,G) route is to be installed, and may be, by its input's VLAN now.
bool installable(Brindle::Sim::Host const & host, Shoal::Multicast::Fib::Route const & route);

// Whether a (*,G) route leans on its interfaces, and may have to wait for them: for certain, or if
// its input had a VLAN when it was taken in.
bool leans(Brindle::Sim::Host const & host, Shoal::Multicast::Fib::Route const & route);
bool mayLean(Brindle::Sim::Host const & host, Shoal::Multicast::Fib::Route const & route);

}  // namespace Simulation
