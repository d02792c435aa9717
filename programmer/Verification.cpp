// doVerify() of the machine for chips that answer later: each invariant of a route, asserted.
#include "programmer/Verification.h"

#include "platform/Assert.h"
#include "platform/Trace.h"
#include "programmer/AsyncMrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

namespace Fib = Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("Verification", false);

// What a byte of a failure reason says about the record.
struct ByteCheck {
  enum { nothing, flagIsSet, noFlagIsSet, neverFails } says;
  char const * text;
  U32 flag;
};

// By kind: what is asserted of a record.
struct KindChecks {
  char const * absent;
  char const * vlan;
  char const * record;
  char const * status;
  char const * pendingSet;
  char const * set;
  ByteCheck bytes[3];
};

constexpr ByteCheck noRouteFailure{ByteCheck::neverFails, "!reason.routeFailureMask()", 0};
constexpr ByteCheck noMacTableFailure{ByteCheck::neverFails, "!reason.macTableFailureMask()", 0};

constexpr KindChecks checks[] = {
    {},
    {
        .absent = "vs->vlanFloodsetStatus() == notPresent_",
        .vlan = "vs",
        .record = "vs",
        .status = "vs->vlanFloodsetStatus() == status",
        .pendingSet = "vs->vlanFloodsetOifSet() == oifSet.ptr() || "
                      "vs->vlanFloodsetOifSet() == __null",
        .set = "vs->vlanFloodsetOifSet() == oifSet.ptr()",
        .bytes = {{ByteCheck::flagIsSet, "vs->vlanFloodsetHwFlags().noOifSet()",
                   VlanStatus::VlanFloodsetHwFlags::noOifSetBit},
                  noRouteFailure,
                  noMacTableFailure},
    },
    {
        .absent = "vs->defaultRouteStatus() == notPresent_",
        .vlan = "vs",
        .record = "vs",
        .status = "vs->defaultRouteStatus() == status",
        .pendingSet = "vs->defaultRouteOifSet() == oifSet.ptr() || "
                      "vs->defaultRouteOifSet() == __null",
        .set = "vs->defaultRouteOifSet() == oifSet.ptr()",
        .bytes = {{ByteCheck::flagIsSet, "vs->defaultRouteHwFlags().noIntfs()",
                   VlanStatus::DefaultRouteHwFlags::noIntfsBit},
                  {ByteCheck::flagIsSet, "vs->defaultRouteHwFlags().noRoute()",
                   VlanStatus::DefaultRouteHwFlags::noRouteBit},
                  noMacTableFailure},
    },
    {
        .absent = "!eg",
        .vlan = "vs",
        .record = "eg",
        .status = "eg->status() == status",
        .pendingSet = "eg->oifSet() == oifSet.ptr() || eg->oifSet() == __null",
        .set = "eg->oifSet() == oifSet.ptr()",
        .bytes = {{ByteCheck::flagIsSet, "eg->hwFlags().noIntfs()", EthGroup::HwFlags::noIntfsBit},
                  {ByteCheck::noFlagIsSet, "!eg->hwFlags()", 0},
                  {ByteCheck::flagIsSet, "eg->hwFlags().noMacTable()",
                   EthGroup::HwFlags::noMacTableBit}},
    },
    {
        .absent = "gs->status() == notPresent_",
        .vlan = nullptr,
        .record = "gs",
        .status = nullptr,
        .pendingSet = nullptr,
        .set = nullptr,
        .bytes = {{ByteCheck::flagIsSet, "gs->hwFlags().noOifSet()",
                   McastGroupStatus::HwFlags::noOifSetBit},
                  noRouteFailure,
                  noMacTableFailure},
    },
    {
        .absent = "vs->vxlanCoreSideFloodsetStatus() == notPresent_",
        .vlan = "vs",
        .record = "vs",
        .status = "vs->vxlanCoreSideFloodsetStatus() == status",
        .pendingSet = "vs->vxlanCoreSideFloodsetOifSet() == oifSet.ptr() || "
                      "vs->vxlanCoreSideFloodsetOifSet() == __null",
        .set = "vs->vxlanCoreSideFloodsetOifSet() == oifSet.ptr()",
        .bytes = {{ByteCheck::flagIsSet, "vs->vxlanCoreSideFloodsetHwFlags().noOifSet()",
                   VlanStatus::VxlanCoreSideFloodsetHwFlags::noOifSetBit},
                  noRouteFailure,
                  noMacTableFailure},
    },
    {
        .absent = "!evpnFs",
        .vlan = "vs",
        .record = "evpnFs",
        .status = "evpnFs->status() == status",
        .pendingSet = "evpnFs->oifSet() == oifSet.ptr() || evpnFs->oifSet() == __null",
        .set = "evpnFs->oifSet() == oifSet.ptr()",
        .bytes = {{ByteCheck::flagIsSet, "evpnFs->hwFlags().noIntfs()",
                   EvpnMultihomeFloodset::HwFlags::noIntfsBit},
                  {},
                  {}},
    },
};

