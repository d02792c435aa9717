// Route tables across shared memory: what the reader hears against what was written, and records
// that an honest writer does not write.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "platform/ShoalWatch.h"
#include "state/ShmStatus.h"

namespace {

using namespace Shoal::Multicast::Fib;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;

RouteKey key(U32 group) {
  return {IpGenPrefix("10.0.0.1/32"), IpGenPrefix(IpGenAddr(0xe0010000 + group))};
}

Route route(U32 group, U16 oif) {
  Route route(key(group));
  route.iifIs(IntfId("Vlan10"));
  route.oifIs(OifIndex(oif), true);
  return route;
}

// Remembers what it is told of a table.
struct Listener : Status::NotifieeConst {
  explicit Listener(Zet::Ptr<Status const> const & table) { notifierIs(table.get()); }
  ~Listener() override { zetDoZombieReactors(true); }
  void onRoute(RouteKey const & k) override { heard.insert(k); }
  void onRoutesLost() override { ++lost; }
  std::set<RouteKey> take() { return std::exchange(heard, {}); }
  std::set<RouteKey> heard;
  int lost = 0;
};

class ShmTable : public testing::Test {
 protected:
  ShmTable() {
    char path[] = "/dev/shm/brindle-test-XXXXXX";
    root = ::mkdtemp(path);
    watch = std::make_shared<ZetShoal::ShoalWatch>();
  }
  ~ShmTable() override { std::filesystem::remove_all(root); }

  Zet::Ptr<ShmStatus> reader(char const * table = "pim.default") {
    return Zet::make<ShmStatus>(watch, root, table);
  }
  void settle(ShmStatus & table) {
    watch->collect();
    while (table.due()) table.turn(256);
  }

