// Routes as they cross shared memory between processes: plain data, without numbers that mean
// something to one process only. What comes in was written by others and is checked here.
//
// A table "<protocol>.<VRF>" holds the maps
//   intfs   interfaces by number, from 1, which the writer deals once for good; 0 is no interface
//   oifs    outputs by OifIndex
//   routes, routes.4096, routes.65536
//           routes, by the size of their bitmaps. A route stands in the smallest that has room for
//           it, so that wide ones cost the others nothing.
// Nothing is written before what it refers to.
#pragma once

#include <array>
#include <cstddef>

#include "platform/RbTreeMap.h"
#include "state/ShoalRoute.h"

namespace Shoal::Multicast::Fib {

// What the tables hold; changes with the layout of anything below.
constexpr char const * wireTableType = "Shoal::Multicast::Fib::Status/1";
constexpr char const * wireIntfMap = "intfs";
constexpr char const * wireOifMap = "oifs";
struct WireRouteMap {
  char const * name;
  U32 words;  // of the bitmap
};
inline constexpr std::array wireRouteMaps = {WireRouteMap{"routes", OifBitmap::inlineWords},
                                             WireRouteMap{"routes.4096", 64},
                                             WireRouteMap{"routes.65536", OifBitmap::maxWords}};

// Number of an interface in its table.
using WireIntf = U16;

// An interface's name, at most 31 bytes, filled up with NULs.
struct WireName {
  static constexpr std::size_t maxLength = 31;
  std::array<char, maxLength + 1> text;
};

struct WireOif {
  WireIntf intf;
  U16 properties;
};

// An IpGenPrefix as it stands in memory.
struct WirePrefix {
  std::array<U8, 16> address;
  U8 family;  // of Nettle::AddressFamily
  U8 length;

  bool operator==(WirePrefix const &) const = default;
};

// A RouteKey as it stands in memory, with what fills it up to whole words.
struct WireRouteKey {
  WirePrefix source;
  WirePrefix group;
  U32 zero;
};

// The maps hold its front, as far as their bitmap goes.
struct WireRoute {
  WireIntf iif;
  WireIntf iifFrr;
  WireIntf notify;
  WireIntf staticFastdropIntf;
  U32 flags;
  RpaIndex rpaId;
  U8 priority;
  U8 notifyProgrammable;
  std::array<U64, OifBitmap::maxWords> oifs;

  static constexpr U32 size(U32 oifWords) {
    return static_cast<U32>(offsetof(WireRoute, oifs) + oifWords * sizeof(U64));
  }
  // Of a bitmap of so many words.
  bool upperHalfEmpty(U32 oifWords) const {
    U64 any = 0;
    for (U32 i = oifWords / 2; i < oifWords; ++i) any |= oifs[i];
    return !any;
  }
};

// The interfaces of one table, by number and by IntfId.
class BRINDLE_API WireIntfs {
 public:
  // False if the number is not known.
  bool find(WireIntf number, Nettle::IntfId & intf) const {
    intf = number < intfs_.size() ? intfs_[number] : Nettle::IntfId();
    return intf || !number;
  }
  // 0 if the interface has no number.
  WireIntf number(Nettle::IntfId intf) const {
    return intf.index() < numbers_.size() ? numbers_[intf.index()] : WireIntf{0};
  }
  // One more than the greatest number; 1 at least.
  U32 bound() const { return std::max(intfs_.size(), 1u); }
  void intfIs(WireIntf number, Nettle::IntfId);
  void clear() { *this = WireIntfs(); }

 private:
  Zet::CompactVector<Nettle::IntfId> intfs_;
  Zet::CompactVector<WireIntf> numbers_;  // by IntfId::index()
};

// Reading: false, with the result as it was or in part, if the record is malformed.
BRINDLE_API bool fromWire(WireName const &, Nettle::IntfId &);
BRINDLE_API bool fromWire(WirePrefix const &, Nettle::IpGenPrefix &);
BRINDLE_API bool fromWire(WireRouteKey const &, RouteKey &);
BRINDLE_API bool fromWire(WireOif const &, WireIntfs const &, OifIndexIntf &);
// `route` has its key already. Inline: this is most of what it costs to read a route.
inline bool fromWire(WireRoute const & wire, U32 oifWords, WireIntfs const & intfs, Route & route) {
  Nettle::IntfId iif, iifFrr, notify, staticFastdropIntf;
  if (wire.notifyProgrammable > 1 || !intfs.find(wire.iif, iif)) return false;
  // Most routes have none of these.
  if (wire.iifFrr | wire.notify | wire.staticFastdropIntf) {
    if (!intfs.find(wire.iifFrr, iifFrr) || !intfs.find(wire.notify, notify) ||
        !intfs.find(wire.staticFastdropIntf, staticFastdropIntf)) {
      return false;
    }
  }
  route.iifIs(iif);
  route.iifFrrIs(iifFrr);
  route.notifyIs(notify);
  route.staticFastdropIntfIs(staticFastdropIntf);
  route.flagsIs(wire.flags);
  route.rpaIdIs(wire.rpaId);
  route.priorityIs(RoutePriority(wire.priority));
  route.notifyProgrammableIs(wire.notifyProgrammable);
  // Wide records have room for many outputs: what is empty of it need not be kept.
  while (oifWords > OifBitmap::inlineWords && wire.upperHalfEmpty(oifWords)) oifWords /= 2;
  route.oifsIs(wire.oifs.data(), oifWords);
  return true;
}

// Writing, where all interfaces have their numbers. False for a name that is empty or too long, and
// for a key that is no multicast route's.
BRINDLE_API bool toWire(Nettle::IntfId, WireName &);
BRINDLE_API WirePrefix toWire(Nettle::IpGenPrefix const &);
BRINDLE_API bool toWire(RouteKey const &, WireRouteKey &);
BRINDLE_API WireOif toWire(OifIndexIntf const &, WireIntfs const &);
// Returns the index of the map that the route belongs to; of the bitmap only its part is written.
BRINDLE_API U32 toWire(Route const &, WireIntfs const &, WireRoute &);

}  // namespace Shoal::Multicast::Fib
