#include "programmer/AsyncMrouteUpdate.h"

#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/RpaReadiness.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

using Bridging::VlanIdOrNone;

namespace {

Zet::TraceHandle traceHandle("AsyncMrouteUpdate", false);

}  // namespace

void AsyncZetMroute::doUpdateFabricMroute() {
  if (!sm()->initialized() || mroute_->version() == 0 || !isRpaReady(*mroute_)) return;
  Busy const busy(*this);
  doDropGoneChips();
  if (sm()->fabric()->chips() == 0) {  // nothing stands beside the route any more
    doClearRouteStatus();
    return doUpdateStatus();
  }
  SKEIN("AsyncZetMroute::doUpdateFabricMroute", key());
  Update(*this).run();
}

AsyncZetMroute::Update::Update(AsyncZetMroute & route)
    : route_(route),
      mroute_(*route.mroute_),
      sm_(*route.sm()) {}

void AsyncZetMroute::Update::run() {
  route_.inProgress_ = true;
  ZET_ASSERT(mroute_.oifSet(), "mroute->oifSet()");
  ZET_ASSERT(route_.key().kind() == Routing::Multicast::Fib::mroute_,
             "mroute->key().kind() == Routing::Multicast::Fib::mroute_");
  ZET_TRACE(8, "Programming route " << route_.key()
                                    << ".  Current acceptingVlanId: " << route_.acceptingVlanId_
                                    << "  New acceptingVlanId: " << mroute_.acceptingVlanId());
  removeObsolete();
  route_.routeStatusIs();
  // An earlier life of the programmer may have published entries that are wanted no more.
  if (route_.chipInfo_.empty()) route_.doClearRouteStatus();
  ZET_TRACE(8, "Set mfib for route " << route_.key());
  if (needsEntry() && !issue()) return route_.finishFailureCleanup(chain_.failure());
  route_.oifSet_ = mroute_.oifSet();
  route_.acceptingVlanId_ = mroute_.acceptingVlanId();
  route_.rpaId_ = mroute_.rpaId();
  if (needsEntry()) {
    // Ahead of the entries beside it, whose failure it would take for its own past.
    bool const isOver = route_.settle(EntryKind::rpf);
    if (isOver && route_.chipInfo_.empty()) return;  // it has failed
    issueSideEntries();
  } else {
    succeedWithoutEntry();
  }
  route_.releaseChips();
  route_.doUpdateStatus();
}

bool AsyncZetMroute::Update::issueSideEntries() {
  bool ok = true;
  if (mroute_.notifyingVlanId()) ok &= route_.doUpdateFabricMrouteWithNotifyMroute();
  route_.doUpdateFastdrops(chain_.last());
  ok &= route_.doUpdateFabricMrouteWithNotifyMroute();
  ok &= route_.doUpdateFabricMrouteWithStaticFastdrop();
  ok &= route_.doUpdateFabricMrouteWithFrr();
  return ok;
}

// Only what stands beside it can fail.
void AsyncZetMroute::Update::succeedWithoutEntry() {
  route_.inProgress_ = false;
  route_.routeStatusIs().hwFlagsIs(0);
  if (issueSideEntries()) route_.reasonIs({});
}

// A route that comes in nowhere has no entry of its own.
bool AsyncZetMroute::Update::needsEntry() const { return hasInput(mroute_); }

bool AsyncZetMroute::Update::isInputChanged() const {
  return mroute_.acceptingVlanId() != route_.acceptingVlanId_ || mroute_.rpaId() != route_.rpaId_;
}

bool AsyncZetMroute::Update::hasLostInput() const {
  if (mroute_.acceptingVlanId()) return false;
  bool const hadRpa = route_.rpaId_ != Shoal::Multicast::Fib::rpaNone;
  return route_.acceptingVlanId_ || (hadRpa && !needsEntry());
}

