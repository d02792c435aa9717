#include "platform/EthAddr.h"

#include <charconv>

namespace Nettle {

EthAddr::EthAddr(std::string_view text) : EthAddr(Zet::parse<EthAddr>(text)) {}

void EthAddr::appendText(std::string & out) const {
  constexpr char digits[] = "0123456789abcdef";
  for (auto & byte : bytes_) {
    if (&byte != bytes_.data()) out += ':';
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
}

std::optional<EthAddr> EthAddr::fromText(std::string_view text) {
  if (text.size() != 17) return std::nullopt;
  Bytes bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    auto const * at = text.data() + 3 * i;
    auto const read = std::from_chars(at, at + 2, bytes[i], 16);
    if (read.ec != std::errc() || read.ptr != at + 2) return std::nullopt;
    if (i < 5 && at[2] != ':') return std::nullopt;
  }
  return EthAddr(bytes);
}

}  // namespace Nettle
