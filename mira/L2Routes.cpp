// Which L2 routes are to stand: floodsets of VLANs, static and snooped Ethernet groups.
//
// What is wanted is a set of keys. A key that comes makes its route in the table, one that goes
// only marks it: the review deletes it, since it may be walking there.
#include "mira/Expansion.h"
#include "mira/InputReactors.h"
#include "mira/MiraHelper.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using namespace Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("L2Routes", false);

bool carriesMulticastOverVxlan(MiraRoot const & root) {
  return root.pimVxlanStatus() && !root.pimVxlanStatus()->vxlanIntf().empty();
}

bool wantsCoreSideFloodset(MiraRoot const & root, VlanId vlan) {
  bool const helperUses = root.miraHelper() && root.miraHelper()->useVxlanCoreSideFloodset();
  return (root.vxlanVlan(vlan) && helperUses) || carriesMulticastOverVxlan(root);
}

// PIM over VXLAN takes any VLAN's multicast to the core. Where the last interface leaves it, a VLAN
// that is extended keeps its floodset.
void doUpdateCoreSideInAllVlans(MiraRoot & root) {
  bool const inAllVlans = carriesMulticastOverVxlan(root);
  if (root.coreSideFloodsetInAllVlans() == inAllVlans) return;
  root.coreSideFloodsetInAllVlansIs(inAllVlans);
  auto const & vlans = root.brTopo()->vidToTopoMap();
  for (auto i = vlans.begin(); i; i.advance()) {
    IpGenRouteKey const key = makeRouteKeyVxlanCoreSideFloodset(i.key());
    if (inAllVlans) {
      root.doMaybeAddL2Route(i.key(), key);
    } else if (!root.vxlanVlan(i.key())) {
      root.l2RouteDel(key);
    }
  }
}

}  // namespace

// --- The machine

// The table outlives its machine: what an earlier one left there may be wanted no longer.
void MiraRoot::doCreateMiraL2() {
  if (!in_.l2Enabled || miraL2_) return;
  in_.mrouteTableColl->l2FloodsetTableIs(L3::VrfName::defaultVrf());
  miraL2_ = Zet::make<MiraL2>(in_.mrouteTableColl, this, in_.reviewInfo, in_.clock);
  auto const & left = in_.mrouteTableColl->l2FloodsetTable()->mroute();
  for (auto i = left.begin(); i; i.advance()) handleL2Route(i.key());
  handleVlanFilteredFloodset();
}

// It must not run on, whoever else holds it.
void MiraRoot::doDeleteMiraL2() {
  if (miraL2_) miraL2_->zetDoZombieReactors(true);
  miraL2_ = nullptr;
}

void MiraRoot::handleVlanFilteredFloodset() {
  if (!in_.l2Enabled) {
    ZET_TRACE(5, "L2 Disabled. Doing nothing.");
    return;
  }
  if (!miraL2_) return;
  if (vlanFilteredFloodSetDir_) {
    ZET_TRACE(5, "L2 Enabled. Assigning vlanFilteredFloodSetDir to MiraL2.");
  }
  miraL2_->vlanFilteredFloodSetDirIs(vlanFilteredFloodSetDir_);
  miraL2_->handleFilteredFloodSet();
}

void MiraRoot::vlanFilteredFloodSetDirIs(
    Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const & v) {
  if (assign(vlanFilteredFloodSetDir_, v)) handleVlanFilteredFloodset();
}

// --- Wanted routes

void MiraRoot::l2RouteIs(RouteKey const & keyOfMember, bool v) {
  RouteKey const key = keyOfMember;
  if (l2Route(key) == v) return;
  if (!v) {
    l2Route_.del(key);
  } else if (in_.mrouteTableColl->af() == Nettle::ipv6()) {
    ZET_TRACE(5, "Ignoring L2 route since af is ipv6");
    return;
  } else {
    l2Route_.at(key) = true;
  }
  handleL2Route(key);
}

// Without a MiraL2 nobody would ever look at the route.
void MiraRoot::handleL2Route(RouteKey const & key) {
  SKEIN("MiraRoot::handleL2Route ", key, " ", l2Route(key));
  if (!miraL2_) return;
  MrouteTable & table = *in_.mrouteTableColl->l2FloodsetTable();
  bool const wanted = l2Route(key);
  Zet::Ptr<Mroute> const route = wanted ? table.mrouteIs(key) : table.mroute(key);
  if (!route) return;
  route->markedForDeletionIs(!wanted);
  miraL2_->markMrouteDirty(*route);
}

