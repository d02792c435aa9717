#include "programmer/ZetBoundaryMroute.h"

#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/MrouteSm.h"

namespace Brindle {

using Bridging::VlanId;

namespace {

Zet::TraceHandle traceHandle("ZetBoundaryMroute", false);

}  // namespace

void ZetBoundaryMroute::immediatePass() {
  if (!target()) return;
  for (auto i = boundary_->fastdrop().begin(); i; i.advance()) handleBoundaryFastdrop(i.key());
}

void ZetBoundaryMroute::handleBoundaryFastdrop(VlanId vlan) {
  if (!target()) return;
  SKEIN("ZetBoundaryMroute::handleBoundaryFastdrop", key(), vlan);
  if (!boundary_->fastdrop().contains(vlan)) {
    doDelBoundaryFastdrop(vlan);
  } else if (boundary_->fastdrop(vlan)) {  // otherwise it is not computed yet
    doUpdateFabricBoundaryFastdrop(vlan);
    doUpdateStatus();
  }
}

void ZetBoundaryMroute::handleDel() {
  for (auto i = boundary_->fastdrop().begin(); i; i.advance()) doDelBoundaryFastdrop(i.key());
}

void ZetBoundaryMroute::reasonIs(U32 v) {
  if (reason_ == v) return;
  reason_ = v;
  handleReason();
}

void ZetBoundaryMroute::handleReason() {
  ZET_TRACE(8, "ZetBoundaryMroute::handleReason " << key() << " reason " << reason_);
}

void ZetBoundaryMroute::doUpdateFabricBoundaryFastdrop(VlanId vlan) {
  ZET_TRACE(9, "Programming boundary fastdrop " << key() << " on vlan " << vlan);
  Zet::Ptr<OifSet> const oifSet = boundary_->fastdrop(vlan);
  dropGone();
  ZetChips const & chips = sm()->chips();
  chipInfo_.chipInfosAre(chips);
  U32 asked = 0;
  U32 failed = allocateSets(oifSet);
  while (!failed && asked < chips.size()) failed = allocateEntry(chipInfo_[asked++], vlan);
  if (failed) {
    cleanUp(asked, vlan);
  } else {
    for (ChipInfo & info : chipInfo_) activate(info, vlan);
  }
  for (ZetChip * chip : chips) chip->chip().releasedIs(true);
  reasonIs(failed);
  auto const status = sm()->statusWriter().routeStatusIs(key());
  status->hwFlagsIs(hwFlagsOf(failed));
  sm()->statusWriter().fastdropPolled(*status, vlan);
}

// An entry has to go where its chip has gone.
void ZetBoundaryMroute::dropGone() {
  chipInfo_.doRebind(sm()->chips());
  for (ChipInfo const & info : chipInfo_) {
    if (info.zetChip().present()) continue;
    ZET_TRACE(9, "Deleting existing fastdrop on chip " << info.zetChip().key());
  }
  chipInfo_.doDropGone();
}

U32 ZetBoundaryMroute::allocateSets(Zet::Ptr<OifSet> const & oifSet) {
  for (ZetChip * chip : sm()->chips()) {
    chip->chip().doAllocateMtableOifSet(oifSet);
    if (!chip->chip().mtableOifSet()) {
      ZET_TRACE(5, "Chip " << chip->key() << " failed to allocate oifset for " << key());
      return chip->doCountOifSetFailure(reason_);
    }
    chip->doCountOifSetSuccess(reason_);
  }
  return 0;
}

U32 ZetBoundaryMroute::allocateEntry(ChipInfo & info, VlanId vlan) {
  if (info.fastdrop(vlan)) return 0;
  SwitchChip & chip = info.chip();
  ZET_TRACE(9, "Allocating fastdrop route on chip " << chip.name() << " for " << key());
  chip.doAllocateRoute(key(), vlan, false, chip.mtableOifSet(), true, false,
                       Shoal::Multicast::Fib::rpaNone, sm()->vrfName());
  if (chip.routeHandle().isNull()) {
    ZET_TRACE(5, "Chip " << chip.name() << " failed to allocate route " << key());
    return info.zetChip().doCountRouteFailure(reason_);
  }
  info.vlanInfoIs(EntryKind::fastdrop, vlan, chip.routeHandle());
  return 0;
}

// A standing entry goes on dropping while it moves to its new set.
void ZetBoundaryMroute::activate(ChipInfo & info, VlanId vlan) {
  VlanInfo & entry = *info.fastdrop(vlan);
  SwitchChip & chip = info.chip();
  chip.doSetMtableOifSet(entry.routeHandle, chip.mtableOifSet());
  if (!entry.mtableOifSet) {
    ZET_TRACE(9, "Activating route handle " << entry.routeHandle);
    chip.doActivateRoute(entry.routeHandle);
  }
  entry.mtableOifSet = chip.mtableOifSet();
}

// Deletes what stands, new or not, on the chips that were asked.
void ZetBoundaryMroute::cleanUp(U32 chips, VlanId vlan) {
  for (U32 i = 0; i < chips; ++i) {
    VlanInfo * entry = chipInfo_[i].fastdrop(vlan);
    if (!entry) continue;
    ZET_TRACE(9, "Cleaning up rh: " << entry->routeHandle);
    chipInfo_[i].doDelete(entry);
  }
}

void ZetBoundaryMroute::doDelBoundaryFastdrop(VlanId vlan) {
  for (ChipInfo & info : chipInfo_) {
    if (VlanInfo * entry = info.fastdrop(vlan)) info.doDelete(entry);
    // Once: what the other VLANs would count out are other routes.
    if (info.zetChip().doCountRouteSuccess(reason_)) {
      reasonIs(reason_ & ~info.zetChip().chipFailedRouteMask());
    }
  }
  RouteStatusWriter const & writer = sm()->statusWriter();
  if (auto status = writer.routeStatus(key())) writer.fastdropGone(*status, vlan);
}

void ZetBoundaryMroute::doUpdateStatus() {
  RouteStatusWriter const & writer = sm()->statusWriter();
  auto const status = writer.routeStatus(key());
  if (!status) {
    ZET_TRACE(0, "No route status in mfib hardware status");
    return;
  }
  writer.doUpdateFastdrops(*status, chipInfo_.fastdropVlans());
}

}  // namespace Brindle
