// The root of the resolver: which VRFs have a Mira, when routes are computed, what the RPF socket
// takes.
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <vector>

#include "mira/Agent.h"
#include "tests/MiraFixture.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using Vrf = char const *;

class MiraRoots : public MiraFixture {
 protected:
  // Two routes of a VRF, reviewed.
  void withRoutes(Vrf vrf) {
    configure(vrf);
    start();
    t = table(vrf);
    publish(vrf);
    run();
  }
  void publish(Vrf vrf) {
    for (auto const & k : {first, second}) {
      Route r(k);
      r.iifIs(routed(10, vrf));
      t->routeIs(r);
    }
  }
  Zet::Ptr<LocalTable> t;
  RouteKey const first = key("10.0.0.1/32", "224.1.1.1/32");
  RouteKey const second = key("10.0.0.2/32", "224.1.1.1/32");
};

}  // namespace

TEST_F(MiraRoots, AMiraNeedsAllInputsOfItsVrfTheDefaultOneTwo) {
  struct Need {
    Vrf name;
    bool ofDefault;
    std::function<void(Vrf)> add;
    std::function<void(Vrf)> remove;
  };
  std::array<Need, 4> const needs{{
      {"config", true, [&](Vrf v) { vrfConfig->configIs(v); },
       [&](Vrf v) { vrfConfig->configDel(v); }},
      {"routing info", true, [&](Vrf v) { routingInfoIs(v); },
       [&](Vrf v) { routingInfo->entityDel(v); }},
      {"existence", false, [&](Vrf v) { vrfs->vrfIs(v); }, [&](Vrf v) { vrfs->vrfDel(v); }},
      {"tables", false, [&](Vrf v) { root->shoalDir()->shoalCollIs(v); },
       [&](Vrf v) { root->shoalDir()->shoalCollDel(v); }},
  }};
  for (Vrf vrf : {"default", "red"}) {
    bool const isDefault = vrf == std::string("default");
    for (auto const & last : needs) {
      SCOPED_TRACE(std::string(vrf) + ", " + last.name + " last");
      root = nullptr;
      tables = Zet::make<Brindle::MrouteTableColl>();
      start();
      for (auto const & n : needs) {
        if (&n != &last) n.add(vrf);
      }
      EXPECT_EQ(static_cast<bool>(mira(vrf)), isDefault && !last.ofDefault);
      last.add(vrf);
      ASSERT_TRUE(mira(vrf));
      EXPECT_TRUE(tables->vrfMrouteTable(vrf)->dirtyInfo());
      EXPECT_TRUE(status->vrfStatus(vrf));
      // That of the default VRF never goes.
      for (auto const & n : needs) n.remove(vrf);
      EXPECT_EQ(static_cast<bool>(mira(vrf)), isDefault);
      EXPECT_EQ(tables->vrfMrouteTable(vrf) != nullptr, isDefault);
    }
  }
}

TEST_F(MiraRoots, InputsThatStandBeforeTheStartCountAndNothingHappensBeforeIt) {
  configure("default");
  configure("red");
  routingInfoIs(std::string(101, 'x').c_str());  // no name of a VRF
  build();
  table("red");
  EXPECT_EQ(root->mira().size(), 0u);
  start();
  EXPECT_EQ(root->mira().size(), 2u);
  root = nullptr;
  EXPECT_EQ(tables->vrfMrouteTable("red")->mroute().size(), 0u);

  auto in = inputs();
  in.ipStatus = nullptr;
  EXPECT_EQ(thrown([&] { Zet::make<Brindle::MiraRoot>(in); }),
            "null _ipStatus parameter to mutator for Brindle::MiraRoot::ipStatus not allowed");
}

TEST_F(MiraRoots, AVrfThatComesBackWhileItDrainsListensToTheNewRecords) {
  withRoutes("red");
  auto const survivor = mira("red");
  vrfs->vrfDel("red");
  vrfs->vrfIs("red");
  vrfConfig->configDel("red");
  vrfConfig->configIs("red")->routingIs(false);
  EXPECT_FALSE(survivor->l3Enabled());
  root->shoalDir()->shoalCollDel("red");
  vrfConfig->configIs("red")->routingIs(true);
  t = table("red");
  publish("red");
  run();
  EXPECT_EQ(mira("red"), survivor);
  EXPECT_EQ(mroutes("red"), 2u);
}