void AsyncZetMroute::Update::removeObsolete() {
  bool const lost = hasLostInput();
  if (lost) removeLost();
  route_.doDeleteObsoleteFastdrops();
  for (SpecialRoute const & special : specialRoutes) {
    // A backup input that is now the accepting one becomes the route's own entry below.
    bool const isFrr = special.kind == EntryKind::frr;
    VlanIdOrNone const keep = isFrr ? mroute_.acceptingVlanId() : VlanIdOrNone();
    route_.doDeleteOtherThan(special, (mroute_.*special.vlan)(), keep);
  }
  for (U32 i = lost ? route_.chipInfo_.size() : 0; i-- > 0;) {
    if (route_.chipInfo_[i].entries().empty()) route_.chipInfo_.remove(i);
  }
}

void AsyncZetMroute::Update::removeLost() {
  ZET_TRACE(8, "doUpdateFabricMroute(): no acceptingVlanId to valid acceptingVlanId");
  for (ChipInfo & info : route_.chipInfo_) info.doDeleteRpf();
  route_.reasonIs({});
  route_.freedRoom();
}

bool AsyncZetMroute::Update::issue() {
  U32 position = 0;
  for (auto const & chip : sm_.fabric()->chip().items()) {
    if (!issue(position++, *chip.value)) return false;
  }
  // A backup entry that was kept for the route to take over, and is wanted no more.
  route_.doDeleteOtherThan(specialRoute(EntryKind::frr), mroute_.frrVlanId());
  return true;
}

bool AsyncZetMroute::Update::issue(U32 position, AsyncSwitchChip & chip) {
  ChipInfo & info = route_.chipInfoIs(position, chip);
  RouteKeyInfo const routeInfo{route_.key(), mroute_.acceptingVlanId(), sm_.vrfName()};
  bool const hasSet = chain_.oifSetIs(
      chip, chip.doAllocateMtableOifSet(routeInfo, mroute_.oifSet(), chain_.last(), 0, false));
  info.mtableOifSetPrecommit(chip.mtableOifSet());
  chip.mtableOifSetIs(nullptr);
  if (!hasSet) return false;
  ZET_ASSERT(info.mtableOifSet(), "ci->mtableOifSet()");
  info.oifAllocXactIs(chain_.last());
  bool const keepsEntry = !info.rpfRouteHandle().isNull() && !isInputChanged();
  if (!keepsEntry && !allocateEntry(info)) return false;
  if (!chain_.ingressIs(chip, chip.doSetMtableOifSet(info.rpfRouteHandle(), info.mtableOifSet(),
                                                     chain_.last()))) {
    return false;
  }
  info.setIngressXactIs(chain_.last());
  return true;
}

bool AsyncZetMroute::Update::allocateEntry(ChipInfo & info) {
  AsyncSwitchChip & chip = info.chip();
  VlanIdOrNone const vlan = mroute_.acceptingVlanId();
  // They were made for the old input, and are made anew below.
  if (vlan != route_.acceptingVlanId_) info.doDeleteAll(EntryKind::fastdrop);
  AsyncVlanInfo * const frr = info.frr();
  RouteHandle handle;
  if (frr && frr->vlanId == vlan) {
    handle = takeOverFrr(info, frr);
  } else {
    ZET_TRACE(8, "Allocating mroute " << route_.key() << ", on vlan " << vlan);
    chip.doAllocateRoute(route_.key(), vlan, false, mroute_.rpaId(), sm_.vrfName(), false);
    handle = chip.routeHandle();
  }
  info.rpfRouteHandlePrecommit(handle);
  if (sm_.mfib()->avoidDuplicates()) info.rpfRouteHandleCommit();
  return chain_.entryIs(chip, handle);
}

// The backup entry is on the VLAN that is now the accepting one.
RouteHandle AsyncZetMroute::Update::takeOverFrr(ChipInfo & info, AsyncVlanInfo * frr) {
  ZET_TRACE(8, " Reuse Frr routeHandle " << frr->routeHandle);
  AsyncVlanInfo const taken = info.vlanInfoDel(frr);
  chain_.keep(taken.mtableOifSet);
  if (auto status = sm_.statusWriter().routeStatus(route_.key())) status->frrIntfIdIs({});
  return taken.routeHandle;
}

}  // namespace Brindle
