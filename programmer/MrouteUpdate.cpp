#include "programmer/MrouteUpdate.h"

#include "platform/Assert.h"
#include "platform/Trace.h"
#include "programmer/MrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

using Bridging::VlanIdOrNone;

namespace {

Zet::TraceHandle traceHandle("MrouteUpdate", false);

// An earlier life of the agent may have left such a status.
bool hasSpecialRoute(Routing::Multicast::Fib::Hardware::RouteStatus const & status) {
  return status.notifyingIntfId() || status.staticFastdropIntfId() || status.frrIntfId();
}

}  // namespace

ZetMroute::Update::Update(ZetMroute & route)
    : route_(route),
      mroute_(*route.mroute_),
      sm_(*route.sm()),
      writer_(sm_.statusWriter()),
      chips_(sm_.chips()),
      members_(mroute_.oifSet()->portVlanSet().portVlans()),
      routeSaver_(chips_.size()) {}

void ZetMroute::Update::run() {
  removeObsolete();
  bool const succeeded = chipsHaveRoom() && allocateSets() && allocateEntries();
  if (succeeded) {
    commit();
  } else {
    cleanUp();
  }
  Zet::Ptr<RouteStatus> const status = writer_.routeStatusIs(route_.key());
  report(*status);
  if (succeeded) publish(*status);
  route_.doUpdateStatus(*status);
}

// A route that comes in nowhere has no entry of its own.
bool ZetMroute::Update::needsEntry() const {
  return mroute_.acceptingVlanId() || mroute_.noRpf() ||
         mroute_.rpaId() != Shoal::Multicast::Fib::rpaNone;
}

bool ZetMroute::Update::isInputChanged() const {
  return mroute_.acceptingVlanId() != route_.acceptingVlanId_ || mroute_.rpaId() != route_.rpaId_;
}

void ZetMroute::Update::removeObsolete() {
  if (route_.chipInfo_.hasGone()) {
    route_.chipInfo_.doRebind(chips_);
    route_.chipInfo_.doDropGone();
  }
  if (!route_.chipInfo_.hasVlanInfos()) return;
  route_.doDeleteObsoleteFastdrops();
  for (SpecialRoute const & special : specialRoutes) {
    // A backup input that is now the accepting one becomes the route's own entry below.
    bool const isFrr = special.kind == EntryKind::frr;
    VlanIdOrNone const keep = isFrr ? mroute_.acceptingVlanId() : VlanIdOrNone();
    route_.doDeleteOtherThan(special, (mroute_.*special.vlan)(), keep);
  }
}

// Keeps a full chip from being asked for every route of a large table.
bool ZetMroute::Update::chipsHaveRoom() {
  for (ZetChip * chip : chips_) {
    bool const mtableFree = chip->chip().mtableFree();
    U32 const refused = chip->lastOifFailure();
    if (!mtableFree && refused != 0 && refused <= members_) {
      ZET_TRACE(5, "Chip " << chip->key() << " failed to allocate an oifset for " << route_.key()
                           << " (mtable is full)");
      failed_ = chip->doCountOifSetFailure(route_.reason_);
      return false;
    }
    if (!mtableFree || chip->chip().mrouteTcamFree() || mroute_.noRpf() ||
        !mroute_.acceptingVlanId()) {
      continue;
    }
    ChipInfo const * info = route_.chipInfo_.find(*chip);
    if (!info || info->rpfRouteHandle().isNull()) {
      failed_ = refuseRoute(*chip);
      return false;
    }
  }
  return true;
}

U32 ZetMroute::Update::refuseRoute(ZetChip & chip) {
  ZET_TRACE(5, "Chip " << chip.key() << " failed to allocate a route for " << route_.key()
                       << " (tcam is full)");
  return chip.doCountRouteFailure(route_.reason_);
}

bool ZetMroute::Update::allocateSets() {
  if (!needsEntry()) return true;
  bool hasRoomAgain = false;
  for (ZetChip * chip : chips_) {
    chip->chip().doAllocateMtableOifSet(mroute_.oifSet());
    if (!chip->chip().mtableOifSet()) {
      failed_ = chip->doCountOifSetFailure(route_.reason_);
      chip->lastOifFailureIs(members_);
      break;
    }
    hasRoomAgain |= chip->doCountOifSetSuccess(route_.reason_);
  }
  // Other routes that wait may succeed, too.
  if (hasRoomAgain) sm_.doKickReview();
  return !failed_;
}

bool ZetMroute::Update::allocateEntries() {
  route_.chipInfo_.chipInfosAre(chips_);
  for (U32 position = 0; position < chips_.size(); ++position) {
    ZetChip & chip = *chips_[position];
    ChipInfo & info = route_.chipInfo_[position];
    if (!info.rpfRouteHandle().isNull()) {
      routeSaver_.routeHandleIs(position, info.rpfRouteHandle());
    }
    info.rpfRouteHandleIs(chooseEntry(position, info));
    if (mroute_.acceptingVlanId() && info.rpfRouteHandle().isNull()) {
      failed_ = refuseRoute(chip);
      return false;
    }
    chip.doCountRouteSuccess(route_.reason_);
  }
  return true;
}

