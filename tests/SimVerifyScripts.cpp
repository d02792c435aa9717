// Scripts in which something happens to a chip behind the library's back: each sort of it is found
// by `verify`, on both kinds of chips, and what a route only waits for is none.
#include <nlohmann/json.hpp>

#include "tests/SimTool.h"

namespace Brindle::Sim {

namespace {

using SimVerifyScripts = SimTool;

std::string const network =
    "l2 on\nchip add c0 ports e1 e2 e3 e4\nchip add c1\n"
    "vlan add 10 port e1\nip link add Vlan10\nip addr add 10.0.10.1/24 dev Vlan10\n"
    "vlan add 20 port e2 e3\nip link add Vlan20\nbridge fdb add 01:1b:19:00:00:00 vid 20 port e2\n"
    "publisher start pim.default\n"
    "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20\n"
    "publish pim.default route add * 232.0.0.3 iif Vlan10 oif Vlan20\nsettle\n"
    "rpf-failure 1.1.1.1 232.0.0.1 vlan 20\nsettle\n";
std::string const group = "group request 1 7 vlan 20 port e2 e3\nsettle\n";

struct Case {
  char const * tamper;
  char const * found;
};
constexpr Case cases[] = {
    {"route 1.1.1.1 232.0.0.1 in 10 remove",
     "  (1.1.1.1, 232.0.0.1): c0: the entry in VLAN 10 is gone\n"},
    {"route 1.1.1.1 232.0.0.1 in 20 remove",
     "  (1.1.1.1, 232.0.0.1): c0: the entry in VLAN 20 is gone\n"},
    {"route 1.1.1.1 232.0.0.1 in 10 accept 42",
     "  (1.1.1.1, 232.0.0.1): c0: the entry in VLAN 10 accepts in VLAN 42\n"},
    {"route 1.1.1.1 232.0.0.1 in 10 add e1",
     "  (1.1.1.1, 232.0.0.1): c0: the entry in VLAN 10 has besides the output e1 in 20\n"},
    {"route * 232.0.0.3 take e3 add e4",
     "  (*, 232.0.0.3): c0: the entry in VLAN 10 lacks the output e3 in 20, has besides the output "
     "e4 in 20\n"},
    {"route 10.0.10.0/24 224.0.0.0/4 accept 42",
     "  (10.0.10.0/24, 224.0.0.0/4): c0: the entry in VLAN 10 accepts in VLAN 42\n"},
    {"floodset 20 vlan take e2",
     "  vlanFloodset vlan 20: c0: the entry in VLAN 20 lacks the output e2 in 20\n"},
    {"floodset 20 unknown remove",
     "  multicastFloodset vlan 20: c0: the entry in VLAN 20 is gone\n"},
    {"floodset 20 group 01:1b:19:00:00:00 accept 10",
     "  ethGroup vlan 20 01:1b:19:00:00:00: c0: the entry in VLAN 20 accepts in VLAN 10\n"},
};

TEST_F(SimVerifyScripts, EachSortOfTamperingIsFound) {
  for (std::string const fabric : {"sync", "async"}) {
    std::string const lines = "fabric " + fabric + "\n" + network;
    std::string restored = lines + "verify all\n";
    for (auto const & c : cases) {
      std::string const tamper = std::string("chip tamper c0 ") + c.tamper + "\n";
      auto const result = script(lines + tamper + "verify\n");
      EXPECT_EQ(result.exit, 1) << tamper;
      EXPECT_NE(result.text.find(c.found), std::string::npos) << tamper << result.text;
      restored += tamper + "chip restore c0\nverify\n";
    }
    passes(restored);
  }
}

TEST_F(SimVerifyScripts, GroupsAndSharedSets) {
  std::string const lines = "fabric async\n" + network + group;
  passes(lines + "verify\nverify group 1 7\nverify floodset 20 vlan\nverify 1.1.1.1 232.0.0.1\n");
  auto const gone = script(lines + "chip tamper c0 group 1 7 remove\nverify group 1 7\n");
  EXPECT_NE(gone.text.find("mcastGroup 7 of client 1: c0: the entry in VLAN 20 is gone"),
            std::string::npos)
      << gone.text;
  // A set that routes share is theirs together; the other ones are as they are.
  auto const shared = script(lines +
                             "chip tamper c0 route 1.1.1.1 232.0.0.1 in 10 take e2\n"
                             "verify group 1 7\nverify --json\n");
  EXPECT_EQ(shared.exit, 1);
  auto const json = nlohmann::json::parse(shared.text.substr(
      shared.text.find('{'), shared.text.rfind('}') + 1 - shared.text.find('{')));
  ASSERT_EQ(json["differences"].size(), 2u) << shared.text;
  EXPECT_EQ(json["differences"][0]["where"], "c0");
  EXPECT_EQ(json["differences"][0]["what"], "the entry in VLAN 10 lacks the output e2 in 20");
}

// The old set stands until the last chip has confirmed the new one; without chips, or without a
// programmer, there is nothing to compare with.
TEST_F(SimVerifyScripts, WhatARouteWaitsForIsNoDifference) {
  std::string const life =
      network +
      "publish pim.default route add * 232.0.0.9 oif Vlan20 rpa 65535\nsettle\nverify\n"
      "vlan add 20 port e4\nbridge fdb add 01:1b:19:00:00:00 vid 20 port e4\nclock turns 9\n"
      "verify\nclock advance 0.5\nverify\nchip refuse c0 sets 1\nstp vlan 20 port e3 discarding\n"
      "clock turns 9\nverify\nchip add c2\nverify\nsettle\nverify\n"
      "programmer kill\nverify\nprogrammer start\nsettle\nverify\n"
      "chip del c0\nchip del c1\nchip del c2\nsettle\nverify\nchip add c0\nverify\n"
      "review all\nsettle\nverify\n";
  passes(life);
  std::string const later = "fabric async unknown-entries\n" + life;
  passes(later);
  passes(std::string(later).insert(later.find("vlan add 20 port e4"),
                                   "chip answers c0 on-command\nchip answers c1 after 0.2\n"));
  passes("fabric async\n" + network + group +
         "review off\ngroup request 1 7 vlan 20 port e2\nstp vlan 20 port e3 discarding\nsettle\n"
         "verify\nreview on\nclock turns 1\nverify\nsettle\nverify\n");
}

}  // namespace

}  // namespace Brindle::Sim
