// Reactions to LAGs: their members as they are and as they are configured, and MLAG.
#include <utility>

#include "mira/InputReactors.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Nettle::IntfId;

namespace {

Zet::TraceHandle traceHandle("LagReactors", false);

// The LAG if the VLAN has it, or else a sub-interface of it that the VLAN has, or none.
IntfId lagInVlan(MiraRoot const & root, Bridging::VlanStatus const & vlan, IntfId lag) {
  if (vlan.vlanPortStatus().contains(lag)) return lag;
  auto const * config = root.brConfig()->vlanConfig(vlan.vlanId());
  if (root.configuredLagMembersInOifSet() && config && config->intf(lag)) return lag;
  auto const & dir = root.parentIntfToSubIntfDir();
  auto const * subIntfs = dir ? dir->subIntf(lag) : nullptr;
  if (!subIntfs) return {};
  for (IntfId subIntf : subIntfs->items()) {
    if (vlan.vlanPortStatus().contains(subIntf)) return subIntf;
  }
  return {};
}

}  // namespace

// --- Marks

void markLagDirty(MiraRoot & root, IntfId lag) {
  if (!root.initialized()) return;
  SKEIN("markLagDirty ", lag);
  U32 vlans = 0;
  auto const & all = root.vlanStatusDir()->vlanStatus();
  for (auto i = all.begin(); i; i.advance()) {
    IntfId const found = lagInVlan(root, *i, lag);
    if (!found) continue;
    VlanId const vid = i.key();
    vlans |= vlanBit(vid);
    L3::VrfName const vrf = root.doGetVrfNameFromVid(vid);
    if (found != lag) {
      ZET_TRACE(7, " Marking parent interface " << lag << " dirty in vrf " << vrf
                                                << " for sub interface " << found);
    }
    if (Zet::Ptr<Mira> const mira = root.mira(vrf)) mira->doMarkLagDirty(lag);
    if (!root.miraL2() || !l2Enabled(root, vid)) continue;
    ZET_TRACE(7, "Found mira");
    root.miraL2()->doMarkLagDirty(lag);
  }
  // Routes of other VRFs may go out there. A tunnel may run over a LAG that is in no VLAN, and one
  // of configured members counts as a listener of VLANs that it is not in.
  bool const anywhere = vlans == 0 || root.configuredLagMembersInOifSet();
  for (auto i = root.mira().begin(); i; i.advance()) {
    if (anywhere || (i->mrouteTable()->vlanFilter() & vlans)) i->doMarkLagDirty(lag);
  }
  if (anywhere && root.miraL2()) root.miraL2()->doMarkLagDirty(lag);
}

// --- The caches of configured LAGs

void addToLagIntfCache(MiraRoot & root, IntfId lag, IntfId intf) {
  root.intfToLagIs(intf, lag);
  IntfList const * const held = root.lagToIntf(lag);
  IntfList list = held ? *held : IntfList(lag);
  list.intfIs(intf, true);
  root.lagToIntfIs(lag, list);
}

void deleteFromLagIntfCache(MiraRoot & root, IntfId lag, IntfId intf) {
  root.intfToLagDel(intf);
  IntfList const * const held = root.lagToIntf(lag);
  if (!held) return;
  IntfList list = *held;
  list.intfDel(intf);
  if (!list) {
    root.lagToIntfDel(lag);
  } else {
    root.lagToIntfIs(lag, list);
  }
}

// --- Members as they are

void InputReactors::watchLags() {
  lagStatusReactor_.attach(root_->lagStatusDir());
  lagConfigReactorIs(root_->configuredLagMembersInOifSet());
}

void InputReactors::handleLagStatus(IntfId lag) {
  zetLagIntfStatus_.follow(lag, root_->lagStatusDir()->intfStatus(lag));
  markLagDirty(*root_, lag);
}

void InputReactors::handleLagStatus() {
  Zet::replay(&root_->lagStatusDir()->intfStatus(), zetLagIntfStatus_,
              [this](IntfId lag) { handleLagStatus(lag); });
}

void InputReactors::ZetLagIntfStatus::handleMember() { markLagDirty(sm()->root(), key()); }

