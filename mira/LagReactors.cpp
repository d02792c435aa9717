// Reactions to LAGs: their members as they are or as they are configured, and MLAG.
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

// The VLAN has the port or, if it is a LAG, a sub-interface of it; that one, or none.
IntfId portInVlan(MiraRoot const & root, Bridging::VlanStatus const & vlan, IntfId port) {
  if (vlan.vlanPortStatus().contains(port)) return port;
  auto const & dir = root.parentIntfToSubIntfDir();
  auto const * subIntfs = dir ? dir->subIntf(port) : nullptr;
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
    IntfId const found = portInVlan(root, *i, lag);
    if (!found) continue;
    VlanId const vid = i.key();
    vlans |= vlanBit(vid);
    if (Mira * const mira = root.miraOfVlan(vid)) {
      ZET_TRACE(7, "Found mira" << mira->vrfName());
      if (found != lag) {
        ZET_TRACE(7, " Marking parent interface " << lag << " dirty in vrf " << mira->vrfName()
                                                  << " for sub interface " << found);
      }
      mira->doMarkLagDirty(lag);
    }
    if (root.miraL2() && l2Enabled(root, vid)) root.miraL2()->doMarkLagDirty(lag);
  }
  // Routes of other VRFs may go out there.
  for (auto i = root.mira().begin(); i; i.advance()) {
    if (i->mrouteTable()->vlanFilter() & vlans) i->doMarkLagDirty(lag);
  }
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

void InputReactors::handleLagStatus(IntfId lag) {
  auto const * status = root_->lagStatusDir()->intfStatus(lag);
  if (status && lagStatusReactor_) {
    zetLagIntfStatus_.attach(lag, status);
  } else {
    zetLagIntfStatus_.del(lag);
  }
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
  if (auto const * config = dir ? dir->phyIntf(intf) : nullptr) {
    zetPhyIntfLagConfig_.attach(intf, config);
  } else {
    zetPhyIntfLagConfig_.del(intf);
  }
  handleLagChange(intf);
}

void InputReactors::handleLagConfig() {
  auto const * dir = lagConfigReactor_.target();
  Zet::replay(dir ? &dir->phyIntf() : nullptr, zetPhyIntfLagConfig_,
              [this](IntfId intf) { handleLagConfig(intf); });
}

void InputReactors::handleLagChange(IntfId configured) {
  auto const * dir = lagConfigReactor_.target();
  auto const * config = dir ? dir->phyIntf(configured) : nullptr;
  bool const isPeer = Nettle::PeerEthIntfId::isPeerEthIntfId(configured);
  IntfId const intf = isPeer ? Nettle::PeerEthIntfId::peer(configured) : configured;
  IntfId const old = root_->intfToLag(intf);
  IntfId const now = config ? config->lag() : IntfId();
  if (old == now) return;
  if (old) {
    deleteFromLagIntfCache(*root_, old, intf);
    markLagDirty(*root_, old);
  }
  if (now) {
    addToLagIntfCache(*root_, now, intf);
    markLagDirty(*root_, now);
  }
}

// --- Which of both

void InputReactors::lagReactorsAre(bool status, bool config) {
  lagStatusReactor_.del();
  zetLagIntfStatus_.delAll();
  lagConfigReactor_.attach(config ? root_->lagConfigDir() : nullptr);
  if (status) lagStatusReactor_.attach(root_->lagStatusDir());
}

void MiraRoot::configuredLagMembersInOifSetIs(bool v) {
  if (configuredLagMembersInOifSet_ == v) return;
  configuredLagMembersInOifSet_ = v;
  handleConfiguredLagMembersInOifSet();
}

void MiraRoot::lagConfigDirIs(Zet::Ptr<Lag::ConfigDir const> const & v) {
  if (lagConfigDir_ == v) return;
  lagConfigDir_ = v;
  if (inputReactors_) handleConfiguredLagMembersInOifSet();
}

void MiraRoot::handleConfiguredLagMembersInOifSet() {
  if (!initialized_) return;
  SKEIN("MiraRoot::handleConfiguredLagMembersInOifSet ", configuredLagMembersInOifSet_);
  inputReactors_->lagReactorsAre(!configuredLagMembersInOifSet_, configuredLagMembersInOifSet_);
  inputReactors_->markAllVlansDirty();
}

// --- MLAG

void InputReactors::handleMlagIntfStatus(IntfId intf) {
  auto const * status = root_->mlagStatus()->intfStatus(intf);
  if (status) {
    zetMlagIntfStatus_.attach(intf, status);
  } else {
    zetMlagIntfStatus_.del(intf);
  }
  markLagOrPortDirty(intf);
}

void InputReactors::handleMlagIntfStatus() {
  Zet::replay(&root_->mlagStatus()->intfStatus(), zetMlagIntfStatus_,
              [this](IntfId intf) { handleMlagIntfStatus(intf); });
}

// Routes know a LAG by its bit, any other port by its VLAN's.
void InputReactors::markLagOrPortDirty(IntfId intf) {
  if (!root_->initialized()) return;
  SKEIN("InputReactors::handleMlagIntfStatus ", intf);
  if (root_->miraL2()) root_->miraL2()->doMarkLagDirty(intf);
  for (auto i = root_->mira().begin(); i; i.advance()) {
    ZET_TRACE(7, " Marking lag " << intf << " dirty for VRF " << i->vrfName());
    i->doMarkLagDirty(intf);
  }
  if (Nettle::PortChannelIntfId::isPortChannelIntfId(intf)) return;
  auto const & vlans = root_->vlanStatusDir()->vlanStatus();
  for (auto vlan = vlans.begin(); vlan; vlan.advance()) {
    if (!vlan->vlanPortStatus().contains(intf)) continue;
    if (root_->miraL2()) root_->miraL2()->doMarkVlanPortDirty(vlan.key(), intf);
    for (auto i = root_->mira().begin(); i; i.advance()) i->doMarkVlanPortDirty(vlan.key(), intf);
  }
}

}  // namespace Brindle
