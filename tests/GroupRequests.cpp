// Replication groups that clients of the switch request, from the request to the response.
#include "groups/McastGroupProgrammer.h"
#include "tests/AsyncFixture.h"

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

  // The response stands until hardware has let go.
  config->requestDel(group(7));
  EXPECT_TRUE(groupRoute(7)->markedForDeletion());
  EXPECT_EQ(response(7), "43 ok");
  table->mrouteDel(groupRoute(7)->key());
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

  // What is no table of requests is passed by; what takes the place of one ends its requests.
  clientDir->entityIs("ClientConfig", Zet::make<Zet::Dir>());
  configDir->entityIs("status", mcastGroupStatus);
  Zet::Ptr<Config> const another = Zet::make<Config>();
  another->requestIs(group(2))->requestIdIs(1);
  clientDir->entityIs("config", another);
  EXPECT_TRUE(groupRoute(1)->markedForDeletion());
  EXPECT_FALSE(groupRoute(2)->markedForDeletion());
  configDir->entityDel("client");
  EXPECT_TRUE(groupRoute(2)->markedForDeletion());

  // One that comes back before its route has gone keeps it.
  U32 const version = groupRoute(2)->version();
  configDir->entityIs("client", clientDir);
  EXPECT_FALSE(groupRoute(2)->markedForDeletion());
  EXPECT_GT(groupRoute(2)->version(), version);
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