TEST_F(MiraRoots, RoutingIsOnWhereNobodyTellsOfIt) {
  configure("default");
  start();
  status->hwRoutingIs(false);
  EXPECT_FALSE(mira()->l3Enabled());
  routingInfo->entityIs("default", Zet::make<Zet::Dir>());
  EXPECT_TRUE(mira()->l3Enabled());
}

TEST_F(MiraRoots, TablesThatComeLateBringTheReviewThatPassedOverThem) {
  configure("default");
  start();
  run();
  EXPECT_FALSE(tables->vrfMrouteTable("default")->mroutesInitialized()) << "there are no tables";
  root->shoalDir()->shoalCollIs("default");
  run();
  EXPECT_TRUE(tables->vrfMrouteTable("default")->mroutesInitialized());
}

TEST_F(MiraRoots, AMiraKnowsItsBorderAndItsVlansFromTheBeginning) {
  mbr->intfIs(routed(10), true);
  mbr->intfIs(IntfId("Ethernet9"), true);
  intfVlans->internalVlanIdIs(IntfId("Ethernet9"), VlanIdOrNone(1009));
  configure("default");
  start();
  EXPECT_TRUE(mira()->mbrVlan(VlanIdOrNone(10)));
  EXPECT_TRUE(mira()->mbrVlan(VlanIdOrNone(1009)));
  EXPECT_TRUE(mira()->mrouteTable()->dirtyInfo()->allRoutesDirty());
  EXPECT_TRUE(mira()->mrouteTable()->dirtyInfo()->allVlansDirty());
  EXPECT_EQ(mira()->internalVlanId(IntfId("Ethernet9")), VlanIdOrNone(1009));
  run();
  mbr->intfDel(IntfId("Ethernet9"));
  EXPECT_EQ(mira()->mbrVlan().size(), 1u);
  EXPECT_TRUE(mira()->mrouteTable()->dirtyInfo()->allRoutesDirty());
}

TEST_F(MiraRoots, HardwareRoutingFollowsAllVrfs) {
  withRoutes("red");
  configure("default");
  auto const inDefault = table("default");
  EXPECT_TRUE(status->routingEnabled());
  vrfConfig->configIs("red")->routingIs(false);
  EXPECT_TRUE(status->routingEnabled());
  vrfConfig->configIs("default")->routingIs(false);
  EXPECT_FALSE(status->routingEnabled());
  EXPECT_EQ(status->waitForRoutingDisabledCnt(), 0u) << "the hardware routes still";
  vrfConfig->configIs("default")->routingIs(true);
  status->hwRoutingIs(false);
  EXPECT_FALSE(status->routingEnabled());
  EXPECT_EQ(status->waitForRoutingDisabledCnt(), 1u);
}

// The gate

namespace {

class NsfGate : public MiraRoots {
 protected:
  NsfGate() {
    configure("default");
    enabled->vrfIs("default", true);
  }
  void statusesIs() {
    build();
    root->mfibReadyStatusIs(mfib);
    root->staticMfibReadyStatusIs(fixed);
    root->bidirMfibReadyStatusIs(bidir);
    root->mcastEnabledStatusIs(enabled);
    root->mcastPimStatusIs(pim);
  }
  bool open() const { return root->nsfMiraEnabledForAllVrfs(); }
  using Ready = Routing::Multicast::Fib::ReadyStatus;
  Zet::Ptr<Ready> mfib = Zet::make<Ready>();
  Zet::Ptr<Ready> fixed = Zet::make<Ready>();
  Zet::Ptr<Ready> bidir = Zet::make<Ready>();
  Zet::Ptr<Routing::Multicast::Fib::VrfEnabledStatus> enabled =
      Zet::make<Routing::Multicast::Fib::VrfEnabledStatus>();
  Zet::Ptr<Routing::Multicast::Pim::Status> pim = Zet::make<Routing::Multicast::Pim::Status>();
};

}  // namespace

TEST_F(NsfGate, OpensAtOnceUnlessAllFiveStatusesStandBeforeTheStart) {
  build();
  root->mfibReadyStatusIs(mfib);
  root->staticMfibReadyStatusIs(fixed);
  root->bidirMfibReadyStatusIs(bidir);
  root->mcastEnabledStatusIs(enabled);
  start();
  EXPECT_TRUE(open());
  root->mcastPimStatusIs(pim);
  EXPECT_TRUE(open()) << "it never closes";
  EXPECT_TRUE(mira()->l3Enabled());
}

