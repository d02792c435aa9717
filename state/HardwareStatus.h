// What stands in hardware, as the programmers publish it, and what the platform says of its chips.
#pragma once

#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"
#include "platform/String.h"
#include "platform/VrfName.h"
#include "state/RouteKey.h"

namespace Routing::Multicast::Fib::Hardware {

// One route. There may be a million of these.
class RouteStatus : public Zet::KeyedEntity<IpGenRouteKey> {
 public:
  // hwFlags: the route entry failed; the output set failed.
  static constexpr U32 noRoute = 1;
  static constexpr U32 noIntfs = 2;

  class NotifieeConst : public Zet::NotifieeOf<RouteStatus, Zet::Entity> {
   public:
    virtual void onAcceptingIntfId() {}
    virtual void onNotifyingIntfId() {}
    virtual void onStaticFastdropIntfId() {}
    virtual void onFrrIntfId() {}
    virtual void onNoRpf() {}
    virtual void onLastPollTime() {}
    virtual void onFastdropLastPollTime(Zet::String const &) {}
    virtual void onHwFlags() {}
  };
  using KeyedEntity::KeyedEntity;

  // The inputs of the route's entries, none where there is no such entry.
  Nettle::IntfId acceptingIntfId() const { return acceptingIntfId_; }
  void acceptingIntfIdIs(Nettle::IntfId v) {
    assign(acceptingIntfId_, v, &NotifieeConst::onAcceptingIntfId);
  }
  Nettle::IntfId notifyingIntfId() const { return notifyingIntfId_; }
  void notifyingIntfIdIs(Nettle::IntfId v) {
    assign(notifyingIntfId_, v, &NotifieeConst::onNotifyingIntfId);
  }
  Nettle::IntfId staticFastdropIntfId() const { return staticFastdropIntfId_; }
  void staticFastdropIntfIdIs(Nettle::IntfId v) {
    assign(staticFastdropIntfId_, v, &NotifieeConst::onStaticFastdropIntfId);
  }
  Nettle::IntfId frrIntfId() const { return frrIntfId_; }
  void frrIntfIdIs(Nettle::IntfId v) { assign(frrIntfId_, v, &NotifieeConst::onFrrIntfId); }

  // The route accepts from any interface.
  bool noRpf() const { return noRpf_; }
  void noRpfIs(bool v) { assign(noRpf_, v, &NotifieeConst::onNoRpf); }

  // When the platform last looked for traffic on the route, in seconds of its clock.
  double lastPollTime() const { return lastPollTime_; }
  void lastPollTimeIs(double v) { assign(lastPollTime_, v, &NotifieeConst::onLastPollTime); }

  // The same for each fastdrop, by the text of its interface.
  auto const & fastdropLastPollTime() const { return fastdropLastPollTime_; }
  double fastdropLastPollTime(Zet::String const & k) const {
    return lookup(fastdropLastPollTime_, k);
  }
  void fastdropLastPollTimeIs(Zet::String const & k, double v) {
    put<&NotifieeConst::onFastdropLastPollTime>(fastdropLastPollTime_, k, v);
  }
  void fastdropLastPollTimeDel(Zet::String const & k) {
    erase<&NotifieeConst::onFastdropLastPollTime>(fastdropLastPollTime_, k);
  }
  void fastdropLastPollTimeDelAll() {
    eraseAll<&NotifieeConst::onFastdropLastPollTime>(fastdropLastPollTime_);
  }

  U32 hwFlags() const { return hwFlags_; }
  void hwFlagsIs(U32 v) { assign(hwFlags_, v, &NotifieeConst::onHwFlags); }

 private:
  bool noRpf_ = false;
  Nettle::IntfId acceptingIntfId_;
  Nettle::IntfId notifyingIntfId_;
  Nettle::IntfId staticFastdropIntfId_;
  Nettle::IntfId frrIntfId_;
  U32 hwFlags_ = 0;
  double lastPollTime_ = 0;
  Zet::RbTreeMap<Zet::String, double> fastdropLastPollTime_;
};
static_assert(sizeof(RouteStatus) <= 128);

class VrfStatus : public Zet::KeyedEntity<L3::VrfName> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VrfStatus, Zet::Entity> {
   public:
    virtual void onRoute(IpGenRouteKey const &) {}
    virtual void onFastdropCount() {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & route() const { return route_; }
  RouteStatus const * route(IpGenRouteKey const & k) const { return route_.find(k); }
  RouteStatus * route(IpGenRouteKey const & k) { return route_.find(k); }
  Zet::Ptr<RouteStatus> routeIs(IpGenRouteKey const & k) {
    return create<&NotifieeConst::onRoute>(route_, k);
  }
  void routeDel(IpGenRouteKey const & k) { erase<&NotifieeConst::onRoute>(route_, k); }

  U16 fastdropCount() const { return fastdropCount_; }
  void fastdropCountIs(U16 v) { assign(fastdropCount_, v, &NotifieeConst::onFastdropCount); }

 private:
  Zet::HashMap<IpGenRouteKey, RouteStatus> route_;
  U16 fastdropCount_ = 0;
};

// The flags are the platform's to set, before routes arrive where nobody watches them.
class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onHwRouting() {}
    virtual void onVrfStatus(L3::VrfName const &) {}
    virtual void onHwResourceFull() {}
    virtual void onRoutingEnabled() {}
    virtual void onWaitForRoutingDisabledCnt() {}
    virtual void onDirtyLag(Nettle::IntfId const &) {}
  };

