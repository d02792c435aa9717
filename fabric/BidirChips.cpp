#include "fabric/BidirChips.h"

#include "platform/Exception.h"

namespace Brindle {

void BidirGroupChip::doAddBidirGroup(L3::VrfName, Nettle::IpGenPrefix const &) {
  Zet::throwNoImplementationException("doAddBidirGroup must be implemented in the derived class");
}

void BidirGroupChip::doDelBidirGroup(RouteHandle) {
  Zet::throwNoImplementationException("doDelBidirGroup must be implemented in the derived class");
}

void BidirGroupChip::doVerifyBidirGroup(RouteHandle, L3::VrfName, Nettle::IpGenPrefix const &) {
  Zet::throwNoImplementationException(
      "doVerifyBidirGroup must be implemented in the derived class");
}

void BidirDfChip::doAddDfProfile(Bridging::VlanIdOrNone, U64) {
  Zet::throwNoImplementationException("doAddDfProfile must be implemented in the derived class");
}

void BidirDfChip::doDelDfProfile(Bridging::VlanIdOrNone) {
  Zet::throwNoImplementationException("doDelDfProfile must be implemented in the derived class");
}

void BidirDfChip::doVerifyDfProfile(Bridging::VlanIdOrNone, U64) {
  Zet::throwNoImplementationException("doVerifyDfProfile must be implemented in the derived class");
}

}  // namespace Brindle
