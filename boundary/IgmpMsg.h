// A message of the kernel's multicast routing, laid out as `struct igmpmsg` (linux/mroute.h): an IP
// header of which the kernel has overwritten what it needs.
#pragma once

#include <cstring>
#include <span>

#include "platform/IpGenAddr.h"

namespace Brindle::BoundaryFastdrop {

class IgmpMsg {
 public:
  static constexpr std::size_t bytes = 20;
  static constexpr U8 noCacheMessage = 1;

  // REQUIRES: at least `bytes`, which last as long as this does.
  explicit IgmpMsg(std::span<char const> data) : data_(data.data()) {}

  U8 type() const { return static_cast<U8>(data_[8]); }
  // Of an IP packet its protocol; a message of the kernel has 0 there. An IGMP packet of others,
  // which comes on the same socket, has a TTL of 1 in the place of the type.
  U8 ipProto() const { return static_cast<U8>(data_[9]); }
  bool isNoCache() const { return type() == noCacheMessage && ipProto() == 0; }
  U16 vif() const {
    U16 vif;
    std::memcpy(&vif, data_ + 10, sizeof vif);
    return vif;
  }
  Nettle::IpGenAddr source() const { return address(12); }
  Nettle::IpGenAddr group() const { return address(16); }

 private:
  Nettle::IpGenAddr address(std::size_t at) const {
    U32 word;
    std::memcpy(&word, data_ + at, sizeof word);
    return Nettle::IpGenAddr(__builtin_bswap32(word));
  }
  char const * data_;
};

}  // namespace Brindle::BoundaryFastdrop
