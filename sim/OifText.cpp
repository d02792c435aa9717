#include "sim/OifText.h"

#include <algorithm>

namespace Brindle::Sim {

namespace {

using Shoal::Multicast::Fib::oifForward;

// By bit, from the lowest.
constexpr std::array<std::string_view, 6> properties = {"forward", "accept",   "notify",
                                                        "no-rpf",  "fastdrop", "frr"};

std::optional<U8> propertiesFromText(std::string_view text) {
  U8 out = 0;
  while (!text.empty()) {
    auto const plus = text.find('+');
    auto const found = std::find(properties.begin(), properties.end(), text.substr(0, plus));
    if (found == properties.end()) return std::nullopt;
    out = static_cast<U8>(out | 1 << (found - properties.begin()));
    text.remove_prefix(plus == text.npos ? text.size() : plus + 1);
  }
  return out ? std::optional(out) : std::nullopt;
}

}  // namespace

bool isIntfName(std::string_view text) {
  return !text.empty() && text.size() <= maxIntfName &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

std::optional<Shoal::Multicast::Fib::OifIndexIntf> oifFromText(std::string_view text) {
  auto const equals = text.find('=');
  auto const name = text.substr(0, equals);
  auto const bits = equals == text.npos ? oifForward : propertiesFromText(text.substr(equals + 1));
  if (!isIntfName(name) || !bits) return std::nullopt;
  return Shoal::Multicast::Fib::OifIndexIntf{Nettle::IntfId(name), *bits};
}

std::string oifToText(Shoal::Multicast::Fib::OifIndexIntf const & oif) {
  std::string text(oif.intf.view());
  if (oif.properties == oifForward) return text;
  char separator = '=';
  for (std::size_t bit = 0; bit < properties.size(); ++bit) {
    if (!(oif.properties >> bit & 1)) continue;
    text.append(1, separator).append(properties[bit]);
    separator = '+';
  }
  return text;
}

}  // namespace Brindle::Sim
