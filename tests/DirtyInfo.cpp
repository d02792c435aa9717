// Marks against filters, and the counts that a table keeps of its routes.
#include "model/DirtyInfo.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "model/DirtyChangeSet.h"
#include "model/MrouteTableColl.h"

namespace {

using namespace Brindle;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::EthAddr;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;

VlanIdOrNone vid(U32 v) { return VlanIdOrNone(v); }

RouteBase::Key key(char const * source, char const * group) {
  return {IpGenPrefix(IpGenAddr(source)), IpGenPrefix(IpGenAddr(group))};
}

EthAddr const mac("01:00:5e:01:01:01");
IntfId const port("Ethernet1");
IntfId const lag("Port-Channel7");

}  // namespace

TEST(Filters, BitsAreTheOnesThatAllAgentsAgreeOn) {
  EXPECT_EQ(VlanPortBits(vid(10)).bit(0u), 0x100u);
  EXPECT_EQ(VlanPortBits(vid(10)).bit(1u), 0x4000u);
  EXPECT_EQ(VlanPortBits(vid(300)).bit(0x12345678u), 0x10000u);
  EXPECT_EQ(VlanPortBits(vid(4094)).bit(0xdeadbeefu), 0x400u);
  EXPECT_EQ(vlanBit(vid(0)), 1u);
  EXPECT_EQ(vlanBit(vid(4094)), 1u << 30);
  EXPECT_EQ(vlanGroupBit(vid(63), mac), U64{1} << ((63 + mac.hash()) % 64));
  EXPECT_EQ(lagBit(lag), 1u << lag.hash() % 32);
}

TEST(DirtyInfo, AMarkTouchesTheRoutesWhoseFilterItMeetsAndNoOthers) {
  auto table = Zet::make<MrouteTable>("default");
  auto const route = [&](char const * source, U32 vlan, IntfId p, IntfId l) {
    auto const k = key(source, "224.1.1.1");
    RouteBase * both[] = {table->mrouteIs(k).get(), table->boundaryMrouteIs(k).get()};
    for (RouteBase * r : both) {
      r->vlanFilterIs(vlanBit(vid(vlan)));
      r->vlanPortFilterIs(vlanPortBit(vid(vlan), p));
      r->vlanGroupFilterIs(vlanGroupBit(vid(vlan), mac));
      r->lagFilterIs(lagBit(l));
    }
    return k;
  };
  auto const mine = route("10.0.0.1", 10, port, lag);
  auto const other = route("10.0.0.2", 11, IntfId("Ethernet2"), IntfId("Port-Channel8"));

  struct Case {
    char const * name;
    std::function<bool(DirtyInfo &)> mark;
    bool otherToo;
  } const cases[] = {
      {"vlan", [](DirtyInfo & d) { return d.doMarkVlanDirty(vid(42)); }, false},
      {"all vlans", [](DirtyInfo & d) { return d.doMarkAllVlansDirty(); }, true},
      {"port", [](DirtyInfo & d) { return d.doMarkVlanPortDirty(vid(10), port); }, false},
      {"group", [](DirtyInfo & d) { return d.doMarkVlanGroupDirty(vid(10), mac); }, false},
      {"lag", [](DirtyInfo & d) { return d.doMarkLagDirty(lag); }, false},
      {"exact group", [](DirtyInfo & d) { return d.dirtyGroupSetIs(IpGenAddr("224.1.1.1"), true); },
       true},
      {"nat source", [](DirtyInfo & d) { return d.dirtyNatSrcIs(IpGenAddr("10.0.0.1"), true); },
       false},
      {"nat group", [](DirtyInfo & d) { return d.dirtyNatSrcIs(IpGenAddr("224.1.1.1"), true); },
       true},
      {"all routes",
       [](DirtyInfo & d) {
         d.allRoutesDirtyIs(true);
         return true;
       },
       true},
  };
  for (auto const & c : cases) {
    SCOPED_TRACE(c.name);
    auto pass = Zet::make<DirtyInfo>();
    auto marked = Zet::make<DirtyInfo>();
    EXPECT_TRUE(c.mark(*marked));
    if (!marked->allRoutesDirty()) {
      EXPECT_FALSE(c.mark(*marked));
    }
    pass->mergeWith(*marked);
    marked->clear();
    EXPECT_FALSE(marked->isDirty());
    EXPECT_TRUE(pass->isDirty());
    for (auto const & [k, touched] : {std::pair(mine, true), std::pair(other, c.otherToo)}) {
      Mroute const & m = *table->mroute(k);
      EXPECT_EQ(pass->mrouteDirty(m), touched);
      EXPECT_EQ(pass->mrouteL2Dirty(m), touched);
      EXPECT_EQ(pass->boundaryDirty(*table->boundaryMroute(k)), touched);
      EXPECT_FALSE(marked->mrouteDirty(m));
    }
  }
}

