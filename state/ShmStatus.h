// Route tables in shared memory: what a protocol publishes through, and what the resolver reads.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "platform/ShoalReader.h"
#include "platform/ShoalWriter.h"
#include "state/ShoalFib.h"
#include "state/ShoalWire.h"

namespace Shoal::Multicast::Fib {

// A table as a reader has it, mounted by ZetShoal::Mount as "Shoal::Multicast::Fib::Status".
//
// Who attaches walks the table, so what stood in it when it was mounted is not told; each change
// from there on is.
//
// A table that is not what it should be is refused: it reads as empty, and onRoutesLost() tells it.
// The same tells that the files of a table have come and gone faster than they could be followed.
// A malformed record reads as absent, is counted, and leaves the others alone.
class BRINDLE_API ShmStatus : public Status {
 public:
  // Throws ShoalError for a bad name only: a table that does not stand yet is empty.
  ShmStatus(std::shared_ptr<ZetShoal::ShoalWatch> watch, std::string const & root,
            std::string const & table);

  // Whether a turn has anything to do.
  bool due() const { return dir_.due(); }
  // Hands over what has changed, at most so many keys; all callbacks come from here.
  void turn(U32 atMost);

  // Why the table is refused; empty if it is not.
  std::string const & refusal() const { return dir_.refusal(); }
  // Records that were found malformed, each time that they were.
  U64 malformed() const { return malformed_; }

  bool routeRead(RouteKey const &, Route & route) const override;
  U32 routes() const override;
  void routePrefetchIndex(RouteKey const &) const override;
  void routePrefetch(RouteKey const &) const override;

 private:
  struct Change {
    RouteKey key;
    ZetShoal::ShoalCursor at;
  };

  bool routeNext(Place &, RouteKey & key) const override;
  Place routePlace(RouteKey const &) const override;
  ZetShoal::ShoalReader routeMap(std::size_t i);
  bool nextChange(U32 map, WireRouteKey & key, U32 & passedOver);
  U32 routeWire(RouteKey const &, WireRoute &) const;
  void followRefusal();
  void followLosses();
  void followIntfs() const;
  void followOifs();

  std::shared_ptr<ZetShoal::ShoalWatch> const watch_;
  mutable ZetShoal::ShoalReaderDir dir_;
  mutable ZetShoal::ShoalReader intfs_;
  ZetShoal::ShoalReader oifs_;
  mutable std::array<ZetShoal::ShoalReader, wireRouteMaps.size()> routes_;
  // Which walk of each map hands over what stood in it when it was mounted.
  std::array<U32, wireRouteMaps.size()> mountWalk_;
  mutable WireIntfs intf_;
  mutable U32 namesTaken_ = 0;
  bool refused_ = false;
  U32 losses_ = 0;
  mutable U64 malformed_ = 0;
  Zet::CompactVector<Change> changes_;  // of this turn
  // The change that is being told, so that its readers need not search for it.
  RouteKey const * told_ = nullptr;
  ZetShoal::ShoalCursor toldAt_;
};

// A table as its one writer has it; reactors of the writer's own process may watch it, too. What
// the last writer left stands until it is overwritten or deleted, as far as it can be read.
class BRINDLE_API ShmStatusWriter : public Status {
 public:
  // `slots` is how many routes there is room for to begin with. Throws ShoalError, for instance if
  // the table has a writer.
  ShmStatusWriter(std::string const & root, std::string const & table,
                  U32 slots = ZetShoal::ShoalSegment::minSlots);

  // Wakes the readers: once a batch.
  void commit() { dir_.commit(); }
  // Takes the table away; nothing may be written any more.
  void remove() { dir_.remove(); }

  bool routeRead(RouteKey const &, Route & route) const override;
  U32 routes() const override;

  // These throw RangeException for what cannot be published, and ShoalError if there is no memory;
  // the table is then as before. An output is to be named before a route that has it.
  void routeIs(Route const &) override;
  void routeDel(RouteKey const &) override;
  void oifIndexIntfIs(OifIndex, OifIndexIntf const &) override;

 private:
  bool routeNext(Place &, RouteKey & key) const override;
  Place routePlace(RouteKey const &) const override;
  ZetShoal::ShoalWriter routeMap(std::size_t i, U32 slots);
  void takeOver();
  // Makes sure that the interface has its number.
  void publish(Nettle::IntfId);
  // Deletes the key from all maps but one; true if it was in any.
  bool delOther(WireRouteKey const &, U32 map);

  ZetShoal::ShoalWriterDir dir_;
  ZetShoal::ShoalWriter intfs_;
  ZetShoal::ShoalWriter oifs_;
  std::array<ZetShoal::ShoalWriter, wireRouteMaps.size()> routes_;
  WireIntfs intf_;
};

}  // namespace Shoal::Multicast::Fib
