// The reviews of drops at boundaries: one computes the sets that changes have touched, one forgets
// drops that nothing hits any more. Both go on where their time was up, within a route, too.
//
// A pass of the first goes once around the table, as that of L2 routes does: what changes meanwhile
// moves its end to where it stands.
#include "mira/MiraBoundarySm.h"
#include "mira/MiraRoot.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Routing::Multicast::Fib::Hardware::RouteStatus;

namespace {

Zet::TraceHandle traceHandle("MiraBoundaryReview", false);

// A poll may come a little before the platform has written the second one of two activity times.
constexpr Zet::Seconds kPollSlack = 0.5;

constexpr U32 kFirstVlan = 1;

}  // namespace

// --- Sets

// Lives for the call.
class MiraBoundarySm::Slice {
 public:
  explicit Slice(MiraBoundarySm & sm)
      : sm_(sm),
        routes_(sm.table().boundaryMroute()),
        budget_(sm.reviewQuantum_) {
    place();
  }
  // True if the pass is over, false if the time is up.
  bool run();
  // REQUIRES: run() has returned false, and the table is not empty.
  RouteKey const & startKey() const { return start_.key(); }
  RouteKey const & currentKey() const { return current_.key(); }

 private:
  using Table = std::remove_cvref_t<decltype(std::declval<MrouteTable>().boundaryMroute())>;
  using Ring = Keel::WrapIterator<Table>;

  void place();
  bool hasGone(RouteKey const & bookmark) const {
    return !(bookmark == RouteKey()) && !routes_.contains(bookmark);
  }
  bool refresh(BoundaryMroute const & route);

  MiraBoundarySm & sm_;
  Table const & routes_;
  Keel::Budget budget_;
  Ring start_;
  Ring current_;
};

void MiraBoundarySm::Slice::place() {
  DirtyInfo & gathered = *sm_.table().boundaryDirtyInfo();
  if (gathered.isDirty()) {
    sm_.dirtyInfo_->mergeWith(gathered);
    sm_.startingBookmark_ = sm_.currentBookmark_;
    sm_.vlanIdBookmark_ = VlanId(kFirstVlan);
    sm_.review_ = Keel::nextGeneration(sm_.review_);
  }
  start_ = Ring(routes_, sm_.startingBookmark_);
  current_ = Ring(routes_, sm_.currentBookmark_);
  // Where it began, or where it stood, has gone: it goes around once from here.
  bool const gone = hasGone(sm_.startingBookmark_) || hasGone(sm_.currentBookmark_);
  if (gone) start_ = current_;
  bool const begins = sm_.currentBookmark_ == RouteKey();
  ZET_TRACE(7, (begins ? "Beginning boundary review at: " : "Resuming boundary review at: ")
                   << current_.key().pretty());
  if (gone) sm_.vlanIdBookmark_ = VlanId(kFirstVlan);
  sm_.currentBookmark_ = {};
  gathered.clear();
}

bool MiraBoundarySm::Slice::run() {
  for (;;) {
    Zet::Ptr<BoundaryMroute> const route = current_.ptr();
    if (!sm_.dirtyInfo_->boundaryDirty(*route)) {
      ZET_TRACE(9, "No dirty boundaries in: " << route->key().pretty());
      sm_.vlanIdBookmark_ = VlanId(kFirstVlan);
    } else if (!refresh(*route)) {
      return false;
    }
    current_.advance();
    if (current_ == start_) return true;
    if (budget_.over()) {
      ZET_TRACE(7, "Yielding boundary review at: " << current_.key().pretty());
      return false;
    }
  }
}

