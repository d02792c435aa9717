#include "fabric/AsyncBidirDfChip.h"

#include "platform/Exception.h"

namespace Brindle {

namespace {

struct Flag {
  U32 bit;
  char const * text;
};
constexpr Flag flags[] = {
    {BidirDfFailureReason::bidirDfHwFullBit, " BidirDfHwFull"},
    {BidirDfFailureReason::noFeCardBit, " NoFeCard"},
    {BidirDfFailureReason::badAddrBit, " BadAddr"},
    {BidirDfFailureReason::blockedBit, " BlockedTemporarily"},
    {BidirDfFailureReason::timeoutBit, " TimedOut"},
    {BidirDfFailureReason::notInitedBit, " NotInitialized"},
    {BidirDfFailureReason::inProgressBit, " InProgress"},
};

}  // namespace

std::string BidirDfFailureReason::pretty() const {
  std::string text;
  for (Flag const & flag : flags) {
    if (value & flag.bit) text += flag.text;
  }
  return text;
}

AsyncBidirDfChip::XactPtr AsyncBidirDfChip::doAddDfProfile(Bridging::VlanIdOrNone, RpaBitmap,
                                                           XactPtr const &) {
  Zet::throwNoImplementationException("doAddDfProfile must be implemented in the derived class");
}

void AsyncBidirDfChip::doDelDfProfile(Bridging::VlanIdOrNone) {
  Zet::throwNoImplementationException("doDelDfProfile must be implemented in the derived class");
}

void AsyncBidirDfChip::doVerifyDfProfile(Bridging::VlanIdOrNone, RpaBitmap) {
  Zet::throwNoImplementationException("doVerifyDfProfile must be implemented in the derived class");
}

BidirDfFailureReason AsyncBidirDfChip::doGetBidirDfXactFailureReason(XactPtr const &) {
  Zet::throwNoImplementationException(
      "doGetBidirDfXactFailureReason must be implemented in the derived class");
}

}  // namespace Brindle
