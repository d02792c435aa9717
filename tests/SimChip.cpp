// The simulated chips: what is counted, what is told of it, and what ends the process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fabric/SimFabric.h"
#include "model/MrouteTableColl.h"
#include "tests/Thrown.h"

namespace {

using namespace Brindle;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using testing::ElementsAre;
using Tests::thrown;

Nettle::IntfId port(U32 n) { return Nettle::IntfId("Ethernet" + std::to_string(n)); }
VlanIdOrNone const vlan10(VlanId(10));
SwitchChip::RouteKey const someKey{Nettle::IpGenPrefix("10.0.0.1/32"),
                                   Nettle::IpGenPrefix("224.1.1.1/32")};

struct SimChip : testing::Test {
  SimChip() {
    for (U32 n = 1; n <= 4; ++n) chip->portIs(port(n), true);
    chip->pvTotalIs(4);
    chip->pvNumFreeIs(4);
    chip->routeTotalIs(2);
  }
  // A set over these ports; those above 4 are another chip's.
  Zet::Ptr<OifSet> set(std::initializer_list<U32> ports) {
    PortVlanSet members;
    for (U32 n : ports) members.portVlanIs({port(n), vlan10}, true);
    return coll->oifSetIs(members);
  }
  Zet::Ptr<MtableOifSet> allocateSet(std::initializer_list<U32> ports) {
    chip->doAllocateMtableOifSet(set(ports));
    Zet::Ptr<MtableOifSet> got = chip->mtableOifSet();
    chip->releasedIs(true);
    return got;
  }
  RouteHandle allocateRoute() {
    chip->doAllocateRoute(someKey, vlan10, false, nullptr, false, false, 0, "default");
    return chip->routeHandle();
  }

  Zet::Ptr<MrouteTableColl> coll = Zet::make<MrouteTableColl>();
  Zet::Ptr<SimFabric> fabric = simFabricFactory("fabric");
  Zet::Ptr<SimSwitchChip> chip = fabric->chipIs("chip0", 0);
};

}  // namespace

TEST_F(SimChip, SetsTakeASlotForEachLocalPortAndGiveThemBack) {
  auto three = allocateSet({1, 2, 3, 7});
  EXPECT_EQ(chip->pvNumFree(), 1u);
  EXPECT_EQ(allocateSet({1, 2}), nullptr);
  EXPECT_FALSE(chip->mtableFree());
  EXPECT_EQ(chip->pvNumFree(), 1u);

  chip->mtableFreeIs(true);
  auto last = allocateSet({4});
  EXPECT_TRUE(last);
  EXPECT_TRUE(chip->mtableFree());  // exactly full is not refused
  EXPECT_EQ(chip->pvNumFree(), 0u);

  EXPECT_EQ(allocateSet({4}), nullptr);
  auto foreign = allocateSet({7, 8});
  EXPECT_TRUE(foreign);
  foreign = nullptr;
  EXPECT_FALSE(chip->mtableFree());  // it freed nothing
  last = nullptr;
  EXPECT_TRUE(chip->mtableFree());
  three = nullptr;
  EXPECT_EQ(chip->pvNumFree(), 4u);
  EXPECT_TRUE(coll->oifSet().empty());
}

TEST_F(SimChip, ASetLivesAsLongAsTheChipARouteOrItsUserHoldsIt) {
  auto const shared = set({1});
  chip->doAllocateMtableOifSet(shared);
  auto const one = chip->mtableOifSet();
  chip->doAllocateMtableOifSet(shared);
  EXPECT_NE(chip->mtableOifSet(), one);  // no sharing
  chip->releasedIs(false);
  EXPECT_EQ(chip->pvNumFree(), 2u);
  chip->releasedIs(true);
  EXPECT_EQ(chip->pvNumFree(), 3u);

  RouteHandle const handle = allocateRoute();
  chip->doSetMtableOifSet(handle, allocateSet({2, 3}));
  EXPECT_EQ(chip->simRoute(handle)->simMtableOifSet()->oifSet(), set({2, 3}));
  EXPECT_EQ(chip->pvNumFree(), 1u);
  chip->doSetMtableOifSet(handle, mtableOifSetFactory());  // not one of its own
  EXPECT_EQ(chip->simRoute(handle)->simMtableOifSet(), nullptr);
  EXPECT_EQ(chip->pvNumFree(), 3u);

  fabric->chipDel("chip0");
  chip = nullptr;
  EXPECT_EQ(one->references(), 1u);  // outlives its chip
}

TEST_F(SimChip, OnlyTheRouteBeyondTheTableIsRefused) {
  RouteHandle const first = allocateRoute();
  RouteHandle const second = allocateRoute();
  EXPECT_EQ(first.value, 1u);
  EXPECT_EQ(chip->simRoute(second)->key(), (SimSwitchChip::SimRouteKey{someKey, vlan10}));
  EXPECT_TRUE(chip->mrouteTcamFree());
  EXPECT_TRUE(allocateRoute().isNull());
  EXPECT_FALSE(chip->mrouteTcamFree());
  EXPECT_FALSE(chip->boundaryTcamFree());

  chip->doDeleteRoute(first);  // never activated: a slot, but nobody is told
  EXPECT_FALSE(chip->mrouteTcamFree());
  chip->doActivateRoute(second);
  chip->doDeleteRoute(second);
  EXPECT_TRUE(chip->mrouteTcamFree());
  EXPECT_TRUE(chip->boundaryTcamFree());
  chip->doDeleteRoute(second);
  EXPECT_EQ(allocateRoute().value, 3u);  // handles are not reused
}