void checkByte(ByteCheck const & check, U32 failure, U32 flags) {
  switch (check.says) {
    case ByteCheck::nothing:
      return;
    case ByteCheck::flagIsSet:
      return ZET_ASSERT(!failure || (flags & check.flag), check.text);
    case ByteCheck::noFlagIsSet:
      return ZET_ASSERT(!failure || !flags, check.text);
    case ByteCheck::neverFails:
      return ZET_ASSERT(!failure, check.text);
  }
}

void checkIpRoute(AsyncMrouteSm const & sm, Fib::IpGenRouteKey const & key,
                  ProgrammingStatus status, MrouteFailureReason reason) {
  auto const vrf = sm.mfib()->vrfStatus(sm.vrfName());
  if (status == ProgrammingStatus::notPresent) {
    ZET_ASSERT(!vrf || !vrf->route(key), "!route");
  } else {
    ZET_ASSERT(vrf, "mfib");
  }
  checkByte(noMacTableFailure, reason.macTableFailureMask(), 0);
}

}  // namespace

void checkStatus(AsyncMrouteSm const & sm, Fib::IpGenRouteKey const & key, ProgrammingStatus status,
                 MrouteFailureReason reason, Zet::Ptr<OifSet const> const & oifSet) {
  ZET_ASSERT(key.kind() != Fib::unknown_, "0 && \"Unknown RouteKey type\"");
  if (key.kind() == Fib::mroute_) return checkIpRoute(sm, key, status, reason);
  KindChecks const & kind = checks[key.kind()];
  auto const * const route = sm.zetMroute(key);
  auto const vlan = route ? route->mroute().acceptingVlanId() : key.vlanId();
  ProgrammedSet const * const record = sm.l2Status()->programmedSet(key, vlan);
  if (status == ProgrammingStatus::notPresent) {
    ZET_ASSERT(!record || record->status == ProgrammingStatus::notPresent, kind.absent);
    return;
  }
  if (kind.vlan) {
    ZET_ASSERT(vlan && sm.l2Status()->vlanStatus(Bridging::VlanId(vlan)), kind.vlan);
  }
  ZET_ASSERT(record, kind.record);
  if (kind.status) {
    bool const mayLack = status == ProgrammingStatus::inProgress && !record->oifSet;
    ZET_ASSERT(record->status == status, kind.status);
    ZET_ASSERT(mayLack || record->oifSet == oifSet,
               status == ProgrammingStatus::inProgress ? kind.pendingSet : kind.set);
  }
  checkByte(kind.bytes[0], reason.oifSetFailureMask(), record->hwFlags);
  checkByte(kind.bytes[1], reason.routeFailureMask(), record->hwFlags);
  checkByte(kind.bytes[2], reason.macTableFailureMask(), record->hwFlags);
}

