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

// A table as a reader has it. Whoever mounts it calls turn() whenever it is due(); all callbacks
// come from there.
//
// A table that is not what it should be is refused: it reads as empty, and onRoutesLost() tells it.
// A malformed record reads as absent, is counted, and leaves the others alone.
class BRINDLE_API ShmStatus : public Status {
 public:
  // Throws ShoalError for a bad name only: a table that does not stand yet is empty.
  ShmStatus(std::shared_ptr<ZetShoal::ShoalWatch> watch, std::string const & root,
            std::string const & table);

  // Whether a turn has anything to do.
  bool due() const { return dir_.due() || refused_ != !dir_.refusal().empty(); }
  // Hands over what has changed, at most 256 keys. While nobody watches the table there is nobody
  // to tell, and more is passed over in one turn.
  void turn();

  // Why the table is refused; empty if it is not.
  std::string const & refusal() const { return dir_.refusal(); }
  // Records that were found malformed, each time that they were.
  U64 malformed() const { return malformed_; }

  bool routeRead(RouteKey const &, Route & route) const override;
  U32 routes() const override;

 private:
  bool routeNext(Place &, RouteKey & key) const override;
  Place routePlace(RouteKey const &) const override;
  ZetShoal::ShoalReader routeMap(std::size_t i);
  void followRefusal();
  void followIntfs() const;
  void followOifs();

  std::shared_ptr<ZetShoal::ShoalWatch> const watch_;
  mutable ZetShoal::ShoalReaderDir dir_;
  mutable ZetShoal::ShoalReader intfs_;
  ZetShoal::ShoalReader oifs_;
  mutable std::array<ZetShoal::ShoalReader, wireRouteMaps.size()> routes_;
  mutable WireIntfs intf_;
  mutable U32 namesTaken_ = 0;
  bool refused_ = false;
  mutable U64 malformed_ = 0;
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
