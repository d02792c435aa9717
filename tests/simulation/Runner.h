// Runs a script in a process of its own, so that one that ends the process, or never ends, is a
// result like any other, and no run leaves anything to the next.
#pragma once

#include <string>
#include <vector>

#include "platform/Types.h"

namespace Simulation {

using Script = std::vector<std::string>;

struct Outcome {
  enum Kind : U8 { good, differs, crashed, hung } kind = good;
  // What differed, or what the process said at last.
  std::string text;
  // The line after which the run ended badly.
  U32 line = 0;
  // Lines that the switch refused.
  std::vector<U32> refused;
  U64 trace = 0;
  U32 comparisons = 0;
  U64 routesCompared = 0;
};

Outcome run(Script const & script);

// The shortest script that was found to end badly in the same way: lines are taken out, first by
// large parts, as long as it does.
Script shrunk(Script script, Outcome const & outcome);

}  // namespace Simulation
