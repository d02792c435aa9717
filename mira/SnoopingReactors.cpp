#include "mira/SnoopingReactors.h"

#include "mira/Expansion.h"
#include "mira/InputReactors.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Routing::Multicast::Fib::makeRouteKeyEthGroup;

namespace {

Zet::TraceHandle traceHandle("SnoopingReactors", false);

}  // namespace

void ZetSnoopingVlanStatus::ZetVlanStatus::immediatePass() {
  if (!target()) return;
  auto const & groups = target()->ethGroup();
  for (auto i = groups.begin(); i; i.advance()) sm()->handleEthGroup(i.key());
}

void ZetSnoopingVlanStatus::handleUseVlanFloodset() {
  MiraRoot & root = reactors_->root();
  if (!root.initialized()) return;
  SKEIN("ZetSnoopingVlanStatus::handleUseVlanFloodset ", vid_);
  if (l2Enabled(root, vid_)) root.doEnableDisableVlanEthGroup(vid_);
  if (root.mrouteTableColl()->af() != Nettle::ipv6()) {
    reactors_->markVlanDirty(vid_);
  } else if (Mira * const mira = root.miraOfVlan(vid_)) {
    mira->doMarkVlanDirty(vid_);  // snooping has no say in where routes of IPv6 go out
  }
}

void ZetSnoopingVlanStatus::handleEthGroup(Nettle::EthAddr const & group) {
  auto const * const held = status();
  bool const another = zetEthGroup_.follow(group, held ? held->ethGroup(group) : nullptr);
  MiraRoot & root = reactors_->root();
  if (!root.initialized()) return;
  SKEIN("ZetSnoopingVlanStatus::handleEthGroup ", vid_, " ", group);
  if (isIgmpSnoopingEthAddr(group)) {
    // A VLAN that floods its groups does not look at them.
    if (held && !held->useVlanFloodset()) reactors_->markVlanGroupDirty(vid_, group);
    if (l2Enabled(root, vid_) && root.miraL2()) {
      ZET_TRACE(7, "Mark miraL2 vlan group dirty, vlan: " << vid_ << " group: " << group);
      root.miraL2()->doMarkVlanGroupDirty(vid_, group);
    }
  }
  root.doEnableDisableEthGroup(group, vid_);
  // Another record may have other ports, and the route asks for it by the VLAN, not by the group.
  if (another && root.miraL2()) root.miraL2()->markMrouteDirty(makeRouteKeyEthGroup(vid_, group));
}

void ZetSnoopingVlanStatus::handleIntf(Nettle::EthAddr const & group) {
  MiraRoot & root = reactors_->root();
  if (!root.initialized()) return;
  SKEIN("ZetSnoopingVlanStatus::handleIntf ", vid_, " ", group);
  if (isIgmpSnoopingEthAddr(group)) reactors_->markVlanGroupDirty(vid_, group);
  if (root.miraL2()) root.miraL2()->markMrouteDirty(makeRouteKeyEthGroup(vid_, group));
}

void ZetSnoopingVlanStatus::handleDel() {
  MiraRoot & root = reactors_->root();
  if (!root.initialized()) return;
  for (auto i = zetEthGroup_.begin(); i; i.advance()) root.doEnableDisableEthGroup(i.key(), vid_);
}

}  // namespace Brindle
