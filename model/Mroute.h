// One computed route of a VRF: what the resolver writes and the programmers turn into entries of
// the chips. A switch may hold a million.
#pragma once

#include "model/RouteBase.h"
#include "state/ShoalRoute.h"

namespace Brindle {

class BRINDLE_API Mroute final : public RouteBase {
 public:
  using VlanIdOrNone = Bridging::VlanIdOrNone;
  using RpaIndex = Shoal::Multicast::Fib::RpaIndex;
  using ShoalRoute = Shoal::Multicast::Fib::Route;
  using OifIndex = Shoal::Multicast::Fib::OifIndex;

  class NotifieeConst : public Zet::NotifieeOf<Mroute, RouteBase> {
   public:
    virtual void onAcceptingVlanId() {}
    virtual void onAcceptingIntfId() {}
    virtual void onNotifyingVlanId() {}
    virtual void onStaticFastdropVlanId() {}
    virtual void onFrrVlanId() {}
    virtual void onPrevFrr() {}
    virtual void onOifSet() {}
    virtual void onReview() {}
    virtual void onMcastGroupRequestId() {}
    virtual void onNoRpf() {}
    virtual void onMarkedForDeletion() {}
    virtual void onRpfFailureCount(Bridging::VlanId const &) {}
    virtual void onRpaId() {}
    virtual void onShoalRoute() {}
    virtual void onLastSeenShoalRoute() {}
    virtual void onOptimizeStatus() {}
    virtual void onNotifyOifSet() {}
    virtual void onStaticFastdropOifSet() {}
    virtual void onFrrOifSet() {}
  };
  explicit Mroute(Key const & key) : RouteBase(key), shoalRoute_(key), lastSeenShoalRoute_(key) {}

  // Inputs, 0 or empty if there is none.
  VlanIdOrNone acceptingVlanId() const { return acceptingVlanId_; }
  void acceptingVlanIdIs(VlanIdOrNone v) {
    assign(acceptingVlanId_, v, &NotifieeConst::onAcceptingVlanId);
  }
  Nettle::IntfId acceptingIntfId() const { return acceptingIntfId_; }
  void acceptingIntfIdIs(Nettle::IntfId v) {
    assign(acceptingIntfId_, v, &NotifieeConst::onAcceptingIntfId);
  }
  VlanIdOrNone notifyingVlanId() const { return notifyingVlanId_; }
  void notifyingVlanIdIs(VlanIdOrNone v) {
    assign(notifyingVlanId_, v, &NotifieeConst::onNotifyingVlanId);
  }
  // Of the persistent fastdrop route.
  VlanIdOrNone staticFastdropVlanId() const { return staticFastdropVlanId_; }
  void staticFastdropVlanIdIs(VlanIdOrNone v) {
    assign(staticFastdropVlanId_, v, &NotifieeConst::onStaticFastdropVlanId);
  }
  // Of the fast-reroute backup, now and before.
  VlanIdOrNone frrVlanId() const { return frrVlanId_; }
  void frrVlanIdIs(VlanIdOrNone v) { assign(frrVlanId_, v, &NotifieeConst::onFrrVlanId); }
  VlanIdOrNone prevFrr() const { return prevFrr_; }
  void prevFrrIs(VlanIdOrNone v) { assign(prevFrr_, v, &NotifieeConst::onPrevFrr); }

  Zet::Ptr<OifSet> const & oifSet() const { return oifSet_; }
  void oifSetIs(Zet::Ptr<OifSet> const & v) { assign(oifSet_, v, &NotifieeConst::onOifSet); }

  // The pass of the review that computed the route last.
  U32 review() const { return review_; }
  void reviewIs(U32 v) { assign(review_, v, &NotifieeConst::onReview); }
  U32 mcastGroupRequestId() const { return mcastGroupRequestId_; }
  void mcastGroupRequestIdIs(U32 v) {
    assign(mcastGroupRequestId_, v, &NotifieeConst::onMcastGroupRequestId);
  }

  // The route accepts from any interface.
  bool noRpf() const { return noRpf_; }
  void noRpfIs(bool v) { assign(noRpf_, v, &NotifieeConst::onNoRpf); }
  // The route is dirty but cannot be computed as things stand; a mark or a new record will tell
  // when to try again. Ends with dirty().
  bool held() const { return held_; }
  void heldIs(bool v);
  bool markedForDeletion() const { return markedForDeletion_; }
  void markedForDeletionIs(bool v) {
    assign(markedForDeletion_, v, &NotifieeConst::onMarkedForDeletion);
  }

