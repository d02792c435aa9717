// The chips of the simulated switch: simulated chips that also fail when told to.
#pragma once

#include "fabric/SimFabric.h"

namespace Brindle::Sim {

class Chip final : public SimSwitchChip {
 public:
  static constexpr U32 defaultRoutes = 1000;
  static constexpr U32 defaultOutputs = 4000;
  using SimSwitchChip::SimSwitchChip;

  // Hears of each entry after it has come, changed or gone.
  class Observer {
   public:
    virtual void onEntry(Chip const & chip, RouteHandle handle, SimRouteKey const & key) = 0;

   protected:
    ~Observer() = default;
  };
  // Null for nobody.
  void observerIs(Observer * v) { observer_ = v; }

  // So many of the next requests fail as if the table were full.
  void refuseRoutesIs(U32 n) { refuseRoutes_ = n; }
  void refuseSetsIs(U32 n) { refuseSets_ = n; }

  // Routes in use, and outputs in use of all sets.
  U32 routesInUse() const { return simRoute().size(); }
  U32 outputsInUse() const { return pvTotal() - pvNumFree(); }
  // Capacities. Throw CommandError below what is in use. More room is announced.
  void routeCapacityIs(U32 n);
  void outputCapacityIs(U32 n);
  // Says that there is room where there is some, as after a refusal that was no lack of it.
  void announceRoom();

  void doAllocateMtableOifSet(Zet::Ptr<OifSet const> const & oifSet) override;
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                       bool bridgeAction, Zet::Ptr<MtableOifSet> const & set, bool fastdrop,
                       bool noRpf, RpaIndex rpaId, L3::VrfName vrf) override;
  void doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &) override;
  void doActivateRoute(RouteHandle) override;
  void doDeleteRoute(RouteHandle) override;

 private:
  void tellObserver(RouteHandle handle) const;

  Observer * observer_ = nullptr;
  U32 refuseRoutes_ = 0;
  U32 refuseSets_ = 0;
};

}  // namespace Brindle::Sim
