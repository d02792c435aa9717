#include "sim/RpfFrames.h"

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mira/MiraRoot.h"
#include "platform/PacketSocket.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

// The Ethernet header of such frames: broadcast, a local address, the protocol.
constexpr char header[] = "\xff\xff\xff\xff\xff\xff\x02\0\0\0\0\x01\0\x2c";
// What a TUN device wants in front of each: no flags, the protocol (struct tun_pi).
constexpr std::string_view packetInformation("\0\0\0\x2c", 4);
// Milliseconds.
constexpr int longestRoad = 1000;

// A TUN device that is up, as long as it is open; none where the process may not have one.
ZetShoal::OpenFile openTun() {
  ZetShoal::OpenFile tun(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
  ZetShoal::OpenFile const any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  request.ifr_flags = IFF_TUN;
  if (!tun || !any || ioctl(tun.fd(), TUNSETIFF, &request) != 0) return ZetShoal::OpenFile();
  request.ifr_flags = IFF_UP;
  if (ioctl(any.fd(), SIOCSIFFLAGS, &request) != 0) return ZetShoal::OpenFile();
  return tun;
}

void appendWord(std::string & bytes, U32 word) {
  for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(word >> shift);
}

CommandError failure(char const * what) {
  return CommandError(std::string(what) + ": " + std::strerror(errno));
}

}  // namespace

RpfFrames::RpfFrames(MiraRoot & root) : root_(root) {
  int const listening = root.socket();
  if (listening >= 0) tun_ = openTun();
  if (tun_) return;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) throw failure("socketpair");
  root.socketIs(ends[0]);
  otherEnd_ = ZetShoal::OpenFile(ends[1]);
  if (listening >= 0) Zet::closeSocket(listening);
}

void RpfFrames::send(std::string_view frame) {
  std::string const bytes = std::string(real() ? packetInformation : "").append(frame);
  int const to = (real() ? tun_ : otherEnd_).fd();
  if (write(to, bytes.data(), bytes.size()) < 0) throw failure("an RPF failure cannot be sent");
}

void RpfFrames::deliver() {
  pollfd arrival{root_.socket(), POLLIN, 0};
  if (poll(&arrival, 1, longestRoad) != 1) throw CommandError("an RPF failure did not arrive");
  root_.handleReadable();
}

std::string RpfFrames::frame(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group,
                             U32 vlan) {
  std::string bytes(header, sizeof header - 1);
  for (U32 word : {source.v4(), group.v4(), vlan}) appendWord(bytes, word);
  return bytes;
}

}  // namespace Brindle::Sim
