// A route as a protocol engineer writes it, before it stands in a table.
#pragma once

#include <string>
#include <vector>

#include "sim/Arguments.h"
#include "state/ShoalFib.h"

namespace Brindle::Sim {

struct RouteSpec {
  // All but the outputs.
  Shoal::Multicast::Fib::Route route;
  // An interface stands here once, with all that is wanted of it.
  std::vector<Shoal::Multicast::Fib::OifIndexIntf> oifs;

  Routing::Multicast::Fib::IpGenRouteKey const & key() const { return route.key(); }
  void oifAdd(Nettle::IntfId intf, unsigned properties);
};

// What is given behind "route add", and its meaning. The accepting interface and the special ones
// become outputs with the properties that go with them.
constexpr char routeSyntax[] =
    "route add SOURCE GROUP [iif IIF] [oif OIF...] [frr FRR] [notify NOTIFY] [programmable] "
    "[fastdrop FASTDROP] [priority PRIORITY] [rpa RPA] [to-cpu] [accept-any|accept-df] [hold]";
RouteSpec routeSpecOf(Arguments const & arguments);

// The command that makes a published route again.
std::string routeText(Shoal::Multicast::Fib::Route const & route,
                      Shoal::Multicast::Fib::Status const & table);
std::string routeText(RouteSpec const & spec);
// "10.1.0.2 232.1.1.1", "* 239.1.1.1".
std::string keyText(Routing::Multicast::Fib::IpGenRouteKey const & key);

}  // namespace Brindle::Sim
