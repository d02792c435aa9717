#include "programmer/AsyncChipInfo.h"

#include "platform/Assert.h"
#include "platform/Trace.h"
#include "programmer/AsyncZetMroute.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncChipInfo", false);

}  // namespace

AsyncChipInfo::Pending const AsyncChipInfo::none;

void ZetXact::onStatusVersion() {
  Zet::Ptr<AsyncZetMroute> const route(route_);
  if (target()) route->handleXact(kind_, ingress_, *target());
}

// --- The set

void AsyncChipInfo::mtableOifSetPrecommit(Zet::Ptr<MtableOifSet> const & v) {
  pendingIs().oldMtableOifSet = std::exchange(mtableOifSet_, v);
  mtableOifSetCommitted_ = false;
}

void AsyncChipInfo::mtableOifSetCommit() {
  if (pending_) pending_->oldMtableOifSet = nullptr;
  mtableOifSetCommitted_ = true;
}

void AsyncChipInfo::mtableOifSetRevert() {
  if (mtableOifSetCommitted_) return;
  mtableOifSet_ = std::exchange(pendingIs().oldMtableOifSet, nullptr);
  mtableOifSetCommitted_ = true;
}

// --- The entry of the route itself

void AsyncChipInfo::rpfRouteHandlePrecommit(RouteHandle v) {
  if (oldRpfRouteHandle_.isNull()) {
    oldRpfRouteHandle_ = rpfRouteHandle_;
    rpfRouteHandleCommitted_ = false;
  } else {
    ZET_ASSERT(!rpfRouteHandleCommitted(), "!rpfRouteHandleCommitted()");
    doDelete(rpfRouteHandle_);
  }
  rpfRouteHandle_ = v;
}

void AsyncChipInfo::rpfRouteHandleCommit() {
  RouteHandle const old = std::exchange(oldRpfRouteHandle_, RouteHandle());
  if (!old.isNull()) doDelete(old);
  rpfRouteHandleCommitted_ = true;
}

void AsyncChipInfo::rpfRouteHandleRevert() {
  if (rpfRouteHandleCommitted_) return;
  doDelete(rpfRouteHandle_);
  rpfRouteHandle_ = std::exchange(oldRpfRouteHandle_, RouteHandle());
  rpfRouteHandleCommitted_ = true;
}

void AsyncChipInfo::doCommit() {
  if (chip_->needIngressProgramming(routeType_)) rpfRouteHandleCommit();
  // After the old entry has gone, whose transaction waited for the old set.
  mtableOifSetCommit();
  pending_ = nullptr;
}

void AsyncChipInfo::doDelete(RouteHandle handle) {
  if (chip_->needIngressProgramming(routeType_)) {
    chip_->doDeleteRoute(handle);
  } else {
    mtableOifSet_ = nullptr;
  }
}

void AsyncChipInfo::doDeleteRpf() {
  if (!oldRpfRouteHandle_.isNull()) {
    ZET_TRACE(9, "Deleting old RPF routehandle " << oldRpfRouteHandle_);
    doDelete(std::exchange(oldRpfRouteHandle_, RouteHandle()));
  }
  if (!rpfRouteHandle_.isNull()) {
    ZET_TRACE(9, "Deleting RPF routehandle " << rpfRouteHandle_);
    doDelete(std::exchange(rpfRouteHandle_, RouteHandle()));
  }
  rpfRouteHandleCommitted_ = false;
  mtableOifSet_ = nullptr;
  mtableOifSetCommitted_ = false;
  pending_ = nullptr;
}

// --- The entries beside it

AsyncVlanInfo & AsyncChipInfo::vlanInfoIs(EntryKind kind, Bridging::VlanId vlan) {
  AsyncVlanInfo * const v = entries_.find(kind, vlan);
  return v ? *v : entries_.insert({vlan, kind, {}, nullptr, {}, {}});
}

void AsyncChipInfo::doDelete(AsyncVlanInfo * v) {
  AsyncVlanInfo const taken = vlanInfoDel(v);
  if (!taken.routeHandle.isNull()) chip_->doDeleteRoute(taken.routeHandle);
}

void AsyncChipInfo::doDeleteAll(EntryKind kind) {
  while (AsyncVlanInfo * v = entries_.find(kind)) doDelete(v);
}

void AsyncChipInfo::doDeleteAll() {
  doDeleteRpf();
  while (!entries_.empty()) doDelete(entries_.begin());
}

void AsyncChipInfo::doLeaveSets() const {
  auto const leave = [this](Zet::Ptr<MtableOifSet> const & set) {
    if (set) chip_->leftSetIs(set);
  };
  leave(mtableOifSet_);
  leave(oldMtableOifSet());
  for (AsyncVlanInfo const & v : entries_) leave(v.mtableOifSet);
}

void AsyncChipInfo::unwatchAll() {
  if (pending_) {
    pending_->oifAllocXact.unwatch();
    pending_->setIngressXact.unwatch();
  }
  for (AsyncVlanInfo & v : entries_) {
    v.oifAllocXact.unwatch();
    v.setIngressXact.unwatch();
  }
}

}  // namespace Brindle
