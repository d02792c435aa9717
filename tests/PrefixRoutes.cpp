// Connected subnets: put into all chips or none ahead of the (*,G) routes that wait for them, and
// taken out with the last such route.
#include <algorithm>

#include "tests/FaultyChip.h"
#include "tests/LogLines.h"
#include "tests/Switch.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using Brindle::PrefixMrouteSm;

class PrefixRoutes : public Switch {
 protected:
  PrefixRoutes() {
    vlan(10, "Ethernet1");
    vlan(20, "Ethernet2");
    vlan(30, "Ethernet3");
  }

  // The subnets in a chip, "10.1.0.0/24@10 ...".
  std::string subnets(std::string_view chipName = "chip0") {
    std::vector<std::string> out;
    for (auto & entry : chip(chipName).simRoute()) {
      auto const & k = entry.key();
      if (k.sg.group() != Nettle::IpGenPrefix("224.0.0.0/4")) continue;
      EXPECT_TRUE(entry.activated());
      out.push_back(Zet::textOf(k.sg.source()) + "@" + std::to_string(k.vlanId.value()));
    }
    std::sort(out.begin(), out.end());
    std::string text;
    for (auto const & one : out) text += (text.empty() ? "" : " ") + one;
    return text;
  }
  auto * tracked(std::string_view name) { return pimIntf->intfStatus(intf(name)); }
  // Room for so many entries, announced.
  void room(std::string_view chipName, U32 entries) {
    chip(chipName).routeTotalIs(entries);
    chip(chipName).mrouteTcamFreeIs(true);
    chip(chipName).boundaryTcamFreeIs(true);
    settle();
  }
};

}  // namespace

TEST_F(PrefixRoutes, AStarRouteWaitsUntilItsSubnetsStandInEveryChip) {
  LogLines log;
  chips(2);
  address("Vlan10", "10.1.0.1/24");
  secondary("Vlan20", "10.2.0.1/24");
  chip("chip1").routeTotalIs(1);
  publishStar("239.1.1.1", "Vlan10", "Vlan30", "Vlan20");
  settle();
  EXPECT_EQ(outputs("*", "239.1.1.1"), "-");
  EXPECT_EQ(chip("chip1").nextRoute(), 1u) << "without room nothing is tried";
  room("chip1", 100);
  EXPECT_EQ(outputs("*", "239.1.1.1"), "Ethernet3@30");
  ASSERT_EQ(log.lines.size(), 2u);
  EXPECT_EQ(log.lines[0].substr(0, 31), "PREFIX_MROUTE_HW_RESOURCE_FULL:");
  EXPECT_EQ(log.lines[1].substr(0, 33), "PREFIX_MROUTE_HW_RESOURCE_NORMAL:");
}

TEST_F(PrefixRoutes, TwoAddressesOfOneSubnetAreOneAndGoWithTheFirstThatGoes) {
  publishStar("239.1.1.1", "Vlan10", "Vlan30");
  for (auto const * one : {"10.2.0.1/30", "10.2.0.2/30"}) secondary("Vlan10", one);
  settle();
  EXPECT_EQ(subnets(), "10.2.0.0/30@10");
  secondary("Vlan10", "10.2.0.1/30", false);
  settle();
  EXPECT_EQ(subnets(), "");
  EXPECT_TRUE(mroute("*", "239.1.1.1"));
  // Without an address the interface is tracked on, but the next route waits for one again.
  secondary("Vlan10", "10.2.0.2/30", false);
  withdraw("*", "239.1.1.1");
  settle();
  publishStar("239.1.1.1", "Vlan10", "Vlan30");
  EXPECT_FALSE(mroute("*", "239.1.1.1"));
  address("Vlan10", "10.1.0.1/24");
  EXPECT_TRUE(mroute("*", "239.1.1.1"));
}

TEST_F(PrefixRoutes, RetriesAskOnceAndEndAtTheFirstThatFails) {
  auto const faulty = Zet::make<FaultyChip>("chip9", 9u);
  faulty->routeTotalIs(100);
  fabric->chipIs(faulty);
  faulty->refuseRoutes = true;
  address("Vlan10", "10.1.0.1/24");
  for (U32 n : {1u, 2u, 3u}) secondary("Vlan10", "10.1." + std::to_string(n) + ".1/24");
  publishStar("239.1.1.1", "Vlan10", "");
  settle();
  EXPECT_EQ(prefixes->unprogrammedRoute().size(), 4u);
  std::vector<std::string> calls;
  faulty->calls = &calls;
  for (bool const free : {true, false, true}) faulty->boundaryTcamFreeIs(free);
  EXPECT_EQ(calls.size(), 0u) << "nothing is tried inside the chip's word";
  settle();
  EXPECT_EQ(calls.size(), 2u) << "once for its word, once for taking it back";
  // What is wanted no more leaves at its turn.
  secondary("Vlan10", "10.1.2.1/24", false);
  EXPECT_EQ(prefixes->unprogrammedRoute().size(), 4u);
  faulty->calls = nullptr;
  faulty->roomIs();
  settle();
  EXPECT_EQ(subnets("chip9"), "10.1.0.0/24@10 10.1.1.0/24@10 10.1.3.0/24@10");
  EXPECT_EQ(prefixes->unprogrammedRoute().size(), 0u);
}

