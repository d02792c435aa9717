// The programmer for chips that answer later, at rest: what it believes against what the route
// table wants, what the chips hold and what is published. The oracle says what the table must hold;
// this goes on from there, also where chips have not answered, and the oracle cannot tell.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "programmer/AsyncMrouteSm.h"
#include "sim/AsyncChip.h"
#include "tests/simulation/GroupHistory.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

// The route need not stand as it is to: it waits for chips, for the review or for a programmer.
bool isOpen(Brindle::Sim::Host const & host, RouteName const & name);

class AsyncComparison : public Findings {
 public:
  // Entries beside a route's own that a chip may have refused, and that nobody tries again before
  // the route's next version: what is known of them goes when the route itself succeeds.
  using Forgotten = std::set<std::pair<RouteName, U32>>;
  struct Circumstances {
    // A chip that is added later gets a route with the route's next version.
    std::set<std::string> const & lateChips;
    GroupHistory const & groups;  // which know theirs
    BoundaryOracle const & boundaries;
    // Chips lack room or refuse.
    bool failuresExpected;
    // All chips have room and have answered, and the programmer works.
    bool healed;
    // What the last comparison found.
    Forgotten const & forgotten;
  };
  AsyncComparison(Brindle::Sim::Host const & host, Circumstances const & circumstances);

  // What still lacks.
  Forgotten const & forgotten() const { return forgotten_; }

 private:
  using Machine = Brindle::AsyncMrouteSm;
  using ZetMroute = Brindle::AsyncZetMroute;
  using ChipInfo = Brindle::AsyncChipInfo;
  using VlanInfo = Brindle::AsyncVlanInfo;
  using AsyncChip = Brindle::Sim::AsyncChip;
  // A route under comparison.
  struct Subject {
    Machine const & machine;
    ZetMroute const & route;
    RouteName name;
  };
  // What the machines hold of a chip.
  struct Held {
    // Each with whether it is to point at another set than the one that the chip alone holds.
    std::map<Brindle::RouteHandle, bool> handles;
    std::set<Brindle::OifSet const *> sets;
  };

  void compareRoute(Subject const & subject);
  void compareProgress(Subject const & subject);
  void compareHealed(Subject const & subject);
  void compareEntry(Subject const & subject);
  void compareEntry(Subject const & subject, ChipInfo const & info);
  void comparePending(Subject const & subject);
  void compareSides(Subject const & subject, Brindle::EntryKind kind);
  void compareFastdrops(Subject const & subject);
  void compareSide(Subject const & subject, ChipInfo const & info, VlanInfo const & side,
                   Brindle::OifSet const * set);
  void compareStatus(Subject const & subject);
  void compareSideStatus(Subject const & subject);
  void compareL2Status(Subject const & subject);
  void compareChip(AsyncChip const & chip);
  void compareL2Records(Machine const & machine);

  bool isLate(ZetMroute const & route, AsyncChip const & chip) const;
  // The route's entry may be one that stood on its new input before.
  bool mayBeTakenOver(ChipInfo const & info) const;
  void hold(ChipInfo const & info);
  ChipInfo const * infoOf(ZetMroute const & route, AsyncChip const & chip) const;
  std::vector<AsyncChip const *> chips() const;
  void differ(RouteName const & name, std::string const & what);

  Brindle::Sim::Host const & host_;
  Circumstances const circumstances_;
  std::map<Brindle::AsyncSwitchChip const *, Held> held_;
  Forgotten forgotten_;
};

}  // namespace Simulation