  auto const & rpfFailureCount() const { return rpfFailureCount_; }
  U16 rpfFailureCount(Bridging::VlanId k) const { return lookup(rpfFailureCount_, k); }
  void rpfFailureCountIs(Bridging::VlanId k, U16 v) {
    put<&NotifieeConst::onRpfFailureCount>(rpfFailureCount_, k, v);
  }
  void rpfFailureCountDel(Bridging::VlanId k) {
    erase<&NotifieeConst::onRpfFailureCount>(rpfFailureCount_, k);
  }

  RpaIndex rpaId() const { return rpaId_; }
  void rpaIdIs(RpaIndex v) { assign(rpaId_, v, &NotifieeConst::onRpaId); }

  // The route as published, and as it was at the last computation; by default absent.
  ShoalRoute const & shoalRoute() const { return shoalRoute_; }
  void shoalRouteIs(ShoalRoute const & v) { assign(shoalRoute_, v, &NotifieeConst::onShoalRoute); }
  ShoalRoute const & lastSeenShoalRoute() const { return lastSeenShoalRoute_; }
  void lastSeenShoalRouteIs(ShoalRoute const & v) {
    assign(lastSeenShoalRoute_, v, &NotifieeConst::onLastSeenShoalRoute);
  }

  // The interfaces of the outputs at the last computation: the resolver's own memory, which nobody
  // watches.
  auto const & oifIndexIntfIdCache() const { return oifIndexIntfIdCache_; }
  Nettle::IntfId oifIndexIntfIdCache(OifIndex k) const { return lookup(oifIndexIntfIdCache_, k); }
  void oifIndexIntfIdCacheIs(OifIndex k, Nettle::IntfId v) { oifIndexIntfIdCache_.at(k) = v; }
  void oifIndexIntfIdCacheDel(OifIndex k) { oifIndexIntfIdCache_.del(k); }
  // Keeps room for `expected` members, which are about to come.
  void oifIndexIntfIdCacheDelAll(U32 expected = 0);

  // The version of the table's indices at that time: as long as it stands, so do the interfaces.
  U32 oifIndexIntfVersion() const { return oifIndexIntfVersion_; }
  void oifIndexIntfVersionIs(U32 v) { oifIndexIntfVersion_ = v; }

  bool optimizeStatus() const { return optimizeStatus_; }
  void optimizeStatusIs(bool v) { assign(optimizeStatus_, v, &NotifieeConst::onOptimizeStatus); }

  // The output sets of the special entries.
  Zet::Ptr<OifSet> const & notifyOifSet() const { return notifyOifSet_; }
  void notifyOifSetIs(Zet::Ptr<OifSet> const & v) {
    assign(notifyOifSet_, v, &NotifieeConst::onNotifyOifSet);
  }
  Zet::Ptr<OifSet> const & staticFastdropOifSet() const { return staticFastdropOifSet_; }
  void staticFastdropOifSetIs(Zet::Ptr<OifSet> const & v) {
    assign(staticFastdropOifSet_, v, &NotifieeConst::onStaticFastdropOifSet);
  }
  Zet::Ptr<OifSet> const & frrOifSet() const { return frrOifSet_; }
  void frrOifSetIs(Zet::Ptr<OifSet> const & v) {
    assign(frrOifSet_, v, &NotifieeConst::onFrrOifSet);
  }

 private:
  void handleFastdropCount(int change) override;
  void handleDirty() override;

  VlanIdOrNone acceptingVlanId_;
  VlanIdOrNone notifyingVlanId_;
  VlanIdOrNone staticFastdropVlanId_;
  VlanIdOrNone frrVlanId_;
  VlanIdOrNone prevFrr_;
  RpaIndex rpaId_ = Shoal::Multicast::Fib::rpaNone;
  Nettle::IntfId acceptingIntfId_;
  U32 review_ = 0;
  U32 mcastGroupRequestId_ = 0;
  U32 oifIndexIntfVersion_ = 0;
  bool noRpf_ = false;
  bool markedForDeletion_ = false;
  bool held_ = false;
  bool optimizeStatus_ = false;
  Zet::Ptr<OifSet> oifSet_;
  Zet::Ptr<OifSet> notifyOifSet_;
  Zet::Ptr<OifSet> staticFastdropOifSet_;
  Zet::Ptr<OifSet> frrOifSet_;
  Zet::RbTreeMap<Bridging::VlanId, U16> rpfFailureCount_;
  Zet::RbTreeMap<OifIndex, Nettle::IntfId> oifIndexIntfIdCache_;
  ShoalRoute shoalRoute_;
  ShoalRoute lastSeenShoalRoute_;
};
static_assert(sizeof(Mroute) <= 456);

}  // namespace Brindle
