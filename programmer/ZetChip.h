// One chip as a machine sees it: the reactor on what the chip says of its room, and the machine's
// count of the routes that wait for it.
#pragma once

#include <algorithm>

#include "fabric/SwitchChip.h"
#include "platform/Reactor.h"
#include "state/HardwareStatus.h"

namespace Brindle {

class MrouteSm;

// Owned by MrouteSm, one for each chip of the fabric. Routes that have entries on the chip hold it
// too: once the chip has left the fabric it is no longer present(), but still says which chip it
// was.
class BRINDLE_API ZetChip final : public Zet::KeyedReactor<Zet::Name, SwitchChip, MrouteSm> {
 public:
  ZetChip(MrouteSm * sm, Zet::Ptr<SwitchChip> const & chip)
      : KeyedReactor(sm, chip->name()),
        chip_(chip) {}
  SwitchChip & chip() const { return *chip_; }
  bool present() const { return !zombie(); }

  // The chip's bits in the failure mask of a route: it has no output set, no entry for the route.
  U32 chipFailedOifSetMask() const { return 1u << chip_->index(); }
  U32 chipFailedRouteMask() const { return 0x10000u << chip_->index(); }

  // How many routes wait for an entry, for an output set. They may be too high, which costs a
  // review in vain.
  U32 routeFailed() const { return routeFailed_; }
  void routeFailedIs(U32 v) { routeFailed_ = v; }
  void routeFailedInc(U32 n) { routeFailed_ += n; }
  void routeFailedDec(U32 n) { routeFailed_ -= std::min(n, routeFailed_); }
  U32 oifFailed() const { return oifFailed_; }
  void oifFailedIs(U32 v) { oifFailed_ = v; }
  void oifFailedInc(U32 n) { oifFailed_ += n; }
  void oifFailedDec(U32 n) { oifFailed_ -= std::min(n, oifFailed_); }
  // Members of the last set that the chip refused, 0 if it has found room since: while it is full,
  // a set of this size need not be asked for.
  U32 lastOifFailure() const { return lastOifFailure_; }
  void lastOifFailureIs(U32 v) { lastOifFailure_ = v; }

  // Count a route with this failure mask in, unless it waits already; the result is the chip's bit.
  U32 doCountOifSetFailure(U32 reason) {
    if (!(reason & chipFailedOifSetMask())) oifFailedInc(1);
    return chipFailedOifSetMask();
  }
  U32 doCountRouteFailure(U32 reason) {
    if (!(reason & chipFailedRouteMask())) routeFailedInc(1);
    return chipFailedRouteMask();
  }
  // Counts a route in that waited before the chip was there, or was back.
  void doCountWaiting(U32 reason) {
    if (reason & chipFailedOifSetMask()) oifFailedInc(1);
    if (reason & chipFailedRouteMask()) routeFailedInc(1);
  }
  // Count it out, if it waited; the result says so.
  bool doCountOifSetSuccess(U32 reason) {
    if (!(reason & chipFailedOifSetMask())) return false;
    oifFailedDec(1);
    return true;
  }
  bool doCountRouteSuccess(U32 reason) {
    if (!(reason & chipFailedRouteMask())) return false;
    routeFailedDec(1);
    return true;
  }

  void onMrouteTcamFree() override { handleTcamFree(); }
  void onMtableFree() override { handleMtableFree(); }
  void onMrouteReviewKick() override { handleMrouteReviewKick(); }

 private:
  void handleTcamFree();
  void handleMtableFree();
  void handleMrouteReviewKick();

  Zet::Ptr<SwitchChip> const chip_;
  U32 routeFailed_ = 0;
  U32 oifFailed_ = 0;
  U32 lastOifFailure_ = 0;
};

// What the status of a route says of its failure mask.
inline U32 hwFlagsOf(U32 reason) {
  using Status = Routing::Multicast::Fib::Hardware::RouteStatus;
  return (reason & 0xffff ? Status::noIntfs : 0) | (reason >> 16 ? Status::noRoute : 0);
}

// The chips of a fabric, in its order.
using ZetChips = Zet::CompactVector<ZetChip *>;

}  // namespace Brindle
