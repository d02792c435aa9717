// Why a route is not in hardware.
#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

// A mask; 0 is no failure. The three low bytes are what a chip ran out of, in bits of the chip's
// own; the others say how the programmer stands with the route.
struct BRINDLE_API MrouteFailureReason {
  U32 value = 0;

  static constexpr U32 blockedBit = 1u << 24;
  static constexpr U32 timeoutBit = 1u << 25;
  static constexpr U32 notInitedBit = 1u << 26;
  static constexpr U32 inProgressBit = 1u << 27;

  constexpr U32 oifSetFailureMask() const { return value & 0xff; }
  constexpr U32 routeFailureMask() const { return value & 0xff00; }
  constexpr U32 macTableFailureMask() const { return value & 0xff0000; }
  constexpr bool blocked() const { return value & blockedBit; }
  constexpr bool timeout() const { return value & timeoutBit; }
  constexpr bool notInited() const { return value & notInitedBit; }
  constexpr bool inProgress() const { return value & inProgressBit; }
  // The bits that say that a change of the route has been kept back.
  constexpr U32 keptBack() const { return value & (blockedBit | inProgressBit); }
  // A hardware resource ran out.
  constexpr bool hwFailure() const { return value & 0xffffff; }

  // For the %s of a log message: what ran out, such as " (output sets, route entries)"; empty if
  // nothing did.
  std::string logExplain() const;
  // All of it, such as "output sets 0x8, blocked".
  std::string pretty() const;

  constexpr explicit operator bool() const { return value != 0; }
  bool operator==(MrouteFailureReason const &) const = default;

  static constexpr char const * zetType = "Brindle::MrouteFailureReason";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&MrouteFailureReason::value>("value")};
  }
};

}  // namespace Brindle
