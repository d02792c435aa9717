#include "boundary/BoundaryDelReview.h"

#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle::BoundaryFastdrop {

namespace {

Zet::TraceHandle traceHandle("BoundaryDelReview", false);

// At the bookmark, which is spent; at the first member if there is none or it has gone.
template <class Map>
auto startAt(Map const & map, Nettle::IpGenAddr & bookmark, char const * resumes,
             char const * begins) {
  bool const stands = map.contains(bookmark);
  auto at = stands ? map.startAt(bookmark) : map.begin();
  bookmark = {};
  if (at) ZET_TRACE(9, (stands ? resumes : begins) << at.key());
  return at;
}

}  // namespace

bool BoundaryDelReview::doReview(Zet::Seconds quantum) {
  SKEIN("BoundaryDelReview::doReview ", intfDelBookmark_, " ", groupDelBookmark_, " ",
        sourceDelBookmark_);
  doTakeSnapshot();
  auto const & intfs = reviewSet_->intf();
  if (intfs.empty()) {
    ZET_TRACE(9, ", no intfs to process");
    return false;
  }
  if (!intfs.contains(intfDelBookmark_)) groupDelBookmark_ = sourceDelBookmark_ = {};
  auto iIter = intfDelBookmark_ ? intfs.startAt(intfDelBookmark_) : intfs.begin();
  Keel::Budget const budget(quantum);
  while (iIter) {
    intfDelBookmark_ = iIter.key();
    if (!doReviewIntf(*iIter, budget)) return true;
    iIter.advance();
    reviewSet_->intfDel(intfDelBookmark_);
    if (iIter && budget.over()) {
      intfDelBookmark_ = iIter.key();
      return true;
    }
  }
  intfDelBookmark_ = {};
  return true;
}

void BoundaryDelReview::doTakeSnapshot() {
  if (reviewSet_ && (!reviewSet_->intf().empty() || intfDelBookmark_)) return;
  ZET_TRACE(9, ", taking snapshot of intfs to be deleted");
  reviewSet_ = std::exchange(pendingSet_, Zet::make<DelSet>());
}

// False if it has to stop within the interface.
bool BoundaryDelReview::doReviewIntf(DelIntf const & delIntf, Keel::Budget const & budget) {
  Zet::Ptr<Fastdrop> const fastdrop = status_->fastdrop(delIntf.key());
  if (!fastdrop) {
    groupDelBookmark_ = sourceDelBookmark_ = {};
    return true;
  }
  if (!delIntf.allGroupsDel()) return doReviewGroups(*fastdrop, delIntf.group(), budget);
  while (!fastdrop->group().empty()) {
    if (!doReviewGroups(*fastdrop, fastdrop->group(), budget)) return false;
  }
  doDeleteIntf(*fastdrop);
  return true;
}

template <class Groups>
bool BoundaryDelReview::doReviewGroups(Fastdrop & fastdrop, Groups const & groups,
                                       Keel::Budget const & budget) {
  auto gIter = startAt(groups, groupDelBookmark_, ", gIter is bookmark ", ", gIter is init to ");
  while (gIter) {
    if (!doReviewGroup(fastdrop, gIter.key(), budget)) {
      groupDelBookmark_ = gIter.key();
      return false;
    }
    gIter.advance();
    ZET_TRACE(9, ", gIter is " << (gIter ? "something" : "nothing"));
    if (gIter && budget.over()) {
      groupDelBookmark_ = gIter.key();
      return false;
    }
  }
  return true;
}

// Does nothing if the group has gone already.
bool BoundaryDelReview::doReviewGroup(Fastdrop & fastdrop, Nettle::IpGenAddr const key,
                                      Keel::Budget const & budget) {
  Zet::Ptr<GroupInfo> const gIter = fastdrop.group(key);
  if (!gIter) {
    sourceDelBookmark_ = {};
    return true;
  }
  while (!gIter->source().empty()) {
    if (!doReviewSources(*gIter, budget)) return false;
  }
  ZET_ASSERT(gIter->source().empty(), "not gIter->sources()");
  ZET_TRACE(9, ", deleting group " << key);
  fastdrop.groupDel(key);
  return true;
}

bool BoundaryDelReview::doReviewSources(GroupInfo & group, Keel::Budget const & budget) {
  auto sIter = startAt(group.source(), sourceDelBookmark_, ", setting sIter to ",
                       ", initializing sIter to ");
  while (sIter) {
    ZET_TRACE(9, ", delete (" << group.key() << "," << sIter.key() << ")");
    group.sourceDel(sIter.key());
    sIter.advance();
    if (sIter && budget.over()) {
      sourceDelBookmark_ = sIter.key();
      return false;
    }
  }
  return true;
}

// An interface that has a boundary again keeps its record.
void BoundaryDelReview::doDeleteIntf(Fastdrop const & fastdrop) {
  ZET_ASSERT(fastdrop.group().empty(), "not fastdrop->groups()");
  if (fastdrop.denyPrefixTrie()) return;
  ZET_TRACE(9, ", deleting intf " << fastdrop.key());
  status_->fastdropDel(fastdrop.key());
}

}  // namespace Brindle::BoundaryFastdrop
