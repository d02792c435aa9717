// For which rendezvous points the switch is designated forwarder (RFC 5015) on the interfaces of
// one VRF, in chips that answer at once: a profile on the interface's VLAN, in all chips or in
// none. One that a chip had no room for is kept, and tried again when a chip says that it has room;
// one of an interface without a VLAN waits for that. The end of the machine takes nothing out of
// the chips.
#pragma once

#include "fabric/Fabric.h"
#include "model/LastInternalVlans.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "state/ShoalBidir.h"

namespace Brindle {

class BRINDLE_API BidirDfSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using BidirStatus = Shoal::Multicast::Fib::BidirStatus;
  using IntfId = Nettle::IntfId;
  using VlanIdOrNone = Bridging::VlanIdOrNone;

  BidirDfSm(L3::VrfName vrfName, Zet::Ptr<BidirStatus const> const & bidirStatus,
            Zet::Ptr<Fabric> const & fabric, Zet::Ptr<Zet::Clock const> const & clock,
            Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable);
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName const & fwkKey() const { return vrfName_; }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<BidirStatus const> bidirStatus() const { return zetBidirStatus_.target(); }
  bool initialized() const { return initialized_; }

  // What waits for room, and the internal VLANs that profiles stand with.
  auto const & unprogrammedDf() const { return unprogrammedDf_; }
  void unprogrammedDfIs(IntfId k, bool v) {
    v ? unprogrammedDf_.insert(k) : unprogrammedDf_.del(k);
  }
  void unprogrammedDfDel(IntfId k) { unprogrammedDf_.del(k); }
  auto const & internalVlanId() const { return lastVlans_.internalVlanId(); }

  // An interface's profile has come, gone or changed; any may have.
  void handleDfProfile(IntfId intfId);
  void handleDfProfile();
  // False if a chip had no room: none has the profile then.
  bool addDfProfile(VlanIdOrNone vlan, U64 bitmap);
  void delDfProfile(VlanIdOrNone vlan);
  // Has the chips check what they hold.
  void verifyDfProfile(IntfId intfId);
  void handleInternalVlanId(IntfId intfId);

  void handleDfTblFree();
  // The retry pass.
  void handleClock();

 private:
  struct ZetBidirStatus final : Zet::Reactor<BidirStatus const, BidirDfSm> {
    using Reactor::Reactor;
    void onDfProfile(IntfId const & intf) override { sm()->handleDfProfile(intf); }
  };
  struct ZetFabric final : Zet::Reactor<Fabric, BidirDfSm> {
    using Reactor::Reactor;
    void onBidirDfChip(Zet::Name const & chip) override { sm()->handleChip(chip); }
    void immediatePass() override { sm()->handleChip(); }
  };
  struct ZetChip final : Zet::KeyedReactor<Zet::Name, BidirDfChip, BidirDfSm> {
    using KeyedReactor::KeyedReactor;
    void onDfProfileTblFree() override { handleDfTblFree(); }
    void handleDfTblFree() { sm()->handleDfTblFree(); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, BidirDfSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, BidirDfSm> {
    using Reactor::Reactor;
    void onInternalVlanId(IntfId const & intf) override { sm()->handleInternalVlanId(intf); }
  };

  void handleInitialized();
  bool isConcerned(IntfId intfId) const;
  void addStandingTo(Zet::Ptr<BidirDfChip> const & chip);
  void handleChip(Zet::Name name);
  void handleChip();

  // Fixed at construction
  L3::VrfName const vrfName_;
  Zet::Ptr<Fabric> const fabric_;
  Zet::Ptr<IntfVlanId::Table const> const intfVlanIdTable_;

  // State
  bool initialized_ = false;
  Zet::OrderedSet<IntfId> unprogrammedDf_;
  LastInternalVlans lastVlans_;

  // Reactors
  Zet::ReactorPtr<ZetBidirStatus> zetBidirStatus_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorMap<Zet::Name, ZetChip> zetChip_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
};

}  // namespace Brindle