// A route that only its publisher changed may be computed from what it was.
TEST(DirtyInfo, ARoutesOwnFlagIsNoChangeBelowIt) {
  auto table = Zet::make<MrouteTable>("default");
  auto route = table->mrouteIs(key("10.0.0.1", "224.1.1.1"));
  auto dirty = Zet::make<DirtyInfo>();
  dirty->doMarkAllVlansDirty();
  EXPECT_FALSE(dirty->mrouteDirty(*route));  // it was never computed and depends on nothing
  route->dirtyIs(true);
  EXPECT_TRUE(dirty->mrouteDirty(*route));
  EXPECT_FALSE(dirty->mrouteL2Dirty(*route));
}

TEST(MrouteTable, ItsVlanFilterIsTheUnionOfItsRoutesFilters) {
  std::mt19937 random(5);
  auto table = Zet::make<MrouteTable>("default");
  std::vector<U32> filters(20);
  for (int i = 0; i < 2000; ++i) {
    U32 & filter = filters[random() % filters.size()];
    U32 const now = random() % 3 ? static_cast<U32>(random() & random() & random()) : 0;
    table->doUpdateVrfVlanFilter(now, now ^ filter);
    filter = now;
    U32 all = 0;
    U32 ofBit3 = 0;
    for (U32 f : filters) {
      all |= f;
      ofBit3 += f >> 3 & 1;
    }
    ASSERT_EQ(table->vlanFilter(), all);
    ASSERT_EQ(table->vlanFilterCounter(3), ofBit3);
  }
  for (U32 f : filters) table->doUpdateVrfVlanFilter(0, f);
  EXPECT_EQ(table->vlanFilter(), 0u);
  EXPECT_DEATH(table->doUpdateVrfVlanFilter(0, 1), "counter != 0");
}

TEST(MrouteTable, CountsTheDropEntriesOfTheRoutesThatItHolds) {
  auto coll = Zet::make<MrouteTableColl>();
  auto table = coll->vrfMrouteTableIs("default");
  auto set = coll->oifSetIs({});
  auto a = table->mrouteIs(key("10.0.0.1", "224.1.1.1"));
  table->boundaryMrouteIs(a->key())->fastdropIs(VlanId(1), set);
  for (U32 vlan : {1u, 2u, 2u}) a->fastdropIs(VlanId(vlan), set);
  EXPECT_EQ(table->fastdropCount(), 2u);
  EXPECT_EQ(table->boundaryFastdropCount(), 1u);
  table->mrouteDel(a->key());
  a->fastdropIs(VlanId(9), set);  // no longer the table's
  EXPECT_EQ(table->fastdropCount(), 0u);
}

TEST(DirtyChangeSet, ShowsItsReaderTheMemberBeforeTheCounter) {
  struct Reader : DirtyChangeSet::NotifieeConst {
    explicit Reader(DirtyChangeSet const * set) : set_(set) { notifierIs(set); }
    void onDirtyVlanGroupCount() override {
      for (auto i = set_->ethGroup().begin(); i; i.advance()) seen = i.value().value();
    }
    DirtyChangeSet const * set_;
    U32 seen = 0;
  };
  auto set = Zet::make<DirtyChangeSet>();
  set->ethGroupIs(mac, vid(10));
  EXPECT_TRUE(set->ethGroup().empty());  // nobody reads: nothing gathers
  auto reader = Zet::make<Reader>(set.get());
  set->ethGroupIs(mac, vid(10));
  EXPECT_EQ(reader->seen, 10u);
  set->ethGroupIs(mac, vid(11));
  EXPECT_EQ(reader->seen, 11u);
  EXPECT_TRUE(set->ethGroup().empty());
  EXPECT_EQ(set->dirtyVlanGroupCount(), 3u);
  reader->detach();
}
