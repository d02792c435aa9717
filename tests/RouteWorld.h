// Route tables that are filled by hand, and what a programmer publishes of them: what the fixtures
// of both programmers share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "model/MrouteTableColl.h"
#include "platform/ActivityManager.h"
#include "platform/Log.h"
#include "state/HardwareStatus.h"
#include "state/IntfVlanId.h"

class RouteWorld : public testing::Test, Zet::LogSink {
 public:
  using VlanId = Bridging::VlanId;
  using VlanIdOrNone = Bridging::VlanIdOrNone;
  using IntfId = Nettle::IntfId;
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using Mroute = Brindle::Mroute;
  using MrouteTable = Brindle::MrouteTable;
  using OifSet = Zet::Ptr<Brindle::OifSet>;
  using Ports = std::initializer_list<U32>;
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;

  RouteWorld() {
    Zet::activityManager()->clockIs(clock);
    Zet::LogHandle::sinkIs(this);
    for (U16 vlan = 1; vlan < 100; ++vlan) {
      intfVlanIdTable->internalVlanIdIs(IntfId::ofVlan(VlanId(vlan)), VlanIdOrNone(vlan));
    }
    table = coll->vrfMrouteTableIs("default");
    l2Table = coll->l2FloodsetTableIs("default");
  }
  ~RouteWorld() override {
    Zet::LogHandle::sinkIs(nullptr);
    Zet::activityManager()->clockIs(nullptr);
  }
  void settle(double seconds = 100) { clock->nowIs(clock->shown() + seconds); }

  // Routes: (10.0.0.1, 225.0.0.n)
  static Key key(U32 n) { return Key(Nettle::IpGenPrefix("10.0.0.1/32"), group(n)); }
  static Nettle::IpGenPrefix group(U32 n) {
    return Nettle::IpGenPrefix("225.0.0." + std::to_string(n) + "/32");
  }
  static IntfId port(U32 n) { return IntfId("Ethernet" + std::to_string(n)); }
  OifSet set(Ports ports) {
    Brindle::PortVlanSet members;
    for (U32 n : ports) members.portVlanIs({port(n), VlanIdOrNone(99)}, true);
    members.saveHash();
    return coll->oifSetIs(members);
  }
  Mroute & route(U32 n) { return *table->mrouteIs(key(n)); }
  Mroute & floodset(U32 vlan) {
    return *l2Table->mrouteIs(Routing::Multicast::Fib::makeRouteKeyVlanFloodset(VlanId(vlan)));
  }
  // Sets the route's input and outputs and tells the programmer.
  Mroute & publish(U32 n, U32 vlan, Ports ports) { return publish(route(n), vlan, ports); }
  Mroute & publish(Mroute & m, U32 vlan, Ports ports) {
    m.acceptingVlanIdIs(VlanIdOrNone(vlan));
    m.oifSetIs(set(ports));
    return publish(m);
  }
  Mroute & publish(Mroute & m) {
    m.versionIs(m.version() + 1);
    return m;
  }
  void del(U32 n) { table->mrouteDel(key(n)); }

  // A kind of entries beside a route's own, and a route that wants one.
  struct Side {
    void (Mroute::*vlanIs)(VlanIdOrNone);
    void (Mroute::*setIs)(OifSet const &);
  };
  static constexpr Side notify{&Mroute::notifyingVlanIdIs, &Mroute::notifyOifSetIs};
  static constexpr Side persistent{&Mroute::staticFastdropVlanIdIs,
                                   &Mroute::staticFastdropOifSetIs};
  static constexpr Side frr{&Mroute::frrVlanIdIs, &Mroute::frrOifSetIs};
  Mroute & with(Side const & side, U32 n, U32 vlan, Ports ports) {
    Mroute & m = route(n);
    (m.*side.vlanIs)(VlanIdOrNone(vlan));
    (m.*side.setIs)(set(ports));
    return m;
  }

  // What the programmer has said and done since the last time.
  std::string takeCalls() {
    std::string text = joined(calls, ", ");
    calls.clear();
    return text;
  }
  std::string takeLog() {
    std::string text = joined(logged);
    logged.clear();
    return text;
  }
  RouteStatus * status(U32 n) { return mfib->vrfStatus("default")->route(key(n)); }
  static std::string joined(std::vector<std::string> const & parts, char const * between = " ") {
    std::string text;
    for (auto const & p : parts) text += (text.empty() ? "" : between) + p;
    return text;
  }

  // The number of a route of key(), or "L<vlan>" of an L2 route.
  static std::string nameOf(Key const & sg) {
    bool const isL2 = sg.kind() != Routing::Multicast::Fib::mroute_;
    return isL2 ? "L" + std::to_string(sg.vlanId().value())
                : std::to_string(sg.group().address().v4() & 0xff);
  }

  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(1000);
  Zet::Ptr<Brindle::MrouteTableColl> coll = Zet::make<Brindle::MrouteTableColl>();
  Zet::Ptr<MrouteTable> table;
  Zet::Ptr<MrouteTable> l2Table;
  Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> mfib =
      Zet::make<Routing::Multicast::Fib::Hardware::Status>();
  Zet::Ptr<IntfVlanId::Table> intfVlanIdTable = Zet::make<IntfVlanId::Table>();
  std::vector<std::string> calls;
  std::vector<std::string> logged;

 private:
  void onLog(Zet::LogHandle const & handle, std::string_view) override {
    logged.emplace_back(handle.name().view());
  }
};
