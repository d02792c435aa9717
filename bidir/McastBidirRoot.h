// Bidirectional PIM (RFC 5015) in the chips: for each VRF that has it on, its group prefixes and,
// in chips that answer at once, on which VLANs the switch is designated forwarder for which
// rendezvous points.
//
// The agent makes one for each address family, on the fabric whose group chips are to be used; that
// is a Fabric also where the other chips answer later.
#pragma once

#include "bidir/BidirDfSm.h"
#include "bidir/BidirRoot.h"
#include "bidir/McastGroupBidirSm.h"

namespace Brindle {

class BRINDLE_API McastBidirRoot final : public BidirRoot {
 public:
  // Throws ShoalError if the system does not let it watch files.
  McastBidirRoot(Inputs const & in, Zet::Ptr<Fabric> const & fabric);
  Zet::Name name() const override { return "mcastBidirRoot"; }

  // The machines, by VRF.
  auto const & mcastGroupBidirSm() const { return mcastGroupBidirSm_; }
  McastGroupBidirSm * mcastGroupBidirSm(L3::VrfName k) const { return mcastGroupBidirSm_.find(k); }
  auto const & bidirDfSm() const { return bidirDfSm_; }
  BidirDfSm * bidirDfSm(L3::VrfName k) const { return bidirDfSm_.find(k); }

 private:
  bool doHas(L3::VrfName vrf) const override { return mcastGroupBidirSm_.contains(vrf); }
  void doMake(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) override;
  void doDelete(L3::VrfName vrf) override;
  void mcastGroupBidirSmIs(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status);
  void mcastGroupBidirSmDel(L3::VrfName vrf) { smDel(mcastGroupBidirSm_, vrf); }
  void bidirDfSmIs(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status);
  void bidirDfSmDel(L3::VrfName vrf) { smDel(bidirDfSm_, vrf); }

  // Fixed at construction
  Zet::Ptr<Fabric> const fabric_;

  // State
  Zet::HashMap<L3::VrfName, McastGroupBidirSm> mcastGroupBidirSm_;
  Zet::HashMap<L3::VrfName, BidirDfSm> bidirDfSm_;
};

inline Zet::Ptr<McastBidirRoot> mcastBidirRootFactory(McastBidirRoot::Inputs const & in,
                                                      Zet::Ptr<Fabric> const & fabric) {
  return Zet::make<McastBidirRoot>(in, fabric);
}

}  // namespace Brindle
