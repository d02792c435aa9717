#include "sim/BidirAgent.h"

#include "sim/Host.h"

namespace Brindle::Sim {

void BidirAgent::vrfIs(L3::VrfName vrf, bool v) {
  vrfset_->bidirEnabledVrfIs(vrf, v);
  if (v) start();
}

void BidirAgent::start() {
  if (ipv4_ || vrfset_->bidirEnabledVrf().empty() || !host_.hardware().runs()) return;
  BidirRoot::Inputs in{.vrfset = vrfset_,
                       .clock = Zet::activityManager()->clock(),
                       .intfVlanIdTable = host_.records().intfVlanIdTable};
  ipv4_ = mcastBidirRootFactory(in, host_.hardware().groupFabric());
  if (auto const fabric = host_.hardware().asyncFabric()) {
    async_ = asyncBidirDfRootFactory(in, fabric);
  }
  in.af = Nettle::ipv6();
  ipv6_ = mcastBidirRootFactory(in, host_.hardware().groupFabric());
}

void BidirAgent::stop() {
  ipv4_ = nullptr;
  ipv6_ = nullptr;
  async_ = nullptr;
}

}  // namespace Brindle::Sim
