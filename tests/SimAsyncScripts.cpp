// Scripts on chips that answer later, and the same script on both kinds of chips.
#include <nlohmann/json.hpp>

#include "tests/SimTool.h"

namespace Brindle::Sim {

namespace {

class SimAsyncScripts : public SimTool {
 protected:
  // What the last `show ... --json` of the output says.
  static nlohmann::json json(std::string const & text) {
    return nlohmann::json::parse(text.substr(text.rfind("\n[") + 1));
  }
};

std::string const async =
    "fabric async\nchip add c0 ports e1 e2 e3\nchip add c1\n"
    "vlan add 10 port e1\nip link add Vlan10\n"
    "vlan add 20 port e2 e3\nip link add Vlan20\n"
    "publisher start pim.default\n";
std::string const route = "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20\n";

// What stands in the chips of the recorded network, without what each kind of chips counts for
// itself, and what is said of its routes.
std::string const recorded =
    "import %/sim/recorded-network\nsettle\nexpect waiting 0\n"
    "expect outputs from %/sim/recorded-network/sw-predicted-output-sets.json\n"
    "bridge mdb del vid 100 port p2 grp 232.1.1.1\nstp vlan 100 port p1 discarding\nsettle\n"
    "stp vlan 100 port p1 forwarding\nsettle\n"
    "publish kernel.default route add 10.1.0.2 239.1.1.3 iif et1 oif br100\n"
    "publish kernel.default route add 10.1.0.3 239.1.1.3 iif et1 oif br200 notify et2\n"
    "publish kernel.default route del 10.1.0.2 239.1.1.1\nsettle\n"
    "rpf-failure 10.1.0.2 239.1.1.3 vlan 100\nsettle\n"
    "expect fastdrop 10.1.0.2 239.1.1.3 vlan 100 in-hardware\nshow mroute\nshow oif-set\n"
    "show prefix\n";

TEST_F(SimAsyncScripts, TheRecordedNetworkIsTheSameOnBothKindsOfChips) {
  std::string text[2];
  nlohmann::json entries[2];
  for (int kind : {0, 1}) {
    std::string lines = std::string(kind ? "fabric async\n" : "") + "l2 on\n" + recorded;
    expand(lines, "%", BRINDLE_SOURCES);
    auto const shown = script(lines + "show floodset\n");
    EXPECT_EQ(shown.exit, 0) << shown.text;
    text[kind] = shown.text;
    entries[kind] = json(script(lines + "show hardware --json\n").text)[0]["entries"];
    for (auto & entry : entries[kind]) entry.erase("handle");
    std::sort(entries[kind].begin(), entries[kind].end());
  }
  EXPECT_EQ(text[0], text[1]);
  EXPECT_GT(entries[0].size(), 10u);
  EXPECT_EQ(entries[0], entries[1]);
}

TEST_F(SimAsyncScripts, TransactionsEndOnCommand) {
  auto const result = script(
      async + "chip answers c0 on-command\nchip answers c1 after 5\nwatch on\n" + route +
      "settle\nexpect transactions 2\nshow transactions\n"
      "expect state 1.1.1.1 232.0.0.1 in-progress\n"
      "xact ok c0 set 1\nxact ok c0 ingress 1\n"
      "expect state 1.1.1.1 232.0.0.1 in-hardware\n"
      // While a change is out the old outputs stand, and the next change waits.
      "clock advance 1\nwatch off\nstp vlan 20 port e3 discarding\nclock advance 9\nexpect "
      "transactions 2\n"
      "show hardware c0\nxact ok c0\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n"
      "stp vlan 20 port e3 forwarding\nclock advance 9\nxact fail c0\n"
      "expect state 1.1.1.1 232.0.0.1 failed\nexpect chip c1 routes 0\n"
      "expect log MROUTE_HW_RESOURCE_FULL\nchip answers c0 at-once\nsettle\nexpect failed 0\n"
      "expect log MROUTE_HW_RESOURCE_NORMAL\n"
      // Nobody waits for a chip that has gone, nor for what an earlier life has asked for.
      "chip answers c0 on-command\nchip answers c1 on-command\n"
      "stp vlan 20 port e3 discarding\nsettle\nxact ok c0\nchip del c1\nsettle\n"
      "expect transactions 0\nstp vlan 20 port e3 forwarding\nsettle\nprogrammer kill\n"
      "xact ok\nprogrammer start\nchip answers c0 at-once\nsettle\n"
      "expect state 1.1.1.1 232.0.0.1 in-hardware\n"
      "publish pim.default route del all\nsettle\nshow hardware c0\n");
  EXPECT_EQ(result.exit, 0) << result.text;
  for (auto const * line :
       {"c0    set 1        1.1.1.1  232.0.0.1  route  10    -      outstanding",
        "c0    ingress 1    1.1.1.1  232.0.0.1  route  10    set 1  outstanding",
        "c1    ingress 1    1.1.1.1  232.0.0.1  route  10    set 1  success",
        "c0 + (1.1.1.1, 232.0.0.1) in 10: 20: e2 e3", "1.1.1.1  232.0.0.1  10    yes     20: e2 e3",
        "Chip c0 (number 0): 0 of 1000 routes, 0 of 4000 sets"}) {
    EXPECT_NE(result.text.find(line), std::string::npos) << line << "\n" << result.text;
  }
}

TEST_F(SimAsyncScripts, FaultsLimitsAndOrders) {
  passes(async + "chip fail c1 ingress on\n" + route +
         "clock advance 2\nexpect state 1.1.1.1 232.0.0.1 failed\nexpect chip c0 routes 0\n"
         "chip fail c1 ingress off\nsettle\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n"
         "chip limit c0 routes 1\n"
         "publish pim.default route add 1.1.1.2 232.0.0.1 iif Vlan10 oif Vlan20\nsettle\n"
         "expect state 1.1.1.2 232.0.0.1 failed\nexpect failed 1\n"
         "chip set c0 routes 9\nsettle\nexpect failed 0\n"
         "chip refuse c1 sets 1\nstp vlan 20 port e3 discarding\nclock turns 9\nexpect failed 1\n"
         "settle\nexpect failed 0\n"
         "chip answers c0 after 0.5 order random fail 40 seed 7\n"
         "chip answers c1 after 1 order lifo\n"
         "stp vlan 20 port e3 forwarding\nsettle\n"
         "chip answers c0 at-once\nsettle\nexpect failed 0\nexpect transactions 0\n"
         "publish pim.default route del all\nsettle\nexpect chip c0 routes 0\n");
  for (auto const & [line, error] : std::vector<std::pair<std::string, std::string>>{
           {"chip free c0", "expected a chip that answers at once: c0 never says"},
           {"chip kick c0", "expected a chip that answers at once: c0 asks for no retry"},
           {"chip set c0 routes 65536", "expected at most 65535, found 65536"},
           {"xact ok c0 set 9", "expected a transaction that is open, found 9"},
           {"fabric sync", "expected the kind of the chips before the"}}) {
    EXPECT_NE(script(async + line + "\n").text.find(error), std::string::npos) << line;
  }
  auto const sync = script("chip add c0\nreview off\n");
  EXPECT_NE(sync.text.find("expected chips that answer later"), std::string::npos) << sync.text;
}

TEST_F(SimAsyncScripts, TheReviewKeepsChangesBack) {
  auto const result = script(async + "start\nreview off\n" + route +
                             "settle\nexpect state 1.1.1.1 232.0.0.1 blocked\nshow review\n"
                             "expect failed 0\nreview on\nsettle\n"
                             "expect state 1.1.1.1 232.0.0.1 in-hardware\n");
  EXPECT_EQ(result.exit, 0) << result.text;
  EXPECT_NE(result.text.find("the review is off, routes are kept back"), std::string::npos);
  EXPECT_NE(result.text.find("routes 1, kept back 1"), std::string::npos) << result.text;
}

TEST_F(SimAsyncScripts, TheProgrammerShowsItself) {
  std::string const lines =
      "l2 on\nchip add c0 ports Ethernet1 Ethernet2 Ethernet3 routes 1\n"
      "vlan add 20 port Ethernet2 Ethernet3\nvlan add 10 port Ethernet1\n"
      "bridge snooping vid 20 on\nbridge router add vid 20 port Ethernet3\n"
      "bridge fdb add 01:1b:19:00:00:00 vid 20 port Ethernet2\n"
      "bridge fdb add 01:1b:19:00:00:01 vid 20 port Ethernet2\nsettle 1\n";
  std::string const shows =
      "echo rows\nshow vlans\nshow vlans 20 not-programmed\nshow vlans summary\nshow floodsets 20\n"
      "show eth-groups group 01:1b:19:00:00:09\nshow eth-groups 20 programmed\n"
      "show failed groups\nprogrammer kill\nshow vlans\necho end\n";
  auto const text = script("fabric async\n" + lines + shows).text;
  auto const from = text.find("rows\n");
  ASSERT_NE(from, std::string::npos) << text;
  EXPECT_EQ(text.substr(from, text.find("end\n") - from),
            "rows\nVlan 10: Et1\nVlan 20: Et2,Et3\nno vlan floodsets\nVlan 20: Et3\n"
            "00:00:00:00:00:00 \n01:1b:19:00:00:00 Et2\n"
            "ethGroup vlan 20 01:1b:19:00:00:01:                               "
            "route entries 0x100\n");
  EXPECT_EQ(script(lines + "show vlans\n").exit, 1) << "chips that answer at once";
}

TEST_F(SimAsyncScripts, GroupsThatAgentsAskFor) {
  auto const result = script(
      "fabric async\nchip add c0 ports p1 p2 p3\nchip add c1 ports p4 p5\n"
      "lag add Port-Channel1 member p3 p4\npublisher start pim.default\n"
      // The road of a request; equal groups have ids of their own.
      "group request 1 7 vlan 20 port p1 p4\nexpect group 1 7 unanswered\n"
      "clock advance 0.001\nexpect group 1 7 success ports p1 p4\n"
      "group request 2 7 vlan 20 port p1 p4\ngroup request 1 8 tunnel p5 lif 5000 cpu\n"
      "group request 1 9\ngroup request 1 10 tunnel p1 lif 0\n"
      "group request 1 11 vlan 30 port Port-Channel1\nsettle\n"
      "expect group 1 8 success ports p5\nexpect group 1 9 success\n"
      "expect group 1 11 success ports p3 p4\ngroup request 2 7 vlan 20 port p2\n"
      "group replication lags\nlag hardware Port-Channel1 on\nsettle\nshow groups\n"
      // A full chip refuses; what failed is tried again.
      "chip limit c1 sets 0\ngroup request 3 1 vlan 10 port p2\nclock advance 1\n"
      "expect group 3 1 failed\nchip limit c1 sets 99\nsettle\nexpect group 3 1 success\n"
      // Ids outlive a programmer; what was dropped meanwhile has gone.
      "programmer kill\ngroup drop 2 7\ngroup drop 3\ngroup request 1 7 vlan 20 port p2\n"
      "settle\nexpect group 1 7 unanswered\nprogrammer start\nsettle\n"
      "expect group 1 7 success ports p2\nexpect group 3 1 absent\nshow groups\n"
      // A response stands until hardware has let go.
      "group drop 1\nexpect group 1 7 success ports p2\nsettle\nexpect group 1 7 absent\n"
      "show hardware c0\n");
  EXPECT_EQ(result.exit, 0) << result.text;
  for (auto const * line :
       {"1       7      1        20: p1 p4          success of 1  1   0.001 s  in hardware  "
        "c0 1: 20: p1; c1 1: 20: p4",
        "1       11     6        30: Port-Channel1  success of 6  6   0.",
        "2       7      7        20: p2             success of 7  2   0.001 s  in hardware  "
        "c0 2: 20: p2; c1 2: -",
        "1       7      9        20: p2             success of 9  1   -",
        "Chip c0 (number 0): 0 of 1000 routes, 0 of 4000 sets"}) {
    EXPECT_NE(result.text.find(line), std::string::npos) << line << "\n" << result.text;
  }
  auto const mixed = script("fabric async\ngroup request 1 1 vlan 2 port p1 tunnel p2 lif 3\n");
  EXPECT_NE(mixed.text.find("expected ports of one VLAN, or logical interfaces only"),
            std::string::npos)
      << mixed.text;
  EXPECT_EQ(script("group request 1 1\n").exit, 1) << "chips that answer at once";
}

// A crash leaves chips and status as they are; the new life drops what it finds, programs all that
// is there now, and forgets what went meanwhile.
TEST_F(SimAsyncScripts, TheProgrammerDiesAndStartsAnew) {
  std::string const life =
      "l2 on\n" + async.substr(async.find('\n') + 1) + "ip addr add 10.0.10.1/24 dev Vlan10\n" +
      route +
      "publish pim.default route add 1.1.1.2 232.0.0.2 iif Vlan10 oif Vlan20\n"
      "publish pim.default route add * 232.0.0.3 iif Vlan10 oif Vlan20\n"
      "settle\nexpect state * 232.0.0.3 in-hardware\nshow status\nprogrammer kill\n"
      "show hardware c0\npublish pim.default route del 1.1.1.2 232.0.0.2\n"
      "stp vlan 20 port e3 discarding\nsettle\nexpect state 1.1.1.1 232.0.0.1 blocked\n"
      "expect outputs 1.1.1.1 232.0.0.1 ports e2\nprogrammer start\nsettle\n"
      "expect state 1.1.1.1 232.0.0.1 in-hardware\nexpect state * 232.0.0.3 in-hardware\n"
      "expect prefix Vlan10 10.0.10.0/24 in-hardware\nexpect failed 0\nshow status\n"
      "expect floodset 20 vlan ports e2\n"
      "publish pim.default route add * 232.0.0.4 iif Vlan10 oif Vlan20\nsettle\n"
      "expect state * 232.0.0.4 in-hardware\n"
      "publish pim.default route del all\nl2 flooding off\nsettle\n";
  for (std::string const kind : {"sync", "async"}) {
    auto const result = script("fabric " + kind + "\n" + life);
    EXPECT_EQ(result.exit, 0) << result.text;
    auto const dead = result.text.find("Chip c0");
    EXPECT_NE(result.text.find("232.0.0.2    10    yes     20: e2 e3", dead), std::string::npos)
        << result.text;
    auto const status = result.text.rfind("Hardware routes");
    EXPECT_EQ(result.text.find("232.0.0.2", status), std::string::npos) << result.text;
  }
}

}  // namespace

}  // namespace Brindle::Sim
