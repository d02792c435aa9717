// What operators are shown of the programmer for chips that answer later, and the proof that what
// it has published agrees with what it believes.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "programmer/ProgrammerCommandRequest.h"
#include "programmer/Verification.h"
#include "tests/AsyncFixture.h"

namespace {

namespace Fib = Routing::Multicast::Fib;
using Brindle::StatusToPrint;
using Nettle::EthAddr;

EthAddr const groupOne("01:00:5e:00:00:01");
EthAddr const groupTwo("01:00:5e:00:00:02");

struct ShowCommands : AsyncFixture {
  using Request = Brindle::ProgrammerCommandRequest;

  Request const & request() {
    if (!request_) request_ = Zet::make<Request>(programmer->rootSm());
    return *request_;
  }
  // What a command writes.
  template <class F> std::string shown(F command) {
    int const fd = memfd_create("shown", 0);
    command(static_cast<U32>(fd));
    std::string text(4096, '\0');
    text.resize(static_cast<size_t>(pread(fd, text.data(), text.size(), 0)));
    ::close(fd);
    return text;
  }
  std::string vlans(U32 vlan, StatusToPrint filter) {
    return shown([&](U32 fd) { request().doPrintVlans(fd, VlanIdOrNone(vlan), filter); });
  }
  std::string defaultRoutes(U32 vlan, StatusToPrint filter) {
    return shown(
        [&](U32 fd) { request().doPrintVlanMulticastFloodsets(fd, VlanIdOrNone(vlan), filter); });
  }
  std::string groups(U32 vlan, EthAddr group, StatusToPrint filter) {
    return shown(
        [&](U32 fd) { request().doPrintEthGroups(fd, VlanIdOrNone(vlan), group, filter); });
  }
  // A VLAN's floodset, with the CPU, of one port in two VLANs and another port.
  void floodsetOf(U32 vlan) {
    Brindle::PortVlanSet members;
    members.portVlanIs({port(2), VlanIdOrNone(vlan)}, true);
    members.portVlanIs({port(2), VlanIdOrNone(vlan + 1)}, true);
    members.portVlanIs({port(10), VlanIdOrNone(vlan)}, true);
    members.toCpuIs(true);
    members.saveHash();
    Mroute & m = floodset(vlan);
    m.acceptingVlanIdIs(VlanIdOrNone(vlan));
    m.oifSetIs(coll->oifSetIs(members));
    publish(m);
  }

 private:
  Zet::Ptr<Request> request_;
};

}  // namespace

TEST_F(ShowCommands, RowsByStatus) {
  using enum StatusToPrint;
  EXPECT_EQ(vlans(0, printProgrammed), "no vlan floodsets\n");
  EXPECT_EQ(vlans(0, printSummary), "");
  EXPECT_EQ(defaultRoutes(0, printAllGroups), "no default route\n");
  EXPECT_EQ(groups(0, EthAddr(), printAllGroups), "00:00:00:00:00:00 \n");
  EXPECT_EQ(groups(0, EthAddr(), printSummary), "");

  chip("A");
  floodsetOf(5);
  EXPECT_EQ(vlans(5, printProgrammed), "no vlan floodsets\n");
  EXPECT_EQ(vlans(5, printNotProgrammed), "Vlan 5: Cpu,Et2,Et10\n");
  answer();
  EXPECT_EQ(vlans(5, printProgrammed), "Vlan 5: Cpu,Et2,Et10\n");
  EXPECT_EQ(vlans(6, printAllGroups), "no vlan floodsets\n");
  EXPECT_EQ(vlans(0, printSummary), "");
  // The VLAN stands, and has no default route.
  EXPECT_EQ(defaultRoutes(0, printAllGroups), "Vlan 5: \n");

  publish(*l2Table->mrouteIs(Fib::makeRouteKeyEthGroup(VlanId(5), groupOne)), 5, {1});
  answer();
  chip("A").failIn = 1;
  publish(*l2Table->mrouteIs(Fib::makeRouteKeyEthGroup(VlanId(5), groupTwo)), 5, {2});
  EXPECT_EQ(groups(0, EthAddr(), printAllGroups), "01:00:5e:00:00:01 Et1\n01:00:5e:00:00:02 \n");
  EXPECT_EQ(groups(5, EthAddr(), printNotProgrammed), "01:00:5e:00:00:02 \n");
  EXPECT_EQ(groups(5, groupOne, printProgrammed), "01:00:5e:00:00:01 Et1\n");
  // It is there, though it is not shown.
  EXPECT_EQ(groups(5, groupTwo, printProgrammed), "");
  EXPECT_EQ(groups(5, EthAddr("01:00:5e:00:00:09"), printAllGroups), "00:00:00:00:00:00 \n");
}