  std::string root;
  std::shared_ptr<ZetShoal::ShoalWatch> watch;
};

Route randomRoute(std::mt19937 & random, RouteKey const & k) {
  static IntfId const intfs[] = {IntfId(), IntfId("Vlan10"), IntfId("Ethernet3/1.20"),
                                 IntfId("an-interface-with-31-bytes-name")};
  auto const intf = [&] { return intfs[random() % 4]; };
  Route route(k);
  route.iifIs(intf());
  route.iifFrrIs(intf());
  route.notifyIs(intf());
  route.staticFastdropIntfIs(intf());
  route.flagsIs(static_cast<U32>(random()));
  route.rpaIdIs(static_cast<RpaIndex>(random()));
  route.priorityIs(RoutePriority(static_cast<U8>(random())));
  route.notifyProgrammableIs(random() % 2);
  U32 const bits[] = {512, 4096, 65536};
  U32 const size = bits[random() % 3];
  for (auto n = random() % 5; n; --n)
    route.oifIs(OifIndex(static_cast<U16>(random() % size)), true);
  return route;
}

Route valueIn(std::map<RouteKey, Route> const & model, RouteKey const & key) {
  auto const at = model.find(key);
  return at == model.end() ? Route(key) : at->second;
}

// Of all families and lengths.
std::vector<RouteKey> someKeys() {
  char const * const sources[][6] = {
      {"0.0.0.0/0", "128.0.0.0/1", "10.0.0.0/8", "10.0.0.2/31", "10.0.0.1/32", "224.0.0.0/4"},
      {"::/0", "8000::/1", "2001:db8::/63", "2001:db8::/64", "2001:db8:0:0:8000::/65",
       "2001:db8::1/128"}};
  char const * const groups[][3] = {{"224.0.0.0/4", "239.1.1.1/32", "232.0.0.0/8"},
                                    {"ff00::/8", "ff3e::1/128", "ff3e::/16"}};
  std::vector<RouteKey> keys;
  for (int family : {0, 1}) {
    for (auto const * source : sources[family]) {
      for (auto const * group : groups[family]) {
        keys.emplace_back(IpGenPrefix(source), IpGenPrefix(group));
      }
    }
  }
  return keys;
}

// Routes move among the maps of all widths as their outputs change.
TEST_F(ShmTable, ReaderHearsOfEachChangeAndReadsWhatWasWritten) {
  std::mt19937 random(1);
  ShmStatusWriter writer(root, "pim.default");
  auto const table = reader();
  auto const listener = Zet::make<Listener>(table);
  std::map<RouteKey, Route> model;
  auto const keys = someKeys();
  for (int round = 0; round < 60; ++round) {
    auto const before = model;
    for (auto n = random() % 40; n; --n) {
      RouteKey const & k = keys[random() % keys.size()];
      Route const next = random() % 4 ? randomRoute(random, k) : Route(k);
      writer.routeIs(next);
      if (next.isDefault()) {
        model.erase(next.key());
      } else {
        model.insert_or_assign(next.key(), next);
      }
    }
    writer.commit();
    settle(*table);
    auto const heard = listener->take();
    for (RouteKey const & k : keys) {
      Route const now = valueIn(model, k);
      EXPECT_EQ(table->route(k), now);
      EXPECT_TRUE(now == valueIn(before, k) || heard.count(k)) << k.pretty();
    }
    std::set<RouteKey> walked, tail;
    for (auto i = table->routeBegin(); i; i.advance()) {
      if (walked.size() >= model.size() / 2) tail.insert(i.key());
      EXPECT_TRUE(walked.insert(i.key()).second);
    }
    EXPECT_EQ(walked.size(), model.size());
    EXPECT_EQ(table->routes(), model.size());
    if (tail.empty()) continue;
    RouteKey const bookmark = *tail.begin();
    std::set<RouteKey> resumed;
    for (auto i = table->routeFrom(bookmark); i; i.advance()) resumed.insert(i.key());
    EXPECT_TRUE(std::includes(walked.begin(), walked.end(), resumed.begin(), resumed.end()));
    EXPECT_TRUE(resumed.count(bookmark));
  }
  listener->take();
  Route const last = route(1, 1);
  writer.routeIs(last);
  writer.commit();
  settle(*table);
  listener->take();
  writer.routeIs(last);
  writer.commit();
  settle(*table);
  EXPECT_TRUE(listener->take().empty());  // an equal record is no change
  EXPECT_EQ(table->malformed(), 0u);
}

TEST_F(ShmTable, OutputsAreKnownBeforeTheRoutesThatHaveThem) {
  struct Check : Status::NotifieeConst {
    Check(Status const * t, Status const * w) : table(t), writer(w) { notifierIs(t); }
    ~Check() override { zetDoZombieReactors(true); }
    void onRoute(RouteKey const & k) override {
      Route const route = table->route(k);
      RouteIntfIteratorConst i(route, table);
      seen += static_cast<bool>(i);
      errors += i.error() || route != writer->route(k);
    }
    Status const *const table, *const writer;
    int seen = 0, errors = 0;
  };
  ShmStatusWriter writer(root, "pim.default");
  auto const table = reader();
  auto const check = Zet::make<Check>(table.get(), &writer);
  for (U16 i = 0; i < 3000; ++i) {
    writer.oifIndexIntfIs(OifIndex(i), {IntfId("Vlan" + std::to_string(i % 4000 + 1)), oifForward});
    writer.routeIs(route(i, i));
    if (i % 700 == 0) {
      writer.commit();
      settle(*table);
    }
  }
  writer.commit();
  settle(*table);
  EXPECT_GE(check->seen, 3000);
  EXPECT_EQ(check->errors, 0);
  EXPECT_EQ(table->oifIndexIntf(OifIndex(7)), (OifIndexIntf{IntfId("Vlan8"), oifForward}));
  writer.oifIndexIntfIs(OifIndex(7), {});
  writer.commit();
  settle(*table);
  EXPECT_EQ(table->oifIndexIntf(OifIndex(7)), OifIndexIntf());
}

// Who attaches reads what stands in a table, and is told only what changes: also if that happens to
// a key while others are still being passed over.
TEST_F(ShmTable, DoesNotTellWhatStoodWhenItWasMounted) {
  ShmStatusWriter writer(root, "pim.default");
  writer.oifIndexIntfIs(OifIndex(1), {IntfId("Vlan10"), oifForward});
  for (U32 group = 0; group < 2000; ++group)
    writer.routeIs(route(group, static_cast<U16>(group % 600)));
  writer.commit();
  auto const table = Zet::make<ShmStatus>(watch, root, "pim.default");
  EXPECT_EQ(table->oifIndexIntf(OifIndex(1)).intf, IntfId("Vlan10"));
  EXPECT_EQ(table->route(key(1)), route(1, 1));
  auto const listener = Zet::make<Listener>(table);
  writer.routeIs(route(3, 7));
  table->turn(4);
  EXPECT_TRUE(table->due());
  for (U32 group : {0u, 700u, 1999u}) writer.routeIs(route(group, 601));
  writer.commit();
  settle(*table);
  EXPECT_EQ(listener->take(), (std::set{key(0), key(3), key(700), key(1999)}));
}

TEST_F(ShmTable, NextWriterFindsRoutesAndOutputs) {
  auto const table = reader();
  {
    ShmStatusWriter writer(root, "pim.default");
    EXPECT_THROW(ShmStatusWriter(root, "pim.default"), ZetShoal::ShoalError);
    writer.oifIndexIntfIs(OifIndex(600), {IntfId("Vlan10"), oifForward});
    writer.routeIs(route(1, 600));
  }
  ShmStatusWriter writer(root, "pim.default");
  EXPECT_EQ(writer.oifIndexIntf(OifIndex(600)).intf, IntfId("Vlan10"));
  EXPECT_EQ(writer.route(key(1)), route(1, 600));
  EXPECT_THROW(writer.oifIndexIntfIs(OifIndex(600),
                                     {IntfId("an-interface-with-32-bytes-name!"), oifForward}),
               Zet::RangeException);
  EXPECT_THROW(writer.oifIndexIntfIs(OifIndex(1), {IntfId(), oifNoRpf}), Zet::RangeException);
  EXPECT_THROW(
      writer.routeIs(Route(Routing::Multicast::Fib::makeRouteKeyVlanFloodset(Bridging::VlanId(1))) ^
                     route(1, 1)),
      Zet::RangeException);
  settle(*table);
  EXPECT_EQ(table->route(key(1)), route(1, 600));
  EXPECT_EQ(table->oifIndexIntf(OifIndex(600)).intf, IntfId("Vlan10"));
  EXPECT_EQ(table->routes(), 1u);
}

// A table whose writer writes what it likes.
struct RawTable {
  explicit RawTable(std::string const & root) : dir(root, "pim.default", wireTableType) {}
  void name(U16 number, std::string_view text) {
    WireName name{};
    std::copy_n(text.begin(), std::min(text.size(), name.text.size()), name.text.begin());
    intfs.put(&number, &name);
  }
  void oif(U16 index, WireOif const & oif) { oifs.put(&index, &oif); }

