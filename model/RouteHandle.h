// Entries of chips by name.
#pragma once

#include <compare>

#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

// A route entry on one chip; it means something only to the chip that gave it out.
struct RouteHandle {
  static constexpr U32 null = 4294967295;
  U32 value = null;

  constexpr bool isNull() const { return value == null; }
  constexpr U32 hash() const { return Zet::hashOf(value); }
  auto operator<=>(RouteHandle const &) const = default;

  static constexpr char const * zetType = "Brindle::RouteHandle";
  static constexpr auto zetFields() { return std::array{Zet::field<&RouteHandle::value>("value")}; }
};

}  // namespace Brindle
