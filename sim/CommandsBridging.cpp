// VLANs, spanning tree, IGMP snooping and bridging configuration.
#include <algorithm>

#include "mira/Expansion.h"
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/RecordEdits.h"

namespace Brindle::Sim {

namespace {

using Bridging::VlanId;

std::string textOf(VlanId vlan) { return "VLAN " + std::to_string(vlan.value()); }

Bridging::VlanStatus & requireVlan(Host & host, VlanId vlan) {
  if (!host.records().vlanStatusDir->vlanStatus(vlan)) {
    throw CommandError("expected a VLAN that stands; " + textOf(vlan) + " comes with \"vlan add " +
                       std::to_string(vlan.value()) + "\"");
  }
  return *host.records().vlanStatusDir->vlanStatusIs(vlan);
}

Bridging::IgmpSnooping::VlanStatus & requireSnooping(Host & host, VlanId vlan) {
  if (!host.records().snooping->vlanStatus(vlan)) {
    throw CommandError("expected a VLAN with snooping; \"bridge snooping vid " +
                       std::to_string(vlan.value()) + " on\" turns it on");
  }
  return *host.records().snooping->vlanStatusIs(vlan);
}

void vlanAdd(Host & host, Arguments const & arguments) {
  for (VlanId vlan : arguments.vlans()) addVlan(host.records(), vlan);
}

void vlanDel(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  for (VlanId vlan : arguments.vlans()) requireVlan(host, vlan);
  for (VlanId vlan : arguments.vlans()) {
    records.vlanStatusDir->vlanStatusDel(vlan);
    records.brConfig->vlanConfigDel(vlan);
    records.brConfig->fdbConfigDel(vlan);
    records.snooping->vlanStatusDel(vlan);
    records.brTopo->vidToTopoMapDel(vlan);
  }
}

void vlanPortAdd(Host & host, Arguments const & arguments) {
  using Bridging::VlanPortMode;
  auto const mode = arguments.has("tagged") ? VlanPortMode::tagged : VlanPortMode::untagged;
  for (auto port : arguments.intfs()) addVlanPort(host.records(), arguments.vlan(), port, mode);
}

void vlanPortDel(Host & host, Arguments const & arguments) {
  auto & vlan = requireVlan(host, arguments.vlan());
  for (auto port : arguments.intfs()) {
    vlan.vlanPortStatusDel(port);
    host.records().brConfig->vlanConfigIs(vlan.vlanId())->intfDel(port);
  }
}

Bridging::Topology::PortState portState(Arguments const & arguments) {
  using Bridging::Topology::PortState;
  if (arguments.has("forwarding")) return PortState::forwarding;
  if (arguments.has("learning")) return PortState::learning;
  return arguments.has("discarding") ? PortState::discarding : PortState::disabled;
}

void stpPort(Host & host, Arguments const & arguments) {
  requireVlan(host, arguments.vlan());
  auto & topology = topologyOf(host.records(), arguments.vlan());
  for (auto port : arguments.intfs()) {
    topology.topoPortConfigIs(port)->stateIs(portState(arguments));
  }
}

void stpInstance(Host & host, Arguments const & arguments) {
  auto & topo = *host.records().brTopo;
  for (VlanId vlan : arguments.vlans()) requireVlan(host, vlan);
  auto const instance = topo.topoConfigIs(Zet::String(arguments.text("NAME")));
  for (VlanId vlan : arguments.vlans()) topo.vidToTopoMapIs(vlan, instance);
}

void stpOff(Host & host, Arguments const & arguments) {
  for (VlanId vlan : arguments.vlans()) requireVlan(host, vlan);
  for (VlanId vlan : arguments.vlans()) host.records().brTopo->vidToTopoMapDel(vlan);
}

void snoopingOnOff(Host & host, Arguments const & arguments) {
  VlanId const vlan = arguments.vlan();
  requireVlan(host, vlan);
  if (arguments.on()) {
    host.records().snooping->vlanStatusIs(vlan);
  } else {
    host.records().snooping->vlanStatusDel(vlan);
  }
}

void snoopingFlood(Host & host, Arguments const & arguments) {
  requireSnooping(host, arguments.vlan()).useVlanFloodsetIs(arguments.on());
}

Nettle::EthAddr macOfGroup(Arguments const & arguments) {
  auto const group = arguments.group();
  if (!group.isHost())
    throw CommandError("expected one group, found \"" + Zet::textOf(group) + "\"");
  return ethAddrFromIpAddr(group.address());
}

void mdbAdd(Host & host, Arguments const & arguments) {
  auto & snooping = requireSnooping(host, arguments.vlan());
  auto const group = snooping.ethGroupIs(macOfGroup(arguments));
  for (auto port : arguments.intfs()) group->intfIs(port, true);
}

void mdbDel(Host & host, Arguments const & arguments) {
  auto & snooping = requireSnooping(host, arguments.vlan());
  auto const mac = macOfGroup(arguments);
  if (!snooping.ethGroup(mac)) throw CommandError("expected a group that has listeners there");
  auto const group = snooping.ethGroupIs(mac);
  auto const ports = arguments.intfs();
  auto const & listeners = group->intf().items();
  bool const noneStays = std::all_of(listeners.begin(), listeners.end(), [&](auto listener) {
    return std::find(ports.begin(), ports.end(), listener) != ports.end();
  });
  if (noneStays) return snooping.ethGroupDel(mac);
  for (auto port : ports) group->intfDel(port);
}

void mdbRouter(Host & host, Arguments const & arguments) {
  auto & snooping = requireSnooping(host, arguments.vlan());
  for (auto port : arguments.intfs()) snooping.routerIntfIs(port, arguments.has("add"));
}

void fdbAdd(Host & host, Arguments const & arguments) {
  requireVlan(host, arguments.vlan());
  auto const fdb = host.records().brConfig->fdbConfigIs(arguments.vlan());
  auto const group = fdb->ethGroupIs(arguments.mac());
  for (auto port : arguments.intfs()) group->intfIs(port, true);
}

void fdbDel(Host & host, Arguments const & arguments) {
  requireVlan(host, arguments.vlan());
  auto const fdb = host.records().brConfig->fdbConfigIs(arguments.vlan());
  auto const mac = arguments.mac();
  if (!arguments.given("PORT")) return fdb->ethGroupDel(mac);
  if (!fdb->ethGroup(mac)) throw CommandError("expected a group that is configured there");
  for (auto port : arguments.intfs()) fdb->ethGroupIs(mac)->intfDel(port);
}

void linkFlood(Host & host, Arguments const & arguments) {
  auto & config = *host.records().brConfig;
  for (auto port : arguments.intfs()) {
    config.switchIntfConfigIs(port)->floodingEnabledIs(arguments.on());
  }
}

void linkMode(Host & host, Arguments const & arguments) {
  auto & config = *host.records().brConfig;
  auto const mode = static_cast<U8>(arguments.number("MODE"));
  for (auto port : arguments.intfs()) config.switchIntfConfigIs(port)->switchportModeIs(mode);
}

void vlanLearning(Host & host, Arguments const & arguments) {
  requireVlan(host, arguments.vlan());
  host.records().brConfig->vlanConfigIs(arguments.vlan())->macLearningIs(arguments.on());
}

constexpr Command<Host> rows[] = {
    {"vlan add VLAN...", "Bring VLANs up.", vlanAdd},
    {"vlan del VLAN...", "Take VLANs down, with all that is said of them.", vlanDel},
    {"vlan add VLAN port PORT... [tagged|untagged]",
     "Put ports into a VLAN, untagged if not told; where nothing else is said, they forward.",
     vlanPortAdd},
    {"vlan del VLAN port PORT...", "Take ports out of a VLAN.", vlanPortDel},
    {"stp vlan VLAN port PORT... forwarding|learning|discarding|disabled",
     "Set the spanning-tree state of ports in a VLAN's tree.", stpPort},
    {"stp instance NAME vlan VLAN...",
     "Let VLANs share one spanning tree; without it each has its own, vlanN.", stpInstance},
    {"stp vlan VLAN... off", "VLANs run no spanning tree: nothing forwards in them.", stpOff},
    {"bridge snooping vid VLAN on|off", "Turn IGMP snooping on or off in a VLAN.", snoopingOnOff},
    {"bridge snooping vid VLAN flood on|off",
     "Flood groups in a snooped VLAN, as after a change of its topology.", snoopingFlood},
    {"bridge mdb add vid VLAN port PORT... grp GROUP", "Listeners of a group are behind ports.",
     mdbAdd},
    {"bridge mdb del vid VLAN port PORT... grp GROUP", "They have left.", mdbDel},
    {"bridge router add|del vid VLAN port PORT...",
     "A multicast router is behind ports of a snooped VLAN, or not.", mdbRouter},
    {"bridge fdb add MAC vid VLAN port PORT...", "Configure a static group by its MAC address.",
     fdbAdd},
    {"bridge fdb del MAC vid VLAN [port PORT...]", "Remove it, or ports of it.", fdbDel},
    {"bridge link set PORT... flood on|off", "Flood to ports, or not.", linkFlood},
    {"bridge link set PORT... mode MODE", "Set the switchport mode; 6 is not flooded to.",
     linkMode},
    {"bridge vlan set VLAN learning on|off", "Learn addresses in a VLAN, or not.", vlanLearning},
};

}  // namespace

Subject<Host> const bridgingCommands = {"Bridging", rows};

}  // namespace Brindle::Sim
