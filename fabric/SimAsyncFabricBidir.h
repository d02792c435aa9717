// The part of SimAsyncFabric for bidirectional PIM (RFC 5015): chips in memory that know profiles
// of the designated forwarder. They end their transactions before they give them out.
#pragma once

#include "fabric/SimAsyncFabric.h"
#include "platform/RbTreeMap.h"

namespace Brindle {

class BRINDLE_API SimAsyncBidirDfChip : public AsyncBidirDfChip {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimAsyncBidirDfChip, AsyncBidirDfChip> {};
  using AsyncBidirDfChip::AsyncBidirDfChip;

  // The size of the table.
  U32 dfTblSize() const { return dfTblSize_; }
  void dfTblSizeIs(U32 v) { dfTblSize_ = v; }
  // The VLANs that have a profile.
  auto const & dfProfile() const { return dfProfile_; }
  bool dfProfile(Bridging::VlanIdOrNone k) const { return dfProfile_.contains(k); }
  U32 dfProfiles() const { return dfProfile_.size(); }
  // The reason that is given for every failure.
  BidirDfFailureReason defaultXactFailureReason() const { return defaultXactFailureReason_; }
  void defaultXactFailureReasonIs(BidirDfFailureReason v) { defaultXactFailureReason_ = v; }
  // The transaction of a VLAN; null if there is none.
  auto const & dfAllocXact() const { return dfAllocXact_; }
  Zet::Ptr<Keel::Xact> dfAllocXact(U32 vlan) const {
    auto const * const held = dfAllocXact_.find(vlan);
    return held ? *held : nullptr;
  }

  // A full table also refuses a VLAN that has a profile.
  XactPtr doAddDfProfile(Bridging::VlanIdOrNone, RpaBitmap, XactPtr const & blockingXact) override;
  void doDelDfProfile(Bridging::VlanIdOrNone) override;
  void doVerifyDfProfile(Bridging::VlanIdOrNone, RpaBitmap) override;
  BidirDfFailureReason doGetBidirDfXactFailureReason(XactPtr const &) override {
    return defaultXactFailureReason_;
  }

 protected:
  // Does what a transaction is for, and ends it; it fails if it is to, or if there is no room. A
  // chip that takes its time calls it later.
  void doEnd(Bridging::VlanIdOrNone, Zet::Ptr<Keel::Xact> const &,
             Keel::XactResult = Keel::XactResult::success);
  // Begins the one of a VLAN.
  Zet::Ptr<Keel::Xact> dfAllocXactIs(Bridging::VlanIdOrNone);

 private:
  U32 dfTblSize_ = 2;
  BidirDfFailureReason defaultXactFailureReason_{BidirDfFailureReason::blockedBit};
  Zet::OrderedSet<Bridging::VlanIdOrNone> dfProfile_;
  Zet::RbTreeMap<U32, Zet::Ptr<Keel::Xact>> dfAllocXact_;
};

class BRINDLE_API SimAsyncFabricBidir : public SimAsyncFabric {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimAsyncFabricBidir, SimAsyncFabric> {};
  using SimAsyncFabric::SimAsyncFabric;

  // The simulated chip of this name; null if there is none.
  SimAsyncBidirDfChip * bidirDfChip(Zet::Name) const;
  using AsyncFabric::bidirDfChip;
  // Finds or makes a chip. Throws RangeException if it stands with another index.
  Zet::Ptr<SimAsyncBidirDfChip> bidirDfChipIs(Zet::Name name, U32 index);
  using AsyncFabric::bidirDfChipIs;
};

inline Zet::Ptr<SimAsyncFabricBidir> simAsyncFabricBidirFactory(Zet::Name name) {
  return Zet::make<SimAsyncFabricBidir>(name);
}

}  // namespace Brindle
