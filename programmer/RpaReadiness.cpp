#include "programmer/RpaReadiness.h"

#include "model/LogMessages.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("RpaReadiness", false);

}  // namespace

bool isRpaReady(Mroute const & mroute) {
  if (mroute.acceptingVlanId()) return true;
  if (mroute.rpaId() == Shoal::Multicast::Fib::rpaNotSet) {
    ZET_TRACE(5, "doUpdateFabric(): Noop when Bidir rpa is not set for " << mroute.key());
    return false;
  }
  if (mroute.rpaId() == Shoal::Multicast::Fib::rpaInvalid) {
    BIDIR_RPA_RESOURCE_FULL.log();
    ZET_TRACE(5, "doUpdateFabric(): RPA index is invalid for " << mroute.key());
    return false;
  }
  return true;
}

}  // namespace Brindle
