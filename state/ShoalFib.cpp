#include "state/ShoalFib.h"

namespace Shoal::Multicast::Fib {

namespace {

U32 tablesMade = 0;
U32 versionsMade = 0;

// Rises with each; its low bits name the table, and stay as long as indices only come.
U32 nextVersion(U32 table) {
  do {
    versionsMade += Status::versionStep;
  } while (versionsMade == 0);
  return versionsMade | table % Status::versionStep;
}

[[noreturn]] void throwReadOnly() {
  Zet::throwNoImplementationException("Shoal::Multicast::Fib::Status: the table is only read");
}

}  // namespace

Status::Status(Zet::Name name) : name_(name), number_(++tablesMade) {}

Status::~Status() = default;

Status::RouteIterator Status::routeBegin() const {
  RouteIterator i(*this);
  i.advance();
  return i;
}

Status::RouteIterator Status::routeFrom(RouteKey const & key) const {
  RouteIterator i(*this);
  Route route;
  if (routeRead(key, route)) {
    i.place_ = routePlace(key);
    i.key_ = key;
    i.end_ = false;
  }
  return i;
}

void Status::routeIs(Route const &) { throwReadOnly(); }

void Status::routeDel(RouteKey const &) { throwReadOnly(); }

void Status::oifIndexIntfIs(OifIndex, OifIndexIntf const &) { throwReadOnly(); }

void Status::keepOifIndexIntf(OifIndex i, OifIndexIntf const & v) {
  OifIndexIntf const old = oifIndexIntf(i);
  if (old == v) return;
  while (oifIndexIntf_.size() <= i.value) oifIndexIntf_.push_back({});
  oifIndexIntf_[i.value] = v;
  bool const comes = old == OifIndexIntf();
  U32 const table = oifIndexIntfVersion_ ? oifIndexIntfVersion_ : number_;
  oifIndexIntfVersion_ = nextVersion(comes ? table : ++tablesMade);
}

void Status::oifIndexIntfDelAll() {
  oifIndexIntf_.clear();
  oifIndexIntfVersion_ = nextVersion(++tablesMade);
}

Status const * MfibShoalColl::shoalPtr(StatusKey const & k) const {
  auto const * table = shoalPtr_.find(k);
  return table ? table->get() : nullptr;
}

void MfibShoalColl::shoalPtrIs(StatusKey const & k, Zet::Ptr<Status const> const & v) {
  if (shoalPtr_.contains(k) && v == shoalPtr_.at(k)) return;
  unregister(k);
  if (v) tables_.push_back(v.get());
  put<&NotifieeConst::onShoalPtr>(shoalPtr_, k, v);
}

void MfibShoalColl::shoalPtrDel(StatusKey const & k) {
  unregister(k);
  erase<&NotifieeConst::onShoalPtr>(shoalPtr_, k);
}

void MfibShoalColl::unregister(StatusKey const & k) {
  auto const * at = std::find(tables_.begin(), tables_.end(), shoalPtr(k));
  if (at != tables_.end()) tables_.remove(static_cast<U32>(at - tables_.begin()));
}

Status const * MfibShoalColl::nextBestShoal(Status const * current, RouteKey const & key,
                                            Route & route) const {
  Status const * best = nullptr;
  for (Status const * table : tables_) {
    if (table == current) continue;
    if (!best) {
      if (table->routeRead(key, route)) best = table;
      continue;
    }
    Route other;
    if (table->routeRead(key, other) && route.priority() < other.priority()) {
      best = table;
      route = std::move(other);
    }
  }
  if (!best) route = Route(key);
  return best;
}

}  // namespace Shoal::Multicast::Fib
