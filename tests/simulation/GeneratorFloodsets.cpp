// The events that L2 routes depend on, beside the bridging that all routes do.
#include "tests/simulation/Generator.h"

namespace Simulation {

void Generator::configureL2() {
  U32 const sort = random_.below(20);
  l2_ = sort < 11;
  l2Elsewhere_ = sort == 11;
  if (!l2_) return;
  add("l2 on");
  if (random_.percent(30)) add("vxlan environment on");
  if (random_.percent(25)) add("l2 ignore-vlan on");
  if (random_.percent(20)) add("l2 share-sets on");
  if (random_.percent(40)) add("hw delete-l2-on-failure on");
  if (!random_.percent(35)) return;
  add("vxlan core-side on");
  add("vxlan vlan 10 20 on");
  add({"vxlan vtep add ", random_.of({"Vxlan1", "Port-Channel4"}), " lif 5000"});
}

void Generator::addL2Events() {
  using G = Generator;
  if (l2Elsewhere_) events_.push_back({8, &G::vlanElsewhere});
  std::initializer_list<Event> const more = {
      {6, &G::staticGroup}, {4, &G::otherGroup}, {5, &G::vlanAgain},  {5, &G::l2Setting},
      {4, &G::staticAlone}, {4, &G::pimVlan},    {4, &G::pimVxlan},   {4, &G::coreSide},
      {3, &G::linkMode},    {2, &G::stpOff},     {12, &G::evpnPeer},  {2, &G::evpn},
      {1, &G::keeping},     {3, &G::mlagAlone},  {2, &G::mlagOrphan}, {2, &G::pimGroups},
      {3, &G::walk},
  };
  events_.insert(events_.end(), more);
}

// A VLAN that went with its routed port has left its groups behind. Only a peer that is synced may
// leave.
void Generator::tearDownL2() {
  for (auto const * number : {"10", "20", "30"}) {
    std::string const which = std::string(" vid ") + number;
    for (auto const * tep : {"10.9.0.1", "10.9.0.2", "fd00::9"}) {
      add({"evpn peer add", which, " tep ", tep, " synced"});
    }
    add({"evpn peers del", which});
  }
  for (auto const * number : {"10", "20", "30", "42", "100", "1006", "1007", "1008", "1038"}) {
    add({"vxlan vlan ", number, " off"});
    add({"vlan add ", number});
    add({"vlan del ", number});
  }
}

// The first two belong to snooping, and to nobody.
std::string Generator::mac() {
  return random_.of(
      {"01:00:5e:01:01:01", "01:80:c2:00:00:21", "33:33:00:00:00:01", "01:1b:19:00:00:00"});
}

void Generator::staticGroup() {
  if (random_.percent(15)) return add({"bridge fdb del ", mac(), " vid ", vlan()});
  if (random_.percent(30))
    return add({"bridge fdb del ", mac(), " vid ", vlan(), " port ", ports()});
  add({"bridge fdb add ", mac(), " vid ", vlan(), " port ", ports()});
}

// One thing of a group, and nothing else tells of it.
void Generator::staticAlone() {
  std::string const what = mac() + " vid " + vlan(), where = port();
  add({"bridge fdb add ", what, " port ", where, " ", ports()});
  add("settle");
  switch (random_.below(4)) {
    case 0:
      add({"bridge fdb add ", what, " port ", port()});
      break;
    case 1:
      add({"bridge fdb del ", what, " port ", where});
      break;
    case 2:
      add({"bridge fdb del ", what});
      add({"bridge fdb add ", what, " port ", port()});
      break;
    default:
      add({"bridge fdb del ", what});
  }
  add("settle");
}

// A group that is snooped, but by another protocol than IGMP.
void Generator::otherGroup() {
  std::string const verb = random_.percent(55) ? "add" : "del";
  add({"bridge mdb ", verb, " vid ", vlan(), " port ", ports(), " grp ",
       random_.of({"ff1e::1", "ff1e::2"})});
}

// What is no longer wanted is only marked; it may be wanted again before it has gone.
void Generator::vlanAgain() {
  std::string const which = vlan();
  add({"vlan del ", which});
  if (random_.percent(30)) clock();
  add({"vlan add ", which, " port ", ports()});
}

void Generator::l2Setting() {
  add({"l2 ", random_.of({"flooding ", "flood-with-pim ", "share-sets ", "ignore-pim "}), onOff()});
}

void Generator::pimVlan() { add({"pim vlan ", vlan(), " ", onOff()}); }

// Mostly the same few, so that the last one goes, too.
void Generator::pimVxlan() {
  add({"pim vxlan ", random_.of({"Vlan10", "Vlan20", "et2"}), " ",
       random_.percent(40) ? "on" : "off"});
}

// A VTEP by VLAN, or by a logical interface, which need not be in the VLAN, as the LAG that is in
// none.
void Generator::coreSide() {
  switch (random_.below(4)) {
    case 0:
      return add({"vxlan core-side ", onOff()});
    case 1:
      return add({"vxlan vlan ", vlan(), " ", onOff()});
    case 2:
      return add({random_.of({"lag add ", "lag del "}), "Port-Channel4 member ",
                  random_.of({"p14", "p15"})});
    default:
      return add(
          {"vxlan vtep ", random_.of({"add ", "add ", "del "}),
           random_.of({"Vxlan1", "p3", "Port-Channel1", "Port-Channel4", "Cpu", "Ethernet5.7"}),
           " lif ", random_.of({"5000", "5001", "20", "0"})});
  }
}

// Whether PIM leaves the groups of its VLANs to snooping.
void Generator::pimGroups() {
  std::string const which = vlan();
  add({"bridge snooping vid ", which, " on"});
  add({"bridge mdb add vid ", which, " port ", ports(), " grp ", group()});
  add({"pim vlan ", which, " on"});
  add("l2 ignore-pim on");
  if (random_.percent(60)) add("settle");
  add("l2 ignore-pim off");
}

// VLANs that another process computes L2 routes for, while this one has none.
void Generator::vlanElsewhere() { add({"l2 vlan ", vlan(), " ", onOff()}); }

void Generator::linkMode() { add({"bridge link set ", ports(), " mode ", random_.of({"0", "6"})}); }

void Generator::stpOff() {
  std::string const which = vlan();
  add({"stp vlan ", which, " off"});
  if (random_.percent(30)) clock();
  if (random_.percent(60)) add({"vlan add ", which});
}

// Unlike mlag(): a review of all would hide that nobody was told.
void Generator::mlagAlone() {
  switch (random_.below(3)) {
    case 0:
      return add({"mlag peer-link ", port()});
    case 1:
      return add({"mlag active ", onOff()});
    default:
      return add({"mlag add ", port(), random_.of({"", " active-partial", " inactive"})});
  }
}

// Floods go over the peer link, or not, by a port that is all that the VLAN has beside it.
void Generator::mlagOrphan() {
  std::string const which = vlan();
  std::string const other = random_.percent(50) ? "p1" : lag();
  add("mlag peer-link p9");
  add("mlag active on");
  add({"vlan del ", which});
  add({"vlan add ", which, " port p9 ", other});
  add({"mlag add ", other});
  if (random_.percent(80)) add("settle");
  switch (random_.below(4)) {
    case 0:
      return add("mlag active off");
    case 1:
      return add({"bridge vlan set ", which, " learning on"});
    case 2:
      return add({"mlag del ", other});
    default:
      return add({"mlag add ", other, " inactive"});
  }
}

// A peer comes before its filter is complete or after, loses it again, and leaves.
void Generator::evpnPeer() {
  std::string const vid = random_.of({"10", "20", "30"});
  std::string const tep = random_.of({"10.9.0.1", "10.9.0.2", "fd00::9"});
  std::string const which = " vid " + vid + " tep " + tep;
  switch (random_.below(8)) {
    case 0:
      return add({"evpn peer add", which, " port ", ports()});
    case 1:
    case 2:
    case 3:
      return add({"evpn peer add", which, " port ", ports(), " synced"});
    case 4:
      return add({"evpn peer del", which, " port ", ports()});
    case 5:
      return add({"evpn peer add", which, " port ", ports(), " unsynced"});
    case 6:
      add({"evpn peer del", which});
      return add({"evpn peer add", which, " port ", ports(), " synced"});
    default:
      return add({"evpn peer del", which});
  }
}

void Generator::evpn() {
  if (random_.percent(60)) return add({"evpn peers del vid ", random_.of({"10", "20", "30"})});
  add("evpn off");
  if (random_.percent(40)) evpnPeer();
  if (random_.percent(30)) clock();
  if (random_.percent(80)) add("evpn on");
}

// Where a chip may hold an entry that waits for those of the others, the process ends when
// floodsets that fail are no longer kept, by design.
void Generator::keeping() {
  if (chips_ == 1 || !routeFaults_) add({"hw delete-l2-on-failure ", onOff()});
}

// Things change and go while the reviews walk over them, a few routes at a time.
void Generator::walk() {
  add("clock read-cost 0.02");
  add("review all");
  add({"clock advance ", random_.of({"0.1", "0.13", "0.2"})});
  for (U32 i = random_.between(1, 4); i > 0; --i) {
    switch (random_.below(8)) {
      case 0:
        evpnPeer();
        break;
      case 1:
        staticGroup();
        break;
      case 2:
        pimVlan();
        break;
      case 3:
      case 4:
        event();
        break;
      default:
        vlanDel();
    }
    if (random_.percent(50)) add({"clock advance ", random_.of({"0", "0.03", "0.1"})});
  }
}

}  // namespace Simulation
