// Replication groups that clients of the switch request, from the request to the response.
#include "groups/McastGroupProgrammer.h"
#include "mira/MiraHelper.h"
#include "tests/AsyncFixture.h"
#include "tests/MiraFixture.h"

namespace {

using Brindle::OutLif;
using Multicast::Group::Config;
using Multicast::Group::GroupKey;
using Multicast::Group::Request;

struct GroupRequests : AsyncFixture {
  GroupRequests() {
    chip("A");
    configDir->entityIs("client", clientDir);
    clientDir->entityIs("config", config);
    startService();
  }
  void startService() {
    service->mcastGroupProgrammerSmIs({.configDir = configDir,
                                       .status = mcastGroupStatus,
                                       .mrouteTable = coll,
                                       .asyncMrouteRootSm = programmer->rootSm(),
                                       .miraHelper = nullptr});
  }
  // Ports of a VLAN for group n.
  Zet::Ptr<Request> request(U32 n, U32 id, U32 vlan, Ports ports) {
    auto const all = config->requestIs(group(n));
    all->portVlanDelAll();
    for (U32 p : ports) all->portVlanIs({port(p), VlanIdOrNone(vlan)}, true);
    all->requestIdIs(id);
    return all;
  }
  static GroupKey group(U32 n) { return {1, n}; }
  Mroute * groupRoute(U32 n) {
    return table->mroute(Routing::Multicast::Fib::makeRouteKeyMcastGroup(group(n)));
  }
  // A new request is seen before its client has filled it: what is written then waits its turn.
  void done() {
    answer();
    recover(2);
  }
  // "request id, ok or failed" of what the client of a group is told last.
  std::string response(U32 n) {
    auto const * r = mcastGroupStatus->response(group(n));
    if (!r) return "none";
    return std::to_string(r->requestId()) + (r->success() ? " ok" : " failed");
  }

  Zet::Ptr<Zet::Dir> configDir = Zet::make<Zet::Dir>();
  Zet::Ptr<Zet::Dir> clientDir = Zet::make<Zet::Dir>();
  Zet::Ptr<Config> config = Zet::make<Config>();
  Zet::Ptr<Brindle::McastGroupProgrammer> service = Zet::make<Brindle::McastGroupProgrammer>();
};
using GroupRequestsDeathTest = GroupRequests;

}  // namespace

TEST_F(GroupRequests, FromTheRequestToTheResponse) {
  request(7, 41, 5, {1, 2});
  ASSERT_TRUE(groupRoute(7));
  EXPECT_EQ(groupRoute(7)->acceptingVlanId(), VlanIdOrNone(5));
  EXPECT_EQ(groupRoute(7)->oifSet()->portVlanSet().portVlans(), 2u);
  EXPECT_EQ(response(7), "none") << "nothing is decided";
  done();
  EXPECT_EQ(response(7), "41 ok");
  U32 const id = mcastGroupStatus->response(group(7))->multicastId();

  // Another set has the same number.
  request(7, 42, 5, {3});
  answer();
  EXPECT_EQ(response(7), "42 ok");
  EXPECT_EQ(mcastGroupStatus->response(group(7))->multicastId(), id);

  // A refusal is told, and the retry that helps.
  chip("A").failIn = 1;
  request(7, 43, 5, {4});
  EXPECT_EQ(response(7), "43 failed");
  EXPECT_EQ(mcastGroupStatus->response(group(7))->multicastId(), 0u);
  recover(2);
  EXPECT_EQ(response(7), "43 ok");

  config->requestDel(group(7));
  EXPECT_FALSE(groupRoute(7)) << "without a resolver nobody else would delete it";
  EXPECT_EQ(response(7), "none");
}

