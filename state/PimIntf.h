// Connected subnets and the (*,G) routes that wait for them: a (*,G) route may go into the chips
// only after the subnets of its interfaces, since data of directly connected sources must hit those
// first.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"
#include "platform/VrfName.h"
#include "state/ShoalRoute.h"

namespace Routing::Multicast::Fib::PimIntf {

// A connected subnet of a VRF.
struct PrefixKey {
  Nettle::IpGenPrefix prefix;
  L3::VrfName vrfName;

  U32 hash() const { return Zet::hashAll(prefix, vrfName); }
  auto operator<=>(PrefixKey const &) const = default;
  static constexpr char const * zetType = "Routing::Multicast::Fib::PimIntf::PrefixKey";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&PrefixKey::prefix>("prefix"),
                      Zet::field<&PrefixKey::vrfName>("vrfName")};
  }
};

// A connected subnet that is wanted in the chips.
class PrefixRouteInfo : public Zet::KeyedEntity<Nettle::IpGenPrefix> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<PrefixRouteInfo, Zet::Entity> {
   public:
    virtual void onProgrammed() {}
    virtual void onProgrammerDel() {}
  };
  PrefixRouteInfo(Nettle::IpGenPrefix const & prefix, Nettle::IntfId intf)
      : KeyedEntity(prefix),
        intfId_(intf) {}

  Nettle::IntfId intfId() const { return intfId_; }

  // The chips hold it.
  bool programmed() const { return programmed_; }
  void programmedIs(bool v) { assign(programmed_, v, &NotifieeConst::onProgrammed); }
  // The last programmer that held it has gone, without a word about its chips.
  void programmerDel() { assign(programmed_, false, &NotifieeConst::onProgrammerDel); }

 private:
  Nettle::IntfId const intfId_;
  bool programmed_ = false;
};

// A routed interface that (*,G) routes lean on.
class IntfStatus : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  using Route = Shoal::Multicast::Fib::Route;

  class NotifieeConst : public Zet::NotifieeOf<IntfStatus, Zet::Entity> {
   public:
    virtual void onRefCount() {}
    virtual void onRoutesProgrammed() {}
    virtual void onRoute(Nettle::IpGenPrefix const &) {}
    virtual void onToAddWc(IpGenRouteKey const &) {}
  };
  using KeyedEntity::KeyedEntity;
  Nettle::IntfId intfId() const { return key(); }

  // How many (*,G) routes do.
  U32 refCount() const { return refCount_; }
  void refCountInc(U32 n) { assign(refCount_, refCount_ + n, &NotifieeConst::onRefCount); }
  void refCountDec(U32 n) { assign(refCount_, refCount_ - n, &NotifieeConst::onRefCount); }

  // The chips hold all of `route`.
  bool routesProgrammed() const { return routesProgrammed_; }
  void routesProgrammedIs(bool v) {
    assign(routesProgrammed_, v, &NotifieeConst::onRoutesProgrammed);
  }

  // Its connected subnets.
  auto const & route() const { return route_; }
  PrefixRouteInfo const * route(Nettle::IpGenPrefix const & k) const { return route_.find(k); }
  PrefixRouteInfo * route(Nettle::IpGenPrefix const & k) { return route_.find(k); }
  Zet::Ptr<PrefixRouteInfo> routeIs(Nettle::IpGenPrefix const & k) {
    return create<&NotifieeConst::onRoute>(route_, k, intfId());
  }
  void routeDel(Nettle::IpGenPrefix const & k) { erase<&NotifieeConst::onRoute>(route_, k); }
  void routeDelAll() { eraseAll<&NotifieeConst::onRoute>(route_); }

  // The (*,G) routes that wait for this interface.
  auto const & toAddWc() const { return toAddWc_; }
  Route const * toAddWc(IpGenRouteKey const & k) const { return toAddWc_.find(k); }
  void toAddWcIs(Route const & v) { put<&NotifieeConst::onToAddWc>(toAddWc_, v.key(), v); }
  void toAddWcDel(IpGenRouteKey const & k) { erase<&NotifieeConst::onToAddWc>(toAddWc_, k); }

 private:
  U32 refCount_ = 0;
  bool routesProgrammed_ = false;
  Zet::HashMap<Nettle::IpGenPrefix, PrefixRouteInfo> route_;
  Zet::HashMap2018<IpGenRouteKey, Route> toAddWc_;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onSrcToIntfMap(PrefixKey const &) {}
    virtual void onIntfStatus(Nettle::IntfId const &) {}
  };

  // On which interface each connected subnet is.
  auto const & srcToIntfMap() const { return srcToIntfMap_; }
  Nettle::IntfId srcToIntfMap(PrefixKey const & k) const { return lookup(srcToIntfMap_, k); }
  void srcToIntfMapIs(PrefixKey const & k, Nettle::IntfId v) {
    put<&NotifieeConst::onSrcToIntfMap>(srcToIntfMap_, k, v);
  }
  void srcToIntfMapDel(PrefixKey const & k) {
    erase<&NotifieeConst::onSrcToIntfMap>(srcToIntfMap_, k);
  }

  auto const & intfStatus() const { return intfStatus_; }
  IntfStatus const * intfStatus(Nettle::IntfId k) const { return intfStatus_.find(k); }
  IntfStatus * intfStatus(Nettle::IntfId k) { return intfStatus_.find(k); }
  Zet::Ptr<IntfStatus> intfStatusIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onIntfStatus>(intfStatus_, k);
  }
  void intfStatusDel(Nettle::IntfId k) { erase<&NotifieeConst::onIntfStatus>(intfStatus_, k); }

 private:
  Zet::HashMap2018<PrefixKey, Nettle::IntfId> srcToIntfMap_;
  Zet::DenseMap<Nettle::IntfId, IntfStatus> intfStatus_;
};

// A connected subnet that one programmer has put into its chips.
struct PrefixMroute {
  Nettle::IpGenPrefix prefix;
  Nettle::IntfId intfId;

  U32 hash() const { return Zet::hashAll(prefix, intfId); }
  auto operator<=>(PrefixMroute const &) const = default;
  static constexpr char const * zetType = "Routing::Multicast::Fib::PimIntf::PrefixMroute";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&PrefixMroute::prefix>("prefix"),
                      Zet::field<&PrefixMroute::intfId>("intfId")};
  }
};

// What one programmer publishes of such subnets, under its name in a directory.
class PrefixMrouteStatus : public Zet::KeyedEntity<Zet::Name> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<PrefixMrouteStatus, Zet::Entity> {
   public:
    virtual void onRoute(PrefixMroute const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & route() const { return route_; }
  bool route(PrefixMroute const & k) const { return route_.contains(k); }
  void routeIs(PrefixMroute const & k, bool v) { flag<&NotifieeConst::onRoute>(route_, k, v); }
  void routeDel(PrefixMroute const & k) { routeIs(k, false); }

 private:
  Zet::OrderedSet<PrefixMroute> route_;
};

}  // namespace Routing::Multicast::Fib::PimIntf
