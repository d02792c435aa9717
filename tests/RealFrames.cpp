// Real frames of RPF failures, from a network device through the kernel to the entries of a chip,
// in a network of the test's own. Skipped where a process may have none.
#include <linux/if_packet.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <random>

#include "platform/PacketSocket.h"
#include "sim/RpfFrames.h"
#include "tests/SimTool.h"
#include "tests/Switch.h"

namespace {

using namespace Tests;
using Brindle::Sim::RpfFrames;

constexpr char const * kMissing = "no right to a network namespace with a TUN device in it";

// The frames of a file in the form of pcap-savefile(5).
std::vector<std::string> framesOf(std::string const & path) {
  std::ifstream in(path, std::ios::binary);
  std::string const file{std::istreambuf_iterator<char>(in), {}};
  std::vector<std::string> frames;
  for (std::size_t at = 24; at + 16 <= file.size();) {
    U32 length;
    file.copy(reinterpret_cast<char *>(&length), sizeof length, at + 8);
    frames.push_back(file.substr(at + 16, length));
    at += 16 + length;
  }
  return frames;
}

class RealFrames : public Switch {
 protected:
  // Runs the scenario in a child process that has the network to itself.
  void inOwnNetwork(std::function<void(RpfFrames &)> const & scenario) {
    constexpr int forbidden = 77;
    std::fflush(stdout);
    pid_t const child = fork();
    if (child == 0) {
      if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) _exit(forbidden);
      start();
      agent->mira()->socketIs(Zet::openPacketSocket(0x2c00, 200));
      RpfFrames frames(*agent->mira());
      if (!frames.real()) _exit(forbidden);
      scenario(frames);
      std::fflush(stdout);
      _exit(HasFailure());
    }
    int ended = -1;
    waitpid(child, &ended, 0);
    if (WIFEXITED(ended) && WEXITSTATUS(ended) == forbidden) GTEST_SKIP() << kMissing;
    EXPECT_EQ(ended, 0);
  }
  static std::string ofStream(U32 vlan) {
    return RpfFrames::frame(Nettle::IpGenAddr("10.0.0.1"), Nettle::IpGenAddr("225.1.1.1"), vlan);
  }
  void route() {
    vlan(10, "Ethernet1");
    vlan(100, "Ethernet2");
    vlan(4094, "Ethernet3");
    intfVlans->internalVlanIdIs(intf("Ethernet4"), Bridging::VlanId(1007));
    publish("10.0.0.1", "225.1.1.1", "Vlan10", "");
    settle();
  }
};

TEST_F(RealFrames, RecordedOnesReachTheChip) {
  inOwnNetwork([this](RpfFrames & frames) {
    route();
    for (auto const & frame : framesOf(BRINDLE_SOURCES "/tests/data/rpf-failures.pcap")) {
      frames.send(frame);
      frames.deliver();
    }
    EXPECT_EQ(entries(),
              "(10.0.0.1, 225.1.1.1)@10 -> ; (10.0.0.1, 225.1.1.1)@100 -> Ethernet2@100; "
              "(10.0.0.1, 225.1.1.1)@1007 -> ; (10.0.0.1, 225.1.1.1)@4094 -> Ethernet3@4094");
    EXPECT_EQ(mira().rpfFailureCount(), 3u) << "the others name no VLAN";
  });
}

TEST_F(RealFrames, OfABacklogTheKernelKeepsFew) {
  inOwnNetwork([](RpfFrames & frames) {
    for (int i = 0; i < 20; ++i) frames.send(ofStream(100));
    auto const & root = frames.root();
    frames.deliver();
    tpacket_stats counted{};
    socklen_t size = sizeof counted;
    getsockopt(root.socket(), SOL_PACKET, PACKET_STATISTICS, &counted, &size);
    EXPECT_EQ(counted.tp_packets, 20u);
    EXPECT_EQ(root.handleReadableCount() + counted.tp_drops, 20u);
    EXPECT_GT(counted.tp_drops, 10u);
  });
}

TEST_F(RealFrames, OfAnyContentAndLengthAreCountedAndNoMore) {
  inOwnNetwork([this](RpfFrames & frames) {
    route();
    std::mt19937 random(20);
    auto const upTo = [&](U32 n) { return static_cast<U32>(random() % n); };
    U64 named = 0;
    bool failed = false;
    for (int i = 0; i < 3000; ++i) {
      std::string frame = ofStream(upTo(4200));
      frame.resize(1 + upTo(i % 3 ? 40 : 2100));
      for (U32 n = upTo(3); n > 0; --n) {
        frame[upTo(static_cast<U32>(frame.size()))] = static_cast<char>(random());
      }
      std::string padded = frame + std::string(26, '\0');
      U32 vlan = 0;
      for (std::size_t at = 22; at < 26; ++at) vlan = vlan << 8 | static_cast<U8>(padded[at]);
      named += vlan >= 1 && vlan <= 4094;
      failed |= frame.size() >= 26 && frame.compare(14, 12, ofStream(100), 14) == 0;
      frames.send(frame);
      frames.deliver();
    }
    EXPECT_EQ(mira().rpfFailureCount(), named);
    EXPECT_GT(named, 1000u);
    EXPECT_EQ(routes().mroute().size(), 1u);
    EXPECT_LE(routes().fastdropCount(), 3u) << "there are three other interfaces";
    EXPECT_EQ(mroute("10.0.0.1", "225.1.1.1")->fastdrop().contains(Bridging::VlanId(100)), failed);
  });
}

using RealFramesOfTheTool = Brindle::Sim::SimTool;

TEST_F(RealFramesOfTheTool, ReachTheSocketThatTheLibraryOpens) {
  if (access("/dev/net/tun", R_OK | W_OK) != 0) GTEST_SKIP() << kMissing;
  auto const result =
      run("unshare -Urn env -u MIRA_NO_FASTDROPS @brindle-sim",
          "tables private\nchip add c0 ports e1 e2\n"
          "vlan add 10 port e1\nip link add Vlan10\nvlan add 20 port e2\nip link add Vlan20\n"
          "publisher start pim.default\n"
          "publish pim.default route add 1.1.1.1 232.0.0.1 iif Vlan10\nsettle\n"
          "rpf-failure 1.1.1.1 232.0.0.1 vlan 20\n"
          "expect fastdrop 1.1.1.1 232.0.0.1 vlan 20 in-hardware\n");
  if (result.text.find("unshare: ") != std::string::npos) GTEST_SKIP() << kMissing;
  EXPECT_EQ(result.exit, 0) << result.text;
  EXPECT_NE(result.text.find("in VLAN 20, by the kernel\n"), std::string::npos) << result.text;
}

}  // namespace
