// A simulated chip that answers later, or inside the call if told so; that fails the n-th call or
// transaction; and that minds what the simulated hardware of a real switch would: an entry keeps
// the set that it points at.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fabric/SimAsyncFabric.h"

class AsyncChip final : public Brindle::SimAsyncSwitchChip {
 public:
  using Handle = Brindle::RouteHandle;
  using Set = Zet::Ptr<Brindle::MtableOifSet>;
  using Result = Keel::XactResult;
  using SimAsyncSwitchChip::SimAsyncSwitchChip;

  // Transactions succeed before the call returns.
  bool answersAtOnce = false;
  // The n-th step from now on fails, 1 being the next: a call is refused, or if `failsLater` its
  // transaction fails when it is ended.
  U32 failIn = 0;
  bool failsLater = false;
  // Shared by chips: the n-th step on any of them.
  U32 * failStepIn = nullptr;
  // Where calls are told, as "A set", "A route 10", "A point 1", "A delete 1".
  std::vector<std::string> * calls = nullptr;

  // What a driver does inside the calls that delete entries, and those that point them at sets.
  std::function<void()> inDelete, inPoint;

  // What an entry points at; the programmer alone keeps it alive.
  std::map<U32, Brindle::SimMtableOifSet *> points;

  XactPtr doAllocateMtableOifSet(Brindle::RouteKeyInfo const & info,
                                 Zet::Ptr<Brindle::OifSet const> const & oifSet,
                                 XactPtr const & blocking, U32 preset, bool frr) override {
    tell("set");
    bool const fails = isStepToFail();
    if (fails && !failsLater) {
      mtableOifSetIs(nullptr);
      mrouteFailureReasonIs(immediateOifSetFailureReason());
      return nullptr;
    }
    XactPtr const xact =
        SimAsyncSwitchChip::doAllocateMtableOifSet(info, oifSet, blocking, preset, frr);
    bool const open = xact && xact->result() == Result::outstanding;
    if (fails && open) doomedSets_.push_back(xact->id());
    if (answersAtOnce && open) finishSet(xact->id());
    return xact;
  }
  void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone vlan, bool bridgeAction,
                       RpaIndex rpaId, L3::VrfName vrf, bool fastdrop) override {
    tell("route", vlan.value());
    if (isStepToFail()) {
      routeHandleIs(Handle());
      mrouteFailureReasonIs(immediateIngressFailureReason());
      return;
    }
    SimAsyncSwitchChip::doAllocateRoute(sg, vlan, bridgeAction, rpaId, vrf, fastdrop);
  }
  XactPtr doSetMtableOifSet(Handle handle, Set const & set, XactPtr const & blocking) override {
    tell("point", handle.value);
    if (inPoint) inPoint();
    bool const fails = isStepToFail();
    if (fails && !failsLater) {
      mrouteFailureReasonIs(immediateIngressFailureReason());
      return nullptr;
    }
    // The transaction of the set is what it waits for in the simulated chip.
    XactPtr const xact = SimAsyncSwitchChip::doSetMtableOifSet(handle, set, blocking);
    if (!xact) return xact;
    points[handle.value] = static_cast<Brindle::SimMtableOifSet *>(set.get());
    if (fails) doomedIngress_.push_back(xact->id());
    if (answersAtOnce) finishIngress(xact->id());
    return xact;
  }
  void doDeleteRoute(Handle handle) override {
    tell("delete", handle.value);
    SimAsyncSwitchChip::doDeleteRoute(handle);
    points.erase(handle.value);
    if (inDelete) inDelete();
  }
  bool needIngressProgramming(RouteKeyType kind) const override {
    using namespace Routing::Multicast::Fib;
    bool const setAlone = kind == vxlanCoreSideFloodset_ || kind == evpnMultihomeFloodset_;
    return !setAlone && SimAsyncSwitchChip::needIngressProgramming(kind);
  }

  // Ends what is open: sets first, then the entries that wait for them. True if there was anything.
  bool answer() {
    bool any = false;
    for (auto i = oifSetXact().begin(); auto * node = i.currNodeNonStale(); i.advance()) {
      if (node->value->result() != Result::outstanding) continue;
      any = true;
      finishSet(node->fwkKey());
    }
    for (auto i = ingressXact().begin(); auto * node = i.currNodeNonStale(); i.advance()) {
      if (node->value->result() != Result::outstanding) continue;
      any |= finishIngress(node->fwkKey());
    }
    return any;
  }

 private:
  bool isStepToFail() {
    bool const isShared = failStepIn && *failStepIn != 0 && --*failStepIn == 0;
    return (failIn != 0 && --failIn == 0) || isShared;
  }
  bool take(std::vector<U32> & doomed, U32 id) { return std::erase(doomed, id) != 0; }
  void finishSet(U32 id) {
    doSetOifSetXactResult(id, take(doomedSets_, id) ? Result::failure : Result::success);
  }
  bool finishIngress(U32 id) {
    return doSetIngressXactResult(id, take(doomedIngress_, id) ? Result::failure : Result::success);
  }
  void tell(std::string call) {
    if (calls) calls->push_back(std::string(name().view()) + " " + call);
  }
  void tell(char const * call, U32 number) { tell(call + (' ' + std::to_string(number))); }

  std::vector<U32> doomedSets_;
  std::vector<U32> doomedIngress_;
};
