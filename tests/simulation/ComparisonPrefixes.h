// Compares the connected subnets with what the oracle expects: which are wanted, which stand in the
// chips, which wait for room, and which (*,G) routes wait for them.
#pragma once

#include "tests/simulation/OraclePrefixes.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class PrefixComparison : public Findings {
 public:
  PrefixComparison(Brindle::Sim::Host const & host, PrefixOracle const & oracle,
                   PrefixHistory const & history, std::vector<ReadTable> const & tables,
                   Circumstances const & circumstances);

 private:
  using Status = Routing::Multicast::Fib::PimIntf::IntfStatus;

  void compareIntf(Nettle::IntfId intf, ExpectedIntf const & expected);
  void compareSubnets(Status const & status, ExpectedIntf const & expected);
  void compareMap();
  void compareRoom();
  void compareToldLater();
  void compareRetry();
  void compareChip(Brindle::Sim::Chip const & chip);
  void compareWaiting();
  void compareHeldBack();
  bool published(std::string const & table, Shoal::Multicast::Fib::Route const & route) const;
  bool saidToWait(Key const & key, Nettle::IntfId intf) const;
  bool waits(Key const & key, Nettle::IntfId intf) const;

  Brindle::Sim::Host const & host_;
  PrefixOracle const & oracle_;
  PrefixHistory const & history_;
  std::vector<ReadTable> const & tables_;
  Circumstances const & circumstances_;
};

// An entry of a connected subnet in a chip; a route has a set.
bool isSubnetEntry(Brindle::Sim::Chip::Entry const & entry);

// What is left of subnets when no (*,G) route can stand any more; empty if nothing is.
std::string leftSubnets(Brindle::Sim::Host const & host, PrefixOracle const & oracle);

}  // namespace Simulation
