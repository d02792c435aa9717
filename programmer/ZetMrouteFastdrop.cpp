// The fastdrop entries of a route: they drop what comes in on a wrong VLAN, in place of the CPU.
// They are best effort: one that a chip refuses is left out, and nothing waits for it.
#include "platform/Trace.h"
#include "programmer/MrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

using Bridging::VlanId;

namespace {

Zet::TraceHandle traceHandle("ZetMrouteFastdrop", false);

}  // namespace

// Those on a VLAN that has become an input go, too: it gets an entry of the same key.
void ZetMroute::doDeleteObsoleteFastdrops() {
  for (ChipInfo & info : chipInfo_) {
    for (U32 i = info.entries().size(); i-- > 0;) {
      VlanInfo & v = info.entries()[i];
      if (v.kind != EntryKind::fastdrop) continue;
      if (!mroute_->fastdrop().contains(v.vlanId) || isInput(*mroute_, v.vlanId)) info.doDelete(&v);
    }
  }
}

void ZetMroute::doUpdateFastdrops() {
  for (auto const & fastdrop : mroute_->fastdrop().items()) {
    VlanId const vlan = fastdrop.key;
    if (isInput(*mroute_, vlan)) {
      ZET_TRACE(5, "doUpdateFabric(): route "
                       << key() << ": skip fastdrop, vlan " << vlan
                       << " overlaps with intfs (iif, n, s, frr ): " << mroute_->acceptingVlanId()
                       << " " << mroute_->notifyingVlanId() << " "
                       << mroute_->staticFastdropVlanId() << " " << mroute_->frrVlanId());
      continue;
    }
    if (!fastdrop.value) continue;  // not computed yet
    if (!doProgramFastdrop(vlan, fastdrop.value, false, true, mroute_->rpaId())) return;
  }
}

bool ZetMroute::doProgramFastdropRoute(VlanId vlan, Zet::Ptr<OifSet> const & oifSet,
                                       bool bridgeAction, bool fastdrop, RpaIndex rpaId) {
  return doProgramFastdrop(vlan, oifSet, bridgeAction, fastdrop, rpaId);
}

bool ZetMroute::doProgramFastdrop(VlanId vlan, Zet::Ptr<OifSet> const & oifSet, bool bridgeAction,
                                  bool fastdrop, RpaIndex rpaId) {
  bool succeeded = true;
  for (ChipInfo & info : chipInfo_) {
    succeeded = doProgramFastdrop(info, vlan, oifSet, bridgeAction, fastdrop, rpaId);
    if (!succeeded) break;
  }
  if (!succeeded) {
    for (ChipInfo & info : chipInfo_) {
      if (VlanInfo * entry = info.fastdrop(vlan)) info.doDelete(entry);
    }
  }
  releaseChips();
  return succeeded;
}

bool ZetMroute::doProgramFastdrop(ChipInfo & info, VlanId vlan, Zet::Ptr<OifSet> const & oifSet,
                                  bool bridgeAction, bool fastdrop, RpaIndex rpaId) {
  SwitchChip & chip = info.chip();
  chip.doAllocateMtableOifSet(oifSet);
  Zet::Ptr<MtableOifSet> const set = chip.mtableOifSet();
  if (!set) {
    ZET_TRACE(5, "oifSet alloc failed for " << key());
    info.zetChip().lastOifFailureIs(oifSet->portVlanSet().portVlans());
    return false;
  }
  VlanInfo * entry = info.fastdrop(vlan);
  if (!entry) {
    ZET_TRACE(9, "Allocating fastdrop on vlan " << vlan << " for " << key());
    chip.doAllocateRoute(key(), vlan, bridgeAction, set, fastdrop, false, rpaId, sm()->vrfName());
    if (chip.routeHandle().isNull()) {
      ZET_TRACE(5, "route alloc failed for " << key());
      return false;
    }
    entry = &info.vlanInfoIs(EntryKind::fastdrop, vlan, chip.routeHandle());
  }
  chip.doSetMtableOifSet(entry->routeHandle, set);
  if (!entry->mtableOifSet) chip.doActivateRoute(entry->routeHandle);
  entry->mtableOifSet = set;
  return true;
}

}  // namespace Brindle
