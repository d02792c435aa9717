// A Linux box as iproute2 has recorded it, understood as a switch.
//
//   ip -j -d link show          > NAME-link.json
//   ip -j addr show             > NAME-addr.json
//   ip -j mroute show table all > NAME-mroute.json
//   bridge -j mdb show          > NAME-mdb.json
//   bridge -j -d link show      > NAME-bridge-link.json
//
// A bridge that does not filter VLANs stands for one VLAN, whose number is in its name (br100), and
// is the VLAN's routed interface. What else has an address or is named by a route is a routed port.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "sim/RouteSpec.h"
#include "state/Topology.h"

namespace Brindle::Sim {

struct RecordedBox {
  struct Vlan {
    Bridging::VlanId id;
    Nettle::IntfId intf;  // the bridge
    bool snooping;
    bool learning = false;
  };
  struct Port {
    Nettle::IntfId intf;
    Bridging::VlanId vlan;
    Bridging::Topology::PortState state;
    bool flooding;
  };
  // IGMP snooping has heard of listeners behind a port, or of a router where there is no group.
  struct Membership {
    Bridging::VlanId vlan;
    Nettle::IntfId port;
    Nettle::EthAddr group;
  };
  struct RoutedIntf {
    Nettle::IntfId intf;
    Bridging::VlanIdOrNone internalVlan;  // none for a bridge
    L3::VrfName vrf;
    std::vector<Nettle::IpAddrWithMask> addresses;
  };
  struct Lag {
    Nettle::IntfId intf;
    std::vector<Nettle::IntfId> members;
  };
  struct Kind {
    Nettle::IntfId intf;
    Nettle::IntfKind kind;
    Nettle::IntfId parent;
  };

  std::string name;
  std::vector<Kind> kinds;  // where the name does not tell
  std::vector<Vlan> vlans;
  std::vector<Port> ports;
  std::vector<Lag> lags;
  std::vector<Membership> memberships;
  std::vector<Membership> routerPorts;
  std::vector<RoutedIntf> routed;
  std::map<L3::VrfName, std::vector<RouteSpec>> routes;
  // What the record holds and a switch has no use for, in words.
  std::vector<std::string> leftOut;
};

// Reads DIR/NAME-link.json and so on; an empty name stands for the only one that there is. Throws
// CommandError that names the file, the path in it and what was expected.
RecordedBox readRecordedBox(std::string const & dir, std::string const & name);

}  // namespace Brindle::Sim
