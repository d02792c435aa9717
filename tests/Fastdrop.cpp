// RPF failures and fastdrops: from a message to the entry of a chip, and how that entry goes.
#include "state/PimIntf.h"
#include "tests/LogLines.h"
#include "tests/Switch.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using namespace Brindle;
using Bridging::VlanId;
using Shoal::Multicast::Fib::Route;

constexpr char const * S = "10.0.0.1";
constexpr char const * G = "239.1.1.1";

// The message of the kernel.
std::string message(std::string_view source, std::string_view group, U32 vlan) {
  std::string bytes(14, '\0');
  for (U32 word : {Nettle::IpGenAddr(source).v4(), Nettle::IpGenAddr(group).v4(), vlan}) {
    for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(word >> shift);
  }
  return bytes;
}

class Fastdrop : public Switch {
 protected:
  Fastdrop() {
    for (U32 vid : {10u, 20u, 30u, 40u, 50u}) vlan(vid, "Ethernet" + std::to_string(vid / 10));
    intfVlans->internalVlanIdIs(intf("Ethernet9"), VlanId(60));
    publish(S, G, "Vlan10", "Vlan20");
    settle();
    config = vrfConfig->configIs("default");
  }

  void fail(U32 vlan, U32 length = 26, std::string_view source = S, std::string_view group = G) {
    mira().handleRpfFailure(message(source, group, vlan).data(), length);
  }
  // The VLANs of a route that have a fastdrop.
  std::string drops(std::string_view source = S) {
    std::string out;
    for (auto const & f : mroute(source, G)->fastdrop().items()) {
      out += (out.empty() ? "" : " ") + std::to_string(f.key.value());
    }
    return out;
  }
  // Lets the clock run, as the loop does.
  void wait(double seconds) { clock->nowIs(clock->shown() + seconds); }
  Zet::Ptr<Routing::Multicast::Fib::Hardware::RouteStatus> routeStatus() {
    return status->vrfStatus("default")->route(key(S, G));
  }
  // What the platform does when packets were dropped.
  void polled(U32 vlan, double when) {
    routeStatus()->fastdropLastPollTimeIs(Zet::String("Vlan" + std::to_string(vlan)), when);
  }
  U16 published() { return status->vrfStatus("default")->fastdropCount(); }

  Zet::Ptr<Routing::Multicast::Fib::Config> config;
};

TEST_F(Fastdrop, AFailureBecomesADropInTheChipsAtOnce) {
  std::string const before = entries();
  U32 const computed = routes().recomputations();
  fail(30);
  EXPECT_EQ(entries(), before + "; (10.0.0.1, 239.1.1.1)@30 -> Ethernet3@30");
  EXPECT_EQ(published(), 1u);
  EXPECT_EQ(routes().recomputations(), computed + 1);
  for (int i = 0; i < 100; ++i) fail(30);
  EXPECT_EQ(routes().recomputations(), computed + 1) << "a flood computes nothing";
  EXPECT_EQ(mira().rpfFailureCount(), 101u);
  EXPECT_EQ(mroute(S, G)->rpfFailureCount().size(), 0u);
}

TEST_F(Fastdrop, AMalformedMessageIsCountedAndChangesNothing) {
  for (auto const & [vlan, length] : {std::pair(30u, 25u), {0u, 26u}, {4095u, 26u}, {4094u, 26u}}) {
    fail(vlan, length);
    EXPECT_EQ(routes().fastdropCount(), 0u) << vlan << ", " << length;
  }
  EXPECT_EQ(mira().rpfFailureCount(), 4u);
  EXPECT_EQ(mroute(S, G)->rpfFailureCount().size(), 0u);
  fail(30, 26);
  EXPECT_EQ(drops(), "30");
}

TEST_F(Fastdrop, AGroupThatIsNoneFindsNoRouteOfAnotherKind) {
  Key const request(Nettle::IpGenPrefix("10.0.0.1/32"), Nettle::IpGenPrefix("0.4.0.10/32"));
  ASSERT_EQ(request.kind(), Routing::Multicast::Fib::mcastGroup_);
  routes().mrouteIs(request);
  fail(30, 26, "10.0.0.1", "0.4.0.10");
  EXPECT_EQ(routes().fastdropCount(), 0u);
  routes().mrouteDel(request);
}

