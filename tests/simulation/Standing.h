// What stands and what the programmer says of it, as all comparisons look it up, and how they tell
// of what differs.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "tests/simulation/OracleBoundaries.h"

namespace Simulation {

// The route as it was computed, of IP, L2 or a group; null if it is in no table.
Brindle::Mroute const * mroute(Brindle::Sim::Host const & host, RouteName const & name);
// What is published of it; null if nothing is.
Brindle::Sim::Fib::Hardware::RouteStatus const * statusOf(Brindle::Sim::Host const & host,
                                                          RouteName const & name);
// Its own entry has failed, and not only one beside it.
bool failedWholly(Brindle::Sim::Host const & host, RouteName const & name);
// A chip refused it, and it is programmed again whenever there may be room.
bool isRetried(Brindle::Sim::Host const & host, RouteName const & name);

std::string textOf(Brindle::OifSet const * set);
std::string nameOf(Brindle::Sim::Chip const & chip);

// What a comparison has to know of the lines before it.
struct Circumstances {
  // Entries that a chip refused without anybody noticing: the chip, and the route with the version
  // that it had then.
  using Unnoticed = std::set<std::tuple<std::string, RouteName, U32>>;

  // Came after the start; each gets a route with the route's next version.
  std::set<std::string> lateChips;
  bool chipsMoved = false;        // they came or went since all routes were computed
  bool failuresExpected = false;  // chips lack room or refuse
  bool keepingChanged = false;    // what becomes of a floodset that fails, while chips refused
  Unnoticed unnoticed;            // what the last comparison found
  // Went while no programmer ran: what is published of them stays until they come back.
  std::set<L3::VrfName> leftVrfs;
  // Whose entries are no route's.
  BoundaryOracle const * boundaries = nullptr;
  // Of routes on chips that answer later: with which their backup's entry may have come.
  std::map<RouteName, std::set<U32>> backupRpas;
};

// Chips that answer later have gone, and those that stand get a route with its next version: what
// the old ones refused stays refused until then.
bool haveChipsGone(Brindle::Sim::Host const & host, std::set<std::string> const & lateChips);

class Findings {
 public:
  // A line for each difference; the same, since the last time.
  std::string const & differences() const { return differences_; }
  std::string takeDifferences() { return std::exchange(differences_, {}); }
  // What stands, for the trace of a run.
  std::string const & shown() const { return shown_; }

 protected:
  void differ(std::string const & text) { differences_ += text + "\n"; }
  std::string shown_;

 private:
  std::string differences_;
};

}  // namespace Simulation
