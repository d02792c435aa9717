#include "mira/InputReactors.h"

#include "mira/Expansion.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;

namespace {

Zet::TraceHandle traceHandle("InputReactors", false);

}  // namespace

InputReactors::InputReactors(MiraRoot * root) : root_(root) {
  zetBrTopo_.attach(root->brTopo());
  zetVlanStatusDir_.attach(root->vlanStatusDir());
  zetSnoopingStatus_.attach(root->snoopingStatus());
  zetBrConfig_.attach(root->brConfig());
  zetMlagStatus_.attach(root->mlagStatus());
  zetPimEnabled_.attach(root->pimEnabled());
  zetIpStatus_.attach(root->ipStatus());
  zetSparseModeStatus_.attach(root->sparseModeStatus());
}

void InputReactors::watchSlices() {
  zetPrefixMrouteStatusDir_.attach(root_->prefixMrouteStatusDir());
}

// --- Marks

void InputReactors::markVlanDirty(VlanIdOrNone vid) {
  if (!root_->initialized()) return;
  if (Mira * const mira = root_->miraOfVlan(vid)) mira->doMarkVlanDirty(vid);
  root_->doMaybeMarkVlanDirty(vid);
}

void InputReactors::markVlanGroupDirty(VlanId vid, Nettle::EthAddr const & group) {
  if (!root_->initialized()) return;
  Mira * const own = root_->miraOfVlan(vid);
  if (own) own->doMarkVlanGroupDirty(vid, group);
  for (auto i = root_->mira().begin(); i; i.advance()) {
    if (&*i != own && (i->mrouteTable()->vlanFilter() & vlanBit(vid))) {
      i->doMarkVlanGroupDirty(vid, group);
    }
  }
}

void InputReactors::markAllVlansDirty() {
  if (!root_->initialized()) return;
  for (auto i = root_->mira().begin(); i; i.advance()) i->doMarkAllVlansDirty();
  if (root_->miraL2()) root_->miraL2()->doMarkAllVlansDirty();
}

void MiraRoot::doMaybeMarkVlanDirty(VlanIdOrNone vid) {
  if (!initialized_) return;
  if (miraL2_ && Brindle::l2Enabled(*this, vid)) miraL2_->doMarkVlanDirty(vid);
  for (auto i = mira_.begin(); i; i.advance()) {
    if (!(i->mrouteTable()->vlanFilter() & vlanBit(vid))) continue;
    ZET_TRACE(7, " Marking vlan " << vid << " dirty for VRF " << i->vrfName());
    i->doMarkVlanDirty(vid);
  }
}

L3::VrfName MiraRoot::doGetVrfNameFromVid(VlanIdOrNone vid) const {
  if (!vid) return L3::VrfName::defaultVrf();
  return doGetVrfNameFromIntfId(in_.intfVlanIdTable->vlanIdToIntfId(vid));
}

L3::VrfName MiraRoot::doGetVrfNameFromIntfId(IntfId intf) const {
  auto const * status = in_.ipStatus->ipIntfStatus(intf);
  return status && !status->vrf().empty() ? status->vrf() : L3::VrfName::defaultVrf();
}

Mira * MiraRoot::miraOfVlan(VlanIdOrNone vid) const { return mira_.find(doGetVrfNameFromVid(vid)); }

Mira * MiraRoot::miraOfIntf(IntfId intf) const { return mira_.find(doGetVrfNameFromIntfId(intf)); }

// --- Spanning tree

void MiraRoot::doInitializeVidToTopoMap() { inputReactors_->handleVidToTopoMap(); }

void InputReactors::handleVidToTopoMap() {
  auto const & topos = root_->brTopo()->vidToTopoMap();
  for (auto i = topos.begin(); i; i.advance()) handleVidToTopoMap(i.key());
}

void InputReactors::handleVidToTopoMap(VlanId vid) {
  Zet::Ptr<Bridging::Topology::TopoConfig const> const topo = root_->brTopo()->vidToTopoMap(vid);
  Zet::String const now = topo ? topo->key() : Zet::String();
  Zet::String const old = root_->oldVidToTopoMap(vid);
  SKEIN("InputReactors::handleVidToTopoMap ", vid, " from ", old, " to ", now);
  if (Zet::Ptr<ZetTopo> const left = zetTopo_.find(old); left && old != now) {
    left->vidListIs(vid, false);
    if (left->vidList().empty()) zetTopo_.del(old);
  }
  if (topo) {
    Zet::Ptr<ZetTopo> entered = zetTopo_.find(now);
    if (!entered) {
      entered = Zet::make<ZetTopo>(this, now);
      zetTopo_.insert(entered);
    }
    entered->vidListIs(vid, true);
    entered->topoConfigIs(topo);
    root_->oldVidToTopoMapIs(vid, now);
  } else {
    root_->oldVidToTopoMapDel(vid);
  }
  markVlanDirty(vid);
}