void MiraRoot::handleL2Route() { ZET_ASSERT(l2Route_.empty(), "l2Routes() == 0"); }

void MiraRoot::doMaybeAddL2Route(VlanIdOrNone vlan, RouteKey const & key) {
  if (!Brindle::l2Enabled(*this, vlan)) return;
  if (in_.mrouteTableColl->af() != Nettle::ipv6()) {
    ZET_TRACE(5, "Adding l2 route " << key.pretty());
  }
  l2RouteIs(key, true);
}

// --- Floodsets of a VLAN

void MiraRoot::doMaybeInitializeL2Routes() {
  auto const & vlans = in_.vlanStatusDir->vlanStatus();
  for (auto i = vlans.begin(); i; i.advance()) doUpdateVlanFloodsets(i.key());
  for (VlanId vid : vxlanVlan_.items()) doUpdateVlanFloodsets(vid);
  auto const & snooped = in_.snoopingStatus->vlanStatus();
  for (auto i = snooped.begin(); i; i.advance()) {
    if (mayHaveEthGroupRoutes(i.key())) doEnableDisableVlanEthGroup(i.key());
  }
  auto const & fdbs = in_.brConfig->fdbConfig();
  for (auto i = fdbs.begin(); i; i.advance()) inputReactors_->handleBrEthGroup(i.key());
  doUpdateCoreSideInAllVlans(*this);
}

void MiraRoot::doUpdateVlanFloodsets(VlanId vid) {
  if (!Brindle::l2Enabled(*this, vid)) return;
  bool const stands = in_.vlanStatusDir->vlanStatus(vid) || vxlanVlan(vid);
  if (stands) {
    ZET_TRACE(5, "Adding l2 floodsets for vlan " << vid);
    doMaybeAddL2Route(vid, makeRouteKeyVlanFloodset(vid));
    doMaybeAddL2Route(vid, makeRouteKeyMulticastFloodset(vid));
  } else {
    ZET_TRACE(5, "Deleting l2 floodsets for vlan " << vid);
    l2RouteDel(makeRouteKeyVlanFloodset(vid));
    l2RouteDel(makeRouteKeyMulticastFloodset(vid));
  }
  if (stands && wantsCoreSideFloodset(*this, vid)) {
    doMaybeAddL2Route(vid, makeRouteKeyVxlanCoreSideFloodset(vid));
  } else {
    l2RouteDel(makeRouteKeyVxlanCoreSideFloodset(vid));
  }
}

void MiraRoot::l2EnabledOnVlanIs(VlanId vid, bool v) {
  if (v ? l2EnabledOnVlan_.insert(vid) : l2EnabledOnVlan_.del(vid)) handleL2EnabledOnVlan(vid);
}

// Where all VLANs have L2 routes the VLAN's own word says nothing.
void MiraRoot::handleL2EnabledOnVlan(VlanId vid) {
  if (!initialized_ || in_.l2Enabled) return;
  if (in_.vlanStatusDir->vlanStatus(vid)) inputReactors_->handleVlanStatus(vid);
  if (in_.snoopingStatus->vlanStatus(vid)) {
    inputReactors_->handleSnoopingVlanStatus(vid);
    doEnableDisableVlanEthGroup(vid);
  }
  inputReactors_->handleBrEthGroup(vid);
}

// --- Ethernet groups

bool MiraRoot::mayHaveEthGroupRoutes(VlanId vlan) const {
  return Brindle::l2Enabled(*this, vlan) &&
         (ignorePimConfigForL2Routes_ || !in_.pimEnabled->pimVlanEnabled(vlan));
}

