// Failed routes on chips that answer later: what is counted of them, and what the operator is told
// of their number, against the list of them. That holds at any time, also in the middle of things.
#pragma once

#include <string>

#include "sim/Host.h"

namespace Simulation {

// A line for each difference; empty if all counts are right, or nobody counts.
std::string miscounted(Brindle::Sim::Host const & host);

}  // namespace Simulation
