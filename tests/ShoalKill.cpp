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
  auto const end = Clock::now() + std::chrono::seconds(6);
  Key key;
  Record record;
  while (kills < 2000 && Clock::now() < end) {
    pid_t const child = ::fork();
    if (child == 0) writeUntilKilled(root, random());
    auto const death = Clock::now() + std::chrono::microseconds(100 + random() % 1000);
    while (Clock::now() < death) {
      follower.turn(32);
      ZetShoal::ShoalCursor cursor;
      for (; follower.map.next(cursor, key, record); ++reads) torn += !record.wholeFor(key);
    }
    ::kill(child, SIGKILL);
    ASSERT_TRUE(killed(child)) << "the writer could not take over";
    ++kills;
    ASSERT_EQ(follower.dir.refusal(), "");

    // The next writer writes nothing: what it found must be what the reader is told.
    Table next(root, "t");
    follower.settle();
    ASSERT_EQ(follower.view, viewOf(next.map)) << "after kill " << kills;
    struct stat status;
    ::stat((root + "/t/map").c_str(), &status);
    inodes += status.st_ino != std::exchange(lastInode, status.st_ino);
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

// The files of the table as they are now, quickly: this is asked after each instruction.
std::string filesOf(std::string const & root) {
  std::string content;
  for (char const * name : {"/t/map", "/t/map.next"}) {
    ZetShoal::OpenFile const file(::open((root + name).c_str(), O_RDONLY));
    char buffer[4096];
    ssize_t const size = file ? ::read(file.fd(), buffer, sizeof buffer) : 0;
    content.append(buffer, static_cast<std::size_t>(size)) += '|';
  }
  return content;
}

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

// Single-steps a writer through one operation. Whenever the files have changed, a reader looks at
// them, and a new writer takes over a copy of them, as if the first had been killed there. Each
// finds all as it was before the operation or as it is behind it.
TEST_F(ShoalKill, everyInstruction) {
  struct Operation {
    char const * name;
    std::function<void(SmallWriter &)> run;
  };
  Operation const operations[] = {
      {"update", [](SmallWriter & map) { map.put(3, Twin(2)); }},
      {"deletion", [](SmallWriter & map) { map.del(3); }},
      {"return of a deleted key", [](SmallWriter & map) { map.put(5, Twin(2)); }},
      {"insertion into a successor", [](SmallWriter & map) { map.put(77, Twin(2)); }},
      {"insertion", [](SmallWriter & map) { map.put(78, Twin(2)); }},
  };
  {
    ZetShoal::ShoalWriterDir dir(root, "t", "Test/1");
    SmallWriter map(dir, "map");
    for (U64 key = 0; key < 16; ++key) map.put(key, Twin(1));
    map.del(5);
    map.del(6);
  }
  ZetShoal::ShoalWatch watch;
  ZetShoal::ShoalReaderDir dir(watch, root, "t", "Test/1");
  SmallReader reader(dir, "map");
  U64 steps = 0, states = 0;
  for (Operation const & operation : operations) {
    SCOPED_TRACE(operation.name);
    Stepper stepper(root, operation.run);
    if (!stepper.traced()) GTEST_SKIP() << "this system does not let a test trace its child";
    View const before = smallView(reader);
    std::vector<View> seen, takenOver;
    std::string files;
    for (; stepper.step(); ++steps) {
      std::string now = filesOf(root);
      if (now == files) continue;
      files = std::move(now);
      ++states;
      seen.push_back(smallView(reader));
      std::filesystem::remove_all(root + "/copy");
      std::filesystem::copy(root + "/t", root + "/copy");
      ZetShoal::ShoalWriterDir copyDir(root, "copy", "Test/1");
      SmallWriter copy(copyDir, "map");
      EXPECT_EQ(copy.discarded(), "");
      takenOver.push_back(smallView(copy));
      EXPECT_EQ(copy.size(), takenOver.back().size());
      copy.put(200, Twin(1));
      copy.del(200);
      ASSERT_EQ(smallView(copy), takenOver.back());
    }
    View const after = smallView(reader);
    EXPECT_NE(before, after);
    for (auto * views : {&seen, &takenOver}) {
      U64 changes = 0;
      for (std::size_t n = 0; n < views->size(); ++n) {
        ASSERT_TRUE((*views)[n] == before || (*views)[n] == after);
        changes += n && (*views)[n] != (*views)[n - 1];
      }
      EXPECT_LE(changes, 1u) << "back and forth";
    }
  }
  std::printf("%lu instructions, %lu states of the files\n", steps, states);
}

}  // namespace ShoalTest
