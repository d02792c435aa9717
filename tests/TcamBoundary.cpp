// Multicast boundaries in the TCAMs of chips: what is denied, where, and what a full chip does.
#include <algorithm>
#include <random>

#include "boundary/AsyncBoundarySm.h"
#include "boundary/BoundarySm.h"
#include "fabric/SimAsyncFabric.h"
#include "tests/Switch.h"

namespace {

using namespace Tests;
using namespace Brindle;
using Bridging::VlanId;
using Nettle::IpGenPrefix;

class TcamBoundary : public Switch {
 protected:
  TcamBoundary() {
    chips(2);
    routedPort(10);
    start();
    prefixes = nullptr;  // the subnets' own entries would stand beside these
    sm = boundarySmFactory({.mfibStatus = mfib,
                            .prefixMrouteStatus = pimIntf,
                            .fabric = fabric,
                            .clock = clock,
                            .intfVlanIdTable = intfVlans});
  }
  void TearDown() override {
    sm = nullptr;
    pimIntf->intfStatusDel(port());
    Switch::TearDown();
  }
  void routedPort(U32 vid) { intfVlans->internalVlanIdIs(port(), VlanId(vid)); }
  static Nettle::IntfId port() { return intf("Ethernet1"); }
  static Zet::Name portName() { return Zet::Name(port().view()); }
  void deny(std::string_view group, bool v = true) {
    mfib->intfBoundaryStatusIs(portName())->boundaryIs(IpGenPrefix(group), v);
  }
  void connected(std::string_view subnet) {
    pimIntf->intfStatusIs(port())->routeIs(IpGenPrefix(subnet));
  }
  void room(std::string_view chipName, U32 entries) {
    chip(chipName).routeTotalIs(entries);
    chip(chipName).boundaryTcamFreeIs(false);
    chip(chipName).boundaryTcamFreeIs(true);
    settle();
  }

  Made<Routing::Multicast::Fib::Status> mfib;
  Zet::Ptr<BoundarySm> sm;
};

TEST_F(TcamBoundary, DeniesGroupsFromEachConnectedSubnet) {
  connected("10.1.0.0/24");
  connected("10.2.0.0/24");
  deny("239.1.0.0/16");
  deny("239.2.0.0/16");
  std::string const four =
      "(10.1.0.0/24, 239.1.0.0/16)@10 -> no set; (10.1.0.0/24, 239.2.0.0/16)@10 -> no set; "
      "(10.2.0.0/24, 239.1.0.0/16)@10 -> no set; (10.2.0.0/24, 239.2.0.0/16)@10 -> no set";
  EXPECT_EQ(entries("chip0"), four);
  EXPECT_EQ(entries("chip1"), four);
  deny("239.1.0.0/16", false);
  pimIntf->intfStatus(port())->routeDel(IpGenPrefix("10.2.0.0/24"));
  EXPECT_EQ(entries(), "(10.1.0.0/24, 239.2.0.0/16)@10 -> no set");
  connected("10.3.0.0/24");
  EXPECT_EQ(entries(),
            "(10.1.0.0/24, 239.2.0.0/16)@10 -> no set; (10.3.0.0/24, 239.2.0.0/16)@10 -> no set");
  // Made anew it is narrowed all the same, and what goes with the record of its subnets goes.
  routedPort(20);
  EXPECT_EQ(entries(),
            "(10.1.0.0/24, 239.2.0.0/16)@20 -> no set; (10.3.0.0/24, 239.2.0.0/16)@20 -> no set");
  pimIntf->intfStatusDel(port());
  EXPECT_EQ(entries(), "");
  mfib->intfBoundaryStatusDel(portName());
}

TEST_F(TcamBoundary, WithoutKnownSubnetsFromAnywhere) {
  deny("239.1.0.0/16");
  deny("ff05::/16");  // no chip denies these
  std::string const all = "(*, 239.1.0.0/16)@10 -> no set";
  EXPECT_EQ(entries(), all);
  connected("10.1.0.0/24");
  EXPECT_EQ(entries(), all + "; (10.1.0.0/24, 239.1.0.0/16)@10 -> no set") << "that one stays";
  pimIntf->intfStatusDel(port());
  EXPECT_EQ(sm->intfSm(Zet::String("Ethernet1"))->prefixIntfStatus(), nullptr);
}

// Of subnets that are known, all combinations stand, whatever comes in whatever order.
TEST_F(TcamBoundary, TheEntriesAreTheProductWhateverHappened) {
  pimIntf->intfStatusIs(port());
  std::mt19937 random(62);
  auto const upTo = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int step = 0; step < 600; ++step) {
    std::string const n = std::to_string(upTo(3));
    U32 const what = upTo(12);
    if (what < 5) deny("239." + n + ".0.0/16", upTo(2));
    if (what == 5) mfib->intfBoundaryStatusDel(portName());
    if (what == 6) routedPort(10 + upTo(2));
    if (what == 7) intfVlans->internalVlanIdDel(port());
    if (what > 9) connected("10." + n + ".0.0/24");
    if (what == 9) pimIntf->intfStatus(port())->routeDel(IpGenPrefix("10." + n + ".0.0/24"));
    std::vector<std::string> expected;
    U32 const vid = intfVlans->intfIdToVlanId(port()).value();
    auto const * denied = mfib->intfBoundaryStatus(portName());
    for (auto & subnet : pimIntf->intfStatus(port())->route()) {
      if (!denied || vid == 0) break;
      for (auto const & group : denied->boundary().items()) {
        expected.push_back("(" + Zet::textOf(subnet.key()) + ", " + Zet::textOf(group) + ")@" +
                           std::to_string(vid) + " -> no set");
      }
    }
    std::sort(expected.begin(), expected.end());
    std::string text;
    for (auto const & line : expected) text += (text.empty() ? "" : "; ") + line;
    ASSERT_EQ(entries("chip0"), text) << step;
    ASSERT_EQ(entries("chip1"), text) << step;
  }
}

