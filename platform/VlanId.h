// VLAN ids, checked where they are made.
#pragma once

#include <compare>

#include "platform/Exception.h"
#include "platform/Value.h"

namespace Bridging {

using Zet::operator<<;

// A VLAN, 1 to 4094 (IEEE 802.1Q).
class VlanId {
 public:
  static constexpr U16 max = 4094;

  constexpr VlanId() = default;
  explicit constexpr VlanId(U32 value) : value_(static_cast<U16>(value)) {
    if (value - 1 >= max) [[unlikely]] {
      Zet::throwRangeException("VlanId::value < 1 or > 4094 not allowed");
    }
  }
  explicit constexpr VlanId(class VlanIdOrNone vlan);

  constexpr U16 value() const { return value_; }
  constexpr U32 hash() const { return Zet::hashOf(value_); }
  auto operator<=>(VlanId const &) const = default;

  static constexpr char const * zetType = "Bridging::VlanId";

 private:
  U16 value_ = 1;
};

// A VLAN, or 0 for none.
class VlanIdOrNone {
 public:
  constexpr VlanIdOrNone() = default;
  constexpr VlanIdOrNone(VlanId vlan) : value_(vlan.value()) {}
  explicit constexpr VlanIdOrNone(U32 value) : value_(static_cast<U16>(value)) {
    if (value > VlanId::max) [[unlikely]] {
      Zet::throwRangeException("VlanIdOrNone::value > 4094 not allowed");
    }
  }

  constexpr U16 value() const { return value_; }
  explicit constexpr operator bool() const { return value_ != 0; }
  constexpr U32 hash() const { return Zet::hashOf(value_); }
  auto operator<=>(VlanIdOrNone const &) const = default;

  static constexpr char const * zetType = "Bridging::VlanIdOrNone";

 private:
  U16 value_ = 0;
};

constexpr VlanId::VlanId(VlanIdOrNone vlan) : VlanId(U32{vlan.value()}) {}

// The text form of both is the number.
inline void valueToStrep(std::string & out, VlanIdOrNone vlan) {
  Zet::numberToStrep(out, U64{vlan.value()});
}
inline void strepToValue(Zet::StrepReader & reader, VlanIdOrNone & vlan) {
  vlan = VlanIdOrNone(static_cast<U32>(reader.unsignedNumber(~U32{0})));
}
inline void valueToStrep(std::string & out, VlanId vlan) { valueToStrep(out, VlanIdOrNone(vlan)); }
inline void strepToValue(Zet::StrepReader & reader, VlanId & vlan) {
  vlan = VlanId(static_cast<U32>(reader.unsignedNumber(~U32{0})));
}

}  // namespace Bridging
