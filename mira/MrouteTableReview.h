// One slice of the review of a VRF's routes.
#pragma once
#include "mira/Mira.h"
#include "model/MrouteTable.h"
#include "platform/Budget.h"

namespace Brindle {

// Made by Mira::doReview() for each slice; lives for the call. It computes the routes in the queue
// of changed routes, then walks on in the table from where the last slice stopped, computes each
// route that the pass's DirtyInfo meets and deletes each that is marked for that, until the walk
// is back where the pass began or the time is up. Where no route can be met there is no walk.
class MrouteTableReview {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;

  explicit MrouteTableReview(Mira & mira);

  // True if the pass is over, false if the time is up.
  bool run();

  // Where the pass began and where it stands. REQUIRES: run() has returned false.
  RouteKey const & startKey() const { return start_.key(); }
  RouteKey const & currentKey() const { return current_.key(); }
  // Routes looked at; of these computed or deleted by the walk; and from the queue.
  U64 walked() const { return walked_.count(); }
  U64 processed() const { return processed_.count(); }
  U64 dirtyProcessed() const { return dirtyProcessed_.count(); }

 private:
  using Table = std::remove_cvref_t<decltype(std::declval<MrouteTable>().mroute())>;
  using Ring = Keel::WrapIterator<Table>;

  void place();
  bool drainQueue();
  bool nothingToFind() const;
  bool isDue(Mroute const & mroute) const;
  bool visit();
  bool skipClean();
  void doProcess(Zet::Ptr<Mroute> const & mroute);
  // True if the walk stood there and went on from the last route to the first.
  bool doDelete(Mroute const & mroute, char const * reason);
  void traceSkipped(Mroute const & mroute) const;

  Mira & mira_;
  MrouteTable & table_;
  Keel::Budget budget_;
  Ring start_;
  Ring current_;
  // Reading the clock costs as much as looking at a clean route: it is read once in so many.
  Keel::Paced<100> walked_;
  Keel::Paced<10> processed_;
  Keel::Paced<10> dirtyProcessed_;
  bool lookAtClock_ = false;
};

}  // namespace Brindle
