// Published routes: the set of outputs against a plain one, the operators, walks over outputs, and
// the choice among tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>
#include <vector>

#include "tests/LocalTable.h"

namespace {

using namespace Shoal::Multicast::Fib;
using Nettle::IntfId;
using Nettle::IpGenPrefix;
using testing::ElementsAre;
using testing::ElementsAreArray;

RouteKey key(U32 group) {
  return {IpGenPrefix("10.0.0.1/32"), IpGenPrefix(Nettle::IpGenAddr(0xe0010000 + group))};
}

void setOifs(Route & route, std::set<U16> const & indices) {
  for (U16 i : indices) route.oifIs(OifIndex(i), true);
}

std::vector<U16> members(OifBitmap const & set) {
  std::vector<U16> all;
  for (OifBitmap::Iterator i(set); i; i.advance()) all.push_back(i.index().value);
  return all;
}

OifBitmap bitmap(std::set<U16> const & model) {
  OifBitmap set;
  for (U16 i : model) set.set(OifIndex(i), true);
  return set;
}

// Small indices, and now and then any: sets of all sizes meet.
U16 randomIndex(std::mt19937 & random) {
  return static_cast<U16>(random() % 4 ? random() % 520 : random());
}

TEST(OifBitmap, BehavesLikeASet) {
  std::mt19937 random(1);
  OifBitmap reused;
  for (int round = 0; round < 300; ++round) {
    std::set<U16> a, b;
    for (auto n = random() % 20; n; --n) a.insert(randomIndex(random));
    for (auto n = random() % 20; n; --n)
      b.insert(random() % 2 || a.empty() ? randomIndex(random) : *a.begin());
    OifBitmap const x = bitmap(a), y = bitmap(b);
    EXPECT_THAT(members(x), ElementsAreArray(a));
    EXPECT_EQ(x == y, a == b);
    EXPECT_EQ(x.none(), a.empty());
    EXPECT_EQ(x.bound(), a.empty() ? 0u : *a.rbegin() + 1u);

    std::set<U16> both, one;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(),
                                  std::inserter(one, one.end()));
    reused = x;
    EXPECT_EQ(reused &= y, bitmap(both));
    reused = x;
    reused ^= y;
    EXPECT_THAT(members(reused), ElementsAreArray(one));
    for (U16 i : b) reused.set(OifIndex(i), !reused.contains(OifIndex(i)));
    EXPECT_EQ(reused, x);  // though it may be the larger of the two

    OifBitmap moved = std::move(reused);
    reused = y;
    EXPECT_EQ(moved, x);
    EXPECT_EQ(Zet::strepToValue<OifBitmap>(Zet::valueToStrep(y)), y);
  }
}

TEST(ShoalRoute, OperatorsWorkOnOutputsAndKeepTheLeftOne) {
  Route a(key(1)), b(key(2));
  a.iifIs(IntfId("Vlan10"));
  a.flagsIs(Route::toCpu);
  b.priorityIs(RoutePriority(9));
  setOifs(a, {1, 2, 600});
  setOifs(b, {2, 3});

  Route const differ = a ^ b, shared = a & b;
  EXPECT_THAT(members(differ.oifs()), ElementsAre(1, 3, 600));
  EXPECT_THAT(members(shared.oifs()), ElementsAre(2));
  EXPECT_EQ(differ.key(), a.key());
  EXPECT_EQ(differ.iif(), a.iif());
  EXPECT_EQ(shared.flags(), a.flags());
  EXPECT_EQ(shared.priority(), a.priority());
  EXPECT_EQ(a.shoalString(), "(10.0.0.1, 224.1.0.1) iif Vlan10 flags 2 oifs {1 2 600}");
  EXPECT_EQ(Zet::strepToValue<Route>(Zet::valueToStrep(a)), a);
}

// Whatever is published of a key makes it present.
TEST(ShoalRoute, IsDefaultOnlyWithNothingSet) {
  std::function<void(Route &)> const fields[] = {
      [](Route & r) { r.iifIs(IntfId("Vlan10")); },
      [](Route & r) { r.iifFrrIs(IntfId("Vlan10")); },
      [](Route & r) { r.notifyIs(IntfId("Vlan10")); },
      [](Route & r) { r.staticFastdropIntfIs(IntfId("Vlan10")); },
      [](Route & r) { r.notifyProgrammableIs(true); },
      [](Route & r) { r.flagsIs(1); },
      [](Route & r) { r.rpaIdIs(rpaNotSet); },
      [](Route & r) { r.priorityIs(RoutePriority(1)); },
      [](Route & r) { r.oifIs(OifIndex(9999), true); },
  };
  Route const nothing(key(1));
  EXPECT_TRUE(nothing.isDefault());
  for (auto const & set : fields) {
    Route route = nothing;
    set(route);
    SCOPED_TRACE(route.shoalString());
    EXPECT_FALSE(route.isDefault());
    EXPECT_NE(route, nothing);
    route.oifIs(OifIndex(9999), false);
    EXPECT_EQ(route.isDefault(), route == nothing);
  }
}

