#include "fabric/SimAsyncFabric.h"
#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle {

using Keel::Xact;
using Keel::XactResult;

namespace {

Zet::TraceHandle traceHandle("SimAsyncFabric", false);

void finish(Xact & xact, XactResult result) {
  Zet::Ptr<Xact> const keep(&xact);
  xact.resultIs(result);
  xact.statusVersionIs(xact.statusVersion() + 1);
}

template <class Map, class End> void forEachOpen(Map const & xacts, End end) {
  for (auto i = xacts.begin(); auto * node = i.currNodeNonStale(); i.advance()) {
    Zet::Ptr<Xact> const xact = node->value;
    if (xact->result() == XactResult::outstanding) end(xact->id());
  }
}

SimMtableOifSet const & simSet(Zet::Ptr<MtableOifSet> const & set) {
  return static_cast<SimMtableOifSet const &>(*set);
}

}  // namespace

void SimMtableOifSet::doCleanup() {
  ZET_TRACE(9, "Deleting mtableOifset " << id_);
  if (simSwitch()) simSwitch()->delMtableOifSet(this);
}

SimAsyncSwitchChip::SimAsyncSwitchChip(Zet::Name name, U32 index,
                                       bool multicastFloodsetNeedsIngress)
    : AsyncSwitchChip(name, index),
      multicastFloodsetNeedsIngress_(multicastFloodsetNeedsIngress),
      home_(Zet::make<SimMtableOifSet::Home>(this)) {}

SimAsyncSwitchChip::~SimAsyncSwitchChip() { home_->chip = nullptr; }

bool SimAsyncSwitchChip::needIngressProgramming(RouteKeyType routeType) const {
  using namespace Routing::Multicast::Fib;
  switch (routeType) {
    case vlanFloodset_:
    case mcastGroup_:
      return false;
    case multicastFloodset_:
      return multicastFloodsetNeedsIngress_;
    case ethGroup_:
    case mroute_:
      return true;
    default:
      ZET_ASSERT(0, "0");
  }
}

// --- Sets

SimAsyncSwitchChip::XactPtr SimAsyncSwitchChip::doAllocateMtableOifSet(
    RouteKeyInfo const &, Zet::Ptr<OifSet const> const & oifSet, XactPtr const &,
    U32 presetMulticastId, bool) {
  if (SimMtableOifSet * set = inUseOifSet(oifSet, presetMulticastId)) {
    ZET_TRACE(9, "OifSet matches existing mtableOifset " << set->id());
    mtableOifSetIs(set);
    return oifSetXact(set->id().value);
  }
  if (failOifSetImmediate_) return refuseOifSet(*oifSet, " due to failOifSetImmediate flag");
  if (maxOifSets_ <= inUseOifSet_.size()) return refuseOifSet(*oifSet, " due to max inUseOifSets");
  OifSetXactId const id{oifSetId_++};
  auto const set = Zet::make<SimMtableOifSet>(oifSet, id, presetMulticastId, home_);
  inUseOifSet_.at({oifSet, presetMulticastId}).ptr = set.get();
  mtableOifSetIs(set);
  auto const xact = Zet::make<Xact>(id.value, "oifSet");
  oifSetXact_.at(id.value) = xact;
  blockedIngressXact_.insert(Zet::make<XactList>(id));
  return xact;
}

SimAsyncSwitchChip::XactPtr SimAsyncSwitchChip::refuseOifSet(OifSet const & oifSet,
                                                             char const * why) {
  ZET_TRACE(9, "Failing oifSet " << oifSet.portVlanSet().pretty() << why);
  mrouteFailureReasonIs(immediateOifSetReason_);
  return nullptr;
}

void SimAsyncSwitchChip::delMtableOifSet(SimMtableOifSet const * set) {
  oifSetXact_.del(set->id().value);
  Zet::Ptr<XactList> const xactList = blockedIngressXact(set->id());
  if (traceHandle.enabled(9)) {
    for (auto const & blocked : xactList->blockedXact()) {
      ZET_TRACE(
          9, "blockedXactId is " << set->id() << "remaining blocked xact is " << blocked.fwkKey());
    }
  }
  ZET_ASSERT(xactList->blockedXacts() == 0, "xactList->blockedXacts() == 0");
  blockedIngressXact_.del(set->id());
  inUseOifSet_.del({set->oifSet(), set->presetMulticastId()});
}

Zet::Ptr<OifSet const> SimAsyncSwitchChip::doGetOifSet(Zet::Ptr<MtableOifSet> const & set) {
  return simSet(set).oifSet();
}

U32 SimAsyncSwitchChip::doGetMulticastId(Zet::Ptr<MtableOifSet> const & set) {
  return simSet(set).multicastId();
}

// --- Entries

void SimAsyncSwitchChip::doAllocateRoute(RouteKey const & sg,
                                         Bridging::VlanIdOrNone acceptingVlanId, bool, RpaIndex,
                                         L3::VrfName, bool) {
  if (inUseRouteHandle_.size() >= maxRouteHandles_) {
    ZET_TRACE(9, "Failing route " << sg << " due to max routeHanldes");
    routeHandleIs(RouteHandle());
    mrouteFailureReasonIs(immediateIngressReason_);
    return;
  }
  RouteHandle const handle{routeHandleId_++};
  SimRouteHandle const match{sg, acceptingVlanId.value()};
  inUseRouteHandle_.at(handle) = match;
  routeHandleMap_.at(match) = handle;
  routeHandleIs(handle);
  ZET_TRACE(9, "Allocating routeHandle " << handle << " for route " << sg);
}

