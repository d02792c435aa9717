// Proof that what is published of a route, what its machine believes and what the chips were told
// are the same.
#pragma once

#include "model/FailureReason.h"
#include "model/RouteHandle.h"
#include "platform/Entity.h"
#include "platform/HashMap.h"
#include "programmer/L2Status.h"

namespace Brindle {

class AsyncMrouteSm;

// The entries that a route is to have in the chips. Handles of the same number on two chips fall
// together.
class RouteHandleCollection final : public Zet::Entity {
 public:
  auto const & routeHandle() const { return routeHandle_; }
  void routeHandleIs(RouteHandle handle, bool toCpu) { routeHandle_.at(handle) = toCpu; }
  void routeHandleDel(RouteHandle handle) { routeHandle_.del(handle); }
  void routeHandleDelAll() { routeHandle_.clear(); }

 private:
  Zet::HashMap2018<RouteHandle, bool> routeHandle_;
};

// Ends the process unless the record that is published of the route has the status, the set and the
// flags of the reason. While transactions are out the set may be missing.
BRINDLE_API void checkStatus(AsyncMrouteSm const & sm,
                             Routing::Multicast::Fib::IpGenRouteKey const & key,
                             ProgrammingStatus status, MrouteFailureReason reason,
                             Zet::Ptr<OifSet const> const & oifSet);

}  // namespace Brindle
