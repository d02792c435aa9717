// Shared memory as someone else wrote it: a reader refuses what is wrong, says why, lets other
// tables go on, and comes back when the bad file has gone.
#include <fcntl.h>
#include <sys/mman.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "tests/ShoalFixture.h"

namespace ShoalTest {

using ZetShoal::ShoalError;

namespace {

// A map's file, mapped to be tampered with.
class File {
 public:
  explicit File(std::string const & path)
      : path_(path),
        size_(std::filesystem::file_size(path)),
        fd_(::open(path.c_str(), O_RDWR)) {
    void * const data = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_.fd(), 0);
    bytes_ = static_cast<std::byte *>(data);
  }
  ~File() { ::munmap(bytes_, size_); }

  std::size_t size() const { return size_; }
  void resize(std::size_t size) const { std::filesystem::resize_file(path_, size); }
  U64 & word(std::size_t at) const { return *reinterpret_cast<U64 *>(bytes_ + at); }
  U32 & half(std::size_t at) const { return *reinterpret_cast<U32 *>(bytes_ + at); }
  // For each word from one offset to another that is not 0.
  void change(std::size_t from, std::size_t to, auto && f) const {
    for (; from < to; from += 8)
      if (word(from)) f(word(from));
  }

 private:
  std::string path_;
  std::size_t size_;
  ZetShoal::OpenFile fd_;
  std::byte * bytes_;
};

// Where things stand in a file of 16 slots.
constexpr std::size_t indexAt = 256, ringAt = indexAt + 32 * 8, slotsAt = ringAt + 16 * 8;
constexpr std::size_t slotSize = 8 + sizeof(Key) + 2 * sizeof(Record);

struct Case {
  char const * name;
  std::function<void(File &)> tamper;
  char const * refusal;  // behind the file's name
};

Case const casesBeforeOpening[] = {
    {"magic", [](File & f) { ++f.word(0); },
     "is not a map of a shared-memory table (wrong magic number)"},
    {"version", [](File & f) { f.half(8) = 2; }, "has layout version 2, expected 1"},
    {"type", [](File & f) { std::memcpy(&f.word(24), "Fest\n2", 6); },
     "is of type 'Fest?2', expected 'Test/1'"},
    {"type without an end", [](File & f) { std::memset(&f.word(24), 'x', 64); },
     "is of type 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx', "
     "expected 'Test/1'"},
    {"key size", [](File & f) { f.half(12) = 48; }, "has keys of size 48, expected 40"},
    {"record size", [](File & f) { f.half(16) = 0; }, "has records of size 0, expected 208"},
    {"slots not a power of two", [](File & f) { f.half(20) = 17; },
     "has 17 slots, not a power of two from 16 to 67108864"},
    {"no slots", [](File & f) { f.half(20) = 0; },
     "has 0 slots, not a power of two from 16 to 67108864"},
    {"slots without number", [](File & f) { f.half(20) = 1u << 31; },
     "has 2147483648 slots, not a power of two from 16 to 67108864"},
    {"more slots than bytes", [](File & f) { f.half(20) = 32; },
     "has a size of 8064, expected 15872"},
    {"cut short", [](File & f) { f.resize(f.size() - 1); }, "has a size of 8063, expected 8064"},
    {"longer", [](File & f) { f.resize(f.size() + 1); }, "has a size of 8065, expected 8064"},
    {"no header", [](File & f) { f.resize(100); }, "has 100 bytes, too few for a header"},
    {"empty", [](File & f) { f.resize(0); }, "has 0 bytes, too few for a header"},
};

// These are found by a walk, by a read, or by the changes that follow.
Case const casesWhileOpen[] = {
    {"index names no slot",
     [](File & f) { f.change(indexAt, ringAt, [](U64 & w) { w = (w >> 32) << 32 | 17; }); },
     "names slot 16 of 16 in its index"},
    {"index names slot -1",
     [](File & f) { f.change(indexAt, ringAt, [](U64 & w) { w = (w >> 32) << 32; }); },
     "names slot 4294967295 of 16 in its index"},
    {"index without an end",
     [](File & f) {
       for (std::size_t at = indexAt; at < ringAt; at += 8) f.word(at) = 1;
     },
     "has an index without an end"},
    {"change names no slot",
     [](File & f) {
       U64 & changes = f.word(192);
       f.word(ringAt + changes % 16 * 8) = changes << 32 | 4000;
       ++changes;
     },
     "announces a change of slot 3999, which holds nothing"},
    {"change names an empty slot",
     [](File & f) {
       U64 & changes = f.word(192);
       f.word(ringAt + changes % 16 * 8) = changes << 32 | 16;
       ++changes;
     },
     "announces a change of slot 15, which holds nothing"},
    {"cut to nothing", [](File & f) { f.resize(0); }, "was cut short while it was in use"},
    {"cut behind the header",
     [](File & f) {
       f.resize(4096);
       f.word(128) = 0;
       f.word(136) = 1;
     },
     "was cut short while it was in use"},
};

}  // namespace