  ZetShoal::ShoalWriterDir dir;
  ZetShoal::ShoalWriter intfs{dir, wireIntfMap, sizeof(WireIntf), sizeof(WireName)};
  ZetShoal::ShoalWriter oifs{dir, wireOifMap, sizeof(OifIndex), sizeof(WireOif)};
  ZetShoal::ShoalWriter routes{dir, wireRouteMaps[0].name, sizeof(WireRouteKey),
                               WireRoute::size(wireRouteMaps[0].words)};
};

WireRouteKey ipv6(char const * group, U8 length) {
  U8 const family = static_cast<U8>(Nettle::ipv6());
  return {{{}, family, 0}, {IpGenAddr(group).bytes(), family, length}, 0};
}

TEST_F(ShmTable, DropsMalformedRecordsAlone) {
  using Spoil = std::function<void(WireRouteKey &, WireRoute &)>;
  std::pair<char const *, Spoil> const rows[] = {
      {"no family", [](auto & k, auto &) { k.source.family = k.group.family = 0; }},
      {"unknown family", [](auto & k, auto &) { k.source.family = k.group.family = 3; }},
      {"two families", [](auto & k, auto &) { k.source.family = 2; }},
      {"source length", [](auto & k, auto &) { k.source.length = 33; }},
      {"group length", [](auto & k, auto &) { k.group.length = 255; }},
      {"host bits", [](auto & k, auto &) { k.source.length = 31; }},
      {"bytes behind an IPv4 address", [](auto & k, auto &) { k.group.address[4] = 1; }},
      {"more bytes behind it", [](auto & k, auto &) { k.source.address[15] = 1; }},
      {"unicast group", [](auto & k, auto &) { k.group.address[0] = 10; }},
      {"key of an L2 route", [](auto & k, auto &) { k.group.address[0] = 0; }},
      {"host bits of IPv6", [](auto & k, auto &) { k = ipv6("ff3e:100::", 16); }},
      {"low host bits of IPv6", [](auto & k, auto &) { k = ipv6("ff3e::1", 127); }},
      {"length of IPv6", [](auto & k, auto &) { k = ipv6("ff3e::", 129); }},
      {"IPv6 unicast", [](auto & k, auto &) { k = ipv6("2001::", 128); }},
      {"the rest of its word", [](auto & k, auto &) { k.zero = 1; }},
      {"bool", [](auto &, auto & r) { r.notifyProgrammable = 2; }},
      {"unknown interface", [](auto &, auto & r) { r.iif = 2; }},
      {"the last interface", [](auto &, auto & r) { r.staticFastdropIntf = 65535; }},
  };
  RawTable raw(root);
  raw.name(1, "Vlan10");
  auto const table = reader();
  auto const listener = Zet::make<Listener>(table);
  U32 group = 0;
  for (auto const & [what, spoil] : rows) {
    SCOPED_TRACE(what);
    WireRoute wire{};
    wire.iif = 1;
    WireRouteKey good, bad;
    ASSERT_TRUE(toWire(key(++group), good) && toWire(key(1000 + group), bad));
    raw.routes.put(&good, &wire);
    spoil(bad, wire);
    raw.routes.put(&bad, &wire);
    raw.dir.commit();
    U64 const before = table->malformed();
    settle(*table);
    EXPECT_TRUE(listener->take().count(key(group)));
    EXPECT_EQ(table->route(key(group)).iif(), IntfId("Vlan10"));
    EXPECT_TRUE(table->route(key(1000 + group)).isDefault());
    EXPECT_GT(table->malformed(), before);
    raw.routes.del(&bad);
  }
}

TEST_F(ShmTable, DropsMalformedNamesAndOutputsAlone) {
  RawTable raw(root);
  std::string_view const names[] = {
      "Vlan10", "",         "a-name-of-thirty-two-bytes-no-end", "Vlan 1",
      "Vlan\n", "Vlan\xff", std::string_view("Vlan\0x", 6)};
  U16 count = 0;
  for (auto name : names) {
    raw.name(++count, name);
    raw.oif(count, {count, oifAccept});
  }
  raw.name(0, "Vlan20");
  raw.oif(100, {1, 64});
  raw.oif(101, {0, oifNoRpf});
  raw.dir.commit();
  auto const table = reader();
  settle(*table);
  EXPECT_EQ(table->oifIndexIntf(OifIndex(1)), (OifIndexIntf{IntfId("Vlan10"), oifAccept}));
  for (U16 i = 2; i <= 101; ++i) EXPECT_EQ(table->oifIndexIntf(OifIndex(i)), OifIndexIntf()) << i;
  EXPECT_GE(table->malformed(), std::size(names));
}

// What it cannot read, the next writer takes away: what it refers to may come to mean something
// else. So it does with a record that says nothing, which is none to anybody.
TEST_F(ShmTable, NextWriterTakesAwayWhatItCannotRead) {
  auto const table = reader();
  {
    RawTable raw(root);
    raw.name(1, "Vlan10");
    raw.oif(1, {1, oifForward});
    raw.oif(2, {2, oifForward});
    for (U16 i : {U16{0}, U16{1}, U16{2}}) {
      WireRoute wire{};
      wire.iif = i;
      WireRouteKey wireKey;
      ASSERT_TRUE(toWire(key(i), wireKey));
      raw.routes.put(&wireKey, &wire);
    }
    raw.dir.commit();
    settle(*table);
    Route nothing;
    EXPECT_FALSE(table->routeRead(key(0), nothing));
  }
  ShmStatusWriter writer(root, "pim.default");
  writer.oifIndexIntfIs(OifIndex(3), {IntfId("Vlan20"), oifForward});  // interface 2
  writer.commit();
  settle(*table);
  EXPECT_EQ(table->routes(), 1u);
  EXPECT_EQ(table->route(key(1)).iif(), IntfId("Vlan10"));
  EXPECT_EQ(table->oifIndexIntf(OifIndex(1)).intf, IntfId("Vlan10"));
  EXPECT_EQ(table->oifIndexIntf(OifIndex(2)), OifIndexIntf());
  EXPECT_EQ(table->oifIndexIntf(OifIndex(3)).intf, IntfId("Vlan20"));
}

// A file takes the table's place, is read, and goes, all between two turns.
TEST_F(ShmTable, RoutesThatWereReadButNeverToldAreLostWithTheirFile) {
  for (bool const removed : {true, false}) {
    auto const table = reader();
    auto const listener = Zet::make<Listener>(table);
    ShmStatusWriter writer(root, "pim.default", 16);
    for (U32 i = 0; i < 10; ++i) writer.routeIs(route(i, 1));
    writer.commit();
    settle(*table);
    for (U32 i = 10; i < 20; ++i) writer.routeIs(route(i, 1));
    Route read;
    EXPECT_TRUE(table->routeRead(key(19), read));
    removed ? writer.remove() : writer.commit();
    settle(*table);
    EXPECT_EQ(listener->lost, removed);
    EXPECT_EQ(listener->take().count(key(19)), !removed);
  }
}

// One of its maps had been outgrown, so that the reader comes by the new one before it hears of the
// files.
TEST_F(ShmTable, TableMadeAnewIsNotReadWithTheNamesOfTheOldOne) {
  auto const table = reader();
  auto const publish = [this](char const * intf) {
    auto writer = std::make_unique<ShmStatusWriter>(root, "pim.default", 16);
    writer->oifIndexIntfIs(OifIndex(0), {IntfId(intf), oifAccept});
    writer->routeIs(route(1, 0));
    writer->commit();
    return writer;
  };
  auto writer = publish("Vlan20");
  settle(*table);
  for (U16 i = 1; i < 100; ++i) {
    writer->oifIndexIntfIs(OifIndex(i), {IntfId("Vlan30"), oifForward});
  }
  writer->remove();
  writer.reset();
  writer = publish("Vlan40");
  table->turn(256);
  settle(*table);
  EXPECT_EQ(table->oifIndexIntf(OifIndex(0)).intf, IntfId("Vlan40"));
}

TEST_F(ShmTable, RefusedTableLeavesTheOthers) {
  auto const table = reader(), other = reader("static.default");
  ShmStatusWriter(root, "static.default").routeIs(route(2, 1));
  {
    ShmStatusWriter writer(root, "pim.default");
    writer.oifIndexIntfIs(OifIndex(1), {IntfId("Vlan10"), oifForward});
    writer.routeIs(route(1, 1));
  }
  settle(*table);
  std::string const path = root + "/pim.default/" + wireRouteMaps[0].name;
  std::filesystem::resize_file(path, 0);
  EXPECT_TRUE(table->route(key(1)).isDefault());
  settle(*table);
  EXPECT_NE(table->refusal().find(path), std::string::npos) << table->refusal();
  EXPECT_EQ(table->oifIndexIntf(OifIndex(1)), OifIndexIntf());
  settle(*other);
  EXPECT_EQ(other->route(key(2)), route(2, 1));
}

}  // namespace
