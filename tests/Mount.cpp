// Shared-memory tables as entities of the activity loop.
#include "platform/Mount.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>

#include "platform/Exception.h"
#include "tests/LogLines.h"
#include "tests/ShoalFixture.h"

namespace ShoalTest {

namespace {

// A table of one map that keeps what it is told.
class Mirror : public Zet::Entity, public Follower {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Mirror, Zet::Entity> {
   public:
    virtual void onSeed(U64 const &) {}
  };
  Mirror(std::shared_ptr<ZetShoal::ShoalWatch> shared, std::string const & root,
         std::string const & table)
      : Follower(root, table, std::move(shared)) {}

  bool due() const { return dir.due(); }
  std::string const & refusal() const { return dir.refusal(); }
  void turn(U32 atMost) {
    take(atMost, [this](Key const & key) { notify<&NotifieeConst::onSeed>(key.id); });
  }
  bool read(U64 key) {
    Record record;
    return map.read(Key(key), record);
  }
};

ZetShoal::MountTypeOf<Mirror> const mirrorType("Test::Mirror");

class Mounts : public ShoalFixture {
 protected:
  Mounts() {
    loop->clockIs(clock);
    mount = Zet::make<ZetShoal::Mount>();
  }
  ~Mounts() override {
    mount = nullptr;
    loop->clockIs(nullptr);
  }
  Zet::Ptr<Mirror> mirror(std::string const & path) {
    mount->doMount(path, "Test::Mirror", {root});
    return static_cast<Mirror *>(mount->getEntity(path).ptr());
  }
  Zet::Ptr<Zet::ActivityManager> loop = Zet::activityManager();
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>();
  Tests::LogLines log;
  Zet::Ptr<ZetShoal::Mount> mount;
};

}  // namespace

TEST_F(Mounts, ATableIsFollowedFromBeforeItStandsUntilItIsUnmounted) {
  auto m = mirror("a/b");
  EXPECT_EQ(mirror("a/b"), m) << "mounted once";
  loop->runUntilQuiet();
  Table table(root, "a:b");
  for (U64 key : {1, 2, 3}) table.put(key, 10);
  table.commit();
  loop->runUntilQuiet();
  EXPECT_EQ(m->view, (View{{1, 10}, {2, 10}, {3, 10}}));

  mount->doUnmount("a/b");
  EXPECT_EQ(mount->getEntity("a/b"), nullptr);
  table.put(4);
  table.commit();
  loop->runUntilQuiet();
  EXPECT_EQ(m->view.size(), 3u);
  mount = nullptr;
  EXPECT_TRUE(m->read(4)) << "who still holds it can read it";

  mount = Zet::make<ZetShoal::Mount>();
  EXPECT_THROW(mount->doMount("x", "Test::Unknown", {root}), Zet::RangeException);
  EXPECT_THROW(mount->doMount("..", "Test::Mirror", {root}), ZetShoal::ShoalError);
  EXPECT_EQ(mount->getEntity(".."), nullptr);
}

TEST_F(Mounts, ATurnIsBoundedAndTablesTakeTurns) {
  struct Meter : Zet::Clock::NotifieeConst {  // a review that asks again at once
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      if (tables.back()->told < 1000) timeMinIs(clock()->shown());
      U64 told = 0;
      for (auto & t : tables) told += t->told;
      most = std::max(most, told - before);
      before = told;
      if (!firstOfLast) firstOfLast = tables.back()->told ? ++turns : (++turns, 0);
    }
    std::vector<Zet::Ptr<Mirror>> tables;
    U64 most = 0, before = 0;
    int turns = 0, firstOfLast = 0;
  };
  auto fill = [&](char const * name) {
    Table table(root, name);
    for (U64 key = 0; key < 1000; ++key) table.put(key);
  };
  auto measure = [&](std::initializer_list<char const *> names) {
    auto meter = Zet::make<Meter>();
    for (auto name : names) fill(name);
    for (auto name : names) meter->tables.push_back(mirror(name));
    meter->notifierIs(clock.get());
    meter->timeMinIs(clock->shown());
    loop->runUntilQuiet();
    meter->zetDoZombieReactors(true);
    for (auto & t : meter->tables) EXPECT_EQ(t->view.size(), 1000u);
    return meter;
  };
  auto byCount = measure({"a", "b", "c"});
  EXPECT_EQ(byCount->most, 256u);
  EXPECT_LE(byCount->firstOfLast, 2) << "the last table waited for the others";
  clock->readCostIs(0.004);
  EXPECT_EQ(measure({"d"})->most, 96u) << "three looks at the clock reach 10 ms";
}

TEST_F(Mounts, ARefusedTableIsLoggedOnceAndReadAgainWhenItIsMadeAnew) {
  auto bad = mirror("bad"), good = mirror("good");
  auto table = std::make_unique<Table>(root, "bad");
  table->put(1);
  table->commit();
  loop->runUntilQuiet();
  EXPECT_EQ(bad->view.size(), 1u);

  // No event tells of this: it is found while a value is read.
  std::string const file = root + "/bad/map";
  ZetShoal::OpenFile fd(open(file.c_str(), O_RDWR));
  auto * words =
      static_cast<U64 *>(mmap(nullptr, 512, PROT_READ | PROT_WRITE, MAP_SHARED, fd.fd(), 0));
  std::fill(words + 32, words + 64, U64{1});  // the index
  munmap(words, 512);
  loop->runUntilQuiet();
  EXPECT_FALSE(bad->read(2));
  loop->runUntilQuiet();
  EXPECT_TRUE(bad->view.empty());
  std::string const refusal = file + " has an index without an end";
  EXPECT_EQ(mount->refusal("bad"), refusal);
  std::string const told = "SHOAL_TABLE_REFUSED: A shared-memory table is not read: " + refusal;
  EXPECT_EQ(log.lines, std::vector{told});

  Table goodTable(root, "good");
  goodTable.put(7);
  goodTable.commit();
  clock->nowIs(100);
  loop->runUntilQuiet();
  EXPECT_EQ(good->view.size(), 1u);

  table = nullptr;
  std::filesystem::remove_all(root + "/bad");
  Table anew(root, "bad");
  anew.put(5);
  anew.commit();
  loop->runUntilQuiet();
  EXPECT_EQ(bad->view, (View{{5, 1}}));
  EXPECT_EQ(mount->refusal("bad"), "");
  EXPECT_EQ(log.lines.size(), 1u);
}

TEST_F(Mounts, CallbacksMayUnmountAndDropTheMount) {
  struct Dropper : Mirror::NotifieeConst {
    explicit Dropper(std::function<void()> f) : act(std::move(f)) {}
    void onSeed(U64 const &) override { act(); }
    std::function<void()> act;
  };
  auto a = mirror("a"), b = mirror("b");
  Table first(root, "a"), second(root, "b");
  for (U64 key = 0; key < 100; ++key) first.put(key), second.put(key);
  first.commit();
  second.commit();
  auto unmount = Zet::make<Dropper>([&] { mount->doUnmount("a"); });
  unmount->notifierIs(a.get());
  loop->runUntilQuiet();
  EXPECT_LE(a->told, 32u);
  EXPECT_EQ(b->told, 100u);
  unmount->detach();

  auto drop = Zet::make<Dropper>([&] { mount = nullptr; });
  drop->notifierIs(b.get());
  second.put(1, 2);
  second.commit();
  loop->runUntilQuiet();
  drop->detach();
  EXPECT_EQ(mount, nullptr);
  EXPECT_EQ(b->told, 101u);
}

}  // namespace ShoalTest
