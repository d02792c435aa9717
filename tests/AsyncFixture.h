// A programmer for chips that answer later, on chips that answer when told to and fail where told
// to, with route tables that are filled by hand.
//
// Whatever a scenario does, at its end its routes are deleted, and then no chip may hold an entry,
// a set or a transaction any more, and nobody may be waiting.
#pragma once

#include <map>

#include "programmer/AsyncMrouteProgrammer.h"
#include "tests/AsyncChip.h"
#include "tests/RouteWorld.h"

class AsyncFixture : public RouteWorld {
 public:
  using AsyncMrouteSm = Brindle::AsyncMrouteSm;
  using ChipInfo = Brindle::AsyncChipInfo;
  using Reason = Brindle::MrouteFailureReason;
  using Status = Brindle::ProgrammingStatus;
  using ZetMroute = Brindle::AsyncZetMroute;

  AsyncFixture() {
    reviewConfig->reviewFreqIs(Brindle::mrouteReviewEnabled);
    start();
  }
  void TearDown() override {
    table->mrouteDelAll();
    l2Table->mrouteDelAll();
    EXPECT_EQ(sm().failureCounters()->failed(), 0u);
    EXPECT_TRUE(sm().l2Status()->vlanStatus().empty());
    for (auto & [name, chip] : allChips) {
      if (leavesEntries) continue;
      EXPECT_TRUE(chip->inUseRouteHandle().empty()) << name;
      EXPECT_TRUE(chip->inUseOifSet().empty()) << name;
      EXPECT_TRUE(chip->oifSetXact().empty()) << name;
      EXPECT_TRUE(chip->ingressXact().empty()) << name;
    }
  }

  // Agent
  void start() {
    programmer->rootSmIs({.clock = clock,
                          .fabric = fabric,
                          .mrouteTableColl = coll,
                          .mfib = mfib,
                          .intfVlanIdTable = intfVlanIdTable,
                          .reviewConfig = reviewConfig,
                          .pimIntfStatus = pimIntfStatus,
                          .mcastGroupStatus = mcastGroupStatus});
  }
  AsyncMrouteSm & sm(char const * vrf = "default") {
    return *programmer->rootSm()->asyncMrouteSm(vrf);
  }
  ZetMroute & zet(U32 n) { return zet(key(n)); }
  ZetMroute & zet(Key const & key) { return *sm().zetMroute(key); }

  // Chips: the name says the order.
  AsyncChip & chip(char const * name) {
    auto & chip = allChips[name];
    if (chip) return *chip;
    auto const index = std::min(static_cast<U32>(allChips.size() - 1), 15u);
    chip = Zet::make<AsyncChip>(name, index, multicastFloodsetNeedsIngress);
    chip->calls = &calls;
    chip->failStepIn = &failStepIn;
    chip->failsLater = failsLater;
    chip->answersAtOnce = answersAtOnce;
    fabric->chipIs(chip);
    return *chip;
  }
  void chips(std::initializer_list<char const *> names) {
    for (char const * name : names) chip(name);
  }
  // All chips end what is open, and what follows from it, until nothing is.
  void answer() {
    for (bool any = true; any;) {
      any = false;
      for (auto & [name, chip] : allChips) any |= chip->answer();
    }
  }
  // Retries, and answers to them, until nobody waits or the time is over.
  void recover(double seconds = 60) {
    for (double t = 0; t < seconds; t += 1) {
      settle(1);
      answer();
    }
  }

  // What stands: entries of a chip as "n@vlan:members", of L2 routes as "L<vlan>@...".
  std::string entries(char const * name) {
    std::vector<std::string> all;
    AsyncChip & chip = *allChips[name];
    for (auto & entry : chip.inUseRouteHandle()) {
      std::string text =
          nameOf(entry.value.routeKey) + "@" + std::to_string(entry.value.vlan) + ":";
      auto const set = chip.points.find(entry.fwkKey().value);
      bool const points = set != chip.points.end() && set->second;
      text += points ? std::to_string(set->second->oifSet()->portVlanSet().portVlans()) : "none";
      all.push_back(text);
    }
    std::sort(all.begin(), all.end());
    return joined(all);
  }
  // The routes that wait, with their reasons.
  std::string failed() {
    std::vector<std::string> all;
    for (auto & f : sm().failedMroute()) {
      all.push_back(nameOf(f.fwkKey()) + ":" + f.value.mroute->reason().pretty());
    }
    std::sort(all.begin(), all.end());
    return joined(all);
  }

  Zet::Ptr<Brindle::SimAsyncFabric> fabric = Brindle::simAsyncFabricFactory("fabric");
  std::map<std::string, Zet::Ptr<AsyncChip>> allChips;
  Zet::Ptr<Brindle::MrouteReviewConfig> reviewConfig = Zet::make<Brindle::MrouteReviewConfig>();
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntfStatus =
      Zet::make<Routing::Multicast::Fib::PimIntf::Status>();
  Zet::Ptr<Multicast::Group::Status> mcastGroupStatus = Zet::make<Multicast::Group::Status>();
  Zet::Ptr<Brindle::AsyncMrouteProgrammer> programmer =
      Brindle::asyncMrouteProgrammerFactory("programmer");
  U32 failStepIn = 0;
  // Of chips that are made from now on.
  bool failsLater = false;
  bool answersAtOnce = false;
  bool multicastFloodsetNeedsIngress = false;
  bool leavesEntries = false;  // the scenario takes the programmer away
};
