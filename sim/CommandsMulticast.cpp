// Multicast routing: configuration, PIM, VXLAN and the restart of protocols.
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

void ipRouting(Host & host, Arguments const & arguments) {
  host.routingInfoIs(arguments.vrf())->routingIs(arguments.on());
}

void multicastRouting(Host & host, Arguments const & arguments) {
  host.records().mfibVrfConfig->configIs(arguments.vrf())->routingIs(arguments.on());
}

void pimVlan(Host & host, Arguments const & arguments) {
  for (auto vlan : arguments.vlans()) {
    host.records().pimEnabled->pimVlanEnabledIs(vlan, arguments.on());
  }
}

void pimFastFailover(Host & host, Arguments const & arguments) {
  host.records().sparseModeStatus->fastFailoverIntfIs(arguments.intf(), arguments.on());
}

void pimBorder(Host & host, Arguments const & arguments) {
  host.records().mbrIntf->intfIs(arguments.intf(), arguments.on());
}

void pimVxlan(Host & host, Arguments const & arguments) {
  host.records().pimVxlanStatus->vxlanIntfIs(arguments.intf(), arguments.on());
}

void vxlanVlan(Host & host, Arguments const & arguments) {
  for (auto vlan : arguments.vlans()) host.vxlanVlanIs(vlan, arguments.on());
}

void vxlanFlood(Host & host, Arguments const & arguments) { host.floodToVtepsIs(arguments.on()); }

void nsfGate(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the wait for protocols");
  host.settings().nsfGate = arguments.on();
}

void nsfVrf(Host & host, Arguments const & arguments) {
  host.records().mcastEnabled->vrfIs(arguments.vrf(), arguments.on());
}

void nsfProtocol(Host & host, Arguments const & arguments) {
  auto & status = *host.records().pimStatus;
  if (arguments.has("sparse")) {
    status.pimEnabledSparseModeVrfIs(arguments.vrf(), arguments.on());
  } else {
    status.pimEnabledBidirVrfIs(arguments.vrf(), arguments.on());
  }
}

void nsfReady(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  auto & status = arguments.has("sparse")  ? records.sparseReady
                  : arguments.has("bidir") ? records.bidirReady
                                           : records.staticReady;
  status->vrfReadyIs(arguments.vrf(), arguments.on());
}

constexpr Command<Host> rows[] = {
    {"ip routing on|off [vrf VRF]", "Route at all in a VRF.", ipRouting},
    {"ip multicast-routing on|off [vrf VRF]", "Route multicast in a VRF.", multicastRouting},
    {"pim vlan VLAN... on|off", "PIM runs in VLANs.", pimVlan},
    {"pim fast-failover INTF on|off", "A sparse-mode interface that may take over at once.",
     pimFastFailover},
    {"pim border INTF on|off", "The border of a multicast domain.", pimBorder},
    {"pim vxlan INTF on|off", "PIM carries the multicast of a routed interface over VXLAN.",
     pimVxlan},
    {"vxlan vlan VLAN... on|off", "Extend VLANs over VXLAN.", vxlanVlan},
    {"vxlan flood-to-vteps on|off", "Send routed multicast to all VTEPs of such VLANs, by Vxlan1.",
     vxlanFlood},
    {"nsf gate on|off",
     "Before the start: hold everything until the protocols have published, at most 900 seconds.",
     nsfGate},
    {"nsf vrf VRF on|off", "A VRF that the gate waits for.", nsfVrf},
    {"nsf protocol sparse|bidir on|off [vrf VRF]",
     "PIM runs in a VRF, so its routes are waited for.", nsfProtocol},
    {"nsf ready sparse|bidir|static on|off [vrf VRF]", "All routes of a protocol are published.",
     nsfReady},
};

}  // namespace

Subject<Host> const multicastCommands = {"Multicast routing", rows};

}  // namespace Brindle::Sim
