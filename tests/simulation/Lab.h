// The switch under test: a host of brindle-sim in this process, driven by the lines that
// brindle-sim understands, and compared with the oracle whenever it has settled.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "sim/Commands.h"
#include "sim/Host.h"
#include "tests/simulation/Comparison.h"
#include "tests/simulation/ComparisonAsync.h"
#include "tests/simulation/FastdropHistory.h"
#include "tests/simulation/FloodsetWatch.h"
#include "tests/simulation/GroupHistory.h"
#include "tests/simulation/OracleBidir.h"
#include "tests/simulation/PrefixHistory.h"
#include "tests/simulation/Publishers.h"

namespace Simulation {

class Lab {
 public:
  Lab();

  // Lines that say what is to be true from there on.
  // All chips have room and nothing is refused any more: every route stands.
  static constexpr char healed[] = "echo healed";
  // Nothing is left that a route could come from.
  static constexpr char emptied[] = "echo emptied";

  // Carries a line out; false if the switch refuses it, which changes nothing. "settle" and the
  // two above compare.
  bool run(std::string const & line);
  // What differed; empty if nothing did.
  std::string const & wrong() const { return wrong_; }

  // A hash over all that the switch has shown, which is the same in each run of the same lines.
  U64 trace() const { return trace_; }
  U32 comparisons() const { return comparisons_; }
  // Routes that were compared, over all comparisons.
  U64 routesCompared() const { return routesCompared_; }

 private:
  void carryOut(std::string const & line, std::vector<std::string> const & words);
  void noteLeftVrfs();
  void noteBackups(std::vector<std::string> const & words);
  void forgetBackups();
  void note(std::vector<std::string> const & words, Zet::Seconds before);
  FastdropHistory::Routes expectedRoutes() const;
  // `isHealed`: all chips have room and have answered.
  void compare(bool isHealed);
  // Publication, programmer and chips against each other.
  void verifyAll();
  // Something happens to an entry of a chip behind the library's back: that is found, and undone.
  void tamperWithOne();
  void compareLeftovers();
  void traceText(std::string text);

  std::ostringstream out_;
  // Before the host: it reads their tables to the end.
  Publishers publishers_;
  Brindle::Sim::Host host_;
  Brindle::Sim::Interpreter<Brindle::Sim::Host> interpreter_;
  FloodsetWatch floodsetWatch_{host_};
  PrefixHistory prefixHistory_{host_};
  BoundaryOracle boundaries_{host_};
  FastdropHistory fastdrops_{host_, boundaries_};
  GroupHistory groups_{host_};
  BidirOracle bidir_{host_};
  Circumstances circumstances_;
  bool reviewed_ = false;
  AsyncComparison::Forgotten forgotten_;
  std::string wrong_;
  U64 trace_ = 0xcbf29ce484222325;
  U32 comparisons_ = 0;
  U64 routesCompared_ = 0;
};

}  // namespace Simulation