class ShoalHostile : public ShoalFixture {
 protected:
  void fill(std::string const & name) {
    Table table(root, name);
    for (U64 key = 0; key < 12; ++key) table.put(key);
  }
  std::string file(std::string const & name) { return root + '/' + name + "/map"; }
  void expectGoodTableGoesOn(U64 seed) {
    Table table(root, "good");
    table.put(1, seed);
    table.commit();
    good.settle();
    EXPECT_EQ(good.view.at(1), seed);
  }

  Follower good{root, "good"};
};

TEST_F(ShoalHostile, badFileIsRefusedWithItsReasonUntilItIsReplaced) {
  for (Case const & c : casesBeforeOpening) {
    SCOPED_TRACE(c.name);
    fill("bad");
    {
      File tampered(file("bad"));
      c.tamper(tampered);
    }
    Follower follower(root, "bad");
    follower.settle();
    EXPECT_EQ(follower.dir.refusal(), file("bad") + ' ' + c.refusal);
    EXPECT_FALSE(follower.dir.present());
    Record record;
    EXPECT_FALSE(follower.map.read(Key(1), record));
    expectGoodTableGoesOn(follower.told + static_cast<U64>(&c - casesBeforeOpening) + 1);

    Table next(root, "bad");
    EXPECT_EQ(next.map.discarded(), c.refusal);
    next.put(77, 1);
    next.commit();
    follower.settle();
    EXPECT_EQ(follower.dir.refusal(), "");
    EXPECT_EQ(follower.view, (View{{77, 1}}));
    next.dir.remove();
  }
}

TEST_F(ShoalHostile, fileThatTurnsBadWhileOpenIsRefused) {
  for (Case const & c : casesWhileOpen) {
    SCOPED_TRACE(c.name);
    fill("bad");
    Follower follower(root, "bad");
    follower.settle();
    EXPECT_EQ(follower.view.size(), 12u);
    File tampered(file("bad"));
    c.tamper(tampered);
    Record record;
    for (U64 key = 0; key < 13; ++key) follower.map.read(Key(key), record);
    follower.settle();
    EXPECT_EQ(follower.dir.refusal(), file("bad") + ' ' + c.refusal);
    EXPECT_TRUE(follower.view.empty());
    EXPECT_FALSE(follower.map.read(Key(1), record));
    std::filesystem::create_directory(root + "/bad/something");
    EXPECT_TRUE(follower.turn());
    EXPECT_NE(follower.dir.refusal(), "") << "the same file is not taken up again";
    expectGoodTableGoesOn(static_cast<U64>(&c - casesWhileOpen) + 1);

    std::filesystem::remove_all(root + "/bad");
    follower.settle();
    EXPECT_EQ(follower.dir.refusal(), "");
    EXPECT_FALSE(follower.dir.present());
  }
}

// Replaced before the next turn, whether a read has found it bad or nobody has: the owner still
// hears that its keys have gone.
TEST_F(ShoalHostile, badFileIsReplacedAtOnce) {
  for (bool const isRead : {true, false}) {
    fill("bad");
    Follower follower(root, "bad");
    follower.settle();
    File(file("bad")).resize(0);
    Record record;
    if (isRead) EXPECT_FALSE(follower.map.read(Key(1), record));
    Table next(root, "bad");
    next.put(77, 1);
    next.commit();
    follower.settle();
    EXPECT_EQ(follower.dir.refusal(), "");
    EXPECT_EQ(follower.view, (View{{77, 1}}));
  }
}

// What writers leave that die before they have used a slot does not fill the index for ever.
TEST_F(ShoalHostile, entriesWithoutASlotAreClearedAwayByTheNextWriter) {
  fill("t");
  {
    File const tampered(file("t"));
    for (std::size_t at = indexAt; at < ringAt; at += 8)
      if (!tampered.word(at)) tampered.word(at) = U64{1} << 32 | 13;
  }
  Table table(root, "t");
  for (U64 key = 12; key < 100; ++key) table.put(key);
  Follower follower(root, "t");
  follower.settle();
  EXPECT_EQ(follower.view.size(), 100u);
}

namespace {

// Long to copy, against a step of a state word; and longer than a page.
struct Large {
  U64 words[2048];
};

}  // namespace

