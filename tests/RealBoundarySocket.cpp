// Real multicast traffic from another network through the kernel to the records of a boundary.
// Skipped where a process may have no network of its own.
#include "sim/Commands.h"
#include "sim/Host.h"
#include "tests/BoundaryWorld.h"
#include "tests/LogLines.h"
#include "tests/OwnNetworks.h"
#include "tests/Switch.h"

namespace {

using namespace Tests;
using Routing::Multicast::Notify::MrtNotifySocketPam;

// The real one, counting.
class CountingPam final : public MrtNotifySocketPam {
 public:
  using MrtNotifySocketPam::MrtNotifySocketPam;
  Zet::Ptr<Nettle::Pkt> rxPkt() override {
    auto pkt = MrtNotifySocketPam::rxPkt();
    packets += static_cast<bool>(pkt);
    return pkt;
  }
  static inline int packets = 0;
};

Zet::Ptr<MrtNotifySocketPam> newCountingPam(Zet::Name name) { return Zet::make<CountingPam>(name); }

// At most a second of real time.
void waitFor(int packets) {
  for (int i = 0; i < 200 && CountingPam::packets < packets; ++i) {
    Zet::activityManager()->runOnce(false);
    usleep(5000);
  }
}

class RealBoundarySocket : public BoundaryWorld {
 protected:
  // The VRF "red" in a namespace, with a boundary against 239.1.0.0/16 on the interface of all
  // virtual interfaces.
  void startIn(char const * netNs) {
    auto const status = vifs->vrfStatusIs("red");
    for (U32 vif = 0; vif <= 0xffff; ++vif) status->intfIdCollIs(static_cast<U16>(vif), vlan(1));
    vrfConfig->configIs("red")->routingIs(true);
    vrfs->vrfIs("red")->networkNamespaceIs(netNs);
    boundary(1, "239.1.0.0/16");
    auto in = inputs();
    in.newPam = &newCountingPam;
    root = Zet::make<Root>(in);
  }
  bool listens() { return machine("red").mrtPam()->pam()->enabled(); }
  void evaluateAgain() {
    vrfConfig->configIs("red")->routingIs(false);
    vrfConfig->configIs("red")->routingIs(true);
  }
};

// A whole switch with such a boundary.
class RealBoundaryDrop : public Switch {
 protected:
  void startWith(Brindle::BoundaryFastdrop::BoundaryFastdropRootSm::Inputs in) {
    configure("red");
    vrfs->vrfIs("red")->networkNamespaceIs("red");
    vlan(10, "Ethernet1", "red");
    table("pim.red");
    settle();
    in.allVrfStatusLocal = vrfs;
    in.vrfConfig = vrfConfig;
    in.newPam = &newCountingPam;
    agent->mira()->boundaryFastdropStatusCollIs(in.statusColl);
    machines = Zet::make<Brindle::BoundaryFastdrop::BoundaryFastdropRootSm>(in);
  }
  Zet::Ptr<Brindle::BoundaryFastdrop::BoundaryFastdropRootSm> machines;
};

}  // namespace

TEST_F(RealBoundaryDrop, ADeniedGroupBecomesADropInTheChip) {
  OwnNetworks::run([this](OwnNetworks & networks) {
    auto const vifs = Zet::make<Routing::KernelMfib::StatusColl>();
    vifs->vrfStatusIs("red")->intfIdCollIs(0, intf("Vlan10"));
    auto const mfib = Zet::make<Routing::Multicast::Fib::Status>();
    mfib->intfBoundaryStatusIs("Vlan10")->boundaryIs(Nettle::IpGenPrefix("239.1.0.0/16"), true);
    startWith({.kernelMfibStatusColl = vifs,
               .mfibStatus = mfib,
               .statusColl = Zet::make<Brindle::BoundaryFastdrop::StatusColl>()});
    networks.addVif(0);
    networks.sendIgmpReport("239.1.9.9");
    networks.sendUdp("239.2.1.1");
    networks.sendUdp("239.1.1.1");
    waitFor(3);
    EXPECT_EQ(entries(), "(10.0.0.2, 239.1.1.1)@10 -> Ethernet1@10");
    mfib->intfBoundaryStatusDel("Vlan10");
    settle();
    EXPECT_EQ(entries(), "");
  });
}

