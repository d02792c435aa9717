// The part of a chip that answers later which knows for what rendezvous points the switch is
// designated forwarder (RFC 5015): a platform derives from it.
#pragma once

#include "fabric/SwitchChip.h"
#include "platform/Xact.h"

namespace Brindle {

using Zet::operator<<;

// A bit for each index of a rendezvous point.
struct RpaBitmap {
  U64 bitmap = 0;

  bool operator==(RpaBitmap const &) const = default;

  static constexpr char const * zetType = "Brindle::RpaBitmap";
  static constexpr auto zetFields() { return std::array{Zet::field<&RpaBitmap::bitmap>("bitmap")}; }
};

// Why a profile is not in hardware: a mask; 0 is no failure.
struct BRINDLE_API BidirDfFailureReason {
  U32 value = 0;

  static constexpr U32 bidirDfHwFullBit = 1;
  static constexpr U32 noFeCardBit = 2;
  static constexpr U32 badAddrBit = 4;
  static constexpr U32 blockedBit = 8;
  static constexpr U32 timeoutBit = 16;
  static constexpr U32 notInitedBit = 32;
  static constexpr U32 inProgressBit = 64;

  constexpr bool bidirDfHwFull() const { return value & bidirDfHwFullBit; }
  constexpr bool noFeCard() const { return value & noFeCardBit; }
  constexpr bool badAddr() const { return value & badAddrBit; }
  constexpr bool blocked() const { return value & blockedBit; }
  constexpr bool timeout() const { return value & timeoutBit; }
  constexpr bool notInited() const { return value & notInitedBit; }
  constexpr bool inProgress() const { return value & inProgressBit; }
  // A hardware resource ran out.
  constexpr bool hwFailure() const { return bidirDfHwFull(); }

  // The names of the bits that are set, each after a blank.
  std::string pretty() const;

  constexpr explicit operator bool() const { return value != 0; }
  bool operator==(BidirDfFailureReason const &) const = default;

  static constexpr char const * zetType = "Brindle::BidirDfFailureReason";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&BidirDfFailureReason::value>("value")};
  }
};

// The derived class supplies the operations, which otherwise throw NoImplementationException.
class BRINDLE_API AsyncBidirDfChip : public SwitchChipBase {
 public:
  using XactPtr = Zet::Ptr<Keel::Xact const>;
  class NotifieeConst : public Zet::NotifieeOf<AsyncBidirDfChip, SwitchChipBase> {};

  // Throws RangeException if the index is above maxIndex.
  AsyncBidirDfChip(Zet::Name name, U32 index) : SwitchChipBase(name, index) {}

  // Why the last call failed at once.
  BidirDfFailureReason dfProfileFailureReason() const { return dfProfileFailureReason_; }
  void dfProfileFailureReasonIs(BidirDfFailureReason v) { dfProfileFailureReason_ = v; }

  // Adds the profile of a VLAN or changes it; the transaction, which may have ended, or null if it
  // is refused at once: dfProfileFailureReason() says why then.
  virtual XactPtr doAddDfProfile(Bridging::VlanIdOrNone, RpaBitmap, XactPtr const & blockingXact);
  virtual void doDelDfProfile(Bridging::VlanIdOrNone);
  virtual void doVerifyDfProfile(Bridging::VlanIdOrNone, RpaBitmap);
  // Why a transaction failed; never 0.
  virtual BidirDfFailureReason doGetBidirDfXactFailureReason(XactPtr const &);

 private:
  BidirDfFailureReason dfProfileFailureReason_;
};

}  // namespace Brindle