// --- Members as they are configured

void InputReactors::handleLagConfig(IntfId intf) {
  auto const * dir = lagConfigReactor_.target();
  auto const * config = dir ? dir->phyIntf(intf) : nullptr;
  Zet::Ptr<ZetPhyIntfLagConfig> const gone = config ? nullptr : zetPhyIntfLagConfig_.find(intf);
  zetPhyIntfLagConfig_.follow(intf, config);
  if (gone) gone->handleLagChange();
}

void InputReactors::handleLagConfig() {
  auto const * dir = lagConfigReactor_.target();
  Zet::replay(dir ? &dir->phyIntf() : nullptr, zetPhyIntfLagConfig_,
              [this](IntfId intf) { handleLagConfig(intf); });
}

// A port of the MLAG peer goes by the name that it has there.
void InputReactors::ZetPhyIntfLagConfig::handleLagChange() {
  MiraRoot & root = sm()->root();
  bool const isPeer = Nettle::PeerEthIntfId::isPeerEthIntfId(key());
  IntfId const intf = isPeer ? Nettle::PeerEthIntfId::peer(key()) : key();
  IntfId const now = target() && !zombie() ? target()->lag() : IntfId();
  IntfId const old = std::exchange(lag_, now);
  if (old == now) return;
  if (old) {
    deleteFromLagIntfCache(root, old, intf);
    markLagDirty(root, old);
  }
  if (now) {
    addToLagIntfCache(root, now, intf);
    markLagDirty(root, now);
  }
}

// --- Whether those count that are configured

void InputReactors::lagConfigReactorIs(bool v) {
  lagConfigReactor_.attach(v ? root_->lagConfigDir() : nullptr);
}

void MiraRoot::configuredLagMembersInOifSetIs(bool v) {
  if (assign(configuredLagMembersInOifSet_, v)) handleConfiguredLagMembersInOifSet();
}

void MiraRoot::lagConfigDirIs(Zet::Ptr<Lag::ConfigDir const> const & v) {
  if (assign(lagConfigDir_, v) && inputReactors_) {
    inputReactors_->lagConfigReactorIs(configuredLagMembersInOifSet_);
  }
}

void MiraRoot::handleConfiguredLagMembersInOifSet() {
  if (!initialized_) return;
  SKEIN("MiraRoot::handleConfiguredLagMembersInOifSet ", configuredLagMembersInOifSet_);
  inputReactors_->lagConfigReactorIs(configuredLagMembersInOifSet_);
  inputReactors_->handleLagStatus();
  inputReactors_->markAllVlansDirty();
}

// --- MLAG

void InputReactors::handleMlagIntfStatus(IntfId intf) {
  zetMlagIntfStatus_.follow(intf, root_->mlagStatus()->intfStatus(intf));
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleMlagIntfStatus ", intf);
  if (root_->miraL2()) root_->miraL2()->doMarkLagDirty(intf);
  for (auto i = root_->mira().begin(); i; i.advance()) {
    ZET_TRACE(7, " Marking lag " << intf << " dirty for VRF " << i->vrfName());
    i->doMarkLagDirty(intf);
  }
  if (!Nettle::PortChannelIntfId::isPortChannelIntfId(intf)) markPortDirty(intf);
}

void InputReactors::handleMlagIntfStatus() {
  Zet::replay(&root_->mlagStatus()->intfStatus(), zetMlagIntfStatus_,
              [this](IntfId intf) { handleMlagIntfStatus(intf); });
}

// Routes know a LAG by its bit, any other port by its VLAN's.
void InputReactors::markPortDirty(IntfId intf) {
  auto const & vlans = root_->vlanStatusDir()->vlanStatus();
  for (auto vlan = vlans.begin(); vlan; vlan.advance()) {
    if (!vlan->vlanPortStatus().contains(intf)) continue;
    if (root_->miraL2()) root_->miraL2()->doMarkVlanPortDirty(vlan.key(), intf);
    for (auto i = root_->mira().begin(); i; i.advance()) i->doMarkVlanPortDirty(vlan.key(), intf);
  }
}

}  // namespace Brindle
