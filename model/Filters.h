// Small Bloom filters: what a route depends on, and what has changed since its last computation. A
// change sets one bit of a mark, a route is computed anew if a mark meets its filter. False
// positives cost a computation, false negatives do not occur.
#pragma once

#include "platform/EthAddr.h"
#include "platform/IntfId.h"
#include "platform/VlanId.h"

namespace Brindle {

struct Filters {
  U64 vlanGroup = 0;
  U32 vlan = 0;
  U32 vlanPort = 0;
  U32 lag = 0;

  bool meets(Filters const & o) const {
    return (((vlan & o.vlan) | (vlanPort & o.vlanPort) | (lag & o.lag)) |
            (vlanGroup & o.vlanGroup)) != 0;
  }
  Filters & operator|=(Filters const & o) {
    vlanGroup |= o.vlanGroup;
    vlan |= o.vlan;
    vlanPort |= o.vlanPort;
    lag |= o.lag;
    return *this;
  }
  bool operator==(Filters const &) const = default;
};

constexpr U32 vlanBit(Bridging::VlanIdOrNone vid) { return 1u << (vid.value() & 31); }

constexpr U64 vlanGroupBit(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group) {
  return U64{1} << ((vid.value() + group.hash()) & 63);
}

inline U32 lagBit(Nettle::IntfId lag) { return 1u << (lag.hash() & 31); }

// The bits of the ports of one VLAN: Jenkins' one-at-a-time hash over the VLAN and the port's hash,
// the VLAN's part once.
class VlanPortBits {
 public:
  explicit constexpr VlanPortBits(Bridging::VlanIdOrNone vid)
      : h_(mix(mix(0, vid.value() & 0xff), vid.value() >> 8)) {}

  constexpr U32 bit(U32 portHash) const {
    U32 h = h_;
    for (int byte = 0; byte < 4; ++byte) h = mix(h, portHash >> 8 * byte & 0xff);
    h *= 9;
    h ^= h >> 11;
    return 1u << (h & 31);
  }
  U32 bit(Nettle::IntfId port) const { return bit(port.hash()); }

 private:
  static constexpr U32 mix(U32 h, U32 byte) {
    h = (h + byte) * 1025;
    return h ^ h >> 6;
  }
  U32 h_;
};

inline U32 vlanPortBit(Bridging::VlanIdOrNone vid, Nettle::IntfId port) {
  return VlanPortBits(vid).bit(port);
}

}  // namespace Brindle
