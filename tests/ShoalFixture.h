// What the tests of shared-memory tables have in common: a root directory of their own, a record
// that shows whether it is whole, and an owner that follows a table as an activity loop would.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "platform/ShoalTable.h"

namespace ShoalTest {

struct Key {
  U64 id;
  U64 rest[4];
  explicit Key(U64 n = 0) : id(n), rest{n * 3, 0, ~n, 7} {}
};

// 26 words made from the key and one seed; a mixture of two records is never whole.
struct Record {
  U64 words[26];
  explicit Record(U64 key = 0, U64 seed = 0) : words{key, seed} {
    for (U64 i = 2; i < 26; ++i) words[i] = (seed + key) * (i | 1) * 0x9e3779b97f4a7c15;
  }
  bool wholeFor(Key const & key) const {
    Record const expected(key.id, words[1]);
    return std::equal(words, words + 26, expected.words);
  }
};

using Writer = ZetShoal::TableWriter<Key, Record>;
using Reader = ZetShoal::TableReader<Key, Record>;
using View = std::map<U64, U64>;  // key to seed

inline View viewOf(auto & table) {
  View view;
  ZetShoal::ShoalCursor cursor;
  Key key;
  Record record;
  while (table.next(cursor, key, record)) {
    EXPECT_TRUE(record.wholeFor(key)) << "key " << key.id;
    EXPECT_TRUE(view.emplace(key.id, record.words[1]).second) << "met twice: " << key.id;
  }
  return view;
}

// Follows one table and keeps what it is told.
struct Follower {
  std::shared_ptr<ZetShoal::ShoalWatch> watch;
  ZetShoal::ShoalReaderDir dir;
  Reader map{dir, "map"};
  View view;
  U64 told = 0;
  U64 torn = 0;

  Follower(std::string const & root, std::string const & name,
           std::shared_ptr<ZetShoal::ShoalWatch> shared = std::make_shared<ZetShoal::ShoalWatch>())
      : watch(std::move(shared)),
        dir(*watch, root, name, "Test/1") {}

  bool rung() {
    pollfd descriptor{watch->fd(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1;
  }
  // One turn; false if there was nothing to do.
  bool turn(U32 atMost = 256) {
    watch->collect();
    if (!dir.due()) return false;
    take(atMost, [](Key const &) {});
    return true;
  }
  // Takes what is new, and hands on each key.
  void take(U32 atMost, auto && hand) {
    dir.refresh();
    if (!dir.refusal().empty()) view.clear();
    Key key;
    for (U32 n = 0; n < atMost && map.nextChange(key); ++n, ++told) {
      take(key);
      hand(key);
    }
  }
  void settle(U32 atMost = 256) {
    for (U32 turns = 0; turn(atMost); ++turns) ASSERT_LT(turns, 100000u) << "never at rest";
  }
  void take(Key const & key) {
    Record record;
    if (!map.read(key, record)) {
      view.erase(key.id);
    } else {
      torn += !record.wholeFor(key);
      view[key.id] = record.words[1];
    }
  }
};

class ShoalFixture : public testing::Test {
 protected:
  std::string const root = "/dev/shm/brindle-test-" + std::to_string(::getpid());

  void SetUp() override { std::filesystem::remove_all(root); }
  void TearDown() override { std::filesystem::remove_all(root); }
};

// A writer of one table with one map.
struct Table {
  ZetShoal::ShoalWriterDir dir;
  Writer map;

  Table(std::string const & root, std::string const & name, U32 slots = 16)
      : dir(root, name, "Test/1"),
        map(dir, "map", slots) {}
  bool put(U64 key, U64 seed = 1) { return map.put(Key(key), Record(key, seed)); }
  bool del(U64 key) { return map.del(Key(key)); }
  void commit() { dir.commit(); }
};

}  // namespace ShoalTest
