// A resolver over records that the test fills, on a clock that stands still. No chips.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "mira/MiraRoot.h"
#include "platform/ActivityManager.h"
#include "tests/LocalTable.h"

namespace Tests {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Nettle::IpGenPrefix;
using Shoal::Multicast::Fib::OifIndex;
using Shoal::Multicast::Fib::Route;
using Shoal::Multicast::Fib::RouteKey;

class MiraFixture : public testing::Test {
 protected:
  // All records of the inputs, empty.
  template <class T> using Ptr = Zet::Ptr<T>;
  Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(1000);
  Ptr<Brindle::MrouteTableColl> coll = Zet::make<Brindle::MrouteTableColl>();
  Ptr<Routing::Multicast::Fib::VrfConfig> vrfConfig =
      Zet::make<Routing::Multicast::Fib::VrfConfig>();
  Ptr<Routing::Multicast::Fib::Hardware::Status> status =
      Zet::make<Routing::Multicast::Fib::Hardware::Status>();
  Ptr<IntfVlanId::Table> vlans = Zet::make<IntfVlanId::Table>();
  Ptr<Zet::Dir> routingInfo = Zet::make<Zet::Dir>();
  Ptr<Zet::Dir> mfibDir = Zet::make<Zet::Dir>();
  Ptr<Brindle::ReviewInfo> reviewInfo = Zet::make<Brindle::ReviewInfo>();
  Ptr<Ip::AllVrfStatusLocal> vrfs = Zet::make<Ip::AllVrfStatusLocal>();
  Ptr<Ip::Status> ip = Zet::make<Ip::Status>();
  Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntf =
      Zet::make<Routing::Multicast::Fib::PimIntf::Status>();
  Ptr<Brindle::MiraRoot> root;

  MiraFixture() {
    Zet::activityManager()->clockIs(clock);
    status->hwRoutingIs(true);
  }
  ~MiraFixture() override {
    root = nullptr;
    Zet::activityManager()->clockIs(nullptr);
  }

  Brindle::MiraRoot::Inputs inputs() {
    return {.mrouteTableColl = coll,
            .clock = clock,
            .brTopo = Zet::make<Bridging::Topology::Config>(),
            .vlanStatusDir = Zet::make<Bridging::VlanStatusDir>(),
            .lagStatusDir = Zet::make<Interface::EthLagIntfStatusDir>(),
            .snoopingStatus = Zet::make<Bridging::IgmpSnooping::Status>(),
            .mfibVrfConfig = vrfConfig,
            .mfibDir = mfibDir,
            .status = status,
            .intfVlanIdTable = vlans,
            .pimEnabled = Zet::make<Brindle::PimEnabled>(),
            .routingInfoDir = routingInfo,
            .mlagStatus = Zet::make<Mlag::Status>(),
            .brConfig = Zet::make<Bridging::Config>(),
            .reviewInfo = reviewInfo,
            .allVrfStatusLocal = vrfs,
            .ipStatus = ip,
            .pimIntfStatus = pimIntf};
  }
  // A root that is not started.
  void build() { root = Zet::make<Brindle::MiraRoot>(inputs()); }
  void start() {
    if (!root) build();
    root->entityManagerIs(Zet::make<Quay::EntityManager>());
  }
  // Reviews and timers up to `seconds` from now.
  void run(double seconds = 0.5) { Zet::activityManager()->runFor(seconds); }

  // What a VRF needs besides its tables, with routing on.
  void configure(char const * vrf) {
    vrfConfig->configIs(vrf)->routingIs(true);
    routingInfoIs(vrf)->routingIs(true);
    vrfs->vrfIs(vrf);
  }
  Ptr<Routing::RoutingGenInfo> routingInfoIs(char const * vrf) {
    auto info = Zet::make<Routing::RoutingGenInfo>(vrf);
    routingInfo->entityIs(vrf, info);
    return info;
  }
  // A new table of a VRF; the root must be there.
  Ptr<LocalTable> table(char const * vrf) {
    auto t = Zet::make<LocalTable>();
    root->shoalDir()->shoalCollIs(vrf)->shoalPtrIs(t.get(), t);
    return t;
  }
  void takeAway(char const * vrf, Ptr<LocalTable> const & t) {
    root->shoalDir()->shoalColl(vrf)->shoalPtrDel(t.get());
  }
  // "Vlan<n>" of a VRF, with IP.
  IntfId routed(unsigned vlan, char const * vrf = "default") {
    IntfId const intf("Vlan" + std::to_string(vlan));
    ip->ipIntfStatusIs(intf)->vrfIs(vrf);
    return intf;
  }

  static RouteKey key(char const * source, char const * group) {
    return {IpGenPrefix(source), IpGenPrefix(group)};
  }
  Ptr<Brindle::Mira> mira(char const * vrf = "default") { return root->mira(vrf); }
  Brindle::Mroute * mroute(RouteKey const & k, char const * vrf = "default") {
    auto * t = coll->vrfMrouteTable(vrf);
    return t ? t->mroute(k) : nullptr;
  }
  U32 mroutes(char const * vrf = "default") {
    auto * t = coll->vrfMrouteTable(vrf);
    return t ? t->mroute().size() : 0;
  }
};

}  // namespace Tests
