// Tells an activity loop that shared-memory tables may have changed.
#pragma once

#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/ShoalFiles.h"

namespace ZetShoal {

class ShoalReaderDir;

// One inotify(7) instance for any number of tables (a user has few instances, 128 by default).
// It must outlive the tables that it watches.
class BRINDLE_API ShoalWatch {
 public:
  // Throws ShoalError if the system has no instance left.
  ShoalWatch();
  virtual ~ShoalWatch() = default;
  ShoalWatch(ShoalWatch const &) = delete;
  ShoalWatch & operator=(ShoalWatch const &) = delete;

  // Readable when a table may have changed; for epoll, level-triggered.
  int fd() const { return inotify_.fd(); }
  // Takes the events in. Afterwards each table that has something to say is due().
  void collect();
  // A table has been refused, perhaps while a value was read: it is due() without an event.
  virtual void handleRefusal() {}

 private:
  friend class ShoalReaderDir;
  struct Entry {
    int watch;
    ShoalReaderDir * dir;
  };

  // Watches the table's directory or, while it is missing, its nearest ancestor. Returns the
  // reason if that fails.
  std::string add(ShoalReaderDir & dir, std::string const & path);
  // Forgets the table; `kept` is a watch that stays.
  void remove(ShoalReaderDir & dir, int kept = -1);
  void release(int watch);
  void handleEvent(int watch, U32 mask);

  OpenFile inotify_;
  std::vector<Entry> entries_;
};

}  // namespace ZetShoal
