#include "fabric/AsyncSwitchChip.h"

#include "platform/Exception.h"

namespace Brindle {

namespace {

[[noreturn, gnu::cold]] void missing(std::string const & operation) {
  std::string const text = operation + " must be implemented in the derived class";
  Zet::throwNoImplementationException(text.c_str());
}

}  // namespace

AsyncSwitchChip::XactPtr AsyncSwitchChip::doAllocateMtableOifSet(RouteKeyInfo const &,
                                                                 Zet::Ptr<OifSet const> const &,
                                                                 XactPtr const &, U32, bool) {
  missing("doAllocateMtableOifSet");
}

void AsyncSwitchChip::doAllocateRoute(RouteKey const &, Bridging::VlanIdOrNone, bool, RpaIndex,
                                      L3::VrfName, bool) {
  missing("doAllocateRoute");
}

AsyncSwitchChip::XactPtr AsyncSwitchChip::doSetMtableOifSet(RouteHandle,
                                                            Zet::Ptr<MtableOifSet> const &,
                                                            XactPtr const &) {
  missing("doSetMtableOifSet");
}

void AsyncSwitchChip::doDeleteRoute(RouteHandle) { missing("doDeleteRoute"); }

void AsyncSwitchChip::doSetBridgeAction(RouteHandle, bool) { missing("doSetBridgeAction"); }

void AsyncSwitchChip::doActivateRoute(RouteHandle) { missing("doActivateRoute"); }

Zet::Ptr<OifSet const> AsyncSwitchChip::doGetOifSet(Zet::Ptr<MtableOifSet> const &) {
  missing("doGetOifSet");
}

U32 AsyncSwitchChip::doGetMulticastId(Zet::Ptr<MtableOifSet> const &) {
  missing("doGetMulticastId");
}

bool AsyncSwitchChip::needIngressProgramming(RouteKeyType) const {
  missing("needIngressProgramming");
}

MrouteFailureReason AsyncSwitchChip::doGetOifSetXactFailureReason(XactPtr const &) {
  missing("doGetOifSetXactFailureReason");
}

MrouteFailureReason AsyncSwitchChip::doGetIngressXactFailureReason(XactPtr const &) {
  missing("doGetIngressXactFailureReason");
}

}  // namespace Brindle