TEST_F(NsfGate, WaitsForEachProtocolOfEachVrfThatRunsIt) {
  enabled->vrfIs("red", true);
  pim->pimEnabledSparseModeVrfIs("default", true);
  pim->pimEnabledBidirVrfIs("red", true);
  statusesIs();
  start();
  t = table("default");
  publish("default");
  run();
  EXPECT_EQ(mroutes(), 0u);
  EXPECT_FALSE(tables->vrfMrouteTable("default")->mroutesInitialized());

  mfib->vrfReadyIs("default", true);
  bidir->vrfReadyIs("red", true);
  fixed->vrfReadyIs("red", true);
  EXPECT_FALSE(open()) << "static routes of the default VRF";
  fixed->vrfReadyIs("default", true);
  EXPECT_TRUE(open());
  EXPECT_EQ(root->nsfTimer(), Zet::Clock::never);
  run();
  EXPECT_EQ(mroutes(), 2u);
  fixed->vrfReadyDel("default");
  EXPECT_TRUE(open());
  configure("red");
  table("red");
  EXPECT_TRUE(mira("red")->nsfMiraEnabled()) << "a Mira that comes later";
}

TEST_F(NsfGate, IsLookedAtAgainWhenVrfsAndSparseModeMoveButNotForBidir) {
  pim->pimEnabledBidirVrfIs("default", true);
  fixed->vrfReadyIs("default", true);
  statusesIs();
  start();
  EXPECT_FALSE(open());
  pim->pimEnabledBidirVrfIs("default", false);
  EXPECT_FALSE(open()) << "nobody listens to that";
  pim->pimEnabledSparseModeVrfIs("blue", true);
  EXPECT_TRUE(open());
}

TEST_F(NsfGate, OpensAfter900SecondsWhoeverIsMissing) {
  statusesIs();
  start();
  EXPECT_EQ(root->nsfTimer(), 1900);
  run(899.9);
  EXPECT_FALSE(open());
  run(0.2);
  EXPECT_TRUE(open());
  EXPECT_TRUE(mira()->nsfMiraEnabled());
}

TEST_F(NsfGate, LetsTheReviewRunWithRoutingOff) {
  vrfConfig->configIs("default")->routingIs(false);
  statusesIs();
  start();
  run();
  fixed->vrfReadyIs("default", true);
  ASSERT_TRUE(open());
  run();
  EXPECT_TRUE(tables->vrfMrouteTable("default")->mroutesInitialized());
}

TEST_F(NsfGate, DeathOfAStatusWhileClosed) {
  statusesIs();
  start();
  ASSERT_FALSE(open());
  EXPECT_DEATH(
      root->mcastPimStatusIs(nullptr),
      "mcastEnabledStatus\\(\\) && mfibReadyStatus\\(\\) && staticMfibReadyStatus\\(\\) && "
      "bidirMfibReadyStatus\\(\\) && mcastPimStatus\\(\\)");
}

// The RPF socket

namespace {

class RpfSocket : public MiraRoots {
 protected:
  RpfSocket() {
    configure("default");
    configure("red");
    ::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds);
    start();
    table("red");
    routed(10);
    routed(20, "red");
    ip->ipIntfStatusIs(IntfId("Vlan30"));  // in no VRF
    for (unsigned v : {10u, 20u, 30u}) {
      intfVlans->internalVlanIdIs(IntfId("Vlan" + std::to_string(v)), VlanIdOrNone(v));
    }
    root->socketIs(fds[0]);
  }
  ~RpfSocket() override { ::close(fds[1]); }

  void send(U32 vlan, std::size_t length = 26) {
    std::vector<char> frame(length);
    for (std::size_t i = 22; i < 26 && i < length; ++i) {
      frame[i] = static_cast<char>(vlan >> 8 * (25 - i));
    }
    ASSERT_EQ(::send(fds[1], frame.data(), frame.size(), MSG_DONTWAIT),
              static_cast<ssize_t>(length));
  }
  U64 failures(Vrf vrf) { return mira(vrf)->rpfFailureCount(); }

  int fds[2];
};

}  // namespace

