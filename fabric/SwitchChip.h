// A switch chip that answers at once, as the programmers see it: a platform derives from it.
//
// A chip gives out two things. An output set is an object: it lives in the chip as long as somebody
// holds it. A route entry is a handle: it lives until doDeleteRoute(). The order of calls for a new
// route is: on all chips doAllocateMtableOifSet, on all doAllocateRoute, on all doSetMtableOifSet
// and doActivateRoute, and at last releasedIs(true), which takes away the chip's own hold on the
// set. The entry of a connected subnet has no set: doAllocateRoute with null, doSetBridgeAction and
// doActivateRoute.
#pragma once

#include "model/OifSet.h"
#include "model/RouteHandle.h"
#include "platform/Entity.h"
#include "platform/VrfName.h"
#include "state/RouteKey.h"
#include "state/ShoalRoute.h"

namespace Brindle {

// One output set in a chip, for its users no more than an identity: held, compared by pointer, and
// passed back. A chip derives its own and frees the hardware when the last reference goes.
class BRINDLE_API MtableOifSet : public Zet::RefCounted {};

BRINDLE_API Zet::Ptr<MtableOifSet> mtableOifSetFactory();

// What chips of either kind share.
class BRINDLE_API SwitchChipBase : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SwitchChipBase, Zet::Entity> {};

  // Its bits in failure masks are chosen by the index; there are no more.
  static constexpr U32 maxIndex = 15;

  Zet::Name name() const override { return name_; }
  U32 index() const { return index_; }
  virtual bool hasBackupSupport() const { return false; }

  // The result of the last doAllocateMtableOifSet, null if it failed.
  Zet::Ptr<MtableOifSet> const & mtableOifSet() const { return mtableOifSet_; }
  void mtableOifSetIs(Zet::Ptr<MtableOifSet> v) { mtableOifSet_ = std::move(v); }
  // True: the chip lets go of that set.
  void releasedIs(bool v) {
    if (v) mtableOifSet_ = nullptr;
  }
  // The result of the last doAllocateRoute, null if it failed.
  RouteHandle routeHandle() const { return routeHandle_; }
  void routeHandleIs(RouteHandle v) { routeHandle_ = v; }

 protected:
  // Throws RangeException if the index is above maxIndex.
  SwitchChipBase(Zet::Name name, U32 index);

 private:
  Zet::Name const name_;
  U32 const index_;
  RouteHandle routeHandle_;
  Zet::Ptr<MtableOifSet> mtableOifSet_;
};

// The derived class supplies the operations, which otherwise throw NoImplementationException, and
// sets the attributes as its resources go and come.
class BRINDLE_API SwitchChip : public SwitchChipBase {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;
  using RpaIndex = Shoal::Multicast::Fib::RpaIndex;
  class NotifieeConst : public Zet::NotifieeOf<SwitchChip, SwitchChipBase> {
   public:
    virtual void onMrouteTcamFree() {}
    virtual void onBoundaryTcamFree() {}
    virtual void onMtableFree() {}
    virtual void onMrouteReviewKick() {}
  };
  // Throws RangeException if the index is above maxIndex.
  SwitchChip(Zet::Name name, U32 index) : SwitchChipBase(name, index) {}

  // The chip has room for route entries, boundary entries, output sets.
  bool mrouteTcamFree() const { return mrouteTcamFree_; }
  void mrouteTcamFreeIs(bool v) { assign(mrouteTcamFree_, v, &NotifieeConst::onMrouteTcamFree); }
  bool boundaryTcamFree() const { return boundaryTcamFree_; }
  void boundaryTcamFreeIs(bool v) {
    assign(boundaryTcamFree_, v, &NotifieeConst::onBoundaryTcamFree);
  }
  bool mtableFree() const { return mtableFree_; }
  void mtableFreeIs(bool v) { assign(mtableFree_, v, &NotifieeConst::onMtableFree); }
  // Any change asks for a retry of failed routes.
  U64 mrouteReviewKick() const { return mrouteReviewKick_; }
  void mrouteReviewKickIs(U64 v) {
    assign(mrouteReviewKick_, v, &NotifieeConst::onMrouteReviewKick);
  }

  // Sets mtableOifSet() to a set for these members (portVlanSet().portVlan()), or to null, and
  // clears mtableFree(), if there is no room. The object may be shared with an equal set.
  virtual void doAllocateMtableOifSet(Zet::Ptr<OifSet const> const &);
  // Sets routeHandle() to a new entry, which is not active yet, or to null, and clears
  // mrouteTcamFree(), if the table is full. The entry takes packets of the key that come in the
  // accepting VLAN, in any with `noRpf`, or in those of a rendezvous point's index. They go to the
  // set, which may be null, and with `bridgeAction` to the CPU. A `fastdrop` keeps them from the
  // CPU; its set holds ports of its own VLAN only. Connected subnets take entries from here, too,
  // but are tried again at a change of boundaryTcamFree(): a chip whose table is full clears both
  // flags, and sets both when entries become free.
  virtual void doAllocateRoute(RouteKey const & sg, Bridging::VlanIdOrNone acceptingVlanId,
                               bool bridgeAction, Zet::Ptr<MtableOifSet> const &, bool fastdrop,
                               bool noRpf, RpaIndex rpaId, L3::VrfName vrf);
  // Points the entry at the set.
  virtual void doSetMtableOifSet(RouteHandle, Zet::Ptr<MtableOifSet> const &);
  // Whether the entry's packets go to the CPU, too.
  virtual void doSetBridgeAction(RouteHandle, bool toCpu);
  virtual void doDeleteRoute(RouteHandle);
  // Brings the entry into effect: once, after its first doSetMtableOifSet if it has a set.
  virtual void doActivateRoute(RouteHandle);
  // Flushes the writes that the chip has held back.
  virtual void doCommitRouteBatch();

 private:
  bool mrouteTcamFree_ = true;
  bool boundaryTcamFree_ = true;
  bool mtableFree_ = true;
  U64 mrouteReviewKick_ = 0;
};

}  // namespace Brindle
