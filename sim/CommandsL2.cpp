// L2 routes: whether they are computed, and what they depend on beside the bridging.
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

using Bridging::VlanId;

void l2OnOff(Host & host, Arguments const & arguments) {
  host.requireNotStarted("whether L2 routes are computed");
  host.settings().l2Enabled = arguments.on();
}

void l2Vlan(Host & host, Arguments const & arguments) {
  for (VlanId vlan : arguments.vlans()) host.l2VlanIs(vlan, arguments.on());
}

void l2IgnoreVlan(Host & host, Arguments const & arguments) {
  host.requireNotStarted("whether L2 sets carry their VLAN");
  host.settings().ignoreVlanForL2Groups = arguments.on();
}

template <bool Host::Settings::*setting> void l2Setting(Host & host, Arguments const & arguments) {
  host.settings().*setting = arguments.on();
  host.applyL2Settings();
}

void l2Flooding(Host & host, Arguments const & arguments) {
  host.settings().disableL2Flooding = !arguments.on();
  host.applyL2Settings();
}

void vxlanCoreSide(Host & host, Arguments const & arguments) {
  host.coreSideFloodsetIs(arguments.on());
}

void vxlanEnvironment(Host & host, Arguments const & arguments) {
  host.requireNotStarted("where the library learns of VTEPs");
  host.settings().vtepsByEnvironment = arguments.on();
}

void vxlanVtep(Host & host, Arguments const & arguments) {
  host.vtepIs({arguments.intf(), OutLif(arguments.number("LIF")), 0}, arguments.has("add"));
}

Evpn::EvpnPeerVlanFloodStatus const * standingPeer(Host & host, Arguments const & arguments) {
  auto const * set = host.records().vlanFilteredFloodSetDir->vlanFloodSet(arguments.vlan());
  return set ? set->tepFilter(arguments.address()) : nullptr;
}

void evpnOnOff(Host & host, Arguments const & arguments) { host.evpnIs(arguments.on()); }

// Whether the resolver survives that the peer leaves: not where it has no route for it.
void requireSurvival(Host & host, VlanId vlan, Evpn::EvpnPeerVlanFloodStatus const & peer) {
  auto const key = Fib::makeRouteKeyEvpnMultihomeFloodset(vlan, peer.key());
  if (peer.initialSyncComplete() || (host.started() && host.root().l2Route(key))) return;
  throw CommandError(
      "expected a peer that is synced: the resolver does not survive that one leaves before");
}

void peerAdd(Host & host, Arguments const & arguments) {
  auto const peer = host.records()
                        .vlanFilteredFloodSetDir->vlanFloodSetIs(arguments.vlan())
                        ->tepFilterIs(arguments.address());
  for (auto port : arguments.intfs()) peer->floodFilterIs(port, true);
  if (arguments.has("synced")) peer->initialSyncCompleteIs(true);
  if (arguments.has("unsynced")) peer->initialSyncCompleteIs(false);
}

void peerDel(Host & host, Arguments const & arguments) {
  auto const * peer = standingPeer(host, arguments);
  if (!peer) throw CommandError("expected a peer that stands");
  auto const set = host.records().vlanFilteredFloodSetDir->vlanFloodSetIs(arguments.vlan());
  auto const address = arguments.address();
  if (arguments.given("PORT")) {
    for (auto port : arguments.intfs()) set->tepFilterIs(address)->floodFilterDel(port);
    return;
  }
  requireSurvival(host, arguments.vlan(), *peer);
  set->tepFilterDel(address);
}

void peersDel(Host & host, Arguments const & arguments) {
  auto & dir = *host.records().vlanFilteredFloodSetDir;
  auto const * set = dir.vlanFloodSet(arguments.vlan());
  if (!set) throw CommandError("expected a VLAN that has had peers");
  for (auto i = set->tepFilter().begin(); i; i.advance()) {
    requireSurvival(host, arguments.vlan(), *i);
  }
  dir.vlanFloodSetDel(arguments.vlan());
}

constexpr Command<Host> rows[] = {
    {"l2 on|off",
     "Before the start: compute L2 routes, too: floodsets and Ethernet groups of all VLANs.",
     l2OnOff},
    {"l2 vlan VLAN... on|off", "Without l2 on: VLANs whose L2 routes another process computes.",
     l2Vlan},
    {"l2 flooding on|off", "Flood at all; Ethernet groups go on.", l2Flooding},
    {"l2 flood-with-pim on|off",
     "Unknown multicast of a snooped VLAN with PIM goes to all its ports, or to routers only.",
     l2Setting<&Host::Settings::floodToVlanWithPim>},
    {"l2 share-sets on|off", "Chips may share L2 sets.",
     l2Setting<&Host::Settings::allowL2FloodsetSharing>},
    {"l2 ignore-pim on|off", "Snooped groups have L2 routes where PIM runs, too.",
     l2Setting<&Host::Settings::ignorePimConfigForL2Routes>},
    {"l2 ignore-vlan on|off", "Before the start: L2 sets do not carry their VLAN.", l2IgnoreVlan},
    {"vxlan core-side on|off",
     "The chips have floodsets for the VXLAN core, and floods go to the VTEPs.", vxlanCoreSide},
    {"vxlan vtep add|del INTF lif LIF", "A VTEP that such floods go to, as an output.", vxlanVtep},
    {"vxlan environment on|off",
     "Before the start: the library learns of VTEPs by the process's environment.",
     vxlanEnvironment},
    {"evpn on|off", "EVPN publishes its peers, or not (on).", evpnOnOff},
    {"evpn peer add vid VLAN tep ADDRESS [port PORT...] [synced|unsynced]",
     "An EVPN peer, by its tunnel endpoint; floods towards it may use the ports, once it is "
     "synced.",
     peerAdd},
    {"evpn peer del vid VLAN tep ADDRESS [port PORT...]",
     "It has left, or floods towards it may no longer use the ports.", peerDel},
    {"evpn peers del vid VLAN", "All peers of a VLAN have left.", peersDel},
};

}  // namespace

Subject<Host> const l2Commands = {"L2 routes", rows};

}  // namespace Brindle::Sim
