// Sets of outputs against a plain model, their hash under patches, and the sharing of equal sets.
#include "model/PortVlanSet.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "model/MrouteTableColl.h"

namespace {

using Bridging::VlanId;
using Brindle::MrouteTableColl;
using Brindle::OifSet;
using Brindle::PortVlan;
using Brindle::PortVlanSet;

PortVlan pv(U32 port, U32 outLif, U32 property = 0) {
  return {Nettle::IntfId("Ethernet" + std::to_string(port)), Brindle::OutLif(outLif), property};
}

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  U32 below(U32 n) { return static_cast<U32>(operator()()) % n; }
  PortVlan member(U32 vlans) { return pv(1 + below(8), below(vlans), below(2) * 2); }
};

// One by one, from the last to the first: what came how must not show.
PortVlanSet built(std::set<PortVlan> const & members) {
  PortVlanSet set;
  for (auto i = members.rbegin(); i != members.rend(); ++i) set.portVlanIs(*i, true);
  set.saveHash();
  return set;
}

void expectHolds(PortVlanSet & set, std::set<PortVlan> const & members) {
  set.saveHash();
  auto const & items = set.portVlan().items();
  ASSERT_TRUE(std::equal(items.begin(), items.end(), members.begin(), members.end()));
  PortVlanSet const other = built(members);
  ASSERT_EQ(set, other);
  ASSERT_EQ(set.hash(), other.hash());
}

PortVlanSet setOf(std::initializer_list<PortVlan> members) {
  return built(std::set<PortVlan>(members));
}

}  // namespace

TEST(PortVlanSet, HoldsWhatAModelHoldsHoweverItIsBuiltAndPatched) {
  Random random(3);
  PortVlanSet set;
  for (int round = 0; round < 300; ++round) {
    set.clear();
    std::set<PortVlan> model;
    U32 const vlans = round % 3 ? 1 + random.below(12) : 4000;
    U32 const runs = random.below(round % 3 ? 20 : 200);
    for (U32 r = 0; r < runs; ++r) {
      U32 const vlan = random.below(vlans);
      std::vector<PortVlan> run;
      for (U32 port = 1; port < 9; ++port) {
        if (random.below(2)) run.push_back(pv(port, vlan));
      }
      if (random.below(9) == 0) std::shuffle(run.begin(), run.end(), random);
      set.append(run.data(), static_cast<U32>(run.size()));
      PortVlan const one = random.member(vlans);
      EXPECT_EQ(set.portVlan(one),
                model.contains(one) || std::find(run.begin(), run.end(), one) != run.end());
      set.append(one);
      model.insert(run.begin(), run.end());
      model.insert(one);
    }
    auto const ofSomeVlans = [](PortVlan const & m) { return m.outLif.value() % 5 == 2; };
    if (round % 2) {
      EXPECT_EQ(set.portVlanDelIf(ofSomeVlans) > 0, std::erase_if(model, ofSomeVlans) > 0);
    }
    auto const delVlan = [&](PortVlanSet & s) {
      Brindle::OutLif const vlan(Bridging::VlanIdOrNone(random.below(vlans)));
      EXPECT_EQ(s.vlanDel(vlan.vlanId()) > 0,
                std::erase_if(model, [&](auto & m) { return m.outLif == vlan; }) > 0);
    };
    delVlan(set);
    expectHolds(set, model);
    delVlan(set);

    PortVlanSet patched = set;
    for (int n = 0; n < 30; ++n) {
      PortVlan const m = model.empty() || random.below(2) ? random.member(vlans) : *model.begin();
      bool const present = random.below(2);
      EXPECT_EQ(patched.portVlanIs(m, present),
                present ? model.insert(m).second : model.erase(m) == 1);
    }
    expectHolds(patched, model);
  }
}

