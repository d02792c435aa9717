// How a VLAN becomes ports.
#include "tests/simulation/Oracle.h"
#include "tests/simulation/OraclePorts.h"

namespace Simulation {

using Bridging::VlanId;
using Bridging::VlanPortMode;
using Brindle::OutLif;
using Nettle::IntfId;
using Nettle::IntfKind;

namespace {

Nettle::EthAddr macOf(Key const & key) {
  auto const & b = key.group().address().bytes();
  if (key.group().address().isV4()) {
    return Nettle::EthAddr({0x01, 0x00, 0x5e, static_cast<U8>(b[1] & 0x7f), b[2], b[3]});
  }
  return Nettle::EthAddr({0x33, 0x33, b[12], b[13], b[14], b[15]});
}

}  // namespace

U32 Oracle::forwardingPorts(U32 vlan) const {
  auto const * status = vlan ? records_.vlanStatusDir->vlanStatus(VlanId(vlan)) : nullptr;
  if (!status) return 0;
  U32 count = 0;
  for (auto const & port : status->vlanPortStatus().items()) {
    bool const counts = port.value.mode != VlanPortMode::none && port.key.kind() != IntfKind::cpu;
    if (counts && forwards(records_, vlan, port.key)) ++count;
  }
  return count;
}

Oracle::Members Oracle::vlanMembers(U32 vlan, Key const & key) const {
  Members out;
  VlanId const vid(vlan);
  if (!records_.vlanStatusDir->vlanStatus(vid) || !records_.brTopo->vidToTopoMap(vid)) return out;
  auto const * snooping = records_.snooping->vlanStatus(vid);
  bool const v6 = host_.routeTables().af() == Nettle::ipv6();
  if (v6 || !snooping || snooping->useVlanFloodset() || !key.group().isHost()) {
    for (IntfId port : floodedPorts(host_, vlan)) addPort(vlan, port, out);
  } else {
    addListeners(vlan, key, out);
  }
  addTunnels(vlan, out);
  return out;
}

void Oracle::addListeners(U32 vlan, Key const & key, Members & out) const {
  auto const * snooping = records_.snooping->vlanStatus(VlanId(vlan));
  std::set<IntfId> listeners;
  if (auto const * group = snooping->ethGroup(macOf(key))) {
    for (IntfId port : group->intf().items()) listeners.insert(port);
  }
  for (IntfId port : snooping->routerIntf().items()) listeners.insert(port);
  for (IntfId port : listeners) {
    if (forwards(records_, vlan, port)) addPort(vlan, port, out);
  }
}

void Oracle::addTunnels(U32 vlan, Members & out) const {
  auto const & policy = host_.policy();
  if (!policy.floodToVteps || !policy.vxlanVlans.contains(VlanId(vlan))) return;
  addPort(vlan, IntfId("Vxlan1"), out);
}

void Oracle::addPort(U32 vlan, IntfId port, Members & out) const {
  auto const mode = records_.vlanStatusDir->vlanStatus(VlanId(vlan))->vlanPortStatus(port).mode;
  bool const byConfig = host_.settings().configuredLagMembers && isLag(port);
  bool const inVlan = mode != VlanPortMode::none || port.kind() == IntfKind::vxlan || byConfig;
  bool const refused =
      port.kind() == IntfKind::vxlanTunnel || port.kind() == IntfKind::cpu || isPeer(port);
  if (!inVlan || refused) return;
  bool const tagged = host_.settings().taggedPorts && mode == VlanPortMode::tagged;
  out.insert({port, OutLif(vlan), tagged ? 2u : 0u});
}

Oracle::Members Oracle::resolvedLags(Members const & members, U32 chooser, Key const & key) const {
  return Simulation::resolvedLags(host_, members, chooser, macOf(key));
}

}  // namespace Simulation