RouteHandle ZetMroute::Update::chooseEntry(U32 position, ChipInfo & info) {
  if (!needsEntry()) {
    ZET_TRACE(9, "No rpf route needed " << route_.key());
    return RouteHandle();
  }
  bool const hasEntry = !info.rpfRouteHandle().isNull();
  if (hasEntry && !isInputChanged()) {
    ZET_TRACE(9, "Using rpf route handle " << info.rpfRouteHandle());
    return info.rpfRouteHandle();
  }
  if (hasEntry && sm_.mfib()->avoidDuplicates()) deleteSaved(position, info);
  if (isInputChanged() && !info.entries().empty()) info.doDeleteFastdrops();
  VlanInfo * frr = info.frr();
  if (frr && frr->vlanId == mroute_.acceptingVlanId()) return takeOverFrr(info, frr);
  return newEntry(position, info);
}

// The backup entry is active already, on the VLAN that is now the accepting one.
RouteHandle ZetMroute::Update::takeOverFrr(ChipInfo & info, VlanInfo * frr) {
  RouteHandle const handle = frr->routeHandle;
  ZET_TRACE(9, " Reuse Frr routeHandle " << handle);
  reused_.push_back(info.vlanInfoDel(frr));
  if (auto status = writer_.routeStatus(route_.key())) status->frrIntfIdIs({});
  info.rpfRouteHandleIs(handle);
  info.rpfActivatedIs(true);
  return handle;
}

RouteHandle ZetMroute::Update::newEntry(U32 position, ChipInfo & info) {
  ZET_TRACE(9, "Allocating route " << route_.key() << " on vlan " << mroute_.acceptingVlanId());
  RouteHandle handle = allocateRoute(info.chip());
  if (!handle.isNull() || info.rpfRouteHandle().isNull()) return handle;
  // The table may be full of this very route: break before make.
  deleteSaved(position, info);
  ZET_TRACE(9, "Allocating route again on vlan " << mroute_.acceptingVlanId());
  return allocateRoute(info.chip());
}

RouteHandle ZetMroute::Update::allocateRoute(SwitchChip & chip) {
  chip.doAllocateRoute(route_.key(), mroute_.acceptingVlanId(), false, chip.mtableOifSet(), false,
                       mroute_.noRpf(), mroute_.rpaId(), sm_.vrfName());
  return chip.routeHandle();
}

// Forgets the handle, too: the chip may give the same one out again for another entry.
void ZetMroute::Update::deleteSaved(U32 position, ChipInfo & info) {
  ZET_TRACE(9, "   Deleting old Route handle " << routeSaver_.routeHandle(position));
  info.chip().doDeleteRoute(routeSaver_.routeHandle(position));
  routeSaver_.routeHandleDel(position);
  info.rpfRouteHandleIs(RouteHandle());
}

void ZetMroute::Update::commit() {
  for (U32 position = 0; position < chips_.size(); ++position) {
    commit(position, route_.chipInfo_[position]);
  }
  reused_.clear();  // what the chips get back may serve the special entries
}

void ZetMroute::Update::commit(U32 position, ChipInfo & info) {
  SwitchChip & chip = info.chip();
  RouteHandle const handle = info.rpfRouteHandle();
  if (!handle.isNull()) {
    chip.doSetMtableOifSet(handle, chip.mtableOifSet());
    if (!info.rpfActivated()) {
      chip.doActivateRoute(handle);
      info.rpfActivatedIs(true);
    }
  }
  // Held until the old entry has gone, which points at it. A route without an entry holds no set.
  Zet::Ptr<MtableOifSet> const oldSet =
      info.mtableOifSetIs(handle.isNull() ? nullptr : chip.mtableOifSet());
  RouteHandle const old = routeSaver_.routeHandle(position);
  if (old.isNull() || old == handle) return;
  ZET_TRACE(9, "   Deleting old Route handle " << old);
  chip.doDeleteRoute(old);
  routeSaver_.routeHandleDel(position);
}

// A route that one chip refuses is not left on the others, except for floodsets, whose old entries
// go on forwarding.
void ZetMroute::Update::cleanUp() {
  using namespace Routing::Multicast::Fib;
  RouteKeyType const kind = route_.key().kind();
  bool const isFloodset = kind == vlanFloodset_ || kind == multicastFloodset_;
  if (isFloodset && !sm_.mfib()->deleteL2RouteOnFailure()) return;
  ZET_ASSERT(!routeSaver_.routeHandles(), "!routeSaver->routeHandles()");
  route_.chipInfo_.doDeleteAll();
  if (auto status = writer_.routeStatus(route_.key())) {
    for (SpecialRoute const & special : specialRoutes) (*status.*special.intfIdIs)({});
  }
}

void ZetMroute::Update::report(RouteStatus & status) {
  route_.releaseChips();
  route_.reasonIs(failed_);
  status.hwFlagsIs(hwFlagsOf(failed_));
}

void ZetMroute::Update::publish(RouteStatus & status) {
  using Route = Shoal::Multicast::Fib::Route;
  if (route_.wantsSpecialRoute() || route_.chipInfo_.hasVlanInfos() || hasSpecialRoute(status)) {
    route_.doUpdateFabricWithNotifyRoute(status);
    if (!route_.reason_) route_.doUpdateFabricWith(specialRoute(EntryKind::frr), status);
  }
  status.noRpfIs(mroute_.shoalRoute().flags() & Route::acceptAny);
  status.acceptingIntfIdIs(writer_.intfId(mroute_.acceptingVlanId()));
  route_.oifSet_ = mroute_.oifSet();
  route_.acceptingVlanId_ = mroute_.acceptingVlanId();
  route_.rpaId_ = mroute_.rpaId();
  route_.doUpdateFastdrops();
}

}  // namespace Brindle