// A group of another protocol than IP may be both snooped and configured.
void MiraRoot::doEnableDisableEthGroup(Nettle::EthAddr const & eth, VlanId vlan) {
  RouteKey const key = makeRouteKeyEthGroup(vlan, eth);
  auto const * snooping = in_.snoopingStatus->vlanStatus(vlan);
  auto const * fdb = in_.brConfig->fdbConfig(vlan);
  bool const snooped = mayHaveEthGroupRoutes(vlan) && snooping && !snooping->useVlanFloodset() &&
                       snooping->ethGroup(eth);
  bool const configured =
      Brindle::l2Enabled(*this, vlan) && !isIgmpSnoopingEthAddr(eth) && fdb && fdb->ethGroup(eth);
  if (snooped || configured) {
    ZET_TRACE(5, "creating l2 route for key " << key.pretty());
    doMaybeAddL2Route(vlan, key);
  } else {
    ZET_TRACE(5, "Deleting l2 route for key " << key.pretty());
    l2RouteDel(key);
  }
}

void MiraRoot::doEnableDisableVlanEthGroup(VlanId vlan) {
  auto const * snooping = in_.snoopingStatus->vlanStatus(vlan);
  if (!snooping) return;
  auto const & groups = snooping->ethGroup();
  for (auto i = groups.begin(); i; i.advance()) doEnableDisableEthGroup(i.key(), vlan);
}

// --- PIM

void MiraRoot::doMarkMulticastFloodsetDirty(VlanId vlan) {
  if (miraL2_) miraL2_->markMrouteDirty(makeRouteKeyMulticastFloodset(vlan));
}

void MiraRoot::handlePimEnabled(VlanId vid) {
  if (!initialized_ || !Brindle::l2Enabled(*this, vid)) return;
  doMarkMulticastFloodsetDirty(vid);
  doEnableDisableVlanEthGroup(vid);
}

void MiraRoot::floodToVlanWithPimIs(bool v) {
  if (!assign(floodToVlanWithPim_, v) || !initialized_) return;
  auto const & vlans = in_.vlanStatusDir->vlanStatus();
  for (auto i = vlans.begin(); i; i.advance()) {
    if (Brindle::l2Enabled(*this, i.key())) doMarkMulticastFloodsetDirty(i.key());
  }
}

void MiraRoot::disableL2FloodingIs(bool v) {
  if (assign(disableL2Flooding_, v)) handleDisableL2Flooding();
}

void MiraRoot::handleDisableL2Flooding() {
  if (initialized_) inputReactors_->markAllVlansDirty();
}

void MiraRoot::allowL2FloodsetSharingIs(bool v) {
  if (assign(allowL2FloodsetSharing_, v) && miraL2_) miraL2_->doMarkAllVlansDirty();
}

void MiraRoot::ignorePimConfigForL2RoutesIs(bool v) {
  if (!assign(ignorePimConfigForL2Routes_, v) || !initialized_) return;
  auto const & snooped = in_.snoopingStatus->vlanStatus();
  for (auto i = snooped.begin(); i; i.advance()) doEnableDisableVlanEthGroup(i.key());
}

// --- VXLAN

void MiraRoot::vxlanVlanIs(VlanId vid, bool v) {
  if (v ? vxlanVlan_.insert(vid) : vxlanVlan_.del(vid)) handleVxlanVlan(vid);
}

void MiraRoot::handleVxlanVlan(VlanId vid) {
  if (!initialized_) return;
  if (miraL2_) miraL2_->doMarkVlanDirty(vid);
  doUpdateVlanFloodsets(vid);
  if (Mira * const mira = miraOfVlan(vid)) {
    ZET_TRACE(5, "Mark vxLan dirty for vlan: " << vid);
    mira->vxlanIntfDirtyIs(true);
    mira->doMarkVlanDirty(vid);
  }
  doMaybeMarkVlanDirty(vid);
}

void MiraRoot::handlePimVxlanIntf(Nettle::IntfId intf) {
  if (!initialized_) return;
  doUpdateCoreSideInAllVlans(*this);
  // The floodset of a VLAN asks by the name of its routed interface, also where the VLAN is the
  // internal one of another.
  if (miraL2_ && intf.routedVlan()) miraL2_->doMarkVlanDirty(intf.routedVlan());
  VlanIdOrNone const vid = in_.intfVlanIdTable->intfIdToVlanId(intf);
  if (!vid) {
    ZET_TRACE(5, "vid is null");
    return;
  }
  if (Mira * const mira = miraOfVlan(vid)) {
    mira->vxlanIntfDirtyIs(true);
    mira->doMarkVlanDirty(vid);
  }
  if (miraL2_) miraL2_->doMarkVlanDirty(vid);
}

}  // namespace Brindle
