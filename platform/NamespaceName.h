// Names of network namespaces.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/Exception.h"
#include "platform/Name.h"
#include "platform/Value.h"

namespace Nettle {

using Zet::operator<<;

// The name of a network namespace (ip-netns(8)), at most 150 bytes; interned.
class NamespaceName {
 public:
  static constexpr std::size_t maxLength = 150;

  constexpr NamespaceName() = default;
  NamespaceName(char const * name) : NamespaceName(std::string_view(name)) {}
  // Throws RangeException if the name is too long.
  explicit NamespaceName(std::string_view name) : name_(checked(name)) {}
  // The namespace that the agent was started in.
  static NamespaceName defaultNamespace() {
    static NamespaceName const name("default");
    return name;
  }

  bool empty() const { return name_.empty(); }
  std::string_view view() const { return name_.view(); }
  char const * c_str() const { return name_.c_str(); }
  Zet::Name name() const { return name_; }

  U32 hash() const { return name_.hash(); }
  auto operator<=>(NamespaceName const &) const = default;

  static constexpr char const * zetType = "Nettle::NamespaceName";
  static constexpr char const * zetExpected = "a namespace name of at most 150 bytes";
  void appendText(std::string & out) const { out += view(); }
  static std::optional<NamespaceName> fromText(std::string_view text) {
    return NamespaceName(text);
  }

 private:
  static std::string_view checked(std::string_view name) {
    if (name.size() > maxLength) {
      Zet::throwRangeException("NamespaceName::bytes > 150 not allowed");
    }
    return name;
  }

  Zet::Name name_;
};

}  // namespace Nettle