TEST_F(GroupRequests, WhatClientsAskForInTheirDirectories) {
  request(1, 1, 0, {})->toCpuIs(true);  // no members at all
  Zet::Ptr<Request> const tunnels = config->requestIs(group(2));
  tunnels->portVlanIs({port(1), OutLif(5000)}, true);
  tunnels->portVlanIs({port(2), OutLif(5001)}, true);
  tunnels->requestIdIs(9);
  done();
  EXPECT_EQ(response(1), "1 ok");
  EXPECT_EQ(response(2), "9 ok");
  EXPECT_FALSE(groupRoute(2)->acceptingVlanId());

  // What is no table of requests is passed by; what takes the place of one ends its requests, and
  // what is asked for in its stead is answered.
  clientDir->entityIs("ClientConfig", Zet::make<Zet::Dir>());
  configDir->entityIs("status", mcastGroupStatus);
  Zet::Ptr<Config> const another = Zet::make<Config>();
  another->requestIs(group(2))->requestIdIs(1);
  clientDir->entityIs("config", another);
  done();
  EXPECT_FALSE(groupRoute(1));
  EXPECT_EQ(response(1) + ", " + response(2), "none, 1 ok");

  // A group that is asked for in two tables stands until both have let go.
  config->requestIs(group(2))->requestIdIs(5);
  clientDir->entityIs("more", config);
  done();
  EXPECT_EQ(response(2), "5 ok");
  clientDir->entityDel("more");
  done();
  EXPECT_EQ(response(2), "1 ok");
  configDir->entityDel("client");
  EXPECT_FALSE(groupRoute(2));
}

namespace {

// A resolver decides of LAGs, and deletes what is wanted no more.
struct GroupsOfAResolver : Tests::MiraFixture {
  ~GroupsOfAResolver() override {
    service->mcastGroupProgrammerSmDel();
    programmer->rootSmDel();
  }
  void startAll(bool serviceFirst = false) {
    start();
    helper = Zet::make<Brindle::MiraHelper>(root.get());
    root->miraHelperIs(helper);
    programmer->rootSmIs({.clock = clock,
                          .fabric = fabric,
                          .mrouteTableColl = tables,
                          .mfib = status,
                          .intfVlanIdTable = intfVlans,
                          .reviewConfig = Zet::make<Brindle::MrouteReviewConfig>(),
                          .pimIntfStatus = pimIntf,
                          .mcastGroupStatus = responses});
    if (!serviceFirst) configure("default");
    service->mcastGroupProgrammerSmIs({.configDir = configDir,
                                       .status = responses,
                                       .mrouteTable = tables,
                                       .asyncMrouteRootSm = programmer->rootSm(),
                                       .miraHelper = helper});
    if (serviceFirst) configure("default");
  }
  Zet::Ptr<Request> request(U32 id, char const * member) {
    clientDir->entityIs("config", config);
    configDir->entityIs("client", clientDir);
    auto const all = config->requestIs(group);
    all->portVlanDelAll();
    all->portVlanIs({Nettle::IntfId(member), Tests::VlanIdOrNone(5)}, true);
    all->requestIdIs(id);
    return all;
  }
  std::string members() {
    Brindle::Mroute const * const route = mroute(key);
    return route && route->oifSet() ? route->oifSet()->portVlanSet().pretty() : "none";
  }

  GroupKey const group{1, 1};
  Routing::Multicast::Fib::IpGenRouteKey const key =
      Routing::Multicast::Fib::makeRouteKeyMcastGroup(group);
  Zet::Ptr<Brindle::MiraHelper> helper;
  Zet::Ptr<Brindle::AsyncFabric> fabric = Zet::make<Brindle::AsyncFabric>("fabric");
  Zet::Ptr<Brindle::AsyncMrouteProgrammer> programmer =
      Brindle::asyncMrouteProgrammerFactory("programmer");
  Zet::Ptr<Brindle::McastGroupProgrammer> service = Zet::make<Brindle::McastGroupProgrammer>();
  Zet::Ptr<Multicast::Group::Status> responses = Zet::make<Multicast::Group::Status>();
  Zet::Ptr<Zet::Dir> configDir = Zet::make<Zet::Dir>();
  Zet::Ptr<Zet::Dir> clientDir = Zet::make<Zet::Dir>();
  Zet::Ptr<Config> config = Zet::make<Config>();
};

}  // namespace

