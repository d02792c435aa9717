// One output of a route.
#pragma once

#include <type_traits>

#include "platform/IntfId.h"
#include "platform/Value.h"
#include "platform/VlanId.h"

namespace Brindle {

using Zet::operator<<;

// What a packet carries when it leaves: a VLAN, or above 4094 a logical interface of a tunnel.
// 0 is no VLAN.
class OutLif {
 public:
  constexpr OutLif() = default;
  explicit constexpr OutLif(U32 value) : value_(value) {}
  constexpr OutLif(Bridging::VlanIdOrNone vlan) : value_(vlan.value()) {}

  constexpr U32 value() const { return value_; }
  constexpr bool isOutLif() const { return value_ > Bridging::VlanId::max; }
  // 0 of a logical interface.
  constexpr Bridging::VlanIdOrNone vlanId() const {
    return Bridging::VlanIdOrNone(isOutLif() ? 0 : value_);
  }
  constexpr U32 hash() const { return Zet::hashOf(value_); }
  auto operator<=>(OutLif const &) const = default;

  static constexpr char const * zetType = "Brindle::OutLif";
  static constexpr auto zetFields() { return std::array{Zet::field<&OutLif::value_>("value")}; }

 private:
  U32 value_ = 0;
};

// What the platform is to know of an output beyond its port and VLAN; a mask says which properties
// it wants at all.
using PortProperty = U32;
using PortPropertyMask = U32;
constexpr PortProperty taggedPortProperty = 2;

// Ordered by VLAN, then port: an expansion adds all ports of one VLAN after the other, so that its
// output is sorted as it stands, and the members of a VLAN stand side by side.
struct PortVlan {
  Nettle::IntfId port;
  OutLif outLif;
  PortProperty portProperty = 0;

  bool isOutLif() const { return outLif.isOutLif(); }
  Bridging::VlanIdOrNone vlanId() const { return outLif.vlanId(); }

  U32 hash() const {
    return Zet::hashFold((U64{port.hash()} << 32 | outLif.value()) ^ U64{portProperty} << 20);
  }
  bool operator==(PortVlan const &) const = default;
  bool operator<(PortVlan const & o) const {
    if (outLif != o.outLif) return outLif < o.outLif;
    if (port != o.port) return port < o.port;
    return portProperty < o.portProperty;
  }

  static constexpr char const * zetType = "Brindle::PortVlan";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&PortVlan::port>("port"), Zet::field<&PortVlan::outLif>("outLif"),
                      Zet::field<&PortVlan::portProperty>("portProperty")};
  }
};
static_assert(sizeof(PortVlan) == 12 && std::is_trivially_copyable_v<PortVlan> &&
              std::has_unique_object_representations_v<PortVlan>);

}  // namespace Brindle