TEST_F(ShowCommands, FailedRoutesOfAllVrfs) {
  chip("A").maxRouteHandlesIs(0);
  publish(1, 10, {1});
  std::string const reason = zet(1).reason().pretty();
  std::string const row = zet(1).key().pretty() + ":" + std::string(50 - reason.size(), ' ');
  EXPECT_THAT(shown([&](U32 fd) { request().doPrintFailedGroups(fd); }),
              testing::EndsWith(row + reason + "\n"));
}

TEST_F(ShowCommands, AnyDescriptorWillDo) {
  chip("A");
  std::string all;
  for (U32 vlan = 1; vlan < 90; ++vlan) floodsetOf(vlan);
  answer();
  auto const command = [&](U32 fd) {
    request().doPrintVlans(fd, VlanIdOrNone(), StatusToPrint::printAllGroups);
  };
  all = shown(command);

  // One that takes a few bytes at a time.
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
  int const least = 1;
  setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
  std::string got;
  std::thread reader([&] {
    char bytes[7];
    fcntl(ends[1], F_SETFL, 0);
    for (ssize_t n; (n = ::read(ends[1], bytes, sizeof bytes)) > 0;) {
      got.append(bytes, static_cast<size_t>(n));
    }
  });
  command(static_cast<U32>(ends[0]));
  ::close(ends[0]);
  reader.join();
  ::close(ends[1]);
  EXPECT_EQ(got, all);

  // One that nobody reads from, and one that is closed.
  ASSERT_EQ(pipe(ends), 0);
  ::close(ends[0]);
  command(static_cast<U32>(ends[1]));
  ::close(ends[1]);
  command(static_cast<U32>(ends[1]));
  programmer->rootSmDel();
  EXPECT_EQ(shown(command), "") << "a programmer that has stopped";
  start();
}

namespace {

struct Verification : AsyncFixture {
  // The number of entries that a route is to have, or -1 if there is nothing to check.
  int verify(Key const & key) {
    auto const handles = Zet::make<Brindle::RouteHandleCollection>();
    bool const any = sm().doVerify(key, *handles);
    return any ? static_cast<int>(handles->routeHandle().size()) : -1;
  }
  int verify(U32 n) { return verify(key(n)); }
};
using VerificationDeathTest = Verification;

std::vector<Fib::IpGenRouteKey> l2Keys() {
  Bridging::VlanId const vlan(5);
  return {Fib::makeRouteKeyVlanFloodset(vlan), Fib::makeRouteKeyMulticastFloodset(vlan),
          Fib::makeRouteKeyEthGroup(vlan, groupOne), Fib::makeRouteKeyVxlanCoreSideFloodset(vlan),
          Fib::makeRouteKeyEvpnMultihomeFloodset(vlan, Nettle::IpGenAddr("10.9.9.9"))};
}

}  // namespace

