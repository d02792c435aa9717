// Compares with what the oracle expects what chips deny, what is recorded where boundaries are
// learned, what is computed of that and stands in the chips. What these hold beyond that is found
// by the comparisons of routes and subnets, which need none of it.
#pragma once

#include "tests/simulation/OracleBoundaries.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class BoundaryComparison : public Findings {
 public:
  // Tells the oracle what it could not know.
  BoundaryComparison(Brindle::Sim::Host const & host, BoundaryOracle & boundaries,
                     Oracle const & oracle);

 private:
  using Is = BoundaryOracle::Is;
  using Found = std::map<std::string, std::multiset<std::pair<Key, U32>>>;
  using Vrf = BoundaryOracle::Vrf;
  using Drop = BoundaryOracle::Drop;

  void compareDenials();
  void take(Key const & key, U32 vlan, BoundaryOracle::Denial & denial, Is which);
  std::ptrdiff_t subnetsAlike(Key const & key) const;
  void compareRecords(L3::VrfName name, Vrf & vrf);
  void compareDrops(L3::VrfName name, Vrf & vrf);
  void compareDrop(RouteName const & name, U32 vlan, Drop & drop, Brindle::OifSet const * found);
  void compareChips(RouteName const & name, U32 vlan, Drop & drop);
  static void makeWay(Brindle::Mroute const * route, U32 vlan, Drop & drop);
  void resolve(Is & stands, bool found, std::string const & what);

  Brindle::Sim::Host const & host_;
  BoundaryOracle & boundaries_;
  Oracle const & oracle_;
  Found found_;  // entries without a set, by chips
};

}  // namespace Simulation
