// Whether what is published of the routes, what the programmer believes and what the chips hold are
// the same. It only looks.
//
// What a route waits for is no difference: that its chips answer, that the resolver computes it,
// that its rendezvous point is known, that a chip which came later hears of it. Of a programmer
// that does not run nothing is known.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/Views.h"

namespace Brindle::Sim {

struct DifferenceView {
  KeyView key;
  std::string where;  // "table", "status", "programmer", or a chip
  std::string what;
};

struct VerifyView {
  U32 routes = 0;  // that were looked at, of IP, L2 and groups
  std::vector<DifferenceView> differences;
};

// Of one route, or of all. Each route without a difference is given to the programmer's own
// verification, too, where it has one; that one ends the process if it finds one.
VerifyView verify(Host const & host, std::optional<KeyView> const & only);

}  // namespace Brindle::Sim
