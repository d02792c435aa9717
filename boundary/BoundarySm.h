// Multicast boundaries on chips that deny by their TCAM.
//
// A boundary is a list of group prefixes that must not cross an interface. For each interface that
// has one and a VLAN, a BoundaryIntfSm keeps the denying entries in the chips; this machine makes
// and unmakes those as boundaries and VLANs change, and tries again what the chips had no room for.
// Its end takes all entries out.
//
// Which boundaries a chip can hold, and whether this machine runs at all, BoundaryConfigSm decides.
#pragma once

#include "boundary/BoundaryIntfSm.h"
#include "boundary/BoundarySmBase.h"

namespace Brindle {

class BRINDLE_API BoundarySm final : public BoundarySmBase {
 public:
  using PimIntfStatus = Routing::Multicast::Fib::PimIntf::Status;
  struct Inputs {
    Zet::Ptr<MfibStatus const> mfibStatus;
    Zet::Ptr<PimIntfStatus const> prefixMrouteStatus;
    Zet::Ptr<Fabric> fabric;
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
  };
  explicit BoundarySm(Inputs const &);
  Inputs const & inputs() const { return in_; }

  // Interfaces, by their name
  auto const & intfSm() const { return intfSm_; }
  BoundaryIntfSm * intfSm(Zet::String const & name) const { return intfSm_.find(name); }
  // Its connected subnets have become known, or are no longer.
  void handleIntfStatus(Nettle::IntfId intf);

  // Chips. Null throws RangeException.
  void chipIs(Zet::Ptr<SwitchChip> const & chip);
  void chipDel(Zet::Name name);

  // Interfaces with an entry that a chip had no room for. The retry adds groups that have nothing
  // at all; an entry that a group lacks beside others comes with its subnet.
  auto const & unprogrammedIntf() const { return unprogrammedIntf_; }
  void unprogrammedIntfIs(Zet::String const & name, bool v) {
    v ? unprogrammedIntf_.insert(name) : unprogrammedIntf_.del(name);
  }
  void handleTcamFree();
  // The retry pass.
  void handleClock();

 private:
  struct ZetPrefixMrouteStatus final : Zet::Reactor<PimIntfStatus const, BoundarySm> {
    using Reactor::Reactor;
    void onIntfStatus(Nettle::IntfId const & intf) override { sm()->handleIntfStatus(intf); }
  };
  struct ZetFabric final : Zet::Reactor<Fabric, BoundarySm> {
    using Reactor::Reactor;
    void onChip(Zet::Name const & chip) override { sm()->handleChip(chip); }
    void immediatePass() override { sm()->handleChip(); }
  };
  struct ZetChip final : Zet::KeyedReactor<Zet::Name, SwitchChip, BoundarySm> {
    using KeyedReactor::KeyedReactor;
    void onBoundaryTcamFree() override { sm()->handleTcamFree(); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, BoundarySm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };

  void doMakeIntf(Nettle::IntfId intf, Bridging::VlanId vlan,
                  Zet::Ptr<IntfBoundaryStatus const> const & status) override;
  void doDeleteIntf(Nettle::IntfId intf) override { intfSmDel(intfSm_, Zet::String(intf.view())); }
  void doDeleteIntfs() override {
    for (auto i = intfSm_.begin(); i; i.advance()) intfSmDel(intfSm_, i.key());
  }
  void handleChip(Zet::Name chip);
  void handleChip();

  // Fixed at construction
  Inputs const in_;

  // State
  Zet::HashMap<Zet::String, BoundaryIntfSm> intfSm_;
  Zet::OrderedSet<Zet::String> unprogrammedIntf_;

  // Reactors
  Zet::ReactorPtr<ZetPrefixMrouteStatus> zetPrefixMrouteStatus_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorMap<Zet::Name, ZetChip> chip_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
};

inline Zet::Ptr<BoundarySm> boundarySmFactory(BoundarySm::Inputs const & in) {
  return Zet::make<BoundarySm>(in);
}

}  // namespace Brindle
