// For which rendezvous points the switch is designated forwarder (RFC 5015) on the interfaces of
// one VRF, in chips that answer later. What is not known to stand in all chips is looked at once a
// second, and tried again.
#pragma once

#include "bidir/ZetDfProfileInfo.h"
#include "fabric/AsyncFabric.h"
#include "model/LastInternalVlans.h"
#include "platform/Clock.h"
#include "state/ShoalBidir.h"

namespace Brindle {

class BRINDLE_API AsyncBidirDfSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using BidirStatus = Shoal::Multicast::Fib::BidirStatus;
  using IntfId = Nettle::IntfId;

  // A profile that is not, or not known to be, in all chips. Its text form names it by its
  // interface.
  struct FailedDfProfile {
    IntfId intf;
    Zet::Ptr<ZetDfProfileInfo> dfProfileInfo;

    bool operator==(FailedDfProfile const &) const = default;
    static constexpr char const * zetType = "Brindle::AsyncBidirDfSm::FailedDfProfile";
  };

  AsyncBidirDfSm(L3::VrfName vrfName, Zet::Ptr<BidirStatus const> const & bidirStatus,
                 Zet::Ptr<AsyncFabric> const & fabric, Zet::Ptr<Zet::Clock const> const & clock,
                 Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable);
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName const & fwkKey() const { return vrfName_; }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<BidirStatus const> bidirStatus() const { return zetBidirStatus_.target(); }
  Zet::Ptr<AsyncFabric> const & fabric() const { return fabric_; }
  Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable() const { return intfVlanIdTable_; }
  bool initialized() const { return initialized_; }
  void handleDel() override;

  // Profiles, by interface, and those that are to be looked at again.
  auto const & dfProfileInfo() const { return dfProfileInfo_; }
  ZetDfProfileInfo * dfProfileInfo(IntfId k) const { return dfProfileInfo_.find(k); }
  auto const & failedDfProfile() const { return failedDfProfile_; }
  void failedDfProfileIs(FailedDfProfile const & v) { failedDfProfile_.at(v.intf) = v; }
  void failedDfProfileDel(IntfId k) { failedDfProfile_.del(k); }
  // The internal VLANs that profiles stand with.
  auto const & internalVlanId() const { return lastVlans_.internalVlanId(); }

  // An interface's profile has come, gone or changed; any may have.
  void updateDfProfileInfo(IntfId intfId);
  void updateDfProfileInfo();
  void handleInternalVlanId(IntfId intfId);

  // Seconds between two looks at what failed. What fails for the first time is tried again at once.
  double reviewTime() const { return reviewTime_; }
  void reviewTimeIs(double v) { reviewTime_ = v; }
  void doReview();
  // The retry pass.
  void handleClock();

 private:
  struct ZetBidirStatus final : Zet::Reactor<BidirStatus const, AsyncBidirDfSm> {
    using Reactor::Reactor;
    void onDfProfile(IntfId const & intf) override { sm()->updateDfProfileInfo(intf); }
  };
  struct ZetFabric final : Zet::Reactor<AsyncFabric, AsyncBidirDfSm> {
    using Reactor::Reactor;
    void onBidirDfChip(Zet::Name const & chip) override { sm()->handleChip(chip); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, AsyncBidirDfSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, AsyncBidirDfSm> {
    using Reactor::Reactor;
    void onInternalVlanId(IntfId const & intf) override { sm()->handleInternalVlanId(intf); }
  };

  void handleInitialized();
  void handleChip(Zet::Name name);
  void doRetry(ZetDfProfileInfo & profile);

  // Fixed at construction
  L3::VrfName const vrfName_;
  Zet::Ptr<AsyncFabric> const fabric_;
  Zet::Ptr<IntfVlanId::Table const> const intfVlanIdTable_;

  // State
  bool initialized_ = false;
  double reviewTime_ = 1.0;
  Zet::Seconds lastRetry_ = -Zet::Clock::never;
  Zet::HashMap<IntfId, ZetDfProfileInfo> dfProfileInfo_;
  Zet::RbTreeMap<IntfId, FailedDfProfile> failedDfProfile_;
  LastInternalVlans lastVlans_;

  // Reactors
  Zet::ReactorPtr<ZetBidirStatus> zetBidirStatus_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
};

BRINDLE_API void valueToStrep(std::string & out, AsyncBidirDfSm::FailedDfProfile const & v);

}  // namespace Brindle
