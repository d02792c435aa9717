// L2 routes on chips that answer later. Of most kinds a chip has no entry: the route stands with
// its set. The first chip speaks for all.
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/AsyncMrouteSm.h"
#include "programmer/XactChain.h"

namespace Brindle {

using Bridging::VlanIdOrNone;
using Routing::Multicast::Fib::mcastGroup_;

namespace {

Zet::TraceHandle traceHandle("AsyncL2Update", false);

}  // namespace

class AsyncZetMroute::L2Update {
 public:
  explicit L2Update(AsyncZetMroute & route)
      : route_(route),
        mroute_(*route.mroute_),
        sm_(*route.sm()),
        hasEntry_(firstChip().needIngressProgramming(route.key().kind())) {}
  void run();

 private:
  AsyncSwitchChip & firstChip() const { return *sm_.fabric()->chip().items().begin()->value; }
  void publish();
  U32 presetMulticastId() const;
  bool issue();
  bool issue(ChipInfo &);
  bool allocateEntry(ChipInfo &);

  AsyncZetMroute & route_;
  Mroute const & mroute_;
  AsyncMrouteSm & sm_;
  bool const hasEntry_;
  U32 multicastId_ = 0;
  XactChain chain_{true};
};

void AsyncZetMroute::doUpdateFabricL2Group() {
  if (!sm()->initialized() || mroute_->version() == 0) return;
  Busy const busy(*this);
  doDropGoneChips();
  if (sm()->fabric()->chips() == 0) return;
  SKEIN("AsyncZetMroute::doUpdateFabricL2Group", key());
  L2Update(*this).run();
}

void AsyncZetMroute::L2Update::run() {
  publish();
  route_.inProgress_ = true;
  ZET_ASSERT(mroute_.oifSet(), "mroute->oifSet()");
  ZET_TRACE(8, route_.key() << " " << mroute_.oifSet()->portVlanSet().pretty());
  if (!issue()) return route_.finishFailureCleanup(chain_.failure());
  route_.oifSet_ = mroute_.oifSet();
  route_.acceptingVlanId_ = mroute_.acceptingVlanId();
  route_.rpaId_ = mroute_.rpaId();
  route_.releaseChips();
}

// Refuses a route without a VLAN before anything has begun.
void AsyncZetMroute::L2Update::publish() {
  ProgrammedSet & record = sm_.l2Status()->programmedSetIs(mroute_);
  record.status = ProgrammingStatus::inProgress;
  auto const shows = l2StatusRow(route_.key().kind()).showsPending;
  bool const pending =
      shows == L2StatusRow::always || (shows == L2StatusRow::withoutEntry && !hasEntry_);
  if (pending) record.oifSet = mroute_.oifSet();
  if (route_.key().kind() != mcastGroup_) return;
  multicastId_ = presetMulticastId();
  // What is answered is this request, also if the next one comes before the outcome.
  sm_.l2Status()->mcastGroupStatus(route_.key())->requestIdIs(mroute_.mcastGroupRequestId());
}

// One id for all chips and all times that the group is programmed.
U32 AsyncZetMroute::L2Update::presetMulticastId() const {
  if (U32 const id = sm_.l2Status()->mcastGroupStatus(route_.key())->multicastId()) return id;
  if (!sm_.mcastGroupStatus()) return 0;
  auto const * response = sm_.mcastGroupStatus()->response(route_.key().mcastGroup());
  if (!response || !response->success()) return 0;
  ZET_TRACE(8, "Found the multicastId that has been assigned in the response: "
                   << response->multicastId());
  return response->multicastId();
}

bool AsyncZetMroute::L2Update::issue() {
  U32 position = 0;
  for (auto const & chip : sm_.fabric()->chip().items()) {
    if (!issue(route_.chipInfoIs(position++, *chip.value))) return false;
  }
  return true;
}

bool AsyncZetMroute::L2Update::issue(ChipInfo & info) {
  AsyncSwitchChip & chip = info.chip();
  RouteKeyInfo const routeInfo{route_.key(), mroute_.acceptingVlanId(), sm_.vrfName()};
  bool const hasSet = chain_.oifSetIs(
      chip,
      chip.doAllocateMtableOifSet(routeInfo, mroute_.oifSet(), chain_.last(), multicastId_, false));
  info.mtableOifSetPrecommit(chip.mtableOifSet());
  chip.mtableOifSetIs(nullptr);
  if (!hasSet) return false;
  ZET_ASSERT(info.mtableOifSet(), "ci->mtableOifSet()");
  bool const choosesId = multicastId_ == 0 && route_.key().kind() == mcastGroup_;
  if (choosesId) multicastId_ = chip.doGetMulticastId(info.mtableOifSet());
  info.oifAllocXactIs(chain_.last());
  if (!hasEntry_) return true;
  if (info.rpfRouteHandle().isNull() && !allocateEntry(info)) return false;
  if (!chain_.ingressIs(chip, chip.doSetMtableOifSet(info.rpfRouteHandle(), info.mtableOifSet(),
                                                     chain_.last()))) {
    return false;
  }
  info.setIngressXactIs(chain_.last());
  return true;
}

bool AsyncZetMroute::L2Update::allocateEntry(ChipInfo & info) {
  AsyncSwitchChip & chip = info.chip();
  ZET_TRACE(8, "doAllocate mroute needIngressProgramming " << route_.key());
  chip.doAllocateRoute(route_.key(), mroute_.acceptingVlanId(), false, mroute_.rpaId(),
                       sm_.vrfName(), false);
  info.rpfRouteHandlePrecommit(chip.routeHandle());
  return chain_.entryIs(chip, info.rpfRouteHandle());
}

}  // namespace Brindle
