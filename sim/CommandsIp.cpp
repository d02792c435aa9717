// Interfaces, addresses and VRFs.
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/RecordEdits.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;

void requireIpIntf(Host & host, IntfId intf) {
  if (host.records().ipStatus->ipIntfStatus(intf)) return;
  throw CommandError("expected an IP interface; \"ip link add " + std::string(intf.view()) +
                     "\" makes one");
}

void requireVrf(Host & host, L3::VrfName vrf) {
  if (host.records().allVrfStatusLocal->vrf(vrf)) return;
  throw CommandError("expected a VRF that stands; \"vrf add " + std::string(vrf.view()) +
                     "\" makes one");
}

void vrfAdd(Host & host, Arguments const & arguments) { host.vrfIs(arguments.vrf()); }

void vrfDel(Host & host, Arguments const & arguments) {
  requireVrf(host, arguments.vrf());
  host.vrfDel(arguments.vrf());
}

// The VLAN that a routed port is to have; none for what routes a VLAN of its own, or has one.
Bridging::VlanIdOrNone internalVlan(Host & host, Arguments const & arguments) {
  auto const intf = arguments.intf();
  if (arguments.has("internal-vlan")) return arguments.vlan();
  bool const hasOne{host.records().intfVlanIdTable->intfIdToVlanId(intf)};
  if (arguments.has("routes") || hasOne) return {};
  return host.freeInternalVlan();
}

// A switch takes the internal VLANs of its ports out of one pool.
void requireNoOthers(Host & host, IntfId intf, Bridging::VlanIdOrNone internal) {
  for (auto const & entry : host.records().intfVlanIdTable->internalVlanId().items()) {
    if (entry.key == intf || entry.value != internal) continue;
    throw CommandError("expected a VLAN of its own, found the internal VLAN of " +
                       std::string(entry.key.view()));
  }
}

void linkAdd(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  auto const intf = arguments.intf();
  requireVrf(host, arguments.vrf());
  auto const internal = internalVlan(host, arguments);
  if (internal) requireNoOthers(host, intf, internal);
  if (arguments.given("PARENT")) {
    intf.kindIs(Nettle::IntfKind::subIntf);
    intf.parentIs(arguments.intf("PARENT"));
    records.subIntfConfigDir->parentIntfIs(intf, arguments.intf("PARENT"));
  }
  if (arguments.has("routes")) intf.routedVlanIs(arguments.vlan());
  if (internal) setInternalVlan(records, intf, Bridging::VlanId(internal));
  records.ipStatus->ipIntfStatusIs(intf)->vrfIs(arguments.vrf());
}

void linkDel(Host & host, Arguments const & arguments) {
  auto const intf = arguments.intf();
  requireIpIntf(host, intf);
  host.records().ipStatus->ipIntfStatusDel(intf);
  dropInternalVlan(host.records(), intf);
  host.records().subIntfConfigDir->parentIntfDel(intf);
}

void linkVrf(Host & host, Arguments const & arguments) {
  requireIpIntf(host, arguments.intf());
  requireVrf(host, arguments.vrf());
  host.records().ipStatus->ipIntfStatusIs(arguments.intf())->vrfIs(arguments.vrf());
}

void linkNoVrf(Host & host, Arguments const & arguments) {
  requireIpIntf(host, arguments.intf());
  host.records().ipStatus->ipIntfStatusIs(arguments.intf())->vrfIs({});
}

void linkInternalVlan(Host & host, Arguments const & arguments) {
  requireIpIntf(host, arguments.intf());
  requireNoOthers(host, arguments.intf(), arguments.vlan());
  setInternalVlan(host.records(), arguments.intf(), arguments.vlan());
}

void linkNoInternalVlan(Host & host, Arguments const & arguments) {
  dropInternalVlan(host.records(), arguments.intf());
}

void linkVxlan(Host &, Arguments const & arguments) {
  arguments.intf().kindIs(Nettle::IntfKind::vxlanTunnel);
}

void addressAdd(Host & host, Arguments const & arguments) {
  requireIpIntf(host, arguments.intf());
  addAddress(*host.records().ipStatus->ipIntfStatusIs(arguments.intf()),
             arguments.addressWithMask());
}

void addressDel(Host & host, Arguments const & arguments) {
  requireIpIntf(host, arguments.intf());
  auto const status = host.records().ipStatus->ipIntfStatusIs(arguments.intf());
  auto const address = arguments.addressWithMask();
  if (status->activeAddrWithMask() == address) {
    status->activeAddrWithMaskIs({});
  } else {
    status->activeSecondaryWithMaskDel(address);
  }
}

void natAdd(Host & host, Arguments const & arguments) {
  StaticNatIpInfo info;
  for (auto vlan : arguments.vlans()) info.vlan.insert(vlan);
  host.records().staticNatInfo->ipInfoIs(arguments.address(), info);
}

void natDel(Host & host, Arguments const & arguments) {
  host.records().staticNatInfo->ipInfoDel(arguments.address());
}

constexpr Command<Host> rows[] = {
    {"vrf add VRF", "Make a VRF, with routing and multicast routing on.", vrfAdd},
    {"vrf del VRF", "Remove a VRF; its routes go with it.", vrfDel},
    {"ip link add INTF [vrf VRF] [internal-vlan VLAN]",
     "Put IP on an interface. A routed port gets an internal VLAN, from 1006 on if not told.",
     linkAdd},
    {"ip link add INTF link PARENT [vrf VRF] [internal-vlan VLAN]", "Put IP on a sub-interface.",
     linkAdd},
    {"ip link add INTF routes VLAN [vrf VRF]",
     "Put IP on the routed interface of a VLAN where its name does not say so, as VlanN does.",
     linkAdd},
    {"ip link del INTF", "Take IP off an interface.", linkDel},
    {"ip link set INTF vrf VRF", "Move an interface to a VRF.", linkVrf},
    {"ip link set INTF no-vrf", "Take an interface out of its VRF.", linkNoVrf},
    {"ip link set INTF internal-vlan VLAN", "Set the internal VLAN of a routed port.",
     linkInternalVlan},
    {"ip link set INTF no-internal-vlan", "Take it away.", linkNoInternalVlan},
    {"ip link set INTF type vxlan",
     "The interface is a VXLAN tunnel; to be said before it is in a VLAN.", linkVxlan},
    {"ip addr add ADDRESS/LEN dev INTF", "The first address is the primary one.", addressAdd},
    {"ip addr del ADDRESS/LEN dev INTF", "Remove an address.", addressDel},
    {"nat add ADDRESS vlan VLAN...", "Translate a group's address in VLANs.", natAdd},
    {"nat del ADDRESS", "Translate it no more.", natDel},
};

}  // namespace

Subject<Host> const ipCommands = {"Interfaces, addresses and VRFs", rows};

}  // namespace Brindle::Sim
