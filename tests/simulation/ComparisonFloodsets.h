// Compares the L2 routes that were computed, what stands of them in each chip and what is published
// about them with what the oracle expects.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/simulation/OracleFloodsets.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class FloodsetComparison : public Findings {
 public:
  FloodsetComparison(Brindle::Sim::Host const & host, FloodsetOracle const & oracle,
                     Circumstances const & circumstances);

  std::size_t routes() const { return expected_.size(); }

 private:
  // An entry of a chip.
  struct Entry {
    U32 vlan;
    bool active;
    std::string outputs;
    std::string text() const;
  };

  void compareWanted(std::map<Key, ExpectedFloodset> const & elsewhere);
  void compareTable();
  void compareRoute(Key const & key, ExpectedFloodset const & route);
  void compareFailed(Key const & key);
  void compareStatus();
  void compareReview();
  void compareChip(Brindle::Sim::Chip const & chip);
  void compareEntries(std::string const & chip, Key const & key, std::vector<Entry> const & found);
  void compareFailedEntries(std::string const & what, Key const & key,
                            std::vector<Entry> const & found);
  static RouteName name(Key const & key) { return {L3::VrfName::defaultVrf(), key}; }
  Brindle::Mroute const * mroute(Key const & key) const {
    return Simulation::mroute(host_, name(key));
  }
  // A chip refused it.
  bool failed(Key const & key) const;

  Brindle::Sim::Host const & host_;
  std::map<Key, ExpectedFloodset> const expected_;
  // What a chip still holds of floodsets that failed.
  std::map<Key, std::string> kept_;
  Circumstances const & circumstances_;
};

}  // namespace Simulation
