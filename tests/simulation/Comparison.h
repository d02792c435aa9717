// Compares what the resolver has computed, what stands in each chip and what is published about it
// with what the oracle expects.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/simulation/Oracle.h"

namespace Simulation {

class Comparison {
 public:
  // Entries that a chip refused without anybody noticing: the chip, and the route with the version
  // that it had then.
  using Unnoticed = std::set<std::tuple<std::string, RouteName, U32>>;
  struct Circumstances {
    // A chip that is added later gets a route with the route's next version.
    std::set<std::string> const & lateChips;
    // Chips lack room or refuse.
    bool failuresExpected;
    // What the last comparison found.
    Unnoticed const & unnoticed;
  };
  Comparison(Brindle::Sim::Host const & host, std::map<RouteName, ExpectedRoute> expected,
             Circumstances const & circumstances);

  // A line for each difference.
  std::string const & differences() const { return differences_; }
  // What stands, for the trace of a run.
  std::string const & shown() const { return shown_; }
  std::size_t routes() const { return expected_.size(); }
  // What stands in the table is not what the records say, since it has not been computed with them.
  static bool isLeft(Brindle::Mroute const & found, ExpectedRoute const & route);
  // What still lacks, since a chip had no room once, and may until the route is computed again.
  Unnoticed const & unnoticed() const { return unnoticed_; }

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
  void differ(std::string const & text) { differences_ += text + "\n"; }
  bool failed(RouteName const & name) const;
  bool failedWholly(RouteName const & name) const;
  Brindle::Mroute const * mroute(RouteName const & name) const;

  Brindle::Sim::Host const & host_;
  std::map<RouteName, ExpectedRoute> const expected_;
  Circumstances const circumstances_;
  std::string differences_;
  std::string shown_;
  Unnoticed unnoticed_;
};

// What is left of entries, sets and room when no route can stand any more; empty if nothing is.
std::string leftovers(Brindle::Sim::Host const & host);

}  // namespace Simulation
