// The commands of brindle-publish: what stands in a file of routes, and what may be said to it
// through a pipe.
#pragma once

#include <ostream>

#include "sim/CommandTable.h"
#include "sim/PublishedTable.h"

namespace Brindle::Sim {

// What the commands work on. Routes are gathered and published together: nothing of a file that
// holds an error reaches the table.
class Publication {
 public:
  Publication(PublishedTable & table, std::ostream & out) : table_(table), out_(out) {}

  PublishedTable & table() { return table_; }
  std::ostream & out() { return out_; }
  bool finished() const { return finished_; }
  void finishedIs(bool v) { finished_ = v; }

  void publishLater(RouteSpec spec) { changes_.push_back({std::move(spec), true}); }
  void withdrawLater(Routing::Multicast::Fib::IpGenRouteKey const & key);
  // Publishes what has been gathered and tells the readers.
  void publish();

 private:
  struct Change {
    RouteSpec spec;
    bool present;
  };
  PublishedTable & table_;
  std::ostream & out_;
  std::vector<Change> changes_;
  bool finished_ = false;
};

std::span<Subject<Publication> const> publishCommands();

}  // namespace Brindle::Sim
