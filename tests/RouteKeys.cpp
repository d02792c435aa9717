// Keys of routes: the hash that switches and tools agree on, and that no key is taken for one of
// another kind.
#include <gtest/gtest.h>

#include <set>

#include "state/RouteKey.h"

namespace {

using namespace Routing::Multicast::Fib;
using Bridging::VlanId;
using Nettle::EthAddr;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;

IpGenRouteKey mroute(char const * source, char const * group) {
  return {IpGenPrefix(source), IpGenPrefix(group)};
}

// The hash of one prefix alone: the other one has no family and counts as 0.
U32 word(char const * prefix) {
  return Zet::bitReverse(IpGenRouteKey(IpGenPrefix(prefix), {}).hash());
}

TEST(RouteKey, HashesToTheLetter) {
  EXPECT_EQ(word("1.2.3.4/32"), 0x33c4cb33u);
  EXPECT_EQ(word("224.1.0.1/32"), 0x0954beadu);
  EXPECT_EQ(mroute("1.2.3.4/32", "224.1.0.1/32").hash(), 0x79ae095cu);
  EXPECT_EQ(mroute("0.0.0.0/0", "224.1.1.1/32").hash(), 0x89e51d2eu);
  EXPECT_EQ(mroute("10.0.0.0/24", "224.0.0.0/4").hash(), 0x94cd9d78u);
  EXPECT_EQ(IpGenRouteKey().hash(), 0u);
}

TEST(RouteKey, TellsItsKindAndGivesBackWhatItWasMadeOf) {
  VlanId const vlan(4094);
  EthAddr const eth("01:00:5e:01:00:01");
  IpGenAddr const tep4("10.0.0.1"), tep6("2001:db8::1");
  struct Row {
    IpGenRouteKey key;
    RouteKeyType kind;
    char const * pretty;
  };
  Row const rows[] = {
      {{}, unknown_, "unknown"},
      {makeRouteKeyVlanFloodset(vlan), vlanFloodset_, "vlanFloodset vlan 4094"},
      {makeRouteKeyMulticastFloodset(vlan), multicastFloodset_, "multicastFloodset vlan 4094"},
      {makeRouteKeyEthGroup(vlan, eth), ethGroup_, "ethGroup vlan 4094 01:00:5e:01:00:01"},
      {makeRouteKeyVxlanCoreSideFloodset(vlan), vxlanCoreSideFloodset_,
       "vxlanCoreSideFloodset vlan 4094"},
      {makeRouteKeyEvpnMultihomeFloodset(vlan, tep4), evpnMultihomeFloodset_,
       "evpnMultihomeFloodset vlan 4094 tep 10.0.0.1"},
      {makeRouteKeyEvpnMultihomeFloodset(vlan, tep6), evpnMultihomeFloodset_,
       "evpnMultihomeFloodset vlan 4094 tep 2001:db8::1"},
      {mroute("10.0.0.1/32", "224.1.1.1/32"), mroute_, "(10.0.0.1, 224.1.1.1)"},
      {mroute("0.0.0.0/0", "239.255.255.255/32"), mroute_, "(*, 239.255.255.255)"},
      {mroute("10.0.0.0/24", "224.0.0.0/4"), mroute_, "(10.0.0.0/24, 224.0.0.0/4)"},
      {mroute("2001:db8::1/128", "ff3e::1/128"), mroute_, "(2001:db8::1, ff3e::1)"},
      {mroute("10.0.0.1/32", "10.0.0.2/32"), unknown_, "unknown"},
      {mroute("10.0.0.1/32", "0.0.0.0/0"), unknown_, "unknown"},
  };
  std::set<IpGenRouteKey> all;
  for (Row const & row : rows) {
    SCOPED_TRACE(row.pretty);
    EXPECT_EQ(row.key.kind(), row.kind);
    EXPECT_EQ(row.key.pretty(), row.pretty);
    EXPECT_EQ(Zet::strepToValue<IpGenRouteKey>(Zet::valueToStrep(row.key)), row.key);
    EXPECT_TRUE(all.insert(row.key).second);
    if (row.kind == unknown_ || row.kind == mroute_) {
      EXPECT_THROW(row.key.vlanId(), Zet::RangeException);
    } else {
      EXPECT_EQ(row.key.vlanId(), vlan);
      EXPECT_FALSE(IpGenPrefix("224.0.0.0/4").contains(row.key.group()));
    }
    EXPECT_EQ(row.key.ethAddr(), row.kind == ethGroup_ ? eth : EthAddr());
  }
  EXPECT_EQ(makeRouteKeyEvpnMultihomeFloodset(vlan, tep6).evpnTepIp(), tep6);
  EXPECT_TRUE(mroute("0.0.0.0/0", "224.1.1.1/32").isStarG());
  EXPECT_FALSE(makeRouteKeyVlanFloodset(vlan).isStarG());
}

}  // namespace
