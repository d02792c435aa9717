// The review of a VRF's routes: the one place where a Mira computes.
//
// Work comes in two ways. Routes that changed stand in a bounded queue of keys and are computed at
// the head of each slice. Changes of the switch stand in a DirtyInfo, which a walk over the whole
// table tests against the filters of each route. The walk is a ring: it ends where it began, and a
// change that comes meanwhile moves its end to where it stands, so that every route is seen once
// after the change. It is cut into slices of loopQuantum and resumes at its bookmarks.
#include "mira/Mira.h"
#include "mira/MiraRoot.h"
#include "mira/MrouteTableReview.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MiraReview", false);

}  // namespace

// --- Asking for a review

void Mira::markMrouteDirty(Zet::Ptr<Mroute> const & mroute) {
  if (!mroute) return;
  mroute->dirtyIs(true);
  if (dirtyMrouteMetadata_.size() < dirtyMrouteLimit) {
    dirtyMrouteEnq(mroute->key());
    return;
  }
  ZET_TRACE(3, "(): dirty mroute queue full");
  SKEIN("(): dirty mroute queue full", mroute->key());
  mrouteTable_->dirtyInfo()->allRoutesDirtyIs(true);
}

void Mira::doKickReview() {
  ZET_TRACE(8, vrf_ << " Kicking review");
  if (!initialized_ || reviewDisabled_) return;
  reviewPending_ = true;
  if (zetClock_->timeMin() == Zet::Clock::never) {
    zetClock_->timeMinIs(zetClock_->target()->now() + reviewDelay_);
  }
}

void Mira::handleClock() {
  if (!initialized_) return;
  nextReview_ = Zet::Clock::never;
  doReview();
}

void Mira::doMaybeAddReviewInfo() {
  ReviewInfo & info = *miraRoot_->reviewInfo();
  if (mrouteTable_->af() == Nettle::ipv4()) {
    info.reviewIs(vrf_, review_);
  } else {
    info.review6Is(vrf_, review_);
  }
}

void Mira::doMaybeDeleteReviewInfo() { miraRoot_->doMaybeDeleteReviewInfo(vrf_); }

// --- One slice

void Mira::doReview() {
  Zet::Ptr<Mira> self(this);  // the last step may take this machine out of the root
  if (!mayReview()) return;
  MrouteTableReview slice(*this);
  reviewInProgress_ = true;
  if (slice.run()) {
    finishReview(slice);
    if (mrouteTable_->mroute().empty() && markedForDeletion_) {
      miraRoot_->doDeleteMira(vrf_);
      return;
    }
  } else {
    pauseReview(slice);
  }
  SKEIN("Mira::handleReadable reviews ", miraRoot_->handleReadableReviews(), " count ",
        miraRoot_->handleReadableCount());
}

// With routing on but no tables there is nothing to go by, except for the L2 routes that the
// default VRF's review waits for.
bool Mira::mayReview() const {
  if (!initialized_ || !nsfMiraEnabled_) return false;
  bool l2 = miraRoot_->l2Enabled() && vrf_ == L3::VrfName::defaultVrf();
  return !l3Enabled_ || mfibShoalDir() || l2;
}

void Mira::nextPass() {
  review_ = Keel::nextGeneration(review_);
  doMaybeAddReviewInfo();
}

void Mira::pauseReview(MrouteTableReview const & slice) {
  startingBookmark_ = slice.startKey();
  currentBookmark_ = slice.currentKey();
  zetClock_->timeMinIs(zetClock_->target()->now() + reviewDelay_);
  SKEIN("Mira::doReview() paused, loopQuantum used up. walked ", slice.walked(), " dirty ",
        slice.processed(), " dirtyMroutes ", slice.dirtyProcessed(), " mroutes ",
        mrouteTable_->mroute().size());
}

void Mira::finishReview(MrouteTableReview const & slice) {
  currentBookmark_ = startingBookmark_ = {};
  reviewInProgress_ = reviewPending_ = vxlanIntfDirty_ = false;
  dirtyInfo_->clear();
  doMaybeDeleteReviewInfo();
  mrouteTable_->mroutesInitializedIs(true);

  auto & status = *miraRoot_->status();
  status.routingEnabledIs(l3Enabled_);
  if (!status.hwRouting()) {
    ZET_TRACE(3, "Urpf triggered disable, increment the counter");
    status.waitForRoutingDisabledCntInc(1);
  }
  SKEIN("Mira::doReview() finished. walked ", slice.walked(), " dirty ", slice.processed(),
        " dirtyMroutes ", slice.dirtyProcessed(), " mroutes ", mrouteTable_->mroute().size());
  if (!status.batchEnabled()) return;
  ZET_TRACE(5, vrf_ << ": notifying batch processing");
  mrouteTable_->mrouteBatchVersionInc(1);
}

}  // namespace Brindle
