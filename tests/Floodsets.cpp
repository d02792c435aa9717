// L2 routes, from the state of the switch to the chips.
#include "mira/MiraL2.h"
#include "platform/Exception.h"
#include "tests/Switch.h"

namespace Tests {

using namespace Brindle;
using namespace Routing::Multicast::Fib;
using Bridging::VlanId;

class Floodsets : public Switch {
 protected:
  Floodsets() { l2Enabled = true; }

  // A peer of a VLAN, with the ports that it lets through.
  Evpn::EvpnPeerVlanFloodStatus & peer(U32 vid, std::string_view tep, std::string_view ports = "") {
    auto p = evpn->vlanFloodSetIs(VlanId(vid))->tepFilterIs(Nettle::IpGenAddr(tep));
    for (auto const & port : words(ports)) p->floodFilterIs(intf(port), true);
    return *p;
  }
  static Key toPeer(U32 vid, std::string_view tep) {
    return makeRouteKeyEvpnMultihomeFloodset(VlanId(vid), Nettle::IpGenAddr(tep));
  }
  Mroute & l2(Key const & key) { return *tables->l2FloodsetTable()->mroute(key); }
  MiraL2 & machine() { return *root().miraL2(); }

  Made<Evpn::EvpnVlanFilteredFloodSetDir> evpn;
  Key const vlan10 = makeRouteKeyVlanFloodset(VlanId(10));
  Key const unknown10 = makeRouteKeyMulticastFloodset(VlanId(10));
};

TEST_F(Floodsets, vlanComesAndGoes) {
  vlan(10, "Ethernet1 Ethernet2");
  router(10, "Ethernet2");
  settle();
  EXPECT_EQ(
      "multicastFloodset vlan 10@10 -> Ethernet2@10; "
      "vlanFloodset vlan 10@10 -> Ethernet1@10 Ethernet2@10",
      entries());
  vlans->vlanStatusDel(VlanId(10));
  root().doUpdateVlanFloodsets(VlanId(10));
  EXPECT_TRUE(l2(vlan10).markedForDeletion()) << "the review may be walking there";
  vlan(10, "Ethernet1");
  root().doUpdateVlanFloodsets(VlanId(10));
  settle();
  EXPECT_EQ("Ethernet1@10", floodset(vlan10));
  vlans->vlanStatusDel(VlanId(10));
  root().doUpdateVlanFloodsets(VlanId(10));
  settle();
  EXPECT_EQ("", entries());
}

TEST_F(Floodsets, evpnPeer) {
  vlan(10, "Ethernet1 Ethernet2 Ethernet3");
  Key const key = toPeer(10, "10.9.0.1");
  auto & p = peer(10, "10.9.0.1", "Ethernet1 Ethernet2");
  root().vlanFilteredFloodSetDirIs(evpn);
  settle();
  EXPECT_EQ("-", floodset(key)) << "the filter is not complete";
  p.initialSyncCompleteIs(true);
  settle();
  EXPECT_EQ("Ethernet1@10 Ethernet2@10", floodset(key));
  p.floodFilterDel(intf("Ethernet2"));
  settle();
  p.initialSyncCompleteIs(false);
  p.floodFilterDel(intf("Ethernet1"));
  settle();
  EXPECT_EQ("Ethernet1@10", floodset(key)) << "an incomplete filter changes nothing";
  evpn->vlanFloodSetIs(VlanId(10))->tepFilterDel(Nettle::IpGenAddr("10.9.0.1"));
  settle();
  EXPECT_EQ("-", floodset(key));
}

}  // namespace Tests
