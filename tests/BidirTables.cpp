// Tables of bidirectional PIM across shared memory: what the reader hears and reads against what
// was written, and what becomes of a table that has gone bad.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "platform/Mount.h"
#include "state/ShmBidirStatus.h"
#include "tests/LogLines.h"

namespace {

using namespace Shoal::Multicast::Fib;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;
using Wharf::CorruptionDetectedException;

IpGenPrefix group(U64 n) {
  return IpGenPrefix::around(IpGenAddr(static_cast<U32>(0xe1000000 + (n << 8))),
                             static_cast<U32>(24 + n % 9));
}
IpGenPrefix groupV6(U64 n) { return IpGenPrefix("ff3e:" + std::to_string(n) + "::/32"); }
IntfId intf(U64 n) { return IntfId("Vlan" + std::to_string(n)); }

// Reads what it is told of, as a machine does, and hands corruption to the table.
struct Machine : BidirStatus::NotifieeConst {
  explicit Machine(Zet::Ptr<BidirStatus const> const & t) : table(t.get()) { notifierIs(table); }
  ~Machine() override { zetDoZombieReactors(true); }
  void onBidirGroup(IpGenPrefix const & prefix) override {
    BidirGroup value;
    try {
      value = table->bidirGroup(prefix);
    } catch (CorruptionDetectedException const & e) {
      ++caught;
      table->corruptionDetected(e);
    }
    if (value == BidirGroup()) {
      groups.erase(prefix);
    } else {
      EXPECT_EQ(value.prefix, prefix);
      groups.insert(prefix);
    }
  }
  void onDfProfile(IntfId const & i) override {
    DfProfile const value = table->dfProfile(i);
    if (value == DfProfile()) {
      profiles.erase(i);
    } else {
      profiles[i] = value.bitmap;
    }
  }
  BidirStatus const * const table;
  std::set<IpGenPrefix> groups;
  std::map<IntfId, U64> profiles;
  int caught = 0;
};

class BidirTables : public testing::Test {
 protected:
  BidirTables() {
    char path[] = "/dev/shm/brindle-test-XXXXXX";
    root = ::mkdtemp(path);
    loop->clockIs(clock);
    mount = Zet::make<ZetShoal::Mount>();
  }
  ~BidirTables() override {
    mount = nullptr;
    loop->clockIs(nullptr);
    std::filesystem::remove_all(root);
  }

  Zet::Ptr<BidirStatus> mounted(Nettle::AddressFamily af = Nettle::ipv4(),
                                char const * vrf = "red") {
    auto const path = bidirStatusPath(af, vrf);
    mount->doMount(path, "Shoal::Multicast::Fib::BidirStatus", {root});
    return dynamic_cast<BidirStatus *>(mount->getEntity(path).ptr());
  }
  std::unique_ptr<ShmBidirStatusWriter> writer(
      char const * table = "routing:multicast:bidirstatus:red") {
    return std::make_unique<ShmBidirStatusWriter>(root, table);
  }
  std::string file(char const * map) const {
    return root + "/routing:multicast:bidirstatus:red/" + map;
  }
  std::string refusal() const { return mount->refusal("routing/multicast/bidirstatus/red"); }
  void settle() { loop->runUntilQuiet(); }

