// Multicast boundaries: what interfaces deny, and which cards can deny it by themselves.
//
// Two seeds in five have them. All of it is drawn from a stream of its own: the script of a seed is
// else what it would be without.
#include "tests/simulation/Generator.h"

namespace Simulation {

// In half of them cards can deny groups by themselves to begin with. Those of linecards cannot be
// learned, and a supervisor denies nothing itself.
void Generator::startBoundaries() {
  if (!bounded_) return;
  bool const byTcam = edges_.percent(50);
  if (edges_.percent(30)) {
    card_ = "L1";
    add(byTcam ? "boundary system linecard L1" : "boundary system supervisor");
  }
  if (byTcam || edges_.percent(60)) {
    add({"linecard add ", card_, byTcam ? " tcam" : " no-tcam"});
  }
  for (U32 i = edges_.below(5); i > 0; --i) boundaryAdd();
}

// A fifth of the kinds of events does not occur.
void Generator::weighBoundaries() {
  using G = Generator;
  bounded_ = !v6_ && edges_.percent(40);
  if (!bounded_) return;
  boundaryEvents_ = {{10, &G::boundaryAdd}, {5, &G::boundaryDel},     {4, &G::boundaryAgain},
                     {4, &G::boundaryIntf}, {4, &G::boundarySubnets}, {3, &G::boundaryFull},
                     {2, &G::lineCard},     {12, &G::noCache},        {4, &G::learnedRoute},
                     {4, &G::learnedAge},   {2, &G::boundaryVif},     {3, &G::learnedMany}};
  for (auto & event : boundaryEvents_) {
    event.weight *= edges_.percent(20) ? 0 : edges_.between(1, 3);
    boundaryWeight_ += event.weight;
  }
}

// With as many as one in four of the others.
void Generator::boundaryEvent() {
  if (boundaryWeight_ == 0 || !edges_.percent(25)) return;
  U32 at = edges_.below(boundaryWeight_);
  auto event = boundaryEvents_.begin();
  while (at >= event->weight) at -= event++->weight;
  (this->*event->make)();
}

void Generator::tearDownBoundaries() {
  for (auto const & [groups, intf] : denied_) {
    add({"boundary del ", groups, " dev ", intf});
    if (edges_.percent(15)) add("settle");
  }
}

// --- Words

// Of a VLAN or a routed port, which need not be there.
std::string Generator::boundedIntf() {
  return edges_.of({"Vlan10", "Vlan10", "Vlan20", "Vlan20", "Vlan30", "Vlan42", "Vlan77", "et1",
                    "et1", "et2", "Ethernet5.100"});
}

// Some lie in others, and chips deny no groups of IPv6.
std::string Generator::deniedGroups() {
  if (edges_.percent(6)) return "ff1e::/16";
  return edges_.of({"239.1.0.0/16", "239.1.1.0/24", "239.1.1.1/32", "239.0.0.0/8", "239.128.0.0/9",
                    "239.1.1.2/32", "232.1.1.1/32", "224.0.0.0/4"});
}

// Where chips fail, none that has a route: of the two one status is published.
std::string Generator::deniedStream() {
  bool const own = faultsDrawn() || edges_.percent(70);
  return (own ? edges_.of({"10.9.0.1", "10.9.0.2"}) : edges_.of({"10.0.0.1", "10.0.0.2"})) + " " +
         edges_.of({"239.1.1.1", "239.1.1.2", "239.129.1.2", "232.1.1.1", "239.1.7.7"});
}

// --- Events

void Generator::boundaryAdd() {
  std::string const groups = deniedGroups(), intf = boundedIntf();
  add({"boundary add ", groups, " dev ", intf});
  denied_.emplace(groups, intf);
}

void Generator::boundaryDel() {
  if (denied_.empty()) return boundaryAdd();
  auto const [groups, intf] = edges_.of(denied_);
  bool const all = edges_.percent(30);
  for (auto one = denied_.begin(); one != denied_.end();) {
    bool const goes = all ? one->second == intf : *one == std::pair(groups, intf);
    if (goes) add({"boundary del ", one->first, " dev ", one->second});
    one = goes ? denied_.erase(one) : std::next(one);
  }
}

// It goes and comes back, at once or after a while.
void Generator::boundaryAgain() {
  if (denied_.empty()) return boundaryAdd();
  auto const [groups, intf] = edges_.of(denied_);
  add({"boundary del ", groups, " dev ", intf});
  if (edges_.percent(30)) add({"clock turns ", edges_.of({"1", "3", "8"})});
  if (edges_.percent(20)) add("settle");
  add({"boundary add ", groups, " dev ", intf});
}

// Its VLAN is another one, is told again, is taken by a port, or goes.
void Generator::boundaryIntf() {
  std::string const port = edges_.of({"et1", "et2"});
  switch (edges_.below(5)) {
    case 0:
      return add({"ip link set ", port, " no-internal-vlan"});
    case 1:
      add({"ip link del ", port});
      if (edges_.percent(40)) return;
      [[fallthrough]];
    case 2:
      return add({"ip link add ", port, " internal-vlan ", edges_.of({"1006", "20", "30"})});
    default:
      add({"ip link set ", port, " internal-vlan ", edges_.of({"1006", "1007", "10", "20"})});
  }
}

// The subnets of the interface come to be known, and are no longer.
void Generator::boundarySubnets() {
  std::string const where = denied_.empty() ? boundedIntf() : edges_.of(denied_).second;
  std::string const table = edges_.of(tables_), key = "* 239.1.1.2";
  if (edges_.percent(35)) return withdraw(table, key);
  for (U32 i = edges_.between(1, 2); i > 0; --i) {
    std::string const what = "10.77." + std::to_string(edges_.below(4)) + ".1/24";
    add({"ip addr add ", what, " dev ", where});
    addresses_.emplace_back(where, what);
  }
  Published route;
  route.iif = where;
  route.oifs = {"Vlan30", "Vlan10"};
  publish(table, key, route);
  if (edges_.percent(30)) add("settle");
  auto const [intf, address] = addresses_.back();
  if (edges_.percent(30)) add({"ip addr del ", address, " dev ", intf});
}

// A chip has no room for what is denied next; room comes back, which repairs nothing.
void Generator::boundaryFull() {
  if (async_ ? !asyncFaults_ : !routeFaults_) return boundaryAdd();
  std::string const chip = "c" + std::to_string(edges_.below(chips_));
  if (async_) {
    add({"chip limit ", chip, " routes ", edges_.of({"0", "2", "8"})});
  } else {
    add({"chip refuse ", chip, " routes ", edges_.of({"1", "1", "2", "4"})});
  }
  boundaryAdd();
  if (edges_.percent(30)) boundaryAgain();
  if (edges_.percent(50)) add("settle");
  if (async_) add({"chip limit ", chip, " routes ", plenty()});
  if (!async_ && edges_.percent(50)) add({"chip free ", chip});
}

// The kernel reports packets, mostly on an interface that denies something.
void Generator::noCache() {
  if (edges_.percent(8)) {
    std::string const vif = std::to_string(edges_.below(9));
    return add({"no-cache ", deniedStream(), " vif ", vif, " vrf ", edges_.of(vrfs_)});
  }
  bool const any = denied_.empty() || edges_.percent(15);
  std::string const where = any ? boundedIntf() : edges_.of(denied_).second;
  for (U32 i = edges_.between(1, 3); i > 0; --i) {
    add({"no-cache ", deniedStream(), " dev ", where});
  }
}

// A route of the same source comes, before or after, and takes the place of what drops it.
void Generator::learnedRoute() {
  if (faultsDrawn()) return noCache();
  std::string const groups = "239.1.1.1/32", intf = edges_.of({"Vlan10", "Vlan20", "et1"});
  std::string const stream = "10.0.0.1 239.1.1.1", table = edges_.of(tables_);
  add({"boundary add ", groups, " dev ", intf});
  denied_.emplace(groups, intf);
  Published route;
  (edges_.percent(60) ? route.iif : route.notify) = intf;
  route.programmable = true;
  route.oifs = {"Vlan30"};
  bool const before = edges_.percent(40);
  if (before) publish(table, stream, route);
  if (before && edges_.percent(60)) add("settle");
  add({"no-cache ", stream, " dev ", intf});
  if (edges_.percent(50)) add("settle");
  if (!before || edges_.percent(30)) publish(table, stream, route);
  if (edges_.percent(50)) add("settle");
  if (edges_.percent(50)) withdraw(table, stream);
}

// Nothing comes for a while: not much longer than what drops it lives, or less.
void Generator::learnedAge() {
  if (edges_.percent(70)) add("clock read-cost 0");
  add("settle");
  noCache();
  if (edges_.percent(40)) add("settle");
  // Where chips answer later they have none of it, and what they refuse is tried all the time.
  if (async_) return add({"clock advance ", edges_.of({"61", "181"})});
  for (U32 i = edges_.between(1, 3); i > 0; --i) {
    add({"clock advance ", edges_.of({"179", "181", "359", "361", "545"})});
    if (edges_.percent(30)) add({"traffic ", deniedStream(), " vlan ", edges_.of({"10", "20"})});
    if (edges_.percent(15)) add({"clear fastdrop vrf ", edges_.of(vrfs_)});
  }
  add("settle");
}

// More than one slice of a review is enough for, and then a port changes.
void Generator::learnedMany() {
  if (setFaults_) return noCache();
  std::string const vlan = edges_.of({"10", "20"}), ports = " port " + edges_.of({"p1", "p2 p3"});
  add({"vlan add ", vlan, ports});
  add({"boundary add 224.0.0.0/4 dev Vlan", vlan});
  denied_.emplace("224.0.0.0/4", "Vlan" + vlan);
  for (auto const * group : {"239.1.1.1", "239.1.1.2", "239.1.7.7", "232.1.1.1"}) {
    for (auto const * source : {"10.9.0.1 ", "10.9.0.2 "}) {
      add({"no-cache ", source, group, " dev Vlan", vlan});
    }
  }
  add("settle");
  add({"clock read-cost ", edges_.of({"0.004", "0.02"})});
  add({"stp vlan ", vlan, ports, edges_.percent(60) ? " discarding" : " forwarding"});
  if (edges_.percent(40)) add({"boundary del 224.0.0.0/4 dev Vlan", vlan});
  add("settle");
  add("clock read-cost 0");
}

// A number of the kernel's goes to another interface.
void Generator::boundaryVif() {
  add({"boundary vif ", std::to_string(edges_.below(6)), " dev ", boundedIntf(), " vrf ",
       edges_.of(vrfs_)});
}

void Generator::lineCard() {
  std::string const card = edges_.percent(60) ? card_ : edges_.of({"L1", "L2", "L3"});
  if (edges_.percent(35)) return add({"linecard del ", card});
  add({"linecard add ", card, edges_.percent(70) ? " tcam" : " no-tcam"});
}

}  // namespace Simulation
