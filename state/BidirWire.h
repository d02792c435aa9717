// The tables of bidirectional PIM as they cross shared memory. What comes in was written by others
// and is checked here: each record says twice what it says, so that memory that has gone bad is
// noticed before it makes a chip forward in a loop.
//
// A table holds the maps
//   groups    group prefixes; the record is the prefix again
//   profiles  designated-forwarder bitmaps by interface, each with its complement
#pragma once

#include "state/ShoalBidir.h"
#include "state/ShoalWire.h"

namespace Shoal::Multicast::Fib {

// What the tables hold; changes with the layout of anything below.
constexpr char const * wireBidirType = "Shoal::Multicast::Fib::BidirStatus/1";
constexpr char const * wireBidirGroupMap = "groups";
constexpr char const * wireDfProfileMap = "profiles";

// Of each map. Names are never given back: of a table that always comes up with new ones, only so
// many are taken.
constexpr U32 maxBidirMembers = 1 << 16;

struct WireDfProfile {
  U64 bitmap;
  U64 complement;
};

// Reading: false if this is no group prefix, or the record contradicts itself.
inline bool fromWire(WirePrefix const & wire, BidirGroup & group) {
  return fromWire(wire, group.prefix) && isGroupRange(group.prefix);
}
inline bool fromWire(WireDfProfile const & wire, DfProfile & profile) {
  profile.bitmap = wire.bitmap;
  return wire.bitmap && wire.bitmap == ~wire.complement;
}

// Writing.
inline WireDfProfile toWire(DfProfile profile) { return {profile.bitmap, ~profile.bitmap}; }

}  // namespace Shoal::Multicast::Fib
