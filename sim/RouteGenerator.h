// Routes as a busy protocol might publish them, made up from a seed: the same seed gives the same
// routes and the same changes, in every run.
#pragma once

#include <random>
#include <vector>

#include "sim/RouteSpec.h"

namespace Brindle::Sim {

class RouteGenerator {
 public:
  struct Plan {
    U32 routes = 0;
    U32 groups = 1;  // over which the routes are spread; each has routes / groups sources
    U32 oifs = 1;    // of each route
    std::vector<Nettle::IntfId> iifs;  // one of these
    std::vector<Nettle::IntfId> outs;  // so many of these, but the accepting one
    U8 priority = 0;
    bool starG = false;  // each group has a (*,G) route, too
    U64 seed = 1;
  };
  // Throws CommandError for a plan that cannot be: too many groups, too few interfaces.
  explicit RouteGenerator(Plan const & plan);

  // Of the first pass, (*,G) routes included.
  U32 size() const { return plan_.routes + (plan_.starG ? plan_.groups : 0); }
  RouteSpec route(U32 number) const;

  // The next change behind the first pass: another output, most times; or the route goes, or it
  // comes back.
  struct Change {
    RouteSpec spec;
    bool present;
  };
  Change nextChange();

 private:
  Routing::Multicast::Fib::IpGenRouteKey key(U32 number) const;

  Plan const plan_;
  std::mt19937_64 random_;
  std::vector<U32> turn_;  // of each route: how often its outputs have changed
  std::vector<bool> gone_;
};

// The interfaces that a text such as "Vlan[100-131],et1" names. Throws CommandError.
std::vector<Nettle::IntfId> intfsOf(std::string_view text);

}  // namespace Brindle::Sim
