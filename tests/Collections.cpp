// The contract of iteration of the collections, under growth, shrinking and deletion.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <vector>

#include "platform/HashMap.h"
#include "platform/LinkQueue.h"
#include "platform/RbTreeMap.h"

namespace {

using Map = Zet::HashMap2018<U32, U32>;

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  U32 operator()() { return static_cast<U32>(std::mt19937::operator()()); }
};

std::set<U32> keysOf(Map const & m) {
  std::set<U32> keys;
  for (auto i = m.begin(); i; i.advance()) EXPECT_TRUE(keys.insert(i.key()).second);
  return keys;
}

// A key whose hash leaves many equal, so that chains hold several keys of one order.
struct Colliding {
  U32 v = 0;
  U32 hash() const { return v % 3; }
  auto operator<=>(Colliding const &) const = default;
};

}  // namespace

TEST(HashMap, HoldsWhatAModelHoldsThroughGrowthAndShrinking) {
  Map map;
  std::map<U32, U32> model;
  Random random(7);
  for (int phase = 0; phase < 6; ++phase) {
    bool growing = phase % 2 == 0;
    for (int i = 0; i < 20000; ++i) {
      U32 key = random() % 30000;
      if (growing || random() % 8 == 0) {
        map.at(key) = model[key] = random();
      } else {
        EXPECT_EQ(map.del(key), model.erase(key) == 1);
      }
    }
    ASSERT_EQ(map.size(), model.size());
    for (auto & [k, v] : model) ASSERT_TRUE(map.find(k) && *map.find(k) == v) << k;
    EXPECT_EQ(keysOf(map).size(), model.size());
  }
}

TEST(HashMap, APassSeesEachMemberThatStaysOnceWhateverHappensMeanwhile) {
  Random random(11);
  for (int round = 0; round < 50; ++round) {
    Map map;
    std::set<U32> stays;
    for (U32 k = 0; k < 500; ++k) map.at(k) = 0;
    for (U32 k = 0; k < 500; k += 2) stays.insert(k);
    std::multiset<U32> seen;
    for (auto i = map.begin(); i; i.advance()) {
      seen.insert(i.key());
      if (i.key() % 2) map.del(i.key());  // the current one
      map.del((random() % 250) * 2 + 1);  // another one
      if (seen.size() < 200) {            // grows
        for (int n = 0; n < round; ++n) map.at(1000 + random() % 100000) = 1;
      }
    }
    for (U32 k : stays) ASSERT_EQ(seen.count(k), 1u) << k;
  }
}

TEST(HashMap, APassResumesAtAnyKeyPresentOrNotWhateverTheSize) {
  Map map;
  for (U32 k = 0; k < 1000; ++k) map.at(k) = 0;
  std::vector<U32> order;
  for (auto i = map.begin(); i; i.advance()) order.push_back(i.key());
  for (U32 at : {0u, 1u, 500u, 998u}) {
    map.del(order[at]);
    auto i = map.startAt(order[at]);
    ASSERT_TRUE(i);
    EXPECT_EQ(i.key(), order[at + 1]);
    for (U32 k = 1000; k < 3000; ++k) map.at(k) = 0;
    for (U32 k = 1000; k < 3000; ++k) map.del(k);
    map.at(order[at]) = 0;
    EXPECT_EQ(map.startAtHash(order[at], Zet::hashOf(order[at])).key(), order[at]);
  }
  std::vector<U32> again;
  for (auto i = map.begin(); i; i.advance()) again.push_back(i.key());
  EXPECT_EQ(order, again);
}

TEST(HashMap, EqualHashesAreToldApartByTheKey) {
  Zet::HashMap2018<Colliding, U32> map;
  for (U32 v = 0; v < 60; ++v) map.at({v}) = v;
  for (U32 v = 0; v < 60; v += 2) EXPECT_TRUE(map.del({v}));
  for (U32 v = 0; v < 60; ++v) EXPECT_EQ(map.find({v}) != nullptr, v % 2 == 1);
  auto i = map.startAt({30});  // gone: its chain goes on at the next greater key
  ASSERT_TRUE(i);
  EXPECT_EQ(i.key().v, 33u);
}

TEST(HashMap, AnIteratorMayStandOnADeletedNode) {
  Map map;
  for (U32 k = 0; k < 10; ++k) map.at(k) = k;
  auto i = map.begin();
  U32 first = i.key();
  map.del(first);
  EXPECT_EQ(i.currNodeMaybeStale()->fwkKey(), first);
  EXPECT_NE(i.currNodeNonStale()->fwkKey(), first);
  map.clear();
  EXPECT_EQ(i.currNodeNonStale(), nullptr);
}

TEST(RbTreeMap, KeepsOrderAndSurvivesChangesUnderItsIterator) {
  Zet::RbTreeMap<U32, std::string> map;
  std::map<U32, std::string> model;
  Random random(5);
  for (int i = 0; i < 3000; ++i) {
    U32 k = random() % 100;
    if (random() % 3) {
      map.at(k) = model[k] = std::to_string(random());
    } else {
      EXPECT_EQ(map.del(k), model.erase(k) == 1);
    }
  }
  auto copy = map;
  EXPECT_TRUE(copy == map);
  auto m = model.begin();
  for (auto i = map.begin(); i; i.advance(), ++m) {
    ASSERT_EQ(i.key(), m->first);
    EXPECT_EQ(i->value, m->second);
  }
  EXPECT_EQ(m, model.end());
  std::vector<U32> seen;
  for (auto i = copy.begin(); i; i.advance()) {
    seen.push_back(i.key());
    copy.del(i.key());
    copy.del(i.key() + 1);
  }
  EXPECT_TRUE(copy.empty());
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_FALSE(copy == map);
}

TEST(LinkQueue, IsFirstInFirstOutAndABookmarkSurvivesItsNeighbours) {
  Zet::LinkQueue<U32, int> q;
  for (U32 k = 0; k < 10; ++k) EXPECT_TRUE(q.push(k, static_cast<int>(k) * 10));
  EXPECT_FALSE(q.push(4, 0));
  EXPECT_EQ(*q.find(4), 40);
  {
    Zet::LinkQueue<U32, int>::Iterator i(q);
    for (int n = 0; n < 4; ++n) i.advance();
    i.bookmarkIs();
    q.del(3);
    q.del(4);
    q.del(5);
    i.resume();
    EXPECT_EQ(i.key(), 6u);
    EXPECT_FALSE(i.hasBookmark());
    i.bookmarkIs();
  }
  std::vector<U32> left;
  for (; !q.empty(); q.pop()) left.push_back(*q.frontKey());
  EXPECT_EQ(left, (std::vector<U32>{0, 1, 2, 6, 7, 8, 9}));
  EXPECT_EQ(q.front(), nullptr);
}
