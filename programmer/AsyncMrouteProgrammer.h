// The programmer for chips that answer later: the way in for an agent, and its root machine. A
// process has either this one or the one for chips that answer at once (MrouteProgrammer.h).
#pragma once

#include "programmer/AsyncMrouteSm.h"
#include "programmer/VrfFollower.h"

namespace Brindle {

// Holds one AsyncMrouteSm for each VRF that has a route table. After a restart the published status
// may name routes that are no more: they go from it when the tables of all VRFs have been filled.
class BRINDLE_API AsyncMrouteRootSm final : public VrfFollower {
 public:
  struct Inputs {
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<AsyncFabric> fabric;
    Zet::Ptr<MrouteTableColl const> mrouteTableColl;
    Zet::Ptr<HardwareStatus> mfib;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
    Zet::Ptr<MrouteReviewConfig> reviewConfig;
    Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntfStatus;  // may be null
    Zet::Ptr<Multicast::Group::Status> mcastGroupStatus;               // may be null
  };
  explicit AsyncMrouteRootSm(Inputs const &);
  // Throws RangeException if it was made with others.
  void requireSameInputs(Inputs const &) const;
  // Takes all routes off the chips, but for machines that are to be killed.
  void handleDel() override;
  // The same for good, also while others hold the root.
  void doStop();

  auto const & asyncMrouteSm() const { return asyncMrouteSm_; }
  AsyncMrouteSm * asyncMrouteSm(L3::VrfName vrf) const { return asyncMrouteSm_.find(vrf); }
  // Finds or makes the machine. Throws RangeException if it stands with other inputs.
  Zet::Ptr<AsyncMrouteSm> asyncMrouteSmIs(L3::VrfName vrf, AsyncMrouteSm::Inputs const &);
  // Takes its routes off the chips first.
  void asyncMrouteSmDel(L3::VrfName vrf);

  // Follows whether the table has been filled; `mrt` must not be null.
  void mrtIs(L3::VrfName vrf, Zet::Ptr<MrouteTable const> const & mrt);
  void mrtDel(L3::VrfName vrf) { mrt_.del(vrf); }
  void doMaybeReconcileMfib();

 private:
  struct ZetMrt final : Zet::KeyedReactor<L3::VrfName, MrouteTable const, AsyncMrouteRootSm> {
    using KeyedReactor::KeyedReactor;
    void onMroutesInitialized() override { sm()->doMaybeReconcileMfib(); }
    void immediatePass() override { sm()->doMaybeReconcileMfib(); }
  };

  MrouteTable const * tableOfMachine(L3::VrfName vrf) const override;
  void machineIs(L3::VrfName vrf, RouteTables const &) override;
  void machineDel(L3::VrfName vrf) override { asyncMrouteSmDel(vrf); }
  void handleTable(L3::VrfName vrf, MrouteTable * table) override;
  void handleFloodsetTable() override;

  Inputs const in_;
  Zet::HashMap<L3::VrfName, AsyncMrouteSm> asyncMrouteSm_;
  Zet::ReactorMap<L3::VrfName, ZetMrt> mrt_{this};
};

inline Zet::Ptr<AsyncMrouteRootSm> asyncMrouteRootSmFactory(AsyncMrouteRootSm::Inputs const & in) {
  return Zet::make<AsyncMrouteRootSm>(in);
}

class BRINDLE_API AsyncMrouteProgrammer final : public Zet::Entity {
 public:
  explicit AsyncMrouteProgrammer(Zet::Name name) : name_(name) {}
  Zet::Name name() const override { return name_; }
  bool hasBackupSupport() const { return false; }

  Zet::Ptr<AsyncMrouteRootSm> const & rootSm() const { return rootSm_; }
  // Starts programming, once the review is enabled. Throws RangeException if it runs with other
  // inputs.
  Zet::Ptr<AsyncMrouteRootSm> rootSmIs(AsyncMrouteRootSm::Inputs const &);
  // Stops it, and takes all routes off the chips.
  void rootSmDel();

 private:
  Zet::Name const name_;
  Zet::Ptr<AsyncMrouteRootSm> rootSm_;
};

BRINDLE_API Zet::Ptr<AsyncMrouteProgrammer> asyncMrouteProgrammerFactory(Zet::Name name);

}  // namespace Brindle
