// What the kernel says of a packet that failed the reverse-path check: an Ethernet header, which
// nobody reads, then source, group and the VLAN that it came in on, each a word in network byte
// order.
#pragma once
#include <cstring>

#include "platform/IpGenAddr.h"

namespace Brindle {

class RpfMessage {
 public:
  static constexpr U32 sourceOffset = 14;
  static constexpr U32 groupOffset = 18;
  static constexpr U32 vlanOffset = 22;
  static constexpr U32 minBytes = 26;
  // What is read of a longer one.
  static constexpr U32 maxBytes = 2048;

  // REQUIRES: minBytes at `bytes`, which must outlive this.
  explicit RpfMessage(char const * bytes) : bytes_(bytes) {}

  Nettle::IpGenAddr source() const { return Nettle::IpGenAddr(word(sourceOffset)); }
  Nettle::IpGenAddr group() const { return Nettle::IpGenAddr(word(groupOffset)); }
  // As it was sent: any number.
  U32 vlan() const { return word(vlanOffset); }

 private:
  U32 word(U32 offset) const {
    U32 word;
    std::memcpy(&word, bytes_ + offset, sizeof word);
    return __builtin_bswap32(word);
  }

  char const * bytes_;
};

}  // namespace Brindle
