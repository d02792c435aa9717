#include "sim/AsyncChip.h"

#include <algorithm>

#include "sim/Words.h"

namespace Brindle::Sim {

AsyncChip::AsyncChip(Zet::Name name, U32 index, bool unknownEntries,
                     Zet::Ptr<GroupIds> const & groupIds)
    : SimAsyncSwitchChip(name, index, unknownEntries),
      Chip(name, index),
      profileTable_(Zet::make<LateProfileTable>(name, index)),
      groupIds_(groupIds),
      answering_(Zet::make<Answering>(*this)) {}

// Its entries first: a set may not go while one is to point at it.
AsyncChip::~AsyncChip() {
  observerIs(nullptr);
  clear();
}

// --- What stands

std::optional<Chip::Entry> AsyncChip::written(RouteHandle handle) const {
  auto const held = held_.find(handle.value);
  if (held == held_.end()) return std::nullopt;
  auto const match = inUseRouteHandle(handle);
  auto const & [rpaId, confirmed, pending] = held->second;
  auto const * const set =
      static_cast<SimMtableOifSet const *>((confirmed ? confirmed : pending).get());
  return Entry{handle,
               {match.routeKey, Bridging::VlanIdOrNone(match.vlan)},
               rpaId,
               set ? set->oifSet() : nullptr,
               static_cast<bool>(confirmed),
               set ? set->id().value : 0,
               0};
}

std::vector<Chip::Entry> AsyncChip::written() const {
  std::vector<Entry> out;
  for (auto const & held : held_) out.push_back(*written(RouteHandle{held.first}));
  return out;
}

void AsyncChip::clear() {
  while (!held_.empty()) doDeleteRoute(RouteHandle{held_.begin()->first});
  leftSetsDelAll();
  forgetTampering();
  clearBidir();
}

// --- Room

U16 AsyncChip::limit(U32 n) {
  if (n <= 65535) return static_cast<U16>(n);
  throw CommandError("expected at most 65535, found " + std::to_string(n));
}

void AsyncChip::announceRoom() {
  throw CommandError("expected a chip that answers at once: " + std::string(name().view()) +
                     " never says that it has room, and what failed is tried again anyhow");
}

void AsyncChip::kick() {
  throw CommandError("expected a chip that answers at once: " + std::string(name().view()) +
                     " asks for no retry, and what failed is tried again anyhow");
}

// --- Transactions

bool AsyncChip::isOpen(U32 id, RouteHandle handle) const {
  auto const xact = handle.isNull() ? oifSetXact(id) : ingressXact(id);
  return xact && xact->result() == Result::outstanding;
}

void AsyncChip::answersIs(Answers const & v) {
  answering_->answersIs(v);
  profileTable_->answering().answersIs(v);
}

void AsyncChip::endAll(Result result) {
  answering_->endAll(result);
  profileTable_->answering().endAll(result);
}

Zet::Seconds AsyncChip::nextAnswer() const {
  return std::min(answering_->next(), profileTable_->answering().next());
}

bool AsyncChip::isBlocked(U32 id, RouteHandle handle) const {
  if (handle.isNull()) return false;
  auto const set = oifSetXact(blockingOifSetXactId({id}).value);
  return !set || set->result() != Result::success;
}

bool AsyncChip::end(U32 id, RouteHandle handle, Result result) {
  if (handle.isNull()) return doSetOifSetXactResult(id, result);
  XactPtr const xact = ingressXact(id);
  if (!doSetIngressXactResult(id, result)) return false;
  // Whoever heard of it may have taken the entry away, or told it another set.
  if (xact->result() == Result::success && routeHandleXact(handle) == xact) handleConfirmed(handle);
  return true;
}

void AsyncChip::handleConfirmed(RouteHandle handle) {
  Held & held = held_.at(handle.value);
  held.confirmed = std::exchange(held.pending, nullptr);
  writtenIs(handle);
  if (isObserved()) tellObserver(handle, written(handle)->key);
}

RouteHandle AsyncChip::handleOf(U32 ingressId) const {
  for (auto const & held : held_) {
    auto const xact = routeHandleXact(RouteHandle{held.first});
    if (xact && xact->id() == ingressId) return RouteHandle{held.first};
  }
  return {};
}

// --- Operations

AsyncChip::XactPtr AsyncChip::doAllocateMtableOifSet(RouteKeyInfo const & info,
                                                     Zet::Ptr<OifSet const> const & oifSet,
                                                     XactPtr const & blocking, U32 preset,
                                                     bool frrRoute) {
  if (refusesSet()) {
    mtableOifSetIs(nullptr);
    mrouteFailureReasonIs(immediateOifSetFailureReason());
    return nullptr;
  }
  U32 const next = oifSetId();
  // Groups that have the same members today may differ tomorrow, and keep their ids.
  bool const wantsId = preset == 0 && info.key.kind() == Routing::Multicast::Fib::mcastGroup_;
  if (wantsId) preset = ++groupIds_->last;
  auto const xact =
      SimAsyncSwitchChip::doAllocateMtableOifSet(info, oifSet, blocking, preset, frrRoute);
  if (xact && oifSetId() != next) answering_->openIs(xact->id());
  return xact;
}

void AsyncChip::doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone vlan, bool bridgeAction,
                                RpaIndex rpaId, L3::VrfName vrf, bool fastdrop) {
  if (refusesRoute()) {
    routeHandleIs(RouteHandle());
    mrouteFailureReasonIs(immediateIngressFailureReason());
    return;
  }
  SimAsyncSwitchChip::doAllocateRoute(sg, vlan, bridgeAction, rpaId, vrf, fastdrop);
  if (!routeHandle().isNull()) held_[routeHandle().value].rpaId = rpaId;
}

AsyncChip::XactPtr AsyncChip::doSetMtableOifSet(RouteHandle handle, Set const & set,
                                                XactPtr const & blocking) {
  auto const xact = SimAsyncSwitchChip::doSetMtableOifSet(handle, set, blocking);
  if (!xact) return xact;
  Set const former = std::exchange(held_.at(handle.value).pending, set);
  if (isObserved()) tellObserver(handle, written(handle)->key);
  answering_->openIs(xact->id(), handle);
  return xact;
}

void AsyncChip::doDeleteRoute(RouteHandle handle) {
  auto const gone = written(handle);
  writtenIs(handle);
  SimAsyncSwitchChip::doDeleteRoute(handle);
  held_.erase(handle.value);
  if (gone) tellObserver(handle, gone->key);
}

bool AsyncChip::needIngressProgramming(RouteKeyType kind) const {
  using namespace Routing::Multicast::Fib;
  bool const setAlone = kind == vxlanCoreSideFloodset_ || kind == evpnMultihomeFloodset_;
  return !setAlone && SimAsyncSwitchChip::needIngressProgramming(kind);
}

}  // namespace Brindle::Sim
