// The route that a routing protocol publishes.
#pragma once

#include <string>

#include "platform/IntfId.h"
#include "state/OifBitmap.h"
#include "state/RouteKey.h"

namespace Shoal::Multicast::Fib {

using Zet::operator<<;
using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;

// What an output may do, as bits.
enum OifProperty : U8 {
  oifForward = 1,              // traffic is sent out
  oifAccept = 2,               // traffic is accepted
  oifNotify = 4,               // traffic that arrives is reported to the control plane
  oifNoRpf = 8,                // the route accepts from any interface
  oifPersistentFastdrop = 16,  // a permanent drop route is wanted
  oifFrr = 32,                 // the input of the fast-reroute path
};

// What stands behind an OifIndex; by default nothing.
struct OifIndexIntf {
  Nettle::IntfId intf;
  U8 properties = 0;  // of OifProperty

  bool operator==(OifIndexIntf const &) const = default;
  static constexpr char const * zetType = "Shoal::Multicast::Fib::OifIndexIntf";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&OifIndexIntf::intf>("intf"),
                      Zet::field<&OifIndexIntf::properties>("properties")};
  }
};

// The index that a maker of routes has given to an interface; by default none.
struct IntfOifIndex {
  static constexpr U32 none = ~U32{0};
  U32 value = none;

  bool operator==(IntfOifIndex const &) const = default;
  static constexpr char const * zetType = "Shoal::Multicast::Fib::IntfOifIndex";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&IntfOifIndex::value>("value")};
  }
};

// The rendezvous point of a bidirectional route (RFC 5015), by its index.
using RpaIndex = U16;
constexpr RpaIndex rpaNone = 0;         // the route is not bidirectional
constexpr RpaIndex rpaInvalid = 65534;  // there is no such point
constexpr RpaIndex rpaNotSet = 65535;   // not known yet

// Among the tables that hold a route, the one that gives it the greatest priority wins.
struct RoutePriority {
  U8 value = 0;

  constexpr RoutePriority() = default;
  explicit constexpr RoutePriority(U8 v) : value(v) {}
  auto operator<=>(RoutePriority const &) const = default;
  static constexpr char const * zetType = "Shoal::Multicast::Fib::RoutePriority";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&RoutePriority::value>("value")};
  }
};

// One route of one table. The default value of a key says that the key is absent. There are two of
// these to each route that the resolver holds.
class BRINDLE_API Route {
 public:
  // flags
  static constexpr U32 acceptAny = 1 << 0;     // from any interface
  static constexpr U32 toCpu = 1 << 1;         // traffic also goes to the CPU
  static constexpr U32 installStarG = 1 << 4;  // a (*,G) route may be installed

  Route() = default;
  explicit Route(RouteKey const & key) : key_(key) {}

  RouteKey const & key() const { return key_; }
  void keyIs(RouteKey const & v) { key_ = v; }
  // The accepting interface.
  Nettle::IntfId iif() const { return iif_; }
  void iifIs(Nettle::IntfId v) { iif_ = v; }
  // The accepting interface of the fast-reroute path.
  Nettle::IntfId iifFrr() const { return iifFrr_; }
  void iifFrrIs(Nettle::IntfId v) { iifFrr_ = v; }
  // The interface on which data is to be notified to the control plane.
  Nettle::IntfId notify() const { return notify_; }
  void notifyIs(Nettle::IntfId v) { notify_ = v; }
  // The interface of the permanent drop route.
  Nettle::IntfId staticFastdropIntf() const { return staticFastdropIntf_; }
  void staticFastdropIntfIs(Nettle::IntfId v) { staticFastdropIntf_ = v; }
  // The notify route may go into the chips.
  bool notifyProgrammable() const { return notifyProgrammable_; }
  void notifyProgrammableIs(bool v) { notifyProgrammable_ = v; }
  U32 flags() const { return flags_; }
  void flagsIs(U32 v) { flags_ = v; }
  RpaIndex rpaId() const { return rpaId_; }
  void rpaIdIs(RpaIndex v) { rpaId_ = v; }
  RoutePriority priority() const { return priority_; }
  void priorityIs(RoutePriority v) { priority_ = v; }

  OifBitmap const & oifs() const { return oifs_; }
  void oifsIs(OifBitmap const & v) { oifs_ = v; }
  void oifsIs(U64 const * words, U32 count) { oifs_.assignWords(words, count); }
  bool oif(OifIndex i) const { return oifs_.contains(i); }
  void oifIs(OifIndex i, bool v) { oifs_.set(i, v); }
  OifBitmap::Iterator oifIteratorConst() const { return OifBitmap::Iterator(oifs_); }

  bool isStarG() const { return key_.isStarG(); }
  // Whether this is the default value of its key: a route that is not there.
  bool isDefault() const { return scalarsEqual(Route()) && oifs_.none(); }

  // The outputs in which two routes differ, and those that they share; all else is the left one's.
  friend Route operator^(Route const & a, Route const & b) {
    Route route = a;
    route.oifs_ ^= b.oifs_;
    return route;
  }
  friend Route operator&(Route const & a, Route const & b) {
    Route route = a;
    route.oifs_ &= b.oifs_;
    return route;
  }
  bool operator==(Route const & o) const {
    return key_ == o.key_ && scalarsEqual(o) && oifs_ == o.oifs_;
  }

  // For traces: key, what is set of the rest, and the indices of the outputs.
  std::string shoalString() const;

  static constexpr char const * zetType = "Shoal::Multicast::Fib::Route";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&Route::key_>("key"),
                      Zet::field<&Route::iif_>("iif"),
                      Zet::field<&Route::iifFrr_>("iifFrr"),
                      Zet::field<&Route::notify_>("notify"),
                      Zet::field<&Route::staticFastdropIntf_>("staticFastdropIntf"),
                      Zet::field<&Route::notifyProgrammable_>("notifyProgrammable"),
                      Zet::field<&Route::flags_>("flags"),
                      Zet::field<&Route::rpaId_>("rpaId"),
                      Zet::field<&Route::priority_>("priority"),
                      Zet::field<&Route::oifs_>("oifs")};
  }

 private:
  bool scalarsEqual(Route const & o) const {
    return iif_ == o.iif_ && iifFrr_ == o.iifFrr_ && notify_ == o.notify_ &&
           staticFastdropIntf_ == o.staticFastdropIntf_ &&
           notifyProgrammable_ == o.notifyProgrammable_ && flags_ == o.flags_ &&
           rpaId_ == o.rpaId_ && priority_ == o.priority_;
  }

  // In the order that packs best.
  [[no_unique_address]] OifBitmap oifs_;
  RpaIndex rpaId_ = rpaNone;
  RoutePriority priority_;
  bool notifyProgrammable_ = false;
  RouteKey key_;
  Nettle::IntfId iif_;
  Nettle::IntfId iifFrr_;
  Nettle::IntfId notify_;
  Nettle::IntfId staticFastdropIntf_;
  U32 flags_ = 0;
};
static_assert(sizeof(Route) == 128);

}  // namespace Shoal::Multicast::Fib