  Zet::Ptr<Zet::ActivityManager> loop = Zet::activityManager();
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>();
  Tests::LogLines log;
  std::string root;
  Zet::Ptr<ZetShoal::Mount> mount;
};

// The machine keeps nothing but what it was told: it ends as the model whatever happens to the
// files, also if a table goes and comes back between two looks.
TEST_F(BidirTables, WhoIsToldEachKeyHasTheTable) {
  std::mt19937 random(1);
  auto const table = mounted();
  auto const machine = Zet::make<Machine>(table);
  std::set<IpGenPrefix> groups;
  std::map<IntfId, U64> profiles;
  auto w = writer();
  for (int round = 0; round < 300; ++round) {
    for (auto n = random() % 60; n; --n) {
      IpGenPrefix const prefix = random() % 4 ? group(random() % 200) : groupV6(random() % 50);
      IntfId const i = intf(1 + random() % 100);
      U64 const bitmap = random() % 3 ? U64{1} << random() % 64 | random() : 0;
      if (random() % 2) {
        w->bidirGroupIs(prefix);
        groups.insert(prefix);
      } else {
        w->bidirGroupDel(prefix);
        groups.erase(prefix);
      }
      w->dfProfileIs(i, {bitmap});
      if (bitmap)
        profiles[i] = bitmap;
      else
        profiles.erase(i);
    }
    switch (random() % 8) {
      case 0:  // what was read of it without having been told is told gone, too
        w->bidirGroupIs(group(500));
        machine->onBidirGroup(group(500));
        w->dfProfileIs(intf(500), {7});
        machine->onDfProfile(intf(500));
        w->remove();
        groups.clear();
        profiles.clear();
        [[fallthrough]];
      case 1:
        w = nullptr;
        w = writer();
        break;
      default:
        w->commit();
    }
    if (random() % 3 == 0) continue;
    settle();
    ASSERT_EQ(machine->groups, groups) << round;
    ASSERT_EQ(machine->profiles, profiles) << round;
    ASSERT_EQ(table->bidirGroup().size(), groups.size());
    ASSERT_EQ(table->dfProfile().size(), profiles.size());
  }
  EXPECT_TRUE(log.lines.empty()) << log.lines[0];
}

TEST_F(BidirTables, EachFamilyAndVrfHasItsOwn) {
  writer("routing:multicast:bidirstatus:default")->bidirGroupIs(group(1));
  writer("routing6:multicast:bidirstatus:default")->bidirGroupIs(groupV6(6));
  writer()->bidirGroupIs(group(2));
  auto const four = mounted(Nettle::ipv4(), "default"), six = mounted(Nettle::ipv6(), "default"),
             red = mounted();
  settle();
  EXPECT_EQ(four->bidirGroup().items()[0], group(1));
  EXPECT_EQ(six->bidirGroup().items()[0], groupV6(6));
  EXPECT_EQ(red->bidirGroup().items()[0], group(2));
  EXPECT_THROW(red->bidirGroupIs(group(3)), Zet::NoImplementationException);
  EXPECT_THROW(red->dfProfileDel(intf(3)), Zet::NoImplementationException);
}

TEST_F(BidirTables, WriterRefusesWhatNobodyCouldRead) {
  auto const w = writer();
  EXPECT_THROW(writer(), ZetShoal::ShoalError);
  EXPECT_THROW(w->bidirGroupIs(IpGenPrefix()), Zet::RangeException);
  EXPECT_THROW(w->bidirGroupIs(IpGenPrefix("10.0.0.0/8")), Zet::RangeException);
  EXPECT_THROW(w->bidirGroupIs(IpGenPrefix("224.0.0.0/3")), Zet::RangeException);
  EXPECT_THROW(w->bidirGroupIs(IpGenPrefix("ff00::/7")), Zet::RangeException);
  EXPECT_THROW(w->dfProfileIs(IntfId(), {1}), Zet::RangeException);
  EXPECT_THROW(w->dfProfileIs(IntfId("an-interface-with-32-bytes-name!"), {1}),
               Zet::RangeException);
}

// Each profile is one byte eight times: a mixture of two would show.
[[noreturn]] void churnUntilKilled(std::string const & root, U64 seed) {
  try {
    ShmBidirStatusWriter w(root, "routing:multicast:bidirstatus:red");
    std::mt19937 random(seed);
    for (U32 n = 0;; ++n) {
      U32 const k = random() % 64;
      if (random() % 4)
        w.bidirGroupIs(group(k));
      else
        w.bidirGroupDel(group(k));
      if (random() % 64 == 0) w.bidirGroupIs(group(1000 + n % 60000));
      w.dfProfileIs(intf(1 + k), {random() % 4 ? 0x0101010101010101 * (random() % 256) : 0});
      if (random() % 8 == 0) w.commit();
    }
  } catch (std::exception const & e) {
    std::fprintf(stderr, "writer: %s\n", e.what());
  }
  ::_exit(3);
}

TEST_F(BidirTables, AnotherProcessWritesAndDiesWhileWeRead) {
  auto const table = mounted();
  auto const machine = Zet::make<Machine>(table);
  std::mt19937 random(2);
  U64 reads = 0, torn = 0;
  for (int kills = 0; kills < 24; ++kills) {
    pid_t const child = ::fork();
    if (child == 0) churnUntilKilled(root, random());
    for (auto turns = 10 + random() % 60; turns; --turns) {
      loop->runOnce(false);
      for (U32 k = 0; k < 64; ++k, ++reads) {
        U64 const bitmap = table->dfProfile(intf(1 + k)).bitmap;
        torn += bitmap != 0x0101010101010101 * (bitmap & 255);
        auto const value = table->bidirGroup(group(k));
        torn += !value.prefix.isNull() && value.prefix != group(k);
      }
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer could not take over";
    if (kills % 3) continue;
    auto const next = writer();
    settle();
    auto const & stand = next->bidirGroup().items();
    ASSERT_EQ(machine->groups, (std::set<IpGenPrefix>{stand.begin(), stand.end()}));
    for (U32 k = 0; k < 64; ++k) {
      auto const at = machine->profiles.find(intf(1 + k));
      ASSERT_EQ(at == machine->profiles.end() ? 0 : at->second,
                next->dfProfile(intf(1 + k)).bitmap);
    }
  }
  EXPECT_EQ(torn, 0u);
  EXPECT_GT(reads, 1000u);
  EXPECT_TRUE(log.lines.empty()) << log.lines[0];
}

// Writes what it likes.
struct RawTable {
  explicit RawTable(std::string const & root)
      : dir(root, "routing:multicast:bidirstatus:red", wireBidirType) {}
  ZetShoal::ShoalWriterDir dir;
  ZetShoal::TableWriter<WirePrefix, WirePrefix> groups{dir, wireBidirGroupMap};
  ZetShoal::TableWriter<WireName, WireDfProfile> profiles{dir, wireDfProfileMap};
};

WireName name(std::string_view text) {
  WireName name{};
  text.copy(name.text.data(), name.text.size());
  return name;
}

WirePrefix wire(U8 first, U8 last, U8 length) {
  WirePrefix wire{{}, static_cast<U8>(Nettle::ipv4()), length};
  wire.address[0] = first;
  wire.address[3] = last;
  return wire;
}

// A whole table is given up for one contradiction in it, as a group or a profile too many may make
// a loop. The others go on, and so does the protocol's next life.
TEST_F(BidirTables, OneContradictionTakesTheTableOutUntilItIsWrittenAnew) {
  struct Row {
    char const * what;
    std::function<void(RawTable &)> spoil;
    char const * refusal;
    int caught = 0;
  };
  auto const putGroup = [](WirePrefix const & key, WirePrefix const & record) {
    return [=](RawTable & raw) { raw.groups.put(key, record); };
  };
  auto const putProfile = [](char const * key, WireDfProfile record) {
    return [=](RawTable & raw) { raw.profiles.put(name(key), record); };
  };
  WirePrefix const good = toWire(group(1));
  char const * const noGroup = "groups holds a key that is no prefix of multicast groups";
  char const * const noName = "profiles holds a key that is no interface's name";
  Row const rows[] = {
      {"another's record", putGroup(good, toWire(group(2))),
       "groups holds a record of 225.0.1.0/25 that is not its own", 1},
      {"record of a new group", putGroup(toWire(group(77)), WirePrefix{}),
       "groups holds a record of 225.0.77.0/29 that is not its own", 1},
      {"unicast", putGroup(wire(10, 0, 8), wire(10, 0, 8)), noGroup},
      {"host bits", putGroup(wire(225, 1, 8), wire(225, 1, 8)), noGroup},
      {"length", putGroup(wire(225, 0, 33), wire(225, 0, 33)), noGroup},
      {"no family", putGroup(WirePrefix{}, WirePrefix{}), noGroup},
      {"bitmap", putProfile("Vlan1", {3, ~U64{1}}),
       "profiles holds a profile of Vlan1 that contradicts itself"},
      {"empty bitmap", putProfile("Vlan1", {0, ~U64{0}}),
       "profiles holds a profile of Vlan1 that contradicts itself"},
      {"no name", putProfile("", {1, ~U64{1}}), noName},
      {"no end", putProfile("a-name-of-thirty-two-bytes-no-end", {1, ~U64{1}}), noName},
      {"too many groups",
       [](RawTable & raw) {
         for (U32 n = 0; n <= maxBidirMembers; ++n) {
           auto const key = toWire(IpGenPrefix(IpGenAddr(0xe8000000 + n)));
           raw.groups.put(key, key);
         }
       },
       "groups holds more than 65536 keys"},
      {"too many interfaces",
       [](RawTable & raw) {
         for (U32 n = 0; n <= maxBidirMembers; ++n) {
           raw.profiles.put(name("if" + std::to_string(n)), toWire(DfProfile{1}));
         }
       },
       "profiles holds more than 65536 keys"},
  };
  ShmBidirStatusWriter blue(root, "routing:multicast:bidirstatus:blue");
  auto const table = mounted(), other = mounted(Nettle::ipv4(), "blue");
  auto const machine = Zet::make<Machine>(table), otherMachine = Zet::make<Machine>(other);
  U32 told = 0;
  for (auto const & row : rows) {
    SCOPED_TRACE(row.what);
    auto const publish = [&] {
      auto const w = writer();
      for (U32 n = 1; n < 40; ++n) w->bidirGroupIs(group(n));
      for (U32 n = 1; n < 40; ++n) w->dfProfileIs(intf(n), {n});
    };
    publish();
    settle();
    EXPECT_EQ(machine->groups.size(), 39u);
    EXPECT_EQ(machine->profiles.size(), 39u);
    {
      RawTable raw(root);
      row.spoil(raw);
    }
    machine->caught = 0;
    clock->nowIs(clock->shown() + 10);  // the operator is not told the same twice a second
    settle();
    EXPECT_EQ(machine->caught, row.caught);
    EXPECT_EQ(refusal(), file(row.refusal));
    EXPECT_TRUE(machine->groups.empty());
    EXPECT_TRUE(machine->profiles.empty());
    EXPECT_EQ(table->bidirGroup(group(5)), BidirGroup());
    ASSERT_EQ(log.lines.size(), ++told);
    EXPECT_NE(log.lines.back().find("SHOAL_TABLE_REFUSED"), std::string::npos);
    EXPECT_NE(log.lines.back().find(file(row.refusal)), std::string::npos) << log.lines.back();
    blue.bidirGroupIs(group(told));
    blue.commit();
    settle();
    EXPECT_EQ(otherMachine->groups.size(), told);

    publish();
    settle();
    EXPECT_EQ(refusal(), "");
    EXPECT_TRUE(machine->groups.count(group(39)) && machine->profiles.count(intf(39)));
    writer()->remove();
    settle();
    EXPECT_TRUE(machine->groups.empty());
  }
}

// Files that are none of ours, or of another version, or end too early.
TEST_F(BidirTables, ForeignFilesAreRefused) {
  std::pair<char const *, std::function<void(std::string const &)>> const rows[] = {
      {"has 0 bytes, too few for a header",
       [](std::string const & path) { std::filesystem::resize_file(path, 0); }},
      {"is not a map of a shared-memory table (wrong magic number)",
       [](std::string const & path) { std::ofstream(path) << std::string(4096, 'x'); }},
      {"is of type 'Shoal::Multicast::Fib::BidirStatus/2', expected "
       "'Shoal::Multicast::Fib::BidirStatus/1'",
       [](std::string const & path) {
         std::fstream out(path, std::ios::in | std::ios::out | std::ios::binary);
         out.seekp(24);
         out << "Shoal::Multicast::Fib::BidirStatus/2";
       }},
  };
  for (auto const & [reason, tamper] : rows) {
    for (char const * map : {"groups", "profiles"}) {
      writer()->bidirGroupIs(group(1));
      tamper(file(map));
      auto const table = mounted();
      auto const machine = Zet::make<Machine>(table);
      settle();
      EXPECT_EQ(refusal(), file(map) + ' ' + reason);
      EXPECT_TRUE(machine->groups.empty());
      writer()->bidirGroupIs(group(2));
      settle();
      EXPECT_TRUE(machine->groups.count(group(2))) << "made anew";
      std::filesystem::resize_file(file("groups"), 0);
      EXPECT_THROW(table->bidirGroup(group(2)), CorruptionDetectedException);
      EXPECT_EQ(table->bidirGroup(group(2)), BidirGroup());
      mount->doUnmount("routing/multicast/bidirstatus/red");
      writer()->remove();
    }
  }
}

// Random bytes anywhere: nobody reads a value that was never written, and a protocol that starts
// again brings all back.
TEST_F(BidirTables, RandomDamageIsNeverTakenForAValue) {
  std::mt19937 random(3);
  U32 refusals = 0, caught = 0;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    auto const publish = [&](U64 life) {
      auto const w = writer();
      for (U32 n = 40; n; --n) w->bidirGroupIs(group(n));
      for (U32 n = 40; n; --n) w->dfProfileIs(intf(n), {life << 32 | n});
      for (U32 n = 40; n > 29; --n) w->bidirGroupDel(group(n));
      for (U32 n = 40; n > 29; --n) w->dfProfileDel(intf(n));
    };
    publish(1);
    publish(2);
    auto const table = mounted();
    auto const machine = Zet::make<Machine>(table);
    if (round % 2) settle();
    for (int n = 0; n < 1 + round % 40; ++n) {
      std::string const path = file(random() % 2 ? "groups" : "profiles");
      std::fstream out(path, std::ios::in | std::ios::out | std::ios::binary);
      out.seekp(static_cast<long>(random() % std::filesystem::file_size(path)));
      out.put(static_cast<char>(random()));
    }
    for (U32 n = 1; n < 30; ++n) machine->onBidirGroup(group(n));
    for (U32 n = 1; n < 30; ++n) machine->onDfProfile(intf(n));
    settle();
    for (auto const & prefix : machine->groups) {
      EXPECT_TRUE(prefix >= group(1) && prefix <= group(29)) << Zet::valueToStrep(prefix);
    }
    for (auto const & [i, bitmap] : machine->profiles) {
      bool const written =
          (bitmap >> 32 == 1 || bitmap >> 32 == 2) && i == intf(bitmap & 0xffffffff);
      EXPECT_TRUE(written) << i.view() << ' ' << bitmap;
    }
    refusals += !refusal().empty();
    caught += static_cast<U32>(machine->caught);
    publish(3);
    settle();
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(machine->groups.size(), 29u);
    EXPECT_EQ(machine->profiles.size(), 29u);
    for (auto const & [i, bitmap] : machine->profiles) EXPECT_EQ(bitmap >> 32, 3u);
    mount->doUnmount("routing/multicast/bidirstatus/red");
    std::filesystem::remove_all(root + "/routing:multicast:bidirstatus:red");
  }
  EXPECT_GT(refusals, 100u);
  EXPECT_GT(caught, 10u);
}

}  // namespace
