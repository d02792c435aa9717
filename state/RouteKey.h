// Keys of routes: what all tables of routes, published and computed, are looked up by.
#pragma once

#include <compare>
#include <string>

#include "platform/Bits.h"
#include "platform/EthAddr.h"
#include "platform/Export.h"
#include "platform/IpGenAddr.h"
#include "platform/Value.h"
#include "platform/VlanId.h"
#include "state/GroupKey.h"

namespace Routing::Multicast::Fib {

using Zet::operator<<;

// What a key is the key of.
enum RouteKeyType : U8 {
  unknown_,
  vlanFloodset_,           // all flooded traffic of a VLAN
  multicastFloodset_,      // unknown multicast of a VLAN: its default route
  ethGroup_,               // a static or snooped Ethernet group in a VLAN
  mcastGroup_,             // a group that another agent requested
  vxlanCoreSideFloodset_,  // what of a VLAN's traffic goes out to the VXLAN core
  evpnMultihomeFloodset_,  // what of a VLAN may be flooded towards one EVPN peer
  mroute_,                 // an IP multicast route
};
constexpr auto routeKeyTypeNames = Zet::enumNames<mroute_>(
    "unknown_", "vlanFloodset_", "multicastFloodset_", "ethGroup_", "mcastGroup_",
    "vxlanCoreSideFloodset_", "evpnMultihomeFloodset_", "mroute_");
constexpr auto & zetNames(RouteKeyType) { return routeKeyTypeNames; }

// A source and a group prefix. An IP multicast route has a group within 224.0.0.0/4 or ff00::/8.
// The keys of L2 routes are put into the same 36 bytes: the group is an IPv4 host 0.<kind>.<VLAN>,
// which is no multicast address, and the source holds the Ethernet address, the tunnel endpoint or
// the requested group, if any.
class BRINDLE_API IpGenRouteKey {
 public:
  constexpr IpGenRouteKey() = default;
  IpGenRouteKey(Nettle::IpGenPrefix const & source, Nettle::IpGenPrefix const & group)
      : source_(source),
        group_(group) {}

  Nettle::IpGenPrefix const & source() const { return source_; }
  Nettle::IpGenPrefix const & group() const { return group_; }
  RouteKeyType kind() const {
    if (group_.address().isMulticast()) return mroute_;
    U32 const kind = group_.af() == Nettle::ipv4() ? group_.address().v4() >> 16 : 0;
    return kind < mroute_ ? static_cast<RouteKeyType>(kind) : unknown_;
  }
  // The route takes any source.
  bool isStarG() const { return source_.length() == 0 && kind() == mroute_; }

  // Of the L2 kinds. Throws RangeException for a key that has no VLAN.
  Bridging::VlanId vlanId() const {
    return Bridging::VlanId(isL2() ? group_.address().v4() & 0xffff : 0);
  }
  // Of ethGroup_; zero for other kinds.
  Nettle::EthAddr ethAddr() const;
  // Of mcastGroup_; zero for other kinds.
  ::Multicast::Group::GroupKey mcastGroup() const;
  // Of evpnMultihomeFloodset_; none for other kinds.
  Nettle::IpGenAddr evpnTepIp() const {
    return kind() == evpnMultihomeFloodset_ ? source_.address() : Nettle::IpGenAddr();
  }

  // For operators: "(10.0.0.1, 224.1.1.1)", "(*, 224.1.1.1)", "vlanFloodset vlan 10",
  // "mcastGroup 3 of client 1".
  std::string pretty() const;

  U32 hash() const { return Zet::bitReverse(reversedHash()); }
  // The bits of hash() in opposite order, by which hash tables sort.
  U32 reversedHash() const { return word(source_) ^ word(group_); }
  auto operator<=>(IpGenRouteKey const &) const = default;

  static constexpr char const * zetType = "Routing::Multicast::Fib::IpGenRouteKey";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&IpGenRouteKey::source_>("source"),
                      Zet::field<&IpGenRouteKey::group_>("group")};
  }

 private:
  bool isL2() const { return kind() != unknown_ && kind() != mroute_; }
  static U32 word(Nettle::IpGenPrefix const & prefix) {
    if (prefix.isNull()) return 0;
    auto const & address = prefix.address();
    U32 w = (address.isV4() ? address.v4() : address.hash()) ^ prefix.length();
    w = w * 32767 - 1;
    w ^= w >> 12;
    w *= 5;
    w ^= w >> 4;
    w *= 2057;
    return w ^ w >> 16;
  }

  Nettle::IpGenPrefix source_;
  Nettle::IpGenPrefix group_;
};
static_assert(sizeof(IpGenRouteKey) <= 40);

BRINDLE_API IpGenRouteKey makeRouteKeyVlanFloodset(Bridging::VlanId);
BRINDLE_API IpGenRouteKey makeRouteKeyMulticastFloodset(Bridging::VlanId);
BRINDLE_API IpGenRouteKey makeRouteKeyEthGroup(Bridging::VlanId, Nettle::EthAddr const & group);
BRINDLE_API IpGenRouteKey makeRouteKeyMcastGroup(::Multicast::Group::GroupKey const &);
BRINDLE_API IpGenRouteKey makeRouteKeyVxlanCoreSideFloodset(Bridging::VlanId);
BRINDLE_API IpGenRouteKey makeRouteKeyEvpnMultihomeFloodset(Bridging::VlanId,
                                                            Nettle::IpGenAddr const & tep);

}  // namespace Routing::Multicast::Fib
