// Multicast routing: its configuration, and what the protocols say of themselves.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"
#include "platform/VrfName.h"
#include "state/RouteKey.h"

namespace Routing::Multicast::Fib {

// One VRF.
class Config : public Zet::KeyedEntity<L3::VrfName> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Config, Zet::Entity> {
   public:
    virtual void onRouting() {}
    virtual void onMultipathControl() {}
    virtual void onFastdrop() {}
    virtual void onMaxFastdrops() {}
    virtual void onCounterRoute(IpGenRouteKey const &) {}
    virtual void onClearCounterRoute() {}
    virtual void onClearFastdrop() {}
    virtual void onClearMfibCount() {}
  };
  using KeyedEntity::KeyedEntity;

  // Multicast routing is on.
  bool routing() const { return routing_; }
  void routingIs(bool v) { assign(routing_, v, &NotifieeConst::onRouting); }

  U8 multipathControl() const { return multipathControl_; }
  void multipathControlIs(U8 v) {
    assign(multipathControl_, v, &NotifieeConst::onMultipathControl);
  }

  // Traffic that fails the RPF check may be dropped in hardware.
  bool fastdrop() const { return fastdrop_; }
  void fastdropIs(bool v) { assign(fastdrop_, v, &NotifieeConst::onFastdrop); }

  // How many such drops the VRF may have.
  U32 maxFastdrops() const { return maxFastdrops_; }
  void maxFastdropsIs(U32 v) { assign(maxFastdrops_, v, &NotifieeConst::onMaxFastdrops); }

  // The routes whose traffic is to be counted.
  auto const & counterRoute() const { return counterRoute_; }
  bool counterRoute(IpGenRouteKey const & k) const { return counterRoute_.contains(k); }
  void counterRouteIs(IpGenRouteKey const & k, bool v) {
    flag<&NotifieeConst::onCounterRoute>(counterRoute_, k, v);
  }

  // These rise when an operator asks for it: to clear the counters of routes, the fastdrops, the
  // count of routes.
  U32 clearCounterRoute() const { return clearCounterRoute_; }
  void clearCounterRouteInc(U32 n) {
    assign(clearCounterRoute_, clearCounterRoute_ + n, &NotifieeConst::onClearCounterRoute);
  }
  U32 clearFastdrop() const { return clearFastdrop_; }
  void clearFastdropInc(U32 n) {
    assign(clearFastdrop_, clearFastdrop_ + n, &NotifieeConst::onClearFastdrop);
  }
  U32 clearMfibCount() const { return clearMfibCount_; }
  void clearMfibCountInc(U32 n) {
    assign(clearMfibCount_, clearMfibCount_ + n, &NotifieeConst::onClearMfibCount);
  }

 private:
  bool routing_ = false;
  bool fastdrop_ = true;
  U8 multipathControl_ = 0;
  U32 maxFastdrops_ = 1024;
  U32 clearCounterRoute_ = 0;
  U32 clearFastdrop_ = 0;
  U32 clearMfibCount_ = 0;
  Zet::OrderedSet<IpGenRouteKey> counterRoute_;
};

// One interface.
class IntfConfig : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<IntfConfig, Zet::Entity> {
   public:
    virtual void onNoFastdrop() {}
  };
  using KeyedEntity::KeyedEntity;

  // No fastdrop is to be made for traffic that comes in here.
  bool noFastdrop() const { return noFastdrop_; }
  void noFastdropIs(bool v) { assign(noFastdrop_, v, &NotifieeConst::onNoFastdrop); }

 private:
  bool noFastdrop_ = false;
};

class VrfConfig : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VrfConfig, Zet::Entity> {
   public:
    virtual void onConfig(L3::VrfName const &) {}
    virtual void onIntfConfig(Nettle::IntfId const &) {}
  };

  auto const & config() const { return config_; }
  Config const * config(L3::VrfName k) const { return config_.find(k); }
  Zet::Ptr<Config> configIs(L3::VrfName k) { return create<&NotifieeConst::onConfig>(config_, k); }
  void configDel(L3::VrfName k) { erase<&NotifieeConst::onConfig>(config_, k); }

  auto const & intfConfig() const { return intfConfig_; }
  IntfConfig const * intfConfig(Nettle::IntfId k) const { return intfConfig_.find(k); }
  Zet::Ptr<IntfConfig> intfConfigIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onIntfConfig>(intfConfig_, k);
  }
  void intfConfigDel(Nettle::IntfId k) { erase<&NotifieeConst::onIntfConfig>(intfConfig_, k); }

 private:
  Zet::HashMap<L3::VrfName, Config> config_;
  Zet::HashMap<Nettle::IntfId, IntfConfig> intfConfig_;
};