TEST_F(TcamBoundary, FollowsTheVlanOfItsInterface) {
  intfVlans->internalVlanIdDel(port());
  deny("239.1.0.0/16");
  EXPECT_EQ(entries(), "");
  routedPort(10);
  EXPECT_EQ(entries(), "(*, 239.1.0.0/16)@10 -> no set");
  routedPort(20);
  EXPECT_EQ(entries(), "(*, 239.1.0.0/16)@20 -> no set");
  // VLAN 20's own interface has it no longer, and gets it back.
  mfib->intfBoundaryStatusIs("Vlan20")->boundaryIs(IpGenPrefix("239.9.0.0/16"), true);
  EXPECT_EQ(entries(), "(*, 239.1.0.0/16)@20 -> no set");
  routedPort(30);
  EXPECT_EQ(entries(), "(*, 239.1.0.0/16)@30 -> no set; (*, 239.9.0.0/16)@20 -> no set");
}

TEST_F(TcamBoundary, AnEntryIsInAllChipsOrInNone) {
  chip("chip1").routeTotalIs(1);
  deny("239.1.0.0/16");
  deny("239.2.0.0/16");
  EXPECT_EQ(entries("chip0"), "(*, 239.1.0.0/16)@10 -> no set");
  EXPECT_EQ(sm->unprogrammedIntf().size(), 1u);
  // Its group is known, so that only its subnet brings it back.
  room("chip1", 100);
  EXPECT_TRUE(sm->unprogrammedIntf().empty());
  EXPECT_EQ(entries("chip1"), "(*, 239.1.0.0/16)@10 -> no set");
  connected("0.0.0.0/0");
  EXPECT_EQ(entries("chip1"), "(*, 239.1.0.0/16)@10 -> no set; (*, 239.2.0.0/16)@10 -> no set");
  // One that is noted for a group without anything is made good.
  deny("239.3.0.0/16");
  sm->unprogrammedIntfIs("nobody", true);
  room("chip0", 101);
  EXPECT_TRUE(sm->unprogrammedIntf().empty());
}

TEST_F(TcamBoundary, OnChipsThatAnswerLaterOneEntryAPrefix) {
  auto const async = simAsyncFabricFactory("async");
  auto const later = async->chipIs("later", 0, false);
  auto const boundary = asyncBoundarySmFactory(
      {.mfibStatus = mfib, .fabric = async, .clock = clock, .intfVlanIdTable = intfVlans});
  connected("10.1.0.0/24");
  deny("239.1.0.0/16");
  EXPECT_EQ(later->inUseRouteHandle().size(), 1u);
  routedPort(20);
  EXPECT_EQ(later->inUseRouteHandle().size(), 1u);
  EXPECT_EQ(boundary->intfSm(port())->vlanId(), 20u);
  // One that the chip had no room for is none, and is taken out all the same.
  later->maxRouteHandlesIs(1);
  deny("239.2.0.0/16");
  EXPECT_EQ(later->inUseRouteHandle().size(), 1u);
  boundary->unprogrammedIntfIs(port(), true);
  boundary->reviewTimer()->doUpdateNextReview();
  settle();
  EXPECT_TRUE(boundary->unprogrammedIntf().empty());
  deny("239.2.0.0/16", false);
  mfib->intfBoundaryStatusDel(portName());
  EXPECT_EQ(later->inUseRouteHandle().size(), 0u);
}

}  // namespace
