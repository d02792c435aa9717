// How what a chip's table had no room for is tried again: connected subnets, boundaries and
// bidirectional groups and profiles each keep a map of what waits, and a timer. A word of room asks
// for a pass; a pass tries one after the other and ends at the first that is back, so that a full
// table costs one try a word, however much waits.
#pragma once

#include <optional>

#include "platform/Clock.h"

namespace Brindle {

// Seconds between a word of room and the pass: several such words bring one.
constexpr Zet::Seconds roomRetryDelay = 0.0001;

// Asks for a pass, if anything waits and none is due.
inline void kickRoomRetry(Zet::Clock::NotifieeConst & timer, Zet::Clock const & clock,
                          bool anyWaits) {
  if (!anyWaits || timer.timeMin() != Zet::Clock::never) return;
  timer.timeMinIs(clock.now() + roomRetryDelay);
}

// Takes out what waits, one by one, and has it tried. Returns the key of the one that is back, none
// if all have found room. `doTry` gets an iterator at what was taken out.
template <class Waiting, class Try>
std::optional<typename Waiting::Key> retryInTurn(Waiting & waiting, Try doTry) {
  while (!waiting.empty()) {
    auto const first = waiting.begin();
    typename Waiting::Key const key = first.key();
    waiting.del(key);
    doTry(first);
    if (waiting.contains(key)) return key;
  }
  return std::nullopt;
}

}  // namespace Brindle
