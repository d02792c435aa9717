// What callgrind(1) counts: a piece of work, without what in it is not the library's.
#pragma once
#include <valgrind/callgrind.h>

namespace Bench {

// For the length of a scope instructions are counted. The collection starts switched off.
class Counted {
 public:
  Counted() {
    on = true;
    CALLGRIND_TOGGLE_COLLECT;
  }
  ~Counted() {
    CALLGRIND_TOGGLE_COLLECT;
    on = false;
  }
  Counted(Counted const &) = delete;
  Counted & operator=(Counted const &) = delete;

  static inline bool on = false;
};

// For the length of a scope within that, nothing is. Costs a few instructions where no valgrind
// runs.
class Uncounted {
 public:
  Uncounted() {
    if (Counted::on) CALLGRIND_TOGGLE_COLLECT;
  }
  ~Uncounted() {
    if (Counted::on) CALLGRIND_TOGGLE_COLLECT;
  }
  Uncounted(Uncounted const &) = delete;
  Uncounted & operator=(Uncounted const &) = delete;
};

}  // namespace Bench
