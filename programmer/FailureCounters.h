// Failed routes of one VRF by kind and cause: what the programmer for chips that answer later
// decides by when it tells the operator that hardware resources ran out or came back.
#pragma once

#include <array>

#include "model/FailureReason.h"
#include "platform/Entity.h"
#include "state/RouteKey.h"

namespace Brindle {

class BRINDLE_API FailureCounters final : public Zet::Entity {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using Kind = Routing::Multicast::Fib::RouteKeyType;
  class NotifieeConst : public Zet::NotifieeOf<FailureCounters, Zet::Entity> {
   public:
    virtual void onFailedMroutesHwOverflow() {}
    virtual void onFailedEthGroupsHwOverflow() {}
    virtual void onBlockedRoutes() {}
  };

  // Failed routes by kind, and their sum.
  U32 failedMroutes() const { return failed_[Kind::mroute_]; }
  U32 failedEthGroups() const { return failed_[Kind::ethGroup_]; }
  U32 failedUnknownMulticast() const { return failed_[Kind::multicastFloodset_]; }
  U32 failedVlanFloodset() const { return failed_[Kind::vlanFloodset_]; }
  U32 failedMcastGroup() const { return failed_[Kind::mcastGroup_]; }
  U32 failedVxlanCoreSideFloodset() const { return failed_[Kind::vxlanCoreSideFloodset_]; }
  U32 failedEvpnMultihomeFloodset() const { return failed_[Kind::evpnMultihomeFloodset_]; }
  U32 failed() const;

  // Those of them that lack a hardware resource.
  U32 failedMroutesHwOverflow() const { return hwOverflow_[Kind::mroute_]; }
  U32 failedEthGroupsHwOverflow() const { return hwOverflow_[Kind::ethGroup_]; }
  U32 failedUnknownMulticastHwOverflow() const { return hwOverflow_[Kind::multicastFloodset_]; }
  U32 failedVlanFloodsetHwOverflow() const { return hwOverflow_[Kind::vlanFloodset_]; }
  U32 failedMcastGroupHwOverflow() const { return hwOverflow_[Kind::mcastGroup_]; }
  U32 failedVxlanCoreSideFloodsetHwOverflow() const {
    return hwOverflow_[Kind::vxlanCoreSideFloodset_];
  }
  U32 failedEvpnMultihomeFloodsetHwOverflow() const {
    return hwOverflow_[Kind::evpnMultihomeFloodset_];
  }
  // The last resource that ran out.
  MrouteFailureReason lastHwOverflowReason() const { return lastHwOverflowReason_; }

  // Those whose reason says so; of several reasons the first of these counts.
  U32 blockedRoutes() const { return blockedRoutes_; }
  U32 timeoutRoutes() const { return timeoutRoutes_; }
  U32 inProgressRoutes() const { return inProgressRoutes_; }

  // Counts a route in or out.
  void updateCounters(Key const &, MrouteFailureReason, bool addOrRemove);
  // Counts a route in or out that has begun or ceased to lack a hardware resource, and tells the
  // operator of floodsets. REQUIRES: the reasons differ in hwFailure().
  void updateHwOverflowCounters(Key const &, MrouteFailureReason newReason,
                                MrouteFailureReason oldReason);

 private:
  using ByKind = std::array<U32, Kind::mroute_ + 1>;

  ByKind failed_{};
  ByKind hwOverflow_{};
  U32 blockedRoutes_ = 0;
  U32 timeoutRoutes_ = 0;
  U32 inProgressRoutes_ = 0;
  MrouteFailureReason lastHwOverflowReason_;
};

}  // namespace Brindle
