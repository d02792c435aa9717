// Scripts run end to end: publisher, shared memory, resolver, programmer and chips, in the
// processes that an operator starts. Each script checks itself by `expect`.
#include "sim/Commands.h"
#include "tests/SimTool.h"

namespace Brindle::Sim {

namespace {

using SimScripts = SimTool;

std::string const twoVlans =
    "chip add c0 ports e1 e2 e3 e4 e5\n"
    "vlan add 10 port e1\nip link add Vlan10\n"
    "vlan add 20 port e2 e3\nip link add Vlan20\n"
    "publisher start pim.default\n";
std::string const publish =
    "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20\nsettle\n";

TEST_F(SimScripts, Demo) {
  auto const demo = run("cd % && @brindle-sim run sim/demo.sim");
  EXPECT_EQ(demo.exit, 0) << demo.text;
  for (auto const * line :
       {"8 routes, 8 in hardware",
        "  kernel.default  *       239.1.1.4  room for 10.13.0.0/24 of et1",
        "  et1        10.13.0.0/24  in hardware  1        0",
        "  default  10.1.0.2      239.1.1.3    et1  1006  100: p1; 200: p5  in hardware",
        "~ (10.1.0.2, 239.1.1.1) in 1006: 100: p1 p2 -> 100: p1  <- VLAN 100 group "
        "01:00:5e:01:01:01: bridge mdb del vid 100 port p2 grp 232.1.1.1",
        "~ (10.1.0.2, 239.1.1.3) in 1006: 100: p1 -> -  <- VLAN 100: stp",
        "error MROUTE_HW_RESOURCE_FULL: Hardware resources are insufficient",
        "error MROUTE_HW_RESOURCE_NORMAL: All multicast routes are programmed"}) {
    EXPECT_NE(demo.text.find(line), std::string::npos) << line << "\n" << demo.text;
  }
}

std::string const floodedVlan =
    "l2 on\nchip add c0 ports e1 e2 e3\nvlan add 10 port e1 e2\nstart\n"
    "bridge snooping vid 10 on\nbridge router add vid 10 port e2\n";

TEST_F(SimScripts, FloodsetsOfPeersAndTheCore) {
  passes(floodedVlan +
         "evpn peer add vid 10 tep 10.9.0.1 port e1\nsettle\n"
         "expect floodset 10 peer 10.9.0.1 absent\n"
         "evpn peer add vid 10 tep 10.9.0.1 port e2 synced\nsettle\n"
         "expect floodset 10 peer 10.9.0.1 ports e1 e2\n"
         "evpn peer del vid 10 tep 10.9.0.1 port e1\nsettle\n"
         "expect floodset 10 peer 10.9.0.1 ports e2\n"
         "vxlan core-side on\nvxlan vtep add e3 lif 5001\nvxlan vlan 10 on\nsettle\n"
         "expect floodset 10 core-side ports e1 e2\nexpect floodset 10 vlan ports e1 e2 e3\n"
         "evpn peer del vid 10 tep 10.9.0.1\nvxlan core-side off\nsettle\n"
         "expect floodset 10 core-side absent\nexpect chip c0 routes 2\n");
  auto const shown = script(floodedVlan +
                            "settle\nshow floodset\nevpn peer add vid 10 tep ::1\n"
                            "evpn peer del vid 10 tep ::1\n");
  EXPECT_EQ(shown.exit, 1) << "one that is not synced";
  EXPECT_NE(shown.text.find("unknown  10    -        10: e2     in hardware"), shown.text.npos)
      << shown.text;
}

TEST_F(SimScripts, FaultsOfChips) {
  passes(twoVlans + "chip refuse c0 routes 1\n" + publish +
         "expect state 1.1.1.1 232.0.0.1 failed\nexpect log MROUTE_HW_RESOURCE_FULL\n"
         "chip free c0\nsettle\nexpect log MROUTE_HW_RESOURCE_NORMAL\n");
  EXPECT_NE(script(twoVlans + publish + "chip set c0 sets 1\n")
                .text.find("expected at least the 2 outputs in use, found 1"),
            std::string::npos);
}

TEST_F(SimScripts, FastdropsFollowTheTraffic) {
  auto const result =
      script(twoVlans + publish +
             "fastdrop threshold 2\nfastdrop max 1\nfastdrop poll 10\n"
             "traffic 1.1.1.1 232.0.0.1 vlan 10 times 5\nexpect fastdrops 0\n"
             "rpf-failure 1.1.1.1 232.0.0.1 vlan 20\n"
             "expect fastdrop 1.1.1.1 232.0.0.1 vlan 20 counting\n"
             "traffic 1.1.1.1 232.0.0.1 vlan 20 times 5\n"
             "expect fastdrop 1.1.1.1 232.0.0.1 vlan 20 in-hardware\nexpect chip c0 routes 2\n"
             "expect log MROUTE_FASTDROP_LIMIT_EXCEEDED\n"
             "clock advance 15\ntraffic 1.1.1.1 232.0.0.1 vlan 20\nclock advance 17\n"
             "expect fastdrops 1\nshow fastdrop\nclock advance 9\n"
             "expect fastdrop 1.1.1.1 232.0.0.1 vlan 20 absent\nexpect chip c0 routes 1\n"
             "clock advance 60\nexpect log MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED\n"
             "fastdrop intf Vlan20 off\nrpf-failure 1.1.1.1 232.0.0.1 vlan 20 times 9\n"
             "expect fastdrops 0\nfastdrop intf Vlan20 on\n"
             "rpf-failure 1.1.1.1 232.0.0.1 vlan 20 times 2\nexpect fastdrops 1\n"
             "clear fastdrop\nexpect fastdrops 0\n");
  EXPECT_EQ(result.exit, 0) << result.text;
  for (auto const * line :
       {"forwarded 5, dropped 0, to the CPU 0", "forwarded 0, dropped 4, to the CPU 1",
        "1 of at most 1 fastdrops (limit reached), 2 RPF failures, threshold 2, polled every 10 s",
        "1.1.1.1  232.0.0.1  Vlan20     20    in hardware  -         17.000 s ago"}) {
    EXPECT_NE(result.text.find(line), std::string::npos) << line << "\n" << result.text;
  }
}

TEST_F(SimScripts, GateWaitsForTheProtocols) {
  passes("nsf gate on\nnsf vrf default on\nnsf protocol sparse on\n" + twoVlans + publish +
         "expect state 1.1.1.1 232.0.0.1 absent\n"
         "nsf ready static on\nsettle\nexpect state 1.1.1.1 232.0.0.1 absent\n"
         "nsf ready sparse on\nsettle\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n");
}

TEST_F(SimScripts, PublisherIsReplacedWithoutLoss) {
  passes(twoVlans + publish +
         "publisher stop pim.default\nsettle\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n"
         "publisher start pim.default\nsettle\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n"
         "publish pim.default sync\nsettle\nexpect state 1.1.1.1 232.0.0.1 absent\n"
         "expect chip c0 routes 0\n");
}

TEST_F(SimScripts, TableIsTakenAwayOrSpoiltAndMadeAnew) {
  std::string const again =
      "publisher start pim.default\n"
      "publish pim.default route add 1.1.1.2 232.0.0.1 iif Vlan10 oif Vlan20\n"
      "settle\nexpect state 1.1.1.1 232.0.0.1 absent\nexpect chip c0 routes 1\n";
  for (auto const * end : {"publisher stop pim.default withdraw\n",
                           "publisher stop pim.default\ntables damage pim.default\n",
                           "publisher stop pim.default\ntables damage pim.default cut\n"}) {
    passes(twoVlans + publish + end + "settle\nexpect chip c0 routes 0\n" + again);
    passes(twoVlans + publish + end + again);
  }
  EXPECT_NE(script(twoVlans + publish + "tables damage pim.default\n")
                .text.find("is being written by another process"),
            std::string::npos);
}

TEST_F(SimScripts, TurnsAreCounted) {
  passes(twoVlans +
         "publisher start pim.default\nsettle\n"
         "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20\n"
         "clock turns 1\nexpect state 1.1.1.1 232.0.0.1 absent\n"
         "clock turns 9\nexpect state 1.1.1.1 232.0.0.1 in-hardware\n");
}

TEST_F(SimScripts, FirstErrorEndsAScript) {
  auto const result =
      script("vlan add 7\nsource " + file("inner.sim", "\nvlan port\n") + "\necho not reached\n");
  EXPECT_EQ(result.exit, 1);
  EXPECT_EQ(result.text.substr(result.text.find("brindle-sim: /")),
            "brindle-sim: " + dir() + "/script.sim:3: " + dir() +
                "/inner.sim:2: expected \"add\" or \"del\", found \"port\"\n");
  EXPECT_EQ(script(twoVlans + publish + "expect outputs 1.1.1.1 232.0.0.1 ports e2\n").exit, 1);
  EXPECT_EQ(run("@brindle-sim", "vlan add 7\nvlan del 8\n").exit, 1);
}

TEST_F(SimScripts, JsonSaysTheSame) {
  auto const text = script(twoVlans + publish + "show mroute --json\nshow hardware --json\n").text;
  std::string flat;
  for (char c : text) {
    if (c != ' ' && c != '\n') flat += c;
  }
  for (
      auto const * piece :
      {R"("source":"1.1.1.1","group":"232.0.0.1","iif":"Vlan10","vlan":10,"set":1,)"
       R"("outputs":[{"port":"e2","lif":20,"tagged":false},{"port":"e3","lif":20,"tagged":false}])",
       R"("state":"inhardware","reason":"")", R"("routesInUse":1,"routeCapacity":1000)"}) {
    EXPECT_NE(flat.find(piece), std::string::npos) << piece << "\n" << text;
  }
}

TEST_F(SimScripts, BoundariesInChipsOrLearned) {
  std::string const bounded =
      "chip add c0 ports e1\nvlan add 10 port e1\nip link add Vlan10\n"
      "boundary add 239.1.0.0/16 dev Vlan10\nboundary add 239.9.0.0/16 dev Vlan10\n";
  passes(bounded +
         "no-cache 10.1.0.9 239.1.2.3 dev Vlan10\nno-cache 10.1.0.9 239.2.2.3 dev Vlan10\nsettle\n"
         "expect chip c0 routes 1\n"
         "traffic 10.1.0.7 239.1.9.9 vlan 10\nsettle\nexpect chip c0 routes 2\nverify\n"
         "programmer kill\nprogrammer start\nsettle\nexpect chip c0 routes 0\n"
         "traffic 10.1.0.7 239.1.9.9 vlan 10\nsettle\nexpect chip c0 routes 1\n"
         "boundary del 239.1.0.0/16 dev Vlan10\nsettle\nexpect chip c0 routes 0\n");
  // A card that can deny by itself, and one that cannot.
  passes(bounded +
         "linecard add FixedSystem tcam\nsettle\nexpect chip c0 routes 2\n"
         "linecard add FixedSystem no-tcam\nsettle\nexpect chip c0 routes 0\n");
  // What was learned goes when the chips can deny, and is learned again.
  std::string const report = "no-cache 10.1.0.9 239.1.2.3 dev Vlan10\nsettle\n";
  passes(bounded + report + "expect chip c0 routes 1\nlinecard add FixedSystem tcam\nsettle\n" +
         "expect chip c0 routes 2\nlinecard del FixedSystem\nsettle\nexpect chip c0 routes 0\n" +
         report + "expect chip c0 routes 1\nverify\n");
  // A card that can disturbs nobody: what stands is not made anew, for which there is no room.
  passes("boundary system linecard L1\n" + bounded +
         "linecard add L1 tcam\nsettle\nchip refuse c0 routes 1\nlinecard add L2 tcam\nsettle\n"
         "expect chip c0 routes 2\n");
  // An interface that has lost its VLAN when its protocol comes back.
  passes(
      "vrf add red\nchip add c0 ports e1\nip link add et1 vrf red\npublisher start pim.red\n"
      "boundary add 239.1.0.0/16 dev et1\nno-cache 10.1.0.9 239.1.2.3 dev et1\nsettle\n"
      "expect chip c0 routes 1\nip link set et1 no-internal-vlan\nsettle\ndetach pim.red\n"
      "settle\nattach pim.red\nsettle\nexpect chip c0 routes 0\n"
      "ip link add et1 internal-vlan 1010 vrf red\nsettle\nexpect chip c0 routes 1\n");
  // The same of an interface that routes a VLAN: it has that all the time, unless a port takes it.
  for (bool const taken : {false, true}) {
    passes(std::string("vrf add red\nchip add c0 ports e1\nip link add Vlan10 vrf red\n"
                       "publisher start pim.red\nboundary add 239.1.0.0/16 dev Vlan10\n"
                       "no-cache 10.1.0.9 239.1.2.3 dev Vlan10\nsettle\ndetach pim.red\nsettle\n") +
           (taken ? "ip link add et1 internal-vlan 10\n" : "") +
           "attach pim.red\nsettle\nexpect chip c0 routes " + (taken ? "0" : "1") +
           (taken ? "\nip link del et1\nsettle\nexpect chip c0 routes 1\n" : "\n"));
  }
  // The number of an interface that nobody knows does nothing.
  passes(
      "chip add c0 ports e1\nboundary add 239.1.0.0/16 dev Vlan10\n"
      "boundary vif 3 dev Vlan10\nno-cache 10.1.0.9 239.1.2.3 vif 4\nsettle\n"
      "expect chip c0 routes 0\nno-cache 10.1.0.9 239.1.2.3 vif 3\nsettle\n"
      "expect chip c0 routes 1\n");
  passes("boundary system linecard L1\n" + bounded +
         "linecard add L1 tcam\nsettle\nexpect chip c0 routes 2\nverify\n"
         "linecard add L2 no-tcam\nsettle\nexpect chip c0 routes 0\n"
         "linecard del L2\nsettle\nexpect chip c0 routes 2\n");
  // A chip without room for both: one does not stand.
  for (std::string const fabric : {"", "fabric async\n"}) {
    auto const full =
        script(fabric + bounded +
               (fabric.empty() ? "chip set c0 routes 1\n" : "chip limit c0 routes 1\n") +
               "linecard add FixedSystem tcam\nsettle\nshow boundary\n");
    auto const first = full.text.find("in hardware");
    EXPECT_NE(first, full.text.npos) << full.text;
    EXPECT_EQ(full.text.find("in hardware", first + 1), full.text.npos) << full.text;
  }
  auto const explained = script(bounded +
                                "linecard add FixedSystem tcam\nsettle\n"
                                "publisher start pim.default\nexplain * 239.9.1.1\n");
  EXPECT_NE(explained.text.find("Denied on Vlan10: 239.9.0.0/16, the chips keep it out from "
                                "0.0.0.0/0\n"),
            explained.text.npos)
      << explained.text;
  passes("fabric async\n" + bounded +
         "linecard add FixedSystem tcam\nsettle\nexpect chip c0 routes 2\nverify\n");
  auto const shown = script(bounded +
                            "traffic 10.1.0.7 239.1.9.9 vlan 10\nsettle\n"
                            "show boundary\nboundary kernel\n");
  EXPECT_EQ(shown.exit, 1) << "the machines run";
  EXPECT_NE(shown.text.find("default  10.1.0.7  239.1.9.9  Vlan10     10    in hardware  0 s ago"),
            shown.text.npos)
      << shown.text;
}

TEST_F(SimScripts, BidirectionalPimFillsTablesAndFindsRoomAgain) {
  auto const shipped = contentOf(BRINDLE_SOURCES "/sim/bidir.sim");
  passes(shipped);
  passes("fabric async\n" + shipped);
  std::string const two =
      "chip add c0 ports e1\nchip add c1 ports e2\nvlan add 10 port e1 e2\nip link add Vlan10\n"
      "vrf add red\npublisher start pim.default\npublisher start pim.red\nbidir on\n"
      "bidir on vrf red\npublish pim.default bidir group add 225.0.0.0/8 ff3e::/16\n"
      "publish pim.red bidir group add 226.0.0.0/8\npublish pim.default bidir df add Vlan10 1 63\n"
      "settle\nexpect bidir groups 3\nexpect bidir profiles 1\n";
  for (std::string const kind : {"", "fabric async\n"}) {
    // What is turned off is followed no more; a programmer that starts anew clears the chips.
    auto const off = script(kind + two + "bidir off\nsettle\nshow bidir\nprogrammer kill\n" +
                            "programmer start\nbidir on\nsettle\nexpect bidir groups 3\n" +
                            "expect bidir profiles 1\n");
    EXPECT_EQ(off.exit, 0) << off.text;
    EXPECT_NE(off.text.find("225.0.0.0/8  left behind"), off.text.npos) << off.text;
    EXPECT_NE(off.text.find("226.0.0.0/8  in hardware"), off.text.npos) << off.text;
    // A damaged table is empty for whoever reads it; the other VRF goes on.
    passes(kind + two + "publisher stop pim.red\ntables damage pim.red bidir\nsettle\n" +
           "publish pim.default bidir group add 227.0.0.0/8\nsettle\nexpect bidir groups 3\n" +
           "expect log SHOAL_TABLE_REFUSED\npublisher start pim.red\n" +
           "publish pim.red bidir group add 228.0.0.0/8\nsettle\nexpect bidir groups 4\n");
  }
}

TEST_F(SimScripts, EveryCommandIsDescribed) {
  auto const page = contentOf(BRINDLE_SOURCES "/docs/sim.md");
  EXPECT_NE(page.find(CommandTable(simCommands()).help({})), page.npos);
  auto const publishing = run("@brindle-publish --table x.y -", "help\n").text;
  EXPECT_NE(page.find(publishing.substr(3, publishing.size() - 6)), page.npos) << publishing;
}

}  // namespace

}  // namespace Brindle::Sim
