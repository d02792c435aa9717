// A recorded Linux box as it is understood, and what is said of a record that is not as it should
// be.
#include <gtest/gtest.h>

#include "sim/RecordedBox.h"
#include "sim/Words.h"
#include "tests/SimTool.h"
#include "tests/Thrown.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;

class SimImport : public SimTool {
 protected:
  // A copy of the recorded network, with one text of one file replaced by another.
  std::string copy(std::string const & changed = "", std::string const & from = "",
                   std::string const & to = "") const {
    for (auto const * name : {"link", "addr", "mroute", "mdb", "bridge-link"}) {
      std::string const leaf = std::string("sw-") + name + ".json";
      auto content = contentOf(BRINDLE_SOURCES "/sim/recorded-network/" + leaf);
      if (name == changed) {
        auto const at = content.find(from);
        EXPECT_NE(at, content.npos) << from;
        content.replace(at, to == "..." ? content.size() - at : from.size(), to == "..." ? "" : to);
      }
      file(leaf, content);
    }
    return dir();
  }
};

std::string routeLines(RecordedBox const & box) {
  std::string text;
  for (auto const & [vrf, routes] : box.routes) {
    for (auto const & route : routes) text.append(vrf.view()) += " " + routeText(route) + "\n";
  }
  return text;
}

TEST_F(SimImport, RecordedNetwork) {
  auto const box = readRecordedBox(copy(), "");
  EXPECT_EQ(box.name, "sw");
  ASSERT_EQ(box.vlans.size(), 2u);
  EXPECT_EQ(box.vlans[0].intf, IntfId("br100"));
  EXPECT_EQ(box.vlans[0].id.value(), 100);
  EXPECT_TRUE(box.vlans[0].snooping);
  EXPECT_EQ(box.ports.size(), 6u);
  ASSERT_EQ(box.kinds.size(), 1u);
  EXPECT_EQ(box.kinds[0].intf, IntfId("vx100"));
  EXPECT_EQ(box.kinds[0].kind, Nettle::IntfKind::vxlanTunnel);
  ASSERT_EQ(box.routed.size(), 4u);
  for (auto const & routed : box.routed) {
    auto const vlan = routed.internalVlan.value();
    EXPECT_EQ(vlan, routed.intf == IntfId("et1") ? 1006 : routed.intf == IntfId("et2") ? 1007 : 0);
    EXPECT_EQ(routed.addresses.size(), 1u) << routed.intf;
  }
  // The record's (*,G) routes: own input and register tunnel are no outputs.
  EXPECT_EQ(routeLines(box),
            "default route add 10.1.0.2 232.1.1.1 iif et1 oif et1=accept br100\n"
            "default route add * 239.1.1.1 iif et2 oif et2=accept br100\n"
            "default route add * 239.1.1.2 iif et2 oif et2=accept br200\n"
            "default route add * 239.1.1.3 iif et2 oif et2=accept br100 br200\n"
            "default route add 10.1.0.2 239.1.1.1 iif et1 oif et1=accept br100\n"
            "default route add 10.1.0.2 239.1.1.2 iif et1 oif et1=accept br200\n"
            "default route add 10.1.0.2 239.1.1.3 iif et1 oif et1=accept br100 br200\n");
}

TEST_F(SimImport, OtherShapesThatAreUnderstood) {
  // Unresolved, with no input and no outputs.
  auto box = readRecordedBox(copy("mroute", R"("src":"10.1.0.2","dst":"232.1.1.1","iif":"et1")",
                                  R"("src":"10.9.9.9","dst":"232.9.9.9","state":"unresolved"},)"
                                  R"({"src":"10.1.0.2","dst":"232.1.1.1","iif":"et1")"),
                             "sw");
  EXPECT_EQ(box.routes.begin()->second.size(), 7u);
  EXPECT_EQ(box.leftOut.back(), "1 unresolved routes: they have no outputs");
  // A router port, and a port that does not forward.
  box = readRecordedBox(copy("mdb", R"("router":{})", R"("router":{"br200":[{"port":"p5"}]})"), "");
  ASSERT_EQ(box.routerPorts.size(), 1u);
  EXPECT_EQ(box.routerPorts[0].port, IntfId("p5"));
  box =
      readRecordedBox(copy("bridge-link", R"("state":"forwarding")", R"("state":"blocking")"), "");
  EXPECT_EQ(box.ports[0].state, Bridging::Topology::PortState::discarding);
  // An interface of a VRF, and a bond.
  box = readRecordedBox(
      copy("link", R"([{"ifindex":1,)",
           R"([{"ifname":"red","link_type":"ether","linkinfo":{"info_kind":"vrf",)"
           R"("info_data":{"table":7}}},{"ifname":"bond0","link_type":"ether","master":"red",)"
           R"("linkinfo":{"info_kind":"bond"}},{"ifname":"m1","link_type":"ether",)"
           R"("master":"bond0"},{"ifindex":1,)"),
      "");
  ASSERT_EQ(box.lags.size(), 1u);
  EXPECT_EQ(box.lags[0].members, std::vector{IntfId("m1")});
}

