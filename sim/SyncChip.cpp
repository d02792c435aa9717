#include "sim/SyncChip.h"

#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

Chip::Entry entryOf(SimSwitchChip::Route const & route) {
  auto const & set = route.simMtableOifSet();
  return {route.routeHandle(),
          route.key(),
          route.rpaId(),
          set ? set->oifSet() : nullptr,
          route.activated(),
          0,
          0};
}

}  // namespace

std::vector<Chip::Entry> SyncChip::written() const {
  std::vector<Chip::Entry> out;
  for (auto i = simRoute().begin(); i; i.advance()) out.push_back(entryOf(*i));
  return out;
}

std::optional<Chip::Entry> SyncChip::written(RouteHandle handle) const {
  auto const * const route = simRoute(handle);
  return route ? std::optional(entryOf(*route)) : std::nullopt;
}

void SyncChip::routeCapacityIs(U32 n) {
  requireRoom("routes", n, routesInUse());
  bool const more = n > routeTotal();
  routeTotalIs(n);
  if (more) announceRoom();
}

void SyncChip::setCapacityIs(U32 n) {
  requireRoom("outputs", n, setsInUse());
  bool const more = n > pvTotal();
  pvNumFreeIs(n - setsInUse());
  pvTotalIs(n);
  if (more) announceRoom();
}

void SyncChip::announceRoom() {
  if (routesInUse() < routeTotal()) {
    mrouteTcamFreeIs(true);
    boundaryTcamFreeIs(true);
  }
  if (pvNumFree() > 0) mtableFreeIs(true);
  groups()->announceRoom();
  profileTable_->announceRoom();
}

void SyncChip::clear() {
  for (auto const & entry : written()) doDeleteRoute(entry.handle);
  clearBidir();
}

void SyncChip::doAllocateMtableOifSet(Zet::Ptr<OifSet const> const & oifSet) {
  if (!refusesSet()) return SimSwitchChip::doAllocateMtableOifSet(oifSet);
  mtableOifSetIs(nullptr);
  mtableFreeIs(false);
}

void SyncChip::doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                               bool bridgeAction, Zet::Ptr<MtableOifSet> const & set, bool fastdrop,
                               bool noRpf, RpaIndex rpaId, L3::VrfName vrf) {
  if (!refusesRoute()) {
    return SimSwitchChip::doAllocateRoute(sg, acceptingVlanId, bridgeAction, set, fastdrop, noRpf,
                                          rpaId, vrf);
  }
  routeHandleIs(RouteHandle());
  mrouteTcamFreeIs(false);
  boundaryTcamFreeIs(false);
}

void SyncChip::doSetMtableOifSet(RouteHandle handle, Zet::Ptr<MtableOifSet> const & set) {
  SimSwitchChip::doSetMtableOifSet(handle, set);
  writtenIs(handle);
  tellObserver(handle);
}

void SyncChip::doActivateRoute(RouteHandle handle) {
  SimSwitchChip::doActivateRoute(handle);
  tellObserver(handle);
}

void SyncChip::doDeleteRoute(RouteHandle handle) {
  auto const gone = isObserved() ? written(handle) : std::nullopt;
  writtenIs(handle);
  SimSwitchChip::doDeleteRoute(handle);
  if (gone) Chip::tellObserver(handle, gone->key);
}

void SyncChip::tellObserver(RouteHandle handle) const {
  auto const * const route = isObserved() ? simRoute(handle) : nullptr;
  if (route) Chip::tellObserver(handle, route->key());
}

}  // namespace Brindle::Sim
