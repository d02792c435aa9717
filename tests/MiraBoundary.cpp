// Drops at boundaries: from a record of denied traffic to the entries of the chips, and how they
// are kept current, give way, age and go.
#include "mira/MiraBoundarySm.h"
#include "tests/Switch.h"

namespace {

using namespace Tests;
using namespace Brindle;
using Bridging::VlanId;
using Nettle::IpGenAddr;

constexpr char const * S = "10.0.0.9";
constexpr char const * G = "239.1.1.1";

class MiraBoundary : public Switch {
 protected:
  MiraBoundary() {
    for (U32 vid : {10u, 20u, 30u}) {
      std::string const n = std::to_string(vid / 10);
      vlan(vid, "Ethernet" + n + " Ethernet" + n + "1");
    }
    start();
    root().boundaryFastdropStatusCollIs(coll);
    for (U32 vid : {10u, 20u, 30u}) bounded(vid);
    settle();
  }
  void TearDown() override {
    root().boundaryFastdropStatusCollIs(nullptr);
    Switch::TearDown();
  }
  // The interface of a VLAN denies 239.1.0.0/16.
  Zet::Ptr<BoundaryFastdrop::Fastdrop> bounded(U32 vid) {
    auto const fastdrop = coll->vrfStatusIs("default")->fastdropIs(intfOf(vid));
    fastdrop->denyPrefixTrieIs(Zet::make<Routing::TrieGen>("denied", Nettle::ipv4()));
    fastdrop->denyPrefixTrie()->routeIs(Nettle::Prefix("239.1.0.0/16"), true);
    return fastdrop;
  }
  static Nettle::IntfId intfOf(U32 vid) { return Nettle::IntfId::ofVlan(VlanId(vid)); }
  BoundaryFastdrop::Fastdrop & fastdrop(U32 vid) {
    return *coll->vrfStatus("default")->fastdrop(intfOf(vid));
  }
  void denied(U32 vid, std::string_view source = S, std::string_view group = G) {
    fastdrop(vid).groupIs(IpGenAddr(group))->sourceIs(IpGenAddr(source));
  }
  bool isRecorded(U32 vid, std::string_view source = S) {
    auto const * group = fastdrop(vid).group(IpGenAddr(G));
    return group && group->source(IpGenAddr(source));
  }
  MiraBoundarySm & boundary() { return *mira().miraBoundarySm(); }
  // What the platform does when packets were dropped.
  void polled(U32 vid, double when) {
    status->vrfStatus("default")->route(key(S, G))->fastdropLastPollTimeIs(
        Zet::String(intfOf(vid).view()), when);
  }

