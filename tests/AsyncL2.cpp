// L2 routes on chips that answer later, and the records that tell of them.
#include "tests/AsyncFixture.h"

namespace {

namespace Fib = Routing::Multicast::Fib;

struct AsyncL2 : AsyncFixture {
  std::string record(Key const & key) {
    auto const * set = sm().l2Status()->programmedSet(zet(key).mroute());
    if (!set) return "none";
    return std::string(Brindle::programmingStatusNames[static_cast<U32>(set->status)]) +
           (set->oifSet ? " set " : " - ") + std::to_string(set->hwFlags);
  }
  // One whose chips have no room, with the reason that they give.
  void refuseWith(U32 reason) {
    chip("A").failOifSetImmediateIs(true);
    chip("A").immediateOifSetFailureReasonIs({reason});
  }
};

struct Kind {
  Fib::IpGenRouteKey key;
  bool hasEntry;
  char const * pending;
  U32 noIntfs;  // the flags of each byte of a reason
  U32 noRoute;
  U32 noMac;
};
Bridging::VlanId const vlan5(5);
std::vector<Kind> kinds() {
  return {
      {Fib::makeRouteKeyVlanFloodset(vlan5), false, "inProgress set 0", 2, 0, 0},
      {Fib::makeRouteKeyMulticastFloodset(vlan5), false, "inProgress set 0", 2, 1, 0},
      {Fib::makeRouteKeyEthGroup(vlan5, Nettle::EthAddr("01:00:5e:00:00:01")), true,
       "inProgress - 0", 2, 0, 1},
      {Fib::makeRouteKeyMcastGroup({1, 7}), false, "inProgress - 0", 1, 0, 0},
      {Fib::makeRouteKeyVxlanCoreSideFloodset(vlan5), false, "inProgress set 0", 2, 0, 0},
      {Fib::makeRouteKeyEvpnMultihomeFloodset(vlan5, Nettle::IpGenAddr("10.9.9.9")), false,
       "inProgress - 0", 2, 0, 0},
  };
}

}  // namespace

TEST_F(AsyncL2, TheLifeOfARecordByKind) {
  chip("A");
  for (Kind const & kind : kinds()) {
    SCOPED_TRACE(kind.key.pretty());
    bool const isGroup = kind.key.kind() == Fib::mcastGroup_;
    MrouteTable & home = isGroup ? *table : *l2Table;
    Mroute & m = *home.mrouteIs(kind.key);
    publish(m, 5, {1, 2});
    EXPECT_EQ(record(kind.key), kind.pending);
    EXPECT_EQ(chip("A").inUseRouteHandle().size(), kind.hasEntry ? 1u : 0u);
    answer();
    EXPECT_EQ(record(kind.key), "programmed set 0");

    for (auto const & [reason, flags, port] : {std::tuple{0x1u, kind.noIntfs, 3u},
                                               {0x100u, kind.noRoute, 4u},
                                               {0x10000u, kind.noMac, 5u}}) {
      refuseWith(reason);
      publish(m, 5, {port});
      EXPECT_EQ(record(kind.key).substr(0, 13), "notProgrammed");
      EXPECT_EQ(record(kind.key).back(), static_cast<char>('0' + flags));
      EXPECT_TRUE(chip("A").inUseOifSet().empty());
      chip("A").failOifSetImmediateIs(false);
      recover(2);
      EXPECT_EQ(record(kind.key), "programmed set 0");
    }
    home.mrouteDel(kind.key);
    EXPECT_TRUE(sm().l2Status()->vlanStatus().empty());
    EXPECT_TRUE(sm().l2Status()->mcastGroupStatus().empty());
    takeLog();
  }
}

TEST_F(AsyncL2, ADefaultRouteWithAnEntryShowsItsSetWhenItWorks) {
  multicastFloodsetNeedsIngress = true;
  chip("A");
  Key const key = Fib::makeRouteKeyMulticastFloodset(vlan5);
  publish(*l2Table->mrouteIs(key), 5, {1});
  EXPECT_EQ(record(key), "inProgress - 0");
  answer();
  EXPECT_EQ(record(key), "programmed set 0");
  EXPECT_EQ(entries("A"), "L5@5:1");
}

