#include "programmer/AsyncZetMroute.h"

#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/AsyncMrouteSm.h"
#include "programmer/SpecialRoute.h"

namespace Brindle {

using Keel::XactResult;
namespace Fib = Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("AsyncZetMroute", false);

using Reason = MrouteFailureReason;
constexpr EntryKind allKinds[] = {EntryKind::rpf, EntryKind::fastdrop, EntryKind::notify,
                                  EntryKind::staticFastdrop, EntryKind::frr};

// By kind, and by whether it is an ingress transaction.
constexpr char const * xactTraces[][2] = {
    {" oif alloc xact id ", " ingress xact id "},
    {" fastdrop oif xact alloc id ", " fastdrop ingress xact id "},
    {" notify oif xact alloc id ", " notify ingress xact id "},
    {" Persistent fastdrop oif xact alloc id ", " persistent fastdrop ingress xact id "},
    {" frr fastdrop oif xact alloc id ", " frr fastdrop ingress xact id "},
};

}  // namespace

// --- Lifecycle

void AsyncZetMroute::zetDoZombieReactors(bool) {
  detach();
  for (ChipInfo & info : chipInfo_) info.unwatchAll();
}

void AsyncZetMroute::mrouteIs(Zet::Ptr<Mroute const> const & v) {
  mroute_ = v;
  notifierIs(v.get());
}

void AsyncZetMroute::handleChange() {
  if (!target() || !sm()->initialized() || mroute_->version() == 0) return;
  ZET_TRACE(8, "ZetMroute::handleChange " << key());
  if (!sm()->isReviewEnabled()) {
    reasonIs({reason_.value | Reason::blockedBit});
    ZET_TRACE(8, "Delaying programming " << key() << " as mrouteProgrammer is blocked");
  } else if (inProgress_ || busy_) {
    reasonIs({reason_.value | Reason::inProgressBit});
    ZET_TRACE(8, " Delaying programming " << key() << " as mroute is currently in progress");
  } else if (key().kind() == Fib::mroute_) {
    doUpdateFabricMroute();
  } else {
    doUpdateFabricL2Group();
  }
}

void AsyncZetMroute::doRetry() {
  reasonIs({reason_.value & ~Reason::blockedBit});
  reasonIs({reason_.value & ~Reason::inProgressBit});
  if (key().kind() == Fib::mroute_) {
    doUpdateFabricMroute();
  } else {
    doUpdateFabricL2Group();
  }
}

void AsyncZetMroute::handleDel() {
  if (!sm()->initialized()) return;
  if (sm()->testKill()) {
    doLeaveBehind();
    return reasonIs({});
  }
  SKEIN("AsyncZetMroute::handleDel", key());
  ZET_TRACE(8, "Deleting route " << key());
  for (ChipInfo & info : chipInfo_) info.doDeleteAll();
  chipInfo_.clear();
  inProgress_ = false;
  reasonIs({});
  freedRoom();
}

void AsyncZetMroute::doLeaveBehind() {
  for (ChipInfo & info : chipInfo_) info.doLeaveSets();
}

// Routes that wait may find room in what this one had.
void AsyncZetMroute::freedRoom() {
  if (doDeleteRouteStatus() && !sm()->failedMroute().empty()) sm()->doKickReview(false);
}

void AsyncZetMroute::reasonIs(MrouteFailureReason v) {
  Reason const old = std::exchange(reason_, v);
  if (!old && !v) return;
  FailureCounters & counters = *sm()->failureCounters();
  if (v) {
    sm()->failedMrouteIs({key(), this});
    counters.updateCounters(key(), v, true);
    sm()->doKickReview(false);
  } else {
    sm()->failedMrouteDel(key());
  }
  if (old) counters.updateCounters(key(), old, false);
  if (v.hwFailure() != old.hwFailure()) counters.updateHwOverflowCounters(key(), v, old);
  ZET_ASSERT(counters.failed() == sm()->failedMroutes(),
             "counters->failedMroutes() + counters->failedEthGroups() + "
             "counters->failedUnknownMulticast() + counters->failedMcastGroup() + "
             "counters->failedVlanFloodset() + counters->failedVxlanCoreSideFloodset() + "
             "counters->failedEvpnMultihomeFloodset() == asyncMrouteSm()->failedMroutes()");
}

// --- Chips

// A chip that has left the fabric keeps nothing of the route, and nobody waits for it.
void AsyncZetMroute::doDropGoneChips() {
  for (U32 i = chipInfo_.size(); i-- > 0;) {
    ChipInfo & info = chipInfo_[i];
    if (sm()->fabric()->chip(info.chip().name()) == &info.chip()) continue;
    info.doDeleteAll();
    chipInfo_.remove(i);
  }
}

AsyncChipInfo & AsyncZetMroute::chipInfoIs(U32 position, AsyncSwitchChip & chip) {
  bool const present = position < chipInfo_.size() && &chipInfo_[position].chip() == &chip;
  if (!present) {
    chipInfo_.reserve(sm()->fabric()->chips());
    chipInfo_.insert(position, ChipInfo(&chip, key().kind()));
  }
  return chipInfo_[position];
}

// The chips' own references would keep sets alive.
void AsyncZetMroute::releaseChips() const {
  for (auto const & chip : sm()->fabric()->chip().items()) chip.value->releasedIs(true);
}

// --- Outcome

