// Chips in memory that know bidirectional PIM (RFC 5015), beside those of SimFabric: counted tables
// of group prefixes and of profiles of the designated forwarder.
#pragma once

#include "fabric/SimFabric.h"
#include "platform/VlanId.h"

namespace Brindle {

// A table of group prefixes. It has no room until somebody sets it up.
class BRINDLE_API SimBidirGroupChip : public BidirGroupChip {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimBidirGroupChip, BidirGroupChip> {};
  using BidirGroupChip::BidirGroupChip;

  // The size of the table.
  U32 total() const { return total_; }
  void totalIs(U32 v) { total_ = v; }
  // The entries in use.
  auto const & handle() const { return handle_; }
  bool handle(RouteHandle k) const { return handle_.contains(k); }
  U32 handles() const { return handle_.size(); }
  // The last one given out; the next one is one more.
  U32 nextHandle() const { return nextHandle_; }

  void doAddBidirGroup(L3::VrfName, Nettle::IpGenPrefix const &) override;
  void doDelBidirGroup(RouteHandle) override;
  void doVerifyBidirGroup(RouteHandle, L3::VrfName, Nettle::IpGenPrefix const &) override;

 private:
  U32 total_ = 0;
  U32 nextHandle_ = 0;
  Zet::OrderedSet<RouteHandle> handle_;
};

// A table of profiles, one to a VLAN.
class BRINDLE_API SimBidirDfChip : public BidirDfChip {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimBidirDfChip, BidirDfChip> {};
  using BidirDfChip::BidirDfChip;

  // The size of the table.
  U32 dfTblSize() const { return dfTblSize_; }
  void dfTblSizeIs(U32 v) { dfTblSize_ = v; }
  // The VLANs that have a profile.
  auto const & dfProfile() const { return dfProfile_; }
  bool dfProfile(Bridging::VlanIdOrNone k) const { return dfProfile_.contains(k); }
  U32 dfProfiles() const { return dfProfile_.size(); }

  // A full table also refuses a VLAN that has a profile.
  void doAddDfProfile(Bridging::VlanIdOrNone, U64 bitmap) override;
  void doDelDfProfile(Bridging::VlanIdOrNone) override;
  void doVerifyDfProfile(Bridging::VlanIdOrNone, U64 bitmap) override;

 private:
  U32 dfTblSize_ = 32;
  Zet::OrderedSet<Bridging::VlanIdOrNone> dfProfile_;
};

class BRINDLE_API SimFabricBidir : public SimFabric {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SimFabricBidir, SimFabric> {};
  using SimFabric::SimFabric;

  // The simulated chip of this name; null if there is none.
  SimBidirGroupChip * bidirGroupChip(Zet::Name) const;
  using Fabric::bidirGroupChip;
  SimBidirDfChip * bidirDfChip(Zet::Name) const;
  using Fabric::bidirDfChip;
  // Finds or makes a chip. Throws RangeException if it stands with another index.
  Zet::Ptr<SimBidirGroupChip> bidirGroupChipIs(Zet::Name name, U32 index);
  using Fabric::bidirGroupChipIs;
  Zet::Ptr<SimBidirDfChip> bidirDfChipIs(Zet::Name name, U32 index);
  using Fabric::bidirDfChipIs;
};

inline Zet::Ptr<SimFabricBidir> simFabricBidirFactory(Zet::Name name) {
  return Zet::make<SimFabricBidir>(name);
}

}  // namespace Brindle
