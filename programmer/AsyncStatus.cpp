// What is published of a route on chips that answer later.
#include "platform/Assert.h"
#include "platform/Trace.h"
#include "programmer/AsyncMrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

namespace Fib = Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("AsyncStatus", false);

// A connected subnet.
bool isPrefixRoute(AsyncZetMroute::Key const & key) {
  static Nettle::IpGenPrefix const allGroups("224.0.0.0/4");
  return key.kind() == Fib::mroute_ && key.group() == allGroups;
}

}  // namespace

AsyncZetMroute::RouteStatus & AsyncZetMroute::routeStatusIs() {
  return *sm()->statusWriter().routeStatusIs(key());
}

ProgrammedSet * AsyncZetMroute::programmedSet() const {
  ZET_ASSERT(key().kind() != Fib::unknown_, "0 && \"Unknown RouteKey type\"");
  return sm()->l2Status()->programmedSet(*mroute_);
}

void AsyncZetMroute::doSetRouteProgrammed() {
  if (key().kind() == Fib::mroute_) {
    auto const status = sm()->statusWriter().routeStatus(key());
    ZET_ASSERT(status, "rs");
    status->noRpfIs(mroute_->shoalRoute().flags() & Mroute::ShoalRoute::acceptAny);
    status->acceptingIntfIdIs(sm()->statusWriter().intfId(acceptingVlanId_));
    status->hwFlagsIs(0);
  } else if (ProgrammedSet * record = programmedSet()) {
    record->status = ProgrammingStatus::programmed;
    record->oifSet = oifSet_;
    record->hwFlags = 0;
    if (key().kind() == Fib::mcastGroup_) doSetMcastGroupProgrammed();
  }
  if (isPrefixRoute(key())) doSetPrefixRouteProgrammed();
}

void AsyncZetMroute::doSetMcastGroupProgrammed() {
  McastGroupStatus & gs = *sm()->l2Status()->mcastGroupStatus(key());
  ChipInfo const & first = chipInfo_[0];
  U32 const multicastId = first.chip().doGetMulticastId(first.mtableOifSet());
  for (ChipInfo const & info : chipInfo_) {
    ZET_ASSERT(multicastId == info.chip().doGetMulticastId(info.mtableOifSet()),
               "multicastId == ci->chip()->doGetMulticastId( ci->mtableOifSet() )");
  }
  gs.successIs(true);
  if (gs.multicastId() == 0) gs.multicastIdIs(multicastId);
  ZET_ASSERT(gs.multicastId() == multicastId, "gs->multicastId() == multicastId");
  gs.responseIdInc(1);
}

void AsyncZetMroute::doSetPrefixRouteProgrammed() {
  auto const & subnets = sm()->pimIntfStatus();
  if (!subnets) return;
  Nettle::IntfId const intf = subnets->srcToIntfMap({key().source(), sm()->vrfName()});
  auto * const status = intf ? subnets->intfStatus(intf) : nullptr;
  auto * const info = status ? status->route(key().source()) : nullptr;
  if (!info) return;
  ZET_TRACE(8, "Setting prefix route programmed " << key());
  info->programmedIs(true);
}

ProgrammingStatus AsyncZetMroute::routeProgrammed() const {
  if (key().kind() != Fib::mroute_) {
    ProgrammedSet const * record = programmedSet();
    return record ? record->status : ProgrammingStatus::notPresent;
  }
  auto const status = sm()->statusWriter().routeStatus(key());
  if (!status) return ProgrammingStatus::notPresent;
  return status->hwFlags() ? ProgrammingStatus::notProgrammed : ProgrammingStatus::programmed;
}

void AsyncZetMroute::doUpdateFlags() {
  if (key().kind() == Fib::mroute_) {
    auto const status = sm()->statusWriter().routeStatus(key());
    if (!status) return;
    status->hwFlagsIs((reason_.oifSetFailureMask() ? RouteStatus::noIntfs : 0) |
                      (reason_.routeFailureMask() ? RouteStatus::noRoute : 0));
  } else if (ProgrammedSet * record = programmedSet()) {
    L2StatusRow const & row = l2StatusRow(key().kind());
    record->hwFlags = (reason_.oifSetFailureMask() ? row.noOifSet : 0) |
                      (reason_.routeFailureMask() ? row.noRoute : 0) |
                      (reason_.macTableFailureMask() ? row.noMacTable : 0);
  }
}

void AsyncZetMroute::doUpdateStatus() {
  if (key().kind() != Fib::mroute_) return;
  auto const status = sm()->statusWriter().routeStatus(key());
  if (!status) return;
  RouteStatusWriter::Vlans vlans;
  if (!chipInfo_.empty()) {
    for (AsyncVlanInfo const & v : chipInfo_[0].entries()) {
      if (v.kind == EntryKind::fastdrop) vlans.insert(v.vlanId);
    }
  }
  if (vlans.empty() && status->fastdropLastPollTime().empty()) return;
  sm()->statusWriter().doUpdateFastdrops(*status, vlans);
}

void AsyncZetMroute::doClearRouteStatus() {
  if (key().kind() == Fib::mroute_) {
    auto const status = sm()->statusWriter().routeStatus(key());
    if (!status) return;
    for (SpecialRoute const & special : specialRoutes) (*status.*special.intfIdIs)({});
    return;
  }
  ProgrammedSet * const record = programmedSet();
  if (!record) return;
  record->status = ProgrammingStatus::notProgrammed;
  if (key().kind() != Fib::mcastGroup_) {
    record->oifSet = nullptr;
    return;
  }
  McastGroupStatus & gs = *sm()->l2Status()->mcastGroupStatus(key());
  gs.successIs(false);
  gs.multicastIdIs(0);
  gs.responseIdInc(1);
}

bool AsyncZetMroute::doDeleteRouteStatus() {
  Fib::RouteKeyType const kind = key().kind();
  if (kind == Fib::mroute_) {
    RouteStatusWriter const & writer = sm()->statusWriter();
    Zet::Ptr<RouteStatus> const status = writer.routeStatus(key());
    writer.routeStatusDel(key());
    bool const freed = status && status->hwFlags() == 0;
    ZET_TRACE(8, "Route status for " << key() << " deleted: " << freed);
    return freed;
  }
  if (!hasInput(*mroute_) && kind != Fib::mcastGroup_) {
    ZET_TRACE(8, "Not deleting route status for " << key()
                                                  << " because it has not been processed by Mira");
    return false;
  }
  ProgrammedSet const * const record = programmedSet();
  bool const freed =
      record && (kind == Fib::mcastGroup_ || record->status == ProgrammingStatus::programmed);
  sm()->l2Status()->programmedSetDel(*mroute_);
  ZET_TRACE(8, "Route status for " << key() << " deleted: " << freed);
  return freed;
}

}  // namespace Brindle
