// What chips that answer later refuse: the route leaves all of them and is tried again; failures
// are counted by kind and cause, and the operator hears of them once.
#include "tests/AsyncFixture.h"

namespace {

struct AsyncFailures : AsyncFixture {};

}  // namespace

TEST_F(AsyncFailures, TheOperatorHearsOfTheFirstAndTheLast) {
  chip("A").maxRouteHandlesIs(0);
  publish(1, 10, {1});
  answer();
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_FULL");
  EXPECT_TRUE(mfib->hwResourceFull());
  publish(2, 10, {1});
  EXPECT_EQ(sm().failureCounters()->failedMroutesHwOverflow(), 2u);
  del(1);
  EXPECT_EQ(takeLog(), "");
  chip("A").maxRouteHandlesIs(10);
  clock->nowIs(clock->shown() + 2);
  answer();
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL");
  EXPECT_FALSE(mfib->hwResourceFull());

  // Of a route without an input, too, of which only the notify entry fails.
  chip("A").maxRouteHandlesIs(0);
  with(notify, 4, 20, {3});
  publish(4, 0, {1});
  settle(3);
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_FULL");
  chip("A").maxRouteHandlesIs(10);
  settle(3);
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL");

  // A VRF that goes takes its failures with it.
  chip("A").maxRouteHandlesIs(0);
  coll->vrfMrouteTableIs("red");
  publish(*coll->vrfMrouteTable("red")->mrouteIs(key(3)), 10, {1});
  settle(2);
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_FULL");
  coll->vrfMrouteTableDel("red");
  EXPECT_EQ(takeLog(), "MROUTE_HW_RESOURCE_NORMAL");
  EXPECT_FALSE(mfib->hwResourceFull());
}

TEST_F(AsyncFailures, EachKindHasItsMessages) {
  namespace Fib = Routing::Multicast::Fib;
  struct Row {
    Key key;
    char const * begins;
    char const * ends;
  };
  VlanId const vlan(5);
  Row const rows[] = {
      {Fib::makeRouteKeyVlanFloodset(vlan), "ETH_VLAN_FLOODSET_FORWARDING_DISABLED",
       "ETH_VLAN_FLOODSET_FORWARDING_RESUMED"},
      {Fib::makeRouteKeyMulticastFloodset(vlan), "ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED",
       "ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED"},
      {Fib::makeRouteKeyVxlanCoreSideFloodset(vlan),
       "ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED",
       "ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED"},
      {Fib::makeRouteKeyEthGroup(vlan, Nettle::EthAddr("01:00:5e:00:00:01")),
       "IGMPSNOOPING_HW_RESOURCE_FULL", "IGMPSNOOPING_HW_RESOURCE_NORMAL"},
      {Fib::makeRouteKeyEvpnMultihomeFloodset(vlan, Nettle::IpGenAddr("10.9.9.9")), "", ""},
  };
  chip("A");
  for (U32 port = 1; Row const & row : rows) {
    chip("A").maxOifSetsIs(0);
    publish(*l2Table->mrouteIs(row.key), 5, {port++});
    EXPECT_EQ(takeLog(), row.begins) << row.key.pretty();
    EXPECT_EQ(zet(row.key).routeProgrammed(), Status::notProgrammed) << row.key.pretty();
    EXPECT_EQ(sm().failureCounters()->failed(), 1u) << row.key.pretty();
    chip("A").maxOifSetsIs(100);
    recover(2);
    EXPECT_EQ(takeLog(), row.ends) << row.key.pretty();
    EXPECT_EQ(zet(row.key).routeProgrammed(), Status::programmed) << row.key.pretty();
  }
}

TEST_F(AsyncFailures, CountersFollowReasons) {
  chip("A");
  publish(1, 10, {1});
  answer();
  Brindle::FailureCounters const & c = *sm().failureCounters();
  auto const counts = [&] {
    return std::to_string(c.failedMroutes()) + " hw " +
           std::to_string(c.failedMroutesHwOverflow()) + " blocked " +
           std::to_string(c.blockedRoutes()) + " timeout " + std::to_string(c.timeoutRoutes()) +
           " progress " + std::to_string(c.inProgressRoutes());
  };
  struct Row {
    U32 reason;
    char const * counts;
  };
  for (Row const & row :
       {Row{1, "1 hw 1 blocked 0 timeout 0 progress 0"},
        {Reason::blockedBit | Reason::inProgressBit, "1 hw 0 blocked 1 timeout 0 progress 0"},
        {Reason::timeoutBit | Reason::inProgressBit, "1 hw 0 blocked 0 timeout 1 progress 0"},
        {Reason::inProgressBit | 0x10000, "1 hw 1 blocked 0 timeout 0 progress 1"},
        {0, "0 hw 0 blocked 0 timeout 0 progress 0"}}) {
    zet(1).reasonIs({row.reason});
    EXPECT_EQ(counts(), row.counts);
  }
}