TEST_F(Fastdrop, TheLimitIsToldOnceEachWay) {
  LogLines log;
  config->maxFastdropsIs(2);
  for (U32 vlan : {30u, 40u, 50u}) fail(vlan);
  EXPECT_EQ(drops(), "30 40");
  mroute(S, G)->fastdropDel(VlanId(30));
  wait(60);
  EXPECT_EQ(log.lines,
            (std::vector<std::string>{
                "MROUTE_FASTDROP_LIMIT_EXCEEDED: This device has reached the software limit for "
                "fastdrop entries in VRF default",
                "MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED: This device is no longer at the "
                "software limit for fastdrop entriesin VRF default."}));
  config->clearFastdropInc(1);
}

TEST_F(Fastdrop, OneThatIsIdleForAlmostTwoPollsGoes) {
  for (auto const & [age, stays] : {std::pair(119.5, false), {119.375, true}, {0.0, true}}) {
    fail(30);
    double const poll = clock->shown() + 60;
    polled(30, poll - age);
    wait(60);
    EXPECT_EQ(drops(), stays ? "30" : "") << age;
    config->clearFastdropInc(1);
  }
}

TEST_F(Fastdrop, OneWhoseRouteNobodyKnowsGoesWithTheNextPoll) {
  fail(30);
  status->vrfStatus("default")->routeDel(key(S, G));
  wait(60);
  EXPECT_EQ(drops(), "");
  EXPECT_EQ(routes().fastdropMroute().size(), 0u);
  reviewAll();
}

TEST_F(Fastdrop, ABidirectionalRouteTakesFailuresUnlessThePlatformSaysNo) {
  struct No : MiraHelper {
    using MiraHelper::MiraHelper;
    bool useBidirFastdropRoute() const override { return false; }
  };
  Zet::Ptr<MiraHelper> const helper = Zet::make<No>(agent->mira().get());
  Route route = record("*", G, "", "Vlan20");
  route.iifIs(intf("Vlan10"));
  route.flagsIs(Route::installStarG);
  route.rpaIdIs(7);
  publish(route);
  settle();
  for (bool const unwanted : {true, false}) {
    agent->mira()->miraHelperIs(unwanted ? helper : nullptr);
    fail(30, 26, "10.9.9.9");
    EXPECT_EQ(mroute("*", G)->fastdropCount(), !unwanted);
  }
  EXPECT_EQ(thrown([&] { mira().handleRpfFailureWc(4095, Nettle::IpGenAddr(G)); }),
            "VlanId::value < 1 or > 4094 not allowed");
  EXPECT_DEATH(mira().handleRpfFailureWc(30, Nettle::IpGenAddr("ff0e::1")),
               "g.af\\(\\) == Nettle::ipv4\\(\\)");
}

TEST_F(Fastdrop, AnInterfaceTakesItsExemptionToItsNewVlan) {
  vrfConfig->intfConfigIs(intf("Ethernet9"))->noFastdropIs(true);
  agent->mira()->handleIntfConfig(intf("Ethernet9"));
  EXPECT_TRUE(mira().noFastdropVlan(VlanId(60)));
  intfVlans->internalVlanIdIs(intf("Ethernet9"), VlanId(61));
  EXPECT_FALSE(mira().noFastdropVlan(VlanId(60)));
  EXPECT_TRUE(mira().noFastdropVlan(VlanId(61)));
}

TEST_F(Fastdrop, ABatchIsCompleteUnlessAReviewWillSaySo) {
  status->batchEnabledIs(true);
  U32 const version = routes().mrouteBatchVersion();
  fail(30);
  EXPECT_EQ(routes().mrouteBatchVersion(), version + 1);
  mira().doKickReview();
  fail(40);
  EXPECT_EQ(routes().mrouteBatchVersion(), version + 1);
  settle();
  EXPECT_EQ(routes().mrouteBatchVersion(), version + 2);
  wait(60);
  EXPECT_EQ(routes().mrouteBatchVersion(), version + 3) << "a poll";
}

TEST_F(Fastdrop, AnExemptInterfaceIsOneInWhateverVrfItIs) {
  for (auto name : {"Vlan30", "Ethernet9"}) vrfConfig->intfConfigIs(intf(name))->noFastdropIs(true);
  auto const exempt = [&](std::string_view vrf) {
    return std::pair(mira(vrf).noFastdropVlan(VlanId(30)), mira(vrf).noFastdropVlan(VlanId(60)));
  };
  EXPECT_EQ(exempt("default"), std::pair(true, true));
  ip->ipIntfStatusIs(intf("Vlan30"))->vrfIs(L3::VrfName("red"));  // which comes later
  configure("red");
  table("pim.red");
  settle();
  ip->ipIntfStatusIs(intf("Ethernet9"))->vrfIs(L3::VrfName("red"));
  EXPECT_EQ(exempt("default"), std::pair(false, false));
  EXPECT_EQ(exempt("red"), std::pair(true, true));
}

}  // namespace