// A record under change whenever it is looked at: nobody may be held up by it for ever.
TEST_F(ShoalHostile, slotThatNeverRestsIsRefused) {
  auto const large = std::make_unique<Large>();
  ZetShoal::ShoalWriterDir writerDir(root, "bad", "Test/1");
  ZetShoal::TableWriter<U64, Large>(writerDir, "map").put(1, *large);
  ZetShoal::ShoalWatch watch;
  ZetShoal::ShoalReaderDir dir(watch, root, "bad", "Test/1");
  ZetShoal::TableReader<U64, Large> map(dir, "map");
  File tampered(file("bad"));
  std::atomic<bool> stop{false};
  std::thread restless([&] {
    auto & state = reinterpret_cast<std::atomic<U64> &>(tampered.word(slotsAt));
    while (!stop) state.fetch_add(4);
  });
  auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (dir.refusal().empty() && std::chrono::steady_clock::now() < end) map.read(1, *large);
  stop = true;
  restless.join();
  EXPECT_EQ(dir.refusal(), file("bad") + " has a slot, number 0, that never comes to rest");
}

// The slot's state is still there, the end of its record is not.
TEST_F(ShoalHostile, recordWhoseEndWasCutOffIsNotHandedOver) {
  auto const large = std::make_unique<Large>();
  ZetShoal::ShoalWriterDir writerDir(root, "bad", "Test/1");
  ZetShoal::TableWriter<U64, Large>(writerDir, "map").put(1, *large);
  ZetShoal::ShoalWatch watch;
  ZetShoal::ShoalReaderDir dir(watch, root, "bad", "Test/1");
  ZetShoal::TableReader<U64, Large> map(dir, "map");
  EXPECT_TRUE(map.read(1, *large));
  File(file("bad")).resize(8192);
  EXPECT_FALSE(map.read(1, *large));
  EXPECT_EQ(dir.refusal(), file("bad") + " was cut short while it was in use");
}

TEST_F(ShoalHostile, whatIsNotAFileIsRefused) {
  std::filesystem::create_directories(root + "/pipe");
  ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
  std::filesystem::create_directories(file("directory"));
  std::filesystem::create_directories(root + "/link");
  std::filesystem::create_symlink("/dev/zero", file("link"));
  EXPECT_EQ(Follower(root, "pipe").dir.refusal(), file("pipe") + " is not a regular file");
  EXPECT_EQ(Follower(root, "directory").dir.refusal(),
            file("directory") + " is not a regular file");
  EXPECT_EQ(Follower(root, "link").dir.refusal(),
            file("link") + " cannot be opened: Too many levels of symbolic links");
}

TEST_F(ShoalHostile, writerNoticesThatItsFileWasCutShort) {
  Table table(root, "t");
  table.put(1);
  std::filesystem::resize_file(file("t"), 0);
  EXPECT_THROW(table.put(1, 2), ShoalError);
  EXPECT_THROW(table.del(1), ShoalError);
}

// Random bytes anywhere: whatever comes of it, every call returns and nothing is read out of
// bounds (the sanitizers watch).
TEST_F(ShoalHostile, randomDamageNeverHurtsTheReader) {
  std::mt19937_64 random(1);
  U32 refused = 0;
  for (U32 round = 0; round < 150; ++round) {
    fill("bad");
    std::optional<Follower> early;
    if (round % 2) early.emplace(root, "bad").settle();
    {
      File tampered(file("bad"));
      std::size_t const end = round % 3 ? slotsAt + slotSize : tampered.size();
      for (U32 n = 0; n < 1 + round % 20; ++n)
        tampered.word(random() % (end / 8) * 8) = random() >> random() % 64;
    }
    std::optional<Follower> late;
    Follower & follower = early ? *early : late.emplace(root, "bad");
    Key key;
    Record record;
    for (U64 k = 0; k < 13; ++k) follower.map.read(Key(k), record);
    for (U32 turns = 0; turns < 20; ++turns) {
      follower.watch->collect();
      follower.dir.refresh();
      for (U32 n = 0; n < 64 && follower.map.nextChange(key); ++n) follower.map.read(key, record);
    }
    ZetShoal::ShoalCursor cursor;
    for (U32 n = 0; follower.map.next(cursor, key, record); ++n) ASSERT_LE(n, 16u);
    refused += !follower.dir.refusal().empty();
    Table next(root, "bad");  // and the writer that takes it over
    try {
      for (U64 k = 0; k < 40; ++k) next.put(k);
    } catch (ShoalError const &) {}
    next.dir.remove();
  }
  EXPECT_GT(refused, 10u);
}

// A fault that is none of our mappings' still ends the process.
TEST_F(ShoalHostile, foreignBusErrorIsPassedOn) {
  fill("t");
  Follower follower(root, "t");
  std::string const path = root + "/foreign";
  ZetShoal::OpenFile const fd(::open(path.c_str(), O_RDWR | O_CREAT, 0600));
  ASSERT_EQ(::ftruncate(fd.fd(), 4096), 0);
  auto * const data =
      static_cast<char volatile *>(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd.fd(), 0));
  ASSERT_EQ(::ftruncate(fd.fd(), 0), 0);
  EXPECT_DEATH(static_cast<void>(*data), "");
}

}  // namespace ShoalTest
