#include "mira/MrouteTableReview.h"

#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MrouteTableReview", false);

}  // namespace

MrouteTableReview::MrouteTableReview(Mira & mira)
    : mira_(mira),
      table_(*mira.mrouteTable()),
      budget_(mira.loopQuantum()) {
  place();
}

// A change since the last slice moves the end of the pass to where the walk stands.
void MrouteTableReview::place() {
  DirtyInfo & gathered = *table_.dirtyInfo();
  if (gathered.isDirty()) {
    mira_.dirtyInfo()->mergeWith(gathered);
    mira_.startingBookmark_ = mira_.currentBookmark_;
    mira_.nextPass();
  }
  if (mira_.startingBookmark() == RouteKey()) {
    ZET_TRACE(7, "() starts from the beginning");
    SKEIN("Mira::doReview starts from the beginning");
    mira_.nextPass();
  } else {
    ZET_TRACE(7, "() starts from the middle");
    SKEIN("Mira::doReview starts from the middle");
  }
  start_ = Ring(table_.mroute(), mira_.startingBookmark());
  current_ = Ring(table_.mroute(), mira_.currentBookmark());
  gathered.clear();
}

bool MrouteTableReview::run() {
  if (table_.mroute().empty()) return true;
  ZET_ASSERT(current_ && start_, "mrouteIter && startingMrouteIter");
  if (!drainQueue()) return false;
  if (nothingToFind()) return true;
  for (;;) {
    if (visit()) return true;
    if (lookAtClock_ && budget_.over()) return false;
    if (!drainQueue()) return false;
    if (table_.mroute().empty()) return true;
  }
}

// A walk would skip every route: routes that arrive in small numbers must not cost the length of
// the table each time.
bool MrouteTableReview::nothingToFind() const {
  if (table_.mroute().empty()) return true;
  bool const noneDue = table_.dirtyMroutes() == table_.heldMroutes();
  return noneDue && !mira_.dirtyInfo()->isDirty() && !mira_.markedForDeletion();
}

// The routes that changed; false if the time is up.
bool MrouteTableReview::drainQueue() {
  while (mira_.dirtyMrouteMetadata().size() != 0) {
    Zet::Ptr<Mroute> mroute = table_.mroute(mira_.dirtyMrouteDeq());
    if (!mroute || !mroute->dirty()) continue;
    if (mroute->markedForDeletion()) {
      doDelete(*mroute, " Reason: Route marked for deletion");
    } else {
      doProcess(mroute);
    }
    walked_.inc();
    if (dirtyProcessed_.inc() && !table_.mroute().empty() && budget_.over()) return false;
  }
  return true;
}

bool MrouteTableReview::isDue(Mroute const & mroute) const {
  return mira_.dirtyInfo()->mrouteDirty(mroute) && mroute.review() != mira_.review();
}

// Looks at the route under the walk and moves on; true if the pass is over.
bool MrouteTableReview::visit() {
  bool const draining = mira_.markedForDeletion();
  if (!draining && !isDue(*current_)) return skipClean();
  Zet::Ptr<Mroute> const mroute = current_.ptr();
  bool const beganHere = current_ == start_;
  bool const gone = draining || mroute->markedForDeletion();
  bool wrapped = false;
  if (gone) {
    wrapped = doDelete(*mroute, draining ? " Reason: VRF marked for deletion"
                                         : " Reason: Route marked for deletion");
  } else {
    doProcess(mroute);
  }
  lookAtClock_ = walked_.inc();
  lookAtClock_ |= processed_.inc();
  if (!gone) wrapped = current_.advance();  // a deletion has moved the walk on already
  if (wrapped) table_.mroutesInitializedIs(true);
  if (table_.mroute().empty()) return true;
  // A draining VRF ends when its table is empty. Where the first route of the pass was deleted,
  // the pass now begins at the one behind it, which is still to be seen.
  return current_ == start_ && !draining && !(gone && beganHere);
}

// Passes by what is clean, up to the next route that is due or until it is time to look at the
// clock; true if the pass is over.
bool MrouteTableReview::skipClean() {
  DirtyInfo::Walk const dirty(*mira_.dirtyInfo());
  U32 const review = mira_.review();
  bool const tracing = traceHandle.enabled(9);
  bool wrapped = false;
  U32 const skipped = current_.skip(start_, walked_.toGo(), wrapped, [&](Mroute const & mroute) {
    if (dirty.mrouteDirty(mroute) && mroute.review() != review) return false;
    if (tracing) traceSkipped(mroute);
    return true;
  });
  lookAtClock_ = walked_.inc(skipped);
  if (wrapped) table_.mroutesInitializedIs(true);
  return current_ == start_;
}

void MrouteTableReview::doProcess(Zet::Ptr<Mroute> const & mroute) {
  ZET_TRACE(7, " Process mroute " << mroute->key().pretty()
                                  << " Accepting VlanId: " << mroute->acceptingVlanId());
  SKEIN("Mira::doReview: Process mroute ", mroute->key());
  if (mroute->key().kind() == Routing::Multicast::Fib::mroute_) {
    mira_.doRefreshPortVlanSet(mroute);
  } else {
    mroute->dirtyIs(false);  // whoever asked for the group computes it
  }
  mroute->reviewIs(mira_.review());
}

bool MrouteTableReview::doDelete(Mroute const & mroute, char const * reason) {
  ZET_TRACE(5, "Delete mroute " << mroute.key().pretty() << reason);
  RouteKey const key = mroute.key();
  SKEIN("Mira::doReview: Delete mroute ", key, Skein::Literal{reason});
  table_.doUpdateVrfVlanFilter(0, mroute.vlanFilter());
  start_.leave(key);
  bool const wrapped = current_.leave(key);
  table_.mrouteDel(key);
  // It was the only one; whoever heard of it may have added others.
  if (!current_) start_ = current_ = Ring(table_.mroute(), key);
  return wrapped;
}

inline void MrouteTableReview::traceSkipped(Mroute const & mroute) const {
  ZET_TRACE(9, "Skipping " << mroute.key().pretty() << " not dirty "
                           << " dirtyInfo:" << mira_.dirtyInfo()->mrouteDirtyInfoStr(mroute)
                           << " mroute->vlanFilter:0x" << mroute.vlanFilter() << " review:"
                           << mira_.review() << " mroute->review:" << mroute.review());
}

}  // namespace Brindle
