// What the published records and routes say of packets that fail the reverse-path check, without
// any memory: whether a failure counts, and where no drop may stand beside a route.
#pragma once

#include "sim/Host.h"
#include "tests/simulation/Oracle.h"

namespace Simulation {

class FastdropRules {
 public:
  explicit FastdropRules(Brindle::Sim::Host const & host) : records_(host.records()) {}

  // The interface on which what comes in by the VLAN comes in, if there is one, and its VRF.
  Nettle::IntfId intfOf(U32 vlan) const;
  L3::VrfName vrfOf(U32 vlan) const;
  // Failures of the VLAN may make drops in the VRF, as far as it is known how that is configured.
  bool mayBeEnabled(L3::VrfName vrf, U32 vlan) const;
  // So many may stand.
  U32 limit(L3::VrfName vrf) const;

  // A failure of the route in the VLAN is none, or none that a drop would help against.
  bool ignores(ExpectedRoute const & route, U32 vlan) const;
  // The route receives there, so that failures are forgotten and no drop stands.
  bool receives(ExpectedRoute const & route, U32 vlan) const;
  // No drop stands there, for this or another reason.
  bool forbids(ExpectedRoute const & route, U32 vlan) const;
  // Another entry of the route is there.
  static bool isInput(ExpectedRoute const & route, U32 vlan);

 private:
  // Calls f(output, its VLAN, whether it is more than an accepting interface) for each output.
  template <class F> void eachOutput(ExpectedRoute const & route, F f) const;
  bool isBorder(U32 vlan) const;
  bool fastFailover(Nettle::IntfId intf) const;
  bool isReplaced(ExpectedRoute const & route, U32 vlan) const;

  Brindle::Sim::Records const & records_;
};

}  // namespace Simulation