// What one protocol says of its start.
class ReadyStatus : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<ReadyStatus, Zet::Entity> {
   public:
    virtual void onVrfReady(L3::VrfName const &) {}
  };

  // All routes of the VRF are published.
  auto const & vrfReady() const { return vrfReady_; }
  bool vrfReady(L3::VrfName k) const { return vrfReady_.contains(k); }
  void vrfReadyIs(L3::VrfName k, bool v) { flag<&NotifieeConst::onVrfReady>(vrfReady_, k, v); }
  void vrfReadyDel(L3::VrfName k) { vrfReadyIs(k, false); }

 private:
  Zet::OrderedSet<L3::VrfName> vrfReady_;
};

// The VRFs with bidirectional PIM (RFC 5015).
class BidirStatus : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<BidirStatus, Zet::Entity> {
   public:
    virtual void onBidirEnabledVrf(L3::VrfName const &) {}
  };

  auto const & bidirEnabledVrf() const { return bidirEnabledVrf_; }
  bool bidirEnabledVrf(L3::VrfName k) const { return bidirEnabledVrf_.contains(k); }
  void bidirEnabledVrfIs(L3::VrfName k, bool v) {
    flag<&NotifieeConst::onBidirEnabledVrf>(bidirEnabledVrf_, k, v);
  }
  void bidirEnabledVrfDel(L3::VrfName k) { bidirEnabledVrfIs(k, false); }

 private:
  Zet::OrderedSet<L3::VrfName> bidirEnabledVrf_;
};

// The VRFs with multicast routing on.
class VrfEnabledStatus : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VrfEnabledStatus, Zet::Entity> {
   public:
    virtual void onVrf(L3::VrfName const &) {}
  };

  auto const & vrf() const { return vrf_; }
  bool vrf(L3::VrfName k) const { return vrf_.contains(k); }
  void vrfIs(L3::VrfName k, bool v) { flag<&NotifieeConst::onVrf>(vrf_, k, v); }
  void vrfDel(L3::VrfName k) { vrfIs(k, false); }

 private:
  Zet::OrderedSet<L3::VrfName> vrf_;
};

// The interfaces on which this switch is the border of a multicast domain.
class MbrIntf : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MbrIntf, Zet::Entity> {
   public:
    virtual void onIntf(Nettle::IntfId const &) {}
  };

  auto const & intf() const { return intf_; }
  bool intf(Nettle::IntfId k) const { return intf_.contains(k); }
  void intfIs(Nettle::IntfId k, bool v) { flag<&NotifieeConst::onIntf>(intf_, k, v); }
  void intfDel(Nettle::IntfId k) { intfIs(k, false); }

 private:
  Zet::OrderedSet<Nettle::IntfId> intf_;
};

// What sparse mode (RFC 7761) says of interfaces.
class SparseModeStatus : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SparseModeStatus, Zet::Entity> {
   public:
    virtual void onFastFailoverIntf(Nettle::IntfId const &) {}
  };

  // Interfaces that may take over at once, so that drops on them may be wanted all the same.
  auto const & fastFailoverIntf() const { return fastFailoverIntf_; }
  bool fastFailoverIntf(Nettle::IntfId k) const { return fastFailoverIntf_.contains(k); }
  void fastFailoverIntfIs(Nettle::IntfId k, bool v) {
    flag<&NotifieeConst::onFastFailoverIntf>(fastFailoverIntf_, k, v);
  }
  void fastFailoverIntfDel(Nettle::IntfId k) { fastFailoverIntfIs(k, false); }

 private:
  Zet::OrderedSet<Nettle::IntfId> fastFailoverIntf_;
};

}  // namespace Routing::Multicast::Fib