// A topology that comes is of no interest before VLANs run in it.
void InputReactors::handleTopoConfig(Zet::String const & topo) {
  if (root_->brTopo()->topoConfig(topo)) return;
  if (Zet::Ptr<ZetTopo> const gone = zetTopo_.find(topo)) gone->handleTopoConfigDel();
}

// --- VLANs

void InputReactors::handleVlanStatus(VlanId vid) {
  zetVlanStatus_.follow(vid, root_->vlanStatusDir()->vlanStatus(vid));
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleVlanStatus ", vid);
  root_->doUpdateVlanFloodsets(vid);
  markVlanDirty(vid);
}

void InputReactors::handleVlanStatus() {
  Zet::replay(&root_->vlanStatusDir()->vlanStatus(), zetVlanStatus_,
              [this](VlanId vid) { handleVlanStatus(vid); });
}

void InputReactors::handleSnoopingVlanStatus(VlanId vid) {
  auto const * status = root_->snoopingStatus()->vlanStatus(vid);
  auto const * held = zetSnoopingVlanStatus_.find(vid);
  if (held && held->status() != status) zetSnoopingVlanStatus_.del(vid);
  if (status && !zetSnoopingVlanStatus_.contains(vid)) {
    zetSnoopingVlanStatus_.insert(Zet::make<ZetSnoopingVlanStatus>(this, status));
  }
  markVlanDirty(vid);
}

void InputReactors::handleSnoopingVlanStatus() {
  Zet::replay(&root_->snoopingStatus()->vlanStatus(), zetSnoopingVlanStatus_,
              [this](VlanId vid) { handleSnoopingVlanStatus(vid); });
}

// --- Configuration of bridging

void InputReactors::handleBrConfig() {
  auto const & config = *root_->brConfig();
  Zet::replay(&config.vlanConfig(), zetVlanConfig_, [this](VlanId k) { handleVlanConfig(k); });
  Zet::replay(&config.fdbConfig(), zetBrFdbConfig_, [this](VlanId k) { handleFdbConfig(k); });
  Zet::replay(&config.switchIntfConfig(), zetBrSwitchIntfConfig_,
              [this](IntfId k) { handleSwitchIntfConfig(k); });
}

void InputReactors::handleVlanConfig(VlanId vid) {
  zetVlanConfig_.follow(vid, root_->brConfig()->vlanConfig(vid));
  markVlanDirty(vid);
}

void InputReactors::handleFdbConfig(VlanId vid) {
  auto const * config = root_->brConfig()->fdbConfig(vid);
  auto const * held = zetBrFdbConfig_.find(vid);
  if (held && held->config() != config) zetBrFdbConfig_.del(vid);
  if (config && !zetBrFdbConfig_.contains(vid)) {
    zetBrFdbConfig_.insert(Zet::make<ZetBrFdbConfig>(root_, config));
  }
}

void InputReactors::handleBrEthGroup(VlanId vid) {
  if (Zet::Ptr<ZetBrFdbConfig> const fdb = zetBrFdbConfig_.find(vid)) fdb->handleBrEthGroup();
}

// A port without a record floods: a record that says no more than that comes and goes unheard.
void InputReactors::handleSwitchIntfConfig(IntfId intf) {
  auto const floods = [](Bridging::SwitchIntfConfig const * c) {
    return !c || (c->floodingEnabled() &&
                  c->switchportMode() != Bridging::SwitchIntfConfig::modeNoFlooding);
  };
  ZetBrSwitchIntfConfig * const held = zetBrSwitchIntfConfig_.find(intf);
  auto const * config = root_->brConfig()->switchIntfConfig(intf);
  bool const changed = floods(config) != floods(held ? held->target() : nullptr);
  zetBrSwitchIntfConfig_.follow(intf, config);
  if (changed) handleFloodingEnabled(intf);
}

void InputReactors::handleFloodingEnabled(IntfId intf) {
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleFloodingEnabled ", intf);
  if (Mira * const mira = root_->miraOfIntf(intf)) mira->doMarkAllVlansDirty();
  if (root_->miraL2()) root_->miraL2()->doMarkAllVlansDirty();
}

