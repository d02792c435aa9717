#include "sim/RecordEdits.h"

#include <string>

namespace Brindle::Sim {

using Bridging::VlanId;
using Nettle::IntfId;

Bridging::Topology::TopoConfig & topologyOf(Records & records, VlanId vlan) {
  auto & topo = *records.brTopo;
  if (auto const * standing = topo.vidToTopoMap(vlan)) return *topo.topoConfigIs(standing->key());
  auto own = topo.topoConfigIs(Zet::String("vlan" + std::to_string(vlan.value())));
  topo.vidToTopoMapIs(vlan, own);
  return *own;
}

void addVlan(Records & records, VlanId vlan) {
  records.vlanStatusDir->vlanStatusIs(vlan);
  records.brConfig->vlanConfigIs(vlan);
  topologyOf(records, vlan);
}

void addVlanPort(Records & records, VlanId vlan, IntfId port, Bridging::VlanPortMode mode) {
  addVlan(records, vlan);
  records.vlanStatusDir->vlanStatusIs(vlan)->vlanPortStatusIs(port, {mode});
  records.brConfig->vlanConfigIs(vlan)->intfIs(port, true);
  auto & topology = topologyOf(records, vlan);
  if (topology.topoPortConfig(port)) return;
  topology.topoPortConfigIs(port)->stateIs(Bridging::Topology::PortState::forwarding);
}

void setInternalVlan(Records & records, IntfId intf, VlanId vlan) {
  dropInternalVlan(records, intf);
  addVlanPort(records, vlan, intf, Bridging::VlanPortMode::untagged);
  records.intfVlanIdTable->internalVlanIdIs(intf, vlan);
}

void dropInternalVlan(Records & records, IntfId intf) {
  auto const vlan = records.intfVlanIdTable->internalVlanId(intf);
  if (!vlan) return;
  records.intfVlanIdTable->internalVlanIdDel(intf);
  records.vlanStatusDir->vlanStatusDel(VlanId(vlan));
  records.brConfig->vlanConfigDel(VlanId(vlan));
  records.brTopo->vidToTopoMapDel(VlanId(vlan));
}

void addAddress(Ip::IpIntfStatus & status, Nettle::IpAddrWithMask const & address) {
  if (status.activeAddrWithMask().isNull()) {
    status.activeAddrWithMaskIs(address);
  } else if (status.activeAddrWithMask() != address) {
    status.activeSecondaryWithMaskIs(address, true);
  }
}

void addLagMember(Records & records, IntfId lag, IntfId port) {
  records.lagStatusDir->intfStatusIs(lag)->memberIs(port, true);
  records.lagConfigDir->phyIntfIs(port)->lagIs(lag);
}

}  // namespace Brindle::Sim
