#include "programmer/RouteStatusWriter.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;

namespace {

Zet::String textOf(IntfId intf) { return Zet::String(intf.view()); }

}  // namespace

Zet::Ptr<RouteStatusWriter::RouteStatus> RouteStatusWriter::routeStatusIs(Key const & key) const {
  VrfStatus * vrf = vrfStatus();
  if (!vrf) vrf = mfib_->vrfStatusIs(vrf_).get();
  Zet::Ptr<RouteStatus> status = vrf->routeIs(key);
  if (status->lastPollTime() == 0) status->lastPollTimeIs(clock_->now());
  return status;
}

void RouteStatusWriter::fastdropPolled(RouteStatus & status, VlanId vlan) const {
  IntfId const intf = intfId(vlan);
  if (intf) status.fastdropLastPollTimeIs(textOf(intf), clock_->now());
}

void RouteStatusWriter::fastdropGone(RouteStatus & status, VlanId vlan) const {
  IntfId const intf = intfId(vlan);
  if (intf) status.fastdropLastPollTimeDel(textOf(intf));
}

void RouteStatusWriter::doUpdateFastdrops(RouteStatus & status, Vlans const & vlans) const {
  for (auto i = status.fastdropLastPollTime().begin(); i; i.advance()) {
    VlanIdOrNone const vlan = intfVlanIdTable_->intfIdToVlanId(IntfId(i.key().view()));
    if (!vlan || !vlans.contains(VlanId(vlan))) status.fastdropLastPollTimeDel(i.key());
  }
  for (VlanId vlan : vlans.items()) {
    IntfId const intf = intfId(vlan);
    if (!intf || status.fastdropLastPollTime().contains(textOf(intf))) continue;
    fastdropPolled(status, vlan);
  }
}

}  // namespace Brindle
