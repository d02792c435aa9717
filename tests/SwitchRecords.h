// The state of a switch, as other agents publish it: all records that a resolver reads, empty at
// first, under a simulated clock that stands at 1000 s.
#pragma once
#include <gtest/gtest.h>

#include <string_view>

#include "mira/MiraRoot.h"
#include "platform/ActivityManager.h"

namespace Tests {

// The key of a host source, or "*", and a group; either may have a prefix length.
inline Brindle::RouteBase::Key key(std::string_view source, std::string_view group) {
  auto prefix = [](std::string_view text) {
    if (text.find('/') != text.npos) return Nettle::IpGenPrefix(text);
    return Nettle::IpGenPrefix(Nettle::IpGenAddr(text));
  };
  bool v6 = group.find(':') != group.npos;
  return {prefix(source == "*" ? (v6 ? "::/0" : "0.0.0.0/0") : source), prefix(group)};
}

class SwitchRecords : public testing::Test {
 protected:
  SwitchRecords() {
    Zet::activityManager()->clockIs(clock);
    status->hwRoutingIs(true);
  }
  ~SwitchRecords() override { Zet::activityManager()->clockIs(nullptr); }

  Brindle::MiraRoot::Inputs inputs() const {
    return {.mrouteTableColl = tables,
            .clock = clock,
            .brTopo = topology,
            .vlanStatusDir = vlans,
            .lagStatusDir = lags,
            .snoopingStatus = snooping,
            .mfibVrfConfig = vrfConfig,
            .mfibDir = mfibDir,
            .status = status,
            .fastdropClock = clock,
            .fastdropLogClock = clock,
            .intfVlanIdTable = intfVlans,
            .lagOperation = lagOperation,
            .l2Enabled = l2Enabled,
            .pimEnabled = pimEnabled,
            .routingInfoDir = routingInfo,
            .mlagStatus = mlag,
            .brConfig = bridging,
            .staticNatInfo = nat,
            .reviewInfo = reviewInfo,
            .allVrfStatusLocal = vrfs,
            .ipStatus = ip,
            .pimIntfStatus = pimIntf,
            .prefixMrouteStatusDir = prefixStatus,
            .ignoreVlanForL2Groups = ignoreVlanForL2Groups,
            .portPropertyMask = portPropertyMask,
            .mbrIntf = mbr,
            .sparseModeStatus = sparse};
  }

  // What a VRF needs besides its tables, with routing on.
  void configure(std::string_view vrf) {
    vrfs->vrfIs(L3::VrfName(vrf));
    vrfConfig->configIs(L3::VrfName(vrf))->routingIs(true);
    routingInfoIs(vrf)->routingIs(true);
  }
  Zet::Ptr<Routing::RoutingGenInfo> routingInfoIs(std::string_view vrf) {
    auto info = Zet::make<Routing::RoutingGenInfo>(Zet::Name(vrf));
    routingInfo->entityIs(Zet::Name(vrf), info);
    return info;
  }

  // A record that stands from the beginning.
  template <class T> struct Made : Zet::Ptr<T> {
    Made() : Zet::Ptr<T>(Zet::make<T>()) {}
    using Zet::Ptr<T>::operator=;
  };
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(1000);
  Made<Brindle::MrouteTableColl> tables;
  Made<Bridging::Topology::Config> topology;
  Made<Bridging::VlanStatusDir> vlans;
  Made<Bridging::Config> bridging;
  Made<Bridging::IgmpSnooping::Status> snooping;
  Made<Interface::EthLagIntfStatusDir> lags;
  Made<Mlag::Status> mlag;
  Made<Ip::Status> ip;
  Made<Ip::AllVrfStatusLocal> vrfs;
  Made<IntfVlanId::Table> intfVlans;
  Made<Routing::Multicast::Fib::VrfConfig> vrfConfig;
  Made<Routing::Multicast::Fib::Hardware::Status> status;
  Made<Routing::Multicast::Fib::PimIntf::Status> pimIntf;
  Made<Zet::Dir> prefixStatus;
  Made<Routing::Multicast::Fib::MbrIntf> mbr;
  Made<Routing::Multicast::Fib::SparseModeStatus> sparse;
  Made<Brindle::PimEnabled> pimEnabled;
  Made<Routing::Multicast::Vxlan::Status> overVxlan;
  Made<Brindle::StaticNatInfo> nat;
  Made<Brindle::ReviewInfo> reviewInfo;
  Made<Zet::Dir> routingInfo;
  Made<Zet::Dir> mfibDir;
  Brindle::LagOperation lagOperation = Brindle::lagExpand;
  Brindle::PortPropertyMask portPropertyMask = 0;
  bool l2Enabled = false;
  bool ignoreVlanForL2Groups = false;
};

}  // namespace Tests
