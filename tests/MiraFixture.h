// A resolver over records that the test fills, on a clock that stands still. No chips.
#pragma once
#include <string>

#include "tests/LocalTable.h"
#include "tests/SwitchRecords.h"

namespace Tests {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Nettle::IpGenPrefix;
using Shoal::Multicast::Fib::OifIndex;
using Shoal::Multicast::Fib::Route;
using Shoal::Multicast::Fib::RouteKey;

class MiraFixture : public SwitchRecords {
 protected:
  template <class T> using Ptr = Zet::Ptr<T>;
  Ptr<Brindle::MiraRoot> root;

  ~MiraFixture() override { root = nullptr; }

  // A root that is not started.
  void build() { root = Zet::make<Brindle::MiraRoot>(inputs()); }
  void start() {
    if (!root) build();
    root->entityManagerIs(Zet::make<Quay::EntityManager>());
  }
  // Reviews and timers up to `seconds` from now.
  void run(double seconds = 0.5) { Zet::activityManager()->runFor(seconds); }

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

  Ptr<Brindle::Mira> mira(char const * vrf = "default") { return root->mira(vrf); }
  Brindle::Mroute * mroute(RouteKey const & k, char const * vrf = "default") {
    auto * t = tables->vrfMrouteTable(vrf);
    return t ? t->mroute(k) : nullptr;
  }
  U32 mroutes(char const * vrf = "default") {
    auto * t = tables->vrfMrouteTable(vrf);
    return t ? t->mroute().size() : 0;
  }
};

}  // namespace Tests
