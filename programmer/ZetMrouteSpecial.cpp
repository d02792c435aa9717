// The notify, persistent fastdrop and fast-reroute entries of a route.
#include "platform/Trace.h"
#include "programmer/MrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;

namespace {

Zet::TraceHandle traceHandle("ZetMrouteSpecial", false);

struct Traces {
  char const * deleting;
  char const * mismatch;
  char const * allocating;
  char const * failed;
  char const * succeeded;
  char const * finished;
};
constexpr Traces traces[] = {
    {
        .deleting = "Deleting existing notify route ",
        .mismatch = " as notify interface does not match ",
        .allocating = "Allocating notifying route on vlan ",
        .failed = "Failed programming notify route. failed is ",
        .succeeded = "Succeeded in programming notify route: ",
        .finished = "(): finish programming notify routes for ",
    },
    {
        .deleting = "Deleting existing persistent fastdrop route ",
        .mismatch = " as persistent fastdrop interface does not match ",
        .allocating = "Allocating persistent fastdrop route on vlan ",
        .failed = "Failed programming perse fastdrop route. failed is ",
        .succeeded = "Succeeded in programming persistent fastdrop route: ",
        .finished = "(): finish programming pers fastdrop routes for ",
    },
    {
        .deleting = "Deleting existing frr route ",
        .mismatch = " as frr interface does not match ",
        .allocating = "Allocating frr fastdrop route on vlan ",
        .failed = "Failed programming frr fastdrop route. failed is ",
        .succeeded = "Succeeded in programming frr fastdrop route: ",
        .finished = "(): finish programming frr fastdrop routes for ",
    },
};

}  // namespace

void ZetMroute::doUpdateFabricWithNotifyRoute() {
  doUpdateFabricWithNotifyRoute(*sm()->statusWriter().routeStatusIs(key()));
}

void ZetMroute::doUpdateFabricWithStaticFastdrop() {
  auto const status = sm()->statusWriter().routeStatusIs(key());
  doUpdateFabricWith(specialRoute(EntryKind::staticFastdrop), *status);
}

void ZetMroute::doUpdateFabricWithFrr() {
  auto const status = sm()->statusWriter().routeStatusIs(key());
  doUpdateFabricWith(specialRoute(EntryKind::frr), *status);
}

void ZetMroute::doUpdateFabricWithNotifyRoute(RouteStatus & status) {
  bool const notifies = doUpdateFabricWith(specialRoute(EntryKind::notify), status);
  if (notifies) doUpdateFabricWith(specialRoute(EntryKind::staticFastdrop), status);
}

bool ZetMroute::doUpdateFabricWith(SpecialRoute const & special, RouteStatus & status) {
  Zet::Ptr<OifSet> const & set = (mroute_.get()->*special.oifSet)();
  VlanIdOrNone const vlan = (mroute_.get()->*special.vlan)();
  U32 failed = 0;
  // The pass has done it for the backup entry.
  if (special.kind != EntryKind::frr) doDeleteOtherThan(special, vlan);
  if (vlan && set) {  // no chip can be asked for a set that is not computed yet
    for (ChipInfo & info : chipInfo_) {
      failed = doProgram(special, info, VlanId(vlan), set);
      if (failed) break;
    }
    releaseChips();
  }
  if (failed) {
    ZET_TRACE(5, traces[special.index()].failed << failed);
    reasonIs(failed);
    // An unchanged reason tells nobody, and the entry must be there for the retry.
    sm()->failedMrouteIs({key(), reason_, this});
  } else {
    if (vlan) ZET_TRACE(9, traces[special.index()].succeeded << key());
    (status.*special.intfIdIs)(sm()->statusWriter().intfId(vlan));
    reasonIs(0);
  }
  ZET_TRACE(9, traces[special.index()].finished << key());
  return !failed;
}

// Returns the chip's bit if it refuses.
U32 ZetMroute::doProgram(SpecialRoute const & special, ChipInfo & info, VlanId vlan,
                         Zet::Ptr<OifSet> const & oifSet) {
  ZetChip & zetChip = info.zetChip();
  SwitchChip & chip = info.chip();
  chip.doAllocateMtableOifSet(oifSet);
  Zet::Ptr<MtableOifSet> const set = chip.mtableOifSet();
  if (!set) {
    ZET_TRACE(5, "oifSet alloc failed for " << key());
    zetChip.oifFailedInc(1);
    zetChip.lastOifFailureIs(oifSet->portVlanSet().portVlans());
    return zetChip.chipFailedOifSetMask();
  }
  if (VlanInfo * entry = info.entries().find(special.kind)) {
    if (entry->mtableOifSet == set) return 0;
    chip.doSetMtableOifSet(entry->routeHandle, set);
    entry->mtableOifSet = set;
    return 0;
  }
  ZET_TRACE(9, traces[special.index()].allocating << vlan << " for " << key());
  chip.doAllocateRoute(key(), vlan, false, set, special.fastdrop, mroute_->noRpf(),
                       special.takesRpaId ? mroute_->rpaId() : Shoal::Multicast::Fib::rpaNone,
                       sm()->vrfName());
  RouteHandle const handle = chip.routeHandle();
  if (handle.isNull()) {
    ZET_TRACE(5, "route alloc failed for " << key());
    zetChip.routeFailedInc(1);
    return zetChip.chipFailedRouteMask();
  }
  chip.doSetMtableOifSet(handle, set);
  chip.doActivateRoute(handle);
  info.vlanInfoIs(special.kind, vlan, handle).mtableOifSet = set;
  return 0;
}

// Deletes entries on another VLAN than the wanted one, or the one to keep.
void ZetMroute::doDeleteOtherThan(SpecialRoute const & special, VlanIdOrNone wanted,
                                  VlanIdOrNone keep) {
  for (ChipInfo & info : chipInfo_) {
    VlanInfo * entry = info.entries().find(special.kind);
    if (!entry || entry->vlanId == wanted || entry->vlanId == keep) continue;
    ZET_TRACE(9, traces[special.index()].deleting << key() << " on vlan " << entry->vlanId
                                                  << traces[special.index()].mismatch << wanted);
    info.doDelete(entry);
    if (auto status = sm()->statusWriter().routeStatus(key())) (*status.*special.intfIdIs)({});
  }
}

}  // namespace Brindle
