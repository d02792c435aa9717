// The review of L2 routes: computes what has changed and deletes what is no longer wanted, one
// slice at a time.
//
// A pass goes once around the table, from where it began until it is there again. What changes
// meanwhile moves the end of the pass to where it stands, so that it goes around once more. It
// looks at each route, dirty or not: there are few, beside a VRF's.
#include "mira/MiraL2.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MiraL2Review", false);

}  // namespace

// Lives for the call.
class MiraL2::Slice {
 public:
  explicit Slice(MiraL2 & l2) : l2_(l2), table_(l2.table()), budget_(l2.reviewQuantum()) {
    place();
  }
  // True if the pass is over, false if the time is up.
  bool run();
  // Where the pass began and where it stands. REQUIRES: run() has returned false.
  RouteKey const & startKey() const { return start_.key(); }
  RouteKey const & currentKey() const { return current_.key(); }

 private:
  using Table = std::remove_cvref_t<decltype(std::declval<MrouteTable>().mroute())>;
  using Ring = Keel::WrapIterator<Table>;

  void place();
  bool visit();
  bool doDelete(Mroute const & route);

  MiraL2 & l2_;
  MrouteTable & table_;
  Keel::Budget budget_;
  Ring start_;
  Ring current_;
};

void MiraL2::Slice::place() {
  DirtyInfo & gathered = *table_.dirtyInfo();
  if (gathered.isDirty()) {
    l2_.dirtyInfo_->mergeWith(gathered);
    l2_.startingBookmark_ = l2_.currentBookmark_;
    l2_.nextPass();
  }
  start_ = Ring(table_.mroute(), l2_.startingBookmark_);
  current_ = Ring(table_.mroute(), l2_.currentBookmark_);
  if (l2_.currentBookmark_ == RouteKey()) {
    ZET_TRACE(7, "Beginning review at: " << current_.key().pretty());
  } else {
    ZET_TRACE(7, "Resuming review at: " << current_.key().pretty());
    l2_.currentBookmark_ = {};
    l2_.nextPass();
  }
  gathered.clear();
}

bool MiraL2::Slice::run() {
  for (;;) {
    bool const complete = visit();
    bool const over = budget_.over();
    if (over) {
      ZET_TRACE(7, "Yielding review at: " << (current_ ? current_.key() : RouteKey()).pretty());
    }
    if (complete || over) return complete;
  }
}

// Looks at the route under the walk and moves on; true if the pass is over.
bool MiraL2::Slice::visit() {
  Zet::Ptr<Mroute> const route = current_.ptr();
  if (!l2_.dirtyInfo_->mrouteDirty(*route)) {
    ZET_TRACE(9, "No dirty floodsets in: " << route->key().pretty());
  } else if (route->markedForDeletion()) {
    return doDelete(*route);
  } else {
    l2_.doRefreshL2Floodset(*route);
  }
  current_.advance();
  return current_ == start_;
}

// Where the first route of the pass goes, the pass now begins at the one behind it, which is still
// to be seen.
bool MiraL2::Slice::doDelete(Mroute const & route) {
  RouteKey const key = route.key();
  ZET_TRACE(5, "Delete floodset " << key.pretty() << " Reason: Floodset marked for deletion");
  SKEIN("MiraL2::doReview: Delete floodset ", key);
  bool const beganHere = current_ == start_;
  start_.leave(key);
  current_.leave(key);
  table_.mrouteDel(key);
  // It was the only one; whoever heard of it may have added others.
  if (!current_) start_ = current_ = Ring(table_.mroute(), key);
  return table_.mroute().empty() || (current_ == start_ && !beganHere);
}

void MiraL2::doReview() {
  if (!initialized_) {
    ZET_TRACE(5, "Not initialized yet");
    return;
  }
  Zet::Ptr<MiraL2> self(this);
  reviewTimer_->lastReviewTimeIs(zetClock_->target()->now());
  if (table().mroute().empty()) {
    ZET_TRACE(7, "floodset table is empty");
    table().dirtyInfo()->clear();
    table().mroutesInitializedIs(true);
    return;
  }
  reviewInProgress_ = true;
  Slice slice(*this);
  if (slice.run()) {
    finishReview();
  } else {
    suspendReview(slice);
  }
}

void MiraL2::nextPass() {
  review_ = Keel::nextGeneration(review_);
  doAddReviewInfo();
}

void MiraL2::suspendReview(Slice const & slice) {
  ZET_TRACE(7, "Suspending review, key: " << slice.currentKey().pretty());
  startingBookmark_ = slice.startKey();
  currentBookmark_ = slice.currentKey();
  if (reviewDelay_ == 0.0) reviewTimer_->doUpdateNextReviewImmediately();
}

void MiraL2::finishReview() {
  ZET_TRACE(7, "Review complete");
  startingBookmark_ = currentBookmark_ = {};
  dirtyInfo_->clear();
  doDelReviewInfo();
  table().mroutesInitializedIs(true);
  reviewInProgress_ = false;
}

void MiraL2::doAddReviewInfo() {
  if (reviewInfo_) reviewInfo_->reviewIs("floodset", review_);
}

void MiraL2::doDelReviewInfo() {
  if (reviewInfo_) reviewInfo_->reviewDel("floodset");
}

}  // namespace Brindle
