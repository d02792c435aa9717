// Publishes what stands in hardware for the routes of one VRF: finds and makes the records, and
// writes what does not depend on how chips are programmed.
#pragma once

#include "platform/Clock.h"
#include "platform/Export.h"
#include "state/HardwareStatus.h"
#include "state/IntfVlanId.h"

namespace Brindle {

class BRINDLE_API RouteStatusWriter {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using Status = Routing::Multicast::Fib::Hardware::Status;
  using VrfStatus = Routing::Multicast::Fib::Hardware::VrfStatus;
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;
  using Vlans = Zet::OrderedSet<Bridging::VlanId>;

  RouteStatusWriter(Zet::Ptr<Status> mfib, L3::VrfName vrf,
                    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable,
                    Zet::Ptr<Zet::Clock const> clock)
      : mfib_(std::move(mfib)),
        vrf_(vrf),
        intfVlanIdTable_(std::move(intfVlanIdTable)),
        clock_(std::move(clock)) {}

  // Null if there is none.
  VrfStatus * vrfStatus() const { return mfib_->vrfStatus(vrf_); }
  Zet::Ptr<RouteStatus> routeStatus(Key const & key) const {
    VrfStatus * v = vrfStatus();
    return v ? v->route(key) : nullptr;
  }
  // Finds it or makes it, polled now.
  Zet::Ptr<RouteStatus> routeStatusIs(Key const &) const;
  void routeStatusDel(Key const & key) const {
    if (VrfStatus * v = vrfStatus()) v->routeDel(key);
  }

  // The interface of a VLAN, none for 0.
  Nettle::IntfId intfId(Bridging::VlanIdOrNone vlan) const {
    return vlan ? intfVlanIdTable_->vlanIdToIntfId(vlan) : Nettle::IntfId();
  }
  // The drop entry of this VLAN was polled now, or has gone.
  void fastdropPolled(RouteStatus &, Bridging::VlanId) const;
  void fastdropGone(RouteStatus &, Bridging::VlanId) const;
  // Brings the poll times in line with the VLANs that have a drop entry: those that had one keep
  // their time, new ones are polled now.
  void doUpdateFastdrops(RouteStatus &, Vlans const & vlans) const;

 private:
  Zet::Ptr<Status> const mfib_;
  L3::VrfName const vrf_;
  Zet::Ptr<IntfVlanId::Table const> const intfVlanIdTable_;
  Zet::Ptr<Zet::Clock const> const clock_;
};

}  // namespace Brindle
