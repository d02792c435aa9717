// The simulated chip that answers later: sharing, limits, the order of results, and what ends the
// process; and that nothing is left out of a chip that a platform derives.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "fabric/SimAsyncFabric.h"
#include "model/MrouteTableColl.h"
#include "tests/Thrown.h"

namespace {

using namespace Brindle;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Keel::XactResult;
using testing::HasSubstr;
using Tests::thrown;

VlanIdOrNone const vlan10(VlanId(10));
AsyncSwitchChip::RouteKey const someKey{Nettle::IpGenPrefix("10.0.0.1/32"),
                                        Nettle::IpGenPrefix("224.1.1.1/32")};

struct AsyncSimChip : testing::Test {
  struct Allocated {
    Zet::Ptr<MtableOifSet> set;
    AsyncSwitchChip::XactPtr xact;
  };
  Zet::Ptr<OifSet> members(U32 port) {
    PortVlanSet set;
    set.portVlanIs({Nettle::IntfId("Ethernet" + std::to_string(port)), vlan10}, true);
    set.saveHash();
    return coll->oifSetIs(set);
  }
  Allocated allocateSet(U32 port, U32 preset = 0) {
    Allocated out;
    out.xact = chip->doAllocateMtableOifSet({someKey, vlan10, "default"}, members(port), nullptr,
                                            preset, false);
    out.set = chip->mtableOifSet();
    chip->mtableOifSetIs(nullptr);
    return out;
  }
  RouteHandle allocateRoute() {
    chip->doAllocateRoute(someKey, vlan10, false, 0, "default", false);
    return chip->routeHandle();
  }
  U32 reason() const { return chip->mrouteFailureReason().value; }

  Zet::Ptr<MrouteTableColl> coll = Zet::make<MrouteTableColl>();
  Zet::Ptr<SimAsyncFabric> fabric = simAsyncFabricFactory("fabric");
  Zet::Ptr<SimAsyncSwitchChip> chip = fabric->chipIs("chip0", 0, false);
};
using AsyncSimChipDeathTest = AsyncSimChip;

}  // namespace

TEST_F(AsyncSimChip, EqualSetsAreSharedPastEveryLimitAndFault) {
  auto const first = allocateSet(1);
  chip->failOifSetImmediateIs(true);
  chip->maxOifSetsIs(0);
  auto const second = allocateSet(1);
  EXPECT_EQ(second.set, first.set);
  EXPECT_EQ(second.xact, first.xact);
  EXPECT_EQ(chip->doGetOifSet(first.set), members(1));
  EXPECT_FALSE(allocateSet(2).xact);
  EXPECT_EQ(reason(), 8u);
  chip->failOifSetImmediateIs(false);
  EXPECT_FALSE(allocateSet(2).xact);  // no room
  chip->maxOifSetsIs(2);
  EXPECT_EQ(chip->doGetMulticastId(allocateSet(2, 99).set), 99u);
}

TEST_F(AsyncSimChip, AnEntryIsPointedAtASetAfterTheSetHasSucceeded) {
  auto const set = allocateSet(1);
  RouteHandle const handle = allocateRoute();
  auto const xact = chip->doSetMtableOifSet(handle, set.set, set.xact);
  EXPECT_FALSE(chip->doSetIngressXactResult(1, XactResult::success));
  EXPECT_EQ(xact->result(), XactResult::outstanding);
  chip->doSetAllIngressXacts(XactResult::success, true);
  EXPECT_EQ(xact->result(), XactResult::outstanding);
  EXPECT_TRUE(chip->doSetOifSetXactResult(1, XactResult::success));
  chip->doSetAllIngressXacts(XactResult::success, false);
  EXPECT_EQ(xact->result(), XactResult::success);
  EXPECT_EQ(xact->statusVersion(), 1u);

  // The entry's transaction is opened again for another set; a failure needs no finished set.
  auto const other = allocateSet(2);
  EXPECT_EQ(chip->doSetMtableOifSet(handle, other.set, other.xact), xact);
  EXPECT_EQ(xact->result(), XactResult::outstanding);
  EXPECT_EQ(chip->blockedIngressXact({1})->blockedXacts(), 0u);
  EXPECT_TRUE(chip->doSetIngressXactResult(1, XactResult::failure));
  EXPECT_EQ(xact->result(), XactResult::failure);
  EXPECT_FALSE(chip->doSetIngressXactResult(2, XactResult::failure));
  EXPECT_FALSE(chip->doSetOifSetXactResult(3, XactResult::success));
  chip->doDeleteRoute(handle);
  EXPECT_TRUE(chip->ingressXact().empty());
}