TEST_F(PrefixRoutes, AnInternalVlanThatChangesMovesTheEntriesAndLeavesTheInterfaceUnready) {
  Nettle::IntfId const port = intf("Ethernet7");
  intfVlans->internalVlanIdIs(port, Bridging::VlanIdOrNone(1006));
  ip->ipIntfStatusIs(port)->vrfIs("default");
  address("Ethernet7", "10.7.0.1/24");
  publishStar("239.1.1.1", "Ethernet7", "Vlan30");
  settle();
  EXPECT_EQ(subnets(), "10.7.0.0/24@1006");
  for (U32 vid : {0u, 1007u, 1008u}) {
    intfVlans->internalVlanIdIs(port, Bridging::VlanIdOrNone(vid));
    EXPECT_EQ(subnets(), "10.7.0.0/24@" + std::to_string(vid));
  }
  // Each word of a subnet was counted: there are more than subnets until the last route has gone.
  publishStar("239.1.1.2", "Ethernet7", "Vlan30");
  settle();
  EXPECT_FALSE(mroute("*", "239.1.1.2"));
  withdraw("*", "239.1.1.1");
  withdraw("*", "239.1.1.2");
  EXPECT_EQ(subnets(), "");
  publishStar("239.1.1.2", "Ethernet7", "Vlan30");
  EXPECT_TRUE(mroute("*", "239.1.1.2"));
}

TEST_F(PrefixRoutes, SubnetsGoWithTheirVrfAndComeBackWithIt) {
  configure("red");
  vlan(40, "Ethernet4", "red");
  vlan(50, "Ethernet5", "red");
  address("Vlan40", "10.1.0.1/24");
  chip().routeTotalIs(0);
  publishStar("239.1.1.1", "Vlan40", "Vlan50", "", "pim.red");
  settle();
  vrfs->vrfDel("red");
  settle();
  EXPECT_FALSE(tracked("Vlan40"));
  room("chip0", 100);
  vrfs->vrfIs("red");
  settle();
  EXPECT_EQ(subnets(), "10.1.0.0/24@40");
  EXPECT_EQ(outputs("*", "239.1.1.1", "red"), "Ethernet5@50");
  // An interface that moves takes them along.
  table("pim.default");
  ip->ipIntfStatusIs(intf("Vlan40"))->vrfIs("default");
  settle();
  EXPECT_FALSE(mroute("10.1.0.0/24", "224.0.0.0/4", "red"));
  EXPECT_EQ(iifVlan("10.1.0.0/24", "224.0.0.0/4"), 40u);
}

TEST_F(PrefixRoutes, WhatAProgrammerHeldCountsNoMoreWhenItIsReplaced) {
  using Status = Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus;
  address("Vlan10", "10.1.0.1/24");
  secondary("Vlan10", "10.2.0.1/24");
  publishStar("239.1.1.1", "Vlan10", "");
  ASSERT_TRUE(tracked("Vlan10")->routesProgrammed());
  enum { gone, empty, full };
  for (auto const how : {empty, full, gone, empty}) {
    SCOPED_TRACE(how);
    auto const slice = Zet::make<Status>(Zet::Name("prefixes"));
    auto fill = [&] {
      for (auto i = tracked("Vlan10")->route().begin(); i; i.advance()) {
        slice->routeIs({i.key(), intf("Vlan10")}, true);
      }
    };
    if (how == gone) prefixStatus->entityDel(slice->name());
    if (how == full) fill();
    prefixStatus->entityIs(slice->name(), slice);
    EXPECT_EQ(tracked("Vlan10")->routesProgrammed(), how == full);
    fill();
    EXPECT_TRUE(tracked("Vlan10")->routesProgrammed());
  }
}

TEST_F(PrefixRoutes, AProgrammerThatComesLaterFindsWhatStandsAndLosesNothing) {
  address("Vlan10", "10.1.0.1/24");
  publishStar("239.1.1.1", "Vlan10", "");
  auto const second = Brindle::simFabricFactory("second");
  second->chipIs("late", 0)->routeTotalIs(9);
  auto const published =
      Zet::make<Routing::Multicast::Fib::PimIntf::PrefixMrouteStatus>(Zet::Name("late"));
  auto const late = Brindle::prefixMrouteSmFactory({.mfibStatus = pimIntf,
                                                    .fabric = second,
                                                    .clock = clock,
                                                    .intfVlanIdTable = intfVlans,
                                                    .prefixMrouteStatus = published});
  EXPECT_EQ(second->chip("late")->simRoute().size(), 1u);
  EXPECT_EQ(published->route().size(), 1u);
  EXPECT_EQ(Zet::valueToStrep(late->mrouteInfo().begin().key()),
            "Value('Brindle::PrefixMrouteSm::PrefixIntfKey', ** "
            "{'prefix': '10.1.0.0/24', 'intfId': 'Vlan10'})");
  EXPECT_THROW(late->chipIs(nullptr), Zet::RangeException);
  withdraw("*", "239.1.1.1");
  EXPECT_EQ(second->chip("late")->simRoute().size(), 0u);
  EXPECT_EQ(published->route().size(), 0u);
}
