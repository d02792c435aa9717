#include "state/RouteKey.h"

#include <algorithm>

namespace Routing::Multicast::Fib {

namespace {

IpGenRouteKey l2Key(RouteKeyType kind, Bridging::VlanIdOrNone vlan,
                    Nettle::IpGenAddr const & source = {}) {
  auto const group = static_cast<U32>(kind) << 16 | vlan.value();
  return {Nettle::IpGenPrefix(source), Nettle::IpGenPrefix(Nettle::IpGenAddr(group))};
}

// A host without its length, and any source as a star.
std::string prettyPrefix(Nettle::IpGenPrefix const & prefix) {
  if (prefix.length() == 0) return "*";
  return prefix.isHost() ? Zet::textOf(prefix.address()) : Zet::textOf(prefix);
}

}  // namespace

Nettle::EthAddr IpGenRouteKey::ethAddr() const {
  Nettle::EthAddr::Bytes bytes{};
  if (kind() == ethGroup_)
    std::copy_n(source_.address().bytes().begin(), bytes.size(), bytes.begin());
  return Nettle::EthAddr(bytes);
}

::Multicast::Group::GroupKey IpGenRouteKey::mcastGroup() const {
  ::Multicast::Group::GroupKey key;
  if (kind() == mcastGroup_) std::memcpy(&key, source_.address().bytes().data(), sizeof key);
  return key;
}

std::string IpGenRouteKey::pretty() const {
  auto const type = kind();
  if (type == mroute_) return "(" + prettyPrefix(source_) + ", " + prettyPrefix(group_) + ")";
  std::string text(routeKeyTypeNames[type]);
  text.pop_back();  // the underscore
  if (type == unknown_) return text;
  if (type == mcastGroup_) {
    return text + " " + std::to_string(mcastGroup().group) + " of client " +
           std::to_string(mcastGroup().client);
  }
  text += " vlan " + std::to_string(vlanId().value());
  if (type == ethGroup_) text += " " + Zet::textOf(ethAddr());
  if (type == evpnMultihomeFloodset_) text += " tep " + Zet::textOf(evpnTepIp());
  return text;
}

IpGenRouteKey makeRouteKeyVlanFloodset(Bridging::VlanId vlan) { return l2Key(vlanFloodset_, vlan); }

IpGenRouteKey makeRouteKeyMulticastFloodset(Bridging::VlanId vlan) {
  return l2Key(multicastFloodset_, vlan);
}

IpGenRouteKey makeRouteKeyEthGroup(Bridging::VlanId vlan, Nettle::EthAddr const & group) {
  Nettle::IpGenAddr::Bytes bytes{};
  std::copy(group.bytes().begin(), group.bytes().end(), bytes.begin());
  return l2Key(ethGroup_, vlan, Nettle::IpGenAddr(bytes));
}

IpGenRouteKey makeRouteKeyMcastGroup(::Multicast::Group::GroupKey const & group) {
  Nettle::IpGenAddr::Bytes bytes{};
  static_assert(sizeof group <= sizeof bytes);
  std::memcpy(bytes.data(), &group, sizeof group);
  return l2Key(mcastGroup_, {}, Nettle::IpGenAddr(bytes));
}

IpGenRouteKey makeRouteKeyVxlanCoreSideFloodset(Bridging::VlanId vlan) {
  return l2Key(vxlanCoreSideFloodset_, vlan);
}

IpGenRouteKey makeRouteKeyEvpnMultihomeFloodset(Bridging::VlanId vlan,
                                                Nettle::IpGenAddr const & tep) {
  return l2Key(evpnMultihomeFloodset_, vlan, tep);
}

}  // namespace Routing::Multicast::Fib
