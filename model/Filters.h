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

constexpr U64 vlanGroupBit(Bridging::VlanIdOrNone vid, U32 groupHash) {
  return U64{1} << ((vid.value() + groupHash) & 63);
}
constexpr U64 vlanGroupBit(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group) {
  return vlanGroupBit(vid, group.hash());
}

inline U32 lagBit(Nettle::IntfId lag) { return 1u << (lag.hash() & 31); }

// The bits of the ports of one VLAN: Jenkins' one-at-a-time hash over the VLAN and the port's hash,
// the VLAN's part once.
class VlanPortBits {
 public:
  explicit constexpr VlanPortBits(Bridging::VlanIdOrNone vid)
      : h_(mix<U32>(mix<U32>(0, vid.value() & 0xff), vid.value() >> 8)) {}

  constexpr U32 bit(U32 portHash) const { return 1u << numbers(h_, portHash); }
  U32 bit(Nettle::IntfId port) const { return bit(port.hash()); }

  // The union of the bits of many ports: four are hashed side by side for little more than one.
  // `portOf` gives the port of a member.
  template <class Member, class PortOf>
  U32 bits(Member const * first, Member const * end, PortOf portOf) const {
    U32 bits = 0;
    for (; end - first >= 4; first += 4) {
      Lanes const hashes = {portOf(first[0]).hash(), portOf(first[1]).hash(),
                            portOf(first[2]).hash(), portOf(first[3]).hash()};
      Lanes const shift = numbers(Lanes{} + h_, hashes);
      bits |= 1u << shift[0] | 1u << shift[1] | 1u << shift[2] | 1u << shift[3];
    }
    for (; first != end; ++first) bits |= bit(portOf(*first));
    return bits;
  }

 private:
  using Lanes = U32 __attribute__((vector_size(16)));

  template <class T> static constexpr T mix(T h, T byte) {
    h += byte;
    h += h << 10;
    return h ^ h >> 6;
  }
  // The number of the bit: T is one hash or four.
  template <class T> static constexpr T numbers(T h, T portHash) {
    h = mix(h, portHash & 0xff);
    h = mix(h, portHash >> 8 & 0xff);
    h = mix(h, portHash >> 16 & 0xff);
    h = mix(h, portHash >> 24);
    h += h << 3;
    h ^= h >> 11;
    return h & 31;
  }
  U32 h_;
};

inline U32 vlanPortBit(Bridging::VlanIdOrNone vid, Nettle::IntfId port) {
  return VlanPortBits(vid).bit(port);
}

}  // namespace Brindle
