// The entries beside a route's own, on chips that answer later: fastdrops, and the notify,
// persistent fastdrop and fast-reroute entries. A set and an entry pointed at it, as for the route
// itself; the pointing alone decides.
#include "platform/Assert.h"
#include "platform/Trace.h"
#include "programmer/AsyncMrouteSm.h"
#include "programmer/SpecialRoute.h"
#include "programmer/XactChain.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;

// What an entry is to be.
struct EntryWish {
  EntryKind kind;
  VlanId vlan;
  Zet::Ptr<OifSet const> oifSet;
  bool fastdrop;
  bool frrRoute;
};

namespace {

Zet::TraceHandle traceHandle("AsyncSideEntries", false);

struct Traces {
  char const * programming;
  char const * programmed;
  char const * published;
  char const * failed;
  char const * failedEnd;
  char const * deleting;
  char const * current;
  char const * wanted;
  char const * deletingVlan;
};
constexpr Traces traces[] = {
    {
        .programming = "Programming notify route on vlan: ",
        .programmed = "Notify for route ",
        .published = ":Setting notifyingIntfId to ",
        .failed = "Notify route for ",
        .failedEnd = " failed to program",
        .deleting = "Deleting notify route for ",
        .current = ". Current notify Vlan ",
        .wanted = ". New notify Vlan ",
        .deletingVlan = "(): delete notify vlan ",
    },
    {
        .programming = "Programming persistent fastdrop on vlan: ",
        .programmed = "Persistent fastdrop for route ",
        .published = ":Setting persistent fastdrop IntfId to ",
        .failed = "Persistent Fastdrop for ",
        .failedEnd = " failed to program ",
        .deleting = "Deleting persistent fastdrop for ",
        .current = ". Current persistent fastdrop Vlan ",
        .wanted = ". New persistent fastdrop Vlan ",
        .deletingVlan = "(): delete pfd vlan ",
    },
    {
        .programming = "Programming frr fastdrop on vlan: ",
        .programmed = "Frr fastdrop for route ",
        .published = ":Setting frr fastdrop IntfId to ",
        .failed = "Frr Fastdrop for ",
        .failedEnd = " failed to program for reason",
        .deleting = "Deleting frr fastdrop for ",
        .current = ". Current frr fastdrop Vlan ",
        .wanted = ". New frr fastdrop Vlan ",
        .deletingVlan = "(): delete frr vlan ",
    },
};

// By kind, the fastdrop first.
struct StepTraces {
  char const * allocated;
  char const * allocating;
  char const * handle;
};
constexpr StepTraces stepTraces[] = {
    {"Fastdrop mtableOifSet ", "doAllocate dynamic fastdrop ", "Adding fastdrop routehandle "},
    {"Notify mtableOifSet ", "doAllocate notify mroute", "Notify routeHandle "},
    {"persistent mtableOifSet ", "doAllocate static Fastdrop mroute",
     "Persistent Fastdrop routeHandle "},
    {"frr mtableOifSet ", "doAllocate frr Fastdrop mroute", "Frr Fastdrop routeHandle "},
};

StepTraces const & stepTracesOf(EntryKind kind) {
  return stepTraces[static_cast<U32>(kind) - static_cast<U32>(EntryKind::fastdrop)];
}

}  // namespace

// --- Both sorts

bool AsyncZetMroute::doProgram(EntryWish const & wish, XactChain & chain) {
  U32 position = 0;
  for (auto const & chip : sm()->fabric()->chip().items()) {
    if (!doProgram(wish, chipInfoIs(position++, *chip.value), chain)) return false;
  }
  return true;
}

