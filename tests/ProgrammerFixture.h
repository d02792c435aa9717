// A synchronous programmer on chips that can fail, with route tables that are filled by hand.
//
// Whatever a scenario does, at its end its routes are deleted, and then no chip may hold an entry,
// a set or a slot any more, and no entry may ever have pointed at a set that had gone.
#pragma once

#include <map>

#include "fabric/SimFabric.h"
#include "programmer/MrouteProgrammer.h"
#include "tests/FaultyChip.h"
#include "tests/RouteWorld.h"

class ProgrammerFixture : public RouteWorld {
 public:
  using BoundaryMroute = Brindle::BoundaryMroute;
  using MrouteSm = Brindle::MrouteSm;

  ProgrammerFixture() { start(); }
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
    chip->refuseStepIn = &failStepIn;
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

  // What chips have to say is said at once.
  void answer() {}
  // All chips have room again, and whoever waits is tried again.
  void recover() {
    for (auto & [name, chip] : allChips) chip->roomIs();
    settle();
  }

  // What stands: entries of a chip as "n@vlan:members", the inactive ones with a "?", VLAN
  // floodsets as "L<vlan>".
  std::string entries(char const * name) {
    std::vector<std::string> all;
    for (auto & r : allChips[name]->simRoute()) {
      std::string text = nameOf(r.key().sg) + "@" + std::to_string(r.key().vlanId.value()) + ":";
      auto const & held = r.simMtableOifSet();
      text += held ? std::to_string(held->oifSet()->portVlanSet().portVlans()) : "none";
      all.push_back(r.activated() ? text : text + "?");
    }
    std::sort(all.begin(), all.end());
    return joined(all);
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

  Zet::Ptr<Brindle::SimFabric> fabric = Brindle::simFabricFactory("fabric");
  std::map<std::string, Zet::Ptr<FaultyChip>> allChips;
  Zet::Ptr<Brindle::MrouteProgrammer> programmer = Brindle::mrouteProgrammerFactory("programmer");
  U32 failStepIn = 0;
  bool leavesEntries = false;  // the scenario takes the programmer away
};