TEST_F(RealBoundarySocket, ADeniedGroupIsRecordedAnotherCountsAnIgmpReportDoesNothing) {
  OwnNetworks::run([this](OwnNetworks & networks) {
    std::string const home = OwnNetworks::here();
    startIn("red");
    ASSERT_TRUE(listens());
    EXPECT_EQ(OwnNetworks::here(), home);
    networks.addVif(5);
    networks.sendIgmpReport("239.1.9.9");
    networks.sendUdp("239.2.1.1");
    networks.sendUdp("239.1.1.1");
    waitFor(3);
    EXPECT_EQ(CountingPam::packets, 3);
    EXPECT_EQ(machine("red").noCacheCounter(), 2u);
    EXPECT_EQ(recorded("red"), "Vlan1: 239.1.1.1 (10.0.0.2)");
  });
}

TEST(RealBoundarySim, ScriptsHearTheKernel) {
  OwnNetworks::run([](OwnNetworks & networks) {
    std::ostringstream out;
    Brindle::Sim::Host host(out);
    Brindle::Sim::HostInterpreter lines(host);
    for (auto const * line :
         {"tables private", "chip add c0 ports e1", "vrf add red", "vlan add 10 port e1",
          "ip link add Vlan10 vrf red", "boundary kernel", "boundary add 239.1.0.0/16 dev Vlan10",
          "settle", "boundary vif 0 dev Vlan10 of r0 vrf red"}) {
      lines.run(line);
    }
    EXPECT_THROW(lines.run("boundary vif 1 dev Vlan10 of r9 vrf red"), Brindle::Sim::CommandError);
    networks.sendUdp("239.1.1.1");
    lines.run("settle");
    out.str("");
    lines.run("explain vrf red 10.0.0.2 239.1.1.1");
    EXPECT_NE(out.str().find("Denied on Vlan10: 239.1.0.0/16, reported"), std::string::npos)
        << out.str();
  });
}

TEST_F(RealBoundarySocket, ATableWithAnotherOwnerIsToldAndTriedAgain) {
  OwnNetworks::run([this](OwnNetworks & networks) {
    LogLines log;
    auto other = Zet::openMulticastRoutingSocket("red");
    startIn("red");
    EXPECT_FALSE(listens());
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0],
              "MCAST_BOUNDARY_SOCKET_FAILED: Multicast boundaries drop nothing in network "
              "namespace red: taking over the multicast routing table: Address already in use.");
    other = ZetShoal::OpenFile();
    evaluateAgain();
    EXPECT_TRUE(listens());
    networks.addVif(0);
    networks.sendUdp("239.1.1.1");
    waitFor(1);
    EXPECT_EQ(recorded("red"), "Vlan1: 239.1.1.1 (10.0.0.2)");
  });
}

TEST_F(RealBoundarySocket, ANamespaceThatIsNotThereIsTold) {
  OwnNetworks::run([this](OwnNetworks &) {
    LogLines log;
    std::string const home = OwnNetworks::here();
    std::ofstream("/run/netns/file") << "no namespace";
    for (auto const * name : {"blue", "../netns/red", "file", "."}) {
      SCOPED_TRACE(name);
      root = nullptr;
      startIn(name);
      EXPECT_FALSE(listens());
      EXPECT_EQ(OwnNetworks::here(), home);
      clock->nowIs(clock->now() + 5);
    }
    ASSERT_EQ(log.lines.size(), 4u);
    EXPECT_NE(log.lines[0].find("opening /run/netns/blue: No such file or directory"),
              std::string::npos);
    EXPECT_NE(log.lines[1].find("Invalid argument"), std::string::npos);
    EXPECT_NE(log.lines[2].find("entering /run/netns/file"), std::string::npos);
  });
}
