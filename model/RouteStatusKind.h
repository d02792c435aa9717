// How a route stands in hardware, for text only: the records of Routing::Multicast::Fib::Hardware
// are what the system goes by.
#pragma once

#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

enum class RouteStatus : U8 { notProgrammed, programmed, failed };
constexpr auto routeStatusNames =
    Zet::enumNames<RouteStatus::failed>("notProgrammed", "programmed", "failed");
constexpr auto & zetNames(RouteStatus) { return routeStatusNames; }

}  // namespace Brindle
