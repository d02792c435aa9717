// A simulated chip that refuses on demand, tells in which order it was called, and minds that no
// entry points at a set which nobody holds.
#pragma once

#include <string>
#include <vector>

#include "fabric/SimFabric.h"

class FaultyChip final : public Brindle::SimSwitchChip {
 public:
  using Route = SimSwitchChip::Route;
  using Handle = Brindle::RouteHandle;
  using Set = Zet::Ptr<Brindle::MtableOifSet>;
  using SimSwitchChip::SimSwitchChip;

  // Refusals: all, or the n-th from now on, 1 being the next.
  bool refuseSets = false;
  bool refuseRoutes = false;
  U32 refuseSetIn = 0;
  U32 refuseRouteIn = 0;
  // Shared by chips: the n-th request for a set or an entry on any of them is refused.
  U32 * refuseStepIn = nullptr;
  // The handle of the youngest entry is given out again after it has gone.
  bool reusesHandles = false;

  // Where calls are told, as "A set", "A route 10", "A point 1", "A activate 1", "A delete 1", "A
  // batch"; entries are named by handle.
  std::vector<std::string> * calls = nullptr;
  // How often a set had nobody who held it but the entry that pointed at it.
  U32 orphans = 0;

  // Ends all refusals, and says that there is room.
  void roomIs() {
    refuseSets = refuseRoutes = false;
    refuseSetIn = refuseRouteIn = 0;
    mtableFreeIs(true);
    mrouteTcamFreeIs(true);
    boundaryTcamFreeIs(true);
  }

  void doAllocateMtableOifSet(Zet::Ptr<Brindle::OifSet const> const & oifSet) override {
    tell("set");
    if (!isRefused(refuseSets, refuseSetIn)) return SimSwitchChip::doAllocateMtableOifSet(oifSet);
    mtableOifSetIs(nullptr);
    mtableFreeIs(false);
  }
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone vlan, bool bridgeAction,
                       Set const & set, bool fastdrop, bool noRpf, RpaIndex rpaId,
                       L3::VrfName vrf) override {
    tell("route", vlan.value());
    if (!isRefused(refuseRoutes, refuseRouteIn)) {
      return SimSwitchChip::doAllocateRoute(sg, vlan, bridgeAction, set, fastdrop, noRpf, rpaId,
                                            vrf);
    }
    routeHandleIs(Handle());
    mrouteTcamFreeIs(false);
    boundaryTcamFreeIs(false);
  }
  void doSetMtableOifSet(Handle handle, Set const & set) override {
    tell("point", handle.value);
    lookForOrphan(handle);
    SimSwitchChip::doSetMtableOifSet(handle, set);
  }
  void doActivateRoute(Handle handle) override {
    tell("activate", handle.value);
    SimSwitchChip::doActivateRoute(handle);
  }
  void doDeleteRoute(Handle handle) override {
    tell("delete", handle.value);
    lookForOrphan(handle);
    bool const youngest = simRoute(handle) && handle.value == nextRoute();
    SimSwitchChip::doDeleteRoute(handle);
    if (reusesHandles && youngest) nextRouteInc(~0u);
  }
  void doCommitRouteBatch() override { tell("batch"); }

 private:
  bool isRefused(bool always, U32 & countdown) {
    bool const isStep = refuseStepIn && *refuseStepIn != 0 && --*refuseStepIn == 0;
    return (countdown != 0 && --countdown == 0) || isStep || always;
  }
  void tell(std::string call) {
    if (calls) calls->push_back(std::string(name().view()) + " " + call);
  }
  void tell(std::string call, U32 n) { tell(call + " " + std::to_string(n)); }
  void lookForOrphan(Handle handle) {
    Route const * route = simRoute(handle);
    if (route && route->simMtableOifSet() && route->simMtableOifSet()->references() < 2) ++orphans;
  }
};
