#include "bench/AsyncCountingChip.h"

#include "bench/Uncounted.h"

namespace Bench {

AsyncCountingChip::XactPtr AsyncCountingChip::doAllocateMtableOifSet(
    Brindle::RouteKeyInfo const &, Zet::Ptr<Brindle::OifSet const> const &, XactPtr const &, U32,
    bool) {
  Uncounted uncounted;
  if (full) {
    ++refusals;
    mrouteFailureReasonIs({1});
    return nullptr;
  }
  mtableOifSetIs(set_);
  return succeeded_;
}

void AsyncCountingChip::doAllocateRoute(RouteKey const &, Bridging::VlanIdOrNone, bool, RpaIndex,
                                        L3::VrfName, bool) {
  Uncounted uncounted;
  routeHandleIs(Brindle::RouteHandle{++next_});
}

}  // namespace Bench
