// Where VRFs come and go: what the root of a programmer does with them.
#pragma once

#include "model/MrouteTableColl.h"
#include "platform/Reactor.h"
#include "programmer/RouteTables.h"
#include "state/HardwareStatus.h"

namespace Brindle {

// Base of the programmers' roots. Keeps one machine for each VRF as long as the VRF's route table
// stands, and the VRF's place in the published hardware status in step with it.
class BRINDLE_API VrfFollower : public Zet::Sm {
 public:
  using HardwareStatus = Routing::Multicast::Fib::Hardware::Status;

  Zet::Ptr<MrouteTableColl const> const & mrouteTableColl() const { return mrouteTableColl_; }
  Zet::Ptr<HardwareStatus> const & mfib() const { return mfib_; }

  void handleVrf(L3::VrfName vrf);
  void handleVrf();

 protected:
  VrfFollower(Zet::Ptr<MrouteTableColl const> const & coll, Zet::Ptr<HardwareStatus> const & mfib)
      : mrouteTableColl_(coll),
        mfib_(mfib) {}
  // Makes the machines of the tables that stand, and follows those that come and go.
  void doFollow() {
    mfib_->hwResourceFullIs(false);  // who said so before a restart will not take it back
    zetMrouteTableColl_.attach(mrouteTableColl_);
  }

  // The route table that the VRF's machine works on; null if there is no machine.
  virtual MrouteTable const * tableOfMachine(L3::VrfName vrf) const = 0;
  virtual void machineIs(L3::VrfName vrf, RouteTables const &) = 0;
  virtual void machineDel(L3::VrfName vrf) = 0;
  // After the machine of the VRF has come or gone; after the table of L2 routes has.
  virtual void handleTable(L3::VrfName, MrouteTable *) {}
  virtual void handleFloodsetTable() {}

 private:
  struct ZetMrouteTableColl final : Zet::Reactor<MrouteTableColl const, VrfFollower> {
    using Reactor::Reactor;
    void onVrfMrouteTable(L3::VrfName const & vrf) override { sm()->handleVrf(vrf); }
    void onL2FloodsetTable() override { sm()->handleFloodsetTable(); }
    void immediatePass() override { sm()->handleVrf(); }
  };

  Zet::Ptr<MrouteTableColl const> const mrouteTableColl_;
  Zet::Ptr<HardwareStatus> const mfib_;
  Zet::ReactorPtr<ZetMrouteTableColl> zetMrouteTableColl_{this};
};

}  // namespace Brindle
