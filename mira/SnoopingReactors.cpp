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
  reactors_->markVlanDirty(vid_);
}

void ZetSnoopingVlanStatus::handleEthGroup(Nettle::EthAddr const & group) {
  auto const * const held = status();
  auto const * ethGroup = held ? held->ethGroup(group) : nullptr;
  zetEthGroup_.follow(group, ethGroup);
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
  if (!ethGroup) {
    handleEthGroupDel(group);
  } else if (root.mayHaveEthGroupRoutes(vid_)) {
    root.doEnableDisableEthGroup(group, vid_);
  }
}

void ZetSnoopingVlanStatus::handleEthGroupDel(Nettle::EthAddr const & group) {
  MiraRoot & root = reactors_->root();
  if (root.mayHaveEthGroupRoutes(vid_)) root.l2RouteDel(makeRouteKeyEthGroup(vid_, group));
  if (!isIgmpSnoopingEthAddr(group))
    reactors_->handleBrEthGroup(vid_);  // it may be configured, too
}

void ZetSnoopingVlanStatus::handleIntf(Nettle::EthAddr const & group) {
  MiraRoot & root = reactors_->root();
  if (!root.initialized()) return;
  SKEIN("ZetSnoopingVlanStatus::handleIntf ", vid_, " ", group);
  if (isIgmpSnoopingEthAddr(group)) reactors_->markVlanGroupDirty(vid_, group);
  auto const & table = root.mrouteTableColl()->l2FloodsetTable();
  if (!root.miraL2() || !table) return;
  if (auto * route = table->mroute(makeRouteKeyEthGroup(vid_, group))) {
    root.miraL2()->markMrouteDirty(*route);
  }
}

void ZetSnoopingVlanStatus::handleDel() {
  if (!reactors_->root().initialized()) return;
  for (auto i = zetEthGroup_.begin(); i; i.advance()) handleEthGroupDel(i.key());
}

}  // namespace Brindle
