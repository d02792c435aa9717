// Compares what the resolver tells of each route, and why, with what it has computed.
#pragma once

#include "mira/Explanation.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

// To be made where the switch is at rest; whatever the telling changed would show in later
// comparisons, and in the trace of the run.
class ExplainComparison : public Findings {
 public:
  explicit ExplainComparison(Brindle::Sim::Host & host);

 private:
  void compare(RouteName const & name, Brindle::Mroute const & stands);
  void comparePorts(RouteName const & name, Brindle::Explanation const & explanation,
                    Brindle::PortVlanSet const & set);

  Brindle::Sim::Host & host_;
};

}  // namespace Simulation