TEST_F(Verification, WhatARouteIsToHaveInEachState) {
  chip("A");
  publish(1, 0, {1});
  EXPECT_EQ(verify(1), -1) << "without an input";
  route(1).notifyingVlanIdIs(VlanIdOrNone(20));
  route(1).notifyOifSetIs(set({3}));
  route(1).frrVlanIdIs(VlanIdOrNone(40));
  route(1).frrOifSetIs(set({3}));
  route(1).fastdropIs(VlanId(30), set({4}));
  publish(1, 10, {1});
  EXPECT_EQ(verify(1), 4) << "in progress";
  answer();
  EXPECT_EQ(verify(1), 4);
  publish(1, 11, {1});
  EXPECT_EQ(verify(1), 5) << "the old entry goes with the confirmation of the new one";
  publish(1, 11, {2});
  EXPECT_EQ(verify(1), 5) << "and the next change waits";
  answer();
  recover(2);
  EXPECT_EQ(verify(1), 4);

  chip("A").maxRouteHandlesIs(0);
  publish(1, 12, {1});
  EXPECT_EQ(verify(1), -1) << "failed";
  chip("A").maxRouteHandlesIs(10);
  recover(2);

  reviewConfig->reviewFreqIs(Brindle::mrouteReviewDisabled);
  publish(1, 10, {1});
  publish(2, 10, {1});
  EXPECT_EQ(verify(1), 4) << "blocked";
  EXPECT_EQ(verify(2), -1);
  reviewConfig->reviewFreqIs(Brindle::mrouteReviewEnabled);
  recover(2);
  EXPECT_EQ(verify(2), 1);
}

TEST_F(Verification, ADirtyRouteThatIsNotProgrammedWaitsForTheResolver) {
  chip("A");
  table->dirtyInfoIs(Zet::make<Brindle::DirtyInfo>());
  route(1).acceptingVlanIdIs(VlanIdOrNone(10));
  route(1).dirtyIs(true);
  EXPECT_EQ(verify(1), -1);
}

TEST_F(Verification, L2RoutesThroughTheirLives) {
  chip("A");
  for (Key const & key : l2Keys()) {
    SCOPED_TRACE(key.pretty());
    publish(*l2Table->mrouteIs(key), 5, {1, 2});
    verify(key);
    answer();
    EXPECT_EQ(verify(key), 1);
    chip("A").failIn = 1;
    publish(*l2Table->mrouteIs(key), 5, {3});
    EXPECT_EQ(verify(key), -1);
    recover(2);
    EXPECT_EQ(verify(key), 1);
  }
}

TEST_F(VerificationDeathTest, ARecordThatSaysSomethingElse) {
  chip("A");
  char const * const texts[][2] = {
      {"vs->vlanFloodsetStatus\\(\\) == status",
       "vs->vlanFloodsetOifSet\\(\\) == oifSet.ptr\\(\\)"},
      {"vs->defaultRouteStatus\\(\\) == status",
       "vs->defaultRouteOifSet\\(\\) == oifSet.ptr\\(\\)"},
      {"eg->status\\(\\) == status", "eg->oifSet\\(\\) == oifSet.ptr\\(\\)"},
      {"vs->vxlanCoreSideFloodsetStatus\\(\\) == status",
       "vs->vxlanCoreSideFloodsetOifSet\\(\\) == oifSet.ptr\\(\\)"},
      {"evpnFs->status\\(\\) == status", "evpnFs->oifSet\\(\\) == oifSet.ptr\\(\\)"},
  };
  for (auto const * text = texts; Key const & key : l2Keys()) {
    publish(*l2Table->mrouteIs(key), 5, {1});
    answer();
    Brindle::ProgrammedSet & record = *sm().l2Status()->programmedSet(zet(key).mroute());
    Brindle::ProgrammedSet const right = record;
    record.status = Status::notProgrammed;
    EXPECT_DEATH(verify(key), (*text)[0]);
    record = right;
    record.oifSet = set({7});
    EXPECT_DEATH(verify(key), (*text++)[1]);
    record = right;
  }
  chip("A").failIn = 1;
  Key const vlan = l2Keys()[0];
  publish(*l2Table->mrouteIs(vlan), 5, {3});
  sm().l2Status()->programmedSet(zet(vlan).mroute())->hwFlags = 0;
  EXPECT_DEATH(verify(vlan), "vs->vlanFloodsetHwFlags\\(\\).noOifSet\\(\\)");
}
