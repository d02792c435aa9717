// Bidirectional PIM: where it is on, what protocols publish of it, chips that have little room for
// it, and routes that are accepted by designated forwarder.
//
// A third of the seeds have it. All of it is drawn from a stream of its own: the script of a seed
// is else what it would be without.
#include "tests/simulation/Generator.h"

namespace Simulation {

// A fifth of the kinds of events does not occur.
void Generator::weighBidir() {
  using G = Generator;
  if (!points_.percent(35)) return;
  bidirEvents_ = {{10, &G::bidirGroups},   {12, &G::dfProfile}, {3, &G::bidirSwitch},
                  {1, &G::bidirVrf},       {4, &G::bidirAgain}, {2, &G::bidirDamage},
                  {2, &G::bidirPublisher}, {4, &G::bidirFull},  {3, &G::bidirRoom},
                  {5, &G::dfIntf},         {4, &G::dfRoute}};
  for (auto & event : bidirEvents_) {
    event.weight *= points_.percent(20) ? 0 : points_.between(1, 3);
    bidirWeight_ += event.weight;
  }
}

// With as many as one in four of the others.
void Generator::bidirEvent() {
  if (bidirWeight_ == 0 || !points_.percent(25)) return;
  U32 at = points_.below(bidirWeight_);
  auto event = bidirEvents_.begin();
  while (at >= event->weight) at -= event++->weight;
  (this->*event->make)();
}

void Generator::startBidir() {
  if (bidirWeight_ == 0) return;
  for (auto const & vrf : vrfs_) {
    if (points_.percent(75)) add({"bidir on vrf ", vrf});
  }
  if (points_.percent(40)) bidirFull();
  for (U32 i = points_.below(6); i > 0; --i) points_.percent(50) ? bidirGroups() : dfProfile();
}

void Generator::healBidir() {
  if (bidirWeight_ == 0) return;
  for (U32 i = 0; i < chips_; ++i) {
    add({"chip set c", std::to_string(i), " groups 1000"});
    add({"chip set c", std::to_string(i), " profiles 4094"});
  }
}

// A profile of an interface without a VLAN is tried each second where chips answer later, so that a
// settle takes all its time, at the end of which a poll of fastdrops may have begun something.
void Generator::settleOn() {
  if (async_ && bidirWeight_ != 0) add("settle 25");
}

void Generator::tearDownBidir() {
  if (bidirWeight_ == 0) return;
  for (auto const & vrf : vrfs_) {
    points_.percent(40) ? add({"bidir off vrf ", vrf})
                        : add({"publish pim.", vrf, " bidir del all"});
  }
}

// --- Words

std::string Generator::bidirGroup() {
  if (points_.percent(25)) return points_.of({"ff1e::/32", "ff3e::/32", "ff1e:1::/64"});
  return points_.of({"239.0.0.0/8", "239.1.1.0/24", "232.0.0.0/8", "225.0.0.0/8", "239.1.1.1/32"});
}

// Mostly of one VRF and one address family: others that speak of the interface leave open who has
// spoken last.
std::string Generator::dfLine(std::string const & intf) {
  std::size_t const home = intf == "Vlan10" || intf == "et1" ? 0 : 1;
  bool const stray = points_.percent(6);
  std::string const vrf = stray ? points_.of(vrfs_) : vrfs_[home % vrfs_.size()];
  bool const v6 = (intf == "Vlan30" || intf == "Ethernet5.100") != points_.percent(4);
  std::string line = "publish pim." + vrf + " bidir df ";
  bool const goes = points_.percent(30);
  line += (goes ? "del " : "add ") + intf;
  for (U32 i = goes ? 0 : points_.between(1, 2); i > 0; --i) {
    line += " " + points_.of({"0", "1", "2", "3", "31", "32", "63"});
  }
  return line + (v6 ? " ipv6" : "");
}

// --- Events

void Generator::bidirSwitch() {
  std::string const vrf = points_.of(vrfs_);
  add({"bidir ", points_.percent(60) ? "on" : "off", " vrf ", vrf});
  if (points_.percent(30)) add({"bidir on vrf ", vrf});
}

// It goes, and comes back with the same tables.
void Generator::bidirVrf() {
  std::string const vrf = points_.of(vrfs_);
  if (vrf == "default") return bidirSwitch();
  add({"vrf del ", vrf});
  if (points_.percent(40)) add("settle");
  add({"vrf add ", vrf});
  if (points_.percent(80)) add({"bidir on vrf ", vrf});
}

void Generator::bidirGroups() {
  std::string const how = points_.percent(62) ? " bidir group add " : " bidir group del ";
  std::string const more = points_.percent(30) ? " 226.0.0.0/8 227.0.0.0/8" : "";
  add({"publish ", bidirTable(), how, bidirGroup(), more});
}

void Generator::dfProfile() {
  add(dfLine(points_.of({"Vlan10", "Vlan20", "Vlan30", "Vlan42", "et1", "et2", "Ethernet5.100"})));
}

// It goes and comes between two reads, or just not.
void Generator::bidirAgain() {
  std::string const where = "publish " + bidirTable() + " bidir group ", what = bidirGroup();
  for (U32 i = points_.between(1, 3); i > 0; --i) {
    add({where, "del ", what});
    if (points_.percent(40)) add({"clock turns ", points_.of({"1", "3", "8"})});
    add({where, "add ", what});
    dfProfile();
  }
}

// It is killed, is taken out of service, has none of it any more, or has what it says anew.
void Generator::bidirPublisher() {
  std::string const where = bidirTable();
  if (points_.percent(20)) return add({"publish ", where, " bidir del all"});
  stop(where, points_.percent(30));
  if (points_.percent(50)) add("settle");
  if (points_.percent(80)) start(where);
  for (U32 i = points_.below(3); i > 0; --i) {
    add({"publish ", where, " bidir group add ", bidirGroup()});
    dfProfile();
  }
  if (points_.percent(60)) add({"publish ", where, " sync"});
}

void Generator::bidirDamage() {
  std::string const where = bidirTable();
  bool const v6 = points_.percent(25);
  std::string const group = v6 ? "ff1e::/32" : "239.0.0.0/8";
  add({"publish ", where, " bidir group add ", group});
  stop(where, false);
  if (points_.percent(40)) add("settle");
  add({"tables damage ", where, points_.percent(50) ? " cut" : "", " bidir", v6 ? " ipv6" : ""});
  if (points_.percent(60)) add("settle");
  if (points_.percent(80)) start(where);
  if (points_.percent(70)) add({"publish ", where, " bidir group add ", group});
}

void Generator::bidirFull() {
  std::string const sort = points_.of({" groups ", " profiles "});
  for (U32 i = 0; i < chips_; ++i) {
    if (!points_.percent(60)) continue;
    add({"chip set c", std::to_string(i), sort, std::to_string(points_.between(1, 3))});
  }
  for (U32 i = points_.below(3); i > 0; --i) sort == " groups " ? bidirGroups() : dfProfile();
}

void Generator::bidirRoom() {
  std::string const sort = points_.of({" groups ", " profiles "});
  add({"chip set ", bidirChip(), sort, points_.of({"2", "3", "4", "6", "1000"})});
}

// Its VLAN is another one, goes, or comes to be another's.
void Generator::dfIntf() {
  std::string const one = points_.of({"et1", "et2", "Ethernet5.100"});
  std::string const other = one == "et1" ? "et2" : "et1";
  std::string const internal = points_.of({"1006", "1007", "1008"});
  switch (points_.below(5)) {
    case 0:
      return add({"ip link set ", one, " no-internal-vlan"});
    case 1:
      add({"ip link del ", one});
      if (points_.percent(40)) add({"clock turns ", points_.of({"1", "3"})});
      return add({"ip link add ", one, " internal-vlan ", internal});
    case 2:
      add({"ip link add ", one, " internal-vlan ", internal});
      add({"ip link set ", one, " no-internal-vlan"});
      if (points_.percent(40)) add("settle");
      return add({"ip link add ", other, " internal-vlan ", internal});
    default:
      return add({"ip link add ", one, " internal-vlan ",
                  points_.percent(85) ? internal : points_.of({"10", "20"})});
  }
}

// The indices of points that are none, or are not known, mean so only where the route is accepted
// nowhere else.
void Generator::dfRoute() {
  std::string const what = v6_ ? "ff1e::1" : points_.of({"239.1.1.1", "239.1.1.2"});
  std::string const where = points_.of(tables_),
                    key = (points_.percent(80) ? "* " : "10.0.0.3 ") + what;
  if (v6_ && key[0] != '*') return;
  Published route;
  route.acceptDf = points_.percent(85);
  route.iif = points_.of({"Vlan10", "Vlan20", "et1"});
  route.oifs = {"Vlan30"};
  if (points_.percent(60)) route.oifs.push_back("Vlan20");
  route.rpa = points_.percent(65) ? points_.below(4) : 65535 - points_.below(2);
  publish(where, key, route);
  if (points_.percent(40)) add("settle");
  if (v6_ || points_.percent(50)) return;
  add({"rpf-failure 10.0.0.3 ", what, " vlan ", points_.of({"10", "20", "30"})});
}

}  // namespace Simulation
