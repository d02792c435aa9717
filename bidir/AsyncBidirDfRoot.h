// Bidirectional PIM (RFC 5015) in chips that answer later: for each VRF that has it on, on which
// VLANs the switch is designated forwarder for which rendezvous points, for IPv4 alone. Group
// prefixes are McastBidirRoot's.
#pragma once

#include "bidir/AsyncBidirDfSm.h"
#include "bidir/BidirRoot.h"

namespace Brindle {

class BRINDLE_API AsyncBidirDfRoot final : public BidirRoot {
 public:
  // The address family of the inputs does not count. Throws ShoalError if the system does not let
  // it watch files.
  AsyncBidirDfRoot(Inputs const & in, Zet::Ptr<AsyncFabric> const & fabric);
  Zet::Name name() const override { return "asyncBidirDfRoot"; }

  // The machines, by VRF.
  auto const & asyncBidirDfSm() const { return asyncBidirDfSm_; }
  AsyncBidirDfSm * asyncBidirDfSm(L3::VrfName k) const { return asyncBidirDfSm_.find(k); }

 private:
  bool doHas(L3::VrfName vrf) const override { return asyncBidirDfSm_.contains(vrf); }
  void doMake(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) override;
  void doDelete(L3::VrfName vrf) override;

  // Fixed at construction
  Zet::Ptr<AsyncFabric> const fabric_;

  // State
  Zet::HashMap<L3::VrfName, AsyncBidirDfSm> asyncBidirDfSm_;
};

inline Zet::Ptr<AsyncBidirDfRoot> asyncBidirDfRootFactory(AsyncBidirDfRoot::Inputs const & in,
                                                          Zet::Ptr<AsyncFabric> const & fabric) {
  return Zet::make<AsyncBidirDfRoot>(in, fabric);
}

}  // namespace Brindle
