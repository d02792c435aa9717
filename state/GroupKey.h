// The name of a replication group that another agent of the switch asks for.
#pragma once

#include <compare>

#include "platform/Value.h"

namespace Multicast::Group {

using Zet::operator<<;

// A group: the number of the client that asks for it, and the client's own number of the group.
struct GroupKey {
  U32 client = 0;
  U32 group = 0;

  U32 hash() const { return Zet::hashAll(client, group); }
  auto operator<=>(GroupKey const &) const = default;
  static constexpr char const * zetType = "Multicast::Group::GroupKey";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&GroupKey::client>("client"),
                      Zet::field<&GroupKey::group>("group")};
  }
};

}  // namespace Multicast::Group