// The pointing of an entry at its set comes last; where there is no entry the set alone decides.
bool AsyncZetMroute::hasSucceeded(EntryKind kind) const {
  bool any = false;
  for (ChipInfo & info : chipInfo_) {
    bool all = true;
    auto const decide = [&](PendingXact const & xact) {
      if (!xact) return;
      any = true;
      all &= xact.is(XactResult::success);
    };
    if (kind == EntryKind::rpf) {
      bool const hasIngress = info.chip().needIngressProgramming(key().kind());
      PendingXact const & last = hasIngress ? info.setIngressXact() : info.oifAllocXact();
      decide(last);
      all &= static_cast<bool>(last);  // not out yet, or a chip has thrown
    }
    for (AsyncVlanInfo const & v : info.entries()) {
      if (v.kind == kind) decide(v.setIngressXact);
    }
    if (!all) return false;
  }
  return any;
}

bool AsyncZetMroute::hasFailed(EntryKind kind) const {
  bool any = false;
  for (ChipInfo & info : chipInfo_) {
    info.forEachXact(kind, [&](PendingXact & xact, bool) { any |= xact.is(XactResult::failure); });
  }
  return any;
}

MrouteFailureReason AsyncZetMroute::failureOf(EntryKind kind) const {
  Reason reason;
  for (ChipInfo const & info : chipInfo_) {
    AsyncSwitchChip & chip = info.chip();
    auto const look = [&](PendingXact const & oif, PendingXact const & ingress) {
      if (reason) return;
      if (oif.is(XactResult::failure)) reason = chip.doGetOifSetXactFailureReason(oif.xact());
      if (reason || !ingress.is(XactResult::failure)) return;
      reason = chip.doGetIngressXactFailureReason(ingress.xact());
    };
    if (kind == EntryKind::rpf) look(info.oifAllocXact(), info.setIngressXact());
    for (AsyncVlanInfo const & v : info.entries()) {
      if (v.kind == kind) look(v.oifAllocXact, v.setIngressXact);
    }
  }
  return reason;
}

void AsyncZetMroute::handleXact(EntryKind kind, bool ingress, Keel::Xact const & xact) {
  if (!target() || busy_) return;
  ZET_TRACE(8, key() << xactTraces[static_cast<U32>(kind)][ingress] << xact.id() << " result "
                     << xact.result());
  bool const hasSet = kind == EntryKind::rpf && !ingress && xact.result() == XactResult::success;
  if (hasSet && chipInfo_[0].chip().needIngressProgramming(key().kind())) {
    ZET_TRACE(8, "Programming is succcessful but also needingressProgramming " << key());
  }
  Busy const busy(*this);
  settle(kind);
}

void AsyncZetMroute::handleChipGone() {
  Busy const busy(*this);
  doDropGoneChips();
  if (!chipInfo_.empty()) return;
  inProgress_ = false;
  if (reason_.keptBack()) sm()->doKickReview(false);  // no answer brings it any more
}

bool AsyncZetMroute::settle(EntryKind kind) {
  bool const isFailure = hasFailed(kind);
  if (!isFailure && !hasSucceeded(kind)) return false;
  switch (kind) {
    case EntryKind::rpf:
      isFailure ? handleXactFailure(failureOf(kind)) : complete();
      break;
    case EntryKind::fastdrop:
      isFailure ? handleFastdropXactFailure() : completeFastdrops();
      break;
    default:
      isFailure ? handleSpecialXactFailure(specialRoute(kind), failureOf(kind))
                : completeSpecial(specialRoute(kind));
      break;
  }
  return true;
}

// What follows from one outcome may bring another.
void AsyncZetMroute::settleAll() {
  for (bool any = true; any;) {
    any = false;
    for (EntryKind kind : allKinds) any |= settle(kind);
  }
}

void AsyncZetMroute::endBusy(bool isUnwinding) {
  if (target() && !isUnwinding) settleAll();
  busy_ = false;
  if (!target()) return;
  for (EntryKind kind : allKinds) {
    for (ChipInfo & info : chipInfo_) {
      info.forEachXact(kind, [&](PendingXact & xact, bool ingress) {
        if (!xact.watched()) xact.zetIs(Zet::make<ZetXact>(sm(), this, kind, ingress));
      });
    }
  }
}

void AsyncZetMroute::complete() {
  ZET_TRACE(8, "Successfully programmed route " << key());
  for (ChipInfo & info : chipInfo_) info.doCommit();
  reasonIs({reason_.blocked() ? Reason::blockedBit : reason_.keptBack()});
  doUpdateStatus();
  doSetRouteProgrammed();
  inProgress_ = false;
  ZET_TRACE(8, "Setting inProgress to false for: " << key());
}

void AsyncZetMroute::handleXactFailure(MrouteFailureReason reason) {
  ZET_TRACE(8, "Transaction of " << key() << " failed");
  finishFailureCleanup(reason);
}

void AsyncZetMroute::finishFailureCleanup(MrouteFailureReason reason) {
  if (!sm()->initialized()) return;
  ZET_ASSERT(reason, "failed");
  for (ChipInfo & info : chipInfo_) info.doDeleteAll();
  chipInfo_.clear();
  oifSet_ = nullptr;
  reasonIs(reason);
  sm()->doKickReview(false);
  doUpdateStatus();
  doUpdateFlags();
  doClearRouteStatus();
  inProgress_ = false;
  ZET_TRACE(5, key() << " failed. Reason is: " << reason.pretty());
}

}  // namespace Brindle
