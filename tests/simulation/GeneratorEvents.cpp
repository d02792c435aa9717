// The events of a script.
#include "tests/simulation/Generator.h"

namespace Simulation {

// --- Bridging

void Generator::vlanAdd() { add({"vlan add ", vlan()}); }

void Generator::vlanDel() { add({"vlan del ", vlan()}); }

void Generator::portAdd() {
  std::string const how = random_.percent(30) ? " tagged" : "";
  add({"vlan add ", vlan(), " port ", ports(), how});
}

void Generator::portDel() { add({"vlan del ", vlan(), " port ", port()}); }

void Generator::portMove() {
  std::string const one = port();
  add({"vlan del ", vlan(), " port ", one});
  add({"vlan add ", vlan(), " port ", one});
}

void Generator::stpPort() {
  std::string const state =
      random_.percent(55) ? "forwarding" : random_.of({"discarding", "learning", "disabled"});
  add({"stp vlan ", vlan(), " port ", ports(), " ", state});
}

void Generator::stpInstance() {
  add({"stp instance ", random_.of({"mst1", "mst2", "vlan10"}), " vlan ", vlan()});
}

void Generator::snooping() {
  add({"bridge snooping vid ", vlan(), (random_.percent(70) ? " on" : " off")});
}

void Generator::snoopingFlood() { add({"bridge snooping vid ", vlan(), " flood ", onOff()}); }

void Generator::join() {
  add({"bridge mdb add vid ", vlan(), " port ", ports(), " grp ", group()});
}

void Generator::leave() {
  add({"bridge mdb del vid ", vlan(), " port ", ports(), " grp ", group()});
}

void Generator::router() {
  add({"bridge router ", random_.of({"add", "add", "del"}), " vid ", vlan(), " port ", port()});
}

// Snooping knows groups and routers when the switch comes to rest; then one thing of it changes,
// and nothing else tells of that.
void Generator::snoopingAlone() {
  std::string const which = vlan(), here = " vid " + which, where = port();
  bool const isIp = random_.percent(75);
  std::string const what = isIp ? group() : "ff1e::1", configured = "33:33:00:00:00:01";
  std::string const listener = here + " port " + where + " grp " + what;
  add({"vlan add ", which, " port ", where, " ", ports()});
  add({"bridge snooping", here, " on"});
  add({"bridge snooping", here, " flood ", random_.percent(80) ? "off" : "on"});
  if (random_.percent(85)) add({"bridge mdb add", listener});
  if (random_.percent(50)) add({"bridge mdb add", here, " port ", ports(), " grp ", group()});
  if (random_.percent(40)) add({"bridge router add", here, " port ", port()});
  if (random_.percent(50)) publishTo("Vlan" + which, what);
  if (!isIp && random_.percent(70)) {
    add({"bridge fdb add ", configured, here, " port ", ports()});
  }
  add("settle");
  if (!isIp && random_.percent(40)) {
    add({"bridge fdb ", random_.of({"del ", "add "}), configured, here, " port ", port()});
    if (random_.percent(60)) add({"bridge fdb del ", configured, here});
    return add("settle");
  }
  switch (random_.below(8)) {
    case 0:
    case 1:
      add({"bridge snooping", here, " flood ", onOff()});
      break;
    case 2:
      add({"bridge snooping", here, " off"});
      if (random_.percent(40)) add({"bridge snooping", here, " on"});
      break;
    case 3:
      add({"bridge router ", random_.of({"add", "del"}), here, " port ", where});
      break;
    case 4:
      add({"bridge mdb del", listener});
      add({"bridge mdb add", here, " port ", port(), " grp ", what});
      break;
    case 5:
      add({"bridge mdb add", here, " port ", port(), " grp ", what});
      break;
    default:
      add({"bridge mdb del", listener});
  }
  add("settle");
}

void Generator::learning() { add({"bridge vlan set ", vlan(), " learning ", onOff()}); }

void Generator::linkFlood() { add({"bridge link set ", port(), " flood ", onOff()}); }

// --- LAGs

// Three to each LAG, so that none is ever in two of them.
std::string Generator::lagPort(std::string const & lag) {
  U32 const first = lag.back() == '1' ? 5 : lag.back() == '2' ? 8 : 11;
  return "p" + std::to_string(random_.between(first, first + 2));
}

void Generator::lagMember() {
  std::string const which = lag();
  std::string const member = random_.percent(8) ? "PeerEthernet9" : lagPort(which);
  add({"lag ", random_.of({"add ", "add ", "del "}), which, " member ", member});
}

void Generator::lagDel() {
  std::string const which = lag();
  add({"lag del ", which});
  if (random_.percent(50)) add({"lag add ", which, " member ", lagPort(which)});
}

void Generator::lagHardware() { add({"lag hardware ", lag(), " ", onOff()}); }

void Generator::mlag() {
  switch (random_.below(4)) {
    case 0:
      return add({"mlag peer-link ", port()});
    case 1:
      return add({"mlag active ", onOff()});
    case 2:
      return add({"mlag add ", lag(), random_.of({" local p5", "", " local p6 inactive"})});
    default:
      return add({"mlag del ", lag()});
  }
}

// --- Interfaces and VRFs

void Generator::intfAdd() {
  if (random_.percent(70)) return add({"ip link add Vlan", vlan(), " vrf ", vrf()});
  switch (random_.below(3)) {
    case 0:
      return add(
          {"ip link add et1 internal-vlan ", random_.of({"1006", "20", "1038"}), " vrf ", vrf()});
    case 1:
      return add({"ip link add et2 internal-vlan ", random_.of({"1007", "30"}), " vrf ", vrf()});
    default:
      return add({"ip link add Ethernet5.100 link Ethernet5 internal-vlan 1008 vrf ", vrf()});
  }
}

void Generator::intfDel() { add({"ip link del ", intf()}); }

void Generator::intfVrf() {
  if (random_.percent(20)) return add({"ip link set ", intf(), " no-vrf"});
  add({"ip link set ", intf(), " vrf ", vrf()});
}

void Generator::internalVlan() {
  switch (random_.below(4)) {
    case 0:
      return add({"ip link set et1 internal-vlan ", random_.of({"1006", "20", "1038"})});
    case 1:
      return add({"ip link set et2 internal-vlan ", random_.of({"1007", "30"})});
    case 2:
      return add({"ip link set ", routedPort(), " no-internal-vlan"});
    default:
      return add("ip link set Ethernet5.100 internal-vlan 1008");
  }
}

void Generator::vrfAdd() { add({"vrf add ", vrf()}); }

void Generator::vrfDel() {
  std::string const which = vrf();
  if (which == "default") return;
  add({"vrf del ", which});
  if (random_.percent(40)) clock();
  if (random_.percent(60)) add({"vrf add ", which});
}

void Generator::routing() {
  std::string const which = random_.of({"ip routing ", "ip multicast-routing "});
  std::string const name = vrf();
  add({which, "off vrf ", name});
  if (random_.percent(30)) clock();
  if (random_.percent(80)) add({which, "on vrf ", name});
}

void Generator::hardware() {
  if (random_.percent(50)) {
    add("hw routing off");
    if (random_.percent(90)) add("hw routing on");
    return;
  }
  // The resolver is told of it by nobody.
  add({"hw need-iif ", onOff()});
  add("review all");
}

void Generator::nat() {
  if (v6_) return;
  std::string const address = random_.of({"239.1.1.1", "239.1.1.2"});
  if (random_.percent(60)) return add({"nat add ", address, " vlan ", vlan(), " ", vlan()});
  add({"nat del ", address});
}

void Generator::vxlan() {
  if (random_.percent(30)) return add({"vxlan flood-to-vteps ", onOff()});
  add({"vxlan vlan ", vlan(), " ", onOff()});
}

void Generator::pim() {
  switch (random_.below(4)) {
    case 0:
      return add({"pim vlan ", vlan(), " ", onOff()});
    case 1:
      return add({"pim fast-failover ", intf(), " ", onOff()});
    case 2:
      return add({"pim border ", intf(), " ", onOff()});
    default:
      return add({"pim vxlan ", intf(), " ", onOff()});
  }
}

// --- Routes

std::string Generator::oif() {
  std::string const name = intf();
  if (random_.percent(85)) return name;
  return name + "=" +
         random_.of({"accept", "forward+accept", "forward+notify", "notify", "accept+notify"});
}

// A route of the group that is sent out there.
void Generator::publishTo(std::string const & intf, std::string const & group) {
  bool const v6 = group.find(':') != std::string::npos;
  if (v6 != v6_ || group.find('/') != std::string::npos) return;
  Published route = freshRoute();
  route.oifs.push_back(intf);
  std::string const where = table();
  publish(where, source() + " " + group, route);
}

Generator::Published Generator::freshRoute() {
  Published route;
  if (random_.percent(95)) route.iif = intf();
  for (U32 i = random_.below(5); i > 0; --i) route.oifs.push_back(oif());
  if (random_.percent(12)) route.frr = intf();
  if (random_.percent(12)) route.notify = intf();
  if (random_.percent(8)) route.fastdrop = intf();
  route.programmable = random_.percent(60);
  route.toCpu = random_.percent(10);
  route.acceptAny = random_.percent(4);
  route.hold = random_.percent(10);
  if (random_.percent(12)) route.rpa = random_.between(1, 3);
  return route;
}

// Mostly an output, as protocols do.
void Generator::change(Published & route) {
  switch (random_.below(12)) {
    case 0:
      route.iif = intf();
      break;
    case 1:
      route.frr = random_.percent(50) ? intf() : "";
      break;
    case 2:
      route.notify = random_.percent(50) ? intf() : "";
      break;
    case 3:
      route.fastdrop = random_.percent(50) ? intf() : "";
      break;
    case 4:
      route.toCpu = !route.toCpu;
      break;
    case 5:
      route.rpa = random_.percent(60) ? 0 : random_.between(1, 3);
      break;
    case 6:
    case 7:
    case 8:
      if (!route.oifs.empty()) {
        route.oifs.erase(route.oifs.begin() + random_.below(static_cast<U32>(route.oifs.size())));
        break;
      }
      [[fallthrough]];
    default:
      route.oifs.push_back(oif());
  }
}

void Generator::publish(std::string const & table, std::string const & key,
                        Published const & route) {
  std::string line = "publish " + table + " route add " + key;
  if (!route.iif.empty()) line += " iif " + route.iif;
  if (!route.frr.empty()) line += " frr " + route.frr;
  if (!route.notify.empty()) line += " notify " + route.notify;
  if (route.programmable) line += " programmable";
  if (!route.fastdrop.empty()) line += " fastdrop " + route.fastdrop;
  if (route.rpa) line += " rpa " + std::to_string(route.rpa);
  if (route.toCpu) line += " to-cpu";
  if (route.acceptAny || route.acceptDf) line += route.acceptDf ? " accept-df" : " accept-any";
  if (route.hold && key[0] == '*') line += " hold";
  // What a protocol prefers, and says with each route.
  line += table.starts_with("static.") ? " priority 10" : " priority 5";
  if (!route.oifs.empty()) line += " oif";
  for (auto const & oif : route.oifs) line += " " + oif;
  add(line);
  published_[{table, key}] = route;
}

void Generator::publishNew() { publishNew(table()); }

void Generator::publishNew(std::string const & table) {
  std::string const who = source();
  Published const route = freshRoute();
  publish(table, who + " " + group(), route);
}

void Generator::publishChanged() {
  if (published_.empty()) return publishNew();
  auto const [place, standing] = random_.of(published_);
  auto const & [table, key] = place;
  Published route = standing;
  change(route);
  publish(table, key, route);
}

void Generator::withdraw() {
  if (published_.empty()) return;
  auto const [table, key] = random_.of(published_).first;
  withdraw(table, key);
}

void Generator::withdraw(std::string const & table, std::string const & key) {
  add({"publish ", table, " route del ", key});
  published_.erase({table, key});
}

void Generator::attach() {
  std::string const which = table();
  add({"detach ", which});
  if (random_.percent(30)) clock();
  if (random_.percent(80)) add({"attach ", which});
}

// --- Chips

void Generator::chipRefuse() {
  if (routeFaults_ && random_.percent(50)) {
    add({"chip refuse ", chip(), " routes ", std::to_string(random_.between(1, 4))});
  } else if (setFaults_) {
    add({"chip refuse ", chip(), " sets ", std::to_string(random_.between(1, 4))});
  }
}

void Generator::chipSize() {
  if (routeFaults_ && random_.percent(50)) {
    add({"chip set ", chip(), " routes ", std::to_string(random_.between(2, 30))});
  } else if (setFaults_) {
    add({"chip set ", chip(), " sets ", std::to_string(random_.between(4, 80))});
  }
}

void Generator::chipCome() {
  if (lateChips_) add({"chip add ", chip(), " ports ", ports(), " ", ports()});
}

void Generator::chipGo() {
  if (lateChips_) add({"chip del ", chip()});
}

void Generator::chipSignal() { add({"chip ", random_.of({"free ", "kick "}), chip()}); }

// --- Time

void Generator::clock() {
  switch (random_.below(4)) {
    case 0:
      return add({"clock read-cost ", random_.of({"0", "0.0005", "0.004", "0.02"})});
    case 1:
      return add({"clock advance ", random_.of({"0", "0.001", "0.03", "0.2"})});
    default:
      return turns();
  }
}

// So that something else comes between two slices of what is long.
void Generator::turns() { add({"clock turns ", std::to_string(random_.between(1, 8))}); }

void Generator::reviewAll() { add("review all"); }

}  // namespace Simulation
