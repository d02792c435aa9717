// The chips that answer at once: simulated chips that also fail when told to.
#pragma once

#include "sim/Chip.h"

namespace Brindle::Sim {

class SyncChip final : public SimSwitchChip, public Chip {
 public:
  SyncChip(Zet::Name name, U32 index)
      : SimSwitchChip(name, index),
        Chip(name, index),
        profileTable_(Zet::make<PromptProfileTable>(name, index)) {}

  Zet::Name name() const override { return SimSwitchChip::name(); }
  U32 index() const override { return SimSwitchChip::index(); }

  Zet::OrderedSet<Nettle::IntfId> const & ports() const override { return port(); }
  void portIs(Nettle::IntfId port, bool v) override { SimSwitchChip::portIs(port, v); }

  // Sets count by their outputs. More room is announced.
  U32 routesInUse() const override { return simRoute().size(); }
  U32 setsInUse() const override { return pvTotal() - pvNumFree(); }
  char const * setUnit() const override { return "outputs"; }
  U32 routeCapacity() const override { return routeTotal(); }
  U32 setCapacity() const override { return pvTotal(); }
  bool hasRouteRoom() const override { return mrouteTcamFree(); }
  bool hasSetRoom() const override { return mtableFree(); }
  // Throw CommandError below what is in use.
  void routeCapacityIs(U32 n) override;
  void setCapacityIs(U32 n) override;
  void announceRoom() override;
  void kick() override { mrouteReviewKickIs(mrouteReviewKick() + 1); }
  void clear() override;
  Zet::Ptr<PromptProfileTable> const & profileTable() const { return profileTable_; }
  ProfileTable & profiles() const override { return *profileTable_; }

  void doAllocateMtableOifSet(Zet::Ptr<OifSet const> const & oifSet) override;
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                       bool bridgeAction, Zet::Ptr<MtableOifSet> const & set, bool fastdrop,
                       bool noRpf, RpaIndex rpaId, L3::VrfName vrf) override;
  void doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &) override;
  void doActivateRoute(RouteHandle) override;
  void doDeleteRoute(RouteHandle) override;

 private:
  std::vector<Chip::Entry> written() const override;
  std::optional<Chip::Entry> written(RouteHandle) const override;
  void tellObserver(RouteHandle handle) const;

  Zet::Ptr<PromptProfileTable> const profileTable_;
};

}  // namespace Brindle::Sim
