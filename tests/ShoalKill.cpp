// The writer of a shared-memory table dies at any instruction: no reader sees a torn record, no
// change is lost for ever, and the next writer takes the table over.
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <random>

#include "tests/ShoalFixture.h"

namespace ShoalTest {

namespace {

using Clock = std::chrono::steady_clock;

// Writes as fast as it can until it is killed: few members, ever new keys, so that new files are
// made all the time.
[[noreturn]] void writeUntilKilled(std::string const & root, U64 seed) {
  try {
    Table table(root, "t");
    std::mt19937_64 random(seed);
    for (;;) {
      U64 const key = random() % 120;
      switch (random() % 8) {
        case 0:
        case 1:
          table.del(key);
          break;
        case 2:
          table.put(1000 + random() % 100000);
          break;
        case 3: {
          ZetShoal::ShoalCursor cursor;
          Key old;
          Record record;
          while (table.map.next(cursor, old, record))
            if (old.id >= 1000) table.del(old.id);
          break;
        }
        default:
          table.put(key, random());
      }
      if (random() % 16 == 0) table.commit();
    }
  } catch (std::exception const & error) {
    std::fprintf(stderr, "writer: %s\n", error.what());
  }
  ::_exit(3);
}

}  // namespace

class ShoalKill : public ShoalFixture {
 protected:
  // Waits for the child and says whether SIGKILL was its end.
  static bool killed(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }
};

TEST_F(ShoalKill, randomInstants) {
  std::mt19937_64 random(4711);
  Follower follower(root, "t");
  U64 kills = 0, reads = 0, torn = 0, inodes = 0, lastInode = 0;
  Key key;
  Record record;
  U64 longest = 1000;  // us
  while (kills < 500) {
    pid_t const child = ::fork();
    if (child == 0) writeUntilKilled(root, random());
    auto const death = Clock::now() + std::chrono::microseconds(100 + random() % longest);
    while (Clock::now() < death) {
      follower.turn(32);
      ZetShoal::ShoalCursor cursor;
      for (; follower.map.next(cursor, key, record); ++reads) torn += !record.wholeFor(key);
    }
    ::kill(child, SIGKILL);
    ASSERT_TRUE(killed(child)) << "the writer could not take over";
    ++kills;
    ASSERT_EQ(follower.dir.refusal(), "");

    // Now and then the next writer writes nothing: what it found must be what the reader is told.
    if (kills % 4) continue;
    Table next(root, "t");
    follower.settle();
    ASSERT_EQ(follower.view, viewOf(next.map)) << "after kill " << kills;
    struct stat status;
    ::stat((root + "/t/map").c_str(), &status);
    inodes += status.st_ino != std::exchange(lastInode, status.st_ino);
    // On a slow machine a writer comes less far before its end: it gets longer there.
    if (kills % 40 == 0 && inodes < kills / 20 && longest < 20000) longest += longest / 2;
  }
  torn += follower.torn;
  reads += follower.told;
  std::printf("%lu kills, %lu reads, %lu torn; the map was found in another file %lu times\n",
              kills, reads, torn, inodes);
  EXPECT_EQ(torn, 0u);
  EXPECT_GT(inodes, 20u) << "growth was not among what was interrupted";
}

namespace {

struct Twin {
  U64 one, other;
  explicit Twin(U64 n = 0) : one(n), other(~n) {}
};
using SmallWriter = ZetShoal::TableWriter<U64, Twin>;
using SmallReader = ZetShoal::TableReader<U64, Twin>;

View smallView(auto & table) {
  View view;
  ZetShoal::ShoalCursor cursor;
  U64 key;
  Twin value;
  while (table.next(cursor, key, value)) {
    EXPECT_EQ(value.other, ~value.one) << "torn";
    EXPECT_TRUE(view.emplace(key, value.one).second) << "met twice: " << key;
  }
  return view;
}

std::string contentOf(std::string const & path) {
  ZetShoal::OpenFile const file(::open(path.c_str(), O_RDONLY));
  char buffer[4096];
  ssize_t const size = file ? ::read(file.fd(), buffer, sizeof buffer) : 0;
  return {buffer, static_cast<std::size_t>(size)};
}

// In place, as a writer would.
void write(std::string const & path, std::string const & content) {
  ZetShoal::OpenFile const file(::open(path.c_str(), O_RDWR | O_CREAT, 0600));
  EXPECT_EQ(::pwrite(file.fd(), content.data(), content.size(), 0), ssize_t(content.size()));
}

// What stands in the directory of a table of one map, and what a reader from before still maps.
struct Files {
  std::string old, map, next;
  bool operator==(Files const &) const = default;
};

// Stops after each instruction of a child between two SIGSTOPs of its own.
class Stepper {
 public:
  // `run` is called in the child, with a writer that has taken the table over.
  Stepper(std::string const & root, std::function<void(SmallWriter &)> const & run)
      : child_(::fork()) {
    if (child_ == 0) {
      ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      ZetShoal::ShoalWriterDir dir(root, "t", "Test/1");
      SmallWriter map(dir, "map");
      ::raise(SIGSTOP);
      run(map);
      ::raise(SIGSTOP);
      ::_exit(0);
    }
    ::waitpid(child_, &status_, 0);
  }
  ~Stepper() {
    ::kill(child_, SIGKILL);
    while (!WIFSIGNALED(status_) && !WIFEXITED(status_)) ::waitpid(child_, &status_, 0);
  }
  bool traced() const { return WIFSTOPPED(status_); }
  // False when the operation is over.
  bool step() {
    if (::ptrace(PTRACE_SINGLESTEP, child_, nullptr, nullptr) != 0) return false;
    ::waitpid(child_, &status_, 0);
    return WIFSTOPPED(status_) && WSTOPSIG(status_) == SIGTRAP;
  }