// A chip may share an entry among routes with equal sets: whatever may keep it from that counts,
// and a change after saveHash() is not hidden by the hash of before.
TEST(PortVlanSet, EveryMemberKeepsSetsApart) {
  std::function<void(PortVlanSet &)> const changes[] = {
      [](PortVlanSet & s) { s.portVlanIs(pv(3, 10), true); },
      [](PortVlanSet & s) { s.portVlanDel(pv(1, 10)); },
      [](PortVlanSet & s) {
        s.portVlanDelIf([](PortVlan const & m) { return m.vlanId().value() == 20; });
      },
      [](PortVlanSet & s) { s.append(pv(9, 20)); },
      [](PortVlanSet & s) { s.portVlanDelAll(); },
      [](PortVlanSet & s) { s.natVlanIs(VlanId(20), true); },
      [](PortVlanSet & s) { s.portVlanFrrIs(pv(2, 20), true); },
      [](PortVlanSet & s) { s.toCpuIs(true); },
      [](PortVlanSet & s) { s.flagsIs(PortVlanSet::vxlanFlag); },
      [](PortVlanSet & s) { s.featureFlagIs(2); },
      [](PortVlanSet & s) { s.keyKindIs(Routing::Multicast::Fib::mroute_); },
      [](PortVlanSet & s) { s.vlanIs(10); },
      [](PortVlanSet & s) { s.fastdropSetIs(true); },
      [](PortVlanSet & s) { s.allowSharingIs(true); },
  };
  std::vector<PortVlanSet> sets{setOf({pv(1, 10), pv(2, 20)})};
  for (auto const & change : changes) {
    PortVlanSet set = sets[0];
    change(set);
    set.settle();
    EXPECT_FALSE(set.hashSaved());
    sets.push_back(set);
  }
  for (std::size_t i = 0; i < sets.size(); ++i) {
    for (std::size_t j = 0; j < sets.size(); ++j) {
      EXPECT_EQ(sets[i] == sets[j], i == j) << i << " " << j;
      EXPECT_EQ(sets[i].hash() == sets[j].hash(), i == j) << i << " " << j;
      EXPECT_EQ(sets[i] < sets[j] || sets[j] < sets[i], i != j) << i << " " << j;
      EXPECT_FALSE(sets[i] < sets[j] && sets[j] < sets[i]) << i << " " << j;
    }
  }
}

TEST(PortVlanSet, TextReadsBackAsTheSameKey) {
  PortVlanSet set = setOf({pv(1, 10), pv(2, 10), pv(7, 20, 2), pv(1, 5000)});
  set.natVlanIs(VlanId(20), true);
  set.toCpuIs(true);
  EXPECT_EQ(set.pretty(), "vlan 10: Et1 Et2; vlan 20: Et7; lif 5000: Et1; cpu; nat 20");
  auto const back = Zet::strepToValue<PortVlanSet>(Zet::valueToStrep(set));
  EXPECT_EQ(back, set);
  EXPECT_EQ(back.hash(), set.hash());
}

TEST(OifSet, EqualSetsAreOneObjectAsLongAsOneIsHeld) {
  auto coll = Zet::make<MrouteTableColl>();
  PortVlanSet const members = setOf({pv(1, 10), pv(2, 20)});
  Zet::Ptr<OifSet> first = coll->oifSetIs(members);
  Zet::Ptr<OifSet> second = coll->oifSetIs(setOf({pv(2, 20), pv(1, 10)}));
  EXPECT_EQ(first, second);
  EXPECT_TRUE(first->doCmpPortVlanSet(members));
  EXPECT_NE(coll->oifSetIs(setOf({pv(1, 10)})), first);  // not held: gone at once
  EXPECT_EQ(coll->oifSet().size(), 1u);

  first = nullptr;
  EXPECT_EQ(coll->oifSet(members), second.get());
  second = nullptr;
  EXPECT_EQ(coll->oifSet(members), nullptr);
  EXPECT_TRUE(coll->oifSet().empty());
  EXPECT_TRUE(coll->oifSetIs(members)->doCmpPortVlanSet(members));
}

// A chip may hold a set longer than the tables stand.
TEST(OifSet, OutlivesItsCollectionInOtherHands) {
  auto coll = Zet::make<MrouteTableColl>();
  Zet::Ptr<OifSet> held;
  {
    auto route = coll->vrfMrouteTableIs("default")->mrouteIs({});
    route->oifSetIs(coll->oifSetIs(setOf({pv(1, 10)})));
    route->fastdropIs(VlanId(7), coll->oifSetIs(setOf({pv(2, 10)})));
    held = route->oifSet();
  }
  coll = nullptr;
  EXPECT_EQ(held->portVlanSet().portVlans(), 1u);
}
