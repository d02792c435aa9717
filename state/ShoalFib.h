// The tables in which routing protocols publish their routes, as the resolver reads them: one table
// to each protocol and VRF. What a table is made of is its derived class's business.
#pragma once

#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"
#include "platform/VrfName.h"
#include "state/ShoalRoute.h"

namespace Shoal::Multicast::Fib {

// One table. Its routes may change at any time; the callbacks tell of it later, and several changes
// of a key may be told as one: a reader takes the value as it is when it reads.
class BRINDLE_API Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onRoute(RouteKey const &) {}
    // The table has lost its routes without knowing which: each key that was ever told may have
    // gone.
    virtual void onRoutesLost() {}
  };
  class RouteIterator;

  explicit Status(Zet::Name name = {});
  ~Status() override;
  Zet::Name name() const override { return name_; }

  // Rises with each table that the process makes, so that collections by table have an order.
  U32 number() const { return number_; }

  // Sets `route` to the value of the key; false if there is none, with the default value then.
  virtual bool routeRead(RouteKey const &, Route & route) const = 0;
  Route route(RouteKey const & key) const {
    Route route;
    routeRead(key, route);
    return route;
  }
  virtual U32 routes() const = 0;
  // Brings into the cache what routeRead() of a key will touch: the way to the route, and some
  // reads later the route. For who knows the next keys.
  virtual void routePrefetchIndex(RouteKey const &) const {}
  virtual void routePrefetch(RouteKey const &) const {}
  // All keys, in the table's own order. A walk is valid while the table stands; a key that comes or
  // goes meanwhile may be met or not.
  RouteIterator routeBegin() const;
  // The same from a key on; at its end at once if the key is gone.
  RouteIterator routeFrom(RouteKey const &) const;

  // Nobody is told when an index comes to stand for another interface.
  OifIndexIntf oifIndexIntf(OifIndex i) const {
    return i.value < oifIndexIntf_.size() ? oifIndexIntf_[i.value] : OifIndexIntf();
  }
  // Another one, which no other table has, whenever an index comes to stand for something else; 0
  // as long as none has stood for anything.
  U32 oifIndexIntfVersion() const { return oifIndexIntfVersion_; }
  // Whether, of one table, indices only came between two versions. Of two in 256 tables, too.
  static constexpr U32 versionStep = 256;
  static bool ofOneTable(U32 a, U32 b) { return (a ^ b) % versionStep == 0; }

  // For the table's own writer; a table that is only read throws NoImplementationException. A value
  // that is the default of its key, or of an index, takes it away.
  virtual void routeIs(Route const &);
  virtual void routeDel(RouteKey const &);
  virtual void oifIndexIntfIs(OifIndex, OifIndexIntf const &);

 protected:
  // Where a walk stands; its meaning is the derived class's. By default before the first key.
  struct Place {
    U64 segment = 0;
    U32 slot = 0;
    U32 map = 0;
  };
  // Moves on to the next key. `key` is the one that the walk stands on.
  virtual bool routeNext(Place &, RouteKey & key) const = 0;
  // The place of a key that is present.
  virtual Place routePlace(RouteKey const &) const = 0;

  void routeNotify(RouteKey const & key) const { notify<&NotifieeConst::onRoute>(key); }
  void routesLostNotify() const { notify(&NotifieeConst::onRoutesLost); }

  void keepOifIndexIntf(OifIndex, OifIndexIntf const &);
  void oifIndexIntfDelAll();

 private:
  Zet::Name const name_;
  U32 const number_;
  U32 oifIndexIntfVersion_ = 0;
  Zet::CompactVector<OifIndexIntf> oifIndexIntf_;  // by index
};

class Status::RouteIterator {
 public:
  explicit operator bool() const { return !end_; }
  RouteKey const & key() const { return key_; }
  void advance() { end_ = !table_->routeNext(place_, key_); }

 private:
  friend class Status;
  explicit RouteIterator(Status const & table) : table_(&table) {}
  Status const * table_;
  Place place_;
  RouteKey key_;
  bool end_ = true;
};

// Walks the outputs of a route with their interfaces and properties. An index behind which nothing
// stands ends the walk with error(): the table has moved on since it published the route, and will
// publish it anew.
class RouteIntfIteratorConst {
 public:
  // `table` may be null for a route without outputs. Route and table must stay as they are.
  RouteIntfIteratorConst(Route const & route, Status const * table)
      : oif_(route.oifs()),
        table_(table) {
    load();
  }

  explicit operator bool() const { return oif_ && !error_; }
  bool error() const { return error_; }
  void advance() {
    oif_.advance();
    load();
  }
  OifIndex index() const { return oif_.index(); }
  // None where the table names properties without an interface.
  Nettle::IntfId intf() const { return at_.intf; }
  U8 properties() const { return at_.properties; }
  bool has(OifProperty p) const { return at_.properties & p; }