bool AsyncZetMroute::doProgram(EntryWish const & wish, ChipInfo & info, XactChain & chain) {
  AsyncSwitchChip & chip = info.chip();
  AsyncVlanInfo & entry = info.vlanInfoIs(wish.kind, wish.vlan);
  bool const hasSet = chain.oifSetIs(
      chip, chip.doAllocateMtableOifSet({key(), wish.vlan, sm()->vrfName()}, wish.oifSet,
                                        chain.last(), 0, wish.frrRoute));
  if (!hasSet) {
    chip.mtableOifSetIs(nullptr);
    return false;
  }
  // Held until the entry has been told the new one, or, where a chip refuses, has gone.
  Zet::Ptr<MtableOifSet> const old = std::exchange(entry.mtableOifSet, chip.mtableOifSet());
  chip.mtableOifSetIs(nullptr);
  entry.oifAllocXact.xactIs(chain.last());
  StepTraces const & trace = stepTracesOf(wish.kind);
  ZET_TRACE(8, trace.allocated << "of xact " << chain.last()->id());
  if (entry.routeHandle.isNull()) {
    ZET_TRACE(8,
              trace.allocating << key() << " with intf " << sm()->statusWriter().intfId(wish.vlan));
    chip.doAllocateRoute(key(), wish.vlan, false, mroute_->rpaId(), sm()->vrfName(), wish.fastdrop);
    entry.routeHandle = chip.routeHandle();
    if (!chain.entryIs(chip, entry.routeHandle)) return false;
  }
  ZET_TRACE(8, trace.handle << entry.routeHandle);
  if (!chain.ingressIs(
          chip, chip.doSetMtableOifSet(entry.routeHandle, entry.mtableOifSet, chain.last()))) {
    chain.keep(old);
    return false;
  }
  entry.setIngressXact.xactIs(chain.last());
  return true;
}

void AsyncZetMroute::doForgetXacts(EntryKind kind) {
  for (ChipInfo & info : chipInfo_) {
    info.forEachXact(kind, [](PendingXact & xact, bool) { xact.xactIs(nullptr); });
  }
}

// --- Notify, persistent fastdrop, fast-reroute

bool AsyncZetMroute::doUpdateFabricMrouteWithNotifyMroute() {
  return doUpdateFabricWith(specialRoute(EntryKind::notify));
}

bool AsyncZetMroute::doUpdateFabricMrouteWithStaticFastdrop() {
  return doUpdateFabricWith(specialRoute(EntryKind::staticFastdrop));
}

bool AsyncZetMroute::doUpdateFabricMrouteWithFrr() {
  return doUpdateFabricWith(specialRoute(EntryKind::frr));
}

bool AsyncZetMroute::doUpdateFabricWith(SpecialRoute const & special) {
  if (!sm()->initialized() || mroute_->version() == 0) return true;
  ZET_ASSERT(key().kind() == Routing::Multicast::Fib::mroute_,
             "mroute->key().kind() == Routing::Multicast::Fib::mroute_");
  VlanIdOrNone const vlan = (mroute_.get()->*special.vlan)();
  Zet::Ptr<OifSet> const & set = (mroute_.get()->*special.oifSet)();
  if (!vlan || !set) return true;  // no chip can be asked for a set that is not computed yet
  ZET_TRACE(8, "Programming route " << key() << " on vlan " << vlan);
  ZET_TRACE(8, traces[special.index()].programming << vlan);
  (routeStatusIs().*special.intfIdIs)({});  // until the chips have confirmed
  XactChain chain(false);
  if (!doProgram({special.kind, VlanId(vlan), set, special.fastdrop, special.frrRoute}, chain)) {
    handleSpecialXactFailure(special, chain.failure());
    return false;
  }
  releaseChips();
  return !hasFailed(special.kind);
}

void AsyncZetMroute::completeSpecial(SpecialRoute const & special) {
  doForgetXacts(special.kind);
  ZET_TRACE(8, traces[special.index()].programmed << key() << " programmed succesfully");
  auto const status = sm()->statusWriter().routeStatus(key());
  ZET_ASSERT(status, "rs");
  Nettle::IntfId const intf =
      sm()->statusWriter().intfId(chipInfo_[0].entries().find(special.kind)->vlanId);
  (*status.*special.intfIdIs)(intf);
  ZET_TRACE(8, key() << traces[special.index()].published << intf);
}