// False if the time is up before the route's last VLAN.
bool MiraBoundarySm::Slice::refresh(BoundaryMroute const & route) {
  VlanId const first = sm_.vlanIdBookmark_;
  ZET_TRACE(8, (first.value() == kFirstVlan ? "Fastdrop review starts at vlanId: "
                                            : "Fastdrop review resume at vlanId: ")
                   << first);
  IpGenAddr const source = route.key().source().address(), group = route.key().group().address();
  for (auto i = route.fastdrop().startAt(first); i;) {
    ZET_TRACE(8, "Refresh boundary (" << source << ", " << group << ") vlan " << i.key());
    sm_.doRefreshBoundaryFastdrop(source, group, i.key());
    i.advance();
    if (!i || !budget_.over()) continue;
    ZET_TRACE(7, "Yielding fastdrop review at vlanId: " << i.key());
    sm_.vlanIdBookmark_ = i.key();
    return false;
  }
  ZET_TRACE(8, "Fastdrop review complete for: " << route.key().pretty());
  sm_.vlanIdBookmark_ = VlanId(kFirstVlan);
  return true;
}

void MiraBoundarySm::doKickReview() {
  if (!initialized_ || reviewTimer_->reviewPending()) return;
  reviewTimer_->doUpdateNextReview();
}

void MiraBoundarySm::doReview() {
  if (!initialized_) {
    ZET_TRACE(5, "Not initialized yet");
    return;
  }
  Zet::Ptr<MiraBoundarySm> const self(this);
  reviewTimer_->lastReviewTimeIs(zetClock_->target()->now());
  U32 const routes = table().boundaryMroute().size();
  ZET_TRACE(7, "MrouteTable has " << routes << " boundary routes");
  if (routes == 0) {
    table().boundaryDirtyInfo()->clear();
    startingBookmark_ = currentBookmark_ = {};
    dirtyInfo_->clear();
    reviewInProgress_ = false;
    return;
  }
  Slice slice(*this);
  if (slice.run()) {
    ZET_TRACE(7, "Boundary review complete");
    startingBookmark_ = currentBookmark_ = {};
    dirtyInfo_->clear();
    review_ = Keel::nextGeneration(review_);
    reviewInProgress_ = false;
    return;
  }
  ZET_TRACE(7, "Suspending review, key: " << slice.currentKey().pretty());
  startingBookmark_ = slice.startKey();
  currentBookmark_ = slice.currentKey();
  reviewInProgress_ = true;
  reviewTimer_->doUpdateNextReviewImmediately();
}

// --- Ageing

// Lives for the call.
class MiraBoundarySm::AgeingPass {
 public:
  explicit AgeingPass(MiraBoundarySm & sm)
      : sm_(sm),
        budget_(sm.fastdropPollReviewQuantum_),
        now_(sm.mira_->clock()->now()) {}
  // True if the pass is over, false if the time is up and the bookmarks are set.
  bool run();

 private:
  bool age(BoundaryMroute & route);
  void age(BoundaryMroute const & route, VlanId vlan, RouteStatus const & status);

  MiraBoundarySm & sm_;
  Keel::Budget budget_;
  Zet::Seconds const now_;
};

bool MiraBoundarySm::AgeingPass::run() {
  auto const & routes = sm_.table().boundaryMroute();
  RouteKey const bookmark = std::exchange(sm_.fastdropPollSgBookmark_, {});
  auto route = bookmark == RouteKey() ? routes.begin() : routes.startAt(bookmark);
  ZET_TRACE(8, (route ? "something" : "nothing") << " to review");
  if (!route || !(route.key() == bookmark)) sm_.fastdropPollVlanIdBookmark_ = VlanId(kFirstVlan);
  while (route) {
    Zet::Ptr<BoundaryMroute> const present = route.ptr();
    if (!age(*present)) return false;
    sm_.fastdropPollVlanIdBookmark_ = VlanId(kFirstVlan);
    route.advance();
    if (!route || !budget_.over()) continue;
    sm_.fastdropPollSgBookmark_ = route.key();
    return false;
  }
  return true;
}