  Made<BoundaryFastdrop::StatusColl> coll;
};

TEST_F(MiraBoundary, ARecordIsADropWhereItsInterfaceIs) {
  denied(10);
  std::string const on10 = "(10.0.0.9, 239.1.1.1)@10 -> Ethernet1@10 Ethernet11@10";
  EXPECT_EQ(entries(), on10);
  denied(20);
  EXPECT_EQ(entries(), on10 + "; (10.0.0.9, 239.1.1.1)@20 -> Ethernet2@20 Ethernet21@20");
  EXPECT_EQ(routes().boundaryFastdropCount(), 2u);
  fastdrop(20).group(IpGenAddr(G))->sourceDel(IpGenAddr(S));
  EXPECT_EQ(entries(), on10);
  // A group that goes with its sources, an interface with its groups.
  fastdrop(10).groupDel(IpGenAddr(G));
  denied(20);
  denied(20, "10.0.0.8", "239.1.1.2");
  coll->vrfStatus("default")->fastdropDel(intfOf(20));
  EXPECT_EQ(entries(), "");
  EXPECT_TRUE(routes().boundaryMroute().empty());
  // An address that is no group is none.
  denied(10, S, "10.9.9.9");
  EXPECT_EQ(entries(), "");
}

TEST_F(MiraBoundary, RecordsComeAndGoAsAWhole) {
  denied(10);
  Zet::Ptr<BoundaryFastdrop::Status> const old(coll->vrfStatus("default"));
  coll->vrfStatusDel("default");
  EXPECT_EQ(entries(), "");
  old->fastdrop(intfOf(10))->group(IpGenAddr(G))->sourceIs(IpGenAddr("10.0.0.7"));
  EXPECT_EQ(entries(), "") << "nobody follows what is gone";
  bounded(20);
  denied(20);
  EXPECT_EQ(entries(), "(10.0.0.9, 239.1.1.1)@20 -> Ethernet2@20 Ethernet21@20");
  root().boundaryFastdropStatusCollIs(nullptr);
  EXPECT_EQ(entries(), "");
  root().boundaryFastdropStatusCollIs(coll);
  EXPECT_EQ(entries(), "(10.0.0.9, 239.1.1.1)@20 -> Ethernet2@20 Ethernet21@20");
}

TEST_F(MiraBoundary, SetsFollowTheSwitchInSlices) {
  for (U32 vid : {10u, 20u, 30u}) denied(vid);
  denied(20, "10.0.0.8");
  settle();
  boundary().reviewQuantumIs(-1);  // one VLAN a slice
  for (U32 vid : {10u, 20u, 30u}) block(vid, "Ethernet" + std::to_string(vid / 10));
  U32 const review = boundary().review();
  U32 slices = 0;
  for (; slices < 20; ++slices) {
    boundary().doReview();
    if (!boundary().reviewInProgress()) break;
    if (slices == 1) block(10, "Ethernet11");  // what changes meanwhile is seen, too
  }
  EXPECT_GE(slices, 4u);
  EXPECT_LT(slices, 20u);
  EXPECT_GT(boundary().review(), review);
  EXPECT_EQ(entries(),
            "(10.0.0.8, 239.1.1.1)@20 -> Ethernet21@20; (10.0.0.9, 239.1.1.1)@10 -> ; "
            "(10.0.0.9, 239.1.1.1)@20 -> Ethernet21@20; (10.0.0.9, 239.1.1.1)@30 -> Ethernet31@30");
  // By the marks alone, and where the walk stands goes meanwhile.
  mira().doMarkAllVlansDirty();
  boundary().doReview();
  auto const stood = boundary().currentBookmark();
  ASSERT_TRUE(boundary().reviewInProgress());
  fastdrop(20).group(stood.group().address())->sourceDel(stood.source().address());
  boundary().reviewQuantumIs(0.05);
  snoop(20);
  join(20, G, "Ethernet2");
  settle();
  EXPECT_EQ(entries().find("Ethernet21@20"), std::string::npos) << entries();
}

TEST_F(MiraBoundary, ADropMakesWayForARoute) {
  for (U32 vid : {10u, 20u, 30u}) denied(vid);
  publish(S, G, "Vlan10", "Vlan20:p Vlan30");
  settle();
  EXPECT_FALSE(routes().boundaryMroute(key(S, G))->fastdrop().contains(VlanId(10)));
  EXPECT_FALSE(routes().boundaryMroute(key(S, G))->fastdrop().contains(VlanId(20)));
  EXPECT_TRUE(routes().boundaryMroute(key(S, G))->fastdrop().contains(VlanId(30)));
  EXPECT_TRUE(isRecorded(10));
}

TEST_F(MiraBoundary, AnInterfaceWithoutAVlanIsKnownByItsLastOne) {
  denied(20);
  intfVlans->internalVlanIdIs(intf("Ethernet9"), VlanId(20));
  fastdrop(20).group(IpGenAddr(G))->sourceDel(IpGenAddr(S));
  EXPECT_EQ(entries(), "");
  // Where it goes, its drops go.
  Nettle::IntfId const port = intf("Ethernet8");
  intfVlans->internalVlanIdIs(port, VlanId(30));
  coll->vrfStatus("default")->fastdropIs(port)->groupIs(IpGenAddr(G))->sourceIs(IpGenAddr(S));
  intfVlans->internalVlanIdIs(port, VlanId(10));
  EXPECT_EQ(entries(), "(10.0.0.9, 239.1.1.1)@10 -> Ethernet1@10 Ethernet11@10");
}

TEST_F(MiraBoundary, IdleDropsAreForgotten) {
  for (U32 vid : {10u, 20u}) denied(vid);
  fastdrop(20).denyPrefixTrieIs(nullptr);
  double const now = clock->shown() + 170;
  polled(10, now - 359.4);
  polled(20, now - 359.5);
  clock->nowIs(now);
  boundary().fastdropPollReviewQuantumIs(-1);  // one VLAN a slice
  boundary().doReviewFastdropPollTime();
  boundary().doReviewFastdropPollTime();
  EXPECT_TRUE(isRecorded(10));
  EXPECT_EQ(entries(), "(10.0.0.9, 239.1.1.1)@10 -> Ethernet1@10 Ethernet11@10");
  EXPECT_FALSE(coll->vrfStatus("default")->fastdrop(intfOf(20))) << "nothing was left of it";
  // By itself the pass runs later: then the other one has gone, too, but its boundary stays.
  clock->nowIs(now + 10);
  EXPECT_EQ(entries(), "");
  EXPECT_FALSE(isRecorded(10));
  EXPECT_TRUE(fastdrop(10).denyPrefixTrie());
}

TEST_F(MiraBoundary, WithoutARouteStatusAllDropsGoAtOnce) {
  for (U32 vid : {10u, 20u}) denied(vid);
  status->vrfStatus("default")->routeDel(key(S, G));
  boundary().doReviewFastdropPollTime();
  EXPECT_EQ(entries(), "");
  EXPECT_TRUE(isRecorded(10));
}

TEST_F(MiraBoundary, TheOperatorClearsThem) {
  denied(10);
  vrfConfig->configIs("default")->clearFastdropInc(1);
  EXPECT_EQ(entries(), "");
}

TEST_F(MiraBoundary, WhatABoundaryDeniesIsNoRpfFailure) {
  publish("10.0.0.1", G, "Vlan10", "Vlan20");
  publish("10.0.0.1", "239.2.0.1", "Vlan10", "Vlan20");
  settle();
  auto const fail = [&](std::string_view group) {
    std::string bytes(14, '\0');
    for (U32 word : {IpGenAddr("10.0.0.1").v4(), IpGenAddr(group).v4(), 30u}) {
      for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(word >> shift);
    }
    mira().handleRpfFailure(bytes.data(), static_cast<U32>(bytes.size()));
  };
  fail(G);
  fail("239.2.0.1");
  EXPECT_EQ(mroute("10.0.0.1", G)->fastdropCount(), 0u);
  EXPECT_EQ(mroute("10.0.0.1", "239.2.0.1")->fastdropCount(), 1u);
}

}  // namespace
