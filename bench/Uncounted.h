// Keeps work that is not the library's out of the instruction counts of callgrind(1).
#pragma once
#include <valgrind/callgrind.h>

namespace Bench {

// For the length of a scope nothing is counted. Costs a few instructions where no valgrind runs.
class Uncounted {
 public:
  Uncounted() { CALLGRIND_TOGGLE_COLLECT; }
  ~Uncounted() { CALLGRIND_TOGGLE_COLLECT; }
  Uncounted(Uncounted const &) = delete;
  Uncounted & operator=(Uncounted const &) = delete;
};

}  // namespace Bench
