// Packets that come in where they should not, and what the operator says of the drops that they
// make.
#include "tests/simulation/Generator.h"

namespace Simulation {

void Generator::addFastdropEvents() {
  using G = Generator;
  std::initializer_list<Event> const more = {
      {10, &G::rpfFailure},   {4, &G::traffic},        {8, &G::fastdropEpisode},
      {3, &G::fastdropLimit}, {2, &G::fastdropOff},    {3, &G::inputRole},
      {3, &G::backupGone},    {1, &G::idle},           {3, &G::failoverGone},
      {2, &G::fastdropAgain}, {3, &G::borderFailures},
  };
  events_.insert(events_.end(), more);
}

// --- Packets

// Mostly of a route; of a source or a group that nobody knows, too.
std::string Generator::stream() {
  std::string key = "10.0.0.9 239.9.9.9";
  if (!published_.empty() && random_.percent(93)) {
    auto which = published_.begin();
    std::advance(which, random_.below(static_cast<U32>(published_.size())));
    key = which->first.second;
  }
  std::size_t const blank = key.find(' ');
  std::string source = key.substr(0, blank), group = key.substr(blank + 1);
  bool const isHost = source.find_first_of("*/:") == std::string::npos;
  if (!isHost || random_.percent(8)) source = random_.of({"10.0.0.1", "10.0.0.2", "10.0.0.9"});
  if (group.find_first_of("/:") != std::string::npos) group = "239.1.1.1";
  return source + " " + group;
}

std::string Generator::failingVlan() {
  if (random_.percent(85)) return vlan();
  return random_.of({"1006", "1007", "1008", "1038", "77", "4094"});
}

void Generator::rpfFailure() {
  std::string const times = random_.percent(20) ? " times " + random_.of({"2", "3", "7"}) : "";
  add({"rpf-failure ", stream(), " vlan ", failingVlan(), times});
}

void Generator::traffic() {
  std::string const times = random_.percent(40) ? " times " + random_.of({"2", "5"}) : "";
  add({"traffic ", stream(), " vlan ", failingVlan(), times});
}

// Beyond some polls, or just not.
void Generator::idle() {
  add({"clock advance ", random_.of({"0.7", "4", "21", "59.9", "61", "119", "121", "185"})});
}

// --- Settings

void Generator::fastdropLimit() {
  std::string const name = vrf();
  switch (random_.below(4)) {
    case 0:
      return add({"fastdrop max ", random_.of({"0", "1", "2", "3", "5", "1024"}), " vrf ", name});
    case 1:
      return add({"fastdrop threshold ", random_.of({"1", "1", "2", "3", "5"}), " vrf ", name});
    case 2:
      return add({"fastdrop poll ", random_.of({"5", "20", "60"}), " vrf ", name});
    default:
      return add({"clear fastdrop vrf ", name});
  }
}

void Generator::fastdropOff() {
  std::string const state = random_.percent(60) ? "on" : "off";
  if (random_.percent(40)) return add({"fastdrop ", state, " vrf ", vrf()});
  add({"fastdrop intf ", intf(), " ", state});
}

// What decides whether a failure counts.
void Generator::inputRole() {
  add({"pim ", random_.of({"border ", "fast-failover "}), intf(), " ",
       random_.percent(60) ? "on" : "off"});
}

// --- Stories

// From rest to rest: only there it is known what must stand.
void Generator::fastdropEpisode() {
  if (random_.percent(80)) add("clock read-cost 0");
  if (random_.percent(25)) inputRole();
  add("settle");
  std::string const packets = stream() + " vlan " + failingVlan();
  for (U32 i = random_.between(1, 9); i > 0; --i) {
    switch (random_.below(10)) {
      case 0:
      case 1:
        add({"rpf-failure ", packets});
        break;
      case 2:
      case 3:
        rpfFailure();
        break;
      case 4:
      case 5:
        add({"traffic ", packets, " times 2"});
        break;
      case 6:
        fastdropLimit();
        break;
      case 7:
        if (random_.percent(30)) add("settle");
        [[fallthrough]];
      default:
        idle();
    }
  }
  add("settle");
}

// Drops are wanted where the route receives, too, as long as the interface takes over at once.
void Generator::failoverGone() {
  if (v6_) return;
  std::string const input = vlan(), host = "10.0.0.1", what = "239.1.1.1";
  Published route = freshRoute();
  route.oifs.push_back("Vlan" + input + "=forward+notify");
  publish(table(), host + " " + what, route);
  add({"pim fast-failover Vlan", input, " on"});
  add("settle");
  add({"rpf-failure ", host, " ", what, " vlan ", input});
  add("settle");
  add({"pim fast-failover Vlan", input, " off"});
  add("settle");
}

// At a border it counts whether the route is accepted anywhere, sends anything and is
// bidirectional. A (*,G) route is taken in only where it is accepted somewhere, and may lose that.
void Generator::borderFailures() {
  if (v6_) return;
  std::string const border = vlan(), what = group();
  Published route;
  bool const star = random_.percent(50);
  bool const loses = star && random_.percent(70);
  if (star || random_.percent(30)) route.iif = loses ? "et1" : intf();
  for (U32 i = random_.below(3); i > 0; --i) route.oifs.push_back(oif());
  if (random_.percent(60)) route.rpa = random_.between(1, 3);
  if (loses) add({"ip link add et1 internal-vlan 1006 vrf ", vrf()});
  publish(table(), (star ? "* " : "10.0.0.3 ") + what, route);
  add({"pim border Vlan", border, " on"});
  add({"fastdrop threshold ", random_.of({"1", "2", "3"}), " vrf ", vrf()});
  add("settle");
  if (loses) add("ip link set et1 no-internal-vlan");
  if (loses) add("settle");
  for (U32 i = random_.between(1, 4); i > 0; --i) {
    add({"rpf-failure 10.0.0.3 ", what, " vlan ", border, " times ", random_.of({"1", "3"})});
    if (random_.percent(60)) add("settle");
  }
  if (random_.percent(50)) add({"pim border Vlan", border, " off"});
  add("settle");
}

// Where drops are not wanted no failure makes one; as soon as they are, the next one does.
void Generator::fastdropAgain() {
  if (v6_) return;
  std::string const input = vlan(), host = "10.0.0.2", what = "239.1.1.2";
  publish(table(), host + " " + what, freshRoute());
  for (auto const * state : {"off", "on"}) {
    add({"fastdrop intf Vlan", input, " ", state});
    add("settle");
    add({"rpf-failure ", host, " ", what, " vlan ", input, " times 5"});
    if (random_.percent(50)) add("settle");
  }
  add("settle");
}

// What came in by the backup comes on for a while when it is none any more.
void Generator::backupGone() {
  std::string const where = table(), key = source() + " " + group(), input = vlan();
  Published route = freshRoute();
  route.frr = "Vlan" + input;
  publish(where, key, route);
  add("settle");
  if (random_.percent(70)) add("review all");
  route.frr = random_.percent(25) ? intf() : "";
  publish(where, key, route);
  add("settle");
  if (!v6_) add({"rpf-failure ", stream(), " vlan ", input});
  if (!v6_ && key[0] != '*' && key.find('/') == std::string::npos) {
    add({"rpf-failure ", key, " vlan ", input});
  }
  idle();
}

}  // namespace Simulation