 private:
  pid_t const child_;
  int status_ = 0;
};

}  // namespace

// Single-steps a writer through one operation. Whenever its files have changed, it may be killed:
// a reader finds all as it was before the operation or as it is behind it, and so does a new writer
// that takes over (a copy of the files), of which a reader from before is told.
class ShoalSteps : public ShoalFixture {
 protected:
  using Operation = std::function<void(SmallWriter &)>;

  void walkThrough(Operation const & operation) {
    Stepper stepper(root, operation);
    if (!stepper.traced()) GTEST_SKIP() << "this system does not let a test trace its child";
    // Under a second name, the file stays in reach when another takes its place.
    std::filesystem::create_hard_link(root + "/t/map", root + "/old");
    before_ = contentOf(root + "/old");
    View const viewBefore = smallView(reader_);
    std::vector<View> seen;
    Files last;
    for (; stepper.step(); ++steps_) {
      Files now{contentOf(root + "/old"), contentOf(root + "/t/map"),
                contentOf(root + "/t/map.next")};
      if (now == last) continue;
      last = std::move(now);
      seen.push_back(smallView(reader_));
      takeOver(last, seen.back());
      if (HasFatalFailure()) return;
    }
    View const viewAfter = smallView(reader_);
    EXPECT_NE(viewBefore, viewAfter);
    U64 changes = 0;
    for (std::size_t n = 0; n < seen.size(); ++n) {
      EXPECT_TRUE(seen[n] == viewBefore || seen[n] == viewAfter);
      changes += n && seen[n] != seen[n - 1];
    }
    EXPECT_LE(changes, 1u) << "back and forth";
    states_ += seen.size();
    std::filesystem::remove(root + "/old");
  }
  // `files` is what the dead writer left, `seen` what readers saw of it.
  void takeOver(Files const & files, View const & seen) {
    std::string const copy = root + "/copy";
    std::filesystem::remove_all(copy);
    std::filesystem::create_directory(copy);
    write(copy + "/map", before_);
    ZetShoal::ShoalReaderDir dir(watch_, root, "copy", "Test/1");
    SmallReader reader(dir, "map");
    View told;
    follow(dir, reader, told);

    write(copy + "/map", files.old);
    if (!files.next.empty()) write(copy + "/map.next", files.next);
    if (files.map != files.old) {
      write(copy + "/moved", files.map);
      std::filesystem::rename(copy + "/moved", copy + "/map");
    }
    ZetShoal::ShoalWriterDir writerDir(root, "copy", "Test/1");
    SmallWriter writer(writerDir, "map");
    ASSERT_EQ(writer.discarded(), "");
    ASSERT_EQ(contentOf(copy + "/map")[128], 0) << "readers look for a successor at each read";
    ASSERT_EQ(smallView(writer), seen);
    ASSERT_EQ(writer.size(), seen.size());
    follow(dir, reader, told);
    ASSERT_EQ(told, seen);
    ASSERT_TRUE(writer.put(200, Twin(1)));
    ASSERT_TRUE(writer.del(200));
    ASSERT_EQ(smallView(reader), seen);
  }
  void follow(ZetShoal::ShoalReaderDir & dir, SmallReader & reader, View & told) {
    for (watch_.collect(); dir.due(); watch_.collect()) {
      dir.refresh();
      U64 key;
      Twin value;
      while (reader.nextChange(key)) {
        told.erase(key);
        if (reader.read(key, value)) told[key] = value.one;
      }
    }
  }

  ZetShoal::ShoalWatch watch_;
  ZetShoal::ShoalReaderDir dir_{watch_, root, "t", "Test/1"};
  SmallReader reader_{dir_, "map"};
  std::string before_;
  U64 steps_ = 0;
  U64 states_ = 0;
};

TEST_F(ShoalSteps, deathAtEveryInstruction) {
  {
    ZetShoal::ShoalWriterDir dir(root, "t", "Test/1");
    SmallWriter map(dir, "map");
    for (U64 key = 0; key < 16; ++key) map.put(key, Twin(1));
    map.del(5);
    map.del(6);
  }
  dir_.refresh();
  std::pair<char const *, Operation> const operations[] = {
      {"update", [](SmallWriter & map) { map.put(3, Twin(2)); }},
      {"deletion", [](SmallWriter & map) { map.del(3); }},
      {"return of a deleted key", [](SmallWriter & map) { map.put(5, Twin(2)); }},
      {"insertion into a successor", [](SmallWriter & map) { map.put(77, Twin(2)); }},
      {"insertion", [](SmallWriter & map) { map.put(78, Twin(2)); }},
  };
  for (auto const & [name, operation] : operations) {
    SCOPED_TRACE(name);
    walkThrough(operation);
    if (HasFatalFailure() || IsSkipped()) return;
  }
  std::printf("%lu instructions, %lu states of the files\n", steps_, states_);
}

}  // namespace ShoalTest
