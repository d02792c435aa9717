// What one route holds, or is about to hold, on one chip that answers later: a committed half,
// which the hardware has confirmed, and while it is programmed a pending one.
#pragma once

#include "fabric/AsyncSwitchChip.h"
#include "platform/Reactor.h"
#include "programmer/EntryList.h"

namespace Brindle {

class AsyncMrouteSm;
class AsyncZetMroute;

// Hears of the end of a transaction on behalf of a route.
class ZetXact final : public Zet::Reactor<Keel::Xact const, AsyncMrouteSm> {
 public:
  // `ingress`: it points an entry at its set; otherwise it allocates the set.
  ZetXact(AsyncMrouteSm * sm, AsyncZetMroute * route, EntryKind kind, bool ingress)
      : Reactor(sm),
        route_(route),
        kind_(kind),
        ingress_(ingress) {}
  void onStatusVersion() override;

 private:
  AsyncZetMroute * const route_;
  EntryKind const kind_;
  bool const ingress_;
};

// A transaction that the route waits for; null if there is none.
class PendingXact {
 public:
  using Xact = Keel::Xact const;

  explicit operator bool() const { return static_cast<bool>(xact_); }
  Zet::Ptr<Xact> const & xact() const { return xact_; }
  bool is(Keel::XactResult result) const { return xact_ && xact_->result() == result; }
  void xactIs(Zet::Ptr<Xact> const & v) {
    xact_ = v;
    zet_ = nullptr;
  }
  void zetIs(Zet::Ptr<ZetXact> const & v) {
    zet_ = v;
    v->notifierIs(xact_.get());
  }
  bool watched() const { return static_cast<bool>(zet_); }
  void unwatch() { zet_ = nullptr; }

 private:
  Zet::Ptr<Xact> xact_;
  Zet::Ptr<ZetXact> zet_;
};

// An entry beside the route's own. It keeps its handle; only the set changes.
struct AsyncVlanInfo {
  Bridging::VlanId vlanId;
  EntryKind kind;
  RouteHandle routeHandle;
  Zet::Ptr<MtableOifSet> mtableOifSet;
  PendingXact oifAllocXact;
  PendingXact setIngressXact;
};

class BRINDLE_API AsyncChipInfo {
 public:
  using RouteKeyType = Routing::Multicast::Fib::RouteKeyType;

  AsyncChipInfo(Zet::Ptr<AsyncSwitchChip> chip, RouteKeyType routeType)
      : chip_(std::move(chip)),
        routeType_(routeType) {}

  AsyncSwitchChip & chip() const { return *chip_; }
  RouteKeyType routeType() const { return routeType_; }

  // The entry of the route itself, in use or pending, and the one to be deleted when the chips have
  // confirmed; null if there is none.
  RouteHandle rpfRouteHandle() const { return rpfRouteHandle_; }
  RouteHandle oldRpfRouteHandle() const { return oldRpfRouteHandle_; }
  bool rpfRouteHandleCommitted() const { return rpfRouteHandleCommitted_; }
  // A second one before the commit releases the pending one. REQUIRES of it: nothing is committed.
  void rpfRouteHandlePrecommit(RouteHandle);
  void rpfRouteHandleCommit();
  void rpfRouteHandleRevert();

  // The set in use or pending, and the one to be let go. A second pending one before the commit
  // loses the old one.
  Zet::Ptr<MtableOifSet> const & mtableOifSet() const { return mtableOifSet_; }
  Zet::Ptr<MtableOifSet> const & oldMtableOifSet() const { return pending().oldMtableOifSet; }
  bool mtableOifSetCommitted() const { return mtableOifSetCommitted_; }
  void mtableOifSetPrecommit(Zet::Ptr<MtableOifSet> const &);
  void mtableOifSetCommit();
  void mtableOifSetRevert();

  // The transactions of the route itself.
  PendingXact const & oifAllocXact() const { return pending().oifAllocXact; }
  PendingXact const & setIngressXact() const { return pending().setIngressXact; }
  void oifAllocXactIs(Zet::Ptr<Keel::Xact const> const & v) { pendingIs().oifAllocXact.xactIs(v); }
  void setIngressXactIs(Zet::Ptr<Keel::Xact const> const & v) {
    pendingIs().setIngressXact.xactIs(v);
  }
  // Calls `f` with each transaction of a kind that stands, and whether it is an ingress one.
  template <class F> void forEachXact(EntryKind kind, F f) {
    if (kind == EntryKind::rpf) {
      if (!pending_) return;
      visit(pending_->oifAllocXact, false, f);
      visit(pending_->setIngressXact, true, f);
    }
    for (AsyncVlanInfo & v : entries_) {
      if (v.kind != kind) continue;
      visit(v.oifAllocXact, false, f);
      visit(v.setIngressXact, true, f);
    }
  }
  void unwatchAll();
  // Leaves all sets to the chip.
  void doLeaveSets() const;

  EntryList<AsyncVlanInfo> const & entries() const { return entries_; }
  AsyncVlanInfo * fastdrop(Bridging::VlanId vlan) const {
    return entries_.find(EntryKind::fastdrop, vlan);
  }
  AsyncVlanInfo * notify() const { return entries_.find(EntryKind::notify); }
  AsyncVlanInfo * staticFastdrop() const { return entries_.find(EntryKind::staticFastdrop); }
  AsyncVlanInfo * frr() const { return entries_.find(EntryKind::frr); }
  // Finds it or makes it. Moves the other entries.
  AsyncVlanInfo & vlanInfoIs(EntryKind, Bridging::VlanId);
  // Takes the entry out here, and leaves it on the chip.
  AsyncVlanInfo vlanInfoDel(AsyncVlanInfo * v) { return entries_.take(v); }

  // All chips have confirmed: what is pending is in use, and what it replaces goes.
  void doCommit();
  // Takes an entry of the route itself off the chip; where the chip has none, lets the set go.
  void doDelete(RouteHandle);
  // Takes the entry off the chip, too.
  void doDelete(AsyncVlanInfo *);
  void doDeleteAll(EntryKind);
  // Takes the route's own entry off the chip, with its set and what is pending.
  void doDeleteRpf();
  // Takes everything off the chip.
  void doDeleteAll();

 private:
  // What there is only while the route is programmed.
  struct Pending : Zet::RefCounted {
    Zet::Ptr<MtableOifSet> oldMtableOifSet;
    PendingXact oifAllocXact;
    PendingXact setIngressXact;
  };
  static Pending const none;
  Pending const & pending() const { return pending_ ? *pending_ : none; }
  Pending & pendingIs() {
    if (!pending_) pending_ = Zet::make<Pending>();
    return *pending_;
  }
  template <class F> static void visit(PendingXact & xact, bool ingress, F f) {
    if (xact) f(xact, ingress);
  }

  Zet::Ptr<AsyncSwitchChip> chip_;
  Zet::Ptr<MtableOifSet> mtableOifSet_;
  Zet::Ptr<Pending> pending_;
  EntryList<AsyncVlanInfo> entries_;
  RouteHandle rpfRouteHandle_;
  RouteHandle oldRpfRouteHandle_;
  RouteKeyType routeType_;
  bool rpfRouteHandleCommitted_ = false;
  bool mtableOifSetCommitted_ = false;
};
static_assert(sizeof(AsyncChipInfo) <= 48);

}  // namespace Brindle
