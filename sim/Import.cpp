#include "sim/Import.h"

#include <algorithm>

#include "sim/RecordEdits.h"

namespace Brindle::Sim {

namespace {

std::string tableOf(L3::VrfName vrf) { return "kernel." + std::string(vrf.view()); }

bool isTunnel(RecordedBox const & box, Nettle::IntfId intf) {
  return std::any_of(box.kinds.begin(), box.kinds.end(), [intf](auto const & kind) {
    return kind.intf == intf && kind.kind == Nettle::IntfKind::vxlanTunnel;
  });
}

// Before any record holds the interfaces.
void declareKinds(RecordedBox const & box) {
  for (auto const & kind : box.kinds) {
    kind.intf.kindIs(kind.kind);
    if (kind.parent) kind.intf.parentIs(kind.parent);
  }
  for (auto const & vlan : box.vlans) vlan.intf.routedVlanIs(vlan.id);
}

void publishBridging(Records & records, RecordedBox const & box) {
  for (auto const & vlan : box.vlans) {
    addVlan(records, vlan.id);
    records.brConfig->vlanConfigIs(vlan.id)->macLearningIs(vlan.learning);
    if (vlan.snooping) records.snooping->vlanStatusIs(vlan.id);
  }
  for (auto const & port : box.ports) {
    addVlanPort(records, port.vlan, port.intf, Bridging::VlanPortMode::untagged);
    topologyOf(records, port.vlan).topoPortConfigIs(port.intf)->stateIs(port.state);
    records.brConfig->switchIntfConfigIs(port.intf)->floodingEnabledIs(port.flooding);
  }
  for (auto const & lag : box.lags) {
    records.lagStatusDir->intfStatusIs(lag.intf);
    for (auto member : lag.members) addLagMember(records, lag.intf, member);
  }
}

void publishSnooping(Records & records, RecordedBox const & box) {
  for (auto const & member : box.memberships) {
    if (!records.snooping->vlanStatus(member.vlan)) continue;
    records.snooping->vlanStatusIs(member.vlan)
        ->ethGroupIs(member.group)
        ->intfIs(member.port, true);
  }
  for (auto const & router : box.routerPorts) {
    if (!records.snooping->vlanStatus(router.vlan)) continue;
    records.snooping->vlanStatusIs(router.vlan)->routerIntfIs(router.port, true);
  }
}

void publishIp(Host & host, RecordedBox const & box) {
  auto & records = host.records();
  for (auto const & routed : box.routed) {
    host.vrfIs(routed.vrf);
    if (routed.internalVlan) {
      setInternalVlan(records, routed.intf, Bridging::VlanId(routed.internalVlan));
    }
    auto const status = records.ipStatus->ipIntfStatusIs(routed.intf);
    status->vrfIs(routed.vrf);
    for (auto const & address : routed.addresses) addAddress(*status, address);
  }
  for (auto const & kind : box.kinds) {
    if (kind.parent) records.subIntfConfigDir->parentIntfIs(kind.intf, kind.parent);
  }
}

void addChip(Host & host, RecordedBox const & box) {
  auto & chip = host.chipIs("c0", 0);
  chip.routeCapacityIs(Chip::defaultRoutes);
  chip.setCapacityIs(Chip::defaultSets);
  for (auto const & port : box.ports) {
    if (!isTunnel(box, port.intf)) chip.portIs(port.intf, true);
  }
  for (auto const & lag : box.lags) {
    for (auto member : lag.members) chip.portIs(member, true);
  }
  for (auto const & routed : box.routed) {
    if (routed.internalVlan) chip.portIs(routed.intf, true);
  }
}

// Returns how many were left out since they are of the other address family.
std::size_t publishRoutes(Host & host, L3::VrfName vrf, std::vector<RouteSpec> const & routes) {
  auto & publisher = host.publisherIs(tableOf(vrf));
  std::size_t others = 0;
  for (auto const & route : routes) {
    if (route.key().group().af() == host.settings().af) {
      publisher.send(routeText(route));
    } else {
      ++others;
    }
  }
  publisher.run("sync");
  return others;
}

}  // namespace

void importBox(Host & host, RecordedBox const & box) {
  std::size_t otherFamily = 0;
  std::size_t routes = 0;
  for (auto const & [vrf, specs] : box.routes) {
    otherFamily += publishRoutes(host, vrf, specs);
    routes += specs.size();
  }
  declareKinds(box);
  publishBridging(host.records(), box);
  publishSnooping(host.records(), box);
  publishIp(host, box);
  if (host.chips().empty()) addChip(host, box);
  for (auto const & [vrf, specs] : box.routes) host.attach(tableOf(vrf));

  auto & out = host.out();
  out << box.name << ": " << box.vlans.size() << " VLANs, " << box.ports.size() << " ports, "
      << box.routed.size() << " routed interfaces, " << box.memberships.size()
      << " group memberships, " << routes - otherFamily << " routes\n";
  for (auto const & what : box.leftOut) out << "  left out: " << what << '\n';
  if (otherFamily) out << "  left out: " << otherFamily << " routes of the other family\n";
}

}  // namespace Brindle::Sim
