// A route table in the memory of the test that publishes in it.
#pragma once

#include "platform/HashMap.h"
#include "state/ShoalFib.h"

namespace Tests {

class LocalTable : public Shoal::Multicast::Fib::Status {
  using Key = Shoal::Multicast::Fib::RouteKey;
  using Route = Shoal::Multicast::Fib::Route;

 public:
  bool routeRead(Key const & key, Route & route) const override {
    Route const * present = routes_.find(key);
    route = present ? *present : Route(key);
    return present;
  }
  U32 routes() const override { return routes_.size(); }

  void routeIs(Route const & route) override {
    if (route.isDefault()) {
      erase<&NotifieeConst::onRoute>(routes_, route.key());
    } else {
      put<&NotifieeConst::onRoute>(routes_, route.key(), route);
    }
  }
  void routeDel(Key const & key) override { routeIs(Route(key)); }
  void oifIndexIntfIs(Shoal::Multicast::Fib::OifIndex i,
                      Shoal::Multicast::Fib::OifIndexIntf const & v) override {
    keepOifIndexIntf(i, v);
  }

 private:
  bool routeNext(Place & place, Key & key) const override {
    auto i = place.map++ == 0 ? routes_.begin() : routes_.startAt(key);
    if (place.map > 1 && i && i.key() == key) i.advance();
    if (i) key = i.key();
    return static_cast<bool>(i);
  }
  Place routePlace(Key const &) const override { return {0, 0, 1}; }

  Zet::HashMap2018<Key, Route> routes_;
};

}  // namespace Tests
