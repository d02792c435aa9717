// The programmer for chips that answer at once: the way in for an agent, and its root machine.
#pragma once

#include "fabric/Fabric.h"
#include "platform/Clock.h"
#include "programmer/MrouteSm.h"
#include "programmer/VrfFollower.h"
#include "state/IntfVlanId.h"

namespace Brindle {

// Holds one MrouteSm for each VRF that has a route table. Deleting it leaves the chips as they
// stand.
class BRINDLE_API MrouteRootSm final : public VrfFollower {
 public:
  struct Inputs {
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<Fabric> fabric;
    Zet::Ptr<MrouteTableColl const> mrouteTableColl;
    Zet::Ptr<HardwareStatus> mfib;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
    // Routes that want for an output set alone are kept out of the log.
    bool noLoggingForOifFailures = false;
  };
  explicit MrouteRootSm(Inputs const &);
  // Throws RangeException if it was made with others.
  void requireSameInputs(Inputs const &) const;
  bool noLoggingForOifFailures() const { return in_.noLoggingForOifFailures; }

  auto const & mrouteSm() const { return mrouteSm_; }
  MrouteSm * mrouteSm(L3::VrfName vrf) const { return mrouteSm_.find(vrf); }

 private:
  MrouteTable const * tableOfMachine(L3::VrfName vrf) const override;
  void machineIs(L3::VrfName vrf, RouteTables const &) override;
  void machineDel(L3::VrfName vrf) override;

  Inputs const in_;
  Zet::HashMap<L3::VrfName, MrouteSm> mrouteSm_;
};

inline Zet::Ptr<MrouteRootSm> mrouteRootSmFactory(MrouteRootSm::Inputs const & in) {
  return Zet::make<MrouteRootSm>(in);
}

class BRINDLE_API MrouteProgrammer final : public Zet::Entity {
 public:
  explicit MrouteProgrammer(Zet::Name name) : name_(name) {}
  Zet::Name name() const override { return name_; }
  bool hasBackupSupport() const { return false; }

  // Gives the table a place for dirty marks, before the resolver starts.
  void initDirtyInfo(MrouteTable & mrouteTable) const;

  Zet::Ptr<MrouteRootSm> const & rootSm() const { return rootSm_; }
  // Starts programming. Throws RangeException if it runs with other inputs.
  Zet::Ptr<MrouteRootSm> rootSmIs(MrouteRootSm::Inputs const &);
  // Stops it. Chips and what is published of them stay as they stand.
  void rootSmDel() { rootSm_ = nullptr; }

 private:
  Zet::Name const name_;
  Zet::Ptr<MrouteRootSm> rootSm_;
};

BRINDLE_API Zet::Ptr<MrouteProgrammer> mrouteProgrammerFactory(Zet::Name name);

}  // namespace Brindle