 private:
  void load() {
    if (!oif_) return;
    at_ = table_ ? table_->oifIndexIntf(oif_.index()) : OifIndexIntf();
    error_ = at_ == OifIndexIntf();
  }
  OifBitmap::Iterator oif_;
  Status const * table_;
  OifIndexIntf at_;
  bool error_ = false;
};

// The interface that each index stood for when its route was last computed.
using OifIndexIntfIdMap = Zet::RbTreeMap<OifIndex, Nettle::IntfId>;

// The same, but with the interfaces that the reader has kept, since the table may call an index by
// another name now.
class CachedMapRouteIntfIteratorConst : public RouteIntfIteratorConst {
 public:
  CachedMapRouteIntfIteratorConst(Route const & route, OifIndexIntfIdMap const & kept,
                                  Status const * table)
      : RouteIntfIteratorConst(route, table),
        kept_(&kept) {}

  // None if the reader has kept none.
  Nettle::IntfId intf() const {
    Nettle::IntfId const * intf = kept_->find(index());
    return intf ? *intf : Nettle::IntfId();
  }

 private:
  OifIndexIntfIdMap const * kept_;
};

// A table as a key: by number, so that nothing is ordered by address, and valid as a key when the
// table has gone.
class StatusKey {
 public:
  StatusKey() = default;
  StatusKey(Status const * status) : status_(status), number_(status ? status->number() : 0) {}

  // Only to be compared once the table has gone.
  Status const * status() const { return status_; }
  U32 number() const { return number_; }
  U32 hash() const { return Zet::hashOf(number_); }
  bool operator==(StatusKey const & o) const { return number_ == o.number_; }
  auto operator<=>(StatusKey const & o) const { return number_ <=> o.number_; }

 private:
  Status const * status_ = nullptr;
  U32 number_ = 0;
};

// The tables of one VRF.
class BRINDLE_API MfibShoalColl : public Zet::KeyedEntity<L3::VrfName> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MfibShoalColl, Zet::Entity> {
   public:
    virtual void onShoalPtr(StatusKey const &) {}
  };
  using KeyedEntity::KeyedEntity;

  // Each table under its own address; null for one that has been announced but not mounted.
  auto const & shoalPtr() const { return shoalPtr_; }
  Status const * shoalPtr(StatusKey const & k) const;
  void shoalPtrIs(StatusKey const & k, Zet::Ptr<Status const> const & v);
  void shoalPtrDel(StatusKey const & k);

  // The table that holds the key with the greatest priority, among equals the first registered;
  // null if none holds it. `route` becomes its value, or the default value.
  Status const * mfibShoal(RouteKey const & key, Route & route) const {
    return nextBestShoal(nullptr, key, route);
  }
  Status const * mfibShoal(RouteKey const & key) const {
    Route route;
    return mfibShoal(key, route);
  }
  // The same among the tables other than `current`.
  Status const * nextBestShoal(Status const * current, RouteKey const & key, Route & route) const;
  Status const * nextBestShoal(Status const * current, RouteKey const & key) const {
    Route route;
    return nextBestShoal(current, key, route);
  }

  // See Status.
  void routePrefetchIndex(RouteKey const & key) const {
    for (Status const * table : tables_) table->routePrefetchIndex(key);
  }
  void routePrefetch(RouteKey const & key) const {
    for (Status const * table : tables_) table->routePrefetch(key);
  }

 private:
  void unregister(StatusKey const & k);

  Zet::RbTreeMap<StatusKey, Zet::Ptr<Status const>> shoalPtr_;
  Zet::CompactVector<Status const *> tables_;  // those that are not null, as registered
};

class MfibShoalDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MfibShoalDir, Zet::Entity> {
   public:
    virtual void onShoalColl(L3::VrfName const &) {}
  };

  auto const & shoalColl() const { return shoalColl_; }
  MfibShoalColl const * shoalColl(L3::VrfName k) const { return shoalColl_.find(k); }
  MfibShoalColl * shoalColl(L3::VrfName k) { return shoalColl_.find(k); }
  Zet::Ptr<MfibShoalColl> shoalCollIs(L3::VrfName k) {
    return create<&NotifieeConst::onShoalColl>(shoalColl_, k);
  }
  void shoalCollDel(L3::VrfName k) { erase<&NotifieeConst::onShoalColl>(shoalColl_, k); }

 private:
  Zet::HashMap<L3::VrfName, MfibShoalColl> shoalColl_;
};

}  // namespace Shoal::Multicast::Fib