TEST_F(SimImport, WhatIsWrongIsNamed) {
  struct {
    char const *file, *from, *to, *error;
  } const cases[] = {
      {"mroute", R"("multipath")", "...", "sw-mroute.json: expected JSON: parse error at line 1"},
      {"mroute", R"("iif":"et1")", R"("iif":5)", "$[0].iif: expected a text, found 5"},
      {"mroute", R"("iif":"et1")", R"("iif":"et9")",
       "$[0].iif: expected an interface of sw-link.json, found \"et9\""},
      {"mroute", R"("dst":"232.1.1.1")", R"("dst":"10.1.1.1")",
       "$[0].dst: expected a multicast group, found \"10.1.1.1\""},
      {"mroute", R"("dst":"232.1.1.1")", R"("dst":"ff0e::1")",
       "$[0].src: expected an address of the group's family"},
      {"mroute", R"("state":"resolved")", R"("stat":"resolved")",
       "$[0]: expected a member \"state\""},
      {"mroute", R"([{"oif":"br100"}])", R"({"oif":"br100"})", "$[0].multipath: expected a list"},
      {"mroute", R"("table":"default")", R"("table":"9")",
       "$[0].table: expected \"default\" or the table of a VRF, found \"9\""},
      {"link", R"("ifname":"br100")", R"("ifname":"lan")",
       "$[3].ifname: expected a bridge whose name ends in its VLAN, 1 to 4094, found \"lan\""},
      {"link", R"("ifname":"br200")", R"("ifname":"x100")",
       "$[4].ifname: expected a VLAN that no other bridge has"},
      {"link", R"("vlan_filtering":0)", R"("vlan_filtering":1)",
       "$[3].linkinfo.info_data.vlan_filtering: expected 0"},
      {"link", R"("ifname":"p1")", R"("ifname":"a name that is longer than any may be")",
       "$[5].ifname: expected the name of an interface"},
      {"bridge-link", R"("master":"br100")", R"("master":"et1")",
       "$[0].master: expected a bridge of sw-link.json, found \"et1\""},
      {"bridge-link", R"("state":"forwarding")", R"("state":"flying")",
       "$[0].state: expected forwarding, learning"},
      {"mdb", R"("grp":"239.1.1.3")", R"("grp":"239.1.1")",
       "$[0].mdb[0].grp: expected a multicast group"},
      {"addr", R"("prefixlen":8)", R"("prefixlen":33)",
       "$[0].addr_info[0].prefixlen: expected a length of at most 32, found 33"},
  };
  for (auto const & c : cases) {
    copy(c.file, c.from, c.to);
    auto const said = Tests::thrown<CommandError>([&] { readRecordedBox(dir(), "sw"); });
    EXPECT_NE(said.find(c.error), said.npos) << said << ", not " << c.error;
    EXPECT_NE(said.find(std::string("/sw-") + c.file), said.npos) << said;
  }
  file("nw-link.json", "[]");
  EXPECT_THROW(readRecordedBox(dir(), ""), CommandError);
  EXPECT_THROW(readRecordedBox(dir() + "/none", ""), CommandError);
}

TEST_F(SimImport, NothingIsHalfApplied) {
  copy("bridge-link", R"("state":"forwarding")", R"("state":"flying")");
  auto const bad = run("@brindle-sim import " + dir());
  EXPECT_EQ(bad.exit, 1);
  EXPECT_FALSE(std::filesystem::exists(dir() + "/tables"));
}

}  // namespace

}  // namespace Brindle::Sim
