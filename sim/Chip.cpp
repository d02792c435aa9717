#include "sim/Chip.h"

#include <optional>

#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

void requireRoom(char const * what, U32 wanted, U32 inUse) {
  if (wanted >= inUse) return;
  throw CommandError("expected at least the " + std::to_string(inUse) + " " + what +
                     " in use, found " + std::to_string(wanted));
}

}  // namespace

void Chip::routeCapacityIs(U32 n) {
  requireRoom("routes", n, routesInUse());
  bool const more = n > routeTotal();
  routeTotalIs(n);
  if (more) announceRoom();
}

void Chip::outputCapacityIs(U32 n) {
  requireRoom("outputs", n, outputsInUse());
  bool const more = n > pvTotal();
  pvNumFreeIs(n - outputsInUse());
  pvTotalIs(n);
  if (more) announceRoom();
}

void Chip::announceRoom() {
  if (routesInUse() < routeTotal()) {
    mrouteTcamFreeIs(true);
    boundaryTcamFreeIs(true);
  }
  if (pvNumFree() > 0) mtableFreeIs(true);
}

void Chip::doAllocateMtableOifSet(Zet::Ptr<OifSet const> const & oifSet) {
  if (refuseSets_ == 0) return SimSwitchChip::doAllocateMtableOifSet(oifSet);
  --refuseSets_;
  mtableOifSetIs(nullptr);
  mtableFreeIs(false);
}

void Chip::doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                           bool bridgeAction, Zet::Ptr<MtableOifSet> const & set, bool fastdrop,
                           bool noRpf, RpaIndex rpaId, L3::VrfName vrf) {
  if (refuseRoutes_ == 0) {
    return SimSwitchChip::doAllocateRoute(sg, acceptingVlanId, bridgeAction, set, fastdrop, noRpf,
                                          rpaId, vrf);
  }
  --refuseRoutes_;
  routeHandleIs(RouteHandle());
  mrouteTcamFreeIs(false);
  boundaryTcamFreeIs(false);
}

void Chip::doSetMtableOifSet(RouteHandle handle, Zet::Ptr<MtableOifSet> const & set) {
  SimSwitchChip::doSetMtableOifSet(handle, set);
  tellObserver(handle);
}

void Chip::doActivateRoute(RouteHandle handle) {
  SimSwitchChip::doActivateRoute(handle);
  tellObserver(handle);
}

void Chip::doDeleteRoute(RouteHandle handle) {
  auto const * const entry = simRoute(handle);
  std::optional<SimRouteKey> const key = entry ? std::optional(entry->key()) : std::nullopt;
  SimSwitchChip::doDeleteRoute(handle);
  if (observer_ && key) observer_->onEntry(*this, handle, *key);
}

void Chip::tellObserver(RouteHandle handle) const {
  auto const * const entry = observer_ ? simRoute(handle) : nullptr;
  if (entry) observer_->onEntry(*this, handle, entry->key());
}

}  // namespace Brindle::Sim
