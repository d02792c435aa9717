// `explain`: what it prints of a route, that what it says would change a port does, and what it
// says of routes that are not in hardware.
#include <nlohmann/json.hpp>

#include "sim/ExplainWords.h"
#include "sim/Host.h"
#include "tests/SimTool.h"

namespace Brindle::Sim {

namespace {

using Json = nlohmann::json;

class SimExplain : public SimTool {
 protected:
  std::string textOf(std::string const & lines) const {
    auto const result = script(lines);
    EXPECT_EQ(result.exit, 0) << result.text;
    return result.text;
  }
  std::string const two_ =
      "chip add c0 ports e1 e2\nvlan add 10 port e1\nip link add Vlan10\n"
      "vlan add 20 port e2\nip link add Vlan20\npublisher start pim.default\n";
  Json jsonOf(std::string const & lines) const { return Json::parse(textOf(lines)); }
};

// A listener, a router, a port without either, one that spanning tree holds back, listeners that
// are not in the VLAN; a LAG of two, an empty one, one of the MLAG peer; the CPU.
std::string const world =
    "chip add c0 ports e1 e2 e3 e4 e5 e6 e7 e8 e9\n"
    "vlan add 10 port e1\nip link add Vlan10\n"
    "vlan add 20 port e2 e3 e4 e5 Cpu\nip link add Vlan20\n"
    "lag add Port-Channel1 member e6 e7\nlag add Port-Channel2\n"
    "vlan add 20 port Port-Channel1 Port-Channel2 Port-Channel3\n"
    "bridge snooping vid 20 on\n"
    "bridge mdb add vid 20 port e2 e5 e9 Port-Channel1 Port-Channel2 Cpu grp 232.0.0.1\n"
    "bridge router add vid 20 port e3 Port-Channel3\n"
    "stp vlan 20 port e5 discarding\nstp vlan 20 port e9 forwarding\n"
    "ip link add Vlan30\n"
    "publisher start pim.default\n"
    "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20 Vlan30 et8 to-cpu\n"
    "settle\n";

TEST_F(SimExplain, PrintsWhatDecidedEachPort) {
  EXPECT_EQ(textOf(world + "explain 1.1.1.1 232.0.0.1\n"),
            R"((1.1.1.1, 232.0.0.1) in VRF default: in hardware
Published by pim.default, priority 0: its record counts
Input: Vlan10 in VLAN 10, the first output of its record that accepts
Output Vlan10=accept in VLAN 10: traffic is accepted there
Output Vlan20 in VLAN 20: traffic is sent out
Output Vlan30 in VLAN 30: traffic is sent out
Output et8: it has no VLAN
  would change it: ip link add et8
VLAN 10: traffic comes in there, by its only port that forwards
  out  e1: traffic comes in there, and no other port of VLAN 10 forwards
VLAN 20: snooping is on: ports with listeners or routers get it
  out  Cpu: the CPU is no output of a chip
  out  Port-Channel1: a LAG, in whose place: e6 e7
  out  Port-Channel2: a LAG with no member that is up here
  out  Port-Channel3: a LAG of the MLAG peer, of which no port is here
  in   e2: a listener for 232.0.0.1 (01:00:5e:00:00:01)
  in   e3: a multicast router
  out  e4: no listener for 232.0.0.1 and no router port; snooping is on in VLAN 20
  out  e5: a listener for 232.0.0.1 (01:00:5e:00:00:01), but discarding in spanning tree vlan20
  in   e6 e7: of Port-Channel1: a listener for 232.0.0.1 (01:00:5e:00:00:01)
  out  e9: a listener for 232.0.0.1 (01:00:5e:00:00:01), but not in VLAN 20
VLAN 30: there is no such VLAN
  would change it: vlan add 30
Also to the CPU: its record asks for that
Chip c0: in VLAN 10 -> 20: e2 e3 e6 e7
)");
}

TEST_F(SimExplain, BidirectionalRoutesAreAcceptedByProfile) {
  auto const explained = [&](std::string const & rpa, std::string const & besides = "") {
    return textOf(two_ + "publish pim.default route add * 239.1.1.1 iif Vlan10 rpa " + rpa +
                  " accept-df oif Vlan20\n" + besides + "settle\nexplain * 239.1.1.1\n");
  };
  auto const tells = [](std::string const & text, std::string const & what) {
    return text.find(what) != text.npos;
  };
  std::string const input =
      "Input: where the switch is designated forwarder for rendezvous point 7: ";
  auto const nowhere = explained("7");
  EXPECT_TRUE(tells(nowhere, input + "nowhere, as the chips have it\n")) << nowhere;
  auto const stands = explained("7", "bidir on\npublish pim.default bidir df add Vlan20 7\n");
  EXPECT_TRUE(tells(stands, input + "VLAN 20\n")) << stands;
  EXPECT_TRUE(tells(stands, "Chip c0: in VLANs by profile -> 20: e2")) << stands;
  EXPECT_TRUE(tells(explained("65535"), "no entry, its rendezvous point has no index yet"));
  EXPECT_TRUE(tells(explained("65534"), "no entry, there was no index left"));
}

TEST_F(SimExplain, WhatWouldChangeAPortDoes) {
  U32 tried = 0;
  auto const shown = jsonOf(world + "explain 1.1.1.1 232.0.0.1 --json\n");
  for (auto const & vlan : shown["vlans"]) {
    for (auto const & port : vlan["ports"]) {
      for (std::string const remedy : port["wouldChangeIt"]) {
        if (remedy.find("PORT") != remedy.npos) continue;
        std::string const name = port["port"];
        auto const after = jsonOf(world + remedy + "\nsettle\nexplain 1.1.1.1 232.0.0.1 port " +
                                  name + " --json\n");
        EXPECT_TRUE(after["vlans"][0]["ports"][0]["in"]) << name << ": " << remedy << "\n" << after;
        ++tried;
      }
    }
  }
  EXPECT_GE(tried, 4u);
}

TEST_F(SimExplain, OneLineSaysWhyARouteIsNotInHardware) {
  std::string const publish =
      "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 oif Vlan20\n";
  std::string const star = "publish pim.default route add * 232.0.0.1 iif Vlan10 oif Vlan20";
  std::string const explain = "explain 1.1.1.1 232.0.0.1\n", explainStar = "explain * 232.0.0.1\n";
  struct {
    std::string lines;
    char const * state;
    char const * remedy;
  } const cases[] = {
      {two_ + explain, "not there, no protocol publishes it",
       "publish PROTOCOL.default route add 1.1.1.1 232.0.0.1 iif IIF oif OIF"},
      {two_ + publish + explain, "not there, it has been published just now, and not been read yet",
       "settle"},
      {two_ + star + " hold\nsettle\n" + explainStar,
       "not there, it is published as not to be installed yet (hold)",
       "publish pim.default route add * 232.0.0.1"},
      {two_ + "publish pim.default route add * 232.0.0.1 iif et9 oif Vlan20\nsettle\n" +
           explainStar,
       "not there, its input et9 has no VLAN", "ip link add et9"},
      {two_ + "publish pim.default route add 1.1.1.1 232.0.0.1 frr Vlan10 oif Vlan20\nsettle\n" +
           explain,
       "not there, it has no input", nullptr},
      {two_ + "ip addr add 10.1.0.1/24 dev Vlan10\nchip set c0 routes 0\n" + star + "\nsettle\n" +
           explainStar,
       "waiting, it waits until the connected subnets of Vlan10 are in hardware",
       "chip set CHIP routes ROUTES"},
      {two_ + "ip addr add 10.1.0.1/24 dev Vlan10\n" + star +
           "\nsettle\nexplain 10.1.0.0/24 224.0.0.0/4\n",
       "in hardware\nInput: Vlan10 in VLAN 10, on which the connected subnet is\n",
       "Also to the CPU: packets of connected subnets go there"},
      {two_ + "ip multicast-routing off\n" + publish + "settle\n" + explain,
       "not there, multicast routing is off", "ip multicast-routing on vrf default"},
      {two_ + "ip routing off\n" + publish + "settle\n" + explain, "not there, routing is off",
       "ip routing on vrf default"},
      {two_ + "hw routing off\n" + publish + "settle\n" + explain,
       "not there, the hardware does not route", "hw routing on"},
      {"nsf gate on\nnsf vrf default on\nnsf protocol sparse on\n" + two_ + publish + "settle\n" +
           explain,
       "not there, after the restart it waits for the protocols", "clock advance 900"},
      {two_ + "chip refuse c0 routes 1\n" + publish + "settle\n" + explain,
       "failed, c0: no route entry", "chip set c0 routes ROUTES"},
      {two_ + publish + "settle\nprogrammer kill\n" + explain, "blocked, no programmer runs",
       "programmer start"},
      {two_ + publish + "settle\nchip del c0\n" + explain, "no entry, there is no chip",
       "chip add CHIP ports PORT"},
      {two_ + publish + "settle\nvrf add red\nip link set Vlan10 vrf red\nsettle\n" + explain,
       "in hardware, its input is not in VRF default: it stays as it is", nullptr},
      {two_ + publish + "settle\nstp vlan 20 port e2 discarding\n" + explain,
       "in hardware, what stands is older than this: the next review changes it", "settle"},
      {"fabric async\n" + two_ + "chip answers c0 on-command\n" + publish + "settle\n" + explain,
       "in progress, chips have not answered", "xact ok"},
      {two_ + publish + "settle\nchip add c1\n" + explain, "in hardware\n", "Chip c1: no entry"},
      {"fabric async\n" + two_ + "start\nreview off\n" + publish + "settle\n" + explain,
       "blocked, the review is off", "review on"},
      {"fabric async\n" + two_ + publish + "settle\n" + explain, "in hardware\n", nullptr},
  };
  for (auto const & c : cases) {
    auto const text = textOf(c.lines);
    EXPECT_NE(text.find(std::string("in VRF default: ") + c.state), text.npos) << c.lines << text;
    EXPECT_TRUE(!c.remedy || text.find(c.remedy) != text.npos) << c.lines << text;
  }
  auto const noVrf = script(two_ + "explain vrf red 1.1.1.1 232.0.0.1\n");
  EXPECT_EQ(noVrf.exit, 1);
  EXPECT_NE(noVrf.text.find("expected a VRF that is routed, found \"red\""), noVrf.text.npos);
}

TEST_F(SimExplain, TellsOfSpecialEntriesAndOfOutputsThatAreNone) {
  EXPECT_EQ(
      textOf(two_ +
             "ip link add et9 internal-vlan 60\nvlan add 30 40 50 70\nip link add Vlan30\n"
             "ip link add Vlan40\nip link add Vlan50\nip link add Vlan70\n"
             "publisher start kernel.default\n"
             "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10 notify Vlan30 fastdrop "
             "Vlan40 frr Vlan50 priority 2 oif Vlan20=forward+fastdrop Vlan30=notify "
             "Vlan40=fastdrop Vlan50=frr Vlan60 Vlan70=accept\n"
             "publish kernel.default route add 1.1.1.1 232.0.0.1 iif Vlan20 oif Vlan10\n"
             "settle\nexplain 1.1.1.1 232.0.0.1\n"),
      R"((1.1.1.1, 232.0.0.1) in VRF default: in hardware
Published by pim.default, priority 2: its record counts
Published by kernel.default, priority 0: another record counts
Input: Vlan10 in VLAN 10, the first output of its record that accepts
Output Vlan10=accept in VLAN 10: traffic is accepted there
Output Vlan20=forward+fastdrop in VLAN 20: traffic is sent out
Output Vlan30=notify in VLAN 30: nothing is sent out of it, nor accepted there
Output Vlan40=fastdrop in VLAN 40: nothing is sent out of it, nor accepted there
Output Vlan50=frr in VLAN 50: nothing is sent out of it, nor accepted there
Output Vlan60: it has no VLAN: VLAN 60 is the internal VLAN of et9
Output Vlan70=accept in VLAN 70: it accepts only, and another output accepts already: ignored
VLAN 10: traffic comes in there, by its only port that forwards
  out  e1: traffic comes in there, and no other port of VLAN 10 forwards
VLAN 20: all ports that forward get it: snooping is off in VLAN 20
  in   e2: snooping is off in VLAN 20
Besides: no persistent fastdrop in VLAN 20 (Vlan20): traffic is sent out there
Besides: no notify entry in VLAN 30 (Vlan30): it is published as not programmable
Besides: persistent fastdrop in VLAN 40 (Vlan40)
Besides: fast-reroute entry in VLAN 50 (Vlan50)
Chip c0: in VLAN 10 -> 20: e2
Chip c0: in VLAN 40 -> 10: e1
Chip c0: in VLAN 50 -> 20: e2
)");
}

TEST_F(SimExplain, ADesignatedMemberOfALagAndAPortOfNoOutputVlan) {
  auto const text = textOf(
      "hw family ipv6\nlag operation designated\nchip add c0 ports e1 e2 e3 e4\n"
      "vlan add 10 port e1\nip link add Vlan10\nlag add Port-Channel1 member e3 e4\n"
      "vlan add 20 port e2 Port-Channel1\nip link add Vlan20\npublisher start pim.default\n"
      "publish pim.default route add 2001:db8::1 ff0e::1 iif Vlan10 oif Vlan20\n"
      "settle\nexplain 2001:db8::1 ff0e::1 port e3\nexplain 2001:db8::1 ff0e::1 port e4\n"
      "explain 2001:db8::1 ff0e::1 port e9\n");
  for (auto const * line : {"\n  in   e3: of Port-Channel1: IPv6 is not snooped\n",
                            "\n  out  e4: of Port-Channel1: another member carries the traffic\n",
                            "\n  out  e9: in no VLAN that the route is sent to\n"
                            "       would change it: vlan add 20 port e9\n"}) {
    EXPECT_NE(text.find(line), text.npos) << line << text;
  }
}

// What records of a real switch bring about, but no command of this one.
TEST_F(SimExplain, WordsOfWhatNoCommandBringsAbout) {
  std::ostringstream out;
  Host host(out);
  KeyView const key{L3::VrfName("default"), {}};
  Explanation explanation;
  ExplainWords const words(host, key, explanation);
  Explanation::Port port{Bridging::VlanId(20), Nettle::IntfId("e1"), OutLif(20), PortWish::nobody,
                         PortVerdict::notConfigured};
  EXPECT_EQ(words.of(port).text, "not configured in VLAN 20, and configured ports count");
  port.port = Nettle::IntfId("Ethernet1.5");
  port.verdict = PortVerdict::notAnOutput;
  EXPECT_EQ(words.of(port).text, "a sub-interface without a logical interface");
  EXPECT_EQ(words.of(RouteVerdict::outputUnknown).record, "published record");
}

}  // namespace

}  // namespace Brindle::Sim