TEST_F(GroupsOfAResolver, LagsAreResolvedAsSoonAsTheTableIsThere) {
  auto const lag = lags->intfStatusIs(Nettle::IntfId("Port-Channel1"));
  lag->memberIs(Nettle::IntfId("Ethernet3"), true);
  lag->memberIs(Nettle::IntfId("Ethernet4"), true);
  request(1, "Port-Channel1");
  startAll(true);
  EXPECT_EQ(members(), "vlan 5: Et3 Et4") << "taken up while the VRF's resolver is being made";
  lag->memberIs(Nettle::IntfId("Ethernet4"), false);
  service->mcastGroupProgrammerSm()->updateGroupReplicationMode();
  EXPECT_EQ(members(), "vlan 5: Et3");
}

TEST_F(GroupsOfAResolver, TheReviewDeletesWhatIsWantedNoMoreAndPassesByTheRest) {
  startAll();
  auto const published = table("default");  // it reviews where there is something to resolve
  request(1, "Ethernet3");
  run();
  mira()->doMarkAllRoutesDirty();
  run();
  EXPECT_EQ(members(), "vlan 5: Et3");
  config->requestDel(group);
  EXPECT_TRUE(mroute(key)->markedForDeletion());
  // One that comes back before its route has gone keeps it.
  U32 const version = mroute(key)->version();
  request(1, "Ethernet3");
  EXPECT_FALSE(mroute(key)->markedForDeletion());
  EXPECT_GT(mroute(key)->version(), version);
  config->requestDel(group);
  run();
  EXPECT_FALSE(mroute(key));
}

TEST_F(GroupsOfAResolver, OutlivesTheResolver) {
  startAll();
  request(1, "Ethernet3");
  root = nullptr;
  request(2, "Ethernet4");
  EXPECT_EQ(members(), "vlan 5: Et4");
  config->requestDel(group);
  EXPECT_FALSE(mroute(key));
}

TEST_F(GroupRequests, TheVersionOfARouteIsNeverZero) {
  request(1, 1, 5, {1});
  groupRoute(1)->versionIs(0xffffffff);
  answer();
  request(1, 2, 5, {2});
  EXPECT_EQ(groupRoute(1)->version(), 1u);
}

TEST_F(GroupRequests, ARequestWaitsForTheTableAndOutlivesIt) {
  request(1, 1, 5, {1});
  done();
  coll->vrfMrouteTableDel("default");
  EXPECT_EQ(response(1), "none");
  request(2, 1, 5, {2});
  table = coll->vrfMrouteTableIs("default");
  done();
  EXPECT_EQ(response(1) + ", " + response(2), "1 ok, 1 ok");
}

TEST_F(GroupRequests, AServiceThatStartsLaterTellsWhatStands) {
  request(1, 1, 5, {1});
  done();
  service->mcastGroupProgrammerSmDel();
  mcastGroupStatus->responseDel(group(1));
  startService();
  EXPECT_EQ(response(1), "1 ok");
}

TEST_F(GroupRequestsDeathTest, MixedMembers) {
  auto const mixed = [&](Brindle::PortVlan const & other) {
    auto const all = config->requestIs(group(1));
    all->portVlanIs({port(1), VlanIdOrNone(5)}, true);
    all->portVlanIs(other, true);
    all->requestIdIs(1);
  };
  EXPECT_DEATH(mixed({port(2), VlanIdOrNone(6)}),
               "pvFirst.isOutLif\\(\\) \\|\\| \\( pvFirst.vlanId\\(\\) == pv.vlanId\\(\\) \\)");
  EXPECT_DEATH(mixed({port(2), OutLif(5000)}), "pvFirst.isOutLif\\(\\) == pv.isOutLif\\(\\)");
}
