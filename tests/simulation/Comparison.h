// Compares what the resolver has computed, what stands in each chip and what is published about it
// with what the oracle expects.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/simulation/Standing.h"

namespace Simulation {

class Comparison : public Findings {
 public:
  Comparison(Brindle::Sim::Host const & host, std::map<RouteName, ExpectedRoute> expected,
             Circumstances const & circumstances);

  std::size_t routes() const { return expected_.size(); }
  // What stands in the table is not what the records say, since it has not been computed with them.
  static bool isLeft(Brindle::Mroute const & found, ExpectedRoute const & route);
  // What still lacks, since a chip had no room once, and may until the route is computed again.
  Circumstances::Unnoticed const & unnoticed() const { return unnoticed_; }

 private:
  // An entry of a chip: its VLAN, rendezvous point and set as text.
  struct Entry {
    U32 vlan;
    U32 rpa;
    std::string outputs;
    std::string text() const;
  };

  using Entries = std::multimap<Key, Entry>;

  void compareTable(L3::VrfName vrf);
  void compareRoute(RouteName const & name, ExpectedRoute const & route);
  void compareFailed();
  void compareStatus();
  void compareChip(Brindle::Sim::Chip const & chip);
  bool isInDoubt(RouteName const & name) const;
  bool hasEntries(RouteName const & name, ExpectedRoute const & route) const;
  void take(Entries & found, RouteName const & name, ExpectedRoute const & route,
            std::string const & chip, bool optional);
  void takeSides(Entries & found, RouteName const & name, ExpectedRoute const & route,
                 std::string const & chip, bool late);
  bool mayLack(RouteName const & name, ExpectedRoute const & route, std::string const & chip) const;
  bool mayHoldMore(RouteName const & name, ExpectedRoute const & route) const;
  void takeDrops(Entries & found, RouteName const & name, ExpectedRoute const & route,
                 std::string const & chip, bool optional);
  void takeOld(Entries & found, RouteName const & name, ExpectedRoute const & route) const;
  bool takeEntry(Entries & found, RouteName const & name, Entry const & entry);
  void requireEntry(Entries & found, RouteName const & name, Entry const & entry,
                    std::string const & chip, bool optional);
  void compareSet(std::string const & what, U32 vlan, std::string const & outputs, U32 foundVlan,
                  Brindle::OifSet const * found);
  void compareSide(std::string const & what, std::optional<SideEntry> const & expected,
                   U32 foundVlan, Brindle::OifSet const * found);
  Brindle::Mroute const * mroute(RouteName const & name) const {
    return Simulation::mroute(host_, name);
  }

  Brindle::Sim::Host const & host_;
  std::map<RouteName, ExpectedRoute> const expected_;
  Circumstances const & circumstances_;
  Circumstances::Unnoticed unnoticed_;
};

// What is left of entries, sets and room when no route can stand any more; empty if nothing is.
std::string leftovers(Brindle::Sim::Host const & host);

}  // namespace Simulation