SimAsyncSwitchChip::XactPtr SimAsyncSwitchChip::doSetMtableOifSet(
    RouteHandle rh, Zet::Ptr<MtableOifSet> const & oif, XactPtr const & blockingXact) {
  ZET_ASSERT(oif, "oif");
  ZET_ASSERT(inUseRouteHandle(rh) != SimRouteHandle(),
             "inUseRouteHandle( rh ) != SimRouteHandle()");
  ZET_ASSERT(blockingXact, "blockingXact");
  ZET_ASSERT(oifSetXact(blockingXact->id()), "oifSetXact( blockingXact->id() )");
  if (failIngressImmediate_) return refuseIngress(rh, " due to failIngressImmediate flag");
  if (maxIngressSets_ <= ingressXact_.size()) return refuseIngress(rh, " due to max ingressXacts");
  auto const xact = ingressXactIs(rh);
  OifSetXactId const blocking{blockingXact->id()};
  XactList * const blockedXacts = blockedIngressXact(blocking);
  ZET_ASSERT(blockedXacts, "blockedXacts");
  blockedXacts->blockedXactIs({xact->id()});
  blockingOifSetXactId_.at({xact->id()}) = blocking;
  ZET_TRACE(9, rh << " allocated ingress xact " << xact->id());
  return xact;
}

SimAsyncSwitchChip::XactPtr SimAsyncSwitchChip::refuseIngress(RouteHandle rh, char const * why) {
  ZET_TRACE(9, "Failing route " << inUseRouteHandle(rh).routeKey << why);
  mrouteFailureReasonIs(immediateIngressReason_);
  return nullptr;
}

// The one that the entry had, open again, or a new one.
Zet::Ptr<Xact> SimAsyncSwitchChip::ingressXactIs(RouteHandle rh) {
  if (auto const old = routeHandleXact(rh)) {
    unblock({old->id()});
    old->resultIs(XactResult::outstanding);
    return old;
  }
  U32 const id = ingressId_++;
  auto const xact = Zet::make<Xact>(id, "ingress");
  ingressXact_.at(id) = xact;
  routeHandleXact_.at(rh) = xact;
  return xact;
}

void SimAsyncSwitchChip::unblock(IngressXactId id) {
  if (XactList * list = blockedIngressXact(blockingOifSetXactId(id))) list->blockedXactDel(id);
}

void SimAsyncSwitchChip::doDeleteRoute(RouteHandle rh) {
  SimRouteHandle const match = inUseRouteHandle(rh);
  ZET_ASSERT(match != SimRouteHandle(), "inUseRouteHandle( rh ) != SimRouteHandle()");
  if (routeHandleMap(match) == rh) routeHandleMap_.del(match);
  inUseRouteHandle_.del(rh);
  auto const xact = routeHandleXact(rh);
  if (!xact) return;
  routeHandleXact_.del(rh);
  IngressXactId const id{xact->id()};
  ZET_TRACE(9, "Deleting rh " << rh << " with ingressXact " << id.value << " oifsetXactId "
                              << blockingOifSetXactId(id).value << " route key " << match.routeKey);
  unblock(id);
  blockingOifSetXactId_.del(id);
  ingressXact_.del(id.value);
}

// --- Results

bool SimAsyncSwitchChip::doSetOifSetXactResult(U32 xactId, XactResult result) {
  auto const xact = oifSetXact(xactId);
  if (!xact) {
    ZET_TRACE(9, "no oifSet xact" << xactId);
    return false;
  }
  if (result == XactResult::success && maxOifSets_ <= inUseOifSet_.size()) {
    ZET_TRACE(9, "Overriding success due to max inUseOifSets");
    result = XactResult::failure;
  }
  finish(*xact, result);
  return true;
}

bool SimAsyncSwitchChip::doSetIngressXactResult(U32 xactId, XactResult result) {
  auto const xact = ingressXact(xactId);
  if (!xact) {
    ZET_TRACE(9, "no ingress xact" << xactId);
    return false;
  }
  OifSetXactId const blockingId = blockingOifSetXactId({xactId});
  if (blockingId.value == 0) {
    ZET_TRACE(9, "no oifSet xact" << xactId);
    return false;
  }
  auto const blocking = oifSetXact(blockingId.value);
  if (!blocking) {
    ZET_TRACE(9, "Blocking xact for id " << xactId << " does not exist");
    return false;
  }
  if (result == XactResult::success) {
    if (blocking->result() != XactResult::success) {
      ZET_TRACE(9, "Blocking xact has not completed yet. Cannot complete ingress xact" << xactId);
      return false;
    }
    if (maxIngressSets_ <= ingressXact_.size()) {
      ZET_TRACE(9, "Overriding success due to maxIngressSets");
      result = XactResult::failure;
    }
  }
  finish(*xact, result);
  return true;
}

void SimAsyncSwitchChip::doSetAllOifSetXacts(XactResult result) {
  forEachOpen(oifSetXact_, [&](U32 id) {
    ZET_ASSERT(doSetOifSetXactResult(id, result), "doSetOifSetXactResult( it->id(), result )");
  });
}

void SimAsyncSwitchChip::doSetAllIngressXacts(XactResult result, bool skipBlocked) {
  forEachOpen(ingressXact_, [&](U32 id) {
    bool const done = doSetIngressXactResult(id, result);
    ZET_ASSERT(done || skipBlocked, "doSetIngressXactResult( it->id(), result )");
  });
}

}  // namespace Brindle
