// Shared-memory tables between a writer and readers that behave: what is told, when, and that it
// is all.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/ShoalFixture.h"
#include "tests/Thrown.h"

namespace ShoalTest {

using ZetShoal::ShoalCursor;
using ZetShoal::ShoalError;

using ShoalTable = ShoalFixture;

TEST_F(ShoalTable, equalRecordNotifiesNobody) {
  Table table(root, "t");
  table.put(1, 5);
  table.commit();
  Follower follower(root, "t");
  follower.settle();
  U64 const told = follower.told;

  EXPECT_FALSE(table.put(1, 5));
  EXPECT_FALSE(table.del(2));
  table.commit();
  EXPECT_FALSE(follower.rung());
  EXPECT_FALSE(follower.dir.due());

  EXPECT_TRUE(table.del(1));
  EXPECT_TRUE(table.put(1, 5)) << "a deleted key has no record";
  table.commit();
  EXPECT_TRUE(follower.rung());
  follower.settle();
  EXPECT_EQ(follower.told, told + 2);
  EXPECT_EQ(follower.view, viewOf(table.map));
}

TEST_F(ShoalTable, growthIsFollowedWithoutAWalk) {
  Table table(root, "t");
  Follower follower(root, "t");
  follower.settle();
  for (U64 key = 0; key < 5000; ++key) {
    table.put(key, key + 1);
    if (key % 3 == 0) table.del(key / 2);
    if (key % 5) continue;
    table.commit();
    follower.turn(7);  // a reader that keeps up, just, and is behind when a file is full
  }
  follower.settle();
  EXPECT_EQ(follower.map.walks(), 1u);
  EXPECT_EQ(follower.view, viewOf(table.map));
}

// Keys that come and go must not fill the file for ever, and a reader that slept through their
// deletion, and through the clearing away of what was deleted, still hears of each.
TEST_F(ShoalTable, deletedKeysAreClearedAwayAndToldToASleeper) {
  Table table(root, "t", 64);
  Follower awake(root, "t"), sleeper(root, "t");
  for (U64 key = 0; key < 10; ++key) table.put(key);
  awake.settle();
  sleeper.settle();
  for (U64 key = 10; key < 3000; ++key) {
    table.put(key);
    table.del(key - 10);
    table.commit();
    awake.settle();
  }
  EXPECT_LT(std::filesystem::file_size(root + "/t/map"), 128 * 600u);
  EXPECT_EQ(awake.map.walks(), 1u);
  U64 const told = sleeper.told;
  sleeper.settle(3);
  EXPECT_GE(sleeper.told, told + 20);
  View const expected = viewOf(table.map);
  EXPECT_EQ(expected.size(), 10u);
  EXPECT_EQ(awake.view, expected);
  EXPECT_EQ(sleeper.view, expected);
}

// The same, and keys that the sleeper reads while it walks the old file are deleted, and cleared
// away in their turn, before it has come to the end of it.
TEST_F(ShoalTable, deletedKeysAreToldThoughTheWriterRunsAhead) {
  Table table(root, "t", 64);
  U64 next = 1000;
  auto const churn = [&] {
    for (U64 const end = next + 300; next < end; ++next) {
      table.put(next);
      table.del(next);
    }
  };
  for (U64 key = 0; key < 30; ++key) table.put(key);
  Follower follower(root, "t");
  follower.settle();
  for (U64 key = 0; key < 30; key += 3) {
    churn();
    follower.turn(10);
    table.del(key);
    table.del(29 - key);
  }
  churn();
  follower.settle(10);
  EXPECT_EQ(follower.view, viewOf(table.map));
}

TEST_F(ShoalTable, lappedReaderWalksInSlicesWhileTheWriterGoesOn) {
  Table table(root, "t", 256);
  Follower follower(root, "t");
  for (U64 key = 0; key < 200; ++key) table.put(key);
  follower.settle();
  for (U64 seed = 2; seed < 5; ++seed)
    for (U64 key = 0; key < 200; ++key) key % 7 ? table.put(key, seed) : table.del(key);
  for (U64 turns = 0; follower.turn(16); ++turns) {
    ASSERT_LT(turns, 1000u);
    table.put(turns % 200, 10 + turns);
    table.del((turns * 3) % 200);
    if (turns > 40) table.commit();
    if (turns == 60) break;
  }
  follower.settle(16);
  EXPECT_GE(follower.map.walks(), 2u);
  EXPECT_EQ(follower.view, viewOf(table.map));
}

TEST_F(ShoalTable, oneWriterAtATimeAndTheNextTakesOver) {
  auto first = std::make_unique<Table>(root, "t");
  first->put(1);
  first->put(2);
  Follower follower(root, "t");
  follower.settle();
  EXPECT_EQ(Tests::thrown<ShoalError>([&] { Table second(root, "t"); }),
            root + "/t is being written by another process");
  first.reset();
  Table next(root, "t");
  EXPECT_EQ(next.map.size(), 2u);
  EXPECT_TRUE(next.put(3));
  EXPECT_FALSE(next.put(2));
  next.commit();
  follower.settle();
  EXPECT_EQ(follower.map.walks(), 2u) << "the last writer may have died unheard";
  EXPECT_EQ(follower.view, (View{{1, 1}, {2, 1}, {3, 1}}));
}

TEST_F(ShoalTable, removedTableIsToldKeyByKeyAndMayComeBack) {
  Follower follower(root, "t");
  {
    Table table(root, "t");
    for (U64 key = 0; key < 9; ++key) table.put(key);
    follower.settle();
    EXPECT_EQ(follower.view.size(), 9u);
    table.dir.remove();
  }
  EXPECT_TRUE(follower.rung());
  follower.settle(2);
  EXPECT_TRUE(follower.view.empty());
  EXPECT_FALSE(follower.dir.present());
  EXPECT_FALSE(std::filesystem::exists(root + "/t"));

  Table again(root, "t");
  again.put(5, 6);
  again.commit();
  EXPECT_TRUE(follower.rung());
  follower.settle();
  EXPECT_EQ(follower.view, (View{{5, 6}}));

  // Both steps between two turns of the reader.
  again.dir.remove();
  Table third(root, "u");
  std::filesystem::rename(root + "/u", root + "/t");
  third.put(8, 1);
  third.commit();
  follower.settle();
  EXPECT_EQ(follower.view, (View{{8, 1}}));
}

TEST_F(ShoalTable, walkMeetsEachStayingMemberOnceAcrossNewFiles) {
  Table table(root, "t");
  for (U64 key = 0; key < 12; ++key) table.put(key);
  Follower follower(root, "t");
  View met;
  ShoalCursor cursor;
  Key key;
  Record record;
  for (U64 step = 0; follower.map.next(cursor, key, record); ++step) {
    EXPECT_TRUE(met.emplace(key.id, step).second) << "met twice: " << key.id;
    if (step < 300) table.put(100 + step);
    if (step == 5) table.del(2);
    if (step == 5) table.del(9);
  }
  EXPECT_EQ(met.size(), 311u);

  // Resumed behind a bookmark, in another process's life, and behind one that is not known.
  key = Key(110);
  cursor = ShoalCursor::onKey();
  ASSERT_TRUE(follower.map.next(cursor, key, record));
  EXPECT_EQ(key.id, 111u);
  key = Key(99999);
  cursor = ShoalCursor::onKey();
  ASSERT_TRUE(follower.map.next(cursor, key, record));
  EXPECT_EQ(key.id, 0u);
}

// A record of one map names a record of another: who sees the first must find the second, also
// when that one's map has moved to a new file and no turn has come in between.
TEST_F(ShoalTable, orderOfWritesHoldsBetweenMaps) {
  ZetShoal::ShoalWriterDir writerDir(root, "t", "Test/1");
  Writer routes(writerDir, "routes", 4096), interfaces(writerDir, "interfaces");
  ZetShoal::ShoalWatch watch;
  ZetShoal::ShoalReaderDir dir(watch, root, "t", "Test/1");
  Reader seenRoutes(dir, "routes"),
      seenInterfaces(dir, "interfaces", ZetShoal::ShoalFollow::values);
  Record record;
  for (U64 n = 0; n < 1000; ++n) {
    interfaces.put(Key(n), Record(n, 1));
    routes.put(Key(n), Record(n, 1));
    ASSERT_TRUE(seenRoutes.read(Key(n), record));
    ASSERT_TRUE(seenInterfaces.read(Key(n), record)) << n;
  }
  Key key;
  dir.refresh();
  while (seenRoutes.nextChange(key)) {}
  EXPECT_FALSE(dir.due()) << "a map that is only read from has nothing to hand over";
}

TEST_F(ShoalTable, manyTablesShareOneWatch) {
  ZetShoal::ShoalWatch watch;
  std::vector<std::unique_ptr<ZetShoal::ShoalReaderDir>> dirs;
  std::vector<std::unique_ptr<Reader>> maps;  // gone before their tables
  Key key;
  for (U64 n = 0; n < 200; ++n) {
    dirs.push_back(
        std::make_unique<ZetShoal::ShoalReaderDir>(watch, root, std::to_string(n % 150), "Test/1"));
    maps.push_back(std::make_unique<Reader>(*dirs.back(), "map"));
    dirs.back()->refresh();
  }
  maps.erase(maps.begin() + 10);
  dirs.erase(dirs.begin() + 10);  // shares the watch of the root with all others
  Table table(root, "30");
  table.put(4);
  table.commit();
  watch.collect();
  U32 told = 0;
  for (auto & dir : dirs) dir->refresh();
  for (auto & map : maps) told += map->nextChange(key);
  EXPECT_EQ(told, 2u) << "tables 30 and 180";
}

TEST_F(ShoalTable, writerWithoutMemoryKeepsWhatStands) {
  Table table(root, "t");
  for (U64 key = 0; key < 16; ++key) table.put(key);
  auto const oldHandler = ::signal(SIGXFSZ, SIG_IGN);
  rlimit const old = [] {
    rlimit limit;
    ::getrlimit(RLIMIT_FSIZE, &limit);
    return limit;
  }();
  rlimit const tight{4096, old.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_THROW(table.put(16), ShoalError);
  EXPECT_FALSE(std::filesystem::exists(root + "/t/map.next"));
  EXPECT_TRUE(table.put(3, 7));
  ::setrlimit(RLIMIT_FSIZE, &old);
  ::signal(SIGXFSZ, oldHandler);
  Follower follower(root, "t");
  follower.settle();
  EXPECT_EQ(follower.view.size(), 16u);
  EXPECT_EQ(follower.view.at(3), 7u);
  EXPECT_TRUE(table.put(16));
  follower.settle();
  EXPECT_EQ(follower.view.size(), 17u);
  struct stat status;
  ASSERT_EQ(::stat((root + "/t/map").c_str(), &status), 0);
  EXPECT_GE(status.st_blocks * 512, status.st_size) << "memory that may turn out not to be there";
}

TEST_F(ShoalTable, badNamesAreRefused) {
  for (std::string const & name :
       {std::string(), std::string("."), std::string(".."), std::string("a/b"),
        std::string("a\0b", 3), std::string(201, 'a')})
    EXPECT_THROW(Table(root, name), ShoalError) << name;
  EXPECT_NO_THROW(Table(root, std::string(200, 'a')));
  ZetShoal::ShoalWriterDir dir(root, "t", "Test/1");
  for (char const * map : {"lock", "bell", "map.next", "../map"})
    EXPECT_THROW(Writer(dir, map), ShoalError) << map;
  EXPECT_THROW(ZetShoal::ShoalWriterDir(root, "u", std::string(64, 'a')), ShoalError);
}

}  // namespace ShoalTest