TEST_F(SimChip, ResetIsTheFirstStateAgain) {
  RouteHandle const handle = allocateRoute();
  chip->doSetMtableOifSet(handle, allocateSet({1, 2, 3, 4}));
  chip->doAllocateMtableOifSet(set({1}));
  allocateRoute();
  allocateRoute();
  chip->doReset();
  EXPECT_TRUE(chip->simRoute().empty());
  EXPECT_TRUE(chip->routeHandle().isNull());
  EXPECT_TRUE(chip->mtableFree() && chip->mrouteTcamFree() && chip->boundaryTcamFree());
}

TEST_F(SimChip, BrokenUseEndsTheProcess) {
  RouteHandle const handle = allocateRoute();
  chip->doActivateRoute(handle);
  EXPECT_DEATH(chip->doActivateRoute(handle), "sr && !sr->activated\\(\\)");
  EXPECT_DEATH(chip->doActivateRoute(RouteHandle{77}), "sr && !sr->activated\\(\\)");
  EXPECT_DEATH(chip->doSetMtableOifSet(RouteHandle{77}, nullptr), "assertion failed: sr");
  auto held = allocateSet({1});
  EXPECT_DEATH(chip->doReset(), "pvNumFree\\(\\) == pvTotal\\(\\)");
  EXPECT_DEATH(
      {
        chip->pvTotalIs(0);
        held = nullptr;
      },
      "pvNumFree\\(\\) \\+ simOifset->portCount\\(\\) <= pvTotal\\(\\)");
}

TEST(SwitchChip, OperationsThatAPlatformLeavesOutSayWhich) {
  auto chip = Zet::make<SwitchChip>("chip", 0);
  auto group = Zet::make<BidirGroupChip>("chip", 0);
  auto df = Zet::make<BidirDfChip>("chip", 0);
  using Missing = Zet::NoImplementationException;
  EXPECT_EQ(thrown<Missing>([&] { chip->doActivateRoute({}); }),
            "doActivateRoute must be implemented in the derived class");
  EXPECT_EQ(thrown<Missing>([&] { group->doDelBidirGroup({}); }),
            "doDelBidirGroup must be implemented in the derived class");
  EXPECT_EQ(thrown<Missing>([&] { df->doVerifyDfProfile(vlan10, 0); }),
            "doVerifyDfProfile must be implemented in the derived class");
}

TEST(Fabric, TellsOfItsChipsAndRefusesWhatItCannotHold) {
  struct Spy : Fabric::Notifiee {
    explicit Spy(Fabric const * f) { notifierIs(f); }
    void onChip(Zet::Name const & n) override { seen.push_back("chip " + std::string(n)); }
    void onBidirDfChip(Zet::Name const & n) override { seen.push_back("df " + std::string(n)); }
    std::vector<std::string> seen;
  };
  auto fabric = simFabricFactory("fabric");
  auto spy = Zet::make<Spy>(fabric.get());
  auto chip = fabric->chipIs("a", 15);
  EXPECT_EQ(fabric->chipIs("a", 15), chip);
  fabric->chipIs("b", 1);
  fabric->bidirDfChipIs(Zet::make<BidirDfChip>("d", 0));
  fabric->chipNotify("b");
  EXPECT_EQ(fabric->Fabric::chip("a"), chip.get());

  EXPECT_EQ(thrown([&] { fabric->Fabric::chipIs(nullptr); }),
            "null _chip parameter to mutator for Brindle::Fabric::chip not allowed");
  EXPECT_EQ(thrown([&] { fabric->bidirDfChipIs(nullptr); }),
            "null _bidirDfChip parameter to mutator for Brindle::Fabric::bidirDfChip not allowed");
  EXPECT_EQ(
      thrown([&] { fabric->chipIs("a", 3); }),
      "Reinstantiating the entity with fullName /fabric/a where constructor parameter "
      "attribute 'index' has a different value of 3 than the current value of 15 not allowed");
  auto const another = Zet::make<SwitchChip>("a", 15);
  EXPECT_EQ(thrown<Zet::NameInUseException>([&] { fabric->Fabric::chipIs(another); }),
            "name 'a' is in use");
  EXPECT_EQ(thrown([&] { fabric->chipIs("c", 16); }), "SwitchChipBase::index > 15 not allowed");

  fabric->chipDel("a");
  fabric->chipDel("a");
  EXPECT_EQ(fabric->chip("a"), nullptr);
  EXPECT_EQ(chip->fullName(), "/a");
  fabric->chipDelAll();
  EXPECT_THAT(spy->seen, ElementsAre("chip a", "chip b", "df d", "chip b", "chip a", "chip b"));
  spy->detach();
}