TEST_F(AsyncSimChip, LimitsRefuseOrTurnSuccessIntoFailure) {
  auto const set = allocateSet(1);
  chip->maxOifSetsIs(1);
  chip->doSetAllOifSetXacts(XactResult::success);
  EXPECT_EQ(set.xact->result(), XactResult::failure);

  chip->maxRouteHandlesIs(1);
  RouteHandle const handle = allocateRoute();
  EXPECT_TRUE(allocateRoute().isNull());
  EXPECT_EQ(reason(), 256u);
  chip->maxIngressSetsIs(0);
  EXPECT_FALSE(chip->doSetMtableOifSet(handle, set.set, set.xact));
  chip->maxIngressSetsIs(1);
  auto const ingress = chip->doSetMtableOifSet(handle, set.set, set.xact);
  chip->maxOifSetsIs(2);
  chip->doSetOifSetXactResult(1, XactResult::success);
  chip->doSetIngressXactResult(1, XactResult::success);
  EXPECT_EQ(ingress->result(), XactResult::failure);
  chip->failIngressImmediateIs(true);
  EXPECT_FALSE(chip->doSetMtableOifSet(handle, set.set, set.xact));
  chip->doDeleteRoute(handle);
}

TEST_F(AsyncSimChip, IdsAreNotUsedAgainAndAChipMayGoBeforeItsSets) {
  RouteHandle const first = allocateRoute();
  chip->doDeleteRoute(first);
  EXPECT_EQ(allocateRoute().value, first.value + 1);
  allocateSet(1);
  EXPECT_TRUE(chip->inUseOifSet().empty());
  auto const kept = allocateSet(1);
  EXPECT_EQ(kept.xact->id(), 2u);
  EXPECT_THAT(thrown([&] { fabric->chipIs("chip0", 1, false); }), HasSubstr("'index'"));
  EXPECT_THAT(thrown([&] { fabric->chipIs("chip0", 0, true); }),
              HasSubstr("'multicastFloodsetNeedsIngress' has a different value of True than the "
                        "current value of False not allowed"));
  fabric->chipDel("chip0");
  chip = nullptr;
}

TEST_F(AsyncSimChipDeathTest, WhatWouldLeaveAnEntryWithoutItsSet) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto set = allocateSet(1);
  RouteHandle const handle = allocateRoute();
  EXPECT_DEATH(chip->doSetMtableOifSet(handle, set.set, nullptr), "blockingXact");
  EXPECT_DEATH(chip->doSetMtableOifSet({99}, set.set, set.xact), "SimRouteHandle\\(\\)");
  chip->doSetMtableOifSet(handle, set.set, set.xact);
  EXPECT_DEATH(set.set = nullptr, "blockedXacts\\(\\) == 0");
  EXPECT_DEATH(chip->needIngressProgramming(Routing::Multicast::Fib::evpnMultihomeFloodset_), "0");
  chip->doDeleteRoute(handle);
}

TEST(AsyncChips, WhatAPlatformDoesNotSupplyThrows) {
  auto const chip = Zet::make<AsyncSwitchChip>("c", 0u);
  auto const df = Zet::make<AsyncBidirDfChip>("d", 0u);
  using Fib = Routing::Multicast::Fib::RouteKeyType;
  auto const refused = [](auto const & call) {
    return thrown<Zet::NoImplementationException>(call);
  };
  std::vector<std::string> const texts = {
      refused([&] { chip->doAllocateMtableOifSet({}, nullptr, nullptr, 0, false); }),
      refused([&] { chip->doAllocateRoute({}, {}, false, 0, {}, false); }),
      refused([&] { chip->doSetMtableOifSet({}, nullptr, nullptr); }),
      refused([&] { chip->doDeleteRoute({}); }),
      refused([&] { chip->doSetBridgeAction({}, false); }),
      refused([&] { chip->doActivateRoute({}); }),
      refused([&] { chip->doGetOifSet(nullptr); }),
      refused([&] { chip->doGetMulticastId(nullptr); }),
      refused([&] { chip->needIngressProgramming(Fib::mroute_); }),
      refused([&] { chip->doGetOifSetXactFailureReason(nullptr); }),
      refused([&] { chip->doGetIngressXactFailureReason(nullptr); }),
      refused([&] { df->doAddDfProfile({}, {}, nullptr); }),
      refused([&] { df->doDelDfProfile({}); }),
      refused([&] { df->doVerifyDfProfile({}, {}); }),
      refused([&] { df->doGetBidirDfXactFailureReason(nullptr); }),
  };
  for (std::string const & text : texts) {
    EXPECT_THAT(text, HasSubstr("must be implemented in the derived class"));
  }
  EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), texts.size());
  EXPECT_EQ((BidirDfFailureReason{1 | 8 | 64}).pretty(),
            " BidirDfHwFull BlockedTemporarily InProgress");
}
