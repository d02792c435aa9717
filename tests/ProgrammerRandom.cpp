// Random changes of routes on chips that run full and refuse at random. When the dust has settled,
// every chip holds exactly what the routes ask for, which is worked out here from the routes alone.
#include <random>
#include <set>

#include "tests/ProgrammerFixture.h"

namespace {

using Brindle::SimSwitchChip;

struct ProgrammerRandom : ProgrammerFixture, testing::WithParamInterface<U32> {
  ProgrammerRandom() : random(GetParam()) {
    chips({"A", "B", "C"});
    mfib->avoidDuplicatesIs(GetParam() % 2);
    mfib->deleteL2RouteOnFailureIs(GetParam() % 3 == 0);
  }
  U32 pick(U32 n) { return static_cast<U32>(random() % n); }
  bool oneIn(U32 n) { return pick(n) == 0; }
  VlanIdOrNone someVlan() { return VlanIdOrNone(oneIn(3) ? 0 : 10 + pick(6)); }
  OifSet someSet() {
    U32 const first = 1 + pick(15);
    return oneIn(4) ? set({first}) : set({first, first + 1, first + 2, first + 1 + pick(4)});
  }

  // --- Events

  // As the resolver leaves a route: no two of its inputs on one VLAN.
  void change(Mroute & m) {
    std::set<U16> used;
    auto input = [&]() {
      VlanIdOrNone const v = someVlan();
      return used.insert(v.value()).second ? v : VlanIdOrNone();
    };
    m.acceptingVlanIdIs(input());
    m.oifSetIs(someSet());
    m.notifyingVlanIdIs(input());
    m.notifyOifSetIs(someSet());
    m.staticFastdropVlanIdIs(input());
    m.staticFastdropOifSetIs(someSet());
    m.frrVlanIdIs(input());
    m.frrOifSetIs(m.frrVlanId() ? someSet() : nullptr);
    if (VlanIdOrNone const v = someVlan()) m.fastdropIs(VlanId(v), someSet());
    if (VlanIdOrNone const v = someVlan()) m.fastdropDel(VlanId(v));
    // With these, one chip may hold an entry and another not; see the assertion of a route that
    // fails on the second of two chips.
    if (mfib->avoidDuplicates()) {
      m.noRpfIs(oneIn(5));
      m.rpaIdIs(oneIn(5) ? 7 : 0);
    }
    publish(m);
  }
  void changeInput(Mroute & m) {
    m.acceptingVlanIdIs(m.frrVlanId());
    m.frrVlanIdIs(VlanIdOrNone());
    publish(m);
  }
  void changeL2() {
    Mroute & m = floodset(60 + pick(3));
    if (oneIn(5)) return l2Table->mrouteDel(m.key());
    m.acceptingVlanIdIs(m.key().vlanId());
    m.oifSetIs(someSet());
    publish(m);
  }
  void strain(FaultyChip & chip) {
    switch (pick(5)) {
      case 0:
        chip.refuseSetIn = 1 + pick(4);
        break;
      case 1:
        slotsIs(chip, chip.pvTotal() - chip.pvNumFree() + pick(8));
        break;
      case 2:
        chip.routeTotalIs(chip.simRoute().size() + pick(4));
        break;
      case 3:
        chip.mrouteReviewKickIs(chip.mrouteReviewKick() + 1);
        break;
      default:
        roomIs(chip);
    }
  }
  void roomIs(FaultyChip & chip) {
    slotsIs(chip, 10000);
    chip.routeTotalIs(10000);
    chip.roomIs();
  }
  void step() {
    U32 const n = 1 + pick(8);
    switch (pick(8)) {
      case 0:
        return del(n);
      case 1:
        return changeL2();
      case 2:
        return strain(*std::next(allChips.begin(), pick(3))->second);
      case 3:
        return clock->nowIs(clock->shown() + pick(3));
      case 4:
        if (route(n).frrVlanId() && route(n).version()) return changeInput(route(n));
        [[fallthrough]];
      default:
        return change(route(n));
    }
  }

  // --- What must stand

