// The commands of brindle-publish: what stands in a file of routes, and what may be said to it
// through a pipe.
#pragma once

#include <functional>
#include <ostream>

#include "sim/CommandTable.h"
#include "sim/PublishedBidir.h"
#include "sim/PublishedTable.h"

namespace Brindle::Sim {

// What the commands work on. Changes are gathered and published together: nothing of a file that
// holds an error reaches a table.
class Publication {
 public:
  Publication(PublishedTable & table, std::ostream & out)
      : table_(table),
        bidir_(table.name()),
        out_(out) {}

  PublishedTable & table() { return table_; }
  PublishedBidir & bidir() { return bidir_; }
  PublishedBidir const & bidir() const { return bidir_; }
  std::ostream & out() { return out_; }
  bool finished() const { return finished_; }
  void finishedIs(bool v) { finished_ = v; }

  void later(std::function<void()> change) { changes_.push_back(std::move(change)); }
  // Publishes what has been gathered and tells the readers.
  void publish();
  // The first pass is over: what it did not have goes. Returns how much.
  std::size_t sweep();
  // Takes the tables away.
  void remove();

 private:
  PublishedTable & table_;
  PublishedBidir bidir_;
  std::ostream & out_;
  std::vector<std::function<void()>> changes_;
  bool finished_ = false;
};

std::span<Subject<Publication> const> publishCommands();

}  // namespace Brindle::Sim