  // The hardware routes multicast at all.
  bool hwRouting() const { return hwRouting_; }
  void hwRoutingIs(bool v) { assign(hwRouting_, v, &NotifieeConst::onHwRouting); }

  auto const & vrfStatus() const { return vrfStatus_; }
  VrfStatus const * vrfStatus(L3::VrfName k) const { return vrfStatus_.find(k); }
  VrfStatus * vrfStatus(L3::VrfName k) { return vrfStatus_.find(k); }
  Zet::Ptr<VrfStatus> vrfStatusIs(L3::VrfName k) {
    return create<&NotifieeConst::onVrfStatus>(vrfStatus_, k);
  }
  void vrfStatusDel(L3::VrfName k) { erase<&NotifieeConst::onVrfStatus>(vrfStatus_, k); }

  // A route or an output set did not go in for want of room.
  bool hwResourceFull() const { return hwResourceFull_; }
  void hwResourceFullIs(bool v) { assign(hwResourceFull_, v, &NotifieeConst::onHwResourceFull); }

  // How often the platform looks for traffic on a route, in seconds.
  double pollingInterval() const { return pollingInterval_; }
  void pollingIntervalIs(double v) { assign(pollingInterval_, v); }
  double pollingMinInterval() const { return pollingMinInterval_; }
  void pollingMinIntervalIs(double v) { assign(pollingMinInterval_, v); }

  // The chips want the input VLAN in the output set.
  bool needIifInOifSet() const { return needIifInOifSet_; }
  void needIifInOifSetIs(bool v) { assign(needIifInOifSet_, v); }

  // The routes that the hardware holds, 0 if not told.
  U32 routeLimit() const { return routeLimit_; }
  void routeLimitIs(U32 v) { assign(routeLimit_, v); }

  // A consumer waits for batches of routes.
  bool batchEnabled() const { return batchEnabled_; }
  void batchEnabledIs(bool v) { assign(batchEnabled_, v); }

  bool routeCounterSupported() const { return routeCounterSupported_; }
  void routeCounterSupportedIs(bool v) { assign(routeCounterSupported_, v); }

  // The resolver routes in some VRF.
  bool routingEnabled() const { return routingEnabled_; }
  void routingEnabledIs(bool v) { assign(routingEnabled_, v, &NotifieeConst::onRoutingEnabled); }

  // Rises when both the resolver and the hardware have stopped routing.
  U32 waitForRoutingDisabledCnt() const { return waitForRoutingDisabledCnt_; }
  void waitForRoutingDisabledCntInc(U32 n) {
    assign(waitForRoutingDisabledCnt_, waitForRoutingDisabledCnt_ + n,
           &NotifieeConst::onWaitForRoutingDisabledCnt);
  }

  // A chip must never hold two entries of one key.
  bool avoidDuplicates() const { return avoidDuplicates_; }
  void avoidDuplicatesIs(bool v) { assign(avoidDuplicates_, v); }

  // A floodset that fails goes from the chips; otherwise the old one stays.
  bool deleteL2RouteOnFailure() const { return deleteL2RouteOnFailure_; }
  void deleteL2RouteOnFailureIs(bool v) { assign(deleteL2RouteOnFailure_, v); }

  bool mcastFlexCounterSupport() const { return mcastFlexCounterSupport_; }
  void mcastFlexCounterSupportIs(bool v) { assign(mcastFlexCounterSupport_, v); }

  // The LAGs whose members in hardware lag behind.
  bool anyDirtyLag() const { return !dirtyLag_.empty(); }
  auto const & dirtyLag() const { return dirtyLag_; }
  bool dirtyLag(Nettle::IntfId k) const { return dirtyLag_.contains(k); }
  void dirtyLagIs(Nettle::IntfId k, bool v) { flag<&NotifieeConst::onDirtyLag>(dirtyLag_, k, v); }
  void dirtyLagDel(Nettle::IntfId k) { dirtyLagIs(k, false); }

 private:
  Zet::HashMap<L3::VrfName, VrfStatus> vrfStatus_;
  double pollingInterval_ = 0;
  double pollingMinInterval_ = 0;
  U32 routeLimit_ = 0;
  U32 waitForRoutingDisabledCnt_ = 0;
  bool hwRouting_ = false;
  bool hwResourceFull_ = false;
  bool needIifInOifSet_ = false;
  bool batchEnabled_ = false;
  bool routeCounterSupported_ = false;
  bool routingEnabled_ = false;
  bool avoidDuplicates_ = false;
  bool deleteL2RouteOnFailure_ = false;
  bool mcastFlexCounterSupport_ = false;
  Zet::OrderedSet<Nettle::IntfId> dirtyLag_;
};

}  // namespace Routing::Multicast::Fib::Hardware
