// The agent of bidirectional PIM (RFC 5015): the VRFs that have it on, and the library's machines
// that put into the chips what the protocols publish of these.
#pragma once

#include "bidir/AsyncBidirDfRoot.h"
#include "bidir/McastBidirRoot.h"

namespace Brindle::Sim {

class Host;

class BidirAgent {
 public:
  explicit BidirAgent(Host & host) : host_(host) {}

  void vrfIs(L3::VrfName vrf, bool v);
  auto const & vrfs() const { return vrfset_->bidirEnabledVrf(); }
  // Runs the machines once a VRF has it on. Their end leaves the chips as they are.
  void start();
  void stop();

  // The machines of an address family; null where they do not run.
  McastBidirRoot const * root(Nettle::AddressFamily af) const {
    return (af == Nettle::ipv4() ? ipv4_ : ipv6_).get();
  }
  AsyncBidirDfRoot const * async() const { return async_.get(); }

 private:
  Host & host_;
  Zet::Ptr<BidirRoot::VrfSet> const vrfset_ = Zet::make<BidirRoot::VrfSet>();
  Zet::Ptr<McastBidirRoot> ipv4_;
  Zet::Ptr<McastBidirRoot> ipv6_;
  Zet::Ptr<AsyncBidirDfRoot> async_;
};

}  // namespace Brindle::Sim
