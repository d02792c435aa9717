#include "state/ShmStatus.h"

#include <utility>

#include "platform/Mount.h"

namespace Shoal::Multicast::Fib {

namespace {

using ZetShoal::ShoalCursor;

ZetShoal::MountTypeOf<ShmStatus> const mountType("Shoal::Multicast::Fib::Status");

constexpr U32 wireRouteSize(std::size_t map) { return WireRoute::size(wireRouteMaps[map].words); }
constexpr U32 noMap = wireRouteMaps.size();

// Names are never given back: of a table that always comes up with new ones, only so many are
// taken.
constexpr U32 maxNames = 1 << 17;
// Of one follow: more than once all that a map can hold, so that only a writer that never rests is
// cut off.
constexpr U32 maxFollowed = 1 << 17;

// The reading of both sides. `Maps` is an array of ShoalReader or of ShoalWriter.

// The map that holds the key, noMap if none does. A route that has outgrown its map is written to
// the next before it is deleted from the first, so that one of both always holds it.
template <class Maps> U32 readRoute(Maps & maps, RouteKey const & key, WireRoute & wire) {
  WireRouteKey wireKey;
  if (!toWire(key, wireKey)) return noMap;
  for (U32 i = 0; i < noMap; ++i) {
    if (maps[i].read(&wireKey, &wire)) return i;
  }
  return noMap;
}

template <class Maps, class Place> bool nextRoute(Maps & maps, Place & place, RouteKey & key) {
  WireRoute wire;
  WireRouteKey wireKey{};
  toWire(key, wireKey);
  for (; place.map < noMap; place = {0, 0, place.map + 1}) {
    ShoalCursor cursor{place.slot, place.segment};
    while (maps[place.map].next(cursor, &wireKey, &wire)) {
      place = {cursor.segment, cursor.slot, place.map};
      if (fromWire(wireKey, key)) return true;
    }
  }
  return false;
}

template <class Place, class Maps> Place placeOf(Maps & maps, RouteKey const & key) {
  WireRoute wire;
  ShoalCursor const onKey = ShoalCursor::onKey();
  return {onKey.segment, onKey.slot, readRoute(maps, key, wire)};
}

template <class Maps> U32 routeCount(Maps & maps) {
  U32 count = 0;
  for (auto & map : maps) count += map.size();
  return count;
}

}  // namespace

// The reader

ShmStatus::ShmStatus(std::shared_ptr<ZetShoal::ShoalWatch> watch, std::string const & root,
                     std::string const & table)
    : Status(Zet::Name(table)),
      watch_(std::move(watch)),
      dir_(*watch_, root, table, wireTableType),
      intfs_(dir_, wireIntfMap, sizeof(WireIntf), sizeof(WireName)),
      oifs_(dir_, wireOifMap, sizeof(OifIndex), sizeof(WireOif)),
      routes_{routeMap(0), routeMap(1), routeMap(2)} {
  dir_.refresh();
  WireRouteKey key;
  for (U32 map = 0; map < noMap; ++map) {
    routes_[map].nextChange(&key);  // changes are noticed from here on
    mountWalk_[map] = routes_[map].walks();
  }
  followOifs();
}

ZetShoal::ShoalReader ShmStatus::routeMap(std::size_t i) {
  return {dir_, wireRouteMaps[i].name, sizeof(WireRouteKey), wireRouteSize(i)};
}

void ShmStatus::turn(U32 atMost) {
  atMost = std::min(atMost, 256u);
  changes_.clear();
  U32 passedOver = 64 * atMost;
  Zet::Ptr<ShmStatus> const self(this);
  dir_.refresh();
  followRefusal();
  WireRouteKey wire;
  for (U32 map = 0; map < noMap; ++map) {
    U32 rest = atMost - changes_.size();
    for (; rest && nextChange(map, wire, passedOver); --rest) {
      RouteKey key;
      if (!fromWire(wire, key)) {
        ++malformed_;
        continue;
      }
      // Only of the first map: the others are searched.
      changes_.push_back({key, map == 0 ? routes_[0].changeAt() : ShoalCursor()});
    }
  }
  // Only now: what a route refers to was written before it.
  followOifs();
  for (Change const & change : changes_) {
    told_ = &change.key;
    toldAt_ = change.at;
    routeNotify(*told_);
  }
  told_ = nullptr;
  followRefusal();
  followLosses();
}

// The next change that is to be told. Of those that are not, `passedOver` are looked at at most.
bool ShmStatus::nextChange(U32 map, WireRouteKey & key, U32 & passedOver) {
  auto & routes = routes_[map];
  for (; passedOver && routes.nextChange(&key); --passedOver) {
    if (!routes.walking() || routes.walks() != mountWalk_[map]) return true;
  }
  return false;
}

void ShmStatus::followRefusal() {
  bool const refused = !refusal().empty();
  if (refused == refused_) return;
  refused_ = refused;
  if (!refused) return;
  intf_.clear();
  oifIndexIntfDelAll();
  routesLostNotify();
}

void ShmStatus::followLosses() {
  U32 losses = 0;
  for (auto const & map : routes_) losses += map.losses();
  if (std::exchange(losses_, losses) != losses) routesLostNotify();
}

void ShmStatus::followIntfs() const {
  WireIntf number;
  WireName wire;
  for (U32 rest = maxFollowed; rest && intfs_.nextChange(&number); --rest) {
    Nettle::IntfId intf;
    WireName known;
    bool const present = intfs_.read(&number, &wire);
    intf_.find(number, intf);
    if (present && toWire(intf, known) && known.text == wire.text) continue;
    intf = {};
    if (present && (!number || namesTaken_ == maxNames || !fromWire(wire, intf))) ++malformed_;
    namesTaken_ += !intf.empty();
    intf_.intfIs(number, intf);
  }
}

void ShmStatus::followOifs() {
  followIntfs();
  OifIndex index;
  WireOif wire;
  for (U32 rest = maxFollowed; rest && oifs_.nextChange(&index.value); --rest) {
    if (intfs_.pending()) followIntfs();  // the table may just have turned out to be another one
    OifIndexIntf oif;
    if (oifs_.read(&index.value, &wire) && !fromWire(wire, intf_, oif)) {
      ++malformed_;
      oif = OifIndexIntf();
    }
    keepOifIndexIntf(index, oif);
  }
}

// The map that holds the route, noMap if none does. Nearly always it is the first.
U32 ShmStatus::routeWire(RouteKey const & key, WireRoute & wire) const {
  auto & usual = routes_[0];
  constexpr U32 size = wireRouteSize(0);
  if (&key == told_ && usual.readAt<size>(toldAt_, &wire)) return 0;
  WireRouteKey wireKey;
  if (toWire(key, wireKey) && usual.readAt<size>(usual.find(&wireKey), &wire)) return 0;
  return readRoute(routes_, key, wire);
}

bool ShmStatus::routeRead(RouteKey const & key, Route & route) const {
  WireRoute wire;
  U32 const map = routeWire(key, wire);
  if (map != noMap) {
    U32 const words = wireRouteMaps[map].words;
    route.keyIs(key);
    bool good = fromWire(wire, words, intf_, route);
    if (!good) {
      followIntfs();  // an interface that came with the route
      good = fromWire(wire, words, intf_, route);
    }
    // A record that says nothing is none.
    if (good) [[likely]]
      return route.iif() || !route.isDefault();
    ++malformed_;
  }
  route = Route(key);
  return false;
}

U32 ShmStatus::routes() const { return routeCount(routes_); }

void ShmStatus::routePrefetchIndex(RouteKey const & key) const {
  WireRouteKey wire;
  if (toWire(key, wire)) routes_[0].prefetchIndex(&wire);
}

void ShmStatus::routePrefetch(RouteKey const & key) const {
  WireRouteKey wire;
  if (toWire(key, wire)) routes_[0].prefetchSlot(&wire);
}

bool ShmStatus::routeNext(Place & place, RouteKey & key) const {
  return nextRoute(routes_, place, key);
}

Status::Place ShmStatus::routePlace(RouteKey const & key) const {
  return placeOf<Place>(routes_, key);
}

// The writer

ShmStatusWriter::ShmStatusWriter(std::string const & root, std::string const & table, U32 slots)
    : Status(Zet::Name(table)),
      dir_(root, table, wireTableType),
      intfs_(dir_, wireIntfMap, sizeof(WireIntf), sizeof(WireName)),
      oifs_(dir_, wireOifMap, sizeof(OifIndex), sizeof(WireOif)),
      routes_{routeMap(0, slots), routeMap(1, ZetShoal::ShoalSegment::minSlots),
              routeMap(2, ZetShoal::ShoalSegment::minSlots)} {
  takeOver();
}

ZetShoal::ShoalWriter ShmStatusWriter::routeMap(std::size_t i, U32 slots) {
  return {dir_, wireRouteMaps[i].name, sizeof(WireRouteKey), wireRouteSize(i), slots};
}

void ShmStatusWriter::takeOver() {
  WireIntf number;
  WireName name;
  for (ShoalCursor at; intfs_.next(at, &number, &name);) {
    Nettle::IntfId intf;
    if (number && fromWire(name, intf)) intf_.intfIs(number, intf);
  }
  OifIndex index;
  WireOif oif;
  for (ShoalCursor at; oifs_.next(at, &index.value, &oif);) {
    OifIndexIntf value;
    if (fromWire(oif, intf_, value)) {
      keepOifIndexIntf(index, value);
    } else {
      oifs_.del(&index.value);
    }
  }
  WireRouteKey key;
  WireRoute route;
  for (U32 i = 0; i < noMap; ++i) {
    for (ShoalCursor at; routes_[i].next(at, &key, &route);) {
      RouteKey readKey;
      Route readRoute;
      bool const readable = fromWire(key, readKey) &&
                            fromWire(route, wireRouteMaps[i].words, intf_, readRoute) &&
                            !readRoute.isDefault();
      if (!readable) routes_[i].del(&key);
    }
  }
}

void ShmStatusWriter::publish(Nettle::IntfId intf) {
  if (!intf || intf_.number(intf)) return;
  WireName name;
  U32 const number = intf_.bound();
  if (!toWire(intf, name)) {
    Zet::throwRangeException("an interface name longer than 31 bytes cannot be published");
  }
  if (number > 0xffff) Zet::throwRangeException("a table can name at most 65535 interfaces");
  auto const wire = static_cast<WireIntf>(number);
  intfs_.put(&wire, &name);
  intf_.intfIs(wire, intf);
}

void ShmStatusWriter::routeIs(Route const & route) {
  if (route.isDefault()) return routeDel(route.key());
  WireRouteKey key;
  if (!toWire(route.key(), key)) {
    Zet::throwRangeException("a key that is no multicast route's cannot be published");
  }
  for (auto intf : {route.iif(), route.iifFrr(), route.notify(), route.staticFastdropIntf()}) {
    publish(intf);
  }
  WireRoute wire;
  U32 const map = toWire(route, intf_, wire);
  bool changed = routes_[map].put(&key, &wire);
  changed |= delOther(key, map);
  if (changed) routeNotify(route.key());
}

void ShmStatusWriter::routeDel(RouteKey const & key) {
  WireRouteKey wire;
  if (toWire(key, wire) && delOther(wire, noMap)) routeNotify(key);
}

bool ShmStatusWriter::delOther(WireRouteKey const & key, U32 map) {
  bool any = false;
  for (U32 i = 0; i < noMap; ++i) {
    if (i != map && routes_[i].size()) any |= routes_[i].del(&key);
  }
  return any;
}

void ShmStatusWriter::oifIndexIntfIs(OifIndex index, OifIndexIntf const & oif) {
  if (!oif.intf && oif.properties) {
    Zet::throwRangeException("an output without an interface cannot be published");
  }
  if (oif == OifIndexIntf()) {
    oifs_.del(&index.value);
  } else {
    publish(oif.intf);
    WireOif const wire = toWire(oif, intf_);
    oifs_.put(&index.value, &wire);
  }
  keepOifIndexIntf(index, oif);
}

bool ShmStatusWriter::routeRead(RouteKey const & key, Route & route) const {
  WireRoute wire;
  U32 const map = readRoute(routes_, key, wire);
  route = Route(key);
  return map != noMap && fromWire(wire, wireRouteMaps[map].words, intf_, route);
}

U32 ShmStatusWriter::routes() const { return routeCount(routes_); }

bool ShmStatusWriter::routeNext(Place & place, RouteKey & key) const {
  return nextRoute(routes_, place, key);
}

Status::Place ShmStatusWriter::routePlace(RouteKey const & key) const {
  return placeOf<Place>(routes_, key);
}

}  // namespace Shoal::Multicast::Fib