TEST_F(RpfSocket, MessagesReachTheMiraOfTheirVlansVrf) {
  send(10);
  send(20);
  send(20, 2048);
  send(30);    // an interface in no VRF
  send(4094);  // no interface
  Zet::activityManager()->runOnce(false);
  EXPECT_EQ(failures("default"), 3u);
  EXPECT_EQ(failures("red"), 2u);
  EXPECT_EQ(root->handleReadableCount(), 5u);
  EXPECT_EQ(root->handleReadableReviews(), 1u);
}

TEST_F(RpfSocket, MessagesWithoutAVlanAreDroppedAndNothingElseIs) {
  for (U32 vlan : {0u, 4095u, 65546u, 0xffffffffu}) send(vlan);
  send(10);
  // Bytes that are missing are not those of the message before.
  for (std::size_t length : {1u, 21u, 22u, 25u}) send(10, length);
  send(10);
  Zet::activityManager()->runOnce(false);
  EXPECT_EQ(failures("default"), 2u);
  EXPECT_EQ(root->handleReadableCount(), 2u);
}

TEST_F(RpfSocket, AStormIsCutIntoTurns) {
  int const size = 1 << 20;
  ::setsockopt(fds[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  unsigned sent = 0;
  std::array<char, 26> frame{};
  frame[25] = 10;
  while (sent < 120 && ::send(fds[1], frame.data(), frame.size(), MSG_DONTWAIT) > 0) ++sent;
  ASSERT_GT(sent, 100u);
  clock->readCostIs(root->fastdropLoopQuantum());
  Zet::activityManager()->runOnce(false);
  EXPECT_EQ(root->handleReadableCount(), 50u);
  Zet::activityManager()->runOnce(false);
  EXPECT_EQ(root->handleReadableCount(), 100u);
  clock->readCostIs(0);
  Zet::activityManager()->runOnce(false);
  EXPECT_EQ(failures("default"), sent);
}

TEST_F(RpfSocket, IsClosedWithTheRoot) {
  EXPECT_EQ(::send(fds[1], "x", 1, MSG_DONTWAIT), 1);
  root = nullptr;
  EXPECT_LT(::send(fds[1], "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 0);
}

TEST_F(RpfSocket, AReadThatFailsLeavesTheHandlerWithItsReason) {
  root->socketIs(-1);
  try {
    root->handleReadable();
    FAIL();
  } catch (Zet::ErrnoException const & e) {
    EXPECT_EQ(e.error(), EBADF);
    EXPECT_EQ(root->handleReadableReviews(), 1u);
  }
  ::close(fds[0]);
}

TEST_F(MiraRoots, TheAgentMakesRoutesWithoutAProtocol) {
  configure("default");
  auto agent = Zet::make<Brindle::Agent>("agent");
  auto in = inputs();
  root = agent->miraIs(in);
  start();
  EXPECT_EQ(agent->miraIs(in), root);
  in.l2Enabled = true;
  EXPECT_EQ(thrown([&] { agent->miraIs(in); }),
            "Reinstantiating the pointer interface where constructor parameter attribute "
            "_l2Enabled has a different value of True than the current value of False not allowed");
  EXPECT_EQ(mira()->fullName(), "/agent/mira/default");
  t = table("default");
  agent->doMakeShoalRoutes(0x102, 3, t);
  Route const made = t->route(key("1.2.3.4/32", "224.1.1.2/32"));
  EXPECT_EQ(made.iif(), IntfId("Vlan1"));
  std::vector<IntfId> outputs;
  for (Shoal::Multicast::Fib::RouteIntfIteratorConst i(made, t.get()); i; i.advance()) {
    outputs.push_back(i.intf());
  }
  EXPECT_EQ(outputs, (std::vector{IntfId("Vlan1"), IntfId("Vlan2"), IntfId("Vlan3")}));
  EXPECT_THROW(agent->intfOifIndexIs(IntfId("Vlan1"), {}), Zet::RangeException);
  auto const index = agent->intfOifIndex(IntfId("Vlan2"));
  EXPECT_EQ(agent->intfOifIndexDel(IntfId("Vlan2")), index);
  EXPECT_NE(agent->intfOifIndex(IntfId("Vlan2")), index);
  agent->miraDel();
  EXPECT_FALSE(agent->mira());
  agent = nullptr;
  EXPECT_EQ(mira()->fullName(), "/mira/default");
}
