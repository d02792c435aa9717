// Compares the L2 routes that were computed, what stands of them in each chip and what is published
// about them with what the oracle expects.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/simulation/OracleFloodsets.h"

namespace Simulation {

class FloodsetComparison {
 public:
  struct Circumstances {
    // A chip that is added later gets a route with the route's next version.
    std::set<std::string> const & lateChips;
    // Chips lack room or refuse.
    bool failuresExpected;
    // What becomes of a floodset that fails has been changed meanwhile.
    bool keepingChanged;
  };
  FloodsetComparison(Brindle::Sim::Host const & host, FloodsetOracle const & oracle,
                     Circumstances const & circumstances);

  // A line for each difference.
  std::string const & differences() const { return differences_; }
  // What stands, for the trace of a run.
  std::string const & shown() const { return shown_; }
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
  void differ(std::string const & text) { differences_ += text + "\n"; }
  Brindle::Mroute const * mroute(Key const & key) const;
  // A chip refused it.
  bool failed(Key const & key) const;
  bool isTriedAgain(Key const & key) const;

  Brindle::Sim::Host const & host_;
  std::map<Key, ExpectedFloodset> const expected_;
  // What a chip still holds of floodsets that failed.
  std::map<Key, std::string> kept_;
  Circumstances const circumstances_;
  std::string differences_;
  std::string shown_;
};

}  // namespace Simulation