  // Entries as "1@10 3 4 5": route, input VLAN, ports.
  using Wanted = std::multiset<std::string>;
  static std::string name(Key const & k, U32 vlan) {
    return std::to_string(k.group().address().v4() & 0xff) + "@" + std::to_string(vlan);
  }
  static std::string text(Key const & k, U32 vlan, Brindle::OifSet const * set) {
    std::string text = name(k, vlan);
    if (!set) return text + " no set";
    for (auto const & pv : set->portVlanSet().portVlan().items()) {
      text += " " + std::string(pv.port.view().substr(8));
    }
    return text;
  }
  void add(Wanted & all, Mroute const & m) {
    auto want = [&](VlanIdOrNone vlan, Brindle::OifSet const * set) {
      if (vlan && set) all.insert(text(m.key(), vlan.value(), set));
    };
    VlanIdOrNone const in = m.acceptingVlanId();
    want(in, m.oifSet().get());
    if (!in && (m.noRpf() || m.rpaId())) {
      all.insert(text(m.key(), 0, m.oifSet().get()));
    }
    want(m.notifyingVlanId(), m.notifyOifSet().get());
    want(m.staticFastdropVlanId(), m.staticFastdropOifSet().get());
    want(m.frrVlanId(), m.frrOifSet().get());
    for (auto const & f : m.fastdrop().items()) {
      VlanIdOrNone const v = f.key;
      if (v == in || v == m.notifyingVlanId() || v == m.staticFastdropVlanId() ||
          v == m.frrVlanId()) {
        continue;
      }
      want(v, f.value.get());
    }
  }
  Wanted wanted() {
    Wanted all;
    for (auto & m : table->mroute()) {
      if (m.version()) add(all, m);
    }
    for (auto & m : l2Table->mroute()) add(all, m);
    return all;
  }
  static Wanted held(FaultyChip const & chip) {
    Wanted all;
    for (auto & r : chip.simRoute()) {
      auto const & set = r.simMtableOifSet();
      all.insert(text(r.key().sg, r.key().vlanId.value(), set ? set->oifSet().get() : nullptr) +
                 (r.activated() ? "" : " inactive"));
    }
    return all;
  }
  static bool holds(FaultyChip const & chip, Key const & k, VlanIdOrNone vlan) {
    for (auto & r : chip.simRoute()) {
      if (r.key().sg == k && r.key().vlanId == vlan) return true;
    }
    return false;
  }
  // The status says of each route with an input whether every chip has its entry.
  void checkStatus() {
    for (auto & m : table->mroute()) {
      VlanIdOrNone const in = m.acceptingVlanId();
      if (!m.version() || !in) continue;
      bool everywhere = true;
      for (auto & [chipName, chip] : allChips) {
        everywhere &= holds(*chip, m.key(), in);
      }
      RouteStatus const * s = mfib->vrfStatus("default")->route(m.key());
      EXPECT_EQ(s->hwFlags() == 0, everywhere) << m.key().pretty();
    }
  }
  static std::string less(Wanted const & a, Wanted const & b) {
    std::vector<std::string> rest;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(rest));
    return joined(rest, ", ");
  }
  void checkAll() {
    Wanted const all = wanted();
    for (auto & [chipName, chip] : allChips) {
      EXPECT_EQ(less(all, held(*chip)), "") << "missing on " << chipName;
      EXPECT_EQ(less(held(*chip), all), "") << "too much on " << chipName;
    }
  }

  std::mt19937 random;
};

}  // namespace

TEST_P(ProgrammerRandom, ChipsHoldWhatTheRoutesAskFor) {
  for (U32 round = 0; round < 12 && !HasFailure(); ++round) {
    for (U32 i = 0; i < 40 && !HasFailure(); ++i) {
      step();
      checkStatus();
      calls.clear();
    }
    for (auto & [chipName, chip] : allChips) roomIs(*chip);
    settle();
    EXPECT_TRUE(sm().failedMroute().empty());
    EXPECT_FALSE(mfib->hwResourceFull());
    // Fastdrops that were refused come with the next version only.
    for (auto & m : table->mroute()) {
      if (m.version()) publish(m);
    }
    checkAll();
    checkStatus();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ProgrammerRandom, testing::Range(1u, 25u));
