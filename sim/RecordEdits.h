// What an agent does to several records at once when one thing happens, such as a port that comes
// into a VLAN.
#pragma once

#include "sim/Records.h"

namespace Brindle::Sim {

// The spanning tree of a VLAN. Without further word each VLAN has its own, "vlan100".
Bridging::Topology::TopoConfig & topologyOf(Records & records, Bridging::VlanId vlan);
// The VLAN is up.
void addVlan(Records & records, Bridging::VlanId vlan);
// The port is in the VLAN, which is made if need be; it forwards if nothing else was said of it.
void addVlanPort(Records & records, Bridging::VlanId vlan, Nettle::IntfId port,
                 Bridging::VlanPortMode mode);
// A routed port is the one port of its internal VLAN.
void setInternalVlan(Records & records, Nettle::IntfId intf, Bridging::VlanId vlan);
void dropInternalVlan(Records & records, Nettle::IntfId intf);
// The first address of an interface is the primary one.
void addAddress(Ip::IpIntfStatus & status, Nettle::IpAddrWithMask const & address);
void addLagMember(Records & records, Nettle::IntfId lag, Nettle::IntfId port);

}  // namespace Brindle::Sim
