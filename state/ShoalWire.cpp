#include "state/ShoalWire.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace Shoal::Multicast::Fib {

namespace {

using Nettle::IntfId;

static_assert(sizeof(RouteKey) + sizeof(U32) == sizeof(WireRouteKey));
static_assert(std::is_trivially_copyable_v<RouteKey>);
static_assert(sizeof(Nettle::IpGenPrefix) == sizeof(WirePrefix));
static_assert(std::is_trivially_copyable_v<Nettle::IpGenPrefix>);

// Whether it is a prefix as we write them: of a known family, nothing set behind its length.
bool canonical(WirePrefix const & prefix) {
  U64 words[2];
  std::memcpy(words, prefix.address.data(), sizeof words);
  auto const family = static_cast<Nettle::AddressFamily>(prefix.family);
  if (family == Nettle::ipv4()) {
    U64 const address = __builtin_bswap32(static_cast<U32>(words[0]));
    return prefix.length <= 32 && !(words[0] >> 32 | words[1]) &&
           !static_cast<U32>(address << prefix.length);
  }
  if (family != Nettle::ipv6() || prefix.length > 128) return false;
  U32 const length = prefix.length;
  U64 const high = __builtin_bswap64(words[0]), low = __builtin_bswap64(words[1]);
  if (length >= 64) return length == 128 || !(low << (length - 64));
  return !low && !(high << length);
}

}  // namespace

void WireIntfs::intfIs(WireIntf number, IntfId intf) {
  while (intfs_.size() <= number) intfs_.push_back({});
  while (numbers_.size() <= intf.index()) numbers_.push_back(0);
  if (IntfId const before = intfs_[number]) numbers_[before.index()] = 0;
  intfs_[number] = intf;
  if (intf) numbers_[intf.index()] = number;
}

bool fromWire(WireName const & wire, IntfId & intf) {
  auto const end = std::find(wire.text.begin(), wire.text.end(), 0);
  std::string_view const name(wire.text.data(), static_cast<std::size_t>(end - wire.text.begin()));
  bool const good =
      !name.empty() && end != wire.text.end() &&
      std::all_of(end, wire.text.end(), [](char c) { return c == 0; }) &&
      std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 127; });
  if (good) intf = IntfId(name);
  return good;
}

bool fromWire(WirePrefix const & wire, Nettle::IpGenPrefix & prefix) {
  if (!canonical(wire)) return false;
  std::memcpy(static_cast<void *>(&prefix), &wire, sizeof prefix);
  return true;
}

bool fromWire(WireRouteKey const & wire, RouteKey & key) {
  if (wire.group.family != wire.source.family || wire.zero || !canonical(wire.source) ||
      !canonical(wire.group)) {
    return false;
  }
  std::memcpy(static_cast<void *>(&key), &wire, sizeof key);
  return key.kind() == Routing::Multicast::Fib::mroute_;
}

bool fromWire(WireOif const & wire, WireIntfs const & intfs, OifIndexIntf & oif) {
  constexpr U32 known = 2 * oifFrr - 1;
  oif.properties = static_cast<U8>(wire.properties);
  if ((wire.properties & ~known) || !intfs.find(wire.intf, oif.intf)) return false;
  return oif.intf || !oif.properties;
}

bool toWire(IntfId intf, WireName & wire) {
  auto const name = intf.view();
  if (name.empty() || name.size() > WireName::maxLength) return false;
  wire = {};
  std::copy(name.begin(), name.end(), wire.text.begin());
  return true;
}

WirePrefix toWire(Nettle::IpGenPrefix const & prefix) {
  WirePrefix wire;
  std::memcpy(&wire, static_cast<void const *>(&prefix), sizeof wire);
  return wire;
}

bool toWire(RouteKey const & key, WireRouteKey & wire) {
  std::memcpy(&wire, static_cast<void const *>(&key), sizeof key);
  wire.zero = 0;
  return wire.source.family == wire.group.family && key.kind() == Routing::Multicast::Fib::mroute_;
}

WireOif toWire(OifIndexIntf const & oif, WireIntfs const & intfs) {
  return {intfs.number(oif.intf), oif.properties};
}

U32 toWire(Route const & route, WireIntfs const & intfs, WireRoute & wire) {
  wire.iif = intfs.number(route.iif());
  wire.iifFrr = intfs.number(route.iifFrr());
  wire.notify = intfs.number(route.notify());
  wire.staticFastdropIntf = intfs.number(route.staticFastdropIntf());
  wire.flags = route.flags();
  wire.rpaId = route.rpaId();
  wire.priority = route.priority().value;
  wire.notifyProgrammable = route.notifyProgrammable();
  U32 const bound = route.oifs().bound();
  U32 map = 0;
  while (64 * wireRouteMaps[map].words < bound) ++map;
  U32 const words = wireRouteMaps[map].words;
  U32 const present = std::min(words, route.oifs().wordCount());
  std::copy_n(route.oifs().words(), present, wire.oifs.begin());
  std::fill(wire.oifs.begin() + present, wire.oifs.begin() + words, 0);
  return map;
}

}  // namespace Shoal::Multicast::Fib
