// MAC addresses.
#pragma once

#include <array>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

namespace Nettle {

using Zet::operator<<;

// An Ethernet address (IEEE 802), in the order of transmission. Text "01:00:5e:01:00:01".
class BRINDLE_API EthAddr {
 public:
  using Bytes = std::array<U8, 6>;

  constexpr EthAddr() = default;
  explicit constexpr EthAddr(Bytes const & bytes) : bytes_(bytes) {}
  explicit EthAddr(std::string_view text);

  constexpr Bytes const & bytes() const { return bytes_; }
  constexpr bool isZero() const { return *this == EthAddr(); }
  constexpr bool isMulticast() const { return bytes_[0] & 1; }

  constexpr U32 hash() const {
    U64 v = 0;
    for (U8 byte : bytes_) v = v << 8 | byte;
    return Zet::hashOf(v);
  }
  constexpr auto operator<=>(EthAddr const &) const = default;

  static constexpr char const * zetType = "Nettle::EthAddr";
  static constexpr char const * zetExpected = "an Ethernet address such as 01:00:5e:01:00:01";
  void appendText(std::string &) const;
  static std::optional<EthAddr> fromText(std::string_view);

 private:
  Bytes bytes_{};
};

}  // namespace Nettle