namespace {

void checkInProgress(AsyncZetMroute const & mr) {
  ZET_TRACE(8, "route in progress " << mr.key());
  for (AsyncChipInfo const & it : mr.chipInfo()) {
    bool const hasIngressXact = it.chip().needIngressProgramming(mr.key().kind());
    ZET_ASSERT(it.oifAllocXact(), "it->oifAllocXact()");
    ZET_ASSERT(it.setIngressXact() || !hasIngressXact, "it->setIngressXact() || !hasIngressXact");
  }
}

void checkProgrammed(AsyncZetMroute const & mr) {
  for (AsyncChipInfo const & it : mr.chipInfo()) {
    bool const hasIngressXact = it.chip().needIngressProgramming(mr.key().kind());
    ZET_ASSERT(it.rpfRouteHandleCommitted() || !hasIngressXact,
               "it->rpfRouteHandleCommitted() || !hasIngressXact");
    ZET_ASSERT(it.mtableOifSetCommitted(), "it->mtableOifSetCommitted()");
    ZET_ASSERT(it.oldRpfRouteHandle().isNull(), "it->oldRpfRouteHandle().isNull()");
    ZET_ASSERT(!it.oldMtableOifSet(), "!it->oldMtableOifSet()");
    ZET_ASSERT(!it.oifAllocXact(), "!it->oifAllocXact()");
    ZET_ASSERT(!it.setIngressXact(), "!it->setIngressXact()");
    ZET_ASSERT(mr.oifSet() == it.chip().doGetOifSet(it.mtableOifSet()),
               "mr->oifSet() == it->chip()->doGetOifSet( it->mtableOifSet() )");
  }
}

void collectHandles(AsyncZetMroute const & mr, AsyncChipInfo const & it,
                    RouteHandleCollection & handles) {
  if (!it.rpfRouteHandle().isNull() || mr.key().kind() != Fib::mroute_) {
    ZET_TRACE(8, "Adding RPF routehandle " << it.rpfRouteHandle());
    handles.routeHandleIs(it.rpfRouteHandle(), true);
  }
  if (!it.oldRpfRouteHandle().isNull()) {
    ZET_TRACE(8, "Adding old routehandle " << it.oldRpfRouteHandle());
    handles.routeHandleIs(it.oldRpfRouteHandle(), true);
  }
  for (AsyncVlanInfo const & v : it.entries()) {
    if (v.kind == EntryKind::fastdrop) {
      ZET_TRACE(8, "Adding fastdrop routehandle " << v.routeHandle);
    } else if (v.kind == EntryKind::frr) {
      ZET_TRACE(8, "Adding frr routehandle " << v.routeHandle);
    }
    handles.routeHandleIs(v.routeHandle, true);
  }
}

struct Expected {
  ProgrammingStatus status = ProgrammingStatus::notPresent;
  Zet::Ptr<OifSet const> oifSet;
};

// Of a route that is not kept back by the review.
Expected expectedOf(AsyncZetMroute const & mr, bool waitForMiraUpdate) {
  Mroute const & route = mr.mroute();
  if (mr.inProgress()) {
    checkInProgress(mr);
    if (mr.chipInfo().empty()) return {ProgrammingStatus::inProgress, nullptr};
    AsyncChipInfo const & first = mr.chipInfo()[0];
    return {ProgrammingStatus::inProgress, first.chip().doGetOifSet(first.mtableOifSet())};
  }
  bool const waits = mr.reason().inProgress();
  if (!waits && (mr.reason() || waitForMiraUpdate || !hasInput(route))) {
    return {ProgrammingStatus::notProgrammed, nullptr};
  }
  if (!waits) {
    ZET_ASSERT(mr.oifSet() == route.oifSet(), "mr->oifSet() == mroute( key )->oifSet()");
    ZET_ASSERT(mr.acceptingVlanId() == route.acceptingVlanId(),
               "mr->acceptingVlanId() == acceptingVlanId");
    ZET_ASSERT(mr.rpaId() == route.rpaId(), "mr->rpaId() == rpaId");
  }
  checkProgrammed(mr);
  return {ProgrammingStatus::programmed, mr.oifSet()};
}

}  // namespace

bool AsyncMrouteSm::doVerify(Key const & key, RouteHandleCollection & handles) const {
  ZET_TRACE(8, "verifying routes " << key);
  ZetMroute const & mr = *zetMroute(key);
  if (mr.reason()) {
    ZET_ASSERT(failedMroute(key) != FailedMroute(), "failedMroute( key ) != FailedMroute()");
  }
  if (mr.reason().blocked()) {
    if (mr.chipInfo().empty()) return false;
    collectHandles(mr, mr.chipInfo()[0], handles);
    return true;
  }
  bool const waitForMiraUpdate = !mr.reason() && !mr.inProgress() && isDirty(mr.mroute()) &&
                                 mr.routeProgrammed() != ProgrammingStatus::programmed;
  auto const [status, oifSet] = expectedOf(mr, waitForMiraUpdate);
  if (waitForMiraUpdate) {
    ZET_TRACE(8, "Not checking for status because this route is waiting"
                     << " for Mira to update");
  } else {
    ZET_TRACE(8, "checking status with status: "
                     << status << " reason: " << mr.reason().pretty()
                     << " oifSet: " << (oifSet ? oifSet->portVlanSet().pretty() : "null"));
    checkStatus(*this, key, status, mr.reason(), oifSet);
  }
  if (mr.chipInfo().empty()) {
    ZET_ASSERT(status == ProgrammingStatus::notProgrammed, "status == notProgrammed_");
    ZET_ASSERT(!mr.inProgress(), "!mr->inProgress()");
    ZET_ASSERT(!hasInput(mr.mroute()) || mr.reason() || waitForMiraUpdate,
               "mr->reason() || waitForMiraUpdate");
    return false;
  }
  for (AsyncChipInfo const & it : mr.chipInfo()) collectHandles(mr, it, handles);
  return true;
}

}  // namespace Brindle