TEST_F(AsyncL2, AVlanIsToldOfAsLongAsItHasAnything) {
  chip("A");
  publish(floodset(5), 5, {1});
  Key const group = Fib::makeRouteKeyEthGroup(vlan5, Nettle::EthAddr("01:00:5e:00:00:01"));
  publish(*l2Table->mrouteIs(group), 5, {2});
  answer();
  l2Table->mrouteDel(floodset(5).key());
  EXPECT_TRUE(sm().l2Status()->vlanStatus(vlan5));
  l2Table->mrouteDel(group);
  EXPECT_FALSE(sm().l2Status()->vlanStatus(vlan5));
}

TEST_F(AsyncL2, AGroupHasOneIdOnAllChipsAndKeepsIt) {
  chips({"A", "B"});
  Key const key = Fib::makeRouteKeyMcastGroup({1, 7});
  auto const response = mcastGroupStatus->responseIs({1, 7});
  response->multicastIdIs(77);
  response->successIs(true);
  Mroute & m = *table->mrouteIs(key);
  m.mcastGroupRequestIdIs(9);
  publish(m, 5, {1});
  answer();
  auto const * gs = sm().l2Status()->mcastGroupStatus(key);
  EXPECT_EQ(gs->multicastId(), 77u);
  EXPECT_TRUE(gs->success());
  EXPECT_EQ(gs->requestId(), 9u);
  EXPECT_EQ(gs->responseId(), 1u);
  publish(m, 5, {1, 2});
  answer();
  EXPECT_EQ(gs->multicastId(), 77u);
  EXPECT_EQ(gs->responseId(), 2u);

  chip("B").failIn = 1;
  publish(m, 5, {3});
  EXPECT_FALSE(gs->success());
  EXPECT_EQ(gs->multicastId(), 0u);
  EXPECT_EQ(gs->responseId(), 3u);
  recover(2);
  EXPECT_EQ(gs->multicastId(), 77u);
}

// Chips that have counted differently, and a group that comes to the members of another one.
TEST_F(AsyncL2, GroupsKeepTheirIdsWhateverChipsWouldGive) {
  chips({"A", "B"});
  chip("B").failIn = 1;
  publish(floodset(5), 5, {9});
  recover(2);
  Mroute & one = *table->mrouteIs(Fib::makeRouteKeyMcastGroup({1, 1}));
  Mroute & two = *table->mrouteIs(Fib::makeRouteKeyMcastGroup({1, 2}));
  publish(one, 5, {1});
  publish(two, 5, {2});
  answer();
  auto const idOf = [&](Mroute & m) {
    return sm().l2Status()->mcastGroupStatus(m.key())->multicastId();
  };
  U32 const first = idOf(one);
  EXPECT_NE(first, idOf(two));
  publish(one, 5, {2});
  answer();
  EXPECT_EQ(idOf(one), first);
}

TEST_F(AsyncL2, AFabricWithoutChipsHasNothingToDo) {
  publish(floodset(5), 5, {1});
  EXPECT_FALSE(zet(floodset(5).key()).inProgress());
  EXPECT_EQ(record(floodset(5).key()), "none");
}

// A route of a connected subnet tells those who wait for it.
TEST_F(AsyncL2, AConnectedSubnetIsProgrammedForItsInterface) {
  chip("A");
  Nettle::IpGenPrefix const subnet("10.1.0.0/24");
  pimIntfStatus->srcToIntfMapIs({subnet, "default"}, IntfId("Vlan10"));
  auto const info = pimIntfStatus->intfStatusIs(IntfId("Vlan10"))->routeIs(subnet);
  publish(*table->mrouteIs(Key(subnet, Nettle::IpGenPrefix("224.0.0.0/4"))), 10, {1});
  EXPECT_FALSE(info->programmed());
  answer();
  EXPECT_TRUE(info->programmed());
}
