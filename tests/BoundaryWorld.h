// The state of a switch as far as its multicast boundaries need it, and the machine that learns
// from the kernel's messages over it. The virtual interface n of a VRF is "Vlan<n>", from 1 to 9.
#pragma once
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "boundary/BoundaryFastdropRootSm.h"
#include "platform/ActivityManager.h"
#include "tests/QueuePam.h"

namespace Tests {

class BoundaryWorld : public testing::Test {
 protected:
  using Root = Brindle::BoundaryFastdrop::BoundaryFastdropRootSm;
  using Machine = Brindle::BoundaryFastdrop::BoundaryFastdropSm;

  BoundaryWorld() { Zet::activityManager()->clockIs(clock); }
  ~BoundaryWorld() override {
    root = nullptr;
    Zet::activityManager()->clockIs(nullptr);
  }

  Root::Inputs inputs() const {
    return {.allVrfStatusLocal = vrfs,
            .kernelMfibStatusColl = vifs,
            .vrfConfig = vrfConfig,
            .mfibStatus = mfib,
            .statusColl = records,
            .routingHwStatus = routingHw,
            .mode = Brindle::BoundaryFastdrop::BoundarySmMode::system,
            .newPam = &QueuePam::make};
  }
  void start() { root = Zet::make<Root>(inputs()); }
  // What a VRF needs.
  void configure(L3::VrfName vrf) {
    auto const status = vifs->vrfStatusIs(vrf);
    for (U16 n = 1; n <= 9; ++n) status->intfIdCollIs(n, vlan(n));
    vrfConfig->configIs(vrf)->routingIs(true);
  }
  static Nettle::IntfId vlan(U32 n) { return Nettle::IntfId("Vlan" + std::to_string(n)); }
  void boundary(U32 n, std::string_view prefix, bool stands = true) {
    mfib->intfBoundaryStatusIs(vlan(n).name())->boundaryIs(Nettle::IpGenPrefix(prefix), stands);
  }
  void noBoundary(U32 n) { mfib->intfBoundaryStatusDel(vlan(n).name()); }

  Machine & machine(L3::VrfName vrf = "default") { return *root->boundaryFastdropSm(vrf); }
  QueuePam & pam(L3::VrfName vrf = "default") {
    return static_cast<QueuePam &>(*machine(vrf).mrtPam()->pam());
  }
  // "Vlan1: 239.1.1.1 (10.0.0.1 10.0.0.2); ..." in the order of names and addresses.
  std::string recorded(L3::VrfName vrf = "default");

  template <class T> using Ptr = Zet::Ptr<T>;
  Ptr<Zet::SimClock> const clock = Zet::make<Zet::SimClock>(1000);
  Ptr<Ip::AllVrfStatusLocal> const vrfs = Zet::make<Ip::AllVrfStatusLocal>();
  Ptr<Routing::KernelMfib::StatusColl> const vifs = Zet::make<Routing::KernelMfib::StatusColl>();
  Ptr<Routing::Multicast::Fib::VrfConfig> const vrfConfig =
      Zet::make<Routing::Multicast::Fib::VrfConfig>();
  Ptr<Routing::Multicast::Fib::Status> const mfib = Zet::make<Routing::Multicast::Fib::Status>();
  Ptr<Brindle::BoundaryFastdrop::StatusColl> const records =
      Zet::make<Brindle::BoundaryFastdrop::StatusColl>();
  Ptr<Routing::Hardware::Status> const routingHw = Zet::make<Routing::Hardware::Status>();
  Ptr<Root> root;
};

inline std::string BoundaryWorld::recorded(L3::VrfName vrf) {
  std::map<std::string, std::map<Nettle::IpGenAddr, std::set<Nettle::IpGenAddr>>> all;
  auto const * status = records->vrfStatus(vrf);
  if (!status) return "-";
  for (auto & fastdrop : status->fastdrop()) {
    for (auto & group : fastdrop.group()) {
      auto & sources = all[std::string(fastdrop.key().view())][group.key()];
      for (auto & source : group.source()) sources.insert(source.key());
    }
  }
  std::string text;
  for (auto const & [intf, groups] : all) {
    text += (text.empty() ? "" : "; ") + intf + ":";
    for (auto const & [group, sources] : groups) {
      std::string of;
      for (auto const & source : sources) of += (of.empty() ? "" : " ") + Zet::textOf(source);
      text += " " + Zet::textOf(group) + " (" + of + ")";
    }
  }
  return text;
}

}  // namespace Tests