TEST(RouteIntfIterator, GivesInterfacesAndEndsInErrorWhereNothingStands) {
  auto const table = Zet::make<Tests::LocalTable>();
  IntfId const vlan1("Vlan1"), vlan2("Vlan2"), old("Vlan3");
  table->oifIndexIntfIs(OifIndex(1), {vlan1, oifAccept});
  table->oifIndexIntfIs(OifIndex(2), {vlan2, oifForward | oifFrr});
  table->oifIndexIntfIs(OifIndex(700), {IntfId(), oifNoRpf});
  Route route(key(1));
  setOifs(route, {1, 2, 700});

  std::vector<OifIndexIntf> seen;
  RouteIntfIteratorConst i(route, table.get());
  for (; i; i.advance()) seen.push_back({i.intf(), i.properties()});
  EXPECT_FALSE(i.error());
  EXPECT_EQ(seen, (std::vector<OifIndexIntf>{
                      {vlan1, oifAccept}, {vlan2, oifForward | oifFrr}, {IntfId(), oifNoRpf}}));

  OifIndexIntfIdMap kept;
  kept.at(OifIndex(2)) = old;
  CachedMapRouteIntfIteratorConst cached(route, kept, table.get());
  EXPECT_TRUE(cached.intf().empty());
  cached.advance();
  EXPECT_EQ(cached.intf(), old);
  EXPECT_TRUE(cached.has(oifFrr) && !cached.has(oifAccept));

  U32 const version = table->oifIndexIntfVersion();
  table->oifIndexIntfIs(OifIndex(1), {vlan1, oifAccept});
  EXPECT_EQ(table->oifIndexIntfVersion(), version) << "nothing has changed";
  table->oifIndexIntfIs(OifIndex(2), {});
  EXPECT_NE(table->oifIndexIntfVersion(), version);
  RouteIntfIteratorConst broken(route, table.get());
  EXPECT_TRUE(broken);
  broken.advance();
  EXPECT_FALSE(broken);
  EXPECT_TRUE(broken.error());
  EXPECT_TRUE(RouteIntfIteratorConst(route, nullptr).error());
  EXPECT_FALSE(RouteIntfIteratorConst(Route(key(1)), nullptr).error());
}

Route routeOf(U32 group, U8 priority) {
  Route route(key(group));
  route.iifIs(IntfId("Vlan10"));
  route.priorityIs(RoutePriority(priority));
  return route;
}

TEST(MfibShoalColl, ChoosesByPriorityThenByRegistration) {
  auto const coll = Zet::make<MfibShoalColl>("default");
  auto const first = Zet::make<Tests::LocalTable>();  // made first, registered last
  auto const second = Zet::make<Tests::LocalTable>(), third = Zet::make<Tests::LocalTable>();
  coll->shoalPtrIs(second.get(), second);
  coll->shoalPtrIs(third.get(), nullptr);  // announced, not mounted
  coll->shoalPtrIs(first.get(), first);
  EXPECT_EQ(coll->mfibShoal(key(1)), nullptr);

  first->routeIs(routeOf(1, 5));
  second->routeIs(routeOf(1, 5));
  third->routeIs(routeOf(1, 9));
  Route route;
  EXPECT_EQ(coll->mfibShoal(key(1), route), second.get());
  EXPECT_EQ(coll->nextBestShoal(second.get(), key(1)), first.get());
  coll->shoalPtrIs(third.get(), third);
  EXPECT_EQ(coll->mfibShoal(key(1), route), third.get());
  EXPECT_EQ(route, third->route(key(1)));
  EXPECT_EQ(coll->nextBestShoal(third.get(), key(1), route), second.get());
  EXPECT_EQ(route, second->route(key(1)));

  coll->shoalPtrIs(third.get(), nullptr);
  coll->shoalPtrDel(second.get());
  EXPECT_EQ(coll->mfibShoal(key(1)), first.get());
  EXPECT_EQ(coll->nextBestShoal(first.get(), key(1), route), nullptr);
  EXPECT_EQ(route, Route(key(1)));
}

}  // namespace
