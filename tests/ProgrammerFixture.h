// A synchronous programmer on chips that can fail, with route tables that are filled by hand.
//
// Whatever a scenario does, at its end its routes are deleted, and then no chip may hold an entry,
// a set or a slot any more, and no entry may ever have pointed at a set that had gone.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "fabric/SimFabric.h"
#include "model/MrouteTableColl.h"
#include "platform/ActivityManager.h"
#include "platform/Log.h"
#include "programmer/MrouteProgrammer.h"
#include "tests/FaultyChip.h"

class ProgrammerFixture : public testing::Test, Zet::LogSink {
 public:
  using VlanId = Bridging::VlanId;
  using VlanIdOrNone = Bridging::VlanIdOrNone;
  using IntfId = Nettle::IntfId;
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using Mroute = Brindle::Mroute;
  using BoundaryMroute = Brindle::BoundaryMroute;
  using MrouteTable = Brindle::MrouteTable;
  using MrouteSm = Brindle::MrouteSm;
  using OifSet = Zet::Ptr<Brindle::OifSet>;
  using Ports = std::initializer_list<U32>;
  using RouteStatus = Routing::Multicast::Fib::Hardware::RouteStatus;

  ProgrammerFixture() {
    Zet::activityManager()->clockIs(clock);
    Zet::LogHandle::sinkIs(this);
    for (U16 vlan = 1; vlan < 100; ++vlan) {
      intfVlanIdTable->internalVlanIdIs(IntfId::ofVlan(VlanId(vlan)), VlanIdOrNone(vlan));
    }
    table = coll->vrfMrouteTableIs("default");
    l2Table = coll->l2FloodsetTableIs("default");
    start();
  }
  ~ProgrammerFixture() override {
    Zet::LogHandle::sinkIs(nullptr);
    Zet::activityManager()->clockIs(nullptr);
  }
  void TearDown() override {
    table->mrouteDelAll();
    table->boundaryMrouteDelAll();
    l2Table->mrouteDelAll();
    for (auto & [name, chip] : allChips) {
      if (leavesEntries) continue;
      EXPECT_EQ(chip->simRoute().size(), 0u) << name;
      EXPECT_EQ(chip->pvNumFree(), chip->pvTotal()) << name;
      EXPECT_EQ(chip->orphans, 0u) << name;
    }
  }

  // Agent
  void start(bool noLoggingForOifFailures = false) {
    programmer->rootSmDel();
    programmer->rootSmIs({.clock = clock,
                          .fabric = fabric,
                          .mrouteTableColl = coll,
                          .mfib = mfib,
                          .intfVlanIdTable = intfVlanIdTable,
                          .noLoggingForOifFailures = noLoggingForOifFailures});
  }
  MrouteSm & sm(char const * vrf = "default") { return *programmer->rootSm()->mrouteSm(vrf); }
  void settle(double seconds = 100) { clock->nowIs(clock->shown() + seconds); }

  // Chips: the name says the order; all have all ports, and room for everything. Beyond 16 they
  // share the last index.
  FaultyChip & chip(char const * name) {
    auto & chip = allChips[name];
    if (chip) return *chip;
    chip = Zet::make<FaultyChip>(name, std::min(static_cast<U32>(allChips.size() - 1), 15u));
    chip->routeTotalIs(1000);
    chip->pvTotalIs(1000);
    chip->pvNumFreeIs(1000);
    for (U32 n = 1; n <= 20; ++n) chip->portIs(port(n), true);
    chip->calls = &calls;
    fabric->chipIs(chip);
    return *chip;
  }
  void chips(std::initializer_list<char const *> names) {
    for (char const * name : names) chip(name);
  }
  static void slotsIs(FaultyChip & chip, U32 n) {
    chip.pvNumFreeIs(chip.pvNumFree() + n - chip.pvTotal());
    chip.pvTotalIs(n);
  }

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

  // What stands: entries of a chip as "n@vlan:members", the inactive ones with a "?", VLAN
  // floodsets as "L<vlan>".
  std::string entries(char const * name) {
    std::vector<std::string> all;
    for (auto & r : allChips[name]->simRoute()) {
      Key const & sg = r.key().sg;
      bool const isL2 = sg.kind() != Routing::Multicast::Fib::mroute_;
      std::string text = isL2 ? "L" + std::to_string(sg.vlanId().value())
                              : std::to_string(sg.group().address().v4() & 0xff);
      text += "@" + std::to_string(r.key().vlanId.value()) + ":";
      auto const & held = r.simMtableOifSet();
      text += held ? std::to_string(held->oifSet()->portVlanSet().portVlans()) : "none";
      all.push_back(r.activated() ? text : text + "?");
    }
    std::sort(all.begin(), all.end());
    return joined(all);
  }
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
  // The numbers of the routes that wait.
  std::string failed() {
    std::vector<std::string> all;
    for (auto & f : sm().failedMroute()) {
      all.push_back(std::to_string(f.fwkKey().group().address().v4() & 0xff));
    }
    std::sort(all.begin(), all.end());
    return joined(all);
  }
  U32 reason(U32 n) { return sm().zetMroute().find(key(n))->reason(); }
  RouteStatus * status(U32 n) { return mfib->vrfStatus("default")->route(key(n)); }
  static std::string joined(std::vector<std::string> const & parts, char const * between = " ") {
    std::string text;
    for (auto const & p : parts) text += (text.empty() ? "" : between) + p;
    return text;
  }

  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(1000);
  Zet::Ptr<Brindle::SimFabric> fabric = Brindle::simFabricFactory("fabric");
  std::map<std::string, Zet::Ptr<FaultyChip>> allChips;
  Zet::Ptr<Brindle::MrouteTableColl> coll = Zet::make<Brindle::MrouteTableColl>();
  Zet::Ptr<MrouteTable> table;
  Zet::Ptr<MrouteTable> l2Table;
  Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> mfib =
      Zet::make<Routing::Multicast::Fib::Hardware::Status>();
  Zet::Ptr<IntfVlanId::Table> intfVlanIdTable = Zet::make<IntfVlanId::Table>();
  Zet::Ptr<Brindle::MrouteProgrammer> programmer = Brindle::mrouteProgrammerFactory("programmer");
  std::vector<std::string> calls;
  std::vector<std::string> logged;
  bool leavesEntries = false;  // the scenario takes the programmer away

 private:
  void onLog(Zet::LogHandle const & handle, std::string_view) override {
    logged.emplace_back(handle.name().view());
  }
};
