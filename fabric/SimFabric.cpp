#include "fabric/SimFabric.h"

#include <string>
#include <typeinfo>

#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("SimFabric", false);

}  // namespace

void SimSwitchChip::SimMtableOifSet::handleDel() {
  if (simSwitch()) simSwitch()->handleSimMtableOifSetDel(this);
}

SimSwitchChip::SimSwitchChip(Zet::Name name, U32 index)
    : SwitchChip(name, index),
      home_(Zet::make<SimMtableOifSet::Home>(this)) {}

SimSwitchChip::~SimSwitchChip() { home_->chip = nullptr; }

void SimSwitchChip::portIs(Nettle::IntfId intf, bool local) {
  if (!(local ? port_.insert(intf) : port_.del(intf))) return;
  while (isLocal_.size() <= intf.index()) isLocal_.push_back(0);
  isLocal_[intf.index()] = local;
}

void SimSwitchChip::doAllocateMtableOifSet(Zet::Ptr<OifSet const> const & oifSet) {
  mtableOifSetIs(nullptr);
  ZET_TRACE(9, name() << ": allocating an output set");
  U32 portCount = 0;
  for (PortVlan const & pv : oifSet->portVlanSet().portVlan().items()) portCount += port(pv.port);
  if (traceHandle.enabled(9)) traceLocalMembers(*oifSet);
  if (portCount == 0) {
    ZET_TRACE(9, "    with no local portVlans");
  } else if (pvNumFree_ < portCount) {
    mtableFreeIs(false);
    return;
  }
  pvNumFree_ -= portCount;
  mtableOifSetIs(Zet::make<SimMtableOifSet>(home_, oifSet, portCount));
}

void SimSwitchChip::traceLocalMembers(OifSet const & oifSet) const {
  for (PortVlan const & pv : oifSet.portVlanSet().portVlan().items()) {
    if (port(pv.port)) ZET_TRACE(9, "    with local portVlan " << pv);
  }
}

void SimSwitchChip::handleSimMtableOifSetDel(SimMtableOifSet const * simOifset) {
  ZET_ASSERT(pvNumFree() + simOifset->portCount() <= pvTotal(),
             "pvNumFree() + simOifset->portCount() <= pvTotal()");
  pvNumFree_ += simOifset->portCount();
  if (simOifset->portCount() != 0) mtableFreeIs(true);
}

void SimSwitchChip::doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                                    bool, Zet::Ptr<MtableOifSet> const &, bool, bool,
                                    RpaIndex rpaId, L3::VrfName) {
  if (simRoute_.size() == routeTotal_) {
    ZET_TRACE(9, "Failed to allocate routeHandle because " << name() << " has " << simRoute_.size()
                                                           << " routes in use");
    routeHandleIs(RouteHandle());
    mrouteTcamFreeIs(false);
    boundaryTcamFreeIs(false);
    return;
  }
  nextRouteInc(1);
  routeHandleIs(RouteHandle{nextRoute_});
  auto route = Zet::make<Route>(routeHandle(), SimRouteKey{sg, acceptingVlanId});
  route->rpaId_ = rpaId;
  simRoute_.insert(std::move(route));
  ZET_TRACE(9, "Allocated routeHandle " << routeHandle());
}

void SimSwitchChip::doSetMtableOifSet(RouteHandle handle, Zet::Ptr<MtableOifSet> const & set) {
  Route * sr = simRoute_.find(handle);
  ZET_ASSERT(sr, "sr");
  MtableOifSet * const any = set.get();
  bool const mine = any && typeid(*any) == typeid(SimMtableOifSet);
  sr->simMtableOifSet_ = mine ? static_cast<SimMtableOifSet *>(any) : nullptr;
}

void SimSwitchChip::doActivateRoute(RouteHandle handle) {
  Route * sr = simRoute_.find(handle);
  ZET_ASSERT(sr && !sr->activated(), "sr && !sr->activated()");
  sr->activated_ = true;
  ZET_TRACE(9, "Activated routeHandle " << handle);
}

void SimSwitchChip::doDeleteRoute(RouteHandle handle) {
  Zet::Ptr<Route> sr = simRoute_.find(handle);
  if (!sr) return;
  simRoute_.remove(sr.get());
  if (!sr->activated()) return;  // nobody is told: the slot is found free at the next try
  mrouteTcamFreeIs(true);
  boundaryTcamFreeIs(true);
}

void SimSwitchChip::doReset() {
  simRouteDelAll();
  releasedIs(true);
  mrouteTcamFreeIs(true);
  boundaryTcamFreeIs(true);
  routeHandleIs(RouteHandle());
  ZET_ASSERT(pvNumFree() == pvTotal(), "pvNumFree() == pvTotal()");
  ZET_ASSERT(mtableFree(), "mtableFree()");
}

SimSwitchChip * SimFabric::chip(Zet::Name name) const {
  return dynamic_cast<SimSwitchChip *>(Fabric::chip(name));
}

Zet::Ptr<SimSwitchChip> SimFabric::chipIs(Zet::Name name, U32 index) {
  if (auto const old = standing(SimFabric::chip(name), index)) return old;
  auto chip = Zet::make<SimSwitchChip>(name, index);
  Fabric::chipIs(chip);
  return chip;
}

}  // namespace Brindle
