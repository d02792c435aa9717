// Network namespaces of a test's own, and what is done in them.
#pragma once
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include "platform/MulticastRoutingSocket.h"

namespace Tests {

// "red" has a device r0 with 10.0.0.1/24; at its other end is s0 of a host with 10.0.0.2, in "src".
class OwnNetworks {
 public:
  // Runs the scenario in a child process that is in a third namespace of its own. Skips the test
  // where a process may have none.
  static void run(std::function<void(OwnNetworks &)> const & scenario) {
    constexpr int forbidden = 77;
    std::fflush(stdout);
    pid_t const child = fork();
    if (child == 0) {
      OwnNetworks networks;
      if (!networks.make()) _exit(forbidden);
      scenario(networks);
      std::fflush(stdout);
      _exit(testing::Test::HasFailure());
    }
    int ended = -1;
    waitpid(child, &ended, 0);
    if (WIFEXITED(ended) && WEXITSTATUS(ended) == forbidden) {
      GTEST_SKIP() << "no right to network namespaces with multicast routing in them";
    }
    EXPECT_EQ(ended, 0);
  }

  static bool shell(std::string const & command) { return std::system(command.c_str()) == 0; }
  static std::string here() {
    char name[64];
    auto const n = readlink("/proc/thread-self/ns/net", name, sizeof name);
    return std::string(name, n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  // A raw socket of IGMP, or one of UDP, in a namespace.
  static ZetShoal::OpenFile socketIn(char const * netNs, int type, int protocol) {
    ZetShoal::OpenFile const home(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    ZetShoal::OpenFile const there(
        open((std::string("/run/netns/") + netNs).c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(setns(there.fd(), CLONE_NEWNET), 0);
    ZetShoal::OpenFile made(socket(AF_INET, type | SOCK_CLOEXEC, protocol));
    EXPECT_EQ(setns(home.fd(), CLONE_NEWNET), 0);
    return made;
  }
  // Makes r0 the virtual interface of that number; the table must have an owner.
  void addVif(U16 number) {
    Zet::addMulticastVif(socketIn("red", SOCK_RAW, IPPROTO_IGMP).fd(), number, "r0");
  }
  // The host sends.
  void sendUdp(char const * group) { send(SOCK_DGRAM, IPPROTO_UDP, group, "data"); }
  void sendIgmpReport(char const * group) {
    std::string report("\x16\0\0\0", 4);
    in_addr_t const address = inet_addr(group);
    report.append(reinterpret_cast<char const *>(&address), sizeof address);
    U32 sum = 0;
    for (std::size_t i = 0; i < report.size(); i += 2) {
      sum += static_cast<U32>(static_cast<U8>(report[i]) << 8 | static_cast<U8>(report[i + 1]));
    }
    sum = ~(sum + (sum >> 16)) & 0xffff;
    report[2] = static_cast<char>(sum >> 8);
    report[3] = static_cast<char>(sum);
    send(SOCK_RAW, IPPROTO_IGMP, group, report);
  }

 private:
  bool make() {
    uid_t const user = getuid();
    gid_t const userGroup = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) != 0) return false;
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/gid_map") << "0 " << userGroup << " 1";
    if (mount("own", "/run", "tmpfs", 0, nullptr) != 0) return false;
    return mkdir("/run/netns", 0755) == 0 &&
           shell(
               "ip netns add red && ip netns add src && "
               "ip -n red link add r0 type veth peer name s0 netns src && "
               "ip -n red addr add 10.0.0.1/24 dev r0 && ip -n red link set r0 up && "
               "ip -n src addr add 10.0.0.2/24 dev s0 && ip -n src link set s0 up");
  }
  static void send(int type, int protocol, char const * group, std::string const & bytes) {
    auto const from = socketIn("src", type, protocol);
    in_addr const host{inet_addr("10.0.0.2")};
    EXPECT_EQ(setsockopt(from.fd(), IPPROTO_IP, IP_MULTICAST_IF, &host, sizeof host), 0);
    int const ttl = protocol == IPPROTO_IGMP ? 1 : 8;
    EXPECT_EQ(setsockopt(from.fd(), IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl), 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(5000);
    to.sin_addr.s_addr = inet_addr(group);
    EXPECT_EQ(sendto(from.fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&to),
                     sizeof to),
              static_cast<ssize_t>(bytes.size()));
  }
};

}  // namespace Tests
