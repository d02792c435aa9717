// The kernel's reports of packets that failed the reverse-path check.
#pragma once

#include <string>
#include <string_view>

#include "platform/IpGenAddr.h"
#include "platform/ShoalFiles.h"

namespace Brindle {

class MiraRoot;

namespace Sim {

// Sends frames to a resolver. Where the resolver listens to the kernel, and this process may make a
// TUN device, they are real: the kernel takes them in on that device, of the protocol on which the
// resolver's socket listens. (An Ethernet device would not do: there the type of such frames reads
// as a length.) Otherwise the resolver gets one end of a pair of sockets in place of its own.
class RpfFrames {
 public:
  // Throws CommandError if neither can be made.
  explicit RpfFrames(MiraRoot & root);

  MiraRoot const & root() const { return root_; }
  bool real() const { return static_cast<bool>(tun_); }
  // Hands over one frame. Throws CommandError if that cannot be done.
  void send(std::string_view frame);
  // Has the resolver read what arrives. Throws CommandError if nothing does.
  void deliver();

  // What such a frame says; both addresses are IPv4.
  static std::string frame(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group,
                           U32 vlan);

 private:
  MiraRoot & root_;
  ZetShoal::OpenFile tun_;
  ZetShoal::OpenFile otherEnd_;
};

}  // namespace Sim

}  // namespace Brindle
