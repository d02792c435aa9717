// Names of VRFs.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/Exception.h"
#include "platform/Name.h"
#include "platform/Value.h"

namespace L3 {

using Zet::operator<<;

// A VRF's name, at most 100 bytes; interned, so that it compares and hashes in one step.
class VrfName {
 public:
  static constexpr std::size_t maxLength = 100;

  constexpr VrfName() = default;
  VrfName(char const * name) : VrfName(std::string_view(name)) {}
  // Throws RangeException if the name is too long.
  explicit VrfName(std::string_view name) : name_(checked(name)) {}
  // The VRF that is always there.
  static VrfName defaultVrf() {
    static VrfName const name("default");
    return name;
  }

  bool empty() const { return name_.empty(); }
  std::string_view view() const { return name_.view(); }
  char const * c_str() const { return name_.c_str(); }
  Zet::Name name() const { return name_; }

  U32 hash() const { return name_.hash(); }
  auto operator<=>(VrfName const &) const = default;

  static constexpr char const * zetType = "L3::VrfName";
  static constexpr char const * zetExpected = "a VRF name of at most 100 bytes";
  void appendText(std::string & out) const { out += view(); }
  static std::optional<VrfName> fromText(std::string_view text) { return VrfName(text); }

 private:
  static std::string_view checked(std::string_view name) {
    if (name.size() > maxLength) {
      Zet::throwRangeException("VrfName::bytes > VrfName::maxLength not allowed");
    }
    return name;
  }

  Zet::Name name_;
};

}  // namespace L3