// False if the time is up before the route's last VLAN.
bool MiraBoundarySm::AgeingPass::age(BoundaryMroute & route) {
  auto const * const vrfStatus = sm_.mira_->status()->vrfStatus(sm_.mira_->vrfName());
  Zet::Ptr<RouteStatus const> const status(vrfStatus ? vrfStatus->route(route.key()) : nullptr);
  if (!status) {
    ZET_TRACE(5, sm_.mira_->vrfName() << ", no route status " << route.key().pretty());
    route.doClearFastdrop();
    return true;
  }
  for (auto i = route.fastdrop().startAt(sm_.fastdropPollVlanIdBookmark_); i;) {
    ZET_TRACE(8, route.key().pretty() << ", fIter is " << i.key());
    age(route, i.key(), *status);
    i.advance();
    if (!i || !budget_.over()) continue;
    sm_.fastdropPollSgBookmark_ = route.key();
    sm_.fastdropPollVlanIdBookmark_ = i.key();
    return false;
  }
  return true;
}

void MiraBoundarySm::AgeingPass::age(BoundaryMroute const & route, VlanId vlan,
                                     RouteStatus const & status) {
  RouteKey const key = route.key();
  IntfId const intf = sm_.mira_->intfVlanIdTable()->vlanIdToIntfId(vlan);
  double const * const activity = status.fastdropLastPollTime().find(Zet::String(intf.view()));
  Zet::Seconds const idle = now_ - (activity ? *activity : 0.0);
  if (idle < 2 * sm_.fastdropPollingInterval_ - kPollSlack) {
    ZET_TRACE(8, key.pretty() << ", fastdrop active for " << intf << " " << idle << " secs ago");
    return;
  }
  ZET_TRACE(5, key.pretty() << ", delete inactive or unprogrammed fastdrop " << intf);
  sm_.doDelFastdropInfo(key, intf);
  // Its interface may have moved to another VLAN: then no record leads to it.
  sm_.doDelBoundaryFastdrop(key, vlan);
}

void MiraBoundarySm::doReviewFastdropPollTime() {
  if (!initialized_) {
    ZET_TRACE(5, mira_->vrfName() << ", not initialized yet");
    return;
  }
  SKEIN("MiraBoundarySm::doReviewFastdropPollTime ", mira_->vrfName());
  Zet::Ptr<MiraBoundarySm> const self(this);
  bool const complete = AgeingPass(*this).run();
  fastdropPollReviewTimer_->lastReviewTimeIs(fastdropPollClock_->target()->now());
  if (complete) {
    ZET_TRACE(7, mira_->vrfName() << ", review complete. Rescheduling after "
                                  << fastdropPollingInterval_);
    doUpdateFastdropPollClock(fastdropPollingInterval_);
  } else {
    ZET_TRACE(7, mira_->vrfName() << ", suspending review at bookmark "
                                  << fastdropPollSgBookmark_.pretty());
    doUpdateFastdropPollClock(0.0);
  }
}

void MiraBoundarySm::doUpdateFastdropPollClock(Zet::Seconds delay) {
  if (!initialized_) return;
  if (fastdropPollReviewTimer_->reviewPending()) {
    ZET_TRACE(8, mira_->vrfName() << ", review already pending");
  } else if (delay == 0.0) {
    fastdropPollReviewTimer_->doUpdateNextReview();
  } else {
    fastdropPollClock_->timeMinIs(mira_->clock()->now() + delay);
  }
}

void MiraBoundarySm::doDelFastdropInfo(RouteKey const & key, IntfId intf) {
  Zet::Ptr<BoundaryFastdrop::Status> const status(fastdropStatus());
  Zet::Ptr<Fastdrop> const fastdrop(status ? status->fastdrop(intf) : nullptr);
  IpGenAddr const source = key.source().address(), group = key.group().address();
  Zet::Ptr<GroupInfo> const info(fastdrop ? fastdrop->group(group) : nullptr);
  if (!info) return;
  if (source != IpGenAddr(0u)) {
    ZET_TRACE(5, intf << ", deleting group " << group << ", source " << source);
    info->sourceDel(source);
  }
  if (info->source().empty()) {
    ZET_TRACE(5, intf << ", cleaning up group " << group);
    fastdrop->groupDel(group);
  }
  if (fastdrop->group().empty() && !fastdrop->denyPrefixTrie()) {
    ZET_TRACE(5, intf << ", cleaning up fastdrop ");
    status->fastdropDel(intf);
  }
}

}  // namespace Brindle