// The route stays, and is tried again. What was kept back of it is not forgotten for that.
void AsyncZetMroute::handleSpecialXactFailure(SpecialRoute const & special,
                                              MrouteFailureReason reason) {
  for (ChipInfo & info : chipInfo_) info.doDeleteAll(special.kind);
  ZET_ASSERT(reason, "reason != 0");
  reasonIs({reason.value | reason_.keptBack()});
  sm()->doKickReview(false);
  Traces const & trace = traces[special.index()];
  ZET_TRACE(5, trace.failed << key() << trace.failedEnd << reason.pretty());
}

// Deletes entries on another VLAN than the wanted one, or the one to keep.
void AsyncZetMroute::doDeleteOtherThan(SpecialRoute const & special, VlanIdOrNone wanted,
                                       VlanIdOrNone keep) {
  for (ChipInfo & info : chipInfo_) {
    for (U32 i = info.entries().size(); i-- > 0;) {
      AsyncVlanInfo & entry = info.entries()[i];
      bool const stays = entry.vlanId == wanted || entry.vlanId == keep;
      if (entry.kind != special.kind || stays) continue;
      Traces const & trace = traces[special.index()];
      ZET_TRACE(8, trace.deleting << key() << trace.current << entry.vlanId << trace.wanted
                                  << wanted << trace.deletingVlan << entry.vlanId);
      info.doDelete(&entry);
      if (auto status = sm()->statusWriter().routeStatus(key())) (*status.*special.intfIdIs)({});
    }
  }
}

// --- Fastdrops

// Those on a VLAN that has become an input go, too: it gets an entry of the same key.
void AsyncZetMroute::doDeleteObsoleteFastdrops() {
  for (ChipInfo & info : chipInfo_) {
    for (U32 i = info.entries().size(); i-- > 0;) {
      AsyncVlanInfo & v = info.entries()[i];
      if (v.kind != EntryKind::fastdrop) continue;
      if (mroute_->fastdrop().contains(v.vlanId) && !isInput(*mroute_, v.vlanId)) continue;
      ZET_TRACE(8, "doUpdateFabricMroute(): delete fastdrop vlan " << v.vlanId);
      info.doDelete(&v);
    }
  }
}

void AsyncZetMroute::doUpdateFastdrops(Zet::Ptr<Keel::Xact const> const & last) {
  XactChain chain(false, last);
  for (auto const & fastdrop : mroute_->fastdrop().items()) {
    VlanId const vlan = fastdrop.key;
    ZET_ASSERT(vlan.value() != 0, "vlan != 0");
    if (isInput(*mroute_, vlan)) {
      ZET_TRACE(8, "doUpdateFabricMroute(): route "
                       << key() << ": skip fastdrop, vlan " << vlan
                       << " overlaps with intfs (iif, n, s, frr ): " << mroute_->acceptingVlanId()
                       << " " << mroute_->notifyingVlanId() << " "
                       << mroute_->staticFastdropVlanId() << " " << mroute_->frrVlanId());
      continue;
    }
    if (!fastdrop.value) continue;  // not computed yet
    ZET_TRACE(8, "Programming fastdrop for route " << key() << " on vlan " << vlan);
    if (!doProgram({EntryKind::fastdrop, vlan, fastdrop.value, true, false}, chain)) {
      return handleFastdropXactFailure();
    }
  }
}

void AsyncZetMroute::completeFastdrops() {
  doForgetXacts(EntryKind::fastdrop);
  ZET_TRACE(8, "Fastdrops for route " << key() << " programmed succesfully");
  doUpdateStatus();
}

// They are best effort: the next change of the route brings them back.
void AsyncZetMroute::handleFastdropXactFailure() {
  for (ChipInfo & info : chipInfo_) info.doDeleteAll(EntryKind::fastdrop);
  doUpdateStatus();
  ZET_TRACE(5, "Fastdrop for mroute " << key() << " failed to program");
}

}  // namespace Brindle
