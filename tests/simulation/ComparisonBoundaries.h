// Compares what chips deny with what the oracle expects. What they hold beyond that is found by the
// comparisons of routes and subnets, which need none of it.
#pragma once

#include "tests/simulation/OracleBoundaries.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class BoundaryComparison : public Findings {
 public:
  // Tells the oracle what a chip has found room for.
  BoundaryComparison(Brindle::Sim::Host const & host, BoundaryOracle & oracle);

 private:
  using Is = BoundaryOracle::Is;
  using Found = std::map<std::string, std::multiset<std::pair<Key, U32>>>;

  void compareDenials();
  void take(Key const & key, U32 vlan, BoundaryOracle::Denial & denial, Is which);
  std::ptrdiff_t subnetsAlike(Key const & key) const;

  Brindle::Sim::Host const & host_;
  BoundaryOracle & oracle_;
  Found found_;  // entries without a set, by chips
};

}  // namespace Simulation