// --- IP and multicast routing

void InputReactors::handleIpIntfStatus(IntfId intf) {
  zetIpIntfStatus_.follow(intf, root_->ipStatus()->ipIntfStatus(intf));
  handleVrfChange(intf);
}

void InputReactors::handleIpIntfStatus() {
  Zet::replay(&root_->ipStatus()->ipIntfStatus(), zetIpIntfStatus_,
              [this](IntfId intf) { handleIpIntfStatus(intf); });
}

// Routes that come in on the interface are computed only in its own VRF.
void InputReactors::handleVrfChange(IntfId intf) {
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleVrfChange ", intf);
  root_->handleIntfConfig(intf);
  Mira * const mira = root_->miraOfIntf(intf);
  if (mira) mira->doMarkVlanDirty(root_->intfVlanIdTable()->intfIdToVlanId(intf));
}

void InputReactors::handleFastFailover(IntfId intf) {
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleFastFailover ", intf);
  Mira * const mira = root_->miraOfIntf(intf);
  if (!mira) return;
  mira->doMarkVlanDirty(root_->intfVlanIdTable()->intfIdToVlanId(intf));
  mira->doKickReview();
}

void InputReactors::ZetPimEnabled::onPimVlanEnabled(VlanId const & vid) {
  sm()->root().handlePimEnabled(vid);
}

void InputReactors::ZetPimVxlanStatus::onVxlanIntf(IntfId const & intf) {
  if (target()->vxlanIntf(intf)) {
    vxlanIntf_.insert(intf);
  } else {
    vxlanIntf_.del(intf);
  }
  sm()->root().handlePimVxlanIntf(intf);
}

// The status may be another one, or gone.
void InputReactors::ZetPimVxlanStatus::immediatePass() {
  Zet::OrderedSet<IntfId> changed = vxlanIntf_;
  vxlanIntf_.clear();
  if (target()) vxlanIntf_ = target()->vxlanIntf();
  for (IntfId intf : vxlanIntf_.items()) changed.insert(intf);
  for (IntfId intf : changed.items()) sm()->root().handlePimVxlanIntf(intf);
}

// --- Connected prefixes that stand in hardware

void InputReactors::handleSlice(Zet::Name const & name) {
  using PrefixMrouteStatus = Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus;
  Zet::Ptr<PrefixMrouteStatus const> const now = dynamic_cast<PrefixMrouteStatus const *>(
      root_->prefixMrouteStatusDir()->entityPtr(name).get());
  Zet::Ptr<PrefixMrouteStatus const> before;
  if (ZetPrefixMrouteStatus * const held = zetPrefixMrouteStatus_.find(name)) {
    before = held->target();
  }
  if (before == now) return;
  zetPrefixMrouteStatus_.follow(name, now.get());
  if (before) {
    for (auto i = before->route().begin(); i; i.advance()) {
      auto * const info = wantedPrefix(i.key());
      if (info && !inHardware(i.key())) info->programmerDel();
    }
  }
  if (now) {
    for (auto i = now->route().begin(); i; i.advance()) handlePrefixMroute(i.key());
  }
}

void InputReactors::handleSlice() {
  auto const & dir = root_->prefixMrouteStatusDir();
  Zet::replay(dir ? &dir->entityPtr() : nullptr, zetPrefixMrouteStatus_,
              [this](Zet::Name const & name) { handleSlice(name); });
}

void InputReactors::handlePrefixMroute(
    Routing::Multicast::Fib::PimIntf::PrefixMroute const & prefix) {
  SKEIN("InputReactors::handlePrefixMroute ", prefix.prefix, " ", prefix.intfId);
  if (auto * const info = wantedPrefix(prefix)) info->programmedIs(inHardware(prefix));
}

Routing::Multicast::Fib::PimIntf::PrefixRouteInfo * InputReactors::wantedPrefix(
    ZetPrefixMrouteStatus::Prefix const & prefix) {
  auto * const intf = root_->pimIntfStatus()->intfStatus(prefix.intfId);
  return intf ? intf->route(prefix.prefix) : nullptr;
}

bool InputReactors::inHardware(ZetPrefixMrouteStatus::Prefix const & prefix) const {
  for (auto i = zetPrefixMrouteStatus_.begin(); i; i.advance()) {
    if (i->target() && i->target()->route(prefix)) return true;
  }
  return false;
}

}  // namespace Brindle
