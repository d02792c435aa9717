#include "fabric/SwitchChip.h"

#include "platform/Exception.h"

namespace Brindle {

Zet::Ptr<MtableOifSet> mtableOifSetFactory() { return Zet::make<MtableOifSet>(); }

SwitchChipBase::SwitchChipBase(Zet::Name name, U32 index) : name_(name), index_(index) {
  if (index > maxIndex) Zet::throwRangeException("SwitchChipBase::index > 15 not allowed");
}

void SwitchChip::doAllocateMtableOifSet(Zet::Ptr<OifSet const> const &) {
  Zet::throwNoImplementationException(
      "doAllocateMtableOifSet must be implemented in the derived class");
}

void SwitchChip::doAllocateRoute(RouteKey const &, Bridging::VlanIdOrNone, bool,
                                 Zet::Ptr<MtableOifSet> const &, bool, bool, RpaIndex,
                                 L3::VrfName) {
  Zet::throwNoImplementationException("doAllocateRoute must be implemented in the derived class");
}

void SwitchChip::doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &) {
  Zet::throwNoImplementationException("doSetMtableOifSet must be implemented in the derived class");
}

void SwitchChip::doSetBridgeAction(RouteHandle, bool) {
  Zet::throwNoImplementationException("doSetBridgeAction must be implemented in the derived class");
}

void SwitchChip::doDeleteRoute(RouteHandle) {
  Zet::throwNoImplementationException("doDeleteRoute must be implemented in the derived class");
}

void SwitchChip::doActivateRoute(RouteHandle) {
  Zet::throwNoImplementationException("doActivateRoute must be implemented in the derived class");
}

void SwitchChip::doCommitRouteBatch() {
  Zet::throwNoImplementationException(
      "doCommitRouteBatch must be implemented in the derived class");
}

}  // namespace Brindle
