#include "programmer/XactChain.h"

#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("XactChain", false);

}  // namespace

bool XactChain::oifSetIs(AsyncSwitchChip & chip, Xact xact) {
  return stepIs(chip, std::move(xact), &AsyncSwitchChip::doGetOifSetXactFailureReason);
}

bool XactChain::ingressIs(AsyncSwitchChip & chip, Xact xact) {
  return stepIs(chip, std::move(xact), &AsyncSwitchChip::doGetIngressXactFailureReason);
}

bool XactChain::stepIs(AsyncSwitchChip & chip, Xact xact, ReasonOf reasonOf) {
  last_ = std::move(xact);
  if (!last_) {
    ZET_TRACE(5, "Transaction is NULL");
    failure_ = chip.mrouteFailureReason();
    ZET_ASSERT(failure_ || !forRoute_, "i->mrouteFailureReason()");
    return false;
  }
  if (last_->result() != Keel::XactResult::failure) return true;
  ZET_TRACE(5, "Failed Transaction is " << last_->id());
  failure_ = (chip.*reasonOf)(last_);
  ZET_ASSERT(failure_ || !forRoute_, "reason");
  return false;
}

bool XactChain::entryIs(AsyncSwitchChip & chip, RouteHandle handle) {
  if (!handle.isNull()) return true;
  failure_ = chip.mrouteFailureReason();
  ZET_ASSERT(failure_ || !forRoute_, "i->mrouteFailureReason()");
  ZET_ASSERT(failure_, "chip->mrouteFailureReason()");
  return false;
}

}  // namespace Brindle
