// What the oracles of IP and of L2 routes both have to know of ports: which forward, and what a LAG
// gives way to.
#pragma once

#include <set>

#include "platform/EthAddr.h"
#include "sim/Host.h"
#include "state/PortVlan.h"

namespace Simulation {

// A port of the MLAG peer, by its name.
bool isPeer(Nettle::IntfId port);
bool isLag(Nettle::IntfId port);
// In the spanning tree of the VLAN.
bool forwards(Brindle::Sim::Records const & records, U32 vlan, Nettle::IntfId port);
// All that forward in a VLAN with a spanning tree, or all that are configured.
std::set<Nettle::IntfId> floodedPorts(Brindle::Sim::Host const & host, U32 vlan);

// The members of a set with LAGs resolved. Where a LAG gives way to one of its ports, that is
// chosen by a VLAN and a MAC address.
std::set<Brindle::PortVlan> resolvedLags(Brindle::Sim::Host const & host,
                                         std::set<Brindle::PortVlan> const & members, U32 chooser,
                                         Nettle::EthAddr const & mac);

}  // namespace Simulation
